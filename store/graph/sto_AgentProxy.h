#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/backend/cls_AgentProxy.h"
#include "store/session/sto_OpenProxy.h"

class sto_Session;

/// A proxy of one stored object. It may outlive the object's session. Internal to the module; see
/// sto_Proxy.h. Thread rule: the thread of both sessions.
class sto_AgentProxy final : public cls_AgentProxy, public sto_OpenProxy {
 public:
  sto_AgentProxy(sto_Session& session, std::int64_t id);
  sto_AgentProxy(sto_AgentProxy const&) = delete;
  sto_AgentProxy& operator=(sto_AgentProxy const&) = delete;
  ~sto_AgentProxy() override;

  /// Copies the object, with everything it leads to, into a field that `writer` writes. False for another
  /// kind of storage; then nothing is done. After a failure the save of `writer` can only be undone.
  ///
  /// Errors:
  /// - Unavailable: the source is closed, or the object was made in work that was undone;
  /// - Misuse: the target's registrar does not declare a class, the field cannot hold the object, or `writer`
  ///   writes outside a save;
  /// - Conflict: the two stores describe a class version differently;
  /// - NewerFormat, Damaged, NotFound, Full.
  bool Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                cls_FieldHandle const& field) override;

 private:
  std::shared_ptr<sto_Session*> m_Session;
  std::string m_Location;
};

#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/backend/cls_AgentProxy.h"
#include "store/session/sto_OpenProxy.h"

class sto_Session;

/// A proxy of one stored object of a session, which it may outlive. Internal to the module; see sto_Proxy.h.
class sto_AgentProxy final : public cls_AgentProxy, public sto_OpenProxy {
 public:
  sto_AgentProxy(sto_Session& session, std::int64_t id);
  sto_AgentProxy(sto_AgentProxy const&) = delete;
  sto_AgentProxy& operator=(sto_AgentProxy const&) = delete;
  ~sto_AgentProxy() override;

  /// Copies the object with all it leads to. False for another kind of storage. Unavailable when the source
  /// is closed, or the object was made in work that was undone; Misuse for a class that the target does not
  /// know, or a field that cannot hold the object; Conflict for a class version that the two stores describe
  /// differently. After a failure the save that `writer` belongs to can only be undone.
  bool Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                cls_FieldHandle const& field) override;

 private:
  std::shared_ptr<sto_Session*> m_Session;
  std::string m_Location;
};

#pragma once

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "platform/kvl_Export.h"

/// Opens the blob that a field holds, for as long as the reader lives.
///
/// REQUIRES: the visitor has a memento, and the back end returns a child memento and an agent (not checked).
/// Thread rule: one thread. Errors: those of the back end pass through.
class KVL_EXPORT cls_BlobReader {
 public:
  /// Opens the blob of field `field` of the visitor's object and assigns its identity to `uid`.
  cls_BlobReader(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_Uid& uid);
  cls_BlobReader(cls_BlobReader const&) = delete;
  cls_BlobReader& operator=(cls_BlobReader const&) = delete;
  /// Deletes the agent, then the memento, if they need deletion.
  ~cls_BlobReader();

  /// The agent that reads the bytes. Valid while this reader lives.
  [[nodiscard]] cls_AgentBlob& Agent() const noexcept { return *m_Agent; }

 private:
  cls_AgentBlob* m_Agent;
  cls_MementoRead* m_Memento;
};

#pragma once

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"

/// Makes a blob in a field, for as long as the writer lives.
///
/// What the blob had before is gone: each save of an object that makes a writer begins with an empty blob. A
/// class that wants to leave its blob as it is asks the back end for that (of sto_Store: sto_KeepBlob).
///
/// The visitor must be started, and the back end must return a memento and an agent; neither is tested.
/// Thread rule: one thread. Errors: of the back end.
class KVL_EXPORT cls_BlobWriter {
 public:
  /// Class ID under which blobs are written.
  static constexpr unsigned int TypeId() noexcept { return 0x230005; }

  /// Makes a blob with identity `uid` in field `field` of the visitor's object.
  cls_BlobWriter(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, cls_Uid const& uid);
  cls_BlobWriter(cls_BlobWriter const&) = delete;
  cls_BlobWriter& operator=(cls_BlobWriter const&) = delete;
  /// Deletes the agent where it needs deletion.
  ~cls_BlobWriter();

  /// The agent that writes the bytes; this writer's.
  [[nodiscard]] cls_AgentBlob& Agent() const noexcept { return *m_Agent; }

 private:
  cls_AgentBlob* m_Agent;
};

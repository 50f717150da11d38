#pragma once

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"

/// Makes a blob in a field, for as long as the writer lives.
///
/// Making a writer empties the blob: each save that makes one starts with no bytes. A class that wants to
/// keep the stored bytes asks the back end (for sto_Store: sto_KeepBlob).
///
/// REQUIRES: the visitor is started, and the back end returns a child memento and an agent (not checked).
/// Thread rule: one thread. Errors: those of the back end pass through.
class KVL_EXPORT cls_BlobWriter {
 public:
  /// Class ID under which blobs are written.
  static constexpr unsigned int TypeId() noexcept { return 0x230005; }

  /// Makes a blob with identity `uid` in field `field` of the visitor's object.
  cls_BlobWriter(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, cls_Uid const& uid);
  cls_BlobWriter(cls_BlobWriter const&) = delete;
  cls_BlobWriter& operator=(cls_BlobWriter const&) = delete;
  /// Deletes the agent if it needs deletion.
  ~cls_BlobWriter();

  /// The agent that writes the bytes. Valid while this writer lives.
  [[nodiscard]] cls_AgentBlob& Agent() const noexcept { return *m_Agent; }

 private:
  cls_AgentBlob* m_Agent;
};

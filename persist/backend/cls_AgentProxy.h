#pragma once

#include "persist/backend/cls_StorageTypeId.h"
#include "platform/cow/cow_CountedHld.h"
#include "platform/kvl_Export.h"

class cls_FieldHandle;
class cls_MementoWrite;

/// Represents a stored object, so that it can be copied to another storage without being built in memory.
/// Held through cow_CountedHld<cls_AgentProxy>. The comment before each operation is its virtual slot.
/// Thread rule: one thread.
class KVL_EXPORT cls_AgentProxy {
 public:
  cls_AgentProxy() = default;
  cls_AgentProxy(cls_AgentProxy const&) = delete;
  cls_AgentProxy& operator=(cls_AgentProxy const&) = delete;

  /* 0 */ virtual ~cls_AgentProxy();

  /// Copies the object into `field` of what `writer` writes; `storage` is the kind of storage of `writer`.
  /// cls_MementoWrite::CopyBranch calls it. A proxy that knows that kind may take `writer` for its own class.
  /// Returns false if the proxy cannot do that. The default always returns false.
  /* 1 */ virtual bool Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                                cls_FieldHandle const& field);
};

extern template class KVL_EXPORT cow_CountedHld<cls_AgentProxy>;

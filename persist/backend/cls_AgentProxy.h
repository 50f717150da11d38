#pragma once

#include "persist/backend/cls_StorageTypeId.h"
#include "platform/cow/cow_CountedHld.h"
#include "platform/kvl_Export.h"

class cls_FieldHandle;
class cls_MementoWrite;

/// Stands for an object in some storage, so that it can be carried to another storage without being rebuilt.
/// Held through cow_CountedHld<cls_AgentProxy>. The comment before each operation is its virtual slot.
/// Thread rule: one thread.
class KVL_EXPORT cls_AgentProxy {
 public:
  cls_AgentProxy() = default;
  cls_AgentProxy(cls_AgentProxy const&) = delete;
  cls_AgentProxy& operator=(cls_AgentProxy const&) = delete;

  /* 0 */ virtual ~cls_AgentProxy();

  /// Transfers the object into `field` of what `writer` writes, a memento of the kind of storage `storage`.
  /// False: the proxy cannot do that, which is also what the library answers.
  /* 1 */ virtual bool Transfer(cls_StorageTypeId const& storage, cls_MementoWrite* writer,
                                cls_FieldHandle const& field);
};

extern template class KVL_EXPORT cow_CountedHld<cls_AgentProxy>;

#pragma once

#include "persist/backend/cls_WriteCollectionBase.h"
#include "persist/identity/cls_Uid.h"
#include "platform/cow/cow_String.h"

class cls_MementoWrite;

/// Builder of a stored list of objects. Each element is written through the memento that the builder makes
/// for it (null: do not write it). The WithPtr forms also get the element itself, which the defaults ignore;
/// a back end that needs it overrides them.
class KVL_EXPORT cls_WriteListObj : public cls_WriteCollectionBase {
 public:
  ~cls_WriteListObj() override;

  /// The memento of a new element at the end.
  /* 2 */ virtual cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) = 0;
  /* 3 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                                        void const* object);

  /// How many elements the list has so far.
  /* 4 */ virtual int Count() const = 0;
};

/// Builder of a stored map from int to objects; the entries keep the order in which they are made.
class KVL_EXPORT cls_WriteMapInt2Obj : public cls_WriteCollectionBase {
 public:
  ~cls_WriteMapInt2Obj() override;

  /* 2 */ virtual cls_MementoWrite* MakeWriteObj(int const& key, unsigned int classId,
                                                 cls_Uid const& uid) = 0;
  /* 3 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(int const& key, unsigned int classId,
                                                        cls_Uid const& uid, void const* object);
  /* 4 */ virtual int Count() const = 0;
};

/// The same for a map from cow_String to objects.
class KVL_EXPORT cls_WriteMapString2Obj : public cls_WriteCollectionBase {
 public:
  ~cls_WriteMapString2Obj() override;

  /* 2 */ virtual cls_MementoWrite* MakeWriteObj(cow_String const& key, unsigned int classId,
                                                 cls_Uid const& uid) = 0;
  /* 3 */ virtual cls_MementoWrite* MakeWriteObjWithPtr(cow_String const& key, unsigned int classId,
                                                        cls_Uid const& uid, void const* object);
  /* 4 */ virtual int Count() const = 0;
};

/// Builder of a stored table from int to int. The receiver always deletes it.
class KVL_EXPORT cls_WriteIntTableInt {
 public:
  cls_WriteIntTableInt() = default;
  cls_WriteIntTableInt(cls_WriteIntTableInt const&) = delete;
  cls_WriteIntTableInt& operator=(cls_WriteIntTableInt const&) = delete;

  /* 0 */ virtual ~cls_WriteIntTableInt();
  /* 1 */ virtual void Insert(int key, int value) = 0;
};

#pragma once

#include "persist/backend/cls_ReadCollectionBase.h"
#include "platform/cow/cow_String.h"

class cls_MementoRead;

/// Cursor over a stored list of objects, from its first element on. The caller owns the mementos it returns.
class KVL_EXPORT cls_ReadListObj : public cls_ReadCollectionBase {
 public:
  ~cls_ReadListObj() override;

  /// The number of elements.
  /* 2 */ virtual int Count() = 0;

  /// The index of the element that Next returns next.
  /* 3 */ virtual int Position() = 0;

  /// Nonzero while elements remain.
  /* 4 */ virtual int More() = 0;

  /// Moves past up to `count` elements.
  /* 5 */ virtual void Skip(int count) = 0;

  /// A memento of the next element. REQUIRES: More().
  /* 6 */ virtual cls_MementoRead* Next() = 0;

  /// A memento of the element at `index`; does not move the cursor. REQUIRES: 0 <= index < Count().
  /* 7 */ virtual cls_MementoRead* At(int index) = 0;
};

/// Cursor over a stored map from int to objects, in the order in which the entries were written. It starts
/// before the first entry.
///
///     while (reader.More()) { reader.Next(); int key; cls_MementoRead* element = reader.Fetch(key); ... }
class KVL_EXPORT cls_ReadMapInt2Obj : public cls_ReadCollectionBase {
 public:
  ~cls_ReadMapInt2Obj() override;

  /// Nonzero while entries remain.
  /* 2 */ virtual int More() = 0;

  /// Moves to the next entry. REQUIRES: More().
  /* 3 */ virtual void Next() = 0;

  /// The number of entries.
  /* 4 */ virtual int Count() = 0;

  /// A memento of the current entry, and its key.
  /* 5 */ virtual cls_MementoRead* Fetch(int& key) = 0;

  /// Moves to the entry of a key. Returns false, and does not move, if there is none.
  /* 6 */ virtual bool Find(int const& key) = 0;
};

/// The same for a map from cow_String to objects, without Find.
class KVL_EXPORT cls_ReadMapString2Obj : public cls_ReadCollectionBase {
 public:
  ~cls_ReadMapString2Obj() override;

  /* 2 */ virtual int More() = 0;
  /* 3 */ virtual void Next() = 0;
  /* 4 */ virtual int Count() = 0;
  /* 5 */ virtual cls_MementoRead* Fetch(cow_String& key) = 0;
};

/// Cursor over a stored table from int to int. The receiver always deletes it.
class KVL_EXPORT cls_ReadIntTableInt {
 public:
  cls_ReadIntTableInt() = default;
  cls_ReadIntTableInt(cls_ReadIntTableInt const&) = delete;
  cls_ReadIntTableInt& operator=(cls_ReadIntTableInt const&) = delete;

  /* 0 */ virtual ~cls_ReadIntTableInt();

  /// The number of entries.
  /* 1 */ virtual int Count() = 0;

  /// Nonzero while entries remain.
  /* 2 */ virtual int More() = 0;

  /// Moves to the next entry and returns its value. REQUIRES: More().
  /* 3 */ virtual int Next() = 0;

  /// The key of the entry whose value Next returned last.
  /* 4 */ virtual void Key(int& key) = 0;
};

#pragma once

#include <memory>

#include "persist/identity/cls_Uid.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

class cls_MementoWrite;
class cls_WriteListObj;
class cls_WriteVisitor;

/// An object in memory that is written after its holder.
struct cls_LaterWrite {
  unsigned int m_ClassId;
  cls_Uid m_Uid;
  std::shared_ptr<void const> m_Object; ///< kept until it is written, if the pointer owns it
  void (*m_Write)(void const* object, cls_WriteVisitor const& visitor);
};

// What a back end offers that can write objects after their holders: its writing memento and its builders of
// object collections derive from these classes too. What was left for later is written before the save ends, in
// the order in which it was reached. Errors are those of the memento and the builder; errors of the objects are
// raised when they are written. Thread rule: as the save.

/// A writing memento.
class KVL_EXPORT cls_WritesLater {
 public:
  /// Writes a field that holds an object; the object itself is written later. False, and nothing is written, if an
  /// object of this class must be written at once: a collection.
  [[nodiscard]] virtual bool HoldLater(cls_FieldHandle const& field, cls_LaterWrite object) = 0;

  /// What a memento offers; null if `memento` is null or does not derive from this class.
  [[nodiscard]] static cls_WritesLater* Of(cls_MementoWrite* memento) noexcept;

 protected:
  cls_WritesLater() = default;
  cls_WritesLater(cls_WritesLater const&) = default;
  cls_WritesLater& operator=(cls_WritesLater const&) = default;
  ~cls_WritesLater() = default;
};

/// A builder of a list of objects.
class KVL_EXPORT cls_AppendsLater {
 public:
  /// False, and nothing is appended, if an object of this class must be written at once.
  [[nodiscard]] virtual bool AppendLater(cls_LaterWrite object) = 0;
  /// Appends an element without an object. It is read as an object that is not stored.
  virtual void AppendNull() = 0;

  [[nodiscard]] static cls_AppendsLater* Of(cls_WriteListObj* list) noexcept;

 protected:
  cls_AppendsLater() = default;
  cls_AppendsLater(cls_AppendsLater const&) = default;
  cls_AppendsLater& operator=(cls_AppendsLater const&) = default;
  ~cls_AppendsLater() = default;
};

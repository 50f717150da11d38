#pragma once

#include <cstddef>
#include <memory>
#include <typeinfo>

#include "persist/identity/cls_Uid.h"
#include "persist/pointers/cls_DeclaredTypes.h"
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
// object collections derive from these classes too. Objects are written inside their holders until these are nested
// deeply; only then are they left for later. What was left is written before the save ends, best in the order in which a
// load reads it (cls_LaterOrder). Errors are those of the memento and the builder; errors of the objects are raised when they are written.
// Thread rule: as the save.

/// A writing memento.
class KVL_EXPORT cls_WritesLater {
 public:
  /// Whether so many objects are nested here that the next one had better be written later.
  [[nodiscard]] virtual bool IsDeep() const noexcept = 0;
  /// Adds to a count. While it is not 0, IsDeep is false in the whole save.
  virtual void CountAtOnce(int change) noexcept = 0;
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

/// While it lives, objects are written at once: for what is written from a temporary object.
class cls_WriteAtOnce {
 public:
  explicit cls_WriteAtOnce(cls_MementoWrite* memento) noexcept : m_Later(cls_WritesLater::Of(memento)) {
    if (m_Later != nullptr) m_Later->CountAtOnce(1);
  }
  cls_WriteAtOnce(cls_WriteAtOnce const&) = delete;
  cls_WriteAtOnce& operator=(cls_WriteAtOnce const&) = delete;
  ~cls_WriteAtOnce() {
    if (m_Later != nullptr) m_Later->CountAtOnce(-1);
  }

 private:
  cls_WritesLater* m_Later;
};

/// A builder of a list of objects.
class KVL_EXPORT cls_AppendsLater {
 public:
  /// As that of cls_WritesLater.
  [[nodiscard]] virtual bool IsDeep() const noexcept = 0;
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

/// Declares a type of writing memento that derives from cls_WritesLater for as long as this object lives; see
/// cls_StoredMementoType.
template <class Memento> class cls_LaterMementoType;

/// The part of cls_LaterMementoType that does not depend on the class.
class KVL_EXPORT cls_LaterMementoTypeBase {
 public:
  cls_LaterMementoTypeBase(cls_LaterMementoTypeBase const&) = delete;
  cls_LaterMementoTypeBase& operator=(cls_LaterMementoTypeBase const&) = delete;

 protected:
  /// `offset` leads from the cls_MementoWrite of an object to its cls_WritesLater.
  cls_LaterMementoTypeBase(std::type_info const& type, std::ptrdiff_t offset) noexcept;
  ~cls_LaterMementoTypeBase();

 private:
  std::type_info const* m_Type;
};

template <class Memento> class cls_LaterMementoType : public cls_LaterMementoTypeBase {
 public:
  cls_LaterMementoType() noexcept
      : cls_LaterMementoTypeBase(typeid(Memento),
                                 cls_InterfaceOffset<Memento, cls_MementoWrite, cls_WritesLater>()) {}
};

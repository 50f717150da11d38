#pragma once

#include <cstdint>
#include <vector>

#include "metadata/cls_AttributeMetadata.h"
#include "platform/atr/atr_KeyOrder.h"
#include "platform/cow/cow_COW.h"
#include "platform/kvl_Export.h"
#include "platform/omni/omi_Btree.h"

class cls_FieldHandle;
class cls_ReadVisitor;
class cls_WriteVisitor;

/// What the library knows about one version of one persisted class: its name and IDs, how to build an object
/// of it from storage, how to delete its data, and its attributes.
///
/// Made by a registration function and passed to a cls_ClassRegistrar; cls_TypeAdapter<T> is the one for a
/// C++ class. The setters return the object itself, so that a registration is one chain:
///
///     registrar.AddClassMD(new cls_TypeAdapter<Bolt>("Bolt"_cow, 1, 1))
///         .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
///
/// Invariants:
/// 1. The base class ID differs from the class ID.
/// 2. An attribute name occurs once; the first declaration is kept.
/// 3. A later declaration that differs is noted once; see DroppedClasses and DroppedAttributes.
///
/// The order of the virtual operations is frozen. Thread rule: filled during single-threaded start-up, then
/// only read, by any number of threads.
class KVL_EXPORT cls_ClassMetadata {
 public:
  /// Builds an object from a reader; the caller owns it.
  using CtorFn = void* (*)(cls_ReadVisitor& reader);
  /// Deletes the copy-on-write data of an object.
  using DtorFn = void (*)(cow_COW<int, cow_Direct<int>>* data);
  using Attributes = omi_Btree<cow_String, cls_AttributeMetadata>;
  /// The name and the base class of a registration.
  struct DroppedClass {
    cow_String m_Name;
    unsigned int m_BaseClassId;

    friend bool operator==(DroppedClass const& a, DroppedClass const& b) noexcept = default;
  };

  /// The class ID that means "no base class": the root of every hierarchy.
  static constexpr unsigned int RootClassId = 1;

  /// Describes a class without attributes or deletion function, with a table extent quantum of 4. `ctor` may
  /// be null. A base class ID equal to the class ID ends the process: walking up the base classes would not
  /// end.
  cls_ClassMetadata(cow_String const& name, unsigned int classId, int version, CtorFn ctor,
                    unsigned int baseClassId);
  cls_ClassMetadata(cls_ClassMetadata const&) = delete;
  cls_ClassMetadata& operator=(cls_ClassMetadata const&) = delete;

  virtual ~cls_ClassMetadata();

  /// Writes an object of the class. The default does nothing; type adapters override it.
  virtual void DBWrite(void const* object, cls_WriteVisitor const& writer) const;

  /// Deletes an object of the class. The default does nothing; type adapters override it.
  virtual void Delete(void* object) const;

  /// Calls the deletion function with `data`; does nothing if there is none.
  virtual void DeleteCow(cow_COW<int, cow_Direct<int>>* data) const;

  /// Builds an object with the constructor function; null if there is none. The caller owns it.
  virtual void* Ctor(cls_ReadVisitor const& reader) const;

  /// Declares an attribute under the handle's number and name. A name that is already declared keeps its
  /// first declaration; if this one differs, it is noted (DroppedAttributes). `typeArg` is only kept. Changes
  /// nothing if memory runs out.
  cls_ClassMetadata& AddAttribute(cls_FieldHandle const& field, cls_AttributeType type, unsigned int typeArg,
                                  cls_CollectionType collection);

  /// Sets the deletion function, replacing an earlier one.
  cls_ClassMetadata& AddDtor(DtorFn dtor);

  /// Sets the table extent quantum, unchecked. Nothing in this library reads it.
  cls_ClassMetadata& AddTableExtentQuantum(int quantum);

  /// The greatest field number of all attributes, which may be negative; -1 when there are no attributes.
  [[nodiscard]] int MaxFieldID() const;

  [[nodiscard]] cow_String const& Name() const noexcept { return m_Name; }
  [[nodiscard]] unsigned int ClassId() const noexcept { return m_ClassId; }
  /// False: no two attributes have the same number. True: some may (-1 is no number). Cheap, so that a check
  /// of many classes can skip most of them.
  [[nodiscard]] bool MayShareNumbers() const noexcept { return m_MayShareNumbers; }

  /// RootClassId if the class has no base class.
  [[nodiscard]] unsigned int BaseClassId() const noexcept { return m_BaseClassId; }
  [[nodiscard]] int Version() const noexcept { return m_Version; }
  [[nodiscard]] int TableExtentQuantum() const noexcept { return m_TableExtentQuantum; }
  [[nodiscard]] bool HasCtor() const noexcept { return m_CtorFn != nullptr; }
  [[nodiscard]] bool HasDtor() const noexcept { return m_DtorFn != nullptr; }

  /// The attributes, ascending by name.
  [[nodiscard]] Attributes const& GetAttributes() const noexcept { return m_Attributes; }
  /// The attribute of a name; null if it is not declared.
  [[nodiscard]] cls_AttributeMetadata const* FindAttribute(cow_String const& name) const noexcept;

  /// The later registrations of this class version that were dropped although their name or base class
  /// differs: each once, in order. Constructor functions are not compared.
  [[nodiscard]] std::vector<DroppedClass> const& DroppedClasses() const noexcept { return m_DroppedClasses; }

  /// The later attribute declarations that were dropped although they say something else: the name is
  /// declared differently here, or (in metadata of a later, dropped registration) the name is not declared
  /// here. Each once, in order.
  [[nodiscard]] std::vector<cls_AttributeMetadata> const& DroppedAttributes() const noexcept {
    return m_DroppedAttributes;
  }

 private:
  friend class cls_ClassRegistrar;

  /// Notes how a later registration of the same class version, which is dropped, differs. Changes nothing if
  /// memory runs out.
  void NoteDropped(cls_ClassMetadata const& later);
  void NoteNumber(int number) noexcept;

  cow_String m_Name;
  unsigned int m_ClassId;
  unsigned int m_BaseClassId;
  CtorFn m_CtorFn;
  DtorFn m_DtorFn = nullptr;
  int m_TableExtentQuantum = 4;
  int m_Version;
  Attributes m_Attributes;
  std::uint64_t m_NumbersSeen = 0; // bit n: a field number with remainder n modulo 64 was declared
  bool m_MayShareNumbers = false;
  std::vector<DroppedClass> m_DroppedClasses;
  std::vector<cls_AttributeMetadata> m_DroppedAttributes;
};

/// Shares class metadata; the last holder deletes it.
using cls_ClassMetadataHld = cow_CountedHld<cls_ClassMetadata>;

#pragma once

#include <memory>
#include <optional>

#include "persist/backend/cls_TypedMementoRead.h"
#include "store/format/sto_CollectionShape.h"
#include "store/session/sto_ChangedBase.h"
#include "store/session/sto_Session.h"

/// Reads one stored object, or one base-class part of it. Without record it stands for an object that is not
/// there: it has no fields, no elements, class 1 and a fresh identity. Internal to the module.
///
/// A number is read as any type that holds it: every integer as a wider one, a float as a double; 32-bit
/// integers signed, unsigned and as enumeration for each other, bit by bit. Everything else is WrongClass.
class sto_MementoRead : public cls_TypedMementoRead<sto_MementoRead> {
 public:
  /// The first part of a record (null for none) that `depth` objects hold.
  sto_MementoRead(sto_Session& session, sto_RecordRef record, int depth)
      : m_Session(session), m_Record(std::move(record)),
        m_Part(m_Record == nullptr ? nullptr : m_Record->Parts().data()), m_Depth(depth),
        m_IsRefused(m_Record != nullptr && m_Record->HasChangedBase()) {}

  ~sto_MementoRead() override {
    if (m_WasRead && m_Session.IsStrict()) CheckIdentity();
  }

  /// A collection, as messages name it.
  struct Collection {
    char const* m_Kind; // "list", "map"
    std::int64_t m_Id;
    [[nodiscard]] std::string Describe() const {
      return std::string("the ") + m_Kind + " of object " + std::to_string(m_Id);
    }
  };

  /// The record of element `id` of a collection, null for id 0. Damaged, naming `collection`, when the object
  /// is missing; Full when it is too deep.
  [[nodiscard]] static sto_RecordRef ReadElement(sto_Session& session, std::int64_t id, int depth,
                                                 Collection const& collection);
  /// Its memento, an empty one for id 0.
  [[nodiscard]] static sto_MementoRead* OfElement(sto_Session& session, std::int64_t id, int depth,
                                                  Collection const& collection) {
    return new sto_MementoRead(session, ReadElement(session, id, depth, collection), depth);
  }

  [[nodiscard]] sto_Session& Session() const noexcept { return m_Session; }
  /// The object's id, 0 for none.
  [[nodiscard]] std::int64_t Id() const noexcept {
    return m_Record == nullptr ? 0 : m_Record->Parts()[0].m_Id;
  }

  /// The object is built by the metadata of its stored version. Whether that knows which base classes the
  /// version had decides if an object whose base classes have changed can be read.
  void NoteBuiltByMetadata();

  cow_String DbId() override;
  cls_Uid const& GetUid() override;
  int FieldIsPresent(cls_FieldHandle const& field) const override;
  /// For a field that names an object: whether that object is in the store. One that a field holds always is.
  int DataIsPresent(cls_FieldHandle const& field) const override;
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override;
  cls_MementoRead* Clone() override;

  /// 0 where the field is absent.
  int ReadEnum(cls_FieldHandle const& field) override;
  cls_Uid ReadReference(cls_FieldHandle const& field) override;
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override;
  unsigned int ClassId() const override;
  int ClassVersion() const override;

  cls_ReadListObj* MakeReadListObj() override;
  cls_ReadIntTableInt* MakeReadIntTableInt() override;
  cls_AgentListObj* MakeAgentListObj() override;
  cls_AgentBlob* MakeAgentBlob() override;

  /// WrongClass when what is stored may not stand where this type is asked for, by the stored collection code
  /// or, where the record's own class version is registered, by its metadata.
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override;

 private:
  friend cls_TypedMementoRead<sto_MementoRead>;
  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue);
  template <class T> cls_ReadListPrim<T>* MakeListOf(T* tag);
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag);
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf();
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag);
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag);

  /// The base-class part after that of `derived`.
  sto_MementoRead(sto_MementoRead const& derived, sto_Part const* part)
      : m_Session(derived.m_Session), m_Record(derived.m_Record), m_Part(part), m_Depth(derived.m_Depth) {}

  /// Misuse for an object whose base classes have changed since it was written, unless its metadata knows.
  void CheckBases() const {
    if (m_IsRefused) sto_RaiseChangedBase(m_Session, *m_Record);
  }

  [[nodiscard]] sto_Field const* Find(cls_FieldHandle const& field) const;
  /// The same for a value that is asked for: Misuse in a strict store when nobody declares the attribute.
  [[nodiscard]] sto_Field const* FindToRead(cls_FieldHandle const& field) const {
    m_WasRead = true;
    sto_Field const* const found = Find(field);
    if (found == nullptr && m_Part != nullptr && m_Session.IsStrict()) CheckName(field);
    return found;
  }
  void CheckName(cls_FieldHandle const& field) const;
  /// Keeps Misuse when an object of a class of the program's was read, and its identity was not.
  void CheckIdentity() const noexcept;
  [[nodiscard]] std::string Describe() const;
  [[noreturn]] void RaiseType(cls_FieldHandle const& field, std::uint8_t tag, char const* asked) const;

  /// Raises WrongClass for a collection that is not stored as what is asked for.
  [[noreturn]] void RaiseCollection(cls_CollectionType stored, cow_String const& name,
                                    std::string const& problem) const;

  /// The value of a bool, a text, a float or a double.
  template <class T> [[nodiscard]] T Decode(cls_FieldHandle const& field, sto_Field const& found) const;
  template <class T> T ReadInteger(cls_FieldHandle const& field, T defaultValue, char const* asked) const;
  /// Full when an object would be deeper than objects may hold objects.
  [[noreturn]] static void RaiseNesting(sto_Session const& session, std::string const& holder);
  /// WrongClass unless the object, where there is one, is such a collection.
  void CheckShape(sto_CollectionShape const& asked) const;

  sto_Session& m_Session;
  sto_RecordRef m_Record;
  sto_Part const* m_Part; // that this memento stands on, null for none
  int m_Depth;
  mutable bool m_WasRead = false;
  bool m_IsRefused = false;            // its base classes have changed, and nobody who knows builds it
  mutable std::size_t m_NextField = 0; // fields are mostly read in the order in which they were written
  std::optional<cls_Uid> m_Uid;
};

extern template class cls_TypedMementoRead<sto_MementoRead>;

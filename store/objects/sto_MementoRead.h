#pragma once

#include <memory>
#include <new>
#include <optional>

#include "persist/backend/cls_MoreLists.h"
#include "persist/backend/cls_StoredSigns.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/pointers/cls_StoredObject.h"
#include "store/format/sto_CollectionShape.h"
#include "store/session/sto_ChangedBase.h"
#include "store/session/sto_Session.h"

/// Reads one stored object, or one base-class part of it. Without a record it reads an absent object: no
/// fields, no elements, class 1 and a new identity. Internal to the module. Thread rule: the thread of the
/// session.
///
/// A number can be read as any type that can hold it: an integer as a wider integer, a float as a double. The
/// 32-bit types (signed, unsigned, enumeration) can be read as each other, bit by bit. Every other mismatch
/// is WrongClass.
class sto_MementoRead : public cls_TypedMementoRead<sto_MementoRead>,
                        public cls_TypedReadsMoreLists<sto_MementoRead>,
                        public cls_StoredObject,
                        public cls_StoredSigns {
 public:
  /// Reads the first part of a record, or an absent object if `record` is null. `depth` is the number of
  /// objects that hold the object, one inside another.
  sto_MementoRead(sto_Session& session, sto_RecordRef record, int depth)
      : m_Session(session), m_Pool(session.Mementos()), m_Record(std::move(record)),
        m_Part(m_Record == nullptr ? nullptr : m_Record->Parts().data()), m_Depth(depth),
        m_IsRefused(m_Record != nullptr && m_Record->HasChangedBase()) {}

  ~sto_MementoRead() override {
    if (m_WasRead && m_Session.IsStrict()) CheckIdentity();
  }

  /// Mementos are made with `new (session)`, in the session's memory for them. Throws std::bad_alloc.
  static void* operator new(std::size_t size, sto_Session& session) { return session.Mementos().Give(size); }
  static void operator delete(void* memory, sto_Session& session) noexcept { // if the constructor throws
    session.Mementos().TakeBack(memory, sto_MementoPool::PieceBytes);
  }
  static void operator delete(sto_MementoRead* memento, std::destroying_delete_t, std::size_t size) noexcept {
    sto_MementoPool& pool = memento->m_Pool; // may outlive the session
    memento->~sto_MementoRead();
    pool.TakeBack(memento, size);
  }

  /// Names a collection in messages.
  struct Collection {
    char const* m_Kind; // "list", "map"
    std::int64_t m_Id;
    [[nodiscard]] std::string Describe() const {
      return std::string("the ") + m_Kind + " of object " + std::to_string(m_Id);
    }
  };

  /// The record of element `id` of a collection, null for id 0. Damaged, naming `collection`, if the object
  /// is missing; Full if objects are nested too deep.
  [[nodiscard]] static sto_RecordRef ReadElement(sto_Session& session, std::int64_t id, int depth,
                                                 Collection const& collection);
  /// The memento of that element, of an absent object for id 0. The caller owns it.
  [[nodiscard]] static sto_MementoRead* OfElement(sto_Session& session, std::int64_t id, int depth,
                                                  Collection const& collection) {
    return new (session) sto_MementoRead(session, ReadElement(session, id, depth, collection), depth);
  }

  [[nodiscard]] sto_Session& Session() const noexcept { return m_Session; }
  /// Whether the object is a list of objects.
  [[nodiscard]] bool HoldsObjectList() const noexcept {
    return m_Record != nullptr && m_Record->List() &&
           m_Record->List()->m_ElementType == sto_Format::ElementObject;
  }
  /// The object's id, 0 for an absent object.
  [[nodiscard]] std::int64_t Id() const noexcept {
    return m_Record == nullptr ? 0 : m_Record->Parts()[0].m_Id;
  }

  [[nodiscard]] Place StoredAt() noexcept override { return {&m_Session, Id()}; }
  /// Notes that the metadata of the stored version builds the object. If the object's base classes have
  /// changed, it can only be read if that metadata knows the old ones.
  void NoteBuiltByMetadata() override;

  /// The object that a field holds or refers to; no source if there is none.
  [[nodiscard]] cls_HeldObject HeldIn(cls_FieldHandle const& field) const;
  /// The id of that object; 0 if there is none, and for a reference to an object that is not there. WrongClass for
  /// another value.
  [[nodiscard]] std::int64_t ObjectIn(cls_FieldHandle const& field) const;
  /// What this memento reads; no source for an absent object.
  [[nodiscard]] cls_HeldObject Self() const;
  /// The memento of a base-class part that has been read before. The caller owns it.
  [[nodiscard]] static cls_MementoRead* AtPart(sto_Session& session, sto_RecordRef record, int depth,
                                               int part);

  cow_String DbId() override;
  cls_Uid const& GetUid() override;
  int FieldIsPresent(cls_FieldHandle const& field) const override;
  /// For a field with a reference: whether the store has the object. A held object always exists.
  int DataIsPresent(cls_FieldHandle const& field) const override;
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override;
  cls_MementoRead* Clone() override;

  [[nodiscard]] Sign SignOf(cls_FieldHandle const& field) const noexcept override;
  /// 0 if the field is absent.
  int ReadEnum(cls_FieldHandle const& field) override;
  cls_Uid ReadReference(cls_FieldHandle const& field) override;
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override;
  unsigned int ClassId() const override;
  int ClassVersion() const override;

  cls_ReadListObj* MakeReadListObj() override;
  cls_ReadIntTableInt* MakeReadIntTableInt() override;
  cls_AgentListObj* MakeAgentListObj() override;
  cls_AgentListPrim<long long>* MakeMoreListAgent(long long* tag) override;
  cls_AgentListPrim<unsigned long long>* MakeMoreListAgent(unsigned long long* tag) override;
  cls_AgentListPrim<cls_Complex<float>>* MakeMoreListAgent(cls_Complex<float>* tag) override;
  cls_AgentListPrim<cls_Complex<double>>* MakeMoreListAgent(cls_Complex<double>* tag) override;
  cls_AgentBlob* MakeAgentBlob() override;

  /// WrongClass if the stored collection does not fit the requested type, by the stored collection code, or
  /// by the metadata of the record's class version if that is registered.
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override;

 private:
  friend cls_TypedMementoRead<sto_MementoRead>;
  friend cls_TypedReadsMoreLists<sto_MementoRead>;
  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue);
  template <class T> cls_ReadListPrim<T>* MakeListOf(T* tag);
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag);
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf();
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag);
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag);

  /// Reads the base-class part that follows the part of `derived`.
  sto_MementoRead(sto_MementoRead const& derived, sto_Part const* part)
      : m_Session(derived.m_Session), m_Pool(derived.m_Pool), m_Record(derived.m_Record), m_Part(part),
        m_Depth(derived.m_Depth) {}

  sto_MementoRead(sto_Session& session, sto_RecordRef record, int depth, sto_Part const* part)
      : m_Session(session), m_Pool(session.Mementos()), m_Record(std::move(record)), m_Part(part),
        m_Depth(depth) {}

  /// Misuse if the object's base classes have changed since it was written and its metadata does not know the
  /// old ones.
  void CheckBases() const {
    if (m_IsRefused) sto_RaiseChangedBase(m_Session, *m_Record);
  }

  [[nodiscard]] sto_Field const* Find(cls_FieldHandle const& field) const {
    // Most objects read their attributes in the order of writing.
    if (m_Part != nullptr && !m_IsRefused && m_NextField < m_Part->m_Fields.size()) {
      sto_Field const& likely = m_Part->m_Fields[m_NextField];
      if (m_Session.Catalogue().IsKnownKey(likely.m_Key, field)) {
        ++m_NextField;
        return &likely;
      }
    }
    return Search(field);
  }
  [[nodiscard]] sto_Field const* Search(cls_FieldHandle const& field) const;
  /// The same for reading a value: Misuse in a strict store if no class version declares the attribute.
  [[nodiscard]] sto_Field const* FindToRead(cls_FieldHandle const& field) const {
    m_WasRead = true;
    sto_Field const* const found = Find(field);
    if (found == nullptr && m_Part != nullptr && m_Session.IsStrict()) CheckName(field);
    return found;
  }
  void CheckName(cls_FieldHandle const& field) const;
  /// Keeps Misuse if an object of a program class was read but its identity was not.
  void CheckIdentity() const noexcept;
  [[nodiscard]] std::string Describe() const;
  [[noreturn]] void RaiseType(cls_FieldHandle const& field, std::uint8_t tag, char const* asked) const;

  /// Raises WrongClass for a collection that is stored as another kind than the requested one.
  [[noreturn]] void RaiseCollection(cls_CollectionType stored, cow_String const& name,
                                    std::string const& problem) const;

  /// The value of a bool, a text, a float or a double.
  template <class T> [[nodiscard]] T Decode(cls_FieldHandle const& field, sto_Field const& found) const;
  template <class T> T ReadInteger(cls_FieldHandle const& field, T defaultValue, char const* asked) const;
  /// Raises Full: an object would be nested too deep.
  [[noreturn]] static void RaiseNesting(sto_Session const& session, std::string const& holder);
  /// WrongClass if there is an object and it is not such a collection.
  void CheckShape(sto_CollectionShape const& asked) const;

  sto_Session& m_Session;
  sto_MementoPool& m_Pool;
  sto_RecordRef m_Record;
  sto_Part const* m_Part; // the part that this memento reads, null for an absent object
  int m_Depth;
  mutable bool m_WasRead = false;
  bool m_IsRefused = false;            // the base classes have changed; NoteBuiltByMetadata may clear it
  mutable std::size_t m_NextField = 0; // fields are mostly read in the order of their writing
  std::optional<cls_Uid> m_Uid;
};

extern template class cls_TypedMementoRead<sto_MementoRead>;
extern template class cls_TypedReadsMoreLists<sto_MementoRead>;

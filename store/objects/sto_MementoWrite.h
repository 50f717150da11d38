#pragma once

#include <memory>
#include <optional>

#include "persist/backend/cls_MoreLists.h"
#include "persist/backend/cls_TypedMementoWrite.h"
#include "store/objects/sto_RecordInProgress.h"

/// Writes one object, or one base-class part of it, into the record that its parts share. Internal to the
/// module. Thread rule: the thread of the session.
///
/// The identity decides what is one object: what a save writes under one identity is stored once, and every
/// holder holds that object. So the calls that bracket shared pointers do nothing here. For copy-on-write
/// holders only identities count, too: holders of one payload share its identity, and values with identities
/// of their own stay separate objects even while they share memory.
class sto_MementoWrite : public cls_TypedMementoWrite<sto_MementoWrite>,
                         public cls_TypedWritesMoreLists<sto_MementoWrite>,
                         public cls_WritesLater {
 public:
  /// Writes part number `part` of `object`; the part is of class `inUse`.
  sto_MementoWrite(sto_RecordInProgressRef object, std::size_t part, sto_ClassInUse& inUse)
      : m_Object(std::move(object)), m_Part(part), m_Class(inUse) {}

  /// Mementos are made with `new (session)`, in the session's memory for them. Throws std::bad_alloc.
  static void* operator new(std::size_t size, sto_Session& session) { return session.Mementos().Give(size); }
  static void operator delete(void* memory, sto_Session& session) noexcept { // if the constructor throws
    session.Mementos().TakeBack(memory, sizeof(sto_MementoWrite));
  }
  static void operator delete(sto_MementoWrite* memento, std::destroying_delete_t,
                              std::size_t size) noexcept {
    sto_MementoPool& pool = memento->Session().Mementos();
    memento->~sto_MementoWrite(); // may write the object
    pool.TakeBack(memento, size);
  }

  /// Makes the memento of an object that `depth` objects hold, one inside another; sets `id` to its id. Null
  /// if the save has already visited the object. Collections and blobs always get a memento, because their
  /// writers do not check for null.
  static std::unique_ptr<sto_MementoWrite> ForObject(sto_Session& session, unsigned int classId,
                                                     cls_Uid const& uid, int depth,
                                                     cls_Reach::Occurrence const& occurrence,
                                                     std::int64_t& id);

  /// The same for an element of the collection that `collection` writes; `object` is its address.
  static std::unique_ptr<sto_MementoWrite> ForElement(sto_RecordInProgress& collection, unsigned int classId,
                                                      cls_Uid const& uid, void const* object,
                                                      std::int64_t& id);

  /// Keeps `scope` alive until the object is written.
  void KeepUntilWritten(std::shared_ptr<sto_ElementSave> scope) noexcept {
    m_Object->KeepUntilWritten(std::move(scope));
  }

  [[nodiscard]] sto_Session& Session() const noexcept { return m_Object->Session(); }
  /// The id of the object.
  [[nodiscard]] std::int64_t ObjectId() const noexcept { return m_Object->Id(); }
  /// Notes the attribute that holds the object, for messages; see sto_RecordInProgress.
  void HeldBy(cls_ClassMetadata const& holder, cls_AttributeMetadata const& attribute) noexcept {
    m_Object->HeldBy(holder, attribute);
  }
  /// Writes a field that holds object `id` of class `classId`; does not write that object.
  void HoldObject(cls_FieldHandle const& field, unsigned int classId, std::int64_t id);

  bool IsDeep() const noexcept override { return m_Object->IsDeep(); }
  void CountAtOnce(int change) noexcept override { Session().Save().Later().CountAtOnce(change); }
  bool HoldLater(cls_FieldHandle const& field, cls_LaterWrite object) override;

  int FieldIsPresent(cls_FieldHandle const& field) const override;
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const* object) override;
  cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                         cls_Uid const& uid,
                                         cow_COW<int, cow_Direct<int>> const* cow) override;
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) override;

  void WriteEnum(cls_FieldHandle const& field, int const& value) override;
  void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) override;
  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) override;

  cls_WriteListObj* MakeWriteListObj() override;
  cls_WriteIntTableInt* MakeWriteIntTableInt() override;

  cls_AgentListObj* MakeAgentListObj(int sizeHint) override;
  cls_AgentListPrim<long long>* MakeMoreListAgent(long long const* tag, int sizeHint) override;
  cls_AgentListPrim<unsigned long long>* MakeMoreListAgent(unsigned long long const* tag,
                                                           int sizeHint) override;
  cls_AgentListPrim<cls_Complex<float>>* MakeMoreListAgent(cls_Complex<float> const* tag,
                                                           int sizeHint) override;
  cls_AgentListPrim<cls_Complex<double>>* MakeMoreListAgent(cls_Complex<double> const* tag,
                                                            int sizeHint) override;
  /// The blob starts empty, even if one was stored under its identity; see sto_KeepBlob.
  cls_AgentBlob* MakeAgentBlob() override;

  /// Misuse if the type differs from the declared one. Records it with the field, so that a reader without
  /// the classes knows the kind of collection.
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override;

  /// Copies a proxy's stored object, and everything it leads to, without building it. False for a proxy of
  /// another kind of storage; see sto_Proxy.h.
  bool CopyBranch(cls_AgentProxy* proxy, cls_FieldHandle const& field) override;

 private:
  friend cls_TypedMementoWrite<sto_MementoWrite>;
  friend cls_TypedWritesMoreLists<sto_MementoWrite>;
  template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value);
  template <class T> cls_WriteListPrim<T>* MakeListOf(T const* tag, int width);
  template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const* tag);
  template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf();
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const* tag, int sizeHint);
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const* tag, int sizeHint);

  /// The declared attribute of a field. Misuse if the class's metadata has none.
  [[nodiscard]] sto_ClassInUse::Attribute const& Attribute(cls_FieldHandle const& field) {
    sto_ClassInUse::Attribute const* const known = m_Class.Find(field, m_NextAttribute);
    return known != nullptr ? *known : NewAttribute(field);
  }
  [[nodiscard]] sto_ClassInUse::Attribute const& NewAttribute(cls_FieldHandle const& field);
  /// Misuse unless the attribute is declared for an object of this class.
  void CheckHeldClass(sto_ClassInUse::Attribute const& attribute, unsigned int classId) const;
  [[noreturn]] void RaiseAttribute(cls_FieldHandle const& field, std::string const& problem) const;
  /// Misuse unless an attribute is declared for a value with this tag.
  void CheckTag(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                sto_Format::ValueTag tag) const {
    if ((attribute.m_FittingTags >> tag & 1) == 0) CheckNewTag(field, attribute, tag);
  }
  void CheckNewTag(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                   sto_Format::ValueTag tag) const;
  /// Puts a value into the record; `put` writes its bytes. Misuse if the attribute is not declared for it.
  template <class Put> void PutValue(cls_FieldHandle const& field, sto_Format::ValueTag tag, Put put) {
    sto_ClassInUse::Attribute const& attribute = Attribute(field);
    m_Object->PutWhole([&] { CheckTag(field, attribute, tag); });
    m_Object->PutField(m_Part, attribute.m_Key, tag, put);
  }
  template <class T> void WriteNumber(cls_FieldHandle const& field, sto_Format::ValueTag tag, T value);
  /// `text`: std::nullopt for a string without text.
  template <class Text> void PutText(cls_FieldHandle const& field, sto_Format::ValueTag tag, Text text);
  void PutObject(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute, std::int64_t id);
  /// Conflict if the collection is open through an agent; Misuse if it is not declared for this shape.
  void CheckBuilder(sto_CollectionShape const& shape) const;
  /// Misuse unless an agent of a collection of this shape can write the object.
  void PrepareObjectAgent(sto_CollectionShape const& shape, unsigned int classId);

  sto_RecordInProgressRef m_Object;
  std::size_t m_Part;
  sto_ClassInUse& m_Class;
  std::size_t m_NextAttribute = 0; // see sto_ClassInUse::Find
  bool m_HasBase = false;
};

extern template class cls_TypedMementoWrite<sto_MementoWrite>;
extern template class cls_TypedWritesMoreLists<sto_MementoWrite>;

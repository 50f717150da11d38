#pragma once

#include "tests/contract/memory/MemoryAgents.h"
#include "tests/contract/memory/MemoryCursors.h"

class MemoryWriter : public cls_TypedMementoWrite<MemoryWriter> {
 public:
  MemoryWriter(std::shared_ptr<Pass> pass, Stored& object, std::size_t part)
      : m_Pass(std::move(pass)), m_Object(object), m_Part(part) {}

  int FieldIsPresent(cls_FieldHandle const& field) const override {
    return ThisPart().m_Fields.contains(field.Key()) ? 1 : 0;
  }
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const*) override {
    Pass::Opened opened = m_Pass->Open(classId, uid);
    Put(field, opened.m_Object);
    return opened.m_Memento.release();
  }
  cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                         cls_Uid const& uid, cow_COW<int, cow_Direct<int>> const*) override {
    return MakeFieldWriteObj(field, classId, uid, nullptr);
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) override {
    auto base = std::make_unique<MemoryWriter>(m_Pass, m_Object, m_Object.m_Parts.size());
    m_Object.m_Parts.push_back(m_Pass->NewPart(classId, uid));
    return base.release();
  }

  void WriteEnum(cls_FieldHandle const& field, int const& value) override { Put(field, value); }
  void WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) override { Put(field, uid); }
  void WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) override {
    auto const* const first = static_cast<char const*>(bytes);
    Put(field, Bytes(first, first + sizeBytes));
  }

  cls_WriteListObj* MakeWriteListObj() override {
    return new ObjectListWriter(m_Pass, m_Object.Restart<List<Stored*>>());
  }
  cls_WriteIntTableInt* MakeWriteIntTableInt() override {
    return new IntTableWriter(m_Object.Restart<Map<int, int>>());
  }
  cls_AgentListObj* MakeAgentListObj(int sizeHint) override {
    return MakeAgent<ObjectListAgent, List<Stored*>>(sizeHint);
  }
  cls_AgentBlob* MakeAgentBlob() override { return new BlobAgent(m_Object.Restart<Bytes>(), true); }

  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    ThisPart().m_Types[cls_FieldHandle(name).Key()] = type;
  }

 private:
  friend cls_TypedMementoWrite<MemoryWriter>;

  template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value) { Put(field, value); }
  template <class T> cls_WriteListPrim<T>* MakeListOf(T const*, int width) {
    auto list = m_Object.Restart<List<T>>();
    list->m_RowWidth = width;
    return new ListWriter<T>(std::move(list));
  }
  template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const*) {
    return new MapWriter<K, T>(m_Object.Restart<Map<K, T>>());
  }
  template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf() {
    return new ObjectMapWriter<K>(m_Pass, m_Object.Restart<Map<K, Stored*>>());
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const*, int sizeHint) {
    return MakeAgent<ListAgent<T>, List<T>>(sizeHint);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const*, int sizeHint) {
    return MakeAgent<ObjectMapAgent<K>, Map<K, Stored*>>(sizeHint);
  }

  Part& ThisPart() const { return m_Object.m_Parts[m_Part]; }
  template <class T> void Put(cls_FieldHandle const& field, T const& value) {
    ThisPart().m_Fields[field.Key()].template emplace<T>(value);
  }
  // An agent goes on with the elements that are there.
  template <class MadeAgent, class C> MadeAgent* MakeAgent(int sizeHint) {
    auto const* const stored = std::any_cast<std::shared_ptr<C>>(&m_Object.m_Collection);
    std::shared_ptr<C> collection = stored == nullptr ? m_Object.Restart<C>() : *stored;
    m_Pass->KeepCollection(collection);
    collection->m_SizeHint = sizeHint;
    auto* const agent = new MadeAgent(m_Pass->Storage(), std::move(collection), true);
    if constexpr (requires { agent->m_SavedIn; }) agent->m_SavedIn = m_Pass;
    return agent;
  }

  std::shared_ptr<Pass> m_Pass;
  Stored& m_Object;
  std::size_t m_Part;
};

inline Pass::Opened Pass::Open(unsigned int classId, cls_Uid const& uid) {
  Stored& object = m_Storage.ObjectOf(uid);
  bool const isWritten = m_Before.contains(&object);
  if (isWritten && !cls_IsCollectionTypeId(classId)) return {&object, nullptr};
  auto memento = std::make_unique<MemoryWriter>(shared_from_this(), object, 0);
  if (!isWritten) m_Before.emplace(&object, object);
  object.m_Parts.assign(1, NewPart(classId, uid));
  if (!cls_IsCollectionTypeId(classId)) object.m_Collection.reset(); // a collection keeps what it has
  return {&object, std::move(memento)};
}

inline cls_MementoWrite* ObjectListWriter::MakeWriteObj(unsigned int classId, cls_Uid const& uid) {
  Pass::Opened opened = m_Pass->Open(classId, uid);
  m_List->m_Elements.push_back(opened.m_Object);
  return opened.m_Memento.release();
}

template <class K>
cls_MementoWrite* ObjectMapWriter<K>::MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) {
  Pass::Opened opened = m_Pass->Open(classId, uid);
  m_Map->m_Entries.emplace_back(key, opened.m_Object);
  return opened.m_Memento.release();
}

template <class Interface, class C>
cls_MementoWrite* CollectionAgent<Interface, C>::Write(Pass& pass, Stored*& element, unsigned int classId,
                                                       cls_Uid const& uid) {
  Pass::Opened opened = pass.Open(classId, uid);
  element = opened.m_Object;
  return opened.m_Memento.release();
}

#pragma once

#include "tests/contract/memory/MemoryAgents.h"
#include "tests/contract/memory/MemoryCursors.h"

// A memento without an object represents the empty object. Its collections are made when they are asked for.

class MemoryReader : public cls_TypedMementoRead<MemoryReader> {
 public:
  MemoryReader(MemoryStorage& storage, Stored* object, std::size_t part = 0)
      : m_Storage(storage), m_Object(object != nullptr && part < object->m_Parts.size() ? object : nullptr),
        m_PartNumber(part),
        m_Uid(m_Object == nullptr ? cls_Uid::AllocateUid() : m_Object->m_Parts[part].m_Uid) {}

  cow_String DbId() override { return "memory"_cow; }
  cls_Uid const& GetUid() override { return m_Uid; }
  int FieldIsPresent(cls_FieldHandle const& field) const override { return Find(field) == nullptr ? 0 : 1; }
  int DataIsPresent(cls_FieldHandle const& field) const override {
    Value const* const value = Find(field);
    if (value == nullptr) return 0;
    cls_Uid const* const reference = std::get_if<cls_Uid>(value);
    return reference == nullptr || m_Storage.Find(*reference) != nullptr ? 1 : 0;
  }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    Value const* const value = Find(field);
    if (value == nullptr) return new MemoryReader(m_Storage, nullptr);
    if (cls_Uid const* const reference = std::get_if<cls_Uid>(value))
      return new MemoryReader(m_Storage, m_Storage.Find(*reference));
    return new MemoryReader(m_Storage, Get<Stored*>(field, *value));
  }
  cls_MementoRead* Clone() override { return new MemoryReader(m_Storage, m_Object, m_PartNumber + 1); }

  int ReadEnum(cls_FieldHandle const& field) override { return ReadScalar(field, 0); }
  cls_Uid ReadReference(cls_FieldHandle const& field) override {
    return ReadScalar(field, cls_Uid(cls_Uid::AllocateUid()));
  }
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override {
    Value const* const value = Find(field);
    if (value == nullptr) return -1;
    Bytes const& stored = Get<Bytes>(field, *value);
    auto const size = static_cast<int>(stored.size());
    std::copy_n(stored.begin(), std::clamp(capacityBytes, 0, size), static_cast<char*>(bytes));
    return size;
  }
  unsigned int ClassId() const override { return m_Object == nullptr ? 1 : ThisPart().m_ClassId; }
  int ClassVersion() const override { return m_Object == nullptr ? -1 : ThisPart().m_Version; }

  cls_ReadListObj* MakeReadListObj() override {
    return new ObjectListReader(m_Storage, Collection<List<Stored*>>());
  }
  cls_ReadIntTableInt* MakeReadIntTableInt() override {
    return new MapReader<int, int, cls_ReadIntTableInt>(Collection<Map<int, int>>());
  }
  cls_AgentListObj* MakeAgentListObj() override { return MakeAgent<ObjectListAgent, List<Stored*>>(); }
  cls_AgentBlob* MakeAgentBlob() override { return new BlobAgent(Collection<Bytes>(), m_Object != nullptr); }

  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    if (m_Object == nullptr) return;
    auto const stored = ThisPart().m_Types.find(cls_FieldHandle(name).Key());
    if (stored != ThisPart().m_Types.end() && !cls_CollectionsMatch(stored->second, type))
      Raise("Attribute " + stored->first + " is stored as collection type " + std::to_string(stored->second) +
            " and cannot be read as " + std::to_string(type) + ".");
  }

 private:
  friend cls_TypedMementoRead<MemoryReader>;

  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue) {
    Value const* const value = Find(field);
    return value == nullptr ? defaultValue : Get<T>(field, *value);
  }
  template <class T> cls_ReadListPrim<T>* MakeListOf(T*) { return new ListReader<T>(Collection<List<T>>()); }
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T*) {
    return new MapReader<K, T, cls_ReadMapOf<K, T>>(Collection<Map<K, T>>());
  }
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf() {
    using Reader = std::conditional_t<std::is_same_v<K, int>, IntObjectMapReader, ObjectMapReader<K>>;
    return new Reader(m_Storage, Collection<Map<K, Stored*>>());
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T*) { return MakeAgent<ListAgent<T>, List<T>>(); }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K*) {
    return MakeAgent<ObjectMapAgent<K>, Map<K, Stored*>>();
  }

  Part const& ThisPart() const { return m_Object->m_Parts[m_PartNumber]; }
  Value const* Find(cls_FieldHandle const& field) const {
    if (m_Object == nullptr) return nullptr;
    auto const found = ThisPart().m_Fields.find(field.Key());
    return found == ThisPart().m_Fields.end() ? nullptr : &found->second;
  }
  template <class T> T const& Get(cls_FieldHandle const& field, Value const& value) const {
    if (T const* const held = std::get_if<T>(&value)) return *held;
    Raise("Attribute " + field.Key() + " of an object of class " + std::to_string(ClassId()) +
          " is stored with another type.");
  }
  template <class C> std::shared_ptr<C> Collection() const {
    if (m_Object == nullptr) return std::make_shared<C>();
    if (auto const* const held = std::any_cast<std::shared_ptr<C>>(&m_Object->m_Collection)) return *held;
    Raise("An object of class " + std::to_string(ClassId()) + " is not a collection of the requested type.");
  }
  template <class MadeAgent, class C> MadeAgent* MakeAgent() {
    return new MadeAgent(m_Storage, Collection<C>(), m_Object != nullptr);
  }

  MemoryStorage& m_Storage;
  Stored* m_Object;
  std::size_t m_PartNumber;
  cls_Uid m_Uid;
};

inline cls_MementoRead* ObjectListReader::At(int index) {
  return new MemoryReader(m_Storage, m_List->m_Elements.at(static_cast<std::size_t>(index)));
}

template <class K> cls_MementoRead* ObjectMapReader<K>::Fetch(K& key) {
  auto const& entry = m_Map->m_Entries.at(m_Next - 1);
  key = entry.first;
  return new MemoryReader(m_Storage, entry.second);
}

template <class Interface, class C>
cls_MementoRead* CollectionAgent<Interface, C>::Read(Stored* object) const {
  return new MemoryReader(m_Storage, object);
}

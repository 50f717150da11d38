#pragma once

#include <algorithm>
#include <functional>

#include "collections/cls_KeptArray.h"
#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "tests/contract/memory/MemoryStorage.h"

// Agents count their references. No other session changes their collections, so `Changed` answers false.

template <class Interface> class Agent : public Interface {
 public:
  bool Changed() override { return false; }
  void EndFlush() override {}
  void AddReference() override { ++m_References; }
  void DropReference() override { --m_References; }
  bool StillReferenced() override { return m_References > 0; }

 protected:
  int m_References = 0;
};

// The agent of a collection; `isStored` is false for one that is not there.
template <class Interface, class C>
class CollectionAgent : public Agent<Interface>, private cls_AgentRegistry::Agent {
 public:
  ~CollectionAgent() override { m_Holders->Forget(this); }

  CollectionAgent(MemoryStorage& storage, std::shared_ptr<C> collection, bool isStored)
      : m_Storage(storage), m_Holders(storage.Holders()), m_Collection(std::move(collection)),
        m_IsStored(isStored) {}
  int SizeHint() override { return m_Collection->m_SizeHint; }
  bool ReadOnly() override { return !m_IsStored; }
  void RegisterHolder(cls_PC* holder) override { m_Holders->Hold(holder, this); }
  void DropReference() override {
    ::Agent<Interface>::DropReference();
    m_Holders->Prune(); // a container that was assigned to has just forgotten its ring
  }

 protected:
  void CheckWrite() const {
    if (!m_IsStored) Raise("A collection that is not stored cannot be written.");
  }
  cls_MementoRead* Read(Stored* object) const;
  // The save that is under way, or a pass for an element. Undoing it undoes what is done to the elements.
  std::shared_ptr<Pass> Begin() const {
    CheckWrite();
    std::shared_ptr<Pass> pass = m_Storage.m_Saving.lock();
    if (pass == nullptr) pass = std::make_shared<Pass>(m_Storage);
    pass->KeepCollection(m_Collection);
    return pass;
  }
  static cls_MementoWrite* Write(Pass& pass, Stored*& element, unsigned int classId, cls_Uid const& uid);

  MemoryStorage& m_Storage;
  std::shared_ptr<cls_AgentRegistry> m_Holders;
  std::shared_ptr<C> m_Collection;
  bool m_IsStored;

 private:
  [[nodiscard]] bool IsHeld() const override { return this->m_References > 0; }
  void Grip(int references) noexcept override { this->m_References += references; }
};

template <class T> class ListAgent : public CollectionAgent<cls_AgentListPrim<T>, List<T>> {
 public:
  using CollectionAgent<cls_AgentListPrim<T>, List<T>>::CollectionAgent;
  void RegisterHolder(cls_PC* holder) override {
    if (std::shared_ptr<Pass> const pass = m_SavedIn.lock())
      cls_KeepArray<T>(*pass, *holder, Count(), [](std::string const& text) { Raise(text + "."); });
    m_SavedIn.reset();
    CollectionAgent<cls_AgentListPrim<T>, List<T>>::RegisterHolder(holder);
  }
  int Count() override { return static_cast<int>(Elements().size()); }
  void WriteRun(int firstIndex, int count, T const* values) override {
    this->CheckWrite();
    auto const first = static_cast<std::size_t>(firstIndex);
    auto const end = first + static_cast<std::size_t>(count);
    if (Elements().size() < end) Elements().resize(end);
    std::copy_n(values, count, Elements().begin() + firstIndex);
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    int const read = std::clamp(Count() - firstIndex, 0, count);
    if (read > 0) std::copy_n(Elements().begin() + firstIndex, read, destination);
    return read;
  }

  std::weak_ptr<Pass> m_SavedIn; // until the first container registers

 private:
  std::deque<T>& Elements() { return this->m_Collection->m_Elements; }
};

class ObjectListAgent : public CollectionAgent<cls_AgentListObj, List<Stored*>> {
 public:
  using CollectionAgent::CollectionAgent;
  int Count() override { return static_cast<int>(Elements().size()); }
  void SetCount(int count) override {
    CheckWrite();
    Elements().resize(static_cast<std::size_t>(count));
  }
  cls_MementoRead* MakeReadObj(int index) override {
    return Read(index >= 0 && index < Count() ? Elements()[static_cast<std::size_t>(index)] : nullptr);
  }
  cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) override {
    auto const pass = Begin();
    if (index < 0 || index > Count()) Raise("There is no element " + std::to_string(index) + " of a list.");
    if (index == Count()) SetCount(index + 1);
    return Write(*pass, Elements()[static_cast<std::size_t>(index)], classId, uid);
  }
  void Remove(int index) override {
    CheckWrite();
    if (index < 0 || index >= Count()) Raise("There is no element " + std::to_string(index) + " of a list.");
    Elements().erase(Elements().begin() + index);
  }

 private:
  std::deque<Stored*>& Elements() { return m_Collection->m_Elements; }
};

template <class K> class ObjectMapAgent : public CollectionAgent<cls_AgentMapKey2Obj<K>, Map<K, Stored*>> {
 public:
  using CollectionAgent<cls_AgentMapKey2Obj<K>, Map<K, Stored*>>::CollectionAgent;
  int Count() override { return static_cast<int>(Entries().size()); }
  bool Remove(K const& key) override {
    this->CheckWrite();
    return std::erase_if(Entries(), [&](auto const& entry) { return entry.first == key; }) > 0;
  }
  cls_MementoRead* MakeReadObj(K const& key) override {
    Stored** const element = Find(key);
    return this->Read(element == nullptr ? nullptr : *element);
  }
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override {
    auto const pass = this->Begin();
    if (Find(key) == nullptr) Entries().emplace_back(key, nullptr);
    return this->Write(*pass, *Find(key), classId, uid);
  }
  bool Contains(K const& key) override { return Find(key) != nullptr; }
  bool FirstKey(K& key) override {
    return Walk(
        key, [](K const&) { return true; }, std::less<K>());
  }
  bool NextKey(K& key) override {
    return Walk(
        key, [after = key](K const& other) { return after < other; }, std::less<K>());
  }
  bool LastKey(K& key) override {
    return Walk(
        key, [](K const&) { return true; }, std::greater<K>());
  }
  bool PreviousKey(K& key) override {
    return Walk(
        key, [before = key](K const& other) { return other < before; }, std::greater<K>());
  }
  void Clear() override {
    this->CheckWrite();
    Entries().clear();
  }

 private:
  std::vector<std::pair<K, Stored*>>& Entries() { return this->m_Collection->m_Entries; }
  Stored** Find(K const& key) {
    for (auto& [other, element] : Entries())
      if (other == key) return &element;
    return nullptr;
  }
  // The key that comes before all others among those that fit.
  template <class Fits, class Before> bool Walk(K& key, Fits fits, Before before) {
    bool found = false;
    for (auto const& entry : Entries()) {
      if (!fits(entry.first) || (found && !before(entry.first, key))) continue;
      key = entry.first;
      found = true;
    }
    return found;
  }
};

class BlobAgent : public Agent<cls_AgentBlob> {
 public:
  BlobAgent(std::shared_ptr<Bytes> bytes, bool isStored) : m_Bytes(std::move(bytes)), m_IsStored(isStored) {}
  bool ReadOnly() override { return !m_IsStored; }
  long long Size() override { return static_cast<long long>(m_Bytes->size()); }
  long long Read(long long offset, long long sizeBytes, void* destination) override {
    long long const read = std::clamp(Size() - offset, 0LL, sizeBytes);
    if (read > 0) std::copy_n(m_Bytes->begin() + offset, read, static_cast<char*>(destination));
    return read;
  }
  void Write(long long offset, long long sizeBytes, void const* source) override {
    CheckWrite();
    auto const end = static_cast<std::size_t>(offset + sizeBytes);
    if (m_Bytes->size() < end) m_Bytes->resize(end); // a gap is zeros
    std::copy_n(static_cast<char const*>(source), sizeBytes, m_Bytes->begin() + offset);
  }
  void Truncate(long long sizeBytes) override {
    CheckWrite();
    m_Bytes->resize(static_cast<std::size_t>(std::min(sizeBytes, Size())));
  }

 private:
  void CheckWrite() const {
    if (!m_IsStored) Raise("A blob that is not stored cannot be written.");
  }

  std::shared_ptr<Bytes> m_Bytes;
  bool m_IsStored;
};

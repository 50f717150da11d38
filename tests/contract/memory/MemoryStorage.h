#pragma once

#include <exception>
#include <functional>
#include <map>
#include <memory>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_IndexedCollections.h"
#include "tests/contract/memory/MemoryStored.h"

// A back end that keeps objects in memory, under names. It is as small as a back end can be: one session, no
// file, no garbage collection. The contract suite runs over it, and over one that adds faults to it.
//
// Objects are found by their identities. A save notes what each object and collection was before it is written,
// and puts that back when it fails. So does the writing of an element through an agent, outside of a save.
//
// Limits: if several objects of one save have the same identity, the first is stored for all of them; nothing
// checks that they are equal. After the end of the storage, agents must not be used to read or write objects.

class Pass;

class MemoryStorage {
 public:
  // Classes are written by their newest version in `classes`, which must outlive the storage.
  explicit MemoryStorage(cls_ClassRegistrar const& classes) : m_Classes(classes) {}
  MemoryStorage(MemoryStorage const&) = delete;
  MemoryStorage& operator=(MemoryStorage const&) = delete;
  // Containers that are still tied to lists go on in memory.
  ~MemoryStorage() { m_Holders->Detach(); }

  // Saves `object` under a name. When that fails, everything is as it was before.
  template <class T> void Save(std::string const& name, T const& object);

  // Builds the object of a name anew.
  template <class T> std::unique_ptr<T> Load(std::string const& name);

  // For the mementos.
  Stored& ObjectOf(cls_Uid const& uid) {
    std::unique_ptr<Stored>& object = m_Objects[uid.Entry()];
    if (object == nullptr) object = std::make_unique<Stored>(Stored{uid, {}, {}});
    return *object;
  }
  // Null when nothing is stored under the identity.
  Stored* Find(cls_Uid const& uid) const {
    auto const found = m_Objects.find(uid.Entry());
    return found == m_Objects.end() || found->second->m_Parts.empty() ? nullptr : found->second.get();
  }
  int VersionOf(unsigned int classId) const {
    return m_Classes.ClassIsPresent(classId) ? m_Classes.GetLastClassVersionNumber(classId) : 1;
  }
  std::shared_ptr<cls_AgentRegistry> const& Holders() const { return m_Holders; }
  std::weak_ptr<Pass> m_Saving; // the save that is under way

 private:
  cls_ClassRegistrar const& m_Classes;
  std::map<void const*, std::unique_ptr<Stored>> m_Objects; // by identity
  std::map<std::string, Stored*> m_Roots;
  std::shared_ptr<cls_AgentRegistry> m_Holders =
      std::make_shared<cls_AgentRegistry>(); // agents may outlive the storage
};

class MemoryWriter;

// One save, or the writing of elements outside of one, shared by its mementos. Undone when an exception destroys
// the last of them.
class Pass : public std::enable_shared_from_this<Pass> {
 public:
  explicit Pass(MemoryStorage& storage) : m_Storage(storage) {}
  Pass(Pass const&) = delete;
  Pass& operator=(Pass const&) = delete;
  ~Pass() {
    if (std::uncaught_exceptions() > m_Exceptions) Undo();
  }
  MemoryStorage& Storage() const { return m_Storage; }

  struct Opened {
    Stored* m_Object;
    std::unique_ptr<MemoryWriter> m_Memento; // null when the object is written already
  };
  Opened Open(unsigned int classId, cls_Uid const& uid);

  Part NewPart(unsigned int classId, cls_Uid const& uid) const {
    return {classId, m_Storage.VersionOf(classId), uid, {}, {}};
  }
  void Undo() {
    for (auto const& undo : m_Undo) undo.second();
    m_Undo.clear();
    for (auto& [object, before] : m_Before) *object = std::move(before);
    m_Before.clear();
  }
  void Check() const {
    for (auto const& [object, before] : m_Before)
      if (cls_IsCollectionTypeId(object->m_Parts.front().m_ClassId) && !object->m_Collection.has_value())
        Raise("A collection without elements cannot be stored; its array may belong to another storage.");
  }
  void Keep() noexcept { // it has succeeded
    m_Undo.clear();
    m_Before.clear();
  }
  // What cls_KeepArray needs of a session.
  template <class Act> void OnUndo(void const* place, Act act) { m_Undo.try_emplace(place, std::move(act)); }
  cls_AgentRegistry& Agents() const { return *m_Storage.Holders(); }
  template <class C> void KeepCollection(std::shared_ptr<C> const& collection) {
    if (!m_Undo.contains(collection.get()))
      OnUndo(collection.get(),
             [collection, before = *collection]() mutable { std::swap(*collection, before); });
  }

 private:
  MemoryStorage& m_Storage;
  std::map<Stored*, Stored> m_Before; // what each object of the pass was
  std::map<void const*, std::function<void()>> m_Undo;
  int m_Exceptions = std::uncaught_exceptions();
};

#pragma once

#include <memory>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/backend/cls_HolderSlot.h"
#include "tests/contract/memory/MemoryStored.h"

// A back end that keeps objects in memory, under names. It is as small as a back end can be: one session, no
// file, no garbage collection, and no check that two objects in memory with one identity are equal. The
// contract suite runs over it, and over one that adds faults to it.
//
// Objects are found by their identities. A save notes what each object was before it is written, and puts that
// back when it fails.

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
  std::shared_ptr<cls_Holders<>> const& Holders() const { return m_Holders; }

 private:
  cls_ClassRegistrar const& m_Classes;
  std::map<void const*, std::unique_ptr<Stored>> m_Objects; // by identity
  std::map<std::string, Stored*> m_Roots;
  std::shared_ptr<cls_Holders<>> m_Holders =
      std::make_shared<cls_Holders<>>(); // agents may outlive the storage
};

class MemoryWriter;

// One save, shared by its mementos.
class Pass : public std::enable_shared_from_this<Pass> {
 public:
  explicit Pass(MemoryStorage& storage) : m_Storage(storage) {}
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
    for (auto& [object, before] : m_Before) *object = std::move(before);
  }

 private:
  MemoryStorage& m_Storage;
  std::map<Stored*, Stored> m_Before; // what each object of the pass was
};

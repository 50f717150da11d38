#pragma once

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "tests/contract/memory/HostileFault.h"

// Hostile agents.

/// What all agents have.
template <class Base> class HostileAgent : public Base {
 public:
  using Base::Base;
  bool Changed() override {
    return this->Pass("Changed", [&] { return this->Target().Changed(); });
  }
  void EndFlush() override {
    this->Pass("EndFlush", [&] { this->Target().EndFlush(); });
  }
  void AddReference() override {
    this->Pass("AddReference", [&] { this->Target().AddReference(); });
  }
  void DropReference() override {
    this->Pass("DropReference", [&] { this->Target().DropReference(); });
  }
  bool StillReferenced() override {
    return this->Pass("StillReferenced", [&] { return this->Target().StillReferenced(); });
  }
  bool ReadOnly() override {
    return this->Pass("ReadOnly", [&] { return this->Target().ReadOnly(); });
  }
};

/// What the agents of collections have.
template <class Interface> class HostileCollectionAgent : public HostileAgent<Hostile<Interface>> {
 public:
  using HostileAgent<Hostile<Interface>>::HostileAgent;
  int Count() override {
    return this->Pass("Count", [&] { return this->Target().Count(); });
  }
  int SizeHint() override {
    return this->Pass("SizeHint", [&] { return this->Target().SizeHint(); });
  }
  void RegisterHolder(cls_PC* holder) override {
    this->Pass("RegisterHolder", [&] { this->Target().RegisterHolder(holder); });
  }
};

template <class T> class HostileListAgent : public HostileCollectionAgent<cls_AgentListPrim<T>> {
 public:
  explicit HostileListAgent(cls_AgentListPrim<T>* target)
      : HostileCollectionAgent<cls_AgentListPrim<T>>("cls_AgentListPrim", target) {}
  void WriteRun(int firstIndex, int count, T const* values) override {
    this->Pass(
        "WriteRun", [&] { this->Target().WriteRun(firstIndex, count, values); },
        [&] { this->Target().WriteRun(firstIndex + 1, count, values); });
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    return this->Pass("ReadRun", [&] { return this->Target().ReadRun(firstIndex, count, destination); });
  }
};

/// When it is wrong, it reads and writes other elements.
class HostileObjectListAgent : public HostileElements<int, HostileCollectionAgent<cls_AgentListObj>> {
 public:
  explicit HostileObjectListAgent(cls_AgentListObj* target) : HostileElements("cls_AgentListObj", target) {}
  void SetCount(int count) override {
    Pass(
        "SetCount", [&] { Target().SetCount(count); }, [&] { Target().SetCount(count + 1); });
  }
  cls_MementoRead* MakeReadObj(int index) override {
    return Pass(
        "MakeReadObj", [&] { return Target().MakeReadObj(index); },
        [&] { return Target().MakeReadObj(index + 1); });
  }
  void Remove(int index) override {
    Pass(
        "Remove", [&] { Target().Remove(index); }, [&] { Target().Remove(index + 1); });
  }
};

/// When it is wrong, it reads and writes the elements of other keys.
template <class K>
class HostileObjectMapAgent
    : public HostileElements<K const&, HostileCollectionAgent<cls_AgentMapKey2Obj<K>>> {
 public:
  explicit HostileObjectMapAgent(cls_AgentMapKey2Obj<K>* target)
      : HostileElements<K const&, HostileCollectionAgent<cls_AgentMapKey2Obj<K>>>("cls_AgentMapKey2Obj",
                                                                                  target) {}
  bool Remove(K const& key) override {
    return this->Pass("Remove", [&] { return this->Target().Remove(key); });
  }
  cls_MementoRead* MakeReadObj(K const& key) override {
    return this->Pass(
        "MakeReadObj", [&] { return this->Target().MakeReadObj(key); },
        [&] { return this->Target().MakeReadObj(WrongOf(key)); });
  }
  bool Contains(K const& key) override {
    return this->Pass("Contains", [&] { return this->Target().Contains(key); });
  }
  bool FirstKey(K& key) override {
    return this->Pass("FirstKey", [&] { return this->Target().FirstKey(key); });
  }
  bool NextKey(K& key) override {
    return this->Pass("NextKey", [&] { return this->Target().NextKey(key); });
  }
  bool LastKey(K& key) override {
    return this->Pass("LastKey", [&] { return this->Target().LastKey(key); });
  }
  bool PreviousKey(K& key) override {
    return this->Pass("PreviousKey", [&] { return this->Target().PreviousKey(key); });
  }
  void Clear() override {
    this->Pass("Clear", [&] { this->Target().Clear(); });
  }
};

/// When it is wrong, it is wrong by one byte.
class HostileBlobAgent : public HostileAgent<HostileKept<cls_AgentBlob>> {
 public:
  explicit HostileBlobAgent(cls_AgentBlob* target) : HostileAgent("cls_AgentBlob", target) {}
  long long Size() override {
    return Pass("Size", [&] { return Target().Size(); });
  }
  long long Read(long long offset, long long sizeBytes, void* destination) override {
    return Pass(
        "Read", [&] { return Target().Read(offset, sizeBytes, destination); },
        [&] { return Target().Read(offset + 1, sizeBytes, destination); });
  }
  void Write(long long offset, long long sizeBytes, void const* source) override {
    Pass(
        "Write", [&] { Target().Write(offset, sizeBytes, source); },
        [&] { Target().Write(offset + 1, sizeBytes, source); });
  }
  void Truncate(long long sizeBytes) override {
    Pass(
        "Truncate", [&] { Target().Truncate(sizeBytes); }, [&] { Target().Truncate(sizeBytes + 1); });
  }
};

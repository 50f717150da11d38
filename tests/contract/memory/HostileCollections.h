#pragma once

#include "persist/backend/cls_MementoRead.h"
#include "persist/backend/cls_MementoWrite.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/contract/memory/HostileFault.h"

// Hostile cursors and builders.

/// The name of an interface that has one class for each type of keys.
template <class K> constexpr char const* NameFor(char const* ints, char const* strings) {
  return std::is_same_v<K, int> ? ints : strings;
}

// --- Cursors.

template <class T> class HostileListCursor : public HostileKept<cls_ReadListPrim<T>> {
 public:
  explicit HostileListCursor(cls_ReadListPrim<T>* target)
      : HostileKept<cls_ReadListPrim<T>>("cls_ReadListPrim", target) {}
  int Count() override {
    return this->Pass("Count", [&] { return this->Target().Count(); });
  }
  int RowWidth() override {
    return this->Pass("RowWidth", [&] { return this->Target().RowWidth(); });
  }
  int More() override {
    return this->Pass("More", [&] { return this->Target().More(); });
  }
  int NextRun(int count, T* destination) override {
    return this->Pass("NextRun", [&] { return this->Target().NextRun(count, destination); });
  }
  T Next() override {
    return this->Pass("Next", [&] { return this->Target().Next(); });
  }
};

/// Over a map or an int table of values.
template <class K, class T, class Base> class HostileValueCursor : public Base {
 public:
  using Base::Base;
  int Count() override {
    return this->Pass("Count", [&] { return this->Target().Count(); });
  }
  int More() override {
    return this->Pass("More", [&] { return this->Target().More(); });
  }
  T Next() override {
    return this->Pass("Next", [&] { return this->Target().Next(); });
  }
  void Key(K& key) override {
    this->Pass(
        "Key", [&] { this->Target().Key(key); },
        [&] {
          this->Target().Key(key);
          MakeWrong(key);
        });
  }
};
template <class K, class T>
using HostileMapCursor = HostileValueCursor<K, T, HostileKept<cls_ReadMapOf<K, T>>>;
using HostileTableCursor = HostileValueCursor<int, int, Hostile<cls_ReadIntTableInt>>;

class HostileObjectListCursor : public HostileKept<cls_ReadListObj> {
 public:
  explicit HostileObjectListCursor(cls_ReadListObj* target) : HostileKept("cls_ReadListObj", target) {}
  int Count() override {
    return Pass("Count", [&] { return Target().Count(); });
  }
  int Position() override {
    return Pass("Position", [&] { return Target().Position(); });
  }
  int More() override {
    return Pass("More", [&] { return Target().More(); });
  }
  void Skip(int count) override {
    Pass(
        "Skip", [&] { Target().Skip(count); }, [&] { Target().Skip(count + 1); });
  }
  cls_MementoRead* Next() override {
    return Pass(
        "Next", [&] { return Target().Next(); },
        [&] {
          Target().Skip(1);
          return Target().At(0);
        });
  }
  cls_MementoRead* At(int index) override {
    return Pass(
        "At", [&] { return Target().At(index); },
        [&] { return Target().At(index == 0 ? Target().Count() - 1 : 0); });
  }
};

template <class K> class HostileObjectMapCursor : public HostileKept<cls_ReadObjectMapOf<K>> {
 public:
  explicit HostileObjectMapCursor(cls_ReadObjectMapOf<K>* target)
      : HostileKept<cls_ReadObjectMapOf<K>>(NameFor<K>("cls_ReadMapInt2Obj", "cls_ReadMapString2Obj"),
                                            target) {}
  int More() override {
    return this->Pass("More", [&] { return this->Target().More(); });
  }
  void Next() override {
    this->Pass("Next", [&] { this->Target().Next(); });
  }
  int Count() override {
    return this->Pass("Count", [&] { return this->Target().Count(); });
  }
  cls_MementoRead* Fetch(K& key) override {
    return this->Pass(
        "Fetch", [&] { return this->Target().Fetch(key); },
        [&] {
          cls_MementoRead* const memento = this->Target().Fetch(key);
          MakeWrong(key);
          return memento;
        });
  }
};

class HostileIntObjectMapCursor : public HostileObjectMapCursor<int> {
 public:
  using HostileObjectMapCursor::HostileObjectMapCursor;
  bool Find(int const& key) override {
    return Pass("Find", [&] { return Target().Find(key); });
  }
};

// --- Builders.

template <class T> class HostileListBuilder : public HostileKept<cls_WriteListPrim<T>> {
 public:
  explicit HostileListBuilder(cls_WriteListPrim<T>* target)
      : HostileKept<cls_WriteListPrim<T>>("cls_WriteListPrim", target) {}
  void AppendRun(int count, T const* elements) override {
    this->Pass("AppendRun", [&] { this->Target().AppendRun(count, elements); });
  }
  void Append(T const& element) override {
    this->Pass("Append", [&] { this->Target().Append(element); });
  }
};

template <class K, class T> class HostileMapBuilder : public HostileKept<cls_WriteMapOf<K, T>> {
 public:
  explicit HostileMapBuilder(cls_WriteMapOf<K, T>* target)
      : HostileKept<cls_WriteMapOf<K, T>>(NameFor<K>("cls_WriteMapInt2Prim", "cls_WriteMapString2Prim"),
                                          target) {}
  void Insert(K const& key, T const& value) override {
    this->Pass(
        "Insert", [&] { this->Target().Insert(key, value); },
        [&] { this->Target().Insert(WrongOf(key), value); });
  }
};

class HostileTableBuilder : public Hostile<cls_WriteIntTableInt> {
 public:
  explicit HostileTableBuilder(cls_WriteIntTableInt* target) : Hostile("cls_WriteIntTableInt", target) {}
  void Insert(int key, int value) override {
    Pass(
        "Insert", [&] { Target().Insert(key, value); }, [&] { Target().Insert(WrongOf(key), value); });
  }
};

/// When it is wrong, its elements get other identities.
class HostileObjectListBuilder : public HostileKept<cls_WriteListObj> {
 public:
  explicit HostileObjectListBuilder(cls_WriteListObj* target) : HostileKept("cls_WriteListObj", target) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) override {
    return Pass(
        "MakeWriteObj", [&] { return Target().MakeWriteObj(classId, uid); },
        [&] { return Target().MakeWriteObj(classId, cls_Uid()); });
  }
  cls_MementoWrite* MakeWriteObjWithPtr(unsigned int classId, cls_Uid const& uid,
                                        void const* object) override {
    return Pass(
        "MakeWriteObjWithPtr", [&] { return Target().MakeWriteObjWithPtr(classId, uid, object); },
        [&] { return Target().MakeWriteObjWithPtr(classId, cls_Uid(), object); });
  }
  int Count() const override {
    return Pass("Count", [&] { return Target().Count(); });
  }
};

/// When it is wrong, its elements get other keys.
template <class K>
class HostileObjectMapBuilder : public HostileElements<K const&, HostileKept<cls_WriteObjectMapOf<K>>> {
 public:
  explicit HostileObjectMapBuilder(cls_WriteObjectMapOf<K>* target)
      : HostileElements<K const&, HostileKept<cls_WriteObjectMapOf<K>>>(
            NameFor<K>("cls_WriteMapInt2Obj", "cls_WriteMapString2Obj"), target) {}
  int Count() const override {
    return this->Pass("Count", [&] { return this->Target().Count(); });
  }
};

#include <gtest/gtest.h>

#include <type_traits>
#include <utility>

#include "tests/support/AllocationProbe.h"
#include "tests/support/HeapCount.h"
#include "tests/support/backend/MementoSlots.h"
#include "wrappers/cls_xoMap.h"
#include "wrappers/cls_xp1DArray.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xp2DArray.h"
#include "wrappers/cls_xpBtree.h"
#include "wrappers/cls_xpList.h"
#include "wrappers/cls_xpMap.h"

// Copy-on-write of every wrapper, by counting allocations. Sharing, saving and reading make none, nor does
// writing a wrapper that shares nothing. The first write of one that shares makes one copy of the storage.

namespace {

/// Allocations so far: of buffers (arrays, tables, share counts), and of objects (entries of maps).
using Allocations = std::pair<long long, long long>;
constexpr Allocations None{0, 0};

class AllocationCount {
 public:
  [[nodiscard]] Allocations Taken() const { return {m_Probe.Count(), HeapCount() - m_HeapBefore}; }

 private:
  AllocationProbe m_Probe;
  long long m_HeapBefore = HeapCount();
};

// --- A back end that allocates nothing: it counts the elements and entries that it receives.

int s_Handed = 0;

template <class T> struct CountingList : cls_WriteListPrim<T> {
  bool NeedsDeletion() const override { return false; }
  void AppendRun(int count, T const*) override { s_Handed += count; }
  void Append(T const&) override { ++s_Handed; }
};
template <class T> struct CountingMap : cls_WriteMapString2Prim<T> {
  bool NeedsDeletion() const override { return false; }
  void Insert(cow_String const&, T const&) override { ++s_Handed; }
};
struct CountingObjects : cls_WriteMapString2Obj {
  explicit CountingObjects(cls_MementoWrite& memento) : m_Memento(memento) {}
  bool NeedsDeletion() const override { return false; }
  cls_MementoWrite* MakeWriteObj(cow_String const&, unsigned int, cls_Uid const&) override {
    ++s_Handed;
    return &m_Memento;
  }
  int Count() const override { return s_Handed; }
  cls_MementoWrite& m_Memento;
};

class CountingMemento : public MementoWriteSlots<CountingMemento> {
 public:
  template <class Operation, class... Args> auto Handle(char const*, Operation, Args const&...) const {
    return Answer(std::type_identity<std::invoke_result_t<Operation, cls_MementoWrite*, Args const&...>>());
  }

 private:
  static void Answer(std::type_identity<void>) {}
  template <class T> static T Answer(std::type_identity<T>) { return T(); } // NeedsDeletion: false
  template <class T> static cls_WriteListPrim<T>* Answer(std::type_identity<cls_WriteListPrim<T>*>) {
    static CountingList<T> list;
    return &list;
  }
  template <class T>
  static cls_WriteMapString2Prim<T>* Answer(std::type_identity<cls_WriteMapString2Prim<T>*>) {
    static CountingMap<T> map;
    return &map;
  }
  static cls_WriteMapString2Obj* Answer(std::type_identity<cls_WriteMapString2Obj*>) {
    static CountingMemento entry;
    static CountingObjects objects(entry);
    return &objects;
  }
};

// --- The wrappers behind one interface, with four elements or entries each.

template <class T> T Value(int number) {
  if constexpr (std::is_same_v<T, cow_String>)
    return number == 0 ? "zero"_cow : "other"_cow;
  else
    return static_cast<T>(number);
}

template <class T, class W> struct FixedArraySharing {
  using Wrapper = W;
  static constexpr Allocations OneCopy{1, 0};
  static W Make() {
    cow_1DArray<T> array(4);
    for (int i = 0; i < 4; ++i) array.Get(i) = Value<T>(i);
    return W(array, cls_Uid());
  }
  static int Read(W const& array) {
    int zeros = 0;
    for (int i = 0; i < array.Length(); ++i) zeros += array.ConstGet(i) == Value<T>(0) ? 1 : 0;
    return zeros;
  }
  static void Write(W& array) { array.Get(0) = Value<T>(1); }
  static bool Share(W const& a, W const& b) { return a.SharesStorageWith(b); }
};

template <class W, class T> struct ArrayListSharing {
  using Wrapper = W;
  static constexpr Allocations OneCopy{1, 0};
  static W Make() {
    W list;
    for (int i = 0; i < 4; ++i) list.Append(Value<T>(i));
    return list;
  }
  static int Read(W const& list) {
    int zeros = 0;
    for (int i = 0; i < list.Count(); ++i) zeros += list.ConstGet(i) == Value<T>(0) ? 1 : 0;
    return zeros;
  }
  static void Write(W& list) { list.Get(0) = Value<T>(1); }
  static bool Share(W const& a, W const& b) { return a.Storage().SharesStorageWith(b.Storage()); }
};

template <class W, class T> struct ListSharing {
  using Wrapper = W;
  static constexpr Allocations OneCopy{1, 0};
  static W Make() {
    W list;
    for (int i = 0; i < 4; ++i) list.Append(Value<T>(i));
    return list;
  }
  static int Read(W const& list) {
    int zeros = 0;
    for (auto i = list.Iterator(); !i.AtEnd(); i.Next()) zeros += i.ConstGet() == Value<T>(0) ? 1 : 0;
    return zeros;
  }
  static void Write(W& list) { list.Append(Value<T>(1)); } // the storage has room for it
  static bool Share(W const& a, W const& b) { return a.SharesStorageWith(b); }
};

template <class W, class T> struct TableSharing {
  using Wrapper = W;
  static constexpr Allocations OneCopy{2, 0}; // the block and its share count
  static W Make() {
    W table(2, 2);
    for (int i = 0; i < 4; ++i) table.Get(i / 2, i % 2) = Value<T>(i);
    return table;
  }
  static int Read(W const& table) {
    int zeros = 0;
    for (int i = 0; i < 4; ++i) zeros += table.ConstGet(i / 2, i % 2) == Value<T>(0) ? 1 : 0;
    return zeros;
  }
  static void Write(W& table) { table.Get(0, 0) = Value<T>(1); }
  static bool Share(W const& a, W const& b) { return a.SharesStorageWith(b); }
};

constexpr char const* Keys[] = {"a", "b", "c", "d"};

template <class W, class T> struct MapSharing {
  using Wrapper = W;
  static constexpr Allocations OneCopy{0, 1 + 4}; // the map and its entries
  static W Make() {
    W map;
    for (int i = 0; i < 4; ++i) map.Insert(cow_String(Keys[i]), Value<T>(i));
    return map;
  }
  static int Read(W const& map) {
    int zeros = map.IsMember("x"_cow) ? 1 : 0;
    for (cow_ConstMapIterator<cow_String, T> i(map); !i.IsDone(); i.Next())
      zeros += i.Value() == Value<T>(0) && map.ConstGet(i.Key()) == Value<T>(0) ? 1 : 0;
    return zeros;
  }
  static void Write(W& map) { map.Get("a"_cow) = Value<T>(1); }
  static bool Share(W const& a, W const& b) { return a.SharesStorageWith(b); }
};

struct TreeSharing {
  using Wrapper = cls_xpBtreeString2Uint;
  static constexpr Allocations OneCopy{0, 2 + 2 * 4}; // the tree, its hash table, and each entry in both
  static Wrapper Make() {
    Wrapper tree;
    for (int i = 0; i < 4; ++i) tree.InsertUnlessMember(cow_String(Keys[i]), Value<unsigned int>(i));
    return tree;
  }
  static int Read(Wrapper const& tree) {
    int zeros = tree.IsMember("x"_cow) ? 1 : 0;
    for (cow_BtreeIterator<cow_String, unsigned int> i(tree); !i.IsDone(); i.Next())
      zeros += i.Value() == 0 && tree.ConstFind(i.Key())->second == 0 ? 1 : 0;
    return zeros;
  }
  static void Write(Wrapper& tree) { *tree.Find("a"_cow) = 1; }
  static bool Share(Wrapper const& a, Wrapper const& b) { return a.SharesStorageWith(b); }
};

struct ObjectMapSharing {
  using Wrapper = cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
  static constexpr Allocations OneCopy{0, 1 + 4}; // the map and its entries; values share their elements
  static Wrapper Make() {
    Wrapper map;
    for (int i = 0; i < 4; ++i) {
      cls_xp1DArrayListFloat value;
      for (int k = 0; k < i; ++k) value.Append(1);
      map.Insert(cow_String(Keys[i]), value);
    }
    return map;
  }
  static int Read(Wrapper const& map) {
    int empty = map.IsMember("x"_cow) ? 1 : 0;
    for (cow_ConstMapIterator<cow_String, cls_xp1DArrayListFloat> i(map); !i.IsDone(); i.Next())
      empty += i.Value().Count() == 0 && map.ConstGet(i.Key()).Count() == 0 ? 1 : 0;
    return empty;
  }
  static void Write(Wrapper& map) { map.Get("a"_cow) = map.ConstGet("d"_cow); }
  static bool Share(Wrapper const& a, Wrapper const& b) { return a.SharesStorageWith(b); }
};

template <class Case> class Sharing : public testing::Test {
 protected:
  using Wrapper = typename Case::Wrapper;

  Sharing() {
    s_Handed = 0;
    Save(m_Wrapper); // so that the identity pool and the back end have allocated already
    m_HandedBySaving = std::exchange(s_Handed, 0);
  }

  static void Save(Wrapper const& wrapper) {
    static CountingMemento memento;
    cls_WriteVisitor const visitor(&memento);
    wrapper.DBWrite(visitor);
  }
  Wrapper m_Wrapper = Case::Make();
  int m_HandedBySaving = 0;
};
// One of each kind: sharing does not depend on the type of the elements.
using Cases =
    testing::Types<FixedArraySharing<int, cls_xp1DArrayInt>,
                   ArrayListSharing<cls_xp1DArrayListString, cow_String>, ListSharing<cls_xpListFloat, float>,
                   TableSharing<cls_xp2DArrayDouble, double>, MapSharing<cls_xpMapString2Float, float>,
                   MapSharing<cls_xpMapString2String, cow_String>, TreeSharing, ObjectMapSharing>;
TYPED_TEST_SUITE(Sharing, Cases);

} // namespace

TYPED_TEST(Sharing, CopyingAndAssigningCopyNothing) {
  typename TypeParam::Wrapper assigned = TypeParam::Make();
  AllocationCount const count;
  typename TypeParam::Wrapper const copy(this->m_Wrapper);
  assigned = copy;
  Allocations const taken = count.Taken();
  EXPECT_EQ(taken, None);
  EXPECT_TRUE(TypeParam::Share(copy, this->m_Wrapper));
  EXPECT_TRUE(TypeParam::Share(assigned, this->m_Wrapper));
}

TYPED_TEST(Sharing, ReadingCopiesNothingAndKeepsSharing) {
  typename TypeParam::Wrapper const copy(this->m_Wrapper);
  AllocationCount const count;
  int const seen = TypeParam::Read(this->m_Wrapper) + TypeParam::Read(copy);
  Allocations const taken = count.Taken();
  EXPECT_EQ(seen, 2);
  EXPECT_EQ(taken, None);
  EXPECT_TRUE(TypeParam::Share(copy, this->m_Wrapper));
}

TYPED_TEST(Sharing, SavingCopiesNothingAndKeepsSharing) {
  typename TypeParam::Wrapper const copy(this->m_Wrapper);
  AllocationCount const count;
  this->Save(this->m_Wrapper);
  Allocations const taken = count.Taken();
  EXPECT_EQ(s_Handed, this->m_HandedBySaving);
  EXPECT_GE(s_Handed, 4);
  EXPECT_EQ(taken, None);
  EXPECT_TRUE(TypeParam::Share(copy, this->m_Wrapper));
}

TYPED_TEST(Sharing, SavingAPrivateWrapperCopiesNothing) {
  AllocationCount const count;
  this->Save(this->m_Wrapper);
  EXPECT_EQ(count.Taken(), None);
  EXPECT_EQ(s_Handed, this->m_HandedBySaving);
  EXPECT_GE(s_Handed, 4);
}

TYPED_TEST(Sharing, WritingAPrivateWrapperCopiesNothing) {
  { typename TypeParam::Wrapper const gone(this->m_Wrapper); }
  this->Save(this->m_Wrapper); // must not leave a share behind
  AllocationCount const count;
  TypeParam::Write(this->m_Wrapper);
  EXPECT_EQ(count.Taken(), None);
}

TYPED_TEST(Sharing, FirstWriteOfASharingWrapperMakesExactlyOneCopy) {
  typename TypeParam::Wrapper const copy(this->m_Wrapper);
  AllocationCount const count;
  TypeParam::Write(this->m_Wrapper);
  Allocations const first = count.Taken();
  TypeParam::Write(this->m_Wrapper);
  Allocations const second = count.Taken();
  EXPECT_EQ(first, TypeParam::OneCopy);
  EXPECT_EQ(second, first);
  EXPECT_FALSE(TypeParam::Share(copy, this->m_Wrapper));
  EXPECT_EQ(TypeParam::Read(copy), 1);
}

TYPED_TEST(Sharing, AfterSeparationBothSidesWriteWithoutACopy) {
  typename TypeParam::Wrapper copy(this->m_Wrapper);
  TypeParam::Write(this->m_Wrapper);
  AllocationCount const count;
  TypeParam::Write(copy);
  TypeParam::Write(this->m_Wrapper);
  EXPECT_EQ(count.Taken(), None);
}

TYPED_TEST(Sharing, OfThreeThatShareOnlyTheWriterSeparates) {
  typename TypeParam::Wrapper const second(this->m_Wrapper);
  typename TypeParam::Wrapper const third(this->m_Wrapper);
  AllocationCount const count;
  TypeParam::Write(this->m_Wrapper);
  EXPECT_EQ(count.Taken(), TypeParam::OneCopy);
  EXPECT_TRUE(TypeParam::Share(second, third));
}

TEST(ObjectMapSharingTest, ChangingOneValueCopiesTheEntriesAndOnlyThatValuesElements) {
  auto map = ObjectMapSharing::Make();
  auto const copy(map);
  AllocationCount const count;
  map.Get("d"_cow).Get(0) = 2;
  EXPECT_EQ(count.Taken(), (Allocations{1, 1 + 4}));
  for (char const* const key : {"b", "c"})
    EXPECT_TRUE(
        map.ConstGet(cow_String(key)).Storage().SharesStorageWith(copy.ConstGet(cow_String(key)).Storage()));
  EXPECT_EQ(copy.ConstGet("d"_cow).ConstGet(0), 1);
}

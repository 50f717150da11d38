#include <cmath>
#include <limits>
#include <type_traits>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "store/format/sto_BlockKey.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArray.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xpList.h"

namespace {

cls_FieldHandle const ListField(0, "m_List"_cow);

/// An object that is a list, written directly with the back end's builder.
template <class T> struct ListObject {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  ListObject() = default;
  explicit ListObject(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    T tag{};
    std::unique_ptr<cls_ReadListPrim<T>> const reader(visitor.Memento()->MakeReadListPrim(&tag));
    m_Width = reader->RowWidth();
    int const count = reader->Count();
    while (reader->More()) m_Elements.push_back(reader->Next());
    EXPECT_EQ(static_cast<std::size_t>(count), m_Elements.size());
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    T const tag{};
    std::unique_ptr<cls_WriteListPrim<T>> const writer(visitor.Memento()->MakeWriteListPrim(&tag, m_Width));
    for (auto const& element : m_Elements) writer->Append(element);
  }
  std::vector<T> m_Elements;
  int m_Width = 1;
  cls_Uid m_Uid;
};

template <class T> T ElementAt(int index) {
  if constexpr (std::is_same_v<T, bool>)
    return index % 3 == 0;
  else if constexpr (std::is_same_v<T, cow_String>)
    return index % 5 == 0 ? cow_String() : index % 5 == 1 ? ""_cow : cow_String(std::to_string(index));
  else if constexpr (std::is_floating_point_v<T>)
    return static_cast<T>(index) * static_cast<T>(-0.1);
  else
    return static_cast<T>(index * 2654435761U);
}

template <class T> ListObject<T> MakeList(int count) {
  ListObject<T> list;
  for (int i = 0; i < count; ++i) list.m_Elements.push_back(ElementAt<T>(i));
  return list;
}

template <class T> bool IsSame(std::vector<T> const& a, std::vector<T> const& b) {
  if (a.size() != b.size()) return false;
  for (std::size_t i = 0; i < a.size(); ++i) {
    if (!(a[i] == b[i])) return false;
    if constexpr (std::is_same_v<T, cow_String>)
      if (a[i].HasText() != b[i].HasText()) return false;
  }
  return true;
}

template <class T> class StoreListsOf : public StoreTest {};
// One of each encoding: bits, texts, numbers. The contract suite sweeps all types.
using ElementTypes = testing::Types<bool, cow_String, double>;
TYPED_TEST_SUITE(StoreListsOf, ElementTypes);

TYPED_TEST(StoreListsOf, EveryLengthAroundABlockComesBack) {
  for (int const count : {0, 1, 2, 2047, 2048, 2049, 4096, 5000}) {
    std::string const name = std::to_string(count);
    ListObject<TypeParam> const list = MakeList<TypeParam>(count);
    this->Create(name).Save("list", list);
    sto_Store store = this->Open(sto_Mode::ReadOnly, name);
    EXPECT_TRUE(IsSame(store.Load<ListObject<TypeParam>>("list")->m_Elements, list.m_Elements)) << count;
  }
}

TYPED_TEST(StoreListsOf, BlocksHoldTheElementsBeyondTheInlineLimit) {
  sto_Store store = this->Create();
  store.Save("list", MakeList<TypeParam>(5000));
  EXPECT_EQ(this->Query("SELECT count(*) FROM stored_block"), 3);
  store.Save("short", MakeList<TypeParam>(100));
  EXPECT_EQ(this->Query("SELECT count(*) FROM stored_block"), 3);
}

TYPED_TEST(StoreListsOf, RowWidthIsKept) {
  sto_Store store = this->Create();
  for (int const width : {1, 3, 6, 0, std::numeric_limits<int>::max()})
    for (int const count : {0, 6, 6000}) {
      if (width > count && count > 0) continue; // a partial row
      ListObject<TypeParam> list = MakeList<TypeParam>(count);
      list.m_Width = width;
      store.Save("list", list);
      EXPECT_EQ(store.Load<ListObject<TypeParam>>("list")->m_Width, width);
    }
}

TYPED_TEST(StoreListsOf, NegativeRowWidthIsRefusedWhenWritten) {
  sto_Store store = this->Create();
  for (int const width : {-1, -2, std::numeric_limits<int>::min()})
    for (int const count : {0, 6, 6000}) {
      ListObject<TypeParam> list = MakeList<TypeParam>(count);
      list.m_Width = width;
      std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("list", list); });
      EXPECT_TRUE(Contains(message, "rows of " + std::to_string(width))) << message;
      EXPECT_FALSE(store.HasRoot("list"));
    }
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_EQ(this->Query("SELECT count(*) FROM stored_block"), 0);
}

TYPED_TEST(StoreListsOf, RunsAreTheSameAsSingleElements) {
  struct Runs : ListObject<TypeParam> {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(this->TypeId(), this->m_Uid)) return;
      auto const elements = std::make_unique<TypeParam[]>(3000);
      for (int i = 0; i < 3000; ++i) elements[static_cast<std::size_t>(i)] = ElementAt<TypeParam>(i);
      TypeParam const tag{};
      std::unique_ptr<cls_WriteListPrim<TypeParam>> const writer(
          visitor.Memento()->MakeWriteListPrim(&tag, 1));
      writer->AppendRun(0, nullptr);
      writer->AppendRun(3000, elements.get());
    }
  };
  sto_Store store = this->Create();
  store.Save("list", Runs());
  ListObject<TypeParam> const expected = MakeList<TypeParam>(3000);
  EXPECT_TRUE(IsSame(store.Load<ListObject<TypeParam>>("list")->m_Elements, expected.m_Elements));
  struct ReadsRuns {
    explicit ReadsRuns(cls_ReadVisitor const& visitor) {
      TypeParam tag{};
      std::unique_ptr<cls_ReadListPrim<TypeParam>> const reader(visitor.Memento()->MakeReadListPrim(&tag));
      auto const elements = std::make_unique<TypeParam[]>(2500);
      EXPECT_EQ(reader->NextRun(2500, elements.get()), 2500);
      EXPECT_TRUE(elements[2499] == ElementAt<TypeParam>(2499));
      EXPECT_EQ(reader->NextRun(2500, elements.get()), 500);
      EXPECT_TRUE(elements[499] == ElementAt<TypeParam>(2999));
      EXPECT_EQ(reader->NextRun(2500, elements.get()), 0);
      EXPECT_EQ(reader->More(), 0);
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(reader->Next()); });
    }
  };
  static_cast<void>(store.Load<ReadsRuns>("list"));
}

TYPED_TEST(StoreListsOf, ShrunkListLeavesNoBlockBehind) {
  sto_Store store = this->Create();
  ListObject<TypeParam> list = MakeList<TypeParam>(5000);
  store.Save("list", list);
  for (int const count : {4096, 9000, 2049, 5000, 10, 4097, 0}) {
    ListObject<TypeParam> next = MakeList<TypeParam>(count);
    next.m_Uid = list.m_Uid;
    store.Save("list", next);
    int const blocks = count <= 10 ? 0 : (count + 2047) / 2048;
    EXPECT_EQ(this->Query("SELECT count(*) FROM stored_block"), blocks) << count;
    EXPECT_TRUE(IsSame(store.Load<ListObject<TypeParam>>("list")->m_Elements, next.m_Elements)) << count;
  }
  EXPECT_EQ(store.ObjectCount(), 1);
}

class StoreLists : public StoreTest {};

TEST_F(StoreLists, InlineListTakesUpToItsLimitInBytes) {
  sto_Store store = Create();
  store.Save("list", MakeList<double>(512)); // 4096 bytes
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 0);
  store.Save("list", MakeList<double>(513));
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 1);
  store.Save("bools", MakeList<bool>(2048)); // few bytes, but a full block of elements
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 1);
  store.Save("bools", MakeList<bool>(2049));
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 3);
}

TEST_F(StoreLists, InlineLimitOfStringsCountsTheirLengths) {
  sto_Store store = Create();
  ListObject<cow_String> list;
  list.m_Elements = {cow_String(std::string(4094, 'x'))}; // preceded by two bytes of length
  store.Save("list", list);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 0);
  list.m_Elements = {cow_String(std::string(4095, 'x'))};
  store.Save("list", list);
  EXPECT_EQ(Query("SELECT count(*) FROM stored_block"), 1);
  EXPECT_EQ(store.Load<ListObject<cow_String>>("list")->m_Elements[0].Length(), 4095);
}

TEST_F(StoreLists, StringElementsComeBackByteByByte) {
  ListObject<cow_String> list;
  list.m_Elements = {cow_String(), ""_cow, cow_String(std::string_view("a\0b", 3)), "\xFF\n\xC3\xA4"_cow,
                     cow_String(std::string(100000, 'z'))};
  Create().Save("list", list);
  EXPECT_TRUE(IsSame(Open().Load<ListObject<cow_String>>("list")->m_Elements, list.m_Elements));
}

TEST_F(StoreLists, ListReadAsAnotherElementTypeIsRefused) {
  sto_Store store = Create();
  store.Save("list", MakeList<double>(3));
  std::string const message =
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<ListObject<int>>("list")); });
  EXPECT_TRUE(Contains(message, "double") && Contains(message, "int")) << message;
}

TEST_F(StoreLists, ObjectMayHaveFieldsAndAListAtOnce) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Before"_cow), 1);
    {
      int const tag = 0;
      std::unique_ptr<cls_WriteListPrim<int>> const list(visitor.Memento()->MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < 3000; ++i) list->Append(i);
    }
    visitor.Write(cls_FieldHandle("m_After"_cow), 2);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(ListObject<int>(visitor).m_Elements.size(), 3000U);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Before"_cow), 0), 1);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_After"_cow), 0), 2);
  }));
}

/// Holds two lists in fields.
struct TwoLists {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  TwoLists() = default;
  TwoLists(cls_xp1DArrayListInt const& first, cls_xp1DArrayListInt const& second)
      : m_First(first), m_Second(second) {}
  explicit TwoLists(cls_ReadVisitor const& visitor)
      : m_First(cls_ReadVisitor(visitor, cls_FieldHandle("m_First"_cow)), nullptr),
        m_Second(cls_ReadVisitor(visitor, cls_FieldHandle("m_Second"_cow)), nullptr),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_First.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_First"_cow), nullptr, &m_First));
    m_Second.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Second"_cow), nullptr, &m_Second));
  }
  cls_xp1DArrayListInt m_First;
  cls_xp1DArrayListInt m_Second;
  cls_Uid m_Uid;
};

TEST_F(StoreLists, WrapperWrittenTwiceInOneSaveIsOneObject) {
  for (int const count : {3, 5000}) {
    sto_Store store = Create(std::to_string(count));
    TwoLists lists;
    for (int i = 0; i < count; ++i) lists.m_First.Append(i);
    lists.m_Second = static_cast<cow_1DArrayList<int> const&>(lists.m_First); // a new identity
    store.Save("different", lists);
    EXPECT_EQ(store.ObjectCount(), 3);
    TwoLists const copies(lists.m_First, lists.m_First);
    ASSERT_EQ(copies.m_First.Uid().Entry(), copies.m_Second.Uid().Entry());
    store.Save("same", copies);
    EXPECT_EQ(store.ObjectCount(), 4);
    std::unique_ptr<TwoLists> const loaded = store.Load<TwoLists>("same");
    EXPECT_EQ(loaded->m_First.Count(), count);
    EXPECT_EQ(loaded->m_Second.Count(), count);
    EXPECT_EQ(loaded->m_Second.ConstGet(count - 1), count - 1);
    EXPECT_EQ(loaded->m_First.Uid().Entry(), loaded->m_Second.Uid().Entry());
  }
}

TEST_F(StoreLists, DivergedCopiesOfOneWrapperAreAConflictAndNothingIsLost) {
  for (int const count : {3, 2048, 5000}) {
    sto_Store store = Create(std::to_string(count));
    cls_xp1DArrayListInt list;
    for (int i = 0; i < count; ++i) list.Append(i);
    store.Save("before", list);
    cls_xp1DArrayListInt diverged(list);
    diverged.Get(count - 1) = -1;
    auto const field = [](char const* name) { return cls_FieldHandle(cow_String(name)); };
    std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] {
      SaveFields(store, [&](cls_WriteVisitor const& visitor) {
        list.DBWrite(cls_WriteVisitor(visitor, field("m_First"), nullptr, nullptr));
        diverged.DBWrite(cls_WriteVisitor(visitor, field("m_Second"), nullptr, nullptr));
      });
    });
    EXPECT_TRUE(Contains(message, "two lists that differ")) << message;
    EXPECT_FALSE(store.HasRoot("root"));
    EXPECT_EQ(store.ObjectCount(), 1);
    struct Plain : cls_xp1DArrayListInt {
      explicit Plain(cls_ReadVisitor const& visitor) : cls_xp1DArrayListInt(visitor, nullptr) {}
    };
    EXPECT_EQ(store.Load<Plain>("before")->ConstGet(count - 1), count - 1);
    store.Save("before", diverged); // alone it does not conflict
    EXPECT_EQ(store.Load<Plain>("before")->ConstGet(count - 1), -1);
  }
}

TEST_F(StoreLists, CopiesThatDifferInNothingButLengthTypeOrWidthAreAConflictToo) {
  sto_Store store = Create();
  cls_Uid const uid;
  auto const conflicts = [&](auto first, int firstWidth, auto second, int secondWidth, int secondCount) {
    auto const write = [&](cls_WriteVisitor const& visitor, char const* name, auto element, int width,
                           int count) {
      cls_WriteVisitor const child(visitor, cls_FieldHandle(cow_String(name)), nullptr, nullptr);
      child.StartWrite(cls_InternalListTypeId, uid);
      std::unique_ptr<cls_WriteListPrim<decltype(element)>> const list(
          child.Memento()->MakeWriteListPrim(&element, width));
      for (int i = 0; i < count; ++i) list->Append(element);
    };
    MessageOf(sto_ErrorKind::Conflict, [&] {
      SaveFields(store, [&](cls_WriteVisitor const& visitor) {
        write(visitor, "m_First", first, firstWidth, 6);
        write(visitor, "m_Second", second, secondWidth, secondCount);
      });
    });
  };
  conflicts(0, 1, 0, 1, 5);
  conflicts(0, 1, 0, 1, 0);
  conflicts(0, 1, 0U, 1, 6);
  conflicts(0, 2, 0, 3, 6);
}

TEST_F(StoreLists, FixedArraysAndListsComeBackWithTheirIdentity) {
  sto_Store store = Create();
  cow_1DArray<double> numbers(3);
  numbers.Get(0) = 1.5;
  numbers.Get(1) = -0.0;
  numbers.Get(2) = 3;
  cls_xp1DArrayDouble const array = cls_xp1DArrayDoubleFromCow(numbers);
  store.Save("array", array);
  std::unique_ptr<cls_xp1DArrayDouble> const arrayAgain = store.Load<cls_xp1DArrayDouble>("array");
  ASSERT_EQ(arrayAgain->Length(), 3);
  EXPECT_EQ(arrayAgain->ConstGet(0), 1.5);
  EXPECT_TRUE(std::signbit(arrayAgain->ConstGet(1)));
  EXPECT_EQ(arrayAgain->Uid().Entry(), array.Uid().Entry());
  cls_xpListString list;
  list.Append("one"_cow);
  list.Append(cow_String());
  store.Save("list", list);
  std::unique_ptr<cls_xpListString> const listAgain = store.Load<cls_xpListString>("list");
  EXPECT_EQ(listAgain->Count(), 2);
  EXPECT_EQ(listAgain->Uid().Entry(), list.Uid().Entry());
  store.Save("array list", cls_xp1DArrayListFloat()); // read without an owner's identity
  std::unique_ptr<cls_xp1DArrayListFloat> const empty = store.Load<cls_xp1DArrayListFloat>("array list");
  EXPECT_EQ(empty->Count(), 0);
  EXPECT_EQ(empty->OwnerUid(), nullptr);
}

TEST_F(StoreLists, AssignedWrapperIsANewObjectAndLeavesTheOldOne) {
  sto_Store store = Create();
  cls_xp1DArrayListInt list;
  list.Append(1);
  store.Save("old", list);
  cow_1DArrayList<int> other;
  other.Append(2);
  list = other;
  store.Save("new", list);
  EXPECT_EQ(store.Load<cls_xp1DArrayListInt>("old")->ConstGet(0), 1);
  EXPECT_EQ(store.Load<cls_xp1DArrayListInt>("new")->ConstGet(0), 2);
}

TEST_F(StoreLists, CollectionTypeOfAFieldIsRecordedAndChecked) {
  sto_Store store = Create();
  cls_xp1DArrayListInt const list;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    list.DBWrite(cls_WriteVisitor(visitor, ListField, nullptr, &list));
    visitor.Write(cls_FieldHandle("m_Number"_cow), 1);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    memento.CheckCollectionType(COLLECTION_LIST_INT, "m_List"_cow);
    memento.CheckCollectionType(COLLECTION_LIST_INT, "m_Absent"_cow);
    std::string const message = MessageOf(sto_ErrorKind::WrongClass, [&] {
      memento.CheckCollectionType(COLLECTION_LIST_DOUBLE, "m_List"_cow);
    });
    EXPECT_TRUE(Contains(message, "Attribute m_List of object 1 (Scripted version 1) is stored as "
                                  "COLLECTION_LIST_INT and cannot be read as COLLECTION_LIST_DOUBLE"))
        << message;
    MessageOf(sto_ErrorKind::WrongClass,
              [&] { memento.CheckCollectionType(COLLECTION_LIST_INT, "m_Number"_cow); });
  }));
}

TEST_F(StoreLists, BlocksOfTwoListsDoNotMeet) {
  sto_Store store = Create();
  ListObject<int> const first = MakeList<int>(5000);
  ListObject<int> second = MakeList<int>(5000);
  for (int& element : second.m_Elements) element = -element;
  store.Save("first", first);
  store.Save("second", second);
  ListObject<int> empty;
  empty.m_Uid = first.m_Uid;
  store.Save("first", empty);
  EXPECT_EQ(store.Load<ListObject<int>>("second")->m_Elements, second.m_Elements);
  EXPECT_EQ(Query("SELECT min(key) FROM stored_block"), sto_BlockKey(2, 0));
  EXPECT_EQ(Query("SELECT max(key) FROM stored_block"), sto_BlockKey(2, 2));
}

} // namespace

#include <initializer_list>

#include "tests/support/store/StoreWrappers.h"

namespace {

/// Maps and trees from strings: which keys are possible, and how duplicate stored keys are read.
template <class Case> class StoreKeyedWrappers : public StoreWrapperTest {
 protected:
  using T = typename Case::Element;

  static T Value(int number) { return NumberedElement<T>(number); }

  /// A map object with exactly these entries, written without the wrapper.
  struct Entries {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      visitor.StartWrite(cls_InternalMapTypeId, m_Uid);
      T const tag{};
      auto const writer = Own(visitor.Memento()->MakeWriteMapString2Prim(&tag));
      for (auto const& [key, value] : m_Entries) writer->Insert(key, value);
    }
    KeyedEntries<T> m_Entries;
    cls_Uid m_Uid;
  };

  static T const* Find(typename Case::Wrapper const& wrapper, cow_String const& key) {
    auto const* const node = wrapper.ConstFind(key);
    return node == nullptr ? nullptr : &node->second;
  }
};
using Keyed =
    testing::Types<StoredKeyed<FloatMapCase>, StoredKeyed<StringMapCase>, StoredKeyed<UintTreeCase>>;
TYPED_TEST_SUITE(StoreKeyedWrappers, Keyed);

TYPED_TEST(StoreKeyedWrappers, KeysOfAnyBytesComeBackInTheirOrder) {
  std::vector<cow_String> const ascending{""_cow,
                                          cow_String(std::string_view("\0", 1)),
                                          cow_String(std::string_view("\0\0", 2)),
                                          "\n"_cow,
                                          "\r\n"_cow,
                                          "a"_cow,
                                          cow_String(std::string_view("a\0", 2)),
                                          cow_String(std::string_view("a\0b", 3)),
                                          "a\nb"_cow,
                                          cow_String(std::string(100'000, 'k')),
                                          cow_String(std::string(100'000, 'k') + "!"),
                                          cow_String(std::string(1'000'000, 'l')),
                                          "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xA7"_cow,
                                          "\xFF"_cow,
                                          "\xFF\xFE"_cow};
  auto const count = static_cast<int>(ascending.size());
  typename TypeParam::Wrapper wrapper;
  for (int i = count; i-- > 0;)
    TypeParam::Add(wrapper, ascending[static_cast<std::size_t>(i)], this->Value(i));
  this->InEachStore([&](sto_Store& store) { store.Save("wrapper", wrapper); },
                    [&](sto_Store& store) {
                      auto const loaded = store.Load<typename TypeParam::Wrapper>("wrapper");
                      ASSERT_EQ(loaded->Count(), count);
                      auto const entries = TypeParam::Entries(*loaded);
                      for (int i = 0; i < count; ++i) {
                        auto const& [key, value] = entries[static_cast<std::size_t>(i)];
                        EXPECT_EQ(key.View(), ascending[static_cast<std::size_t>(i)].View()) << i;
                        EXPECT_TRUE(IsSameElement(value, this->Value(i))) << i;
                        EXPECT_NE(this->Find(*loaded, key), nullptr) << i;
                      }
                      EXPECT_FALSE(loaded->IsMember("b"_cow));
                    });
}

TYPED_TEST(StoreKeyedWrappers, KeyWithoutTextComesBackWithoutText) {
  typename TypeParam::Wrapper wrapper;
  TypeParam::Add(wrapper, cow_String(), this->Value(1));
  sto_Store store = this->Create();
  store.Save("wrapper", wrapper);
  auto const entries = TypeParam::Entries(*store.Load<typename TypeParam::Wrapper>("wrapper"));
  ASSERT_EQ(entries.size(), 1U);
  EXPECT_FALSE(entries[0].first.HasText());
}

TYPED_TEST(StoreKeyedWrappers, OfEntriesUnderOneKeyTheFirstCountsInATreeAndTheLastInAMap) {
  bool const lastCounts = TypeParam::LastOfOneKeyCounts;
  typename TestFixture::Entries entries;
  entries.m_Entries = {{"b"_cow, this->Value(0)}, {"a"_cow, this->Value(1)}, {"b"_cow, this->Value(2)},
                       {""_cow, this->Value(3)},  {"b"_cow, this->Value(4)}, {cow_String(), this->Value(5)},
                       {"c"_cow, this->Value(6)}, {"a"_cow, this->Value(7)}};
  this->InEachStore(
      [&](sto_Store& store) { store.Save("wrapper", entries); },
      [&](sto_Store& store) {
        auto const loaded = store.Load<typename TypeParam::Wrapper>("wrapper");
        ASSERT_EQ(loaded->Count(), 4);
        auto const expect = [&](cow_String const& key, int first, int last) {
          ASSERT_NE(this->Find(*loaded, key), nullptr);
          EXPECT_TRUE(IsSameElement(*this->Find(*loaded, key), this->Value(lastCounts ? last : first)))
              << key.View();
        };
        expect("b"_cow, 0, 4);
        expect("a"_cow, 1, 7);
        expect(""_cow, 3, 5); // no text and empty text are the same key
        expect("c"_cow, 6, 6);
        EXPECT_TRUE(TypeParam::Entries(*loaded)[0].first.HasText()); // the first key object stays
      });
}

TYPED_TEST(StoreKeyedWrappers, HundredThousandEntriesUnderTenKeysAreTenEntries) {
  typename TestFixture::Entries entries;
  for (int i = 0; i < 100'000; ++i) entries.m_Entries.emplace_back(WrapperKey(i % 10), this->Value(i));
  sto_Store store = this->Create();
  store.Save("wrapper", entries);
  auto const loaded = store.Load<typename TypeParam::Wrapper>("wrapper");
  ASSERT_EQ(loaded->Count(), 10);
  for (int i = 0; i < 10; ++i)
    EXPECT_TRUE(IsSameElement(*this->Find(*loaded, WrapperKey(i)),
                              this->Value(TypeParam::LastOfOneKeyCounts ? 99'990 + i : i)));
}

TYPED_TEST(StoreKeyedWrappers, SavingWhatWasReadFromDuplicatesLeavesNoneInTheStore) {
  typename TestFixture::Entries entries;
  entries.m_Entries = {{"a"_cow, this->Value(1)}, {"a"_cow, this->Value(2)}};
  sto_Store store = this->Create();
  store.Save("wrapper", entries);
  auto const loaded = store.Load<typename TypeParam::Wrapper>("wrapper");
  store.Save("wrapper", *loaded);
  struct Counted {
    explicit Counted(cls_ReadVisitor const& visitor) {
      typename TypeParam::Element tag{};
      m_Count = Own(visitor.Memento()->MakeReadMapString2Prim(&tag))->Count();
    }
    int m_Count = 0;
  };
  EXPECT_EQ(store.Load<Counted>("wrapper")->m_Count, 1);
  EXPECT_TRUE(IsSameWrapper<TypeParam>(*store.Load<typename TypeParam::Wrapper>("wrapper"), *loaded));
}

TYPED_TEST(StoreKeyedWrappers, EntriesAreAddedReplacedAndRemovedUnderOneIdentity) {
  auto wrapper = NumberedWrapper<TypeParam>(1000);
  this->InEachStore(
      [&](sto_Store& store) {
        store.Save("wrapper", wrapper);
        for (int i = 0; i < 1000; i += 2) wrapper.Remove(WrapperKey(i));
        TypeParam::Add(wrapper, "more"_cow, this->Value(77));
        *wrapper.Find(WrapperKey(1)) = this->Value(78);
        store.Save("wrapper", wrapper);
        EXPECT_EQ(store.CollectGarbage(), 0);
      },
      [&](sto_Store& store) {
        auto const loaded = store.Load<typename TypeParam::Wrapper>("wrapper");
        EXPECT_TRUE(IsSameWrapper<TypeParam>(*loaded, wrapper));
        EXPECT_EQ(loaded->Count(), 501);
        EXPECT_FALSE(loaded->IsMember(WrapperKey(0)));
        EXPECT_TRUE(IsSameElement(*this->Find(*loaded, WrapperKey(1)), this->Value(78)));
        EXPECT_EQ(store.ObjectCount(), 1);
      });
}

TYPED_TEST(StoreKeyedWrappers, MapOfOtherValuesIsRefused) {
  using Other = std::conditional_t<std::is_same_v<typename TypeParam::Element, float>, cls_xpMapString2String,
                                   cls_xpMapString2Float>;
  sto_Store store = this->Create();
  store.Save("wrapper", NumberedWrapper<TypeParam>(3));
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Other>("wrapper")); });
  MessageOf(sto_ErrorKind::WrongClass,
            [&] { static_cast<void>(store.Load<StoredObjectMap::Wrapper>("wrapper")); });
}

// --- The map of objects

using ObjectMap = StoredObjectMap::Wrapper;

/// A map of lists, and a separate list, which may also be in the map.
struct Shelf {
  static constexpr unsigned int TypeId() noexcept { return Desk<StoredObjectMap>::TypeId(); }
  static cls_FieldHandle Map() { return DeskField("m_First", COLLECTION_MAP_STRING_OBJ); }
  static cls_FieldHandle List() { return DeskField("m_First", COLLECTION_LIST_FLOAT); }
  Shelf() = default;
  explicit Shelf(cls_ReadVisitor const& visitor)
      : m_Map(cls_ReadVisitor(visitor, Map())), m_List(cls_ReadVisitor(visitor, List()), nullptr),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Map.DBWrite(cls_WriteVisitor(visitor, Map(), nullptr, &m_Map));
    m_List.DBWrite(cls_WriteVisitor(visitor, List(), nullptr, &m_List));
  }
  ObjectMap m_Map;
  cls_xp1DArrayListFloat m_List;
  cls_Uid m_Uid;
};

class StoreObjectMaps : public StoreWrapperTest {
 protected:
  using ListCase = StoredSequence<ArrayListCase<float>>;

  static cls_xp1DArrayListFloat List(int count) { return NumberedWrapper<ListCase>(count); }
  static void ExpectList(cls_xp1DArrayListFloat const& list, int count) {
    EXPECT_TRUE(IsSameWrapper<ListCase>(list, List(count)));
  }
  /// A shelf with lists of 1 to 3 elements under a to c; the one under b is also in the field.
  static Shelf MakeShelf() {
    Shelf shelf;
    shelf.m_Map.Insert("a"_cow, List(1));
    shelf.m_Map.Insert("b"_cow, List(2));
    shelf.m_Map.Insert("c"_cow, List(3));
    shelf.m_List = shelf.m_Map.ConstGet("b"_cow);
    return shelf;
  }
};

TEST_F(StoreObjectMaps, ListsOfEachLengthComeBack) {
  std::vector<int> const counts{0, 1, 1024, 1025, 2047, 2048, 2049, 4096, 10'000};
  ObjectMap map;
  for (int const count : counts) map.Insert(WrapperKey(count), List(count));
  InEachStore([&](sto_Store& store) { store.Save("map", map); },
              [&](sto_Store& store) {
                auto const loaded = store.Load<ObjectMap>("map");
                ASSERT_EQ(loaded->Count(), static_cast<int>(counts.size()));
                for (int const count : counts) {
                  ExpectList(loaded->ConstGet(WrapperKey(count)), count);
                  EXPECT_EQ(loaded->ConstGet(WrapperKey(count)).OwnerUid(), nullptr);
                }
                EXPECT_EQ(store.ObjectCount(), 1 + static_cast<int>(counts.size()));
                EXPECT_EQ(Blocks(store), 1 + 1 + 1 + 2 + 2 + 5); // from 1025 elements on
              });
}

TEST_F(StoreObjectMaps, ValuesThatLiveHaveTheirIdentitiesAfterLoading) {
  ObjectMap map;
  for (int i = 0; i < 20; ++i) map.Insert(WrapperKey(i), List(i));
  sto_Store store = Create();
  store.Save("map", map);
  auto const loaded = store.Load<ObjectMap>("map");
  EXPECT_EQ(loaded->Uid().Entry(), map.Uid().Entry());
  for (int i = 0; i < 20; ++i)
    EXPECT_EQ(loaded->ConstGet(WrapperKey(i)).Uid().Entry(), map.ConstGet(WrapperKey(i)).Uid().Entry());
}

TEST_F(StoreObjectMaps, ValueThatAFieldHoldsTooIsOneObjectBeforeAndAfterLoading) {
  InEachStore([&](sto_Store& store) { store.Save("shelf", MakeShelf()); },
              [&](sto_Store& store) {
                EXPECT_EQ(store.ObjectCount(), 1 + 1 + 3);
                auto const shelf = store.Load<Shelf>("shelf");
                ExpectList(shelf->m_List, 2);
                ExpectList(shelf->m_Map.ConstGet("b"_cow), 2);
                EXPECT_EQ(shelf->m_List.Uid().Entry(), shelf->m_Map.ConstGet("b"_cow).Uid().Entry());
                EXPECT_NE(shelf->m_List.Uid().Entry(), shelf->m_Map.ConstGet("a"_cow).Uid().Entry());
              });
}

TEST_F(StoreObjectMaps, LoadedShelfIsSavedAgainAsTheSameObjects) {
  { Create().Save("shelf", MakeShelf()); }
  sto_Store store = Open();
  {
    auto const shelf = store.Load<Shelf>("shelf");
    store.Save("shelf", *shelf);
    EXPECT_EQ(store.ObjectCount(), 5);
    EXPECT_EQ(store.CollectGarbage(), 0);
    shelf->m_List.Append(9); // but not the copy in the map
    MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("shelf", *shelf); });
    shelf->m_Map.Insert("b"_cow, shelf->m_List);
    store.Save("shelf", *shelf);
  }
  auto const shelf = store.Load<Shelf>("shelf");
  EXPECT_EQ(shelf->m_List.Count(), 3);
  EXPECT_EQ(shelf->m_Map.ConstGet("b"_cow).ConstGet(2), 9);
  EXPECT_EQ(store.ObjectCount(), 5);
}

TEST_F(StoreObjectMaps, ListThatIsSavedAloneChangesTheMapsValueToo) {
  sto_Store store = Create();
  Shelf shelf = MakeShelf();
  store.Save("shelf", shelf);
  shelf.m_List.Append(9);
  store.Save("list", shelf.m_List);
  EXPECT_EQ(store.ObjectCount(), 5);
  EXPECT_EQ(store.Load<Shelf>("shelf")->m_Map.ConstGet("b"_cow).Count(), 3);
  EXPECT_EQ(store.Load<cls_xp1DArrayListFloat>("list")->Count(), 3);
}

TEST_F(StoreObjectMaps, OneListUnderManyKeysIsOneObject) {
  auto const list = List(3000);
  ObjectMap map;
  for (int i = 0; i < 100; ++i) map.Insert(WrapperKey(i), list);
  InEachStore([&](sto_Store& store) { store.Save("map", map); },
              [&](sto_Store& store) {
                EXPECT_EQ(store.ObjectCount(), 2);
                EXPECT_EQ(Blocks(store), 2);
                auto const loaded = store.Load<ObjectMap>("map");
                ASSERT_EQ(loaded->Count(), 100);
                cls_Uid const uid = loaded->ConstGet(WrapperKey(0)).Uid();
                for (int i = 0; i < 100; ++i) {
                  EXPECT_EQ(loaded->ConstGet(WrapperKey(i)).Uid().Entry(), uid.Entry());
                  EXPECT_EQ(loaded->ConstGet(WrapperKey(i)).Count(), 3000);
                }
              });
}

TEST_F(StoreObjectMaps, ListThatIsReplacedOrRemovedIsCollectedUnlessAnotherHoldsIt) {
  sto_Store store = Create();
  Shelf shelf = MakeShelf();
  shelf.m_Map.Insert("d"_cow, List(9000));
  store.Save("shelf", shelf);
  EXPECT_EQ(Blocks(store), 5);
  shelf.m_Map.Insert("d"_cow, List(1));
  shelf.m_Map.Remove("a"_cow);
  shelf.m_Map.Remove("b"_cow); // the field still holds it
  store.Save("shelf", shelf);
  EXPECT_EQ(store.CollectGarbage(), 2);
  EXPECT_EQ(Blocks(store), 0);
  EXPECT_EQ(store.ObjectCount(), 5); // the shelf, its map, and the lists of b, c and d
  auto const loaded = store.Load<Shelf>("shelf");
  EXPECT_EQ(loaded->m_Map.Count(), 2);
  ExpectList(loaded->m_List, 2);
  ExpectList(loaded->m_Map.ConstGet("c"_cow), 3);
  ExpectList(loaded->m_Map.ConstGet("d"_cow), 1);
}

TEST_F(StoreObjectMaps, MapsOfTheSameListsShareTheirObjects) {
  auto const map = NumberedWrapper<StoredObjectMap>(500);
  ObjectMap assigned;
  assigned = ContainerOf<StoredObjectMap>(map);
  InEachStore(
      [&](sto_Store& store) {
        store.Save("map", map);
        store.Save("assigned", assigned);
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), 2 + 500);
        auto const one = store.Load<ObjectMap>("map");
        auto const two = store.Load<ObjectMap>("assigned");
        EXPECT_TRUE(IsSameWrapper<StoredObjectMap>(*one, *two));
        EXPECT_NE(one->Uid().Entry(), two->Uid().Entry());
        for (int i = 0; i < 500; ++i)
          ASSERT_EQ(one->ConstGet(WrapperKey(i)).Uid().Entry(), two->ConstGet(WrapperKey(i)).Uid().Entry());
      });
}

TEST_F(StoreObjectMaps, ListInPlaceOfAnotherIsChangedWithoutANewObject) {
  auto map = NumberedWrapper<StoredObjectMap>(10);
  InEachStore(
      [&](sto_Store& store) {
        store.Save("map", map);
        map.Get(WrapperKey(3)).Append(42);
        store.Save("map", map);
        EXPECT_EQ(store.CollectGarbage(), 0);
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), 11);
        EXPECT_TRUE(IsSameWrapper<StoredObjectMap>(*store.Load<ObjectMap>("map"), map));
      });
}

TEST_F(StoreObjectMaps, OfListsUnderOneKeyTheLastCounts) {
  struct Entries {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      visitor.StartWrite(cls_InternalMapTypeId, m_Uid);
      auto const writer = Own(visitor.Memento()->MakeWriteMapString2Obj());
      for (int const count : {1, 2, 3}) {
        cls_xp1DArrayListFloat const list = List(count);
        cow_String const key = count == 2 ? "b"_cow : "a"_cow;
        cls_WriteRequestMapString2Obj const request(writer.get(), key);
        list.DBWrite(cls_WriteVisitor(request, &list));
      }
    }
    cls_Uid m_Uid;
  };
  sto_Store store = Create();
  store.Save("map", Entries());
  EXPECT_EQ(store.ObjectCount(), 4);
  auto const map = store.Load<ObjectMap>("map");
  ASSERT_EQ(map->Count(), 2);
  ExpectList(map->ConstGet("a"_cow), 3);
  ExpectList(map->ConstGet("b"_cow), 2);
  store.Save("map", *map);
  EXPECT_EQ(store.CollectGarbage(), 1); // the first list under a
}

TEST_F(StoreObjectMaps, MapWithAMissingListIsRefused) {
  { Create().Save("map", NumberedWrapper<StoredObjectMap>(3)); }
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM object WHERE id = 3");
  }
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<ObjectMap>("map")); });
}

} // namespace

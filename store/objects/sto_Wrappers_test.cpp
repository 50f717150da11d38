#include "tests/support/Seeds.h"
#include "tests/support/store/StoreWrappers.h"

namespace {

/// Each container wrapper, saved and loaded under a root name as an application does it.
template <class Case> class StoreWrappers : public StoreWrapperTest {
 protected:
  static inline int const Many = 100'000 / SweepStride;
  /// What a long wrapper needs besides its object: lists have blocks of 2048 elements; maps have chunks of
  /// entries, which have no fixed number.
  void ExpectBlocks(sto_Store& store, int count) const {
    bool const isList = Case::Code >= COLLECTION_LIST && Case::Code != COLLECTION_MAP_STRING_FLOAT &&
                        Case::Code != COLLECTION_MAP_STRING_STRING &&
                        Case::Code != COLLECTION_MAP_STRING_UINT;
    EXPECT_GE(this->Blocks(store), isList ? (count + 2047) / 2048 : count / 2000);
    EXPECT_LE(this->Blocks(store), isList ? (count + 2047) / 2048 : count / 100);
  }

  /// Saves a wrapper and expects to load an equal one, in this session and in another.
  void ExpectKept(typename Case::Wrapper const& wrapper) const {
    InEachStore([&](sto_Store& store) { store.Save("wrapper", wrapper); },
                [&](sto_Store& store) {
                  EXPECT_TRUE(IsSameWrapper<Case>(*store.Load<typename Case::Wrapper>("wrapper"), wrapper));
                  EXPECT_EQ(store.ObjectCount(), Case::ObjectsOf(CountOf<Case>(wrapper)));
                });
  }
};
TYPED_TEST_SUITE(StoreWrappers, StoredWrappers);

TYPED_TEST(StoreWrappers, EmptyOneComesBackEmpty) {
  auto const wrapper = NumberedWrapper<TypeParam>(0);
  ASSERT_EQ(CountOf<TypeParam>(wrapper), 0);
  this->ExpectKept(wrapper);
}

TYPED_TEST(StoreWrappers, OneElementComesBack) {
  auto const wrapper = NumberedWrapper<TypeParam>(1);
  ASSERT_EQ(CountOf<TypeParam>(wrapper), 1);
  this->ExpectKept(wrapper);
}

TYPED_TEST(StoreWrappers, ExtremeElementsComeBackBitByBit) {
  this->ExpectKept(TypeParam::MakeWrapper(ExtremeElements<typename TypeParam::Element>()));
}

TYPED_TEST(StoreWrappers, ManyElementsComeBack) {
  auto const wrapper = NumberedWrapper<TypeParam>(this->Many);
  ASSERT_EQ(CountOf<TypeParam>(wrapper), this->Many);
  this->ExpectKept(wrapper);
}

TYPED_TEST(StoreWrappers, SavedWrapperIsAsItWas) {
  auto const wrapper = NumberedWrapper<TypeParam>(7);
  auto const uid = wrapper.Uid();
  sto_Store store = this->Create();
  store.Save("wrapper", wrapper);
  EXPECT_TRUE(IsSameWrapper<TypeParam>(wrapper, NumberedWrapper<TypeParam>(7)));
  EXPECT_EQ(wrapper.Uid().Entry(), uid.Entry());
}

TYPED_TEST(StoreWrappers, LiveOneHasItsIdentityAfterLoadingAndACopyOfItsElements) {
  using Wrapper = typename TypeParam::Wrapper;
  auto const wrapper = NumberedWrapper<TypeParam>(5);
  sto_Store store = this->Create();
  store.Save("wrapper", wrapper);
  std::unique_ptr<Wrapper> const loaded = store.Load<Wrapper>("wrapper");
  EXPECT_EQ(loaded->Uid().Entry(), wrapper.Uid().Entry());
  EXPECT_FALSE(TypeParam::Share(*loaded, wrapper));
  TypeParam::Write(*loaded);
  EXPECT_TRUE(IsSameWrapper<TypeParam>(wrapper, NumberedWrapper<TypeParam>(5)));
}

TYPED_TEST(StoreWrappers, ChangedInPlaceItReplacesWhatWasStoredInALaterSession) {
  using Wrapper = typename TypeParam::Wrapper;
  { this->Create().Save("wrapper", NumberedWrapper<TypeParam>(5)); }
  auto expected = NumberedWrapper<TypeParam>(5);
  TypeParam::Write(expected);
  {
    sto_Store store = this->Open();
    std::unique_ptr<Wrapper> const loaded = store.Load<Wrapper>("wrapper");
    std::int64_t const objects = store.ObjectCount();
    TypeParam::Write(*loaded);
    store.Save("wrapper", *loaded);
    EXPECT_EQ(store.ObjectCount(), objects);
  }
  EXPECT_TRUE(IsSameWrapper<TypeParam>(*this->Open().template Load<Wrapper>("wrapper"), expected));
}

TYPED_TEST(StoreWrappers, SmallOneReplacingABigOneLeavesNothingBehind) {
  using Wrapper = typename TypeParam::Wrapper;
  for (int const left : {1, 0}) {
    SCOPED_TRACE(left);
    auto const small = NumberedWrapper<TypeParam>(left);
    this->InEachStore(
        [&](sto_Store& store) {
          auto wrapper = NumberedWrapper<TypeParam>(this->Many);
          store.Save("wrapper", wrapper);
          this->ExpectBlocks(store, this->Many);
          Refill<TypeParam>(wrapper, small);
          store.Save("wrapper", wrapper);
          EXPECT_EQ(this->Blocks(store), 0);
          EXPECT_EQ(store.CollectGarbage(), TypeParam::ObjectsOf(this->Many) - 1); // the elements
          EXPECT_EQ(store.CollectGarbage(), 0);
          EXPECT_EQ(this->Rows(store), TypeParam::ObjectsOf(left));
        },
        [&](sto_Store& store) {
          EXPECT_EQ(store.ObjectCount(), TypeParam::ObjectsOf(left));
          EXPECT_TRUE(IsSameWrapper<TypeParam>(*store.Load<Wrapper>("wrapper"), small));
          EXPECT_EQ(IntegrityOf(store.Location()), "ok");
        });
    for (char const* const name : {"4096", "16384", "32768"}) std::filesystem::remove(this->Path(name));
  }
}

TYPED_TEST(StoreWrappers, BigOneReplacingASmallOneComesBack) {
  using Wrapper = typename TypeParam::Wrapper;
  auto const big = NumberedWrapper<TypeParam>(9000);
  this->InEachStore(
      [&](sto_Store& store) {
        auto wrapper = NumberedWrapper<TypeParam>(3);
        store.Save("wrapper", wrapper);
        Refill<TypeParam>(wrapper, big);
        store.Save("wrapper", wrapper);
        EXPECT_EQ(store.CollectGarbage(), TypeParam::ObjectsOf(3) - 1);
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), TypeParam::ObjectsOf(9000));
        this->ExpectBlocks(store, 9000);
        EXPECT_TRUE(IsSameWrapper<TypeParam>(*store.Load<Wrapper>("wrapper"), big));
      });
}

TYPED_TEST(StoreWrappers, IsCollectedWithAllItsRowsWithoutARoot) {
  this->InEachStore(
      [&](sto_Store& store) {
        store.Save("wrapper", NumberedWrapper<TypeParam>(9000));
        EXPECT_EQ(store.CollectGarbage(), 0);
        EXPECT_TRUE(store.RemoveRoot("wrapper"));
        EXPECT_EQ(store.CollectGarbage(), TypeParam::ObjectsOf(9000));
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), 0);
        EXPECT_EQ(this->Rows(store), 0);
      });
}

TYPED_TEST(StoreWrappers, AssignedContainerIsANewObjectAndTheOldOneIsCollected) {
  using Wrapper = typename TypeParam::Wrapper;
  auto const small = NumberedWrapper<TypeParam>(2);
  this->InEachStore(
      [&](sto_Store& store) {
        auto wrapper = NumberedWrapper<TypeParam>(9000);
        store.Save("wrapper", wrapper);
        wrapper = ContainerOf<TypeParam>(small);
        store.Save("wrapper", wrapper);
        EXPECT_EQ(store.ObjectCount(), TypeParam::ObjectsOf(9000) + TypeParam::ObjectsOf(2));
        EXPECT_EQ(store.CollectGarbage(), TypeParam::ObjectsOf(9000));
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), TypeParam::ObjectsOf(2));
        EXPECT_EQ(this->Blocks(store), 0);
        EXPECT_TRUE(IsSameWrapper<TypeParam>(*store.Load<Wrapper>("wrapper"), small));
      });
}

TYPED_TEST(StoreWrappers, RolledBackSaveLeavesTheOldElements) {
  using Wrapper = typename TypeParam::Wrapper;
  sto_Store store = this->Create();
  auto wrapper = NumberedWrapper<TypeParam>(9000);
  store.Save("wrapper", wrapper);
  {
    sto_Transaction transaction(store);
    Refill<TypeParam>(wrapper, NumberedWrapper<TypeParam>(3));
    store.Save("wrapper", wrapper);
    EXPECT_EQ(CountOf<TypeParam>(*store.Load<Wrapper>("wrapper")), 3);
    transaction.Rollback();
  }
  EXPECT_TRUE(IsSameWrapper<TypeParam>(*store.Load<Wrapper>("wrapper"), NumberedWrapper<TypeParam>(9000)));
  EXPECT_EQ(store.ObjectCount(), TypeParam::ObjectsOf(9000));
  store.Save("wrapper", wrapper);
  EXPECT_EQ(CountOf<TypeParam>(*store.Load<Wrapper>("wrapper")), 3);
}

// --- In fields

TYPED_TEST(StoreWrappers, TwoFieldsWithTwoWrappersKeepEachItsOwn) {
  auto const first = NumberedWrapper<TypeParam>(3);
  auto const second = NumberedWrapper<TypeParam>(5000);
  this->InEachStore([&](sto_Store& store) { store.Save("desk", Desk<TypeParam>(first, second)); },
                    [&](sto_Store& store) {
                      auto const desk = store.Load<Desk<TypeParam>>("desk");
                      EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_First, first));
                      EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second, second));
                      EXPECT_EQ(store.ObjectCount(),
                                1 + TypeParam::ObjectsOf(3) + TypeParam::ObjectsOf(5000));
                    });
}

TYPED_TEST(StoreWrappers, TwoFieldsWithCopiesOfOneWrapperHoldOneObject) {
  for (int const count : {0, 3, 5000}) {
    SCOPED_TRACE(count);
    auto const wrapper = NumberedWrapper<TypeParam>(count);
    std::string const name = std::to_string(count);
    auto const check = [&](sto_Store& store) {
      auto const desk = store.Load<Desk<TypeParam>>("desk");
      EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_First, wrapper));
      EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second, wrapper));
      EXPECT_EQ(desk->m_First.Uid().Entry(), desk->m_Second.Uid().Entry());
      EXPECT_EQ(store.ObjectCount(), 1 + TypeParam::ObjectsOf(count));
    };
    {
      sto_Store store = this->Create(name);
      store.Save("desk", Desk<TypeParam>(wrapper, wrapper));
      check(store);
    }
    sto_Store store = this->Open(sto_Mode::ReadOnly, name);
    check(store);
  }
}

TYPED_TEST(StoreWrappers, CopiesThatDivergedAreAConflictAndNothingIsLost) {
  for (int const count : {3, 5000}) {
    SCOPED_TRACE(count);
    sto_Store store = this->Create(std::to_string(count));
    auto const wrapper = NumberedWrapper<TypeParam>(count);
    store.Save("desk", Desk<TypeParam>(wrapper, wrapper));
    auto diverged(wrapper);
    TypeParam::Write(diverged);
    std::int64_t const objects = store.ObjectCount();
    std::string const message =
        MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("desk", Desk<TypeParam>(wrapper, diverged)); });
    EXPECT_TRUE(Contains(message, "that differ")) << message;
    EXPECT_EQ(store.ObjectCount(), objects);
    auto const desk = store.Load<Desk<TypeParam>>("desk");
    EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_First, wrapper));
    EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second, wrapper));
    diverged = ContainerOf<TypeParam>(typename TypeParam::Wrapper(diverged)); // another object from now on
    store.Save("desk", Desk<TypeParam>(wrapper, diverged));
    EXPECT_TRUE(IsSameWrapper<TypeParam>(store.Load<Desk<TypeParam>>("desk")->m_Second, diverged));
  }
}

TYPED_TEST(StoreWrappers, AbsentFieldReadsAsAnEmptyOne) {
  sto_Store store = this->Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(CountOf<TypeParam>(TypeParam::Read(cls_ReadVisitor(visitor, Desk<TypeParam>::First()))), 0);
  }));
}

TYPED_TEST(StoreWrappers, ObjectWithoutACollectionIsRefused) {
  using Wrapper = typename TypeParam::Wrapper;
  sto_Store store = this->Create();
  store.Save("node", Node(1));
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Wrapper>("node")); });
}

TYPED_TEST(StoreWrappers, FieldThatIsDeclaredForAnotherCollectionIsRefused) {
  sto_Store store = this->Create();
  auto const wrapper = NumberedWrapper<TypeParam>(3);
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      wrapper.DBWrite(cls_WriteVisitor(visitor, Field("m_Keyed"), nullptr, &wrapper));
    });
  });
  EXPECT_TRUE(Contains(message, "m_Keyed")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

} // namespace

#include "store/sto_ReadCow.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/HeapCount.h"
#include "tests/support/store/StoreWrappers.h"

// Copy-on-write of stored wrappers, checked by counting copies: elements shared before a save are shared
// after it and after loading, and are copied once, by the first writer.

namespace {

constexpr WrapperAllocations None{0, 0};

class AllocationCount {
 public:
  [[nodiscard]] WrapperAllocations Taken() const { return {m_Probe.Count(), HeapCount() - m_HeapBefore}; }

 private:
  AllocationProbe m_Probe;
  long long m_HeapBefore = HeapCount();
};

/// Clones a wrapper as another object, which shares the elements and has its own identity. Counts the clones.
template <class Case> struct AnotherObject {
  using Wrapper = typename Case::Wrapper;
  static Wrapper* Copy(Wrapper const& wrapper) {
    ++s_Clones;
    auto clone = std::make_unique<Wrapper>(wrapper);
    *clone = ContainerOf<Case>(wrapper);
    return clone.release();
  }
  static inline int s_Clones = 0;
};

/// An object with a wrapper held copy-on-write in two fields.
template <class Case> struct CowDesk {
  using Wrapper = typename Case::Wrapper;
  using Policy = AnotherObject<Case>;
  using Cow = cow_COW<Wrapper, Policy>;
  static constexpr unsigned int TypeId() noexcept { return Desk<Case>::TypeId(); }

  explicit CowDesk(Cow const& both) : m_First(both), m_Second(both) {}
  explicit CowDesk(cls_ReadVisitor const& visitor)
      : m_First(sto_ReadCow<Wrapper, Policy>(visitor, Desk<Case>::First())),
        m_Second(sto_ReadCow<Wrapper, Policy>(visitor, Desk<Case>::Second())), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Wrapper const& first = m_First.ConstGet();
    first.DBWrite(cls_WriteVisitor(visitor, Desk<Case>::First(), nullptr, &first));
    Wrapper const& second = m_Second.ConstGet();
    second.DBWrite(cls_WriteVisitor(visitor, Desk<Case>::Second(), nullptr, &second));
  }

  Cow m_First;
  Cow m_Second;
  cls_Uid m_Uid;
};

template <class Case> class StoreWrapperSharing : public StoreWrapperTest {
 protected:
  static constexpr int Few = 5;

  StoreWrapperSharing() { AnotherObject<Case>::s_Clones = 0; }
  static int Clones() { return AnotherObject<Case>::s_Clones; }
  static CowDesk<Case> MakeDesk(int count) {
    return CowDesk<Case>(typename CowDesk<Case>::Cow(
        new typename Case::Wrapper(NumberedWrapper<Case>(count)))); // one payload, two holders
  }
  static std::vector<int> Counts() { return {Few, 5000}; }
};
TYPED_TEST_SUITE(StoreWrapperSharing, StoredWrappers);

TYPED_TEST(StoreWrapperSharing, SavingCopiesNothingAndSeparatesNothing) {
  for (int const count : this->Counts()) {
    sto_Store store = this->Create(std::to_string(count));
    auto const desk = this->MakeDesk(count);
    auto const* const payload = desk.m_First.ConstPtr();
    auto const elements(*payload); // shares the elements with the payload
    store.Save("desk", desk);
    EXPECT_EQ(this->Clones(), 0);
    EXPECT_EQ(desk.m_First.ConstPtr(), payload);
    EXPECT_EQ(desk.m_Second.ConstPtr(), payload);
    EXPECT_EQ(desk.m_First.UseCount(), 2);
    EXPECT_TRUE(TypeParam::Share(elements, *payload));
    EXPECT_EQ(store.ObjectCount(), 1 + TypeParam::ObjectsOf(count));
  }
}

TYPED_TEST(StoreWrapperSharing, SavingASharingWrapperAllocatesWhatSavingAPrivateOneDoes) {
  sto_Store store = this->Create();
  auto const wrapper = NumberedWrapper<TypeParam>(5000);
  auto const save = [&] {
    AllocationCount const count;
    store.Save("wrapper", wrapper);
    return count.Taken();
  };
  save();
  save();
  save(); // caches are filled from now on
  WrapperAllocations const alone = save();
  auto const copy(wrapper);
  WrapperAllocations const shared = save();
  EXPECT_EQ(shared, alone);
  EXPECT_TRUE(TypeParam::Share(copy, wrapper));
}

TYPED_TEST(StoreWrapperSharing, TwoHoldersOfOnePayloadAreTwoHoldersOfOneAfterLoading) {
  for (int const count : {0, this->Few, 5000}) {
    SCOPED_TRACE(count);
    this->InEachStore(
        [&](sto_Store& store) { store.Save("desk", this->MakeDesk(count)); },
        [&](sto_Store& store) {
          auto const desk = store.Load<CowDesk<TypeParam>>("desk");
          ASSERT_FALSE(desk->m_First.IsNull());
          EXPECT_EQ(desk->m_First.ConstPtr(), desk->m_Second.ConstPtr());
          EXPECT_EQ(desk->m_First.UseCount(), 2);
          EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second.ConstGet(), NumberedWrapper<TypeParam>(count)));
          EXPECT_EQ(store.ObjectCount(), 1 + TypeParam::ObjectsOf(count));
        });
    for (char const* const name : {"4096", "16384", "32768"}) std::filesystem::remove(this->Path(name));
  }
  EXPECT_EQ(this->Clones(), 0);
}

TYPED_TEST(StoreWrapperSharing, ReadingALoadedPayloadCopiesNothing) {
  sto_Store store = this->Create();
  store.Save("desk", this->MakeDesk(this->Few));
  auto const desk = store.Load<CowDesk<TypeParam>>("desk");
  int read = 0;
  AllocationCount const count;
  for (auto const* const holder : {&desk->m_First, &desk->m_Second})
    TypeParam::ForEach(holder->ConstGet(), [&](cow_String const&, auto const&) { ++read; });
  WrapperAllocations const taken = count.Taken();
  EXPECT_EQ(read, 2 * this->Few);
  EXPECT_EQ(taken, None);
  EXPECT_EQ(desk->m_First.UseCount(), 2);
  EXPECT_EQ(this->Clones(), 0);
}

TYPED_TEST(StoreWrapperSharing, FirstWriteByOneHolderTakesExactlyOneCopy) {
  sto_Store store = this->Create();
  store.Save("desk", this->MakeDesk(this->Few));
  auto const desk = store.Load<CowDesk<TypeParam>>("desk");
  auto const* const before = desk->m_Second.ConstPtr();
  auto& own = desk->m_First.Get();
  EXPECT_EQ(this->Clones(), 1);
  EXPECT_TRUE(TypeParam::Share(own, *before)); // the clone shares the elements until it is written
  AllocationCount const count;
  TypeParam::Write(own);
  WrapperAllocations const first = count.Taken();
  TypeParam::Write(desk->m_First.Get());
  WrapperAllocations const second = count.Taken();
  TypeParam::Write(desk->m_Second.Get()); // the last holder
  WrapperAllocations const third = count.Taken();
  EXPECT_EQ(first, TypeParam::OneCopyOf(this->Few));
  EXPECT_EQ(second, first);
  // A list may have to grow when appended to; everything else writes in place.
  if constexpr (requires { own.Iterator(); })
    EXPECT_LE(third.first, first.first + 1);
  else
    EXPECT_EQ(third, first);
  EXPECT_EQ(this->Clones(), 1);
  EXPECT_EQ(desk->m_Second.ConstPtr(), before);
}

TYPED_TEST(StoreWrapperSharing, WriteByOneHolderIsNotSeenByTheOther) {
  auto changed = NumberedWrapper<TypeParam>(5000);
  TypeParam::Write(changed);
  this->InEachStore(
      [&](sto_Store& store) {
        store.Save("desk", this->MakeDesk(5000));
        auto const desk = store.Load<CowDesk<TypeParam>>("desk");
        TypeParam::Write(desk->m_First.Get());
        EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second.ConstGet(), NumberedWrapper<TypeParam>(5000)));
        std::int64_t const before = store.ObjectCount();
        store.Save("desk", *desk);
        EXPECT_EQ(store.ObjectCount(), before + 1); // the clone; unchanged elements of maps are shared
      },
      [&](sto_Store& store) {
        auto const desk = store.Load<CowDesk<TypeParam>>("desk");
        EXPECT_NE(desk->m_First.ConstPtr(), desk->m_Second.ConstPtr());
        EXPECT_EQ(desk->m_First.UseCount(), 1);
        EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_First.ConstGet(), changed));
        EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second.ConstGet(), NumberedWrapper<TypeParam>(5000)));
      });
}

TYPED_TEST(StoreWrapperSharing, HoldersThatMeetAgainAreOneObjectAndTheCloneIsCollected) {
  sto_Store store = this->Create();
  store.Save("desk", this->MakeDesk(5000));
  auto const desk = store.Load<CowDesk<TypeParam>>("desk");
  TypeParam::Write(desk->m_First.Get());
  store.Save("desk", *desk);
  desk->m_First = desk->m_Second;
  store.Save("desk", *desk);
  EXPECT_EQ(store.CollectGarbage(), 1);
  EXPECT_EQ(store.ObjectCount(), 1 + TypeParam::ObjectsOf(5000));
  auto const again = store.Load<CowDesk<TypeParam>>("desk");
  EXPECT_EQ(again->m_First.ConstPtr(), again->m_Second.ConstPtr());
}

TYPED_TEST(StoreWrapperSharing, WrappersThatShareElementsUnderTwoIdentitiesAreTwoObjects) {
  auto const first = NumberedWrapper<TypeParam>(5000);
  auto second = NumberedWrapper<TypeParam>(0);
  second = ContainerOf<TypeParam>(first);
  this->InEachStore(
      [&](sto_Store& store) {
        store.Save("desk", Desk<TypeParam>(first, second));
        EXPECT_TRUE(TypeParam::Share(first, second));
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), 1 + 1 + TypeParam::ObjectsOf(5000));
        auto const desk = store.Load<Desk<TypeParam>>("desk");
        EXPECT_NE(desk->m_First.Uid().Entry(), desk->m_Second.Uid().Entry());
        EXPECT_FALSE(TypeParam::Share(desk->m_First, desk->m_Second));
        EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_First, first));
        EXPECT_TRUE(IsSameWrapper<TypeParam>(desk->m_Second, first));
      });
}

TYPED_TEST(StoreWrapperSharing, LoadedWrapperSharesNothingWithAnotherLoad) {
  using Kept = typename TypeParam::Wrapper;
  sto_Store store = this->Create();
  store.Save("wrapper", NumberedWrapper<TypeParam>(this->Few));
  auto const first = store.Load<Kept>("wrapper");
  auto const second = store.Load<Kept>("wrapper");
  EXPECT_EQ(first->Uid().Entry(), second->Uid().Entry());
  EXPECT_FALSE(TypeParam::Share(*first, *second));
  AllocationCount const count;
  if constexpr (!requires { first->Iterator(); }) { // written by appending
    TypeParam::Write(*first);
    EXPECT_EQ(count.Taken(), None);
  }
}

} // namespace

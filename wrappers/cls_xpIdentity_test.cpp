#include <gtest/gtest.h>

#include <type_traits>

#include "tests/support/AllocationProbe.h"
#include "tests/support/wrappers/WrapperCases.h"

// Wrappers as values: what keeps the identity, what changes it, and that elements are shared, not copied.
// A wrapper that is the only holder of its identity can get the same record again for a new identity, so the
// tests hold the old one while they compare.

namespace {

template <class Case> class WrapperIdentity : public WrapperTest<Case> {};
// One of each kind: identities do not depend on the type of the elements.
using IdentityCases = testing::Types<FixedArrayCase<double>, ArrayListCase<cow_String>, ListCase<int>>;
TYPED_TEST_SUITE(WrapperIdentity, IdentityCases);

} // namespace

TYPED_TEST(WrapperIdentity, CopyKeepsTheIdentityAndSharesTheElements) {
  auto const wrapper = this->MakeWrapper();
  AllocationProbe const probe;
  auto const copy(wrapper);
  EXPECT_EQ(copy.Uid().Entry(), wrapper.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(copy, wrapper));
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(WrapperIdentity, AssigningAWrapperKeepsItsIdentityAndSharesItsElements) {
  auto const source = this->MakeWrapper();
  auto target = this->MakeWrapper();
  target = source;
  EXPECT_EQ(target.Uid().Entry(), source.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(target, source));
}

TYPED_TEST(WrapperIdentity, AssigningAContainerGivesANewIdentityAndSharesTheElements) {
  auto wrapper = this->MakeWrapper();
  cls_Uid const before = wrapper.Uid();
  auto const source = TypeParam::Make({this->Values()[3]});
  AllocationProbe const probe;
  wrapper = source;
  EXPECT_NE(wrapper.Uid().Entry(), before.Entry());
  EXPECT_TRUE(TypeParam::Share(wrapper, source));
  EXPECT_EQ(this->Texts(wrapper), this->Texts(source));
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(WrapperIdentity, AssigningAContainerKeepsCopiesOfTheWrapper) {
  auto wrapper = this->MakeWrapper();
  auto const copy(wrapper);
  cls_Uid const before = wrapper.Uid();
  wrapper = TypeParam::Make({});
  EXPECT_EQ(copy.Uid().Entry(), before.Entry());
  EXPECT_EQ(this->Texts(copy), this->Texts(this->Values()));
  EXPECT_TRUE(this->Texts(wrapper).empty());
}

TYPED_TEST(WrapperIdentity, AssigningTheSameContainerTwiceGivesANewIdentityEachTime) {
  auto const source = TypeParam::Make(this->Values());
  auto wrapper = FromCow(source);
  cls_Uid const first = wrapper.Uid();
  wrapper = source;
  cls_Uid const second = wrapper.Uid();
  EXPECT_NE(first.Entry(), second.Entry());
}

TYPED_TEST(WrapperIdentity, AssigningItsOwnContainerChangesNothing) {
  auto wrapper = this->MakeWrapper();
  auto const copy(wrapper);
  wrapper = static_cast<typename TypeParam::Container const&>(wrapper);
  EXPECT_EQ(wrapper.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(wrapper, copy));
}

TYPED_TEST(WrapperIdentity, SelfAssignmentChangesNothing) {
  auto wrapper = this->MakeWrapper();
  auto const copy(wrapper);
  auto const& self = wrapper;
  wrapper = self;
  EXPECT_EQ(wrapper.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(wrapper, copy));
}

TYPED_TEST(WrapperIdentity, AssigningAnotherWrappersContainerGivesAThirdIdentity) {
  auto const source = this->MakeWrapper();
  auto wrapper = this->MakeWrapper();
  cls_Uid const before = wrapper.Uid();
  wrapper = static_cast<typename TypeParam::Container const&>(source);
  EXPECT_NE(wrapper.Uid().Entry(), before.Entry());
  EXPECT_NE(wrapper.Uid().Entry(), source.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(wrapper, source));
}

// A copy that shares the elements is still another container, so assigning it gives a new identity.
TYPED_TEST(WrapperIdentity, AssigningACopyOfItsOwnContainerGivesANewIdentity) {
  auto wrapper = this->MakeWrapper();
  cls_Uid const before = wrapper.Uid();
  typename TypeParam::Container const same(wrapper);
  wrapper = same;
  EXPECT_NE(wrapper.Uid().Entry(), before.Entry());
}

TYPED_TEST(WrapperIdentity, AssignmentReturnsTheWrapper) {
  auto wrapper = this->MakeWrapper();
  EXPECT_EQ(&(wrapper = TypeParam::Make({})), &wrapper);
}

TYPED_TEST(WrapperIdentity, ConversionSharesTheElementsUnderAFreshIdentity) {
  auto const source = TypeParam::Make(this->Values());
  AllocationProbe const probe;
  typename TypeParam::Wrapper const first = FromCow(source);
  typename TypeParam::Wrapper const second = FromCow(source);
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(first, source));
  EXPECT_TRUE(TypeParam::Share(second, source));
  EXPECT_EQ(probe.Count(), 0);
}

TYPED_TEST(WrapperIdentity, ConversionOfAnEmptyContainerIsEmpty) {
  auto const wrapper = FromCow(TypeParam::Make({}));
  EXPECT_TRUE(this->Texts(wrapper).empty());
}

TYPED_TEST(WrapperIdentity, ConversionOfAWrapperTakesItsElementsOnly) {
  auto const source = this->MakeWrapper();
  typename TypeParam::Wrapper const wrapper = FromCow(source);
  EXPECT_NE(wrapper.Uid().Entry(), source.Uid().Entry());
  EXPECT_TRUE(TypeParam::Share(wrapper, source));
}

TYPED_TEST(WrapperIdentity, DefaultWrappersAreEmptyAndHaveTheirOwnIdentities) {
  typename TypeParam::Wrapper const first;
  typename TypeParam::Wrapper const second;
  EXPECT_TRUE(this->Texts(first).empty());
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TYPED_TEST(WrapperIdentity, ChangingACopyKeepsTheOriginalAndBothIdentities) {
  auto const wrapper = this->MakeWrapper();
  auto copy(wrapper);
  TypeParam::Change(copy);
  EXPECT_EQ(this->Texts(wrapper), this->Texts(this->Values()));
  EXPECT_NE(this->Texts(copy), this->Texts(wrapper));
  EXPECT_EQ(copy.Uid().Entry(), wrapper.Uid().Entry());
}

TYPED_TEST(WrapperIdentity, ChangingAConvertedWrapperKeepsTheContainer) {
  auto const source = TypeParam::Make(this->Values());
  auto wrapper = FromCow(source);
  TypeParam::Change(wrapper);
  EXPECT_EQ(this->Texts(source), this->Texts(this->Values()));
}

TYPED_TEST(WrapperIdentity, MovedFromWrapperIsEmptyAndUsable) {
  auto wrapper = this->MakeWrapper();
  auto const moved(std::move(wrapper));
  EXPECT_EQ(this->Texts(moved), this->Texts(this->Values()));
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  wrapper.DBWrite(visitor); // NOLINT(bugprone-use-after-move)
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ListLines("write1", "listWriter1", {}));
  wrapper = TypeParam::Make(this->Values());
  EXPECT_EQ(this->Texts(wrapper), this->Texts(moved));
}

TYPED_TEST(WrapperIdentity, DestroyingAWrapperReleasesItsIdentity) {
  cls_Uid uid;
  {
    auto const wrapper = this->MakeWrapper();
    uid = wrapper.Uid();
    EXPECT_EQ(uid.Entry()->m_RefCount, 2U);
  }
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

TYPED_TEST(WrapperIdentity, OnlyArrayListsAreReadWithAnOwner) {
  using W = typename TypeParam::Wrapper;
  constexpr bool IsArrayList = std::is_base_of_v<cow_1DArrayList<typename TypeParam::Element>, W>;
  static_assert(std::is_constructible_v<W, cls_ReadVisitor const&, cls_Uid*> == IsArrayList);
  static_assert(std::is_constructible_v<W, cls_ReadVisitor const&> == !IsArrayList);
}

TEST(ArrayListOwner, IsCopiedWithTheWrapper) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp1DArrayListInt const list(cls_ReadVisitor(recorder.NewReader()), &owner);
  cls_xp1DArrayListInt const copy(list); // NOLINT(performance-unnecessary-copy-initialization)
  cls_xp1DArrayListInt assigned;
  assigned = list;
  EXPECT_EQ(copy.OwnerUid(), &owner);
  EXPECT_EQ(assigned.OwnerUid(), &owner);
}

TEST(ArrayListOwner, IsKeptWhenAContainerIsAssigned) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp1DArrayListInt list(cls_ReadVisitor(recorder.NewReader()), &owner);
  list = cow_1DArrayList<int>(3);
  EXPECT_EQ(list.OwnerUid(), &owner);
}

TEST(ArrayListOwner, IsNullAfterConversion) {
  EXPECT_EQ(cls_xp1DArrayListStringFromCow(cow_1DArrayList<cow_String>()).OwnerUid(), nullptr);
}

TEST(ArrayListOwner, IsNeitherOwnedNorCounted) {
  Recorder recorder;
  cls_Uid owner;
  { cls_xp1DArrayListInt const list(cls_ReadVisitor(recorder.NewReader()), &owner); }
  EXPECT_EQ(owner.Entry()->m_RefCount, 1U);
}

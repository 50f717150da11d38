#include <gtest/gtest.h>

#include <new>
#include <stdexcept>

#include "tests/support/AllocationProbe.h"
#include "tests/support/wrappers/WrapperCases.h"

// How each wrapper reads its elements.

namespace {

template <class Case> class WrapperRead : public WrapperTest<Case> {
 protected:
  using T = typename Case::Element;

  WrapperRead() { this->m_Recorder.Name(this->m_Recorder.m_Uid, "stored"); }

  /// The lines of a read, from the identity to the cursor's deletion.
  static Lines ReadLines(std::vector<T> const& values) {
    Lines lines{"read1.GetUid() = uid stored",
                "read1.MakeReadListPrim(tag " + ShownScalar(T()) + ") = listReader1"};
    if (Case::AsksCount) lines.push_back("listReader1.Count() = int " + std::to_string(values.size()));
    for (T const& value : values) {
      lines.push_back("listReader1.More() = int 1");
      lines.push_back("listReader1.Next() = " + ShownScalar(value));
    }
    lines.insert(lines.end(), {"listReader1.More() = int 0", "~listReader1"});
    return lines;
  }
};
TYPED_TEST_SUITE(WrapperRead, WrapperCases);

template <class Case> class CountedWrapperRead : public WrapperTest<Case> {};
using CountedCases =
    ::testing::Types<FixedArrayCase<double>, FixedArrayCase<int>, ArrayListCase<double>, ArrayListCase<float>,
                     ArrayListCase<int>, ArrayListCase<cow_String>, ArrayListCase<unsigned int>>;
TYPED_TEST_SUITE(CountedWrapperRead, CountedCases);

} // namespace

TYPED_TEST(WrapperRead, ReadsNothingWithoutAMemento) {
  EXPECT_TRUE(TypeParam::Elements(TypeParam::Read(cls_ReadVisitor(nullptr))).empty());
}

TYPED_TEST(WrapperRead, ReadsTheIdentityFirstAndTheElementsInOrder) {
  this->m_Recorder.StoreList(this->Values());
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  typename TypeParam::Wrapper const wrapper = TypeParam::Read(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ReadLines(this->Values()));
  EXPECT_EQ(this->Texts(wrapper), this->Texts(this->Values()));
  EXPECT_EQ(wrapper.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(WrapperRead, ReadsAnEmptyListAsAnEmptyWrapper) {
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  typename TypeParam::Wrapper const wrapper = TypeParam::Read(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ReadLines({}));
  EXPECT_TRUE(this->Texts(wrapper).empty());
  EXPECT_EQ(wrapper.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(WrapperRead, DeletesTheReaderWithoutAskingEvenWhenItIsKept) {
  this->m_Recorder.StoreList(this->Values());
  this->m_Recorder.Keep("listReader1");
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  TypeParam::Read(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ReadLines(this->Values()));
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"read1"}));
}

TYPED_TEST(WrapperRead, IgnoresTheRowWidth) {
  this->m_Recorder.StoreList(this->Values());
  this->m_Recorder.SetRowWidth(2);
  EXPECT_EQ(this->Texts(this->Read()), this->Texts(this->Values()));
}

TYPED_TEST(WrapperRead, KeepsEveryElementOfAReaderThatReturnsMoreThanItCounted) {
  this->m_Recorder.StoreList(this->Values());
  for (int count : {0, 1, 3}) {
    this->m_Recorder.SetCount(count);
    EXPECT_EQ(this->Texts(this->Read()), this->Texts(this->Values())) << "counted " << count;
  }
}

TYPED_TEST(WrapperRead, ReadsBackWhatAWrapperWrote) {
  // Keeps what it receives, as a store would.
  struct StoringList : RecordingListWriter<typename TypeParam::Element> {
    using RecordingListWriter<typename TypeParam::Element>::RecordingListWriter;
    void Append(typename TypeParam::Element const& element) override { m_Stored.push_back(element); }
    std::vector<typename TypeParam::Element> m_Stored;
  };
  struct StoringMemento : RecordingMementoWrite {
    using RecordingMementoWrite::MakeWriteListPrim;
    StoringMemento(Recorder& recorder, StoringList& list) : RecordingMementoWrite(recorder), m_List(list) {}
    cls_WriteListPrim<typename TypeParam::Element>* MakeWriteListPrim(typename TypeParam::Element const*,
                                                                      int) override {
      return &m_List;
    }
    StoringList& m_List;
  };
  this->m_Recorder.KeepAll();
  StoringList stored(this->m_Recorder);
  StoringMemento memento(this->m_Recorder, stored);
  typename TypeParam::Wrapper const written = this->MakeWrapper();
  written.DBWrite(cls_WriteVisitor(&memento));
  this->m_Recorder.StoreList(stored.m_Stored);
  EXPECT_EQ(this->Texts(this->Read()), this->Texts(written));
}

TYPED_TEST(WrapperRead, FailingStepPassesThroughAndLeaksNothing) {
  for (char const* operation : {"GetUid", "MakeReadListPrim", "Count", "More", "Next"}) {
    if (!TypeParam::AsksCount && std::string_view(operation) == "Count") continue;
    for (int nth : {1, 2}) {
      if (nth == 2 && std::string_view(operation) != "More" && std::string_view(operation) != "Next")
        continue;
      Recorder recorder;
      recorder.StoreList(this->Values());
      recorder.FailAt(operation, nth);
      {
        cls_ReadVisitor const visitor(recorder.NewReader());
        EXPECT_THROW(TypeParam::Read(visitor), BackEndFailure) << operation;
        EXPECT_EQ(recorder.Live(), Lines({"read1"})) << operation;
      }
      EXPECT_EQ(recorder.Live(), Lines()) << operation;
    }
  }
}

TYPED_TEST(WrapperRead, RunningOutOfMemoryLeaksNothing) {
  this->m_Recorder.StoreList(this->Values());
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  {
    AllocationProbe probe;
    probe.FailAt(1);
    EXPECT_THROW(TypeParam::Read(visitor), std::bad_alloc);
  }
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"read1"}));
}

TYPED_TEST(CountedWrapperRead, RefusesANegativeCountAndLeaksNothing) {
  this->m_Recorder.StoreList(this->Values());
  this->m_Recorder.SetCount(-1);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  EXPECT_THROW(TypeParam::Read(visitor), std::length_error);
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"read1"}));
}

TYPED_TEST(CountedWrapperRead, AllocatesTheStorageOnce) {
  this->m_Recorder.StoreList(this->Values());
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  AllocationProbe const probe;
  TypeParam::Read(visitor);
  EXPECT_EQ(probe.Count(), 1);
}

TEST(FixedArrayRead, ReaderThatReturnsLessThanItCountedLeavesZeros) {
  Recorder recorder;
  recorder.StoreList<int>({7, 8});
  recorder.SetCount(5);
  cls_xp1DArrayInt const array(cls_ReadVisitor(recorder.NewReader()));
  EXPECT_EQ(FixedArrayCase<int>::Elements(array), (std::vector<int>{7, 8, 0, 0, 0}));
}

TEST(ArrayListRead, FiveElementsGiveCountFiveAndStorageForFive) {
  Recorder recorder;
  recorder.StoreList<int>({1, 2, 3, 4, 5});
  cls_xp1DArrayListInt const list(cls_ReadVisitor(recorder.NewReader()), nullptr);
  EXPECT_EQ(list.Count(), 5);
  EXPECT_EQ(list.Storage().Length(), 5);
}

TEST(ArrayListRead, ReaderThatReturnsLessThanItCountedUsesWhatItReturned) {
  Recorder recorder;
  recorder.StoreList<unsigned int>({7, 8});
  recorder.SetCount(5);
  cls_xp1DArrayListUint const list(cls_ReadVisitor(recorder.NewReader()), nullptr);
  EXPECT_EQ(list.Count(), 2);
  EXPECT_EQ(list.Storage().Length(), 5);
}

TEST(ArrayListRead, KeepsTheOwnerPointer) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp1DArrayListFloat const list(cls_ReadVisitor(recorder.NewReader()), &owner);
  EXPECT_EQ(list.OwnerUid(), &owner);
  EXPECT_NE(list.Uid().Entry(), owner.Entry());
}

TEST(ListRead, CountOfTheReaderIsIgnored) {
  Recorder recorder;
  recorder.StoreList<int>({7, 8});
  recorder.SetCount(-3); // never read
  cls_xpListInt const list(cls_ReadVisitor(recorder.NewReader()));
  EXPECT_EQ(ListCase<int>::Elements(list), (std::vector<int>{7, 8}));
}

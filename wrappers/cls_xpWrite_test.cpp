#include <gtest/gtest.h>

#include <algorithm>

#include "tests/support/wrappers/WrapperCases.h"

// How each wrapper writes its elements.

namespace {

template <class Case> class WrapperWrite : public WrapperTest<Case> {
 protected:
  WrapperWrite() { this->m_Recorder.Name(m_Wrapper.Uid(), "W"); }

  std::string const m_Code = std::to_string(ElementCase<typename Case::Element>::Code);
  typename Case::Wrapper m_Wrapper = WrapperTest<Case>::MakeWrapper();
  cls_FieldHandle m_Field{4, "m_Values"_cow};
};
TYPED_TEST_SUITE(WrapperWrite, WrapperCases);

} // namespace

TYPED_TEST(WrapperWrite, WritesAFieldAsOneListInElementOrder) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Recorder.Name(&this->m_Wrapper, "O");
  this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, &this->m_Wrapper));
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Joined({{R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid W, O) = write2)",
                     "write1.CheckCollectionType(type " + this->m_Code + R"(, string "m_Values"))"},
                    this->ListLines("write2", "listWriter1", this->Values()),
                    {"write2.NeedsDeletion() = bool true", "~write2"}}));
}

TYPED_TEST(WrapperWrite, WritesThroughAStartedVisitorWithoutStartingIt) {
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ListLines("write1", "listWriter1", this->Values()));
}

TYPED_TEST(WrapperWrite, WritesNothingIfTheBackEndDeclinesTheObject) {
  this->m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines().size(), 2U); // the start and the check of the collection type
}

TYPED_TEST(WrapperWrite, WritesAnElementThroughItsRequest) {
  RecordingListObjWriter list(this->m_Recorder);
  cls_WriteRequestListObj const request(&list);
  this->m_Wrapper.DBWrite(cls_WriteVisitor(request, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Joined({{"listObjWriter1.MakeWriteObjWithPtr(uint 0x230001, uid W, null) = write1"},
                    this->ListLines("write1", "listWriter1", this->Values()),
                    {"write1.NeedsDeletion() = bool true", "~write1"}}));
}

TYPED_TEST(WrapperWrite, WritingTwiceThroughOneVisitorWritesTheElementsTwice) {
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(visitor);
  this->m_Wrapper.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), Joined({this->ListLines("write1", "listWriter1", this->Values()),
                                                  this->ListLines("write1", "listWriter2", this->Values())}));
}

TYPED_TEST(WrapperWrite, WritingTwiceInOnePassWritesTheElementsTwiceUnderOneIdentity) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  for (char const* made : {"write2", "write3"}) {
    this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
    Lines const lines = this->m_Recorder.TakeLines();
    EXPECT_EQ(lines.front(),
              std::string(R"(write1.MakeFieldWriteObj(field 4 "m_Values", uint 0x230001, uid W, null) = )") +
                  made);
    EXPECT_EQ(lines.size(), 7 + this->Values().size());
  }
}

TYPED_TEST(WrapperWrite, WritesAnEmptyWrapperAsAListWithoutEntries) {
  typename TypeParam::Wrapper const empty;
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  empty.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ListLines("write1", "listWriter1", {}));
}

TYPED_TEST(WrapperWrite, LeavesAListWriterThatTheBackEndKeeps) {
  this->m_Recorder.Keep("listWriter1");
  {
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    this->m_Wrapper.DBWrite(visitor);
    EXPECT_EQ(this->m_Recorder.Lines().back(), "listWriter1.NeedsDeletion() = bool false");
  }
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"listWriter1"}));
}

TYPED_TEST(WrapperWrite, WritingDoesNotChangeTheWrapper) {
  auto const copy = this->m_Wrapper;
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(visitor);
  EXPECT_TRUE(TypeParam::Share(copy, this->m_Wrapper));
  EXPECT_EQ(copy.Uid().Entry(), this->m_Wrapper.Uid().Entry());
}

// A failure at any step passes through, and everything that the back end made until then is deleted.

TYPED_TEST(WrapperWrite, FailingStepPassesThroughAndLeaksNothing) {
  struct Step {
    char const* m_Operation;
    int m_Nth;
    bool m_WriterMade;
  };
  for (Step const step :
       {Step{"MakeFieldWriteObj", 1, false}, Step{"CheckCollectionType", 1, false},
        Step{"MakeWriteListPrim", 1, false}, Step{"Append", 1, true}, Step{"Append", 3, true}}) {
    Recorder recorder;
    recorder.FailAt(step.m_Operation, step.m_Nth);
    {
      cls_WriteVisitor const parent(recorder.NewWriter());
      EXPECT_THROW(this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr)),
                   BackEndFailure)
          << step.m_Operation;
    }
    EXPECT_EQ(recorder.Live(), Lines()) << step.m_Operation;
    auto const deletions = std::ranges::count(recorder.Lines(), "~listWriter1");
    EXPECT_EQ(deletions, step.m_WriterMade ? 1 : 0) << step.m_Operation;
  }
}

TYPED_TEST(WrapperWrite, FailingAppendLeavesAKeptListWriter) {
  this->m_Recorder.Keep("listWriter1");
  this->m_Recorder.FailAt("Append", 2);
  {
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    EXPECT_THROW(this->m_Wrapper.DBWrite(visitor), BackEndFailure);
  }
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"listWriter1"}));
}

TEST(ArrayListWrite, WritesOnlyTheUsedElements) {
  Recorder recorder;
  cls_xp1DArrayListInt list(100);
  list.Append(5);
  cls_WriteVisitor const visitor(recorder.NewWriter());
  list.DBWrite(visitor);
  EXPECT_EQ(recorder.TakeLines(),
            Lines({"write1.MakeWriteListPrim(tag int 0, int 1) = listWriter1", "listWriter1.Append(int 5)",
                   "listWriter1.NeedsDeletion() = bool true", "~listWriter1"}));
}

TEST(ArrayListWrite, NeverWritesTheOwnersIdentity) {
  Recorder recorder;
  cls_Uid owner;
  cls_xp1DArrayListInt const list(cls_ReadVisitor(recorder.NewReader()), &owner);
  recorder.Name(list.Uid(), "W");
  recorder.Name(owner, "owner");
  recorder.TakeLines();
  cls_WriteVisitor const parent(recorder.NewWriter());
  list.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(0, "m_A"_cow), nullptr, nullptr));
  for (std::string const& line : recorder.Lines()) EXPECT_EQ(line.find("owner"), std::string::npos) << line;
}

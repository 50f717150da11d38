#include "tests/support/backend/ForwardingMemento.h"

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"

// Tests of the test classes that other tests rely on.

namespace {

struct RefusesBaseParts : ForwardingMementoWrite {
  using ForwardingMementoWrite::ForwardingMementoWrite;
  cls_MementoWrite* MakeBaseWriteObj(unsigned int, cls_Uid const&) override { return nullptr; }
};

class TestBackEnd : public ::testing::Test {
 protected:
  TestBackEnd() { m_Recorder.KeepAll(); }
  Recorder m_Recorder;
  cls_FieldHandle m_Field{1, "m_A"_cow};
};

} // namespace

TEST_F(TestBackEnd, ForwardingPassesArgumentsAndAnswers) {
  m_Recorder.Store("m_A", 7LL);
  RecordingMementoRead target(m_Recorder);
  ForwardingMementoRead memento(target);
  EXPECT_EQ(memento.Read(m_Field, 1LL), 7);
  EXPECT_EQ(&memento.GetUid(), &m_Recorder.m_Uid);
  EXPECT_NE(memento.MakeReadListPrim(static_cast<float*>(nullptr)), nullptr);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.Read(field 1 "m_A", longlong 1) = longlong 7)", "read1.GetUid() = uid ?",
                   "read1.MakeReadListPrim(tag null) = listReader1"}));
}

TEST_F(TestBackEnd, ForwardingKeepsSingleCallsToItself) {
  RecordingMementoWrite target(m_Recorder);
  RefusesBaseParts memento(target);
  EXPECT_EQ(memento.MakeBaseWriteObj(1, cls_Uid()), nullptr);
  memento.StartSharedPtrOutput();
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"write1.StartSharedPtrOutput()"}));
}

TEST_F(TestBackEnd, FailsAtTheCallThatWasAskedFor) {
  m_Recorder.FailAt("Write", 2);
  RecordingMementoWrite memento(m_Recorder);
  memento.Write(m_Field, 1);
  EXPECT_THROW(memento.Write(m_Field, 1.5F), BackEndFailure);
  memento.Write(m_Field, true);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.Write(field 1 "m_A", int 1))", R"(write1.Write(field 1 "m_A", float 1.5))",
                   R"(write1.Write(field 1 "m_A", bool true))"}));
}

TEST_F(TestBackEnd, CountsLiveObjects) {
  auto* const memento = new RecordingMementoWrite(m_Recorder);
  RecordingListWriter<int> const list(m_Recorder);
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "listWriter1"}));
  delete memento;
  EXPECT_EQ(m_Recorder.Live(), Lines({"listWriter1"}));
  EXPECT_EQ(m_Recorder.Made(), 2);
}

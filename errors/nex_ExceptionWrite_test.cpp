#include <gtest/gtest.h>

#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/ExceptionCases.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

class ExceptionWrite : public ::testing::Test {
 protected:
  /// The calls of writing an exception that was raised at line 46 of nex_Place.
  template <class Exception> Lines Written(Exception exception) {
    m_Recorder.Name(exception.RootUid(), "Root");
    m_Recorder.Name(exception.Uid(), "Own");
    try {
      exception.Throw("nex_Place", 46);
    } catch (nex_Exception const& thrown) {
      cls_WriteVisitor const visitor(m_Recorder.NewWriter());
      thrown.DBWrite(visitor);
      return m_Recorder.TakeLines();
    }
  }

  /// The calls of writing the root part, which comes first in every class, then the class's own calls.
  static Lines AfterRoot(Lines const& own) {
    Lines lines = {"write1.MakeBaseWriteObj(uint 0x1f0001, uid Root) = write2",
                   R"(write2.Write(field 0 "m_FromFile", string "nex_Place"))",
                   R"(write2.Write(field 1 "m_FromLine", int 46))", "write2.NeedsDeletion() = bool true",
                   "~write2"};
    lines.insert(lines.end(), own.begin(), own.end());
    return lines;
  }

  static std::string Quoted(std::string_view text) { return '"' + std::string(text) + '"'; }

  InitialisedModule m_Module; // must outlive all identities below
  Recorder m_Recorder;
};

template <class Exception> class EachWritten : public ExceptionWrite {};
TYPED_TEST_SUITE(EachWritten, ThrownExceptions);

/// The class level under which an exception writes itself.
template <class Exception> std::string LevelOf() {
  return ShownUnsigned(Exception::TypeId());
}

} // namespace

TEST_F(ExceptionWrite, TextExceptionWritesItsMessage) {
  EXPECT_EQ(Written(nex_TextException(atr_String("text"))),
            AfterRoot({R"(write1.Write(field 0 "m_Value", string "text"))"}));
}

TEST_F(ExceptionWrite, BadCastExceptionWritesItsMessage) {
  EXPECT_EQ(Written(nex_BadCastException(atr_String("cast"))),
            AfterRoot({R"(write1.Write(field 0 "m_Value", string "cast"))"}));
}

TEST_F(ExceptionWrite, InvalidObjExceptionWritesItsMessage) {
  EXPECT_EQ(Written(nex_InvalidObjException(atr_String("object"))),
            AfterRoot({R"(write1.Write(field 0 "m_Value", string "object"))"}));
}

TEST_F(ExceptionWrite, AssertExceptionWritesItsText) {
  EXPECT_EQ(Written(nex_AssertException(cow_String("a < b"))),
            AfterRoot({R"(write1.Write(field 0 "m_Value", string "a < b"))"}));
}

TEST_F(ExceptionWrite, ExitExceptionWritesMessageAndCodeByNameOnly) {
  EXPECT_EQ(Written(nex_ExitException(nex_ExitStatus{atr_String("bye"), 3})),
            AfterRoot({R"(write1.Write(field -1 "m_Value.m_Msg", string "bye"))",
                       R"(write1.Write(field -1 "m_Value.m_Err", int 3))"}));
}

TEST_F(ExceptionWrite, ExitExceptionWithoutMessageWritesEmptyText) {
  EXPECT_EQ(Written(nex_ExitException(nex_ExitStatus{atr_String(), -3})),
            AfterRoot({R"(write1.Write(field -1 "m_Value.m_Msg", string ""))",
                       R"(write1.Write(field -1 "m_Value.m_Err", int -3))"}));
}

TEST_F(ExceptionWrite, SystemErrorExceptionWritesBothCodesUnsigned) {
  EXPECT_EQ(Written(nex_SystemErrorException(cow_SystemErrorCode(2, 13))),
            AfterRoot({R"(write1.Write(field -1 "m_Value.m_NativeErrorCode", uint 2))",
                       R"(write1.Write(field -1 "m_Value.m_CRTErrorCode", uint 13))"}));
}

TEST_F(ExceptionWrite, NegativeRuntimeCodeIsWrittenAsItsBits) {
  EXPECT_EQ(Written(nex_SystemErrorException(cow_SystemErrorCode(0, -1))),
            AfterRoot({R"(write1.Write(field -1 "m_Value.m_NativeErrorCode", uint 0))",
                       R"(write1.Write(field -1 "m_Value.m_CRTErrorCode", uint 0xffffffff))"}));
}

TEST_F(ExceptionWrite, OutOfMemoryExceptionWritesTheDetailedMessageAndTheEnumeration) {
  nex_OutOfMemoryException const exception(atr_String("X"), NEX_OUTOFMEMORY_LIMIT);
  std::string const detailed(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().View());
  ASSERT_EQ(detailed.size(), 1067U);
  EXPECT_EQ(Written(exception), AfterRoot({"write1.Write(field 0 \"m_Msg\", string " + Quoted(detailed) + ")",
                                           R"(write1.WriteEnum(field 1 "m_Err", int 1))"}));
}

TEST_F(ExceptionWrite, WritingAnOutOfMemoryExceptionGivesItTheDetailedMessage) {
  nex_OutOfMemoryException const exception(atr_String("X"), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(exception.Message(), "X");
  {
    cls_WriteVisitor const visitor(m_Recorder.NewWriter());
    exception.DBWrite(visitor);
  }
  EXPECT_EQ(exception.Message(), nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage());
}

TEST_F(ExceptionWrite, RefusedOutOfMemoryExceptionGetsTheDetailedMessageToo) {
  m_Recorder.DeclineObjects();
  nex_OutOfMemoryException const exception(atr_String("X"), NEX_OUTOFMEMORY_LIMIT);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  exception.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle("m_Error"_cow), nullptr, nullptr));
  EXPECT_EQ(exception.Message(), nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage());
}

TEST_F(ExceptionWrite, CommandExceptionWritesOnlyTheRootPart) {
  EXPECT_EQ(Written(FailedCommand("Mesh", "no elements")), AfterRoot({}));
}

TEST_F(ExceptionWrite, ExceptionThatWasNeverThrownWritesAnEmptyPlace) {
  nex_TextException const exception(atr_String("text"));
  m_Recorder.Name(exception.RootUid(), "Root");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  exception.DBWrite(visitor);
  Lines const lines = m_Recorder.TakeLines();
  ASSERT_GE(lines.size(), 3U);
  EXPECT_EQ(lines[1].substr(0, 37), R"(write2.Write(field 0 "m_FromFile", st)");
  EXPECT_EQ(lines[2], R"(write2.Write(field 1 "m_FromLine", int 0))");
}

TYPED_TEST(EachWritten, StartsItsOwnLevelWithItsOwnIdentity) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  this->m_Recorder.Name(exception.RootUid(), "Root");
  this->m_Recorder.Name(exception.Uid(), "Own");
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  exception.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Error"_cow), nullptr, nullptr));
  Lines const lines = this->m_Recorder.TakeLines();
  ASSERT_GE(lines.size(), 2U);
  EXPECT_EQ(lines[0], "write1.MakeFieldWriteObj(field 4 \"m_Error\", uint " + LevelOf<TypeParam>() +
                          ", uid Own, null) = write2");
  EXPECT_EQ(lines[1], "write2.MakeBaseWriteObj(uint 0x1f0001, uid Root) = write3");
}

TYPED_TEST(EachWritten, RefusedLevelWritesNeitherItsFieldsNorTheRoots) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  this->m_Recorder.Name(exception.Uid(), "Own");
  this->m_Recorder.DeclineObjects();
  {
    cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
    exception.DBWrite(cls_WriteVisitor(parent, cls_FieldHandle(4, "m_Error"_cow), nullptr, nullptr));
    EXPECT_EQ(this->m_Recorder.TakeLines(), Lines{"write1.MakeFieldWriteObj(field 4 \"m_Error\", uint " +
                                                  LevelOf<TypeParam>() + ", uid Own, null) = null"});
  }
}

TYPED_TEST(EachWritten, RefusedRootPartStillWritesTheOwnFields) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  this->m_Recorder.Name(exception.RootUid(), "Root");
  Lines whole;
  {
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    exception.DBWrite(visitor);
    whole = this->m_Recorder.TakeLines();
  }
  this->m_Recorder.TakeLines();
  this->m_Recorder.DeclineObjects();
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter()); // the third memento
  exception.DBWrite(visitor);
  // All the calls without the root's two fields and the deletion of its memento.
  whole.erase(whole.begin() + 1, whole.begin() + 5);
  for (std::string& line : whole) line.replace(0, 6, "write3");
  whole[0] = "write3.MakeBaseWriteObj(uint 0x1f0001, uid Root) = null";
  EXPECT_EQ(this->m_Recorder.TakeLines(), whole);
}

TYPED_TEST(EachWritten, BackEndFailurePassesThroughAndLeaksNothing) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  for (char const* operation : {"MakeBaseWriteObj", "Write"}) {
    this->m_Recorder.FailAt(operation);
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    EXPECT_THROW(exception.DBWrite(visitor), BackEndFailure);
    EXPECT_EQ(this->m_Recorder.Live().size(), 1U); // the visitor's own memento
  }
  EXPECT_EQ(exception.RootUid().Entry()->m_RefCount, 1U);
}

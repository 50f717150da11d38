#include <gtest/gtest.h>

#include "persist/visitors/cls_ReadVisitor.h"
#include "tests/support/ExceptionCases.h"
#include "tests/support/InitialisedModule.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

class ExceptionRead : public ::testing::Test {
 protected:
  ExceptionRead() { m_Recorder.Name(m_Recorder.m_Uid, "U"); }

  template <class Exception> Exception Read() {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    return Exception(visitor);
  }

  /// The calls of a read, without the deletion of the object's own memento.
  template <class Exception> Lines ReadLines() {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    Exception const exception(visitor);
    return m_Recorder.TakeLines();
  }

  /// The calls of reading an absent root part, which comes first in every class, then the class's own calls.
  static Lines AfterRoot(Lines const& own) {
    Lines lines = {"read1.Clone() = read2",
                   R"(read2.Read(field 0 "m_FromFile", string "") = string "")",
                   R"(read2.Read(field 1 "m_FromLine", int 0) = int 0)",
                   "read2.GetUid() = uid U",
                   "read2.NeedsDeletion() = bool true",
                   "~read2"};
    lines.insert(lines.end(), own.begin(), own.end());
    return lines;
  }

  InitialisedModule m_Module; // must outlive all identities below
  Recorder m_Recorder;
};

template <class Exception> class EachRead : public ExceptionRead {};
TYPED_TEST_SUITE(EachRead, ThrownExceptions);

/// The calls of reading a class whose one field is a text.
Lines const TextLines{R"(read1.Read(field 0 "m_Value", string "") = string "")", "read1.GetUid() = uid U"};

} // namespace

TEST_F(ExceptionRead, TextExceptionReadsItsMessageThenItsIdentity) {
  EXPECT_EQ(ReadLines<nex_TextException>(), AfterRoot(TextLines));
}

TEST_F(ExceptionRead, BadCastExceptionReadsItsMessageThenItsIdentity) {
  EXPECT_EQ(ReadLines<nex_BadCastException>(), AfterRoot(TextLines));
}

TEST_F(ExceptionRead, InvalidObjExceptionReadsItsMessageThenItsIdentity) {
  EXPECT_EQ(ReadLines<nex_InvalidObjException>(), AfterRoot(TextLines));
}

TEST_F(ExceptionRead, AssertExceptionReadsItsTextThenItsIdentity) {
  EXPECT_EQ(ReadLines<nex_AssertException>(), AfterRoot(TextLines));
}

TEST_F(ExceptionRead, CommandExceptionReadsOnlyItsIdentity) {
  EXPECT_EQ(ReadLines<FailedCommand>(), AfterRoot({"read1.GetUid() = uid U"}));
}

TEST_F(ExceptionRead, ExitExceptionReadsItsIdentityBeforeItsFields) {
  EXPECT_EQ(
      ReadLines<nex_ExitException>(),
      AfterRoot({"read1.GetUid() = uid U", R"(read1.Read(field -1 "m_Value.m_Msg", string "") = string "")",
                 R"(read1.Read(field -1 "m_Value.m_Err", int 0) = int 0)"}));
}

TEST_F(ExceptionRead, SystemErrorExceptionReadsItsIdentityFirstAndTheRuntimeCodeSigned) {
  EXPECT_EQ(ReadLines<nex_SystemErrorException>(),
            AfterRoot({"read1.GetUid() = uid U",
                       R"(read1.Read(field -1 "m_Value.m_NativeErrorCode", uint 0) = uint 0)",
                       R"(read1.Read(field -1 "m_Value.m_CRTErrorCode", int 0) = int 0)"}));
}

TEST_F(ExceptionRead, OutOfMemoryExceptionReadsItsFieldsThenItsIdentity) {
  EXPECT_EQ(ReadLines<nex_OutOfMemoryException>(),
            AfterRoot({R"(read1.Read(field 0 "m_Msg", string "") = string "")",
                       R"(read1.ReadEnum(field 1 "m_Err") = int 0)", "read1.GetUid() = uid U"}));
}

TYPED_TEST(EachRead, ReadsThePlaceFromTheRootPart) {
  this->m_Recorder.Store("read2.m_FromFile", "nex_Place");
  this->m_Recorder.Store("read2.m_FromLine", 46);
  TypeParam const exception = this->template Read<TypeParam>();
  EXPECT_EQ(exception.FromFile(), "nex_Place");
  EXPECT_EQ(exception.FromLine(), 46);
}

TYPED_TEST(EachRead, ReadsNoPlaceFromTheOwnPart) {
  this->m_Recorder.Store("read1.m_FromFile", "nex_Place");
  this->m_Recorder.Store("read1.m_FromLine", 46);
  TypeParam const exception = this->template Read<TypeParam>();
  EXPECT_EQ(exception.FromFile(), "");
  EXPECT_TRUE(exception.FromFile().HasText());
  EXPECT_EQ(exception.FromLine(), 0);
}

TYPED_TEST(EachRead, ReadsTheIdentitiesOfTheStoredParts) {
  TypeParam const exception = this->template Read<TypeParam>();
  EXPECT_EQ(exception.RootUid().Entry(), this->m_Recorder.m_Uid.Entry());
  EXPECT_EQ(exception.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(EachRead, BackEndFailurePassesThroughAndLeaksNothing) {
  for (char const* operation : {"Clone", "Read", "GetUid"}) {
    this->m_Recorder.FailAt(operation);
    EXPECT_THROW(this->template Read<TypeParam>(), BackEndFailure);
    EXPECT_EQ(this->m_Recorder.Live(), Lines());
  }
  EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 1U);
}

TYPED_TEST(EachRead, WithoutMementoIsEmptyWithFreshIdentities) {
  cls_ReadVisitor const visitor(static_cast<cls_MementoRead*>(nullptr));
  TypeParam const exception(visitor);
  EXPECT_EQ(exception.FromFile(), "");
  EXPECT_EQ(exception.FromLine(), 0);
  EXPECT_NE(exception.RootUid().Entry(), exception.Uid().Entry());
}

TEST_F(ExceptionRead, StoredMessagesAreReadBackVerbatim) {
  m_Recorder.Store("m_Value", "100%% of %s");
  EXPECT_EQ(Read<nex_TextException>().Value(), "100%% of %s");
  EXPECT_EQ(Read<nex_BadCastException>().Value(), "100%% of %s");
  EXPECT_EQ(Read<nex_InvalidObjException>().Value(), "100%% of %s");
  EXPECT_EQ(Read<nex_AssertException>().Value(), "100%% of %s");
}

TEST_F(ExceptionRead, AbsentMessageIsReadAsEmptyText) {
  nex_TextException const exception = Read<nex_TextException>();
  EXPECT_EQ(exception.Value(), "");
  EXPECT_EQ(exception.FromFile(), "");
  EXPECT_EQ(exception.FromLine(), 0);
  EXPECT_EQ(exception.DeveloperReport(), "Exception:  in file  at line 0");
  EXPECT_TRUE(Read<nex_AssertException>().Value().HasText());
}

TEST_F(ExceptionRead, ExitStatusIsReadBack) {
  m_Recorder.Store("m_Value.m_Msg", "bye");
  m_Recorder.Store("m_Value.m_Err", -3);
  nex_ExitException const exception = Read<nex_ExitException>();
  EXPECT_EQ(exception.Value().m_Msg, "bye");
  EXPECT_EQ(exception.Value().m_Err, -3);
}

TEST_F(ExceptionRead, AbsentExitStatusIsReadAsCodeZero) {
  EXPECT_EQ(Read<nex_ExitException>().AsString(), "Exit code: 0");
}

TEST_F(ExceptionRead, SystemErrorCodesAreReadBack) {
  m_Recorder.Store("m_Value.m_NativeErrorCode", 0xFFFFFFFFU);
  m_Recorder.Store("m_Value.m_CRTErrorCode", -1);
  nex_SystemErrorException const exception = Read<nex_SystemErrorException>();
  EXPECT_EQ(exception.Value().m_NativeErrorCode, 0xFFFFFFFFU);
  EXPECT_EQ(exception.Value().m_CRTErrorCode, -1);
}

TEST_F(ExceptionRead, OutOfMemoryExceptionReplacesOnlyTheDetailedMessage) {
  std::string const generic(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->View());
  m_Recorder.Store("m_Msg", "as it was stored");
  m_Recorder.Store("m_Err", 1);
  nex_OutOfMemoryException const exception = Read<nex_OutOfMemoryException>();
  EXPECT_EQ(exception.Message(), "as it was stored");
  EXPECT_EQ(exception.Error(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage(), "as it was stored");
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).AsString(), "as it was stored");
  EXPECT_EQ(*nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), generic);
}

TEST_F(ExceptionRead, OutOfMemoryExceptionWithoutMessageEmptiesTheDetailedMessage) {
  Read<nex_OutOfMemoryException>();
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage(), "");
}

TEST_F(ExceptionRead, FailedReadOfAnOutOfMemoryExceptionKeepsTheDetailedMessage) {
  m_Recorder.Store("m_Msg", "never seen");
  m_Recorder.FailAt("ReadEnum");
  EXPECT_THROW(Read<nex_OutOfMemoryException>(), BackEndFailure);
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().Length(), 1066);
}

TEST_F(ExceptionRead, OtherExceptionsKeepTheMessages) {
  m_Recorder.Store("m_Value", "text");
  Read<nex_TextException>();
  Read<nex_ExitException>();
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().Length(), 1066);
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->Length(), 425);
}

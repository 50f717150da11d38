#include <gtest/gtest.h>

#include <array>
#include <optional>
#include <string_view>
#include <type_traits>
#include <utility>

#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

class Blob : public ::testing::Test {
 protected:
  Blob() {
    m_Recorder.Name(m_Uid, "U");
    m_Recorder.Name(m_Recorder.m_Uid, "stored");
  }

  Recorder m_Recorder;
  cls_Uid m_Uid;
  cls_FieldHandle m_Field{3, "m_Image"_cow};
};

using BlobWriter = Blob;
using BlobReader = Blob;

} // namespace

TEST_F(BlobWriter, ClassOfBlobsIsFixed) {
  static_assert(cls_BlobWriter::TypeId() == 0x230005);
}

TEST_F(BlobWriter, OpensTheAgentAndDeletesTheChildMementoAtOnce) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  cls_BlobWriter const writer(visitor, m_Field, m_Uid);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObjCow(field 3 "m_Image", uint 0x230005, uid U, null) = write2)",
                   "write2.MakeAgentBlob() = blobAgent1", "write2.NeedsDeletion() = bool true", "~write2"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "blobAgent1"}));
}

TEST_F(BlobWriter, LeavesAChildMementoThatTheBackEndKeeps) {
  m_Recorder.Keep("write2");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  { cls_BlobWriter const writer(visitor, m_Field, m_Uid); }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(write1.MakeFieldWriteObjCow(field 3 "m_Image", uint 0x230005, uid U, null) = write2)",
                   "write2.MakeAgentBlob() = blobAgent1", "write2.NeedsDeletion() = bool false",
                   "blobAgent1.NeedsDeletion() = bool true", "~blobAgent1"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "write2"}));
}

TEST_F(BlobWriter, DestructorDeletesAnAgentThatNeedsIt) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  {
    cls_BlobWriter const writer(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.NeedsDeletion() = bool true", "~blobAgent1"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(BlobWriter, DestructorLeavesAnAgentThatTheBackEndKeeps) {
  m_Recorder.Keep("blobAgent1");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  {
    cls_BlobWriter const writer(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.NeedsDeletion() = bool false"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "blobAgent1"}));
}

TEST_F(BlobWriter, AsksTheAgentInTheDestructor) {
  m_Recorder.Keep("blobAgent1");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  {
    cls_BlobWriter const writer(visitor, m_Field, m_Uid);
    m_Recorder.Give("blobAgent1");
  }
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(BlobWriter, WritesIntoAStartedFieldOfTheVisitor) {
  int object = 0;
  cls_FieldHandle const part(1, "m_Part"_cow);
  cls_WriteVisitor const parent(m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, part, nullptr, &object);
  visitor.StartWrite(0x1F0001, cls_Uid());
  m_Recorder.TakeLines();
  cls_BlobWriter const writer(visitor, m_Field, m_Uid);
  EXPECT_EQ(m_Recorder.Lines().front(),
            R"(write2.MakeFieldWriteObjCow(field 3 "m_Image", uint 0x230005, uid U, null) = write3)");
}

TEST_F(BlobWriter, AgentMovesThePayloadAfterTheChildMementoIsGone) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  cls_BlobWriter const writer(visitor, m_Field, m_Uid);
  m_Recorder.TakeLines();
  constexpr std::string_view Payload = "payload";
  writer.Agent().Write(0, static_cast<long long>(Payload.size()), Payload.data());
  std::array<char, 7> read{};
  EXPECT_EQ(writer.Agent().Read(0, 7, read.data()), 7);
  EXPECT_EQ(std::string_view(read.data(), read.size()), Payload);
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.Write(longlong 0, longlong 7)",
                                           "blobAgent1.Read(longlong 0, longlong 7) = longlong 7"}));
}

TEST_F(BlobWriter, TwoBlobsAreOpenAtOnce) {
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  std::optional<cls_BlobWriter> first(std::in_place, visitor, m_Field, m_Uid);
  cls_BlobWriter const second(visitor, cls_FieldHandle(4, "m_Sound"_cow), cls_Uid());
  EXPECT_NE(&first->Agent(), &second.Agent());
  first.reset();
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "blobAgent2"}));
}

TEST_F(BlobWriter, WritingKeepsTheIdentity) {
  cls_UidCatalogEntry const* const entry = m_Uid.Entry();
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  { cls_BlobWriter const writer(visitor, m_Field, m_Uid); }
  EXPECT_EQ(m_Uid.Entry(), entry);
  EXPECT_EQ(entry->m_RefCount, 1U);
}

TEST_F(BlobWriter, BackEndFailurePassesThrough) {
  m_Recorder.FailAt("MakeFieldWriteObjCow");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  EXPECT_THROW(cls_BlobWriter(visitor, m_Field, m_Uid), BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(BlobWriter, FailureToOpenTheAgentPassesThroughAndLeavesNoMemento) {
  m_Recorder.FailAt("MakeAgentBlob");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  EXPECT_THROW(cls_BlobWriter(visitor, m_Field, m_Uid), BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1"}));
}

TEST_F(BlobWriter, FailureToOpenTheAgentKeepsAMementoOfTheBackEnd) {
  m_Recorder.FailAt("MakeAgentBlob");
  m_Recorder.Keep("write2");
  cls_WriteVisitor const visitor(m_Recorder.NewWriter());
  EXPECT_THROW(cls_BlobWriter(visitor, m_Field, m_Uid), BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines({"write1", "write2"}));
}

TEST_F(BlobReader, OpensTheAgentThenTakesTheIdentity) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  cls_BlobReader const reader(visitor, m_Field, m_Uid);
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({R"(read1.MakeFieldReadObj(field 3 "m_Image") = read2)",
                   "read2.MakeAgentBlob() = blobAgent1", "read2.GetUid() = uid stored"}));
  EXPECT_EQ(m_Uid.Entry(), m_Recorder.m_Uid.Entry());
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1", "read2", "blobAgent1"}));
}

TEST_F(BlobReader, IdentityOutlivesTheReader) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  { cls_BlobReader const reader(visitor, m_Field, m_Uid); }
  EXPECT_EQ(m_Uid.Entry(), m_Recorder.m_Uid.Entry());
  EXPECT_EQ(m_Uid.Entry()->m_RefCount, 2U);
}

TEST_F(BlobReader, DestructorDeletesTheAgentThenTheMemento) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  {
    cls_BlobReader const reader(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.NeedsDeletion() = bool true", "~blobAgent1",
                                           "read2.NeedsDeletion() = bool true", "~read2"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(BlobReader, DestructorLeavesAnAgentThatTheBackEndKeeps) {
  m_Recorder.Keep("blobAgent1");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  {
    cls_BlobReader const reader(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.NeedsDeletion() = bool false",
                                           "read2.NeedsDeletion() = bool true", "~read2"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1", "blobAgent1"}));
}

TEST_F(BlobReader, DestructorLeavesAMementoThatTheBackEndKeeps) {
  m_Recorder.Keep("read2");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  {
    cls_BlobReader const reader(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.NeedsDeletion() = bool true", "~blobAgent1",
                                           "read2.NeedsDeletion() = bool false"}));
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1", "read2"}));
}

TEST_F(BlobReader, DestructorLeavesBothWhenTheBackEndKeepsThem) {
  m_Recorder.KeepAll();
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  {
    cls_BlobReader const reader(visitor, m_Field, m_Uid);
    m_Recorder.TakeLines();
  }
  EXPECT_EQ(m_Recorder.TakeLines(),
            Lines({"blobAgent1.NeedsDeletion() = bool false", "read2.NeedsDeletion() = bool false"}));
}

TEST_F(BlobReader, AgentMovesThePayload) {
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  cls_BlobReader const reader(visitor, m_Field, m_Uid);
  m_Recorder.TakeLines();
  EXPECT_EQ(reader.Agent().Size(), 0);
  char byte = 'x';
  EXPECT_EQ(reader.Agent().Read(0, 1, &byte), 0);
  EXPECT_EQ(byte, 'x');
  EXPECT_EQ(m_Recorder.TakeLines(), Lines({"blobAgent1.Size() = longlong 0",
                                           "blobAgent1.Read(longlong 0, longlong 1) = longlong 0"}));
}

TEST_F(BlobReader, BackEndFailurePassesThroughAndKeepsTheIdentity) {
  m_Recorder.FailAt("MakeFieldReadObj");
  cls_UidCatalogEntry const* const entry = m_Uid.Entry();
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_THROW(cls_BlobReader(visitor, m_Field, m_Uid), BackEndFailure);
  EXPECT_EQ(m_Uid.Entry(), entry);
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1"}));
}

TEST_F(BlobReader, FailureAfterTheMementoIsMadePassesThroughAndLeavesNothing) {
  cls_UidCatalogEntry const* const entry = m_Uid.Entry();
  for (char const* const operation : {"MakeAgentBlob", "GetUid"}) {
    Recorder recorder;
    recorder.FailAt(operation);
    cls_ReadVisitor const visitor(recorder.NewReader());
    EXPECT_THROW(cls_BlobReader(visitor, m_Field, m_Uid), BackEndFailure) << operation;
    EXPECT_EQ(recorder.Live(), Lines({"read1"})) << operation;
    EXPECT_EQ(m_Uid.Entry(), entry) << operation;
  }
}

TEST_F(BlobReader, FailureAfterTheMementoIsMadeKeepsObjectsOfTheBackEnd) {
  m_Recorder.KeepAll();
  m_Recorder.FailAt("GetUid");
  cls_ReadVisitor const visitor(m_Recorder.NewReader());
  EXPECT_THROW(cls_BlobReader(visitor, m_Field, m_Uid), BackEndFailure);
  EXPECT_EQ(m_Recorder.Live(), Lines({"read1", "read2", "blobAgent1"}));
}

TEST_F(Blob, ReaderAndWriterAreNotCopied) {
  static_assert(!std::is_copy_constructible_v<cls_BlobReader> && !std::is_copy_assignable_v<cls_BlobReader>);
  static_assert(!std::is_copy_constructible_v<cls_BlobWriter> && !std::is_copy_assignable_v<cls_BlobWriter>);
}

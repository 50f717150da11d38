#include <array>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/contract/ContractTest.h"

// Blobs: runs of bytes behind an agent.

namespace {

CONTRACT_SUITE(ContractBlobs);

using Content = std::vector<unsigned char>;

Content Pattern(std::size_t size) {
  Content content(size);
  for (std::size_t i = 0; i < size; ++i) content[i] = static_cast<unsigned char>(i * 131 + i / 251);
  return content;
}

void Put(cls_AgentBlob& blob, long long offset, Content const& content) {
  blob.Write(offset, static_cast<long long>(content.size()), content.data());
}

Content AllOf(cls_AgentBlob& blob) {
  long long const size = blob.Size();
  if (size < 0 || size > 1'000'000) throw std::runtime_error("the blob's size is " + std::to_string(size));
  Content content(static_cast<std::size_t>(size) + 5, 0xEE);
  content.resize(
      static_cast<std::size_t>(blob.Read(0, static_cast<long long>(content.size()), content.data())));
  return content;
}

void WriteBlob(cls_WriteVisitor const& visitor, Content const& content) {
  cls_BlobWriter const writer(visitor, FieldOf("Blob"), cls_Uid());
  Put(writer.Agent(), 0, content);
  writer.Agent().EndFlush();
}

/// The blob of the object, for a scope.
class StoredBlob {
 public:
  explicit StoredBlob(cls_ReadVisitor const& visitor) : m_Reader(visitor, FieldOf("Blob"), m_Uid) {}
  cls_AgentBlob* operator->() const { return &m_Reader.Agent(); }
  cls_AgentBlob& operator*() const { return m_Reader.Agent(); }
  cls_Uid m_Uid;

 private:
  cls_BlobReader m_Reader;
};

std::unique_ptr<StoredBlob> OpenBlob(cls_ReadVisitor const& visitor) {
  return std::make_unique<StoredBlob>(visitor);
}

TEST_P(ContractBlobs, BlobsOfManySizesComeBack) {
  COVERS(cls_MementoWrite, 4, 53);
  COVERS(cls_MementoRead, 7, 57);
  COVERS(cls_AgentBlob, 0, 1, 2, 3, 6, 11);
  for (std::size_t const size : {0, 1, 4096, 16383, 16384, 16385, 300'000}) {
    Write([=](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Pattern(size)); });
    Read([=](cls_ReadVisitor const& visitor) {
      auto const opened = OpenBlob(visitor);
      StoredBlob const& blob = *opened;
      EXPECT_EQ(blob->Size(), static_cast<long long>(size));
      EXPECT_EQ(AllOf(*blob), Pattern(size));
      EXPECT_EQ(Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Blob")))->ClassId(), cls_BlobTypeId);
    });
  }
}

TEST_P(ContractBlobs, ABlobHasTheIdentityThatItWasMadeWith) {
  COVERS(cls_MementoWrite, 4);
  COVERS(cls_MementoRead, 3);
  cls_Uid const uid;
  Save(Session(), Scripted([&](cls_WriteVisitor const& visitor) {
         cls_BlobWriter const writer(visitor, FieldOf("Blob"), uid);
       }));
  EXPECT_EQ(Take(OpenBlob)->m_Uid.Entry(), uid.Entry());
}

TEST_P(ContractBlobs, APieceIsReadFromAnyOffset) {
  COVERS(cls_AgentBlob, 2);
  Content const content = Pattern(100'000);
  Write([&](cls_WriteVisitor const& visitor) { WriteBlob(visitor, content); });
  {
    auto const opened = Take(OpenBlob);
    StoredBlob const& blob = *opened;
    for (long long const offset : {0LL, 1LL, 16380LL, 50'000LL, 99'990LL}) {
      Content piece(10);
      EXPECT_EQ(blob->Read(offset, 10, piece.data()), 10);
      EXPECT_TRUE(std::equal(piece.begin(), piece.end(), content.begin() + offset)) << offset;
    }
    Content beyond(10, 0xEE);
    EXPECT_EQ(blob->Read(99'996, 10, beyond.data()), 4);
    EXPECT_EQ(beyond[4], 0xEE);
    EXPECT_EQ(blob->Read(100'000, 10, beyond.data()), 0);
    EXPECT_EQ(blob->Read(1LL << 40, 10, beyond.data()), 0);
    EXPECT_EQ(blob->Read(0, 0, nullptr), 0);
  }
}

TEST_P(ContractBlobs, WritesGoOverTheBytesAndBeyondTheEnd) {
  COVERS(cls_AgentBlob, 1, 3, 6);
  Content expected = Pattern(40'000);
  Write([&](cls_WriteVisitor const& visitor) { WriteBlob(visitor, expected); });
  {
    auto const opened = Take(OpenBlob);
    StoredBlob const& blob = *opened;
    Put(*blob, 16'000, Content(1000, 0xAA));
    Put(*blob, 39'999, Content(500, 0xBB));
    Put(*blob, 3, {});
    blob->EndFlush();
    EXPECT_EQ(blob->Size(), 40'499);
  }
  Step();
  expected.resize(40'499);
  std::fill_n(expected.begin() + 16'000, 1000, static_cast<unsigned char>(0xAA));
  std::fill_n(expected.begin() + 39'999, 500, static_cast<unsigned char>(0xBB));
  EXPECT_EQ(AllOf(**Take(OpenBlob)), expected);
}

TEST_P(ContractBlobs, AGapReadsAsZeros) {
  COVERS(cls_AgentBlob, 1, 2, 3);
  Write([](cls_WriteVisitor const& visitor) {
    cls_BlobWriter const writer(visitor, FieldOf("Blob"), cls_Uid());
    Put(writer.Agent(), 2, {1});
    Put(writer.Agent(), 70'000, {2, 3});
    writer.Agent().EndFlush();
  });
  Content expected(70'002);
  expected[2] = 1;
  expected[70'000] = 2;
  expected[70'001] = 3;
  EXPECT_EQ(AllOf(**Take(OpenBlob)), expected);
}

TEST_P(ContractBlobs, ATruncatedBlobKeepsItsBeginning) {
  COVERS(cls_AgentBlob, 1, 4);
  Content expected = Pattern(100'000);
  Write([&](cls_WriteVisitor const& visitor) { WriteBlob(visitor, expected); });
  for (std::size_t const size : {50'000, 16384, 1, 0}) {
    {
      auto const opened = Take(OpenBlob);
      StoredBlob const& blob = *opened;
      blob->Truncate(static_cast<long long>(size));
      blob->EndFlush();
      EXPECT_EQ(blob->Size(), static_cast<long long>(size));
    }
    Step();
    expected.resize(size);
    EXPECT_EQ(AllOf(**Take(OpenBlob)), expected);
  }
}

TEST_P(ContractBlobs, WhatWasCutOffReadsAsZerosWhenTheBlobGrowsAgain) {
  COVERS(cls_AgentBlob, 3, 4);
  Write([](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Content(20'000, 0xCC)); });
  {
    auto const opened = Take(OpenBlob);
    StoredBlob const& blob = *opened;
    blob->Truncate(100);
    Put(*blob, 30'000, {9});
    blob->EndFlush();
  }
  Step();
  Content expected(30'001);
  std::fill_n(expected.begin(), 100, static_cast<unsigned char>(0xCC));
  expected[30'000] = 9;
  EXPECT_EQ(AllOf(**Take(OpenBlob)), expected);
}

TEST_P(ContractBlobs, ABlobChangedByAnotherSessionSaysSoOnce) {
  COVERS(cls_AgentBlob, 5);
  CONTRACT_NEEDS(m_SharesChanges);
  Write([](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Pattern(100)); });
  auto const opened = Take(OpenBlob);
  StoredBlob const& blob = *opened;
  EXPECT_FALSE(blob->Changed());
  Put(*blob, 0, {5});
  blob->EndFlush();
  EXPECT_FALSE(blob->Changed());
  {
    auto const second = SecondSession();
    std::unique_ptr<StoredBlob> other;
    Load(*second, [&](cls_ReadVisitor const& visitor) { other = OpenBlob(visitor); });
    Put(**other, 0, {1});
    (*other)->EndFlush();
  }
  EXPECT_TRUE(blob->Changed());
  EXPECT_FALSE(blob->Changed());
  EXPECT_EQ(AllOf(*blob)[0], 1);
}

TEST_P(ContractBlobs, ABlobAgentCountsItsReferences) {
  COVERS(cls_AgentBlob, 0, 7, 8, 9, 11);
  Write([](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Pattern(100)); });
  Read([](cls_ReadVisitor const& visitor) {
    auto const child = Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Blob")));
    ExpectCountsReferences(*Receive(child->MakeAgentBlob()));
  });
}

TEST_P(ContractBlobs, ABlobOfASessionThatOnlyReadsSaysSoAndRefusesWrites) {
  COVERS(cls_AgentBlob, 3, 4, 10);
  CONTRACT_NEEDS(m_ReadsOnly);
  Write([](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Pattern(100)); });
  EXPECT_FALSE((*Take(OpenBlob))->ReadOnly());
  Reopen(ContractMode::ReadOnly);
  {
    auto const opened = Take(OpenBlob);
    StoredBlob const& blob = *opened;
    EXPECT_TRUE(blob->ReadOnly());
    MessageOf(ContractError::ReadOnly, [&] { Put(*blob, 0, {1}); });
    MessageOf(ContractError::ReadOnly, [&] { blob->Truncate(1); });
    EXPECT_EQ(AllOf(*blob), Pattern(100));
  }
}

TEST_P(ContractBlobs, ABlobAgentOutlivesItsMementoAndTheLoad) {
  COVERS(cls_MementoRead, 57);
  COVERS(cls_AgentBlob, 1, 2);
  Write([](cls_WriteVisitor const& visitor) { WriteBlob(visitor, Pattern(50'000)); });
  Received<cls_AgentBlob> blob;
  Read([&](cls_ReadVisitor const& visitor) {
    blob = Receive(Receive(visitor.Memento()->MakeFieldReadObj(FieldOf("Blob")))->MakeAgentBlob());
  });
  EXPECT_EQ(AllOf(*blob), Pattern(50'000));
}

} // namespace

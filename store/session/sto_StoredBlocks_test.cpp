#include "store/session/sto_StoredBlocks.h"

#include <memory>
#include <string>
#include <vector>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_Format.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreTest.h"

namespace {

constexpr std::int64_t Id = 7;

/// Blocks of object 7 in a write transaction.
class StoreStoredBlocks : public StoreFileTest {
 protected:
  void SetUp() override {
    auto session = std::make_unique<sto_Session>(Path(), sto_SqliteDriver::Create(Path(), {}), TestClasses());
    m_Session = session.get();
    m_Store = std::make_unique<sto_Store>(std::move(session)); // closes the session
    m_Transaction = std::make_unique<sto_OwnTransaction>(*m_Session, true);
  }
  void TearDown() override {
    m_Transaction.reset();
    m_Store.reset();
  }

  static sto_Bytes Content(int block) { return sto_Bytes(100, static_cast<std::byte>(block)); }

  void Write(std::int64_t id, int first, int last) {
    sto_StoredBlocks blocks(*m_Session, id);
    for (int block = first; block <= last; ++block) {
      sto_Bytes content = Content(block);
      blocks.Write(block, content, false);
    }
  }

  /// Replaces the bytes of a block under its key, without a fitting checksum.
  void Damage(int block) {
    m_Session->Driver().WriteBlock(sto_BlockKey(Id, block), sto_Bytes(108, std::byte{9}));
  }

  std::unique_ptr<sto_Store> m_Store;
  sto_Session* m_Session = nullptr;
  std::unique_ptr<sto_OwnTransaction> m_Transaction;
};

TEST_F(StoreStoredBlocks, BlockHoldsTheContentThatWasWritten) {
  Write(Id, 0, 1);
  sto_StoredBlocks blocks(*m_Session, Id);
  EXPECT_TRUE(blocks.Holds(0, Content(0)));
  EXPECT_FALSE(blocks.Holds(0, Content(1)));
  EXPECT_FALSE(blocks.Holds(0, sto_ByteView(Content(0)).first(99)));
  EXPECT_FALSE(blocks.Holds(2, Content(2))) << "a block that is missing";
  Damage(1);
  EXPECT_FALSE(blocks.Holds(1, Content(1))) << "a damaged block";
}

TEST_F(StoreStoredBlocks, MissingAndDamagedBlocksAreEmptyForTryReadAndDamagedForRead) {
  Write(Id, 0, 1);
  Damage(1);
  sto_StoredBlocks blocks(*m_Session, Id);
  ASSERT_TRUE(blocks.TryRead(0).has_value());
  EXPECT_EQ(blocks.TryRead(0)->size(), 100U);
  for (int const block : {1, 2}) {
    EXPECT_FALSE(blocks.TryRead(block).has_value());
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(blocks.Read(block)); });
    EXPECT_TRUE(Contains(message, "Block " + std::to_string(block) + " of object 7")) << message;
  }
}

TEST_F(StoreStoredBlocks, DeleteFromLeavesTheBlocksBeforeAndOtherObjects) {
  for (std::int64_t const id : {Id - 1, Id, Id + 1}) Write(id, 0, 3);
  sto_StoredBlocks(*m_Session, Id).DeleteFrom(2);
  for (int block = 0; block < 4; ++block) {
    EXPECT_EQ(sto_StoredBlocks(*m_Session, Id).Has(block), block < 2) << block;
    EXPECT_TRUE(sto_StoredBlocks(*m_Session, Id - 1).Has(block)) << block;
    EXPECT_TRUE(sto_StoredBlocks(*m_Session, Id + 1).Has(block)) << block;
  }
}

TEST_F(StoreStoredBlocks, DeleteOfDeletesAllBlocksOfItsObjectsOnly) {
  for (std::int64_t id = Id; id < Id + 4; ++id) Write(id, 0, 2);
  sto_StoredBlocks::DeleteOf(*m_Session, Id + 1, Id + 2);
  for (std::int64_t id = Id; id < Id + 4; ++id)
    for (int block = 0; block < 3; ++block)
      EXPECT_EQ(sto_StoredBlocks(*m_Session, id).Has(block), id == Id || id == Id + 3) << id << " " << block;
}

TEST_F(StoreStoredBlocks, ListWithoutItsBlocksIsNoticed) {
  constexpr int BlockSize = sto_Format::BlockElementCount;
  constexpr int Blocks = 20; // more than are taken without asking for each
  Write(Id, 0, Blocks - 1);
  sto_StoredBlocks blocks(*m_Session, Id);
  EXPECT_TRUE(blocks.HasList(0, 8));
  EXPECT_TRUE(blocks.HasList(Blocks * BlockSize, 0));
  EXPECT_FALSE(blocks.HasList(Blocks * BlockSize + 1, 0)) << "the last block is missing";
  EXPECT_FALSE(blocks.HasList(Blocks * BlockSize, 1'000'000)) << "more bytes than the store has";
  m_Session->Driver().DeleteBlocks(sto_BlockKey(Id, 3), sto_BlockKey(Id, 3));
  EXPECT_FALSE(blocks.HasList(Blocks * BlockSize, 0)) << "a block in the middle is missing";
  EXPECT_TRUE(blocks.HasList(3 * BlockSize, 0));
}

} // namespace

#pragma once

#include <algorithm>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "store/format/sto_BlockKey.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "tests/support/store/StoreObjectAgents.h"
#include "tests/support/store/StoreRecordingDriver.h"

/// Fixture with a store whose driver notes what is read and written, and with a look at the chunks of its maps.
class StoreChunkTest : public StoreObjectAgentsTest {
 protected:
  void SetUp() override { Connect(sto_SqliteDriver::Create(Path(), {})); }

  void Connect(std::unique_ptr<sto_Driver> driver) {
    auto session = std::make_unique<sto_Session>(
        Path(), std::make_unique<StoreRecordingDriver>(std::move(driver), m_Notes), CollectionClasses());
    m_Session = session.get();
    m_Store = std::make_unique<sto_Store>(std::move(session));
  }
  void Reopen() {
    m_Store.reset();
    Connect(sto_SqliteDriver::Open(Path(), false));
  }

  /// The id of the only map or int table with or without chunks.
  std::int64_t MapId() {
    sto_OwnTransaction const transaction(*m_Session, false);
    for (std::int64_t id = 1; m_Session->IsGivenOut(id); ++id)
      if (sto_RecordRef const record = m_Session->Records().Read(id); record != nullptr && record->Map())
        return id;
    return 0;
  }
  /// The chunks of a map; none if its entries are in the record.
  sto_ChunkDirectory Directory(std::int64_t id) {
    sto_OwnTransaction const transaction(*m_Session, false);
    sto_RecordRef const record = m_Session->Records().Read(id);
    sto_ChunkNumbers numbers;
    if (!record->Map()->m_InChunks) return {};
    return sto_MapChunks(*m_Session, id).ReadDirectory(*record->Map(), numbers);
  }
  /// The sizes of the chunks in bytes; checks that each has the entries that it says.
  std::vector<std::size_t> ChunkBytes(std::int64_t id) {
    sto_OwnTransaction const transaction(*m_Session, false);
    std::vector<std::size_t> sizes;
    for (sto_Chunk const& chunk : Directory(id).m_Chunks)
      sizes.push_back(
          sto_MapChunks(*m_Session, id).Read(*m_Session->Records().Read(id)->Map(), chunk).size());
    return sizes;
  }
  /// The numbers of all blocks that the store has of a map.
  std::vector<int> StoredNumbers(std::int64_t id) {
    sto_OwnTransaction const transaction(*m_Session, false);
    std::vector<int> numbers;
    constexpr int MostBlocks = 2000; // of the maps here
    for (int number = 0; number < MostBlocks; ++number)
      if (m_Session->Driver().HasBlocks(sto_BlockKey(id, number), sto_BlockKey(id, number)))
        numbers.push_back(number);
    return numbers;
  }
  /// Expects that a map has the blocks that its directory lists, and no others; that no chunk is too long; and,
  /// if it was changed entry by entry, that none is short beside a neighbour.
  void ExpectSound(std::int64_t id) {
    sto_ChunkDirectory const directory = Directory(id);
    std::vector<int> listed;
    for (sto_Chunk const& chunk : directory.m_Chunks) listed.push_back(chunk.m_Number);
    for (sto_Chunk const& page : directory.m_Pages) listed.push_back(page.m_Number);
    std::ranges::sort(listed);
    EXPECT_EQ(StoredNumbers(id), listed);
    for (std::size_t const size : ChunkBytes(id)) {
      EXPECT_LE(size, 2 * sto_Format::ChunkBytes);
      if (directory.m_Chunks.size() > 1) {
        EXPECT_GE(size, sto_Format::ChunkBytes / 4);
      }
    }
  }

  /// Moves the entries of a map in chunks into its record, as an older format has them.
  void MoveIntoRecord(std::int64_t id) {
    sto_OwnTransaction transaction(*m_Session, true);
    sto_RecordRef const record = m_Session->Records().Read(id);
    sto_RecordBuilder builder;
    sto_Part const& part = record->Parts().front();
    builder.AddPart(part.m_ClassId, part.m_Version, id);
    for (sto_Field const& field : part.m_Fields) builder.AddDecoded(0, field.m_Key, field, field.m_ObjectId);
    sto_MapChunks chunks(*m_Session, id);
    sto_Bytes entries;
    for (sto_Chunk const& chunk : Directory(id).m_Chunks) {
      sto_ByteView const content = chunks.Read(*record->Map(), chunk);
      entries.insert(entries.end(), content.begin(), content.end());
    }
    builder.SetMap(sto_MapOfChunk(*record->Map(), record->Map()->m_Count, {}), std::move(entries));
    auto const [shape, values] = m_Session->ToWrite(builder, nullptr);
    m_Session->Driver().WriteObject(id, shape, values);
    chunks.DeleteAll();
    transaction.Commit();
  }

  /// A key that makes entries of about `bytes` bytes.
  static cow_String LongKey(int number, std::size_t bytes = 1000) {
    std::string text = std::to_string(number);
    return cow_String(std::string(6 - text.size(), '0') + text + std::string(bytes - 8, 'x'));
  }

  StoreRecordingDriver::Notes m_Notes;
  sto_Session* m_Session = nullptr;
  std::unique_ptr<sto_Store> m_Store;
};

#include "store/sqlite/sto_SqliteIndexes.h"
#include "store/sqlite/sto_SqliteMark.h"

#include <gtest/gtest.h>
#include <sqlite3.h>

#include <map>
#include <random>

#include "store/sqlite/sto_SqliteBlocks.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sqlite/sto_SqliteTransaction.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreFile.h"
#include "tests/support/store/StoreNewFault.h"

namespace {

sto_Bytes Bytes(std::size_t size, int value) {
  return sto_Bytes(size, static_cast<std::byte>(value));
}

/// The parts of a driver, and how many rows they have written so far.
class StoreMark : public StoreFileTest {
 protected:
  static constexpr std::size_t Large = sto_Format::MaxPackedBytes - sto_Format::PackedChecksumBytes + 1;

  void SetUp() override {
    sto_SqliteDriver::Create(Path(), {});
    m_Connection =
        std::make_unique<sto_SqliteConnection>(Path(), sto_SqliteConnection::Opening{SQLITE_OPEN_READWRITE});
    m_Parts = std::make_unique<Parts>(*m_Connection);
    Begin();
  }
  void TearDown() override {
    if (m_Parts->m_Transaction.IsOpen()) m_Parts->m_Transaction.Rollback();
  }

  struct Parts {
    explicit Parts(sto_SqliteConnection& connection)
        : m_Transaction(connection), m_Objects(connection, m_Mark, m_Changes), m_Roots(connection, m_Changes),
          m_Blocks(connection, m_Changes), m_Indexes(connection, m_Mark),
          m_Mark(m_Transaction, m_Objects, m_Roots, m_Blocks, m_Indexes, m_Changes) {
      m_Roots.Use(sto_Format::Version, {});
    }
    sto_SqliteTransaction m_Transaction;
    sto_SqliteChanges m_Changes;
    sto_SqliteObjects m_Objects;
    sto_SqliteRoots m_Roots;
    sto_SqliteBlocks m_Blocks;
    sto_SqliteIndexes m_Indexes;
    sto_SqliteMark m_Mark;
  };

  void Begin() {
    m_Parts->m_Transaction.Begin(true);
    m_Parts->m_Mark.Forget();
    m_Parts->m_Objects.Begin(true, 1);
    m_Parts->m_Objects.SetFirstNewId(1);
    m_Parts->m_Roots.Drop();
    m_Parts->m_Blocks.Begin(true);
  }
  void Commit() {
    m_Parts->m_Objects.Flush();
    m_Parts->m_Roots.Flush();
    m_Parts->m_Blocks.FinishTransaction();
    m_Parts->m_Transaction.Commit();
  }
  [[nodiscard]] std::int64_t Written() const { return sqlite3_total_changes64(m_Connection->Handle()); }
  [[nodiscard]] sto_SqliteMark& Mark() { return m_Parts->m_Mark; }
  [[nodiscard]] sto_SqliteObjects& Objects() { return m_Parts->m_Objects; }
  [[nodiscard]] sto_SqliteRoots& Roots() { return m_Parts->m_Roots; }

  /// The first byte of a record, -1 for no object.
  int ValueOf(std::int64_t id) {
    sto_StoredRecord record;
    bool const isThere = Objects().Read(id, record);
    EXPECT_TRUE(record.m_IsSound);
    return isThere ? static_cast<int>(record.m_Bytes.front()) : -1;
  }

  std::unique_ptr<sto_SqliteConnection> m_Connection;
  std::unique_ptr<Parts> m_Parts;
};

TEST_F(StoreMark, SmallSavesWriteNothingBeforeTheCommit) {
  std::int64_t const before = Written();
  for (int i = 1; i <= 250; ++i) {
    Mark().Set();
    Objects().Write(i, 1, Bytes(10, 1));
    Roots().Set("root " + std::to_string(i), {i, 5});
    EXPECT_TRUE(Mark().IsInMemory());
    Mark().Release();
  }
  EXPECT_EQ(Written(), before);
  Commit();
  EXPECT_EQ(Written(), before + 250 + 8);
}

TEST_F(StoreMark, PacksThatTheMarkWouldNotUndoAreWrittenWithoutASavepoint) {
  for (int i = 0; i < 200; ++i) {
    Mark().Set();
    Objects().Write(1 + i * sto_Format::IdsInPack, 1, Bytes(10, 1));
    EXPECT_TRUE(Mark().IsInMemory());
    Mark().Release();
  }
  EXPECT_GT(Written(), 0);
}

TEST_F(StoreMark, GoingBackInMemoryAllocatesNothing) {
  Objects().Write(1, 1, Bytes(10, 1));
  Roots().Set("kept", {1, 5});
  Roots().Set("removed", {1, 5});
  Mark().Set();
  Objects().Write(1, 1, Bytes(20, 2));
  Objects().Write(1, 2, Bytes(5, 3));
  Objects().Write(2, 1, Bytes(5, 4));
  Objects().Delete(1);
  Roots().Set("kept", {2, 5});
  Roots().Set("kept", {3, 5});
  Roots().Set("new", {2, 5});
  EXPECT_TRUE(Roots().Remove("removed"));
  EXPECT_TRUE(Roots().Rename("new", "newer"));
  StoreNewFault::FailAt(1);
  Mark().GoBack();
  EXPECT_FALSE(StoreNewFault::HasFailed());
  StoreNewFault::FailAt(0);
  EXPECT_EQ(ValueOf(1), 1);
  EXPECT_EQ(ValueOf(2), -1);
  std::vector<sto_RootRow> const all = Roots().All();
  ASSERT_EQ(all.size(), 2U);
  EXPECT_EQ(all[0].m_Name, "kept");
  EXPECT_EQ(all[1].m_Name, "removed");
  EXPECT_EQ(Roots().Find("kept"), (sto_RootTarget{1, 5}));
}

TEST_F(StoreMark, PackWithoutOtherChangesIsNotWrittenAfterGoingBack) {
  Objects().Write(1, 1, Bytes(10, 1));
  Objects().Flush();
  std::int64_t const before = Written();
  Mark().Set();
  Objects().Write(1, 1, Bytes(10, 2));
  Mark().GoBack();
  Objects().Flush();
  EXPECT_EQ(Written(), before);
  EXPECT_EQ(ValueOf(1), 1);
}

TEST_F(StoreMark, FirstWriteToTheFileKeepsWhatWasChangedBeforeTheMark) {
  Objects().Write(1, 1, Bytes(10, 1));
  Roots().Set("root", {1, 5});
  Mark().Set();
  Objects().Write(1, 1, Bytes(10, 2));
  Objects().Write(2, 1, Bytes(10, 2));
  Objects().Write(3, 1, Bytes(Large, 3)); // a row of its own
  EXPECT_FALSE(Mark().IsInMemory());
  EXPECT_EQ(ValueOf(1), 2);
  Objects().Write(1, 1, Bytes(10, 4));
  Roots().Set("root", {3, 5});
  Mark().GoBack();
  EXPECT_EQ(ValueOf(1), 1);
  EXPECT_EQ(ValueOf(2), -1);
  EXPECT_EQ(ValueOf(3), -1);
  EXPECT_EQ(Roots().Find("root"), (sto_RootTarget{1, 5}));
}

TEST_F(StoreMark, SavepointThatCannotBeOpenedLeavesTheMarkInMemory) {
  Objects().Write(1, 1, Bytes(10, 1));
  Mark().Set();
  Objects().Write(1, 1, Bytes(10, 2));
  // The pack, as it was at the mark, is too large for the connection.
  int const limit = sqlite3_limit(m_Connection->Handle(), SQLITE_LIMIT_LENGTH, 12);
  EXPECT_ANY_THROW(Objects().Write(3, 1, Bytes(Large, 3)));
  sqlite3_limit(m_Connection->Handle(), SQLITE_LIMIT_LENGTH, limit);
  EXPECT_EQ(ValueOf(1), 2);
  EXPECT_TRUE(Mark().IsInMemory());
  Mark().GoBack();
  EXPECT_EQ(ValueOf(1), 1);
  EXPECT_EQ(ValueOf(3), -1);
}

TEST_F(StoreMark, ManyRootsOfOneSaveAndManySavesOfOneRootAreWritten) {
  Mark().Set();
  for (int i = 0; i < 5000; ++i) Roots().Set(std::to_string(i), {1, 5});
  EXPECT_EQ(Written(), 0);
  Mark().Release();
  Mark().Set(); // there are many: written before the mark is set
  EXPECT_EQ(Written(), 5000);
  Roots().Set("0", {2, 5});
  Mark().GoBack();
  EXPECT_EQ(Roots().Find("0"), (sto_RootTarget{1, 5}));
  EXPECT_EQ(Roots().All().size(), 5000U);
}

TEST_F(StoreMark, ObjectThatIsWrittenUnchangedIsNotWritten) {
  EXPECT_TRUE(Objects().Write(1, 1, Bytes(10, 1)));
  Objects().Flush();
  std::int64_t const before = Written();
  EXPECT_FALSE(Objects().Write(1, 1, Bytes(10, 1)));
  Objects().Flush();
  EXPECT_EQ(Written(), before);
  EXPECT_TRUE(Objects().Write(1, 2, Bytes(10, 1))); // of another shape
  EXPECT_TRUE(Objects().Write(1, 2, Bytes(11, 1)));
  EXPECT_TRUE(Objects().Write(1, 2, Bytes(11, 2)));
}

/// A seeded random walk of a driver's objects, roots and blocks beside plain maps: inside and outside of
/// marks that are released or undone, over committed and undone transactions and reopened files.
class StoreMarkModel : public StoreFileTest, public testing::WithParamInterface<unsigned int> {
 protected:
  static constexpr int Ids = 100 * sto_Format::IdsInPack; // more packs than are kept in memory
  static constexpr int Names = 50;
  static constexpr int Keys = 60;

  struct Model {
    std::map<std::int64_t, std::pair<std::int64_t, sto_Bytes>> m_Objects; // shape and values
    std::map<std::string, std::int64_t> m_Roots;
    std::map<std::int64_t, sto_Bytes> m_Blocks;
    std::int64_t m_NextId = 1;
  };

  int Below(int limit) { return static_cast<int>(m_Random() % static_cast<unsigned int>(limit)); }
  sto_Bytes Content() {
    int const chance = Below(20);
    return Bytes(static_cast<std::size_t>(chance == 0 ? 997 + Below(5000) : 1 + Below(300)), Below(256));
  }
  std::string Name() { return "root " + std::to_string(Below(Names)); }

  void WriteObject() {
    bool const isNew = m_Model.m_NextId < Ids && Below(3) == 0;
    std::int64_t const id = isNew ? m_Model.m_NextId : 1 + Below(static_cast<int>(m_Model.m_NextId));
    if (id >= m_Model.m_NextId) m_Model.m_NextId = id + 1 + Below(30);
    std::int64_t const shape = Below(4); // sto_Format::OwnShape or a number
    sto_Bytes const record = Content();
    auto const known = m_Model.m_Objects.find(id);
    bool const isSame = known != m_Model.m_Objects.end() && known->second == std::pair(shape, record);
    if (!m_Driver->WriteObject(id, shape, record)) {
      ASSERT_TRUE(isSame);
    }
    m_Model.m_Objects[id] = {shape, record};
  }
  void Change() {
    switch (Below(12)) {
    case 0: {
      auto const found = m_Model.m_Objects.lower_bound(1 + Below(Ids));
      if (found == m_Model.m_Objects.end()) break;
      m_Driver->DeleteObject(found->first);
      m_Model.m_Objects.erase(found);
      break;
    }
    case 1:
    case 2: {
      std::string const name = Name();
      m_Driver->SetRoot(name, m_Model.m_Roots[name] = 1 + Below(Ids), 5);
      break;
    }
    case 3: {
      std::string const name = Name();
      ASSERT_EQ(m_Driver->RemoveRoot(name), m_Model.m_Roots.erase(name) == 1);
      break;
    }
    case 4: {
      std::string const from = Name();
      std::string const to = Name();
      if (m_Model.m_Roots.contains(to)) break;
      auto node = m_Model.m_Roots.extract(from);
      ASSERT_EQ(m_Driver->RenameRoot(from, to), !node.empty());
      if (node.empty()) break;
      node.key() = to;
      m_Model.m_Roots.insert(std::move(node));
      break;
    }
    case 5:
      if (Below(4) == 0) ChangeBlocks();
      break;
    default:
      WriteObject();
    }
  }
  void ChangeBlocks() {
    std::int64_t const key = 1 + Below(Keys);
    if (Below(4) == 0) {
      m_Driver->DeleteBlocks(key, key + 5);
      m_Model.m_Blocks.erase(m_Model.m_Blocks.lower_bound(key), m_Model.m_Blocks.upper_bound(key + 5));
      return;
    }
    sto_Bytes const content = Content();
    if (m_Model.m_Blocks.contains(key))
      m_Driver->OverwriteBlock(key, content);
    else
      m_Driver->WriteBlock(key, content);
    m_Model.m_Blocks[key] = content;
  }
  void Look() {
    std::int64_t const id = 1 + Below(Ids);
    sto_StoredRecord record;
    auto const known = m_Model.m_Objects.find(id);
    ASSERT_EQ(m_Driver->ReadObject(id, record), known != m_Model.m_Objects.end()) << id;
    if (known != m_Model.m_Objects.end()) {
      ASSERT_TRUE(known->second == std::pair(record.m_Shape, record.m_Bytes) && record.m_IsSound) << id;
    }
    std::string const name = Name();
    auto const root = m_Model.m_Roots.find(name);
    std::optional<std::int64_t> const found = m_Driver->FindRoot(name);
    ASSERT_EQ(found.has_value(), root != m_Model.m_Roots.end()) << name;
    if (found) {
      ASSERT_EQ(*found, root->second);
    }
  }
  void ExpectModel() {
    std::vector<std::string> names;
    for (auto const& [name, id] : m_Model.m_Roots) names.push_back(name);
    std::vector<std::string> stored;
    for (sto_RootRow& root : m_Driver->Roots()) {
      ASSERT_EQ(root.m_Id, m_Model.m_Roots.at(root.m_Name)) << root.m_Name;
      stored.push_back(std::move(root.m_Name));
    }
    ASSERT_EQ(stored, names);
    std::vector<std::int64_t> ids;
    for (auto const& [id, object] : m_Model.m_Objects) ids.push_back(id);
    for (auto const& [id, object] : m_Model.m_Objects) {
      sto_StoredRecord record;
      ASSERT_TRUE(m_Driver->ReadObject(id, record)) << id;
      ASSERT_TRUE(object == std::pair(record.m_Shape, record.m_Bytes) && record.m_IsSound) << id;
    }
    for (std::int64_t key = 1; key <= Keys; ++key) {
      sto_Bytes data;
      auto const known = m_Model.m_Blocks.find(key);
      ASSERT_EQ(m_Driver->ReadBlock(key, data), known != m_Model.m_Blocks.end()) << key;
      ASSERT_TRUE(known == m_Model.m_Blocks.end() || data == known->second) << key;
    }
    if (Below(2) != 0) return; // these two write changed packs
    ASSERT_EQ(m_Driver->ObjectIds(1, 2 * Ids), ids);
    ASSERT_EQ(m_Driver->ObjectCount(), static_cast<std::int64_t>(ids.size()));
  }
  void Save() {
    Model const before = m_Model;
    m_Driver->SetMark();
    for (int i = Below(Below(10) == 0 ? 300 : 8); i >= 0 && !HasFatalFailure(); --i) Change();
    if (Below(3) == 0) Look();
    if (Below(10) == 0) ExpectModel();
    if (Below(3) == 0) {
      m_Driver->RollbackToMark();
      m_Model = before;
    } else {
      m_Driver->ReleaseMark();
    }
  }
  void Transaction() {
    Model const before = m_Model;
    m_Driver->Begin({.m_ForWriting = true});
    for (int i = Below(12); i >= 0 && !HasFatalFailure(); --i)
      if (Below(5) == 0)
        Change();
      else
        Save();
    if (HasFatalFailure()) return;
    ExpectModel();
    if (Below(4) == 0) {
      m_Driver->Rollback();
      m_Model = before;
    } else {
      m_Driver->SetIdsUsed(m_Model.m_NextId);
      m_Driver->Commit();
    }
    if (Below(6) == 0) m_Driver = sto_SqliteDriver::Open(Path(), false);
    m_Driver->Begin({});
    ExpectModel();
    m_Driver->Rollback();
  }

  std::mt19937 m_Random;
  std::unique_ptr<sto_Driver> m_Driver;
  Model m_Model;
};

TEST_P(StoreMarkModel, AgreesWithPlainMaps) {
  m_Random.seed(GetParam());
  m_Driver = sto_SqliteDriver::Create(Path(), {});
  for (int i = 0; i < 100 && !HasFatalFailure(); ++i) {
    SCOPED_TRACE(i);
    Transaction();
  }
  EXPECT_EQ(IntegrityOf(Path()), "ok");
}

INSTANTIATE_TEST_SUITE_P(Seeds, StoreMarkModel,
                         testing::ValuesIn(Seeds<unsigned int>({1, 2, 3, 4, 5, 6, 7, 8})));

} // namespace

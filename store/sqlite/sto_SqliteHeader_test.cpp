#include <filesystem>
#include <functional>

#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

/// The header of a store: table meta.
class StoreHeader : public StoreTest {
 protected:
  void SetUp() override {
    sto_Store store = Create();
    store.Save("node", Node(5));
  }
  /// Sets the names of the features that a program must know to read, or to write, the store.
  void SetFeatures(std::string const& key, std::string const& names) const {
    SqlFile file(Path());
    file.Run("UPDATE meta SET value = '" + names + "' WHERE key = '" + key + "'");
    SealHeader(file);
  }
  [[nodiscard]] std::string Uuid(std::string_view name = "test.kvs") const {
    return SqlFile(Path(name)).Text("SELECT hex(value) FROM meta WHERE key = 'uuid'");
  }
  std::string MessageOfOpening(sto_ErrorKind kind, sto_Mode mode) const {
    return MessageOf(kind, [&] { static_cast<void>(Open(mode)); });
  }
  static void ExpectParts(std::string const& message, std::initializer_list<char const*> parts) {
    for (char const* const part : parts) EXPECT_TRUE(Contains(message, part)) << part << ": " << message;
  }
};

TEST_F(StoreHeader, RowsAreAsDescribed) {
  SqlFile file(Path());
  EXPECT_EQ(file.Text("SELECT value FROM meta WHERE key = 'features_to_read'"), "");
  EXPECT_EQ(file.Text("SELECT value FROM meta WHERE key = 'features_to_write'"), "");
  EXPECT_EQ(file.Text("SELECT typeof(value) || length(value) FROM meta WHERE key = 'uuid'"), "blob16");
  std::int64_t const checksum = file.Integer("SELECT value FROM meta WHERE key = 'checksum'");
  SealHeader(file); // computes it without the module
  EXPECT_EQ(file.Integer("SELECT value FROM meta WHERE key = 'checksum'"), checksum);
}

TEST_F(StoreHeader, TwoNewStoresHaveDifferentUuids) {
  static_cast<void>(Create("other"));
  EXPECT_NE(Uuid(), Uuid("other"));
  EXPECT_EQ(Uuid().at(12), '4'); // a random uuid says so
}

TEST_F(StoreHeader, CopyHasTheSameUuid) {
  Open().CopyTo(Path("copy"));
  EXPECT_EQ(Uuid("copy"), Uuid());
  EXPECT_EQ(Open(sto_Mode::ReadWrite, "copy").Load<Node>("node")->m_Value, 5);
}

TEST_F(StoreHeader, UnknownFeatureToReadRefusesTheStore) {
  SetFeatures("features_to_read", "quantum");
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
    std::string const message = MessageOfOpening(sto_ErrorKind::NewerFormat, mode);
    ExpectParts(message, {"test.kvs: ", "does not know", "quantum."});
  }
}

TEST_F(StoreHeader, UnknownFeatureToWriteLetsTheStoreBeRead) {
  SetFeatures("features_to_write", "tidal");
  ExpectParts(MessageOfOpening(sto_ErrorKind::ReadOnly, sto_Mode::ReadWrite), {"test.kvs: ", "tidal."});
  EXPECT_EQ(Open(sto_Mode::ReadOnly).Load<Node>("node")->m_Value, 5);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM root"), 1);
}

TEST_F(StoreHeader, AllUnknownFeaturesAreNamed) {
  SetFeatures("features_to_write", "tidal lunar");
  ExpectParts(MessageOfOpening(sto_ErrorKind::ReadOnly, sto_Mode::ReadWrite), {"tidal, lunar."});
  SetFeatures("features_to_read", "first  draft-8  raft-2");
  ExpectParts(MessageOfOpening(sto_ErrorKind::NewerFormat, sto_Mode::ReadOnly),
              {": first, draft-8, raft-2."});
}

TEST_F(StoreHeader, DraftsAreRefused) {
  for (char const* const features : {"draft-8", "draft-1"}) {
    SetFeatures("features_to_read", features);
    ExpectParts(MessageOfOpening(sto_ErrorKind::NewerFormat, sto_Mode::ReadOnly), {features});
  }
}

TEST_F(StoreHeader, FeatureThatAnotherSessionBeginsToUseIsNoticed) {
  sto_Store writer = Open();
  sto_Store reader = Open(sto_Mode::ReadOnly);
  EXPECT_EQ(writer.Load<Node>("node")->m_Value, 5);
  SetFeatures("features_to_write", "tidal");
  ExpectParts(MessageOf(sto_ErrorKind::ReadOnly, [&] { writer.Save("node", Node(6)); }), {"tidal"});
  EXPECT_EQ(writer.Load<Node>("node")->m_Value, 5);
  MessageOf(sto_ErrorKind::ReadOnly, [&] { writer.Save("node", Node(6)); }); // not only the first time
  EXPECT_EQ(reader.Load<Node>("node")->m_Value, 5);
  SetFeatures("features_to_read", "quantum");
  for (sto_Store* const store : {&reader, &writer})
    ExpectParts(MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(store->Load<Node>("node")); }),
                {"quantum"});
  SetFeatures("features_to_read", "");
  SetFeatures("features_to_write", "");
  writer.Save("node", Node(6));
  EXPECT_EQ(reader.Load<Node>("node")->m_Value, 6);
}

TEST_F(StoreHeader, FormatThatAnotherSessionUpgradedToIsNoticed) {
  sto_Store store = Open();
  SqlFile(Path()).Run("PRAGMA user_version = 5");
  ExpectParts(MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(store.Load<Node>("node")); }),
              {"test.kvs: ", "format version 5"});
}

TEST_F(StoreHeader, EveryBitOfEachRowIsNoticed) {
  struct Row {
    std::string m_Key, m_Type, m_Hex;
  };
  std::vector<Row> rows;
  {
    SqlFile file(Path());
    for (std::string const& key : file.Texts("SELECT key FROM meta")) {
      std::string const where = " FROM meta WHERE key = '" + key + "'";
      rows.push_back(
          {key, file.Text("SELECT typeof(value)" + where), file.Text("SELECT hex(value)" + where)});
      if (rows.back().m_Type == "integer")
        rows.back().m_Hex = file.Text("SELECT CAST(value AS TEXT)" + where);
    }
  }
  ASSERT_EQ(rows.size(), 4U);
  std::filesystem::copy_file(Path(), Path("whole"));
  int flips = 0;
  auto const expectDamaged = [&](std::string const& update) {
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
    SqlFile(Path()).Run(update);
    SCOPED_TRACE(update);
    ExpectParts(MessageOfOpening(sto_ErrorKind::Damaged, sto_Mode::ReadOnly), {"test.kvs: ", "meta"});
    ++flips;
  };
  auto const flipped = [](std::string hex, std::size_t bit) {
    std::size_t const digit = bit / 4;
    int const value = std::stoi(hex.substr(digit, 1), nullptr, 16) ^ 1 << bit % 4;
    hex[digit] = "0123456789ABCDEF"[value];
    return hex;
  };
  for (Row const& row : rows) {
    std::string const where = " WHERE key = '" + row.m_Key + "'";
    if (row.m_Type == "integer")
      for (int bit = 0; bit < 64; ++bit) {
        auto const number = static_cast<std::uint64_t>(std::stoll(row.m_Hex)) ^ std::uint64_t{1} << bit;
        expectDamaged("UPDATE meta SET value = " + std::to_string(static_cast<std::int64_t>(number)) + where);
      }
    else
      for (std::size_t bit = 0; bit < 4 * row.m_Hex.size(); ++bit)
        expectDamaged("UPDATE meta SET value = CAST(x'" + flipped(row.m_Hex, bit) + "' AS " + row.m_Type +
                      ")" + where);
    std::string const key = SqlFile(Path("whole")).Text("SELECT hex(key) FROM meta" + where);
    for (std::size_t bit = 0; bit < 4 * key.size(); ++bit)
      expectDamaged("UPDATE meta SET key = CAST(x'" + flipped(key, bit) + "' AS TEXT)" + where);
    expectDamaged("DELETE FROM meta" + where);
    expectDamaged("UPDATE meta SET value = NULL" + where);
  }
  expectDamaged("INSERT INTO meta VALUES('more', 1)");
  EXPECT_GT(flips, 64 + 128 + 56 + 3 * 8 * 8);
}

} // namespace

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "store/format/sto_BlockKey.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

/// Stores with altered bytes. Each test damages the file through SQLite, so that the file stays valid for
/// SQLite.
class StoreDamage : public StoreTest {
 protected:
  /// Root "root", object 1: some fields, object 2 in a field, and a list of 2049 bools in two blocks.
  void SetUp() override {
    m_Store = std::make_unique<sto_Store>(Create());
    m_File = std::make_unique<SqlFile>(Path());
    m_File->Run("PRAGMA synchronous = OFF");
    SaveFields(*m_Store, [&](cls_WriteVisitor const& visitor) {
      visitor.Write(cls_FieldHandle("m_Text"_cow), "some text"_cow);
      visitor.Write(cls_FieldHandle(4, cow_String()), 0.1);
      visitor.Memento()->WriteReference(cls_FieldHandle("m_Reference"_cow), m_Other.m_Uid);
      m_Held.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Held"_cow), nullptr, &m_Held));
      bool const tag = false;
      std::unique_ptr<cls_WriteListPrim<bool>> const list(visitor.Memento()->MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < 2049; ++i) list->Append(i % 2 == 0);
    });
    m_Root = m_File->Integer("SELECT object_id FROM root");
    m_File->Unpack();
  }

  /// Loads everything in root "root".
  void LoadAll() {
    static_cast<void>(LoadFields(*m_Store, [](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Text"_cow), ""_cow).View(), "some text");
      EXPECT_EQ(visitor.Read(cls_FieldHandle(4, cow_String()), 0.0), 0.1);
      EXPECT_EQ(visitor.DataIsPresent(cls_FieldHandle("m_Held"_cow)), 1);
      EXPECT_EQ(Node(cls_ReadVisitor(visitor, cls_FieldHandle("m_Held"_cow))).m_Value, 77);
      bool tag = false;
      std::unique_ptr<cls_ReadListPrim<bool>> const list(visitor.Memento()->MakeReadListPrim(&tag));
      EXPECT_EQ(list->Count(), 2049);
      for (int i = 0; i < 2049; ++i) EXPECT_EQ(list->Next(), i % 2 == 0);
    }));
  }
  std::string ExpectDamaged() {
    std::string message = MessageOf(sto_ErrorKind::Damaged, [&] { LoadAll(); });
    EXPECT_TRUE(Contains(message, Path())) << message;
    return message;
  }
  void SetRecord(std::int64_t id, StoreBytes const& bytes) {
    m_File->Run("UPDATE object SET record = ? WHERE id = " + std::to_string(id), bytes);
  }
  void SetBlock(int index, StoreBytes const& bytes) {
    m_File->Run("REPLACE INTO stored_block VALUES(" + std::to_string(Key(index)) + ", ?)", bytes);
  }
  StoreBytes Record(std::int64_t id) {
    return m_File->Blob("SELECT record FROM object WHERE id = " + std::to_string(id));
  }
  StoreBytes Block(int index) {
    return m_File->Blob("SELECT data FROM stored_block WHERE key = " + std::to_string(Key(index)));
  }
  [[nodiscard]] std::int64_t Key(int index) const { return sto_BlockKey(m_Root, index); }

  /// All alterations of a few bytes: each byte changed in two ways, each shorter length, one more byte.
  void ExpectEveryChangeDamages(StoreBytes const& bytes, std::function<void(StoreBytes const&)> const& set) {
    for (std::size_t at = 0; at<bytes.size(); at += bytes.size()> 500 ? StoreSweepStride : 1)
      for (std::byte const flip : {std::byte{0x01}, std::byte{0xFF}}) {
        SCOPED_TRACE("byte " + std::to_string(at));
        StoreBytes changed = bytes;
        changed[at] ^= flip;
        set(changed);
        ExpectDamaged();
        if (HasFailure()) return;
      }
    std::size_t const stride = bytes.size() > 500 ? 97 : 1;
    for (std::size_t size = 0; size < bytes.size(); size += stride) {
      SCOPED_TRACE("length " + std::to_string(size));
      set(StoreBytes(bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)));
      ExpectDamaged();
    }
    StoreBytes longer = bytes;
    longer.push_back(std::byte{0});
    set(longer);
    ExpectDamaged();
    set(bytes);
    LoadAll();
  }

  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<SqlFile> m_File;
  std::int64_t m_Root = 0;
  Node m_Held{77};
  Node m_Other{78};
};

TEST_F(StoreDamage, UndamagedStoreLoads) {
  LoadAll();
}

TEST_F(StoreDamage, EveryChangeOfTheRootsRecordIsNoticed) {
  ExpectEveryChangeDamages(Record(m_Root), [&](StoreBytes const& bytes) { SetRecord(m_Root, bytes); });
}

TEST_F(StoreDamage, EveryChangeOfAHeldRecordIsNoticed) {
  std::int64_t const held = m_File->Integer("SELECT max(id) FROM object");
  ASSERT_NE(held, m_Root);
  ExpectEveryChangeDamages(Record(held), [&](StoreBytes const& bytes) { SetRecord(held, bytes); });
}

TEST_F(StoreDamage, EveryChangeOfAFullBlockIsNoticed) {
  ExpectEveryChangeDamages(Block(0), [&](StoreBytes const& bytes) { SetBlock(0, bytes); });
}

TEST_F(StoreDamage, EveryChangeOfTheLastBlockIsNoticed) {
  ExpectEveryChangeDamages(Block(1), [&](StoreBytes const& bytes) { SetBlock(1, bytes); });
}

TEST_F(StoreDamage, DamageIsReportedWithItsObject) {
  StoreBytes const whole = Record(m_Root);
  StoreBytes changed = whole;
  changed.back() ^= std::byte{1};
  SetRecord(m_Root, changed);
  std::string message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "Object " + std::to_string(m_Root)) && Contains(message, "Scripted"))
      << message;
  SetRecord(m_Root, Record(m_File->Integer("SELECT max(id) FROM object")));
  message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "Object " + std::to_string(m_Root))) << message;
}

TEST_F(StoreDamage, RecordsThatChangedPlacesAreNoticed) {
  Node const one(1);
  Node const two(2);
  m_Store->Save("one", one);
  m_Store->Save("two", two);
  m_File->Unpack();
  m_File->Run("UPDATE object SET id = -1 WHERE id = (SELECT object_id FROM root WHERE name = 'one')");
  m_File->Run("UPDATE object SET id = (SELECT object_id FROM root WHERE name = 'one') "
              "WHERE id = (SELECT object_id FROM root WHERE name = 'two')");
  m_File->Run("UPDATE object SET id = (SELECT object_id FROM root WHERE name = 'two') WHERE id = -1");
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(m_Store->Load<Node>("one")); });
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(m_Store->Load<Node>("two")); });
}

TEST_F(StoreDamage, BlocksThatChangedPlacesAreNoticed) {
  StoreBytes const first = Block(0);
  SetBlock(0, Block(1));
  SetBlock(1, first);
  ExpectDamaged();
}

TEST_F(StoreDamage, BlockOfAnotherListIsNoticed) {
  std::int64_t const other = m_Root + 100;
  m_File->Run("UPDATE stored_block SET key = key + " +
              std::to_string(sto_BlockKey(other, 0) - sto_BlockKey(m_Root, 0)));
  m_File->Run("UPDATE stored_block SET key = key - " +
              std::to_string(sto_BlockKey(other, 0) - sto_BlockKey(m_Root, 0)));
  LoadAll();
  m_File->Run("UPDATE stored_block SET key = key + 2"); // leaves blocks 2 and 3, without 0 and 1
  ExpectDamaged();
}

TEST_F(StoreDamage, MissingBlocksAreNoticed) {
  for (int const index : {0, 1}) {
    StoreBytes const bytes = Block(index);
    m_File->Run("DELETE FROM stored_block WHERE key = " + std::to_string(Key(index)));
    std::string const message = ExpectDamaged();
    EXPECT_TRUE(Contains(message, "of 2049")) << message;
    m_File->Run("INSERT INTO stored_block VALUES(" + std::to_string(Key(index)) + ", ?)", bytes);
    LoadAll();
  }
}

TEST_F(StoreDamage, MissingRootObjectIsNoticed) {
  m_File->Run("DELETE FROM object WHERE id = " + std::to_string(m_Root));
  std::string const message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "missing") && Contains(message, "root")) << message;
}

TEST_F(StoreDamage, MissingHeldObjectIsNoticedAndNeverReadAsAbsent) {
  m_File->Run("DELETE FROM object WHERE id <> " + std::to_string(m_Root));
  std::string const message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "missing") && Contains(message, "m_Held")) << message;
  struct Shared {
    explicit Shared(cls_ReadVisitor const& visitor)
        : m_Held(sto_ReadShared<Node>(visitor, cls_FieldHandle("m_Held"_cow))) {}
    std::shared_ptr<Node> m_Held;
  };
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(m_Store->Load<Shared>("root")); });
}

TEST_F(StoreDamage, ClassOfTheRowIsComparedWithTheRecordInAStoreOfAnOlderFormat) {
  m_Store.reset();
  m_File.reset();
  MakeStoreOfOldFormat(Path(), 2);
  m_File = std::make_unique<SqlFile>(Path());
  m_Store = std::make_unique<sto_Store>(Open(sto_Mode::ReadOnly));
  LoadAll();
  m_File->Run("UPDATE object SET class_id = class_id + 1 WHERE id = " + std::to_string(m_Root));
  ExpectDamaged();
}

TEST_F(StoreDamage, RecordWithTheShapeOfAnotherClassIsNoticedWhateverItsChecksum) {
  StoreRow row = m_File->Row(m_Root);
  std::int64_t const own = row.m_Shape;
  row.m_Shape = m_File->Row(m_File->Integer("SELECT max(id) FROM object")).m_Shape;
  ASSERT_NE(row.m_Shape, own);
  m_File->PutRow(m_Root, row);
  ExpectDamaged();
  row.m_Shape = own;
  m_File->PutRow(m_Root, row);
  LoadAll();
}

TEST_F(StoreDamage, MissingShapeIsReportedWithItsObject) {
  std::int64_t const shape = m_File->Row(m_Root).m_Shape;
  m_File->Run("DELETE FROM shape WHERE id = " + std::to_string(shape));
  std::string const message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "Object " + std::to_string(m_Root) + " ") &&
              Contains(message, "table shape") && Contains(message, "shape " + std::to_string(shape)))
      << message;
}

TEST_F(StoreDamage, EveryChangeOfAShapeIsNoticed) {
  std::string const shape = std::to_string(m_File->Row(m_Root).m_Shape);
  ExpectEveryChangeDamages(
      m_File->Blob("SELECT data FROM shape WHERE id = " + shape),
      [&](StoreBytes const& bytes) { m_File->Run("UPDATE shape SET data = ? WHERE id = " + shape, bytes); });
}

TEST_F(StoreDamage, ShapesThatChangedPlacesAreNoticed) {
  m_File->Run("UPDATE shape SET id = -1 WHERE id = 1; UPDATE shape SET id = 1 WHERE id = 2;"
              "UPDATE shape SET id = 2 WHERE id = -1");
  std::string const message = ExpectDamaged();
  EXPECT_TRUE(Contains(message, "table shape")) << message;
}

TEST_F(StoreDamage, RootThatNamesNoObjectIsNoticed) {
  for (char const* const id : {"0", "-1", "99", "9223372036854775807", "'text'"}) {
    m_File->Run(std::string("UPDATE root SET object_id = ") + id);
    ExpectDamaged();
  }
}

TEST_F(StoreDamage, NextObjectIdThatIsInUseIsNoticed) {
  for (char const* const next : {"0", "-5", "1", "2", "'text'"}) {
    SetNextObjectId(*m_File, next);
    MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Node(1)); });
  }
  m_File->Run("UPDATE save SET next_object_id = 100"); // does not fit the checksum
  MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Node(1)); });
  m_File->Run("ALTER TABLE save RENAME TO saved; CREATE TABLE save AS SELECT * FROM saved WHERE no < 0");
  MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Node(1)); });
  m_File->Run("DROP TABLE save; ALTER TABLE saved RENAME TO save");
  SealRows(*m_File);
  m_Store->Save("new", Node(1));
  LoadAll();
}

TEST_F(StoreDamage, NameTableWithoutRoomForNewNumbersIsNoticed) {
  RunSealed(*m_File, "INSERT INTO name VALUES(9223372036854775807, 'm_Last', 0)");
  ExpectDamaged();
  RunSealed(*m_File, "UPDATE name SET id = -3 WHERE text = 'm_Last'");
  ExpectDamaged();
  m_File->Run("DELETE FROM name WHERE text = 'm_Last'");
  LoadAll();
}

TEST_F(StoreDamage, DamagedObjectDoesNotKeepTheOthersFromLoading) {
  m_Store->Save("whole", Node(5));
  SetRecord(m_Root, {});
  ExpectDamaged();
  EXPECT_EQ(m_Store->Load<Node>("whole")->m_Value, 5);
  m_Store->Save("more", Node(6));
  EXPECT_EQ(m_Store->Load<Node>("more")->m_Value, 6);
}

TEST_F(StoreDamage, FileCutShortIsNoticed) {
  m_Store.reset();
  m_File.reset();
  auto const size = std::filesystem::file_size(Path());
  for (std::uintmax_t cut = 0; cut < size; cut += 1000) {
    std::filesystem::copy_file(Path(), Path("cut"), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::resize_file(Path("cut"), cut);
    try {
      sto_Store store = Open(sto_Mode::ReadOnly, "cut");
      m_Store = std::make_unique<sto_Store>(std::move(store));
      LoadAll();
      ADD_FAILURE() << "loaded from " << cut << " of " << size << " bytes";
    } catch (sto_Exception const& exception) {
      EXPECT_TRUE(exception.Kind() == sto_ErrorKind::Damaged || exception.Kind() == sto_ErrorKind::NotFound)
          << cut << ": " << exception.AsString().View();
    }
    m_Store.reset();
  }
}

TEST_F(StoreDamage, OverwrittenPagesNeverCrashAndNeverPassForWhole) {
  m_Store.reset();
  m_File.reset();
  StoreBytes const whole = FileBytes(Path());
  // Reverses a run of bytes in each page.
  for (std::size_t at = 100; at + 64 < whole.size(); at += 811) {
    StoreBytes changed = whole;
    for (std::size_t i = 0; i < 64; ++i) changed[at + i] = ~changed[at + i];
    WriteFile(Path(), {reinterpret_cast<char const*>(changed.data()), changed.size()});
    try {
      m_Store = std::make_unique<sto_Store>(Open(sto_Mode::ReadOnly));
      LoadAll(); // the bytes may be unused; then nothing has changed
    } catch (sto_Exception const&) {
    }
    m_Store.reset();
  }
}

} // namespace

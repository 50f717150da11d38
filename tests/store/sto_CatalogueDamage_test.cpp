#include <algorithm>

#include "persist/backend/cls_ReadListPrim.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreRows.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

// Damage in the tables name, class, attribute, shape and root: saved content must come back unchanged, or an
// exception must report that something is wrong. Nothing may be taken for absent, and no object may be lost.

/// An object with a base part, an attribute that is often absent, a list, and an object in a field.
class Record : public Bottom {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x760001; }
  Record() { m_BottomValue = 7; }
  explicit Record(cls_ReadVisitor const& visitor)
      : Bottom(cls_ReadVisitor(visitor)),
        m_Label(visitor.Read(cls_FieldHandle(0, "m_Label"_cow), "default"_cow)),
        m_Weight(visitor.Read(cls_FieldHandle(1, "m_Weight"_cow), -1.0)),
        m_Numbers(cls_ReadVisitor(visitor, cls_FieldHandle(2, "m_Numbers"_cow)), nullptr),
        m_Part(sto_ReadShared<Node>(visitor, cls_FieldHandle(3, "m_Part"_cow))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Label"_cow), m_Label);
    visitor.Write(cls_FieldHandle(1, "m_Weight"_cow), m_Weight);
    m_Numbers.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(2, "m_Numbers"_cow), nullptr, &m_Numbers));
    if (m_Part)
      m_Part->DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(3, "m_Part"_cow), nullptr, m_Part.get()));
  }
  /// Its complete content, to compare.
  [[nodiscard]] std::string Content() const {
    std::string text = std::to_string(m_BottomValue) + ' ' + std::string(m_Label.View()) + ' ' +
                       std::to_string(m_Weight) + ' ' + (m_Part ? std::to_string(m_Part->m_Value) : "none");
    for (int i = 0; i < m_Numbers.Count(); ++i) text += ' ' + std::to_string(m_Numbers.ConstGet(i));
    return text;
  }

  cow_String m_Label = "label"_cow;
  double m_Weight = 2.5;
  cls_xp1DArrayListInt m_Numbers;
  std::shared_ptr<Node> m_Part;
  cls_Uid m_Uid;
};

class StoreCatalogueDamage : public StoreFileTest {
 protected:
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      DeclareNode(classes);
      DeclareLevels(classes, 4, 7, 2);
      classes.AddClassMD(new cls_TypeAdapter<Record>("Record"_cow, 3, Bottom::TypeId()))
          .AddAttribute(cls_FieldHandle(0, "m_Label"_cow), ATTR_STRING, 1, COLLECTION_NONE)
          .AddAttribute(cls_FieldHandle(1, "m_Weight"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
          .AddAttribute(cls_FieldHandle(2, "m_Numbers"_cow), ATTR_INT, 1, COLLECTION_LIST_INT)
          .AddAttribute(cls_FieldHandle(3, "m_Part"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
      return classes;
    }();
    return registrar;
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) const {
    return sto_Store::Open(Path(), mode, Classes());
  }

  /// A store with the roots "record" (six objects with their parts) and "node", and one unreachable object.
  void SetUp() override {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, Classes());
    Record record;
    for (int const number : {3, 1, 2}) record.m_Numbers.Append(number);
    record.m_Part = std::make_shared<Node>(40);
    record.m_Part->m_Left = std::make_shared<Node>(41);
    store.Save("record", record);
    store.Save("node", Node(42));
    store.Save("gone", Node(43));
    store.RemoveRoot("gone");
    m_Content = record.Content();
    m_ObjectCount = store.ObjectCount();
  }
  /// Each step gives the right result or raises sto_Exception: loading, saving a new object, collecting, and
  /// loading again. `isDamaged` is set if anything was raised.
  void ExpectWholeOrRaised(bool& isDamaged) {
    auto const step = [&](auto act) {
      try {
        act();
      } catch (sto_Exception const&) {
        isDamaged = true;
      }
    };
    auto const load = [&](sto_Store& store) {
      step([&] { EXPECT_EQ(store.Load<Record>("record")->Content(), m_Content); });
      step([&] { EXPECT_EQ(store.Load<Node>("node")->m_Value, 42); });
    };
    step([&] {
      sto_Store store = Open();
      load(store);
      step([&] { EXPECT_EQ(store.CountGarbage(), 1); });
      step([&] { store.Save("new", Record()); });
      step([&] { EXPECT_EQ(store.Load<Record>("new")->Content(), Record().Content()); });
      step([&] { EXPECT_EQ(store.CollectGarbage(), 1); });
      load(store);
    });
    step([&] {
      sto_Store store = Open(sto_Mode::ReadOnly);
      load(store);
      EXPECT_GE(store.ObjectCount(), m_ObjectCount - 1);
    });
  }
  /// Flips each bit (or each StoreSweepStride-th) of one column of a table's rows, each in a fresh copy of the store.
  /// Returns the number of copies in which something was raised.
  int FlipEach(std::string const& table, std::string const& column, std::string const& where = "1") {
    std::filesystem::path const whole = Path("whole");
    std::filesystem::copy_file(Path(), whole);
    int damaged = 0;
    int flips = 0;
    std::string const select = " FROM " + table + " WHERE " + where + " ORDER BY 1";
    std::vector<std::string> const values =
        SqlFile(Path()).Texts("SELECT DISTINCT CAST(" + column + " AS TEXT)" + select);
    for (std::string const& value : values)
      for (std::string const& flipped : Flips(value, IsText(table, column))) {
        if (++flips % StoreSweepStride != 0) continue;
        std::filesystem::copy_file(whole, Path(), std::filesystem::copy_options::overwrite_existing);
        if (!Replace(table, column, where, value, flipped)) continue;
        SCOPED_TRACE(table + "." + column + ": " + value + " became " + flipped);
        bool isDamaged = false;
        ExpectWholeOrRaised(isDamaged);
        damaged += isDamaged ? 1 : 0;
        if (HasFailure()) return -1;
      }
    std::filesystem::copy_file(whole, Path(), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::remove(whole);
    return damaged;
  }

  /// Changes the catalogue or the roots, and makes their checksums fit.
  void RunSql(std::string const& sql) const {
    SqlFile file(Path());
    RunSealed(file, sql);
  }

  std::string m_Content;
  std::int64_t m_ObjectCount = 0;

 private:
  bool IsText(std::string const& table, std::string const& column) const {
    return SqlFile(Path()).Text("SELECT typeof(" + column + ") FROM " + table) == "text";
  }
  /// The value with each bit flipped: of its bytes, or of the number.
  static std::vector<std::string> Flips(std::string const& value, bool isText) {
    std::vector<std::string> flips;
    if (isText) {
      for (std::size_t at = 0; at < value.size(); ++at)
        for (int bit = 0; bit < 8; ++bit) {
          flips.push_back(value);
          flips.back()[at] = static_cast<char>(flips.back()[at] ^ (1 << bit));
        }
    } else {
      for (int bit = 0; bit < 64; ++bit)
        flips.push_back(std::to_string(static_cast<std::int64_t>(
            static_cast<std::uint64_t>(std::stoll(value)) ^ std::uint64_t{1} << bit)));
    }
    return flips;
  }
  static std::string Hex(std::string const& text) {
    static constexpr char Digits[] = "0123456789ABCDEF";
    std::string hex;
    for (char const c : text) {
      hex += Digits[static_cast<unsigned char>(c) >> 4];
      hex += Digits[static_cast<unsigned char>(c) & 0xF];
    }
    return hex;
  }
  /// Replaces a value in one row; false if SQLite's own rules reject the new one.
  bool Replace(std::string const& table, std::string const& column, std::string const& where,
               std::string const& value, std::string const& flipped) const {
    bool const isText = IsText(table, column);
    std::string const set = isText ? "CAST(x'" + Hex(flipped) + "' AS TEXT)" : flipped;
    std::string const is = isText ? "CAST(x'" + Hex(value) + "' AS TEXT)" : value;
    try {
      SqlFile(Path()).Run("UPDATE " + table + " SET " + column + " = " + set + " WHERE " + column + " = " +
                          is + " AND (" + where + ")");
      return true;
    } catch (std::runtime_error const&) {
      return false; // such a row already exists
    }
  }
};

TEST_F(StoreCatalogueDamage, UndamagedStoreIsWhole) {
  bool isDamaged = false;
  ExpectWholeOrRaised(isDamaged);
  EXPECT_FALSE(isDamaged);
}

TEST_F(StoreCatalogueDamage, EveryBitOfANameIsNoticed) {
  std::size_t bits = 0;
  for (std::string const& text : SqlFile(Path()).Texts("SELECT text FROM name")) bits += 8 * text.size();
  EXPECT_EQ(FlipEach("name", "text"), static_cast<int>(bits) / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfANamesNumberIsNoticed) {
  EXPECT_GT(FlipEach("name", "id"), 6 * 60 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfAnAttributesNameIsNoticedOrHarmless) {
  EXPECT_GT(FlipEach("attribute", "name"), 300 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfAnAttributesNumbersIsNoticedOrHarmless) {
  // Programs use 32 bits of it. Values that no one has stored or written since are not checked.
  for (char const* const column : {"field_id", "type", "type_arg", "collection_type"}) {
    SCOPED_TRACE(column);
    EXPECT_GE(FlipEach("attribute", column, "class_id = 7733249"), 31 / StoreSweepStride);
  }
  for (char const* const column : {"class_id", "version"})
    EXPECT_EQ(FlipEach("attribute", column, "name = 'm_Label'"), 64 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfAClassIsNoticedOrHarmless) {
  for (char const* const column : {"class_id", "version"})
    for (char const* const where : {"name = 'Record'", "name = 'Bottom'", "name = 'cls_InternalList'"})
      EXPECT_GE(FlipEach("class", column, where), 32 / StoreSweepStride);
  EXPECT_GT(FlipEach("class", "name", "name = 'Record'"),
            40 / StoreSweepStride); // reported as a conflict when it is saved
  EXPECT_GE(FlipEach("class", "base_class_id", "name = 'Record'"), 32 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfARootIsNoticed) {
  EXPECT_EQ(FlipEach("root", "object_id"), 2 * 64 / StoreSweepStride);
  EXPECT_EQ(FlipEach("root", "class_id"), 2 * 64 / StoreSweepStride);
  EXPECT_EQ(FlipEach("root", "checksum"), 2 * 64 / StoreSweepStride);
  EXPECT_EQ(FlipEach("root", "name"), 8 * 10 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, EveryBitOfAChecksumIsNoticed) {
  EXPECT_EQ(FlipEach("class", "checksum", "name = 'Record'"), 64 / StoreSweepStride);
  EXPECT_EQ(FlipEach("name", "checksum", "text = 'm_Weight'"), 64 / StoreSweepStride);
  EXPECT_EQ(FlipEach("shape", "checksum", "id = 1"), 64 / StoreSweepStride);
}

TEST_F(StoreCatalogueDamage, MissingNameIsReportedWithItsObjectAndTable) {
  SqlFile(Path()).Run("DELETE FROM name WHERE text = 'm_Weight'");
  sto_Store store = Open();
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Record>("record")); });
  for (char const* const part : {"Object 1 ", "Record", "table name", "test.kvs"})
    EXPECT_TRUE(Contains(message, part)) << message;
  MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.CountGarbage()); });
  EXPECT_EQ(store.ObjectCount(), m_ObjectCount);
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 42); // an object without that attribute
}

TEST_F(StoreCatalogueDamage, AttributeMissingFromItsClassIsReportedWithItsTable) {
  RunSql("DELETE FROM attribute WHERE name = 'm_Weight'");
  sto_Store store = Open();
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Record>("record")); });
  for (char const* const part : {"Object 1 ", "m_Weight", "table attribute", "Record version 3"})
    EXPECT_TRUE(Contains(message, part)) << message;
}

TEST_F(StoreCatalogueDamage, AttributeOfAnotherTypeThanDescribedIsReported) {
  // What a damaged name or number can lead to: another attribute of the class, with another type.
  RunSql("UPDATE attribute SET type = 102 WHERE name = 'm_Weight'");
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(Open().Load<Record>("record")); });
  EXPECT_TRUE(Contains(message, "m_Weight") && Contains(message, "another type")) << message;
}

TEST_F(StoreCatalogueDamage, UndescribedClassIsReported) {
  std::filesystem::copy_file(Path(), Path("whole"));
  for (char const* const name : {"Bottom", "cls_InternalList", "Record"}) {
    std::filesystem::copy_file(Path("whole"), Path(), std::filesystem::copy_options::overwrite_existing);
    std::string const named = std::string(" WHERE name = '") + name + "'";
    RunSql("DELETE FROM attribute WHERE class_id = (SELECT class_id FROM class" + named +
           "); DELETE FROM class" + named);
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(Open().Load<Record>("record")); });
    EXPECT_TRUE(Contains(message, name) && Contains(message, "table class")) << message;
  }
}

TEST_F(StoreCatalogueDamage, ContradictoryCatalogueIsReportedWithItsTable) {
  auto const expect = [&](char const* damage, char const* repair, char const* table) {
    RunSql(damage);
    sto_Store store = Open();
    for (std::function<void()> const& act :
         {std::function<void()>([&] { static_cast<void>(store.Load<Node>("node")); }),
          std::function<void()>([&] { store.Save("new", Node(1)); })}) {
      std::string const message = MessageOf(sto_ErrorKind::Damaged, act);
      EXPECT_TRUE(Contains(message, table) && Contains(message, "test.kvs")) << message;
    }
    RunSql(repair);
    EXPECT_EQ(store.Load<Node>("node")->m_Value, 42);
  };
  expect("INSERT INTO name VALUES(99, '', 0)", "DELETE FROM name WHERE id = 99", "table name");
  // Programs use 32 bits: larger numbers name another class, or the same one.
  expect("INSERT INTO class SELECT class_id, version + 4294967296, name, base_class_id, 0 FROM class "
         "WHERE name = 'Node'",
         "DELETE FROM class WHERE version > 4294967296", "table class");
}

TEST_F(StoreCatalogueDamage, RootOfABaseClassPartOrOfNothingIsDamageAndStopsCollecting) {
  SqlFile file(Path());
  std::string const part = "2"; // the part of Bottom, which does not have a record of its own
  for (std::string const& id :
       {part, std::string("0"), std::string("-1"), std::string("-64"), std::string("5000"),
        std::string("9223372036854775807"), std::string("-9223372036854775808")}) {
    SCOPED_TRACE(id);
    PutRoot(file, "wrong", id);
    sto_Store store = Open();
    EXPECT_TRUE(store.HasRoot("wrong"));
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Bottom>("wrong")); });
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.LoadShared<Bottom>("wrong")); });
    MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.CountGarbage()); });
    EXPECT_EQ(store.ObjectCount(), m_ObjectCount);
    EXPECT_EQ(store.Load<Record>("record")->Content(), m_Content);
  }
  sto_Store store = Open();
  store.RemoveRoot("wrong");
  EXPECT_EQ(store.CollectGarbage(), 1);
}

TEST_F(StoreCatalogueDamage, WhatTheRunningTransactionDescribesIsKnownInIt) {
  sto_Store store = Open();
  {
    sto_Transaction transaction(store);
    Middle middle;
    middle.m_MiddleValue = "middle"_cow;
    store.Save("middle", middle); // a class that is new to the store
    EXPECT_EQ(store.Load<Middle>("middle")->m_MiddleValue.View(), "middle");
    transaction.Rollback();
  }
  EXPECT_FALSE(store.HasRoot("middle"));
  store.Save("middle", Middle());
  EXPECT_EQ(store.Load<Middle>("middle")->m_BottomValue, 0);
  EXPECT_EQ(Open().Load<Middle>("middle")->m_BottomValue, 0);
}

TEST_F(StoreCatalogueDamage, DamageThatAnotherSessionRepairsIsForgotten) {
  SqlFile(Path()).Run("UPDATE name SET text = 'm_Wejght' WHERE text = 'm_Weight'");
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Record>("record")); });
  SqlFile(Path()).Run("UPDATE name SET text = 'm_Weight' WHERE text = 'm_Wejght'");
  EXPECT_EQ(store.Load<Record>("record")->Content(), m_Content);
  SqlFile(Path()).Run("UPDATE name SET text = 'm_Wejght' WHERE text = 'm_Weight'");
  MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Record>("record")); });
}

TEST_F(StoreCatalogueDamage, AttributesInAnyOrderAndSelectionAreNoDamage) {
  sto_Store store = sto_Store::Open(Path("ordered.kvs"), sto_Mode::Create, TestClasses());
  std::vector<std::vector<int>> const orders{{1, 2, 3}, {3, 2, 1},    {2},         {},
                                             {4, 1},    {1, 4, 3, 2}, {2, 5, 1, 4}};
  for (int round = 0; round < 2; ++round)
    for (std::size_t i = 0; i < orders.size(); ++i)
      SaveFields(
          store,
          [&](cls_WriteVisitor const& visitor) {
            for (int const number : orders[i]) {
              visitor.Write(cls_FieldHandle(cow_String("m_" + std::to_string(number))), number);
              visitor.Write(cls_FieldHandle(10 + number, cow_String()), "by number"_cow);
            }
          },
          std::to_string(i));
  for (int round = 0; round < 3; ++round)
    for (std::size_t i = 0; i < orders.size(); ++i)
      static_cast<void>(LoadFields(
          store,
          [&](cls_ReadVisitor const& visitor) {
            for (int number = 1; number <= 5; ++number) {
              bool const isThere = std::ranges::find(orders[i], number) != orders[i].end();
              EXPECT_EQ(visitor.Read(cls_FieldHandle(cow_String("m_" + std::to_string(number))), -1),
                        isThere ? number : -1);
            }
          },
          std::to_string(i)));
}

} // namespace

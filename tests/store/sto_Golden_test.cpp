#include <array>
#include <initializer_list>

#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreTest.h"
#include "tests/support/store/StoreXxh3.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

/// The bytes of stored objects, written by hand. They never change: stores of today must be readable forever.
class StoreGolden : public StoreTest {
 protected:
  StoreBytes RecordOf(std::int64_t id) {
    SqlFile file(Path());
    file.Unpack();
    return file.Blob("SELECT record FROM object WHERE id = " + std::to_string(id));
  }
};

StoreBytes Bytes(std::initializer_list<int> values) {
  StoreBytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

/// The bytes with their checksum, computed independently of the store's code.
StoreBytes Sealed(StoreBytes bytes, std::uint64_t seed) {
  std::uint64_t const hash = StoreXxh3(bytes, seed);
  for (int shift = 0; shift < 64; shift += 8) bytes.push_back(static_cast<std::byte>(hash >> shift & 0xFF));
  return bytes;
}

class GoldenPart {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x640001; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_PartUid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Name"_cow), "M8"_cow);
  }
  cls_Uid m_PartUid;
};

class GoldenBolt : public GoldenPart {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x640002; }
  GoldenBolt() {
    m_Holes.Append(3);
    m_Holes.Append(-1);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_BoltUid)) return;
    GoldenPart::DBWrite(cls_WriteVisitor(visitor, GoldenPart::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Length"_cow), 0.05);
    m_Holes.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle(1, "m_Holes"_cow), nullptr, &m_Holes));
  }
  cls_xp1DArrayListInt m_Holes;
  cls_Uid m_BoltUid;
};

void DeclareGolden(cls_ClassRegistrar& registrar) {
  registrar.CreateClassMD("Part"_cow, GoldenPart::TypeId(), 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Name"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  registrar.CreateClassMD("Bolt"_cow, GoldenBolt::TypeId(), 3, nullptr, GoldenPart::TypeId())
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Holes"_cow), ATTR_INT, 1, COLLECTION_LIST_INT);
}

TEST_F(StoreGolden, ObjectWithABasePartAndAListInAField) {
  cls_ClassRegistrar classes;
  DeclareGolden(classes);
  sto_Store::Open(Path(), sto_Mode::Create, classes).Save("bolt", GoldenBolt());
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT text FROM name ORDER BY id"),
            (std::vector<std::string>{"m_Name", "m_Length", "m_Holes"}));
  StoreBytes const bolt = Bytes({
      0x01,                                                       // form
      0x02,                                                       // two parts
      0x82, 0x80, 0x90, 0x03,                                     // class ID 0x640002
      0x06,                                                       // version 3
      0x01,                                                       // id 1
      0x02,                                                       // two fields
      0x02, 0x0C, 0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xA9, 0x3F, // name 2, double, 0.05
      0x03, 0x0F, 0x03, 0,    0,    0,    0,    0,    0,    0,
      0x36,                        // name 3, object 3, collection code 54
      0x81, 0x80, 0x90, 0x03,      // class ID 0x640001
      0x02,                        // version 1
      0x02,                        // id 2
      0x01,                        // one field
      0x01, 0x02, 0x02, 'M',  '8', // name 1, text of 2 bytes
      0x00,                        // no list
  });
  StoreBytes const stored = RecordOf(1);
  EXPECT_EQ(stored, Sealed(bolt, 1));
  EXPECT_EQ(StoreBytes(stored.end() - 8, stored.end()),
            Bytes({0xC2, 0x9E, 0x36, 0x7A, 0x45, 0x2D, 0x6E, 0xA7}));
  StoreBytes const holes = Bytes({
      0x01,                   // form
      0x01,                   // one part
      0x81, 0x80, 0x8C, 0x01, // class ID 0x230001
      0xC0, 0x0C,             // version 800
      0x03,                   // id 3
      0x00,                   // no fields
      0x01,                   // an inline list
      0x06,                   // of int
      0x02,                   // row width 1
      0x02,                   // two elements
      0x03, 0x00, 0x00, 0x00, // 3
      0xFF, 0xFF, 0xFF, 0xFF, // -1
  });
  EXPECT_EQ(RecordOf(3), Sealed(holes, 3));
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT id || ' ' || class_id FROM object ORDER BY id"),
            (std::vector<std::string>{"1 6553602", "3 2293761"}));
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT value FROM meta WHERE key = 'next_object_id'"), 4);
}

/// The bytes before a collection: form, one part of a library class, no fields.
StoreBytes Collection(int classOrdinal, int id, std::initializer_list<int> content) {
  StoreBytes bytes = Bytes({0x01, 0x01, 0x80 + classOrdinal, 0x80, 0x8C, 0x01, 0xC0, 0x0C, id, 0x00});
  StoreBytes const rest = Bytes(content);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return Sealed(bytes, static_cast<std::uint64_t>(id));
}

TEST_F(StoreGolden, MapsTablesAndCollectionsOfObjects) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, CollectionClasses());
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    Node const node(1);
    {
      auto const memento = WriteIn(visitor, "m_Any", MapClass);
      auto const map = Own(memento->MakeWriteMapString2Prim(static_cast<float const*>(nullptr)));
      map->Insert("ab"_cow, 0.5F);
      map->Insert(cow_String(), 0);
    }
    {
      auto const memento = WriteIn(visitor, "m_Second", MapClass);
      auto const map = Own(memento->MakeWriteMapInt2Prim(static_cast<cow_String const*>(nullptr)));
      map->Insert(-1, ""_cow);
      map->Insert(64, cow_String());
    }
    AppendNode(*Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid())), node);
    {
      auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      InsertNode(*map, 2, node);
      InsertNode(*map, -1, node);
    }
    InsertNode(*Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid())), "n"_cow,
               node);
    auto const table = Own(visitor.Memento()->MakeFieldWriteIntTableInt(Field("m_Pairs"), cls_Uid()));
    table->Insert(-2, 100);
    table->Insert(0, -1);
  });
  EXPECT_EQ(RecordOf(2), Collection(2, 2,
                                    {0x03,                          // a map
                                     0x02, 0x03, 0x02,              // from string to float, two entries
                                     0x03, 'a', 'b', 0, 0, 0, 0x3F, // "ab": 0.5
                                     0x00, 0, 0, 0, 0}));           // no text: 0
  EXPECT_EQ(RecordOf(3), Collection(2, 3,
                                    {0x03,                // a map
                                     0x01, 0x02, 0x02,    // from int to string, two entries
                                     0x01, 0x01,          // -1: empty text
                                     0x80, 0x01, 0x00})); // 64: no text
  EXPECT_EQ(RecordOf(4), Collection(1, 4,
                                    {0x01,                         // an inline list
                                     0x07, 0x02, 0x01,             // of objects, row width 1, one element
                                     0x05, 0, 0, 0, 0, 0, 0, 0})); // object 5
  EXPECT_EQ(RecordOf(6), Collection(2, 6,
                                    {0x03,             // a map
                                     0x01, 0x07, 0x02, // from int to objects, two entries
                                     0x04, 0x05,       // 2: object 5
                                     0x01, 0x05}));    // -1: object 5
  EXPECT_EQ(RecordOf(7), Collection(2, 7,
                                    {0x03,               // a map
                                     0x02, 0x07, 0x01,   // from string to objects, one entry
                                     0x02, 'n', 0x05})); // "n": object 5
  EXPECT_EQ(RecordOf(8), Collection(2, 8,
                                    {0x04,             // an int table
                                     0x02,             // of two entries
                                     0x03, 0xC8, 0x01, // -2: 100
                                     0x00, 0x01}));    // 0: -1
}

TEST_F(StoreGolden, OpenListOfObjects) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, CollectionClasses());
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(9));
    list->SetCount(1);
  });
  EXPECT_EQ(RecordOf(2), Sealed(Bytes({0x01, 0x01, 0x81, 0x80, 0x8C, 0x01, 0xC0, 0x0C, 0x02,
                                       0x02,                                  // two fields
                                       0x00, 0x00, 0x07, 0x09, 0,    0,    0, // number 0: 9 expected
                                       0x00, 0x02, 0x09, 0x01, 0,    0,    0,    0,    0,
                                       0,    0,                // number 1: written once
                                       0x01, 0x07, 0x02, 0x01, // a list of one object
                                       0,    0,    0,    0,    0,    0,    0,    0}), // absent
                                2));
}

/// A bolt as stored in format 1.
class OldBolt {
 public:
  static constexpr unsigned int TypeId() noexcept { return GoldenBolt::TypeId(); }
  explicit OldBolt(cls_ReadVisitor const& visitor)
      : m_Name(cls_ReadVisitor(visitor).Read(cls_FieldHandle(0, "m_Name"_cow), ""_cow)),
        m_Length(visitor.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0)),
        m_Holes(cls_ReadVisitor(visitor, cls_FieldHandle(1, "m_Holes"_cow)), nullptr) {}
  cow_String m_Name;
  double m_Length;
  cls_xp1DArrayListInt m_Holes;
};

void ExpectTheBolt(sto_Store& store) {
  std::unique_ptr<OldBolt> const bolt = store.Load<OldBolt>("bolt");
  EXPECT_EQ(bolt->m_Name.View(), "M8");
  EXPECT_EQ(bolt->m_Length, 0.05);
  ASSERT_EQ(bolt->m_Holes.Count(), 2);
  EXPECT_EQ(bolt->m_Holes.ConstGet(1), -1);
}

/// A copy of the store made by the last program of format 1.
class StoreFormat1 : public StoreGolden {
 protected:
  StoreFormat1() {
    std::filesystem::copy_file(KVL_GOLDEN_DIR "/format-1.kvs", Path());
    std::filesystem::permissions(Path(), std::filesystem::perms::owner_write,
                                 std::filesystem::perm_options::add);
    DeclareGolden(m_Registrar);
  }
  sto_Store OpenAs(sto_Mode mode) const { return sto_Store::Open(Path(), mode, m_Registrar); }
  [[nodiscard]] std::int64_t Version() const { return Query("PRAGMA user_version"); }
  cls_ClassRegistrar m_Registrar;
};

TEST_F(StoreFormat1, IsReadUnchanged) {
  StoreBytes const before = FileBytes(Path());
  for (sto_Mode const mode : {sto_Mode::ReadOnly, sto_Mode::ReadWrite}) {
    sto_Store store = OpenAs(mode);
    ExpectTheBolt(store);
    EXPECT_EQ(store.Roots(), std::vector<std::string>{"bolt"});
  }
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreFormat1, FirstWriteBringsItToThePresentFormatAndDescribesWhatIsWritten) {
  {
    sto_Store store = OpenAs(sto_Mode::ReadWrite);
    store.Save("second", GoldenBolt());
    ExpectTheBolt(store);
  }
  EXPECT_EQ(Version(), 3);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT class_id || ' ' || name FROM attribute ORDER BY class_id, name"),
            (std::vector<std::string>{"6553601 m_Name", "6553602 m_Holes", "6553602 m_Length"}));
  sto_Store store = OpenAs(sto_Mode::ReadOnly);
  ExpectTheBolt(store);
  EXPECT_EQ(store.ObjectCount(), 4);
}

TEST_F(StoreFormat1, RolledBackWriteLeavesTheOldFormat) {
  sto_Store store = OpenAs(sto_Mode::ReadWrite);
  {
    sto_Transaction transaction(store);
    store.Save("second", GoldenBolt());
  }
  EXPECT_EQ(Version(), 1);
  store.Save("second", GoldenBolt());
  EXPECT_EQ(Version(), 3);
}

TEST_F(StoreFormat1, SessionThatReadsNoticesWhatAnotherOneUpgraded) {
  sto_Store reader = OpenAs(sto_Mode::ReadOnly);
  ExpectTheBolt(reader);
  {
    sto_Store writer = OpenAs(sto_Mode::ReadWrite);
    writer.Save("second", GoldenBolt());
  }
  EXPECT_EQ(reader.Roots().size(), 2U);
  ExpectTheBolt(reader);
}

TEST_F(StoreGolden, EveryTypeOfField) {
  sto_Store store = Create();
  cls_Uid const other;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle(0, cow_String()), cow_String());
    visitor.Write(cls_FieldHandle(1, cow_String()), ""_cow);
    visitor.Write(cls_FieldHandle(-1, cow_String()), true);
    visitor.Write(cls_FieldHandle(2, cow_String()), static_cast<signed char>(-2));
    visitor.Write(cls_FieldHandle(3, cow_String()), static_cast<short>(-3));
    visitor.Write(cls_FieldHandle(4, cow_String()), static_cast<unsigned short>(0xFFFE));
    visitor.Write(cls_FieldHandle(5, cow_String()), -5);
    visitor.Write(cls_FieldHandle(6, cow_String()), 6U);
    visitor.Write(cls_FieldHandle(7, cow_String()), -7LL);
    visitor.Write(cls_FieldHandle(8, cow_String()), 8ULL);
    visitor.Write(cls_FieldHandle(9, cow_String()), -0.0F);
    visitor.WriteEnum(cls_FieldHandle(10, cow_String()), 300);
    visitor.Memento()->WriteReference(cls_FieldHandle(11, cow_String()), other);
    visitor.Memento()->WriteBytes(cls_FieldHandle(64, cow_String()), "\x01\x02", 2);
  });
  StoreBytes const expected = Bytes({
      0x01,                                                             // form
      0x01,                                                             // one part
      0x81, 0x80, 0xC0, 0x03,                                           // class ID 0x700001
      0x02,                                                             // version 1
      0x01,                                                             // id 1
      0x0E,                                                             // fourteen fields, each by its number
      0x00, 0x00, 0x01,                                                 // 0: no text
      0x00, 0x02, 0x02, 0x00,                                           // 1: empty text
      0x00, 0x01, 0x03, 0x01,                                           // -1: true
      0x00, 0x04, 0x04, 0xFE,                                           // 2: 8 bits
      0x00, 0x06, 0x05, 0xFD, 0xFF,                                     // 3: 16 bits
      0x00, 0x08, 0x06, 0xFE, 0xFF,                                     // 4: unsigned 16 bits
      0x00, 0x0A, 0x07, 0xFB, 0xFF, 0xFF, 0xFF,                         // 5: 32 bits
      0x00, 0x0C, 0x08, 0x06, 0,    0,    0,                            // 6: unsigned 32 bits
      0x00, 0x0E, 0x09, 0xF9, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, // 7: 64 bits
      0x00, 0x10, 0x0A, 0x08, 0,    0,    0,    0,    0,    0,    0,    // 8: unsigned 64 bits
      0x00, 0x12, 0x0B, 0,    0,    0,    0x80,                         // 9: float
      0x00, 0x14, 0x0D, 0x2C, 0x01, 0,    0,                            // 10: enumeration
      0x00, 0x16, 0x0E, 0x02, 0,    0,    0,    0,    0,    0,    0,    // 11: reference to object 2
      0x00, 0x80, 0x01, 0x10, 0x02, 0x01, 0x02,                         // 64: two bytes
      0x00,                                                             // no list
  });
  EXPECT_EQ(RecordOf(1), Sealed(expected, 1));
}

TEST_F(StoreGolden, ListOfStringsTellsNoTextFromEmptyText) {
  sto_Store store = Create();
  cls_xp1DArrayListString list;
  list.Append(cow_String());
  list.Append(""_cow);
  list.Append("a"_cow);
  store.Save("list", list);
  StoreBytes const expected = Bytes({
      0x01,                               // form
      0x01,                               // one part
      0x81, 0x80, 0x8C, 0x01, 0xC0, 0x0C, // class ID 0x230001, version 800
      0x01, 0x00,                         // id 1, no fields
      0x01, 0x02, 0x02, 0x03,             // an inline list of string, row width 1, 3 elements
      0x00,                               // no text
      0x01,                               // empty text
      0x02, 'a',                          // "a"
  });
  EXPECT_EQ(RecordOf(1), Sealed(expected, 1));
}

} // namespace

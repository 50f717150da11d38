#include <array>
#include <initializer_list>

#include "tests/support/store/StoreCollections.h"
#include "tests/support/store/StoreTest.h"
#include "tests/support/store/StoreXxh3.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

StoreBytes Bytes(std::initializer_list<int> values) {
  StoreBytes bytes;
  for (int const value : values) bytes.push_back(static_cast<std::byte>(value));
  return bytes;
}

/// The bytes with their checksum, computed independently of the store's code.
StoreBytes Sealed(StoreBytes bytes, std::int64_t owner, int checksumBytes = 8) {
  std::uint64_t const hash = StoreXxh3(bytes, static_cast<std::uint64_t>(owner));
  for (int i = 0; i < checksumBytes; ++i) bytes.push_back(static_cast<std::byte>(hash >> (8 * i) & 0xFF));
  return bytes;
}

/// The bytes of stored objects, written by hand. They never change: stores of today must be readable forever.
class StoreGolden : public StoreTest {
 protected:
  /// Expects an object to have a shape and values.
  void ExpectStored(std::int64_t id, StoreBytes const& shape, StoreBytes const& values) const {
    SCOPED_TRACE("object " + std::to_string(id));
    std::filesystem::copy_file(Path(), Path("unpacked"), std::filesystem::copy_options::overwrite_existing);
    SqlFile file(Path("unpacked"));
    file.Unpack();
    StoreRow const row = file.Row(id);
    EXPECT_EQ(file.Blob("SELECT data FROM shape WHERE id = " + std::to_string(row.m_Shape)), shape);
    EXPECT_EQ(row.m_Values, values);
  }
};

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

/// A bolt as it is read.
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

TEST_F(StoreGolden, ObjectWithABasePartAndAListInAField) {
  cls_ClassRegistrar classes;
  DeclareGolden(classes);
  sto_Store::Open(Path(), sto_Mode::Create, classes).Save("bolt", GoldenBolt());
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT text FROM name ORDER BY id"),
            (std::vector<std::string>{"m_Name", "m_Length", "m_Holes"}));
  StoreBytes const boltShape = Bytes({
      0x01,                   // the ids of the parts follow
      0x02,                   // two parts
      0x82, 0x80, 0x90, 0x03, // class ID 0x640002
      0x06,                   // version 3
      0x02,                   // two fields
      0x02, 0x0C,             // name 2, double
      0x03, 0x0F, 0x36,       // name 3, object, collection code 54
      0x81, 0x80, 0x90, 0x03, // class ID 0x640001
      0x02,                   // version 1
      0x01,                   // one field
      0x01, 0x02,             // name 1, string
      0x00,                   // no list
  });
  StoreBytes const bolt = Bytes({
      0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xA9, 0x3F, // 0.05
      0x04,                                           // object 1 + 2
      0x03, 'M', '8',                                 // text of 2 bytes
  });
  StoreBytes const holesShape = Bytes({
      0x01,                   // the ids of the parts follow
      0x01,                   // one part
      0x81, 0x80, 0x8C, 0x01, // class ID 0x230001
      0xC0, 0x0C,             // version 800
      0x00,                   // no fields
      0x01, 0x06,             // an inline list of int
  });
  StoreBytes const holes = Bytes({
      0x02,                   // row width 1
      0x02,                   // two elements
      0x03, 0x00, 0x00, 0x00, // 3
      0xFF, 0xFF, 0xFF, 0xFF, // -1
  });
  ExpectStored(1, boltShape, bolt);
  ExpectStored(3, holesShape, holes);
  SqlFile file(Path());
  EXPECT_EQ(file.Blob("SELECT data FROM shape WHERE id = 1"), holesShape); // it was finished first
  EXPECT_EQ(file.Blob("SELECT data FROM shape WHERE id = 2"), boltShape);
  EXPECT_EQ(file.Integer("SELECT count(*) FROM shape"), 2);

  StoreBytes pack = file.Blob("SELECT data FROM pack");
  ASSERT_GT(pack.size(), 5U);
  StoreBytes header = Bytes({
      0x0A, 0x00, 0x00, 0x00,        // objects 1 and 3
      std::to_integer<int>(pack[4]), // the save
      0x02, 0x02, 0x01,              // two shapes: 2 and 1
      0x00, 0x01,                    // object 1 has the first, object 3 the second
      0x10, 0x00, 0x1E, 0x00,        // their records end at 16 and 30
  });
  StoreBytes expected = Sealed(header, 0, 4);
  for (StoreBytes const& record : {Sealed(bolt, 1, 4), Sealed(holes, 3, 4)})
    expected.insert(expected.end(), record.begin(), record.end());
  EXPECT_EQ(pack, expected);
  EXPECT_EQ(file.Objects(), (std::vector<std::string>{"1 6553602", "3 2293761"}));
  EXPECT_EQ(file.Integer("SELECT next_object_id FROM save ORDER BY no DESC LIMIT 1"), 4);
}

TEST_F(StoreGolden, LongRecordIsARowWithItsSaveAndItsShape) {
  Create();
  sto_Store store = Open();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteBytes(cls_FieldHandle(5, cow_String()), std::string(997, 'b').data(), 997);
  });
  StoreBytes const row = SqlFile(Path()).Blob("SELECT record FROM object WHERE id = 1");
  ASSERT_EQ(row.size(), 1 + 1 + 2 + 997 + 8);
  EXPECT_EQ(row[1], std::byte{1});                                                   // shape 1
  EXPECT_EQ(StoreBytes(row.begin() + 2, row.begin() + 5), Bytes({0xE5, 0x07, 'b'})); // length 997
  EXPECT_EQ(WithChecksum(1, StoreBytes(row.begin(), row.end() - 8)), row);
  ExpectStored(1, Bytes({0x01, 0x01, 0x81, 0x80, 0xC0, 0x03, 0x02, 0x01, 0x00, 0x0A, 0x10, 0x00}),
               StoreBytes(row.begin() + 2, row.end() - 8));
}

TEST_F(StoreGolden, IdOfABasePartThatDoesNotFollowIsInTheRecord) {
  cls_ClassRegistrar classes;
  DeclareGolden(classes);
  DeclareScripted(classes);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  GoldenBolt const bolt;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) { // the part gets its id first
    visitor.Memento()->WriteReference(cls_FieldHandle(11, cow_String()), bolt.m_PartUid);
  });
  store.Save("bolt", bolt);
  ASSERT_EQ(SqlFile(Path()).Integer("SELECT object_id FROM root WHERE name = 'bolt'"), 3);
  ExpectStored(3,
               Bytes({0x00,                                     // the ids of the parts are in the records
                      0x02,                                     // two parts
                      0x82, 0x80, 0x90, 0x03, 0x06, 0x02,       // class ID 0x640002, version 3, two fields
                      0x02, 0x0C, 0x03, 0x0F, 0x36,             // double, object
                      0x81, 0x80, 0x90, 0x03, 0x02, 0x01, 0x01, // class ID 0x640001, version 1, one field
                      0x02, 0x00}),                             // string, no list
               Bytes({0x9A, 0x99, 0x99, 0x99, 0x99, 0x99, 0xA9, 0x3F, // 0.05
                      0x02,                                           // object 3 + 1
                      0x03,                                           // the part is 4 - 2
                      0x03, 'M', '8'}));                              // text of 2 bytes
  EXPECT_EQ(store.Load<OldBolt>("bolt")->m_Name.View(), "M8");
}

/// The shape of a collection: one part of a library class, no fields.
StoreBytes CollectionShape(int classOrdinal, std::initializer_list<int> content) {
  StoreBytes bytes = Bytes({0x01, 0x01, 0x80 + classOrdinal, 0x80, 0x8C, 0x01, 0xC0, 0x0C, 0x00});
  StoreBytes const rest = Bytes(content);
  bytes.insert(bytes.end(), rest.begin(), rest.end());
  return bytes;
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
  ExpectStored(2, CollectionShape(2, {0x03, 0x02, 0x03}), // a map from string to float
               Bytes({0x02,                               // two entries
                      0x03, 'a', 'b', 0, 0, 0, 0x3F,      // "ab": 0.5
                      0x00, 0, 0, 0, 0}));                // no text: 0
  ExpectStored(3, CollectionShape(2, {0x03, 0x01, 0x02}), // from int to string
               Bytes({0x02,                               // two entries
                      0x01, 0x01,                         // -1: empty text
                      0x80, 0x01, 0x00}));                // 64: no text
  ExpectStored(4, CollectionShape(1, {0x01, 0x07}),       // an inline list of objects
               Bytes({0x02, 0x01,                         // row width 1, one element
                      0x03}));                            // object 4 + 1
  ExpectStored(6, CollectionShape(2, {0x03, 0x01, 0x07}), // from int to objects
               Bytes({0x02,                               // two entries
                      0x04, 0x05,                         // 2: object 5
                      0x01, 0x05}));                      // -1: object 5
  ExpectStored(7, CollectionShape(2, {0x03, 0x02, 0x07}), // from string to objects
               Bytes({0x01,                               // one entry
                      0x02, 'n', 0x05}));                 // "n": object 5
  ExpectStored(8, CollectionShape(2, {0x04}),             // an int table
               Bytes({0x02,                               // of two entries
                      0x03, 0xC8, 0x01,                   // -2: 100
                      0x00, 0x01}));                      // 0: -1
}

TEST_F(StoreGolden, OpenListOfObjects) {
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, CollectionClasses());
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    auto const list = Own(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(9));
    list->SetCount(1);
  });
  ExpectStored(2,
               Bytes({0x01, 0x01, 0x81, 0x80, 0x8C, 0x01, 0xC0, 0x0C,
                      0x01,             // one field
                      0x00, 0x00, 0x07, // number 0: 32 bits
                      0x01, 0x07}),     // a list of objects
               Bytes({0x09, 0, 0, 0,    // 9 expected
                      0x02, 0x01,       // one object
                      0x00}));          // absent
}

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
  sto_Store OpenAs(sto_Mode mode, bool upgrade = false) const {
    sto_Options options;
    options.m_Upgrade = upgrade;
    return sto_Store::Open(Path(), mode, m_Registrar, options);
  }
  [[nodiscard]] std::int64_t Version() const { return Query("PRAGMA user_version"); }
  cls_ClassRegistrar m_Registrar;
};

TEST_F(StoreFormat1, IsReadUnchanged) {
  StoreBytes const before = FileBytes(Path());
  sto_Store store = OpenAs(sto_Mode::ReadOnly);
  ExpectTheBolt(store);
  EXPECT_EQ(store.Roots(), std::vector<std::string>{"bolt"});
  EXPECT_EQ(store.ObjectCount(), 2);
  EXPECT_TRUE(FileBytes(Path()) == before);
}

TEST_F(StoreFormat1, UpgradeBringsItToThePresentFormatAndWhatIsWrittenIsDescribed) {
  {
    sto_Store store = OpenAs(sto_Mode::ReadWrite, true);
    EXPECT_EQ(Version(), 4);
    EXPECT_EQ(Query("SELECT count(*) FROM attribute"), 0); // the old store did not know them
    ExpectTheBolt(store);
    store.Save("second", GoldenBolt());
    ExpectTheBolt(store);
  }
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT class_id || ' ' || name FROM attribute ORDER BY class_id, name"),
            (std::vector<std::string>{"6553601 m_Name", "6553602 m_Holes", "6553602 m_Length"}));
  sto_Store store = OpenAs(sto_Mode::ReadOnly);
  ExpectTheBolt(store);
  EXPECT_EQ(store.ObjectCount(), 4);
}

TEST_F(StoreFormat1, UpgradedRecordsAreThoseThatASaveWrites) {
  static_cast<void>(OpenAs(sto_Mode::ReadWrite, true));
  cls_ClassRegistrar classes;
  DeclareGolden(classes);
  sto_Store::Open(Path("new.kvs"), sto_Mode::Create, classes).Save("bolt", GoldenBolt());
  std::vector<StoreBytes> objects[2];
  for (int const i : {0, 1}) {
    SqlFile file(Path(i == 0 ? "test.kvs" : "new.kvs"));
    file.Unpack();
    for (int const id : {1, 3}) {
      StoreRow const row = file.Row(id);
      objects[i].push_back(file.Shape(row.m_Shape));
      objects[i].push_back(row.m_Values);
    }
  }
  EXPECT_EQ(objects[0], objects[1]);
}

TEST_F(StoreFormat1, SessionThatReadsGoesOnWhenAnotherOneUpgrades) {
  sto_Store reader = OpenAs(sto_Mode::ReadOnly);
  ExpectTheBolt(reader);
  {
    sto_Store writer = OpenAs(sto_Mode::ReadWrite, true);
    ExpectTheBolt(reader);
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
  StoreBytes const shape = Bytes({
      0x01,                   // the ids of the parts follow
      0x01,                   // one part
      0x81, 0x80, 0xC0, 0x03, // class ID 0x700001
      0x02,                   // version 1
      0x0E,                   // fourteen fields, each by its number
      0x00, 0x00, 0x02,       // 0: text
      0x00, 0x02, 0x02,       // 1: text
      0x00, 0x01, 0x03,       // -1: bool
      0x00, 0x04, 0x04,       // 2: 8 bits
      0x00, 0x06, 0x05,       // 3: 16 bits
      0x00, 0x08, 0x06,       // 4: unsigned 16 bits
      0x00, 0x0A, 0x07,       // 5: 32 bits
      0x00, 0x0C, 0x08,       // 6: unsigned 32 bits
      0x00, 0x0E, 0x09,       // 7: 64 bits
      0x00, 0x10, 0x0A,       // 8: unsigned 64 bits
      0x00, 0x12, 0x0B,       // 9: float
      0x00, 0x14, 0x0D,       // 10: enumeration
      0x00, 0x16, 0x0E,       // 11: reference
      0x00, 0x80, 0x01, 0x10, // 64: bytes
      0x00,                   // no list
  });
  StoreBytes const values = Bytes({
      0x00,                                           // no text
      0x01,                                           // empty text
      0x01,                                           // true
      0xFE,                                           // -2
      0xFD, 0xFF,                                     // -3
      0xFE, 0xFF,                                     // 0xFFFE
      0xFB, 0xFF, 0xFF, 0xFF,                         // -5
      0x06, 0,    0,    0,                            // 6
      0xF9, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, // -7
      0x08, 0,    0,    0,    0,    0,    0,    0,    // 8
      0,    0,    0,    0x80,                         // -0.0
      0x2C, 0x01, 0,    0,                            // 300
      0x02,                                           // object 1 + 1
      0x02, 0x01, 0x02,                               // two bytes
  });
  ExpectStored(1, shape, values);
}

TEST_F(StoreGolden, ListOfStringsTellsNoTextFromEmptyText) {
  sto_Store store = Create();
  cls_xp1DArrayListString list;
  list.Append(cow_String());
  list.Append(""_cow);
  list.Append("a"_cow);
  store.Save("list", list);
  ExpectStored(1, CollectionShape(1, {0x01, 0x02}), // an inline list of string
               Bytes({0x02, 0x03,                   // row width 1, 3 elements
                      0x00,                         // no text
                      0x01,                         // empty text
                      0x02, 'a'}));                 // "a"
}

} // namespace

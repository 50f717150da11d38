#include "store/format/sto_NestedValue.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/sto_Proxy.h"
#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreRows.h"

namespace {

using Type = sto_NestedType;

/// Objects that are named inside nested values of another object.
class StoreNestedValues : public StoreGarbageTest {
 protected:
  static constexpr std::int64_t Id = 50;
  static constexpr unsigned int HolderClass = 7340999;

  void SetUp() override {
    {
      sto_Store store = Create();
      SaveNodes(store, {1, 2, 3});
    }
    m_File = std::make_unique<SqlFile>(Path());
    RunSealed(*m_File,
              "INSERT INTO root VALUES('holder', 50, 7340999, 0); UPDATE save SET next_object_id = 100;"
              "INSERT INTO class VALUES(7340999, 1, 'Holder', 1, 0);"
              "REPLACE INTO name VALUES(70, 'm_Parts', 0), (71, 'm_Part', 0), (72, 'm_Unit', 0)");
  }
  [[nodiscard]] std::int64_t IdUnder(std::string const& root) const {
    return m_File->Integer("SELECT object_id FROM root WHERE name = '" + root + "'");
  }
  /// A sequence of structs, each with an object and a reference.
  static Type Parts(std::int64_t memberName = 71) {
    return Type::Sequence(Type::Struct({{{memberName, -1}, Type::Value(sto_Format::Object)},
                                        {{0, 4}, Type::Optional(Type::Value(sto_Format::Reference))}}));
  }
  /// Gives the holder a nested value with an object and a reference.
  void PutHolder(Type const& type, std::int64_t held, std::int64_t named) {
    sto_Bytes value;
    sto_NestedWriter writer(value, Id);
    writer.Count(1);
    writer.ObjectId(held);
    writer.Presence(named != 0);
    if (named != 0) writer.ObjectId(named);
    sto_RecordBuilder builder;
    builder.AddPart(HolderClass, 1, Id);
    builder.AddNested(0, {70, -1}, type, value);
    m_File->PutRow(Id, {0, sto_Format::OwnShape, builder.ValuesWithShape()});
  }
  std::unique_ptr<SqlFile> m_File;
};

TEST_F(StoreNestedValues, ObjectsInThemAreNoGarbage) {
  PutHolder(Parts(), IdUnder("1"), IdUnder("2"));
  sto_Store store = Open();
  for (char const* const root : {"1", "2", "3"}) store.RemoveRoot(root);
  EXPECT_EQ(store.CountGarbage(), 1); // the third
  EXPECT_EQ(store.CollectGarbage(), 1);
  store.RemoveRoot("holder");
  EXPECT_EQ(store.CollectGarbage(), 3);
}

TEST_F(StoreNestedValues, MissingObjectInThemIsDamageAndMissingReferenceIsNot) {
  PutHolder(Parts(), IdUnder("1"), 77);
  {
    sto_Store store = Open();
    store.RemoveRoot("2");
    EXPECT_EQ(store.CollectGarbage(), 1);
  }
  PutHolder(Parts(), 77, IdUnder("1"));
  sto_Store store = Open();
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
  EXPECT_TRUE(Contains(message, "Object 77, which object 50 holds, is missing")) << message;
}

TEST_F(StoreNestedValues, IdThatWasNeverGivenOutIsDamage) {
  PutHolder(Parts(), IdUnder("1"), 5000);
  sto_Store store = Open();
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
  EXPECT_TRUE(Contains(message, "Object 50") && Contains(message, "5000")) << message;
}

TEST_F(StoreNestedValues, MemberWithoutAStoredNameIsDamage) {
  PutHolder(Parts(99), IdUnder("1"), 0);
  sto_Store store = Open();
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
  EXPECT_TRUE(Contains(message, "Object 50") && Contains(message, "name 99")) << message;
}

TEST_F(StoreNestedValues, UnitOfAListWithoutAStoredNameIsDamage) {
  sto_RecordBuilder builder;
  builder.AddPart(HolderClass, 1, Id);
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementInt8;
  header.m_Count = 3;
  for (std::int64_t const unit : {72, 99}) {
    header.m_Extra.SetUnit(unit);
    builder.SetList(header, sto_Bytes(3));
    m_File->PutRow(Id, {0, sto_Format::OwnShape, builder.ValuesWithShape()});
    sto_Store store = Open();
    if (unit == 72) {
      EXPECT_EQ(store.CountGarbage(), 0);
      continue;
    }
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { store.CollectGarbage(); });
    EXPECT_TRUE(Contains(message, "name 99")) << message;
  }
}

TEST_F(StoreNestedValues, CopiedBranchHasThemWithItsOwnIdsAndNames) {
  PutHolder(Parts(), IdUnder("2"), IdUnder("3"));
  {
    cls_ClassRegistrar classes;
    DeclareCollections(classes);
    classes.CreateClassMD("Holder"_cow, HolderClass, 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle("m_Parts"_cow), ATTR_NESTED, 1, COLLECTION_NONE);
    sto_Store from = sto_Store::Open(Path(), sto_Mode::ReadWrite, classes);
    sto_Store to = sto_Store::Open(Path("target"), sto_Mode::Create, classes);
    to.Save("first", Node(9)); // other ids, and other numbers of names
    sto_CopyRoot(from, "holder", to, "copy");
    to.Save("held", *from.Load<Node>("1"));
    EXPECT_EQ(to.CountGarbage(), 0);
    EXPECT_EQ(to.ObjectCount(), 5); // first, holder, two copied nodes, held
    to.RemoveRoot("copy");
    EXPECT_EQ(to.CountGarbage(), 3);
  }
  SqlFile target(Path("target"));
  EXPECT_EQ(target.Integer("SELECT count(*) FROM name WHERE text IN ('m_Parts', 'm_Part')"), 2);
}

} // namespace

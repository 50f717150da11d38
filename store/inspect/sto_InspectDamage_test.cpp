#include <filesystem>

#include "store/format/sto_NestedValue.h"
#include "store/format/sto_RecordBuilder.h"
#include "tests/support/store/StoreInspected.h"
#include "tests/support/store/StoreRows.h"

namespace inspect_damage_test {
namespace {

namespace fs = std::filesystem;
using Type = sto_NestedType;

/// Reads all that an object has; returns how many elements, entries and bytes that were.
std::int64_t ReadContent(sto_Inspection const& inspection, sto_InspectedObject const& object) {
  std::int64_t count = 0;
  switch (object.m_Content) {
  case sto_InspectedContent::List: {
    sto_InspectedList list = inspection.List(object.m_Id);
    sto_InspectedElements const all = list.Read(0, list.Count());
    return static_cast<std::int64_t>(std::visit([](auto const& elements) { return elements.size(); }, all));
  }
  case sto_InspectedContent::Map:
    for (sto_InspectedMap map = inspection.Map(object.m_Id); map.Next(); ++count) {
      EXPECT_FALSE(map.Key().valueless_by_exception());
      EXPECT_FALSE(map.Value().valueless_by_exception());
    }
    return count;
  case sto_InspectedContent::Blob: {
    sto_InspectedBlob blob = inspection.Blob(object.m_Id);
    std::vector<std::byte> bytes(static_cast<std::size_t>(blob.Size()));
    blob.Read(0, bytes);
    return blob.Size();
  }
  default:
    return 0;
  }
}

class InspectDamage : public InspectedStoreTest {
 protected:
  static constexpr std::int64_t Id = 50;
  static constexpr unsigned int HolderClass = 7340999;

  InspectDamage() : InspectedStoreTest([](cls_ClassRegistrar&) {}) { m_Store.reset(); }

  /// Gives the store an object of class Holder, which a builder has made.
  void PutHolder(sto_RecordBuilder& builder) {
    SqlFile file(Path());
    RunSealed(file, "INSERT INTO root VALUES('holder', 50, 7340999, 0); UPDATE save SET next_object_id = 100;"
                    "INSERT INTO class VALUES(7340999, 1, 'Holder', 1, 0);"
                    "REPLACE INTO name VALUES(70, 'm_Value', 0), (71, 'm_Part', 0)");
    file.PutRow(Id, {0, sto_Format::OwnShape, builder.ValuesWithShape()});
  }
  /// The only field of an object that has a nested value.
  sto_InspectedField Nested(Type const& type, sto_Bytes const& value) {
    sto_RecordBuilder builder;
    builder.AddPart(HolderClass, 1, Id);
    builder.AddNested(0, {70, -1}, type, value);
    PutHolder(builder);
    return FieldOf(Look().Root("holder"), "m_Value");
  }
  static sto_InspectedTree const& Tree(sto_InspectedMember const& member) {
    return std::get<sto_InspectedTree>(member.m_Value);
  }
};

TEST_F(InspectDamage, FindsNoneInGoldenStores) {
  int stores = 0;
  for (fs::directory_entry const& entry : fs::directory_iterator(KVL_GOLDEN_DIR)) {
    if (entry.path().extension() != ".kvs") continue;
    SCOPED_TRACE(entry.path().filename().string());
    m_Inspection.reset();
    m_Plain.reset();
    fs::copy_file(entry.path(), Path("golden.kvs"), fs::copy_options::overwrite_existing);
    m_Plain.emplace(sto_Store::Open(Path("golden.kvs"), sto_Mode::ReadOnly, m_None));
    m_Inspection.emplace(*m_Plain);
    std::int64_t objects = 0;
    for (sto_InspectedWalk walk = m_Inspection->Objects(); walk.Next(); ++objects) {
      sto_InspectedObject const object = m_Inspection->Object(walk.Id());
      EXPECT_EQ(object.ClassId(), walk.ClassId());
      EXPECT_EQ(ReadContent(*m_Inspection, object), object.m_Count) << object.m_Id;
    }
    EXPECT_EQ(objects, m_Plain->ObjectCount());
    for (sto_InspectedRoot const& root : m_Inspection->Roots())
      EXPECT_EQ(m_Inspection->Root(root.m_Name).ClassId(), root.m_ClassId);
    ++stores;
  }
  EXPECT_GE(stores, 10);
}

TEST_F(InspectDamage, OldStoresSayWhatTheyHave) {
  m_Plain.emplace(sto_Store::Open(KVL_GOLDEN_DIR "/format-1.kvs", sto_Mode::ReadOnly, m_None));
  m_Inspection.emplace(*m_Plain);
  sto_InspectedObject const bolt = m_Inspection->Root("bolt");
  EXPECT_EQ(bolt.ClassName(), "Bolt");
  EXPECT_EQ(Value<double>(bolt, "m_Length"), 0.05);
  EXPECT_EQ(Value<sto_InspectedText>(bolt, "m_Name"), sto_InspectedText("M8"));
  sto_InspectedList holes = m_Inspection->List(IdIn(bolt, "m_Holes"));
  EXPECT_EQ(std::get<std::vector<std::int32_t>>(holes.Read(0, 2)), (std::vector<std::int32_t>{3, -1}));
}

TEST_F(InspectDamage, NestedValuesAreTrees) {
  Type const type = Type::Sequence(Type::Struct(
      {{{71, -1}, Type::Optional(Type::Value(sto_Format::ComplexDouble))},
       {{0, 4}, Type::Variant({Type::Value(sto_Format::Bool), Type::Value(sto_Format::Text)})},
       {{0, 5}, Type::Map(Type::Value(sto_Format::Int32), Type::Value(sto_Format::Reference))}}));
  sto_Bytes value;
  sto_NestedWriter writer(value, Id);
  writer.Count(1);
  writer.Presence(true);
  writer.Number(2.5);
  writer.Number(-1.0);
  writer.Alternative(1);
  writer.Text("one");
  writer.Count(1);
  writer.Number(-7);
  writer.ObjectId(60);
  sto_InspectedField const field = Nested(type, value);
  EXPECT_EQ(field.m_Kind, "sequence");
  sto_InspectedMember const& item = std::get<sto_InspectedTree>(field.m_Value).m_Members.at(0);
  EXPECT_EQ(item.m_Kind, "struct");
  std::vector<sto_InspectedMember> const& members = Tree(item).m_Members;
  ASSERT_EQ(members.size(), 3U);
  EXPECT_EQ(members[0].m_Name, "m_Part");
  EXPECT_EQ(members[0].m_Kind, "optional");
  EXPECT_EQ(std::get<std::complex<double>>(Tree(members[0]).m_Members.at(0).m_Value),
            std::complex<double>(2.5, -1));
  EXPECT_EQ(members[1].m_Number, 4);
  EXPECT_EQ(members[1].m_Kind, "variant");
  EXPECT_EQ(Tree(members[1]).m_Alternative, 1U);
  EXPECT_EQ(std::get<sto_InspectedText>(Tree(members[1]).m_Members.at(0).m_Value), "one");
  EXPECT_EQ(members[2].m_Kind, "map");
  ASSERT_EQ(Tree(members[2]).m_Members.size(), 2U);
  EXPECT_EQ(std::get<std::int64_t>(Tree(members[2]).m_Members[0].m_Value), -7);
  EXPECT_EQ(std::get<sto_InspectedId>(Tree(members[2]).m_Members[1].m_Value), sto_InspectedId{60});
}

TEST_F(InspectDamage, NestedTuplesAndArraysHaveTheirMembers) {
  Type const type = Type::Tuple({Type::Array(2, Type::Value(sto_Format::UInt8)),
                                 Type::Optional(Type::Value(sto_Format::Float)),
                                 Type::Value(sto_Format::Bytes), Type::Value(sto_Format::ComplexFloat)});
  sto_Bytes value;
  sto_NestedWriter writer(value, Id);
  for (int const byte : {200, 255}) writer.Number(static_cast<std::uint8_t>(byte));
  writer.Presence(false);
  writer.Bytes(std::vector<std::byte>(3, std::byte{9}));
  writer.Number(0.5F);
  writer.Number(0.25F);
  sto_InspectedField const field = Nested(type, value);
  EXPECT_EQ(field.m_Kind, "tuple");
  std::vector<sto_InspectedMember> const& members = std::get<sto_InspectedTree>(field.m_Value).m_Members;
  ASSERT_EQ(members.size(), 4U);
  EXPECT_EQ(std::get<std::uint64_t>(Tree(members[0]).m_Members.at(1).m_Value), 255U);
  EXPECT_TRUE(Tree(members[1]).m_Members.empty());
  EXPECT_EQ(std::get<std::vector<std::byte>>(members[2].m_Value), std::vector<std::byte>(3, std::byte{9}));
  EXPECT_EQ(std::get<std::complex<double>>(members[3].m_Value), std::complex<double>(0.5, 0.25));
}

TEST_F(InspectDamage, OfARecordIsReportedWithItsObject) {
  sto_RecordBuilder builder;
  builder.AddPart(HolderClass, 1, Id);
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementDouble;
  header.m_Count = 3;
  builder.SetList(header, sto_Bytes(23)); // one byte is missing
  PutHolder(builder);
  sto_InspectedObject const object = Look().Root("holder");
  EXPECT_EQ(object.m_Count, 3);
  ExpectError(sto_ErrorKind::Damaged, "Object 50", [&] {
    sto_InspectedList list = m_Inspection->List(Id);
    static_cast<void>(list.Read(0, 1));
  });
}

TEST_F(InspectDamage, OfMissingBlocksIsReported) {
  sto_RecordBuilder builder;
  builder.AddPart(HolderClass, 1, Id);
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementDouble;
  header.m_Count = 3000;
  header.m_InBlocks = true;
  builder.SetList(header, {});
  PutHolder(builder);
  Look();
  ExpectError(sto_ErrorKind::Damaged, "Object 50", [&] { static_cast<void>(m_Inspection->List(Id)); });
}

TEST_F(InspectDamage, OfBytesOfARecordIsReported) {
  sto_RecordBuilder builder;
  builder.AddPart(HolderClass, 1, Id);
  sto_ListHeader header;
  header.m_ElementType = sto_Format::ElementInt8;
  header.m_Count = 3;
  builder.SetList(header, sto_Bytes(3));
  PutHolder(builder);
  // The checksum does not fit any more.
  SqlFile(Path()).Run("UPDATE object SET record = CAST(record || x'00' AS BLOB) WHERE id = 50");
  Look();
  ExpectError(sto_ErrorKind::Damaged, "Object 50", [&] { static_cast<void>(m_Inspection->Object(Id)); });
  ExpectError(sto_ErrorKind::Damaged, "Object 50", [&] { static_cast<void>(m_Inspection->Root("holder")); });
  std::vector<sto_InspectedRoot> const roots = m_Inspection->Roots();
  ASSERT_EQ(roots.size(), 1U);
  EXPECT_EQ(roots[0].m_ClassId, 0U);
}

} // namespace
} // namespace inspect_damage_test

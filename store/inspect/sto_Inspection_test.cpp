#include "store/inspect/sto_Inspection.h"

#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <memory>
#include <thread>
#include <tuple>
#include <vector>

#include "describe/dsc_Described.h"
#include "describe/dsc_Variant.h"
#include "store/refs/sto_Find.h"
#include "store/refs/sto_Ref.h"
#include "tests/support/store/StoreInspected.h"

namespace inspection_test {
namespace {

enum class Material { Wood = -1, Steel = 7, Glass = 9 };

struct Point {
  KVL_VALUE(Point)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 0;
  double y = 0;
};

class Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Part, kvl::Polymorphic, 0x7B0061, "Part", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }
  Part() = default;
  std::string m_Name;
};

class Beam : public Part {
 public:
  KVL_PERSISTED(Beam, Part, 0x7B0062, "Beam", 3)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length), kvl::Unit("mm")); }
  Beam() = default;
  double m_Length = 0;
};

class All {
 public:
  KVL_PERSISTED(All, 0x7B0063, "All", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Bool));
    field(KVL_F(m_Byte));
    field(KVL_F(m_Short));
    field(KVL_F(m_UShort));
    field(KVL_F(m_Int));
    field(KVL_F(m_UInt));
    field(KVL_F(m_Long));
    field(KVL_F(m_ULong));
    field(KVL_F(m_Float));
    field(KVL_F(m_Double), kvl::Unit("N/mm2"));
    field(KVL_F(m_Infinite));
    field(KVL_F(m_NoNumber));
    field(KVL_F(m_Text));
    field(KVL_F(m_Empty));
    field(KVL_F(m_NoText));
    field(KVL_F(m_Material));
    field(KVL_F(m_Unnamed));
    field(KVL_F(m_There));
    field(KVL_F(m_Absent));
    field(KVL_F(m_Variant));
    field(KVL_F(m_Point));
    field(KVL_F(m_Tuple));
    field(KVL_F(m_Complex));
    field(KVL_F(m_First));
    field(KVL_F(m_Second));
    field(KVL_F(m_Missing));
    field(KVL_F(m_Ref));
  }
  All() = default;
  bool m_Bool = true;
  signed char m_Byte = std::numeric_limits<signed char>::min();
  short m_Short = std::numeric_limits<short>::min();
  unsigned short m_UShort = std::numeric_limits<unsigned short>::max();
  int m_Int = std::numeric_limits<int>::min();
  unsigned int m_UInt = std::numeric_limits<unsigned int>::max();
  long long m_Long = std::numeric_limits<long long>::min();
  unsigned long long m_ULong = std::numeric_limits<unsigned long long>::max();
  float m_Float = std::numeric_limits<float>::denorm_min();
  double m_Double = std::numeric_limits<double>::max();
  double m_Infinite = -std::numeric_limits<double>::infinity();
  double m_NoNumber = std::numeric_limits<double>::quiet_NaN();
  std::string m_Text = "Tr\xC3\xA4ger \xE2\x84\x96 1";
  std::string m_Empty;
  cow_String m_NoText;
  Material m_Material = Material::Steel;
  Material m_Unnamed = Material::Glass;
  std::optional<int> m_There = 5;
  std::optional<int> m_Absent;
  std::variant<int, std::string> m_Variant = "chosen";
  Point m_Point{1, 2};
  std::tuple<int, std::string> m_Tuple{3, "three"};
  std::complex<double> m_Complex{4, -5};
  std::shared_ptr<Beam> m_First;
  std::shared_ptr<Beam> m_Second;
  std::weak_ptr<Beam> m_Missing;
  sto_Ref<Beam> m_Ref;
};

class Inspection : public InspectedStoreTest {
 protected:
  Inspection()
      : InspectedStoreTest([](cls_ClassRegistrar& registrar) {
          All::Declare(registrar);
          Beam::Declare(registrar);
          registrar.NotesOf(All::TypeId(), 2)
              .Enumerator("m_Material", "steel", 7)
              .Enumerator("m_Material", "wood", -1)
              .Default("m_Double", "1.5");
        }) {}
  sto_InspectedObject Saved(All const& all) {
    m_Store->Save("all", all);
    return Look().Root("all");
  }
  std::vector<std::int64_t> IdsOf(unsigned int classId) {
    std::vector<std::int64_t> ids;
    for (sto_InspectedWalk walk = m_Inspection->ObjectsOf(classId); walk.Next();) ids.push_back(walk.Id());
    return ids;
  }
};

TEST_F(Inspection, ShowsNumbers) {
  sto_InspectedObject const all = Saved(All());
  EXPECT_EQ(all.ClassName(), "All");
  EXPECT_EQ(all.ClassId(), All::TypeId());
  EXPECT_EQ(all.Version(), 2);
  EXPECT_EQ(all.m_Kind, "object");
  EXPECT_EQ(all.m_Content, sto_InspectedContent::None);
  EXPECT_EQ(Value<bool>(all, "m_Bool"), true);
  EXPECT_EQ(Value<std::int64_t>(all, "m_Byte"), -128);
  EXPECT_EQ(Value<std::int64_t>(all, "m_Short"), -32768);
  EXPECT_EQ(Value<std::uint64_t>(all, "m_UShort"), 65535U);
  EXPECT_EQ(Value<std::int64_t>(all, "m_Int"), std::numeric_limits<int>::min());
  EXPECT_EQ(Value<std::uint64_t>(all, "m_UInt"), 0xFFFFFFFFU);
  EXPECT_EQ(Value<std::int64_t>(all, "m_Long"), std::numeric_limits<std::int64_t>::min());
  EXPECT_EQ(Value<std::uint64_t>(all, "m_ULong"), std::numeric_limits<std::uint64_t>::max());
  EXPECT_EQ(Value<double>(all, "m_Float"), std::numeric_limits<float>::denorm_min());
  EXPECT_EQ(Value<double>(all, "m_Double"), std::numeric_limits<double>::max());
  EXPECT_EQ(Value<double>(all, "m_Infinite"), -std::numeric_limits<double>::infinity());
  EXPECT_TRUE(std::isnan(Value<double>(all, "m_NoNumber").value_or(0)));
  EXPECT_EQ(KindOf(all, "m_UShort"), "unsigned 16-bit integer");
  EXPECT_EQ(KindOf(all, "m_Double"), "double");
}

TEST_F(Inspection, ShowsTexts) {
  sto_InspectedObject const all = Saved(All());
  EXPECT_EQ(Value<sto_InspectedText>(all, "m_Text"), sto_InspectedText(All().m_Text));
  EXPECT_EQ(Value<sto_InspectedText>(all, "m_Empty"), sto_InspectedText(""));
  std::optional<sto_InspectedText> const none = Value<sto_InspectedText>(all, "m_NoText");
  ASSERT_TRUE(none.has_value());
  EXPECT_FALSE(none->has_value());
  EXPECT_EQ(KindOf(all, "m_NoText"), "string");
}

TEST_F(Inspection, ShowsFieldsInTheirOrderWithWhatTheStoreKnowsOfThem) {
  sto_InspectedObject const all = Saved(All());
  ASSERT_EQ(all.m_Parts.size(), 1U);
  std::vector<sto_InspectedField> const& fields = all.m_Parts[0].m_Fields;
  ASSERT_GT(fields.size(), 10U);
  EXPECT_EQ(fields[0].m_Name, "m_Bool");
  EXPECT_EQ(fields[0].m_Number, 0);
  EXPECT_EQ(fields[9].m_Name, "m_Double");
  EXPECT_EQ(fields[9].m_Unit, "N/mm2");
  EXPECT_EQ(fields[9].m_Default, "1.5");
  EXPECT_EQ(fields[8].m_Unit, "");
  EXPECT_EQ(fields[8].m_Default, std::nullopt);
}

TEST_F(Inspection, ShowsEnumerations) {
  sto_InspectedObject const all = Saved(All());
  EXPECT_EQ(Value<std::int64_t>(all, "m_Material"), 7);
  EXPECT_EQ(FieldOf(all, "m_Material").m_Enumerator, "steel");
  EXPECT_EQ(KindOf(all, "m_Material"), "enumeration");
  EXPECT_EQ(Value<std::int64_t>(all, "m_Unnamed"), 9);
  EXPECT_EQ(FieldOf(all, "m_Unnamed").m_Enumerator, std::nullopt);
}

TEST_F(Inspection, ShowsValuesOfSeveralParts) {
  sto_InspectedObject const all = Saved(All());
  EXPECT_EQ(Value<std::int64_t>(all, "m_There"), 5);
  EXPECT_FALSE(HasField(all, "m_Absent"));
  EXPECT_EQ(Value<sto_InspectedText>(all, "m_Variant.1"), sto_InspectedText("chosen"));
  EXPECT_TRUE(HasField(all, "m_Variant.kind"));
  EXPECT_FALSE(HasField(all, "m_Variant.0"));
  EXPECT_EQ(Value<double>(all, "m_Point.y"), 2);
  EXPECT_EQ(Value<std::int64_t>(all, "m_Tuple.0"), 3);
  EXPECT_EQ(Value<sto_InspectedText>(all, "m_Tuple.1"), sto_InspectedText("three"));
  EXPECT_EQ(Value<double>(all, "m_Complex.im"), -5);
}

TEST_F(Inspection, FollowsObjects) {
  All all;
  all.m_First = all.m_Second = std::make_shared<Beam>();
  all.m_First->m_Name = "shared";
  all.m_First->m_Length = 12;
  sto_InspectedObject const saved = Saved(all);
  EXPECT_EQ(IdIn(saved, "m_First"), IdIn(saved, "m_Second"));
  EXPECT_EQ(KindOf(saved, "m_First"), "object");
  sto_InspectedObject const beam = m_Inspection->Object(IdIn(saved, "m_First"));
  ASSERT_EQ(beam.m_Parts.size(), 2U);
  EXPECT_EQ(beam.ClassName(), "Beam");
  EXPECT_EQ(beam.Version(), 3);
  EXPECT_EQ(beam.m_Parts[1].m_ClassName, "Part");
  EXPECT_EQ(beam.m_Parts[0].m_Fields.size(), 1U);
  EXPECT_EQ(FieldOf(beam, "m_Length").m_Unit, "mm");
  EXPECT_EQ(Value<sto_InspectedText>(beam, "m_Name"), sto_InspectedText("shared"));
  ExpectError(sto_ErrorKind::NotFound, "no object",
              [&] { static_cast<void>(m_Inspection->Object(beam.m_Parts[1].m_Id)); });
}

TEST_F(Inspection, ShowsAReferenceToAMissingObject) {
  All all;
  auto const missing = std::make_shared<Beam>();
  all.m_Missing = missing;
  sto_InspectedObject const saved = Saved(all);
  EXPECT_EQ(KindOf(saved, "m_Missing"), "reference");
  std::int64_t const id = IdIn(saved, "m_Missing");
  EXPECT_GT(id, 0);
  ExpectError(sto_ErrorKind::NotFound, "no object " + std::to_string(id),
              [&] { static_cast<void>(m_Inspection->Object(id)); });
}

TEST_F(Inspection, RecognisesADeletedObject) {
  {
    All all;
    all.m_Ref = sto_Ref<Beam>(std::make_shared<Beam>());
    m_Store->Save("all", all);
  }
  Reopen();
  {
    sto_Transaction transaction(*m_Store);
    m_Store->Ref<All>("all")->m_Ref.Delete();
    transaction.Commit();
  }
  sto_InspectedObject const all = Look().Root("all");
  sto_InspectedObject const deleted = m_Inspection->Object(IdIn(all, "m_Ref"));
  EXPECT_TRUE(deleted.m_IsDeleted);
  EXPECT_EQ(deleted.m_Kind, "deleted object");
  EXPECT_EQ(deleted.ClassName(), "sto_DeletedObject");
  EXPECT_FALSE(all.m_IsDeleted);
}

TEST_F(Inspection, FindsRootsByPrefix) {
  m_Store->Save("a/beam", Beam());
  m_Store->Save("a/part", Part());
  m_Store->Save("b", All());
  std::vector<sto_InspectedRoot> const roots = Look().Roots("a/");
  ASSERT_EQ(roots.size(), 2U);
  EXPECT_EQ(roots[0].m_Name, "a/beam");
  EXPECT_EQ(roots[0].m_ClassName, "Beam");
  EXPECT_EQ(roots[1].m_ClassId, Part::TypeId());
  EXPECT_EQ(m_Inspection->Object(roots[1].m_Id).ClassName(), "Part");
  EXPECT_EQ(m_Inspection->Roots().size(), 3U);
  EXPECT_TRUE(m_Inspection->Roots("c").empty());
  ExpectError(sto_ErrorKind::NotFound, "no root c", [&] { static_cast<void>(m_Inspection->Root("c")); });
}

TEST_F(Inspection, GoesOverObjectsOfAClassAndDerivedOnes) {
  m_Store->Save("beam", Beam());
  m_Store->Save("part", Part());
  m_Store->Save("all", All());
  Look();
  std::int64_t const beam = m_Inspection->Root("beam").m_Id;
  std::int64_t const part = m_Inspection->Root("part").m_Id;
  EXPECT_EQ(IdsOf(Beam::TypeId()), (std::vector<std::int64_t>{beam}));
  EXPECT_EQ(IdsOf(Part::TypeId()), (std::vector<std::int64_t>{beam, part}));
  for (unsigned int const unknown : {0U, 1U, 0x7B00FFU}) EXPECT_TRUE(IdsOf(unknown).empty());
  std::int64_t last = 0;
  int count = 0;
  for (sto_InspectedWalk walk = m_Inspection->Objects(); walk.Next(); last = walk.Id(), ++count) {
    EXPECT_GT(walk.Id(), last);
    EXPECT_EQ(walk.ClassName(), m_Inspection->Object(walk.Id()).ClassName());
  }
  EXPECT_EQ(count, m_Plain->ObjectCount());
}

TEST_F(Inspection, DescribesAllClasses) {
  m_Store->Save("beam", Beam());
  Look();
  std::vector<sto_ClassDescription> const classes = m_Inspection->Classes();
  ASSERT_EQ(classes.size(), 2U);
  EXPECT_EQ(classes[0].m_Name, "Part");
  EXPECT_EQ(classes[1].m_Name, "Beam");
  EXPECT_EQ(classes[1].m_Version, 3);
  EXPECT_EQ(classes[1].m_BaseClassId, classes[0].m_ClassId);
  ASSERT_EQ(classes[1].m_Attributes.size(), 1U);
  EXPECT_EQ(classes[1].m_Attributes[0].m_Unit, "mm");
}

TEST_F(Inspection, SeesOneState) {
  sto_Options options;
  options.m_ReadersBesideWriter = true;
  sto_Store writer = sto_Store::Open(Path("log.kvs"), sto_Mode::Create, m_Registrar, options);
  writer.Save("beam", Beam());
  sto_Store reader = sto_Store::Open(Path("log.kvs"), sto_Mode::ReadOnly, m_None);
  std::optional<sto_Inspection> inspection(reader);
  writer.Save("part", Part());
  EXPECT_EQ(inspection->Roots().size(), 1U);
  inspection.reset();
  EXPECT_EQ(sto_Inspection(reader).Roots().size(), 2U);
}

TEST_F(Inspection, WorksBesideTheProgramsClasses) {
  m_Store->Save("beam", Beam());
  sto_Inspection const inspection(*m_Store);
  EXPECT_EQ(inspection.Root("beam").ClassName(), "Beam");
  EXPECT_EQ(m_Store->Load<Beam>("beam")->m_Length, 0);
  ExpectError(sto_ErrorKind::Misuse, "only reads", [&] { m_Store->Save("part", Part()); });
  ExpectError(sto_ErrorKind::Misuse, "", [&] { static_cast<void>(sto_Inspection(*m_Store)); });
}

TEST_F(Inspection, EndsWithTheStoreAndStaysInItsThread) {
  m_Store->Save("beam", Beam());
  Look();
  sto_InspectedWalk walk = m_Inspection->Objects();
  std::thread([&] {
    ExpectError(sto_ErrorKind::Misuse, "thread", [&] { static_cast<void>(m_Inspection->Roots()); });
  }).join();
  m_Plain.reset();
  ExpectError(sto_ErrorKind::Misuse, "closed", [&] { static_cast<void>(m_Inspection->Root("beam")); });
  ExpectError(sto_ErrorKind::Misuse, "closed", [&] { walk.Next(); });
}

TEST_F(Inspection, EndsItsWalks) {
  m_Store->Save("beam", Beam());
  sto_InspectedWalk walk = Look().Objects();
  m_Inspection.reset();
  ExpectError(sto_ErrorKind::Misuse, "over", [&] { walk.Next(); });
}

} // namespace
} // namespace inspection_test

// Readers by hand for what a description cannot say. They build described objects.

#include <gtest/gtest.h>

#include <memory>

#include "examples/evolution/evo_Member.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreFile.h"

namespace {

// A program that has a class Strut.
namespace before {
class Strut : public evo_Part {
 public:
  KVL_PERSISTED(Strut, evo_Part, 0x650005, "Strut", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Length), kvl::Unit("mm")); }
  explicit Strut(double length) : evo_Part("strut"), m_Length(length) {}
  double m_Length = 0;
};
} // namespace before

// A later one, in which there is no class Strut, and no class Member.
class Bar : public evo_Part {
 public:
  KVL_PERSISTED(Bar, evo_Part, 0x650001, "Bar", 7)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Span), kvl::Unit("mm"));
    field(KVL_F(m_Density), kvl::Unit("kg/m3"));
  }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    registrar.CreateClassMD("Strut"_cow, 0x650005, 1, &ReadStrut, evo_Part::TypeId());
    registrar.CreateClassMD("Beam"_cow, TypeId(), 4, &ReadVersion4, 0x650003);
  }

  // Builds a bar from what was stored as a strut. The caller owns it.
  static void* ReadStrut(cls_ReadVisitor& reader) {
    auto bar = std::make_unique<Bar>(reader); // its identity and its Part
    bar->m_Span = reader.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0);
    return bar.release();
  }

  // Builds a bar from a beam of version 4, with the density that is in its base class Member.
  static void* ReadVersion4(cls_ReadVisitor& reader) {
    auto bar = std::make_unique<Bar>(reader);
    bar->m_Span = reader.Read(cls_FieldHandle(0, "m_Length"_cow), 0.0);
    cls_ReadVisitor const member(reader); // a copy reads the next part
    bar->m_Density = member.Read(cls_FieldHandle(0, "m_Density"_cow), 0.0);
    return bar.release();
  }

  [[nodiscard]] std::string const& Name() const { return m_Name; }
  double m_Span = 0;
  double m_Density = 7850;
};

using EvolutionByHand = StoreFileTest;

} // namespace

TEST_F(EvolutionByHand, ObjectOfAnotherClass) {
  {
    cls_ClassRegistrar registrar;
    before::Strut::Declare(registrar);
    sto_Store::Open(Path(), sto_Mode::Create, registrar).Save("part", before::Strut(900));
  }
  cls_ClassRegistrar registrar;
  Bar::DeclareAll(registrar);
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, registrar);
    store.Save("part", *store.Load<evo_Part>("part"));
  }
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar);
  std::unique_ptr<Bar> const bar = store.Load<Bar>("part"); // it was saved as a bar
  EXPECT_EQ(bar->Name(), "strut");
  EXPECT_EQ(bar->m_Span, 900);
  EXPECT_EQ(bar->m_Density, 7850);
}

TEST_F(EvolutionByHand, ValueOfABaseClassThatIsGone) {
  std::filesystem::copy_file(EVO_GOLDEN_DIR "/hand-4.kvs", Path());
  cls_ClassRegistrar registrar;
  Bar::DeclareAll(registrar);
  std::unique_ptr<Bar> const bar = sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar).Load<Bar>("beam");
  EXPECT_EQ(bar->Name(), "joist");
  EXPECT_EQ(bar->m_Span, 3600);
  EXPECT_EQ(bar->m_Density, 450);
}

TEST_F(EvolutionByHand, RefusalNamesAllVersionsThatTheProgramKnows) {
  std::filesystem::copy_file(EVO_GOLDEN_DIR "/hand-5.kvs", Path());
  cls_ClassRegistrar registrar;
  evo_Part::Declare(registrar);
  for (int const version : {1, 2, 4})
    registrar.CreateClassMD("Beam"_cow, Bar::TypeId(), version, &Bar::ReadVersion4, evo_Part::TypeId());
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar);
  EXPECT_EQ(MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(store.Load<Bar>("beam")); }),
            Path() +
                ": Object 1 was written by version 5 of class Beam; this program knows versions 1, 2 and 4.");
}

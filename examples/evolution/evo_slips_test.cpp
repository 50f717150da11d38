// The class of today with one line left out: stores of earlier versions are refused when they are opened.

#include <gtest/gtest.h>

#include "examples/evolution/evo_Load.h"
#include "examples/evolution/evo_Member.h"
#include "store/sto_Store.h"
#include "tests/support/store/StoreFile.h"

namespace {

enum class Without { Nothing, ClassWas, BaseWas, Was, Since, DroppedLoad, DroppedDensity };

template <Without Slip> class Bar : public evo_Member {
 public:
  KVL_PERSISTED(Bar, evo_Member, 0x650001, "Bar", 6)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    if constexpr (Slip != Without::ClassWas) field(ClassWas("Beam"));
    if constexpr (Slip != Without::BaseWas) field(BaseWas<evo_Part>());
    if constexpr (Slip == Without::Was)
      field(KVL_F(m_Span));
    else
      field(KVL_F(m_Span), Was<"m_Length">());
    if constexpr (Slip == Without::Since)
      field(KVL_F(m_LoadObject));
    else
      field(KVL_F(m_LoadObject), Since(5));
    if constexpr (Slip != Without::DroppedLoad) field("m_Load"_field, Dropped(&Bar::TakeNumber));
    field("m_LineLoad"_field, Dropped(&Bar::TakeNumber));
    field("m_Stations"_field, Dropped(&Bar::TakeStations));
    if constexpr (Slip != Without::DroppedDensity) field("m_Density"_field, Dropped(&Bar::TakeNumber));
  }

 private:
  void TakeNumber(double) {}
  void TakeStations(std::vector<double> const&) {}

  double m_Span = 0;
  evo_Load m_LoadObject;
};

class EvolutionSlips : public StoreFileTest {
 protected:
  // Opens the store of a version.
  template <Without Slip> void Open(int version) const {
    std::string const golden = EVO_GOLDEN_DIR "/hand-" + std::to_string(version) + ".kvs";
    std::filesystem::copy_file(golden, Path(), std::filesystem::copy_options::overwrite_existing);
    cls_ClassRegistrar registrar;
    Bar<Slip>::Declare(registrar);
    static_cast<void>(sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar));
  }
  template <Without Slip> void ExpectRefusal(int version, std::string const& problem) const {
    EXPECT_EQ(MessageOf(sto_ErrorKind::Misuse, [&] { Open<Slip>(version); }),
              Path() + ": Class Bar: " + problem);
  }
};

} // namespace

TEST_F(EvolutionSlips, NothingIsLeftOut) {
  for (int version = 1; version <= 5; ++version) EXPECT_NO_THROW(Open<Without::Nothing>(version));
}

TEST_F(EvolutionSlips, ClassWas) {
  ExpectRefusal<Without::ClassWas>(
      5,
      "it is called Beam in version 5 of the store. If that is the same class, say kvl::ClassWas(\"Beam\").");
}

TEST_F(EvolutionSlips, BaseWas) {
  ExpectRefusal<Without::BaseWas>(
      3,
      "it has base class 0x650002 in version 3 of the store, and base class 0x650003 today. Say kvl::BaseWas, or "
      "register a reader of that version.");
}

TEST_F(EvolutionSlips, WasAndSince) {
  std::string const problem =
      " of the store. Say with kvl::Since which version of the class added it, or with "
      "kvl::Was what it was called.";
  ExpectRefusal<Without::Was>(5, "attribute m_Span is not there in version 5" + problem);
  ExpectRefusal<Without::Since>(4, "attribute m_LoadObject is not there in version 4" + problem);
}

TEST_F(EvolutionSlips, Dropped) {
  std::string const problem =
      " of the store is read by no field. Say with kvl::Was which field it became, or that it "
      "is kvl::Dropped.";
  ExpectRefusal<Without::DroppedLoad>(1, "attribute m_Load in version 1" + problem);
  ExpectRefusal<Without::DroppedDensity>(2, "attribute m_Density in version 2" + problem);
}

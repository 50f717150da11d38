// evolution_v6: version 6 of the program, that of today. The class is called Bar, because columns are bars, too. Its
// length is a span, which the program has in metres; stores go on to have millimetres.

#include "examples/evolution/evo_Load.h"
#include "examples/evolution/evo_Member.h"
#include "examples/evolution/evo_Program.h"

class evo_Bar : public evo_Member {
 public:
  KVL_PERSISTED(evo_Bar, evo_Member, 0x650001, "Bar", 6)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(ClassWas("Beam"));
    field(BaseWas<evo_Part>());
    field(KVL_F(m_Span), Was<"m_Length">(), As<double>(ToMillimetres, ToMetres), Unit("mm"));
    field(KVL_F(m_LoadObject), Since(5));
    field("m_Load"_field, Dropped(&evo_Bar::TakeLoad));
    field("m_LineLoad"_field, Dropped(&evo_Bar::TakeLineLoad));
    field("m_Stations"_field, Dropped(&evo_Bar::TakeStations));
    field("m_Density"_field, Dropped(&evo_Bar::TakeDensity));
  }

  static evo_Bar Example() { return {"column", 3.5, evo_Load("wind", 900), 7850}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("span", m_Span, "m");
    evo_Print("load case", m_LoadObject.m_Case);
    evo_Print("line load", m_LoadObject.m_LineLoad, "N/m");
    evo_Print("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
  }

 private:
  evo_Bar(std::string name, double span, evo_Load load, double density)
      : evo_Member(std::move(name), density), m_Span(span), m_LoadObject(std::move(load)) {}
  void AfterRead(int storedVersion) {
    if (storedVersion < 2) AssumeSteel();
  }
  static constexpr double ToMillimetres(double metres) { return 1000 * metres; }
  static constexpr double ToMetres(double millimetres) { return millimetres / 1000; }
  void TakeLoad(double newtonsPerMillimetre) { TakeLineLoad(1000 * newtonsPerMillimetre); }
  void TakeLineLoad(double lineLoad) { m_LoadObject.m_LineLoad = lineLoad; }
  void TakeStations(std::vector<double> const&) {} // not used any more
  void TakeDensity(double density) { m_Density = density; }

  double m_Span = 0;
  evo_Load m_LoadObject;
};

int main(int argc, char** argv) {
  return evo_Main<evo_Bar>(argc, argv);
}

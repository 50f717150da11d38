// evolution_v5: version 5 of the program. The load is an object of the new class Load.

#include "examples/evolution/evo_Load.h"
#include "examples/evolution/evo_Member.h"
#include "examples/evolution/evo_Program.h"

class evo_Beam : public evo_Member {
 public:
  KVL_PERSISTED(evo_Beam, evo_Member, 0x650001, "Beam", 5)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(BaseWas<evo_Part>());
    field(KVL_F(m_Length), Unit("mm"));
    field(KVL_F(m_LoadObject), Since(5)); // not m_Load: that was a number
    field("m_Load"_field, Dropped(&evo_Beam::TakeLoad));
    field("m_LineLoad"_field, Dropped(&evo_Beam::TakeLineLoad));
    field("m_Stations"_field, Dropped(&evo_Beam::TakeStations));
    field("m_Density"_field, Dropped(&evo_Beam::TakeDensity));
  }

  static evo_Beam Example() { return {"girder", 12000, evo_Load("snow", 18000), 2500}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("length", m_Length, "mm");
    evo_Print("load case", m_LoadObject.m_Case);
    evo_Print("line load", m_LoadObject.m_LineLoad, "N/m");
    evo_Print("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
  }

 private:
  evo_Beam(std::string name, double length, evo_Load load, double density)
      : evo_Member(std::move(name), density), m_Length(length), m_LoadObject(std::move(load)) {}
  void AfterRead(int storedVersion) {
    if (storedVersion < 2) AssumeSteel();
  }
  void TakeLoad(double newtonsPerMillimetre) { TakeLineLoad(1000 * newtonsPerMillimetre); }
  void TakeLineLoad(double lineLoad) { m_LoadObject.m_LineLoad = lineLoad; }
  void TakeStations(std::vector<double> const&) {} // not used any more
  void TakeDensity(double density) { m_Density = density; }

  double m_Length = 0;
  evo_Load m_LoadObject;
};

int main(int argc, char** argv) {
  return evo_Main<evo_Beam>(argc, argv);
}

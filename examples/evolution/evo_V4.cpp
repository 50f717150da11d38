// evolution_v4: version 4 of the program. The density has moved to the new base class Member.

#include "examples/evolution/evo_Member.h"
#include "examples/evolution/evo_Program.h"

class evo_Beam : public evo_Member {
 public:
  KVL_PERSISTED(evo_Beam, evo_Member, 0x650001, "Beam", 4)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(BaseWas<evo_Part>());
    field(KVL_F(m_Length), Unit("mm"));
    field(KVL_F(m_LineLoad), Since(3), Unit("N/m"));
    field("m_Load"_field, Dropped(&evo_Beam::TakeLoad));
    field("m_Stations"_field, Dropped(&evo_Beam::TakeStations));
    field("m_Density"_field, Dropped(&evo_Beam::TakeDensity));
  }

  static evo_Beam Example() { return {"joist", 3600, 2200, 450}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("length", m_Length, "mm");
    evo_Print("line load", m_LineLoad, "N/m");
    evo_Print("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
  }

 private:
  evo_Beam(std::string name, double length, double lineLoad, double density)
      : evo_Member(std::move(name), density), m_Length(length), m_LineLoad(lineLoad) {}
  void AfterRead(int storedVersion) {
    if (storedVersion < 2) AssumeSteel();
  }
  void TakeLoad(double newtonsPerMillimetre) { m_LineLoad = 1000 * newtonsPerMillimetre; }
  void TakeStations(std::vector<double> const&) {} // not used any more
  void TakeDensity(double density) { m_Density = density; }

  double m_Length = 0;
  double m_LineLoad = 0; // constant along the beam
};

int main(int argc, char** argv) {
  return evo_Main<evo_Beam>(argc, argv);
}

// evolution_v3: version 3 of the program. The load is now called line load and is in N/m. The stations are gone:
// the program itself chooses where it computes results.

#include "examples/evolution/evo_Part.h"
#include "examples/evolution/evo_Program.h"

class evo_Beam : public evo_Part {
 public:
  KVL_PERSISTED(evo_Beam, evo_Part, 0x650001, "Beam", 3)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Length), Unit("mm"));
    field(KVL_F(m_Density), Since(2, 7850), Unit("kg/m3"));
    field(KVL_F(m_DensityIsAssumed), Transient());
    field(KVL_F(m_LineLoad), Since(3), Unit("N/m"));
    field("m_Load"_field, Dropped(&evo_Beam::TakeLoad));
    field("m_Stations"_field, Dropped(&evo_Beam::TakeStations));
  }

  static evo_Beam Example() { return {"lintel", 1800, 30500, 2400}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("length", m_Length, "mm");
    evo_Print("line load", m_LineLoad, "N/m");
    evo_Print("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
  }

 private:
  evo_Beam(std::string name, double length, double lineLoad, double density)
      : evo_Part(std::move(name)), m_Length(length), m_Density(density), m_LineLoad(lineLoad) {}
  void AfterRead(int storedVersion) { m_DensityIsAssumed = storedVersion < 2; }
  void TakeLoad(double newtonsPerMillimetre) { m_LineLoad = 1000 * newtonsPerMillimetre; }
  void TakeStations(std::vector<double> const&) {} // not used any more

  double m_Length = 0;
  double m_Density = 0;
  bool m_DensityIsAssumed = false;
  double m_LineLoad = 0; // constant along the beam
};

int main(int argc, char** argv) {
  return evo_Main<evo_Beam>(argc, argv);
}

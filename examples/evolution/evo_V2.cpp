// evolution_v2: version 2 of the program. Beams have a density; those of version 1 were all of steel.

#include "examples/evolution/evo_Part.h"
#include "examples/evolution/evo_Program.h"

class evo_Beam : public evo_Part {
 public:
  KVL_PERSISTED(evo_Beam, evo_Part, 0x650001, "Beam", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Length), kvl::Unit("mm"));
    field(KVL_F(m_Load), kvl::Unit("N/mm"));
    field(KVL_F(m_Stations), kvl::Unit("mm"));
    field(KVL_F(m_Density), kvl::Since(2, 7850), kvl::Unit("kg/m3"));
    field(KVL_F(m_DensityIsAssumed), kvl::Transient());
  }

  static evo_Beam Example() { return {"rafter", 5200, 8.25, {0, 2600, 5200}, 2700}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("length", m_Length, "mm");
    evo_Print("load", m_Load, "N/mm");
    evo_Print("stations", m_Stations, "mm");
    evo_Print("density", m_Density, m_DensityIsAssumed ? "kg/m3, assumed" : "kg/m3");
  }

 private:
  evo_Beam(std::string name, double length, double load, std::vector<double> stations, double density)
      : evo_Part(std::move(name)), m_Length(length), m_Load(load), m_Stations(std::move(stations)),
        m_Density(density) {}
  void AfterRead(int storedVersion) { m_DensityIsAssumed = storedVersion < 2; }

  double m_Length = 0;
  double m_Load = 0;              // constant along the beam
  std::vector<double> m_Stations; // from the start: where results are wanted
  double m_Density = 0;
  bool m_DensityIsAssumed = false;
};

int main(int argc, char** argv) {
  return evo_Main<evo_Beam>(argc, argv);
}

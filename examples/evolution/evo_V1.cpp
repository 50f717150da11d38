// evolution_v1: version 1 of the program.

#include "examples/evolution/evo_Part.h"
#include "examples/evolution/evo_Program.h"

class evo_Beam : public evo_Part {
 public:
  KVL_PERSISTED(evo_Beam, evo_Part, 0x650001, "Beam", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Length), kvl::Unit("mm"));
    field(KVL_F(m_Load), kvl::Unit("N/mm"));
    field(KVL_F(m_Stations), kvl::Unit("mm"));
  }

  static evo_Beam Example() { return {"purlin", 4000, 12.5, {0, 1000, 2500, 4000}}; }

  void Print() const {
    evo_Print("name", m_Name);
    evo_Print("length", m_Length, "mm");
    evo_Print("load", m_Load, "N/mm");
    evo_Print("stations", m_Stations, "mm");
  }

 private:
  evo_Beam(std::string name, double length, double load, std::vector<double> stations)
      : evo_Part(std::move(name)), m_Length(length), m_Load(load), m_Stations(std::move(stations)) {}

  double m_Length = 0;
  double m_Load = 0;              // constant along the beam
  std::vector<double> m_Stations; // from the start: where results are wanted
};

int main(int argc, char** argv) {
  return evo_Main<evo_Beam>(argc, argv);
}

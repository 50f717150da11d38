#include "bench/oo7/oo7_Generator.h"

namespace {

constexpr int Types = 10;
constexpr int Dates = 1000;        // each kind of object has dates from such a range
constexpr int OldDates = 0;        // where the dates of composite parts begin that no assembly is older than,
constexpr int YoungDates = 2000;   // and those of the parts that are younger than every assembly
constexpr int EveryYoungPart = 10; // one in ten
constexpr int Coordinates = 100'000; // x, y, and the lengths of connections

class Assemblies {
 public:
  Assemblies(oo7_Parameters const& parameters, oo7_Random& random, oo7_ModuleRow& module)
      : m_Parameters(parameters), m_Random(random), m_Module(module) {}

  void Draw(int level, int super) {
    oo7_AssemblyRow row;
    row.m_IsBase = level == m_Parameters.m_Levels;
    row.m_Id = row.m_IsBase ? ++m_LastBase : ++m_LastComplex;
    row.m_Type = m_Random(Types);
    row.m_BuildDate = oo7_FirstAtomDate + m_Random(Dates);
    row.m_Super = super;
    if (row.m_IsBase) {
      row.m_Private = DrawComponents();
      row.m_Shared = DrawComponents();
    }
    int const id = row.m_Id;
    bool const isBase = row.m_IsBase;
    m_Module.m_Assemblies.push_back(std::move(row));
    if (isBase) return;
    for (int i = 0; i < oo7_SubAssemblies; ++i) Draw(level + 1, id);
  }

 private:
  std::vector<int> DrawComponents() {
    std::vector<int> ids(oo7_ComponentsOfABase);
    for (int& id : ids) id = m_Random(m_Parameters.m_CompositeParts) + 1;
    return ids;
  }

  oo7_Parameters const& m_Parameters;
  oo7_Random& m_Random;
  oo7_ModuleRow& m_Module;
  int m_LastComplex = 0;
  int m_LastBase = 0;
};

oo7_AtomRow DrawAtom(oo7_Parameters const& parameters, int id, oo7_Random& random) {
  oo7_AtomRow row;
  row.m_Id = id;
  row.m_Type = random(Types);
  row.m_BuildDate = oo7_FirstAtomDate + random(Dates);
  row.m_X = random(Coordinates);
  row.m_Y = random(Coordinates);
  row.m_DocId = random(parameters.m_CompositeParts) + 1;
  return row;
}

} // namespace

oo7_CompositeRow oo7_DrawComposite(oo7_Parameters const& parameters, int id, oo7_Random& random) {
  int const count = parameters.m_AtomsPerPart;
  int const firstAtom = (id - 1) * count + 1;
  oo7_CompositeRow row;
  row.m_Id = id;
  row.m_Type = random(Types);
  row.m_BuildDate = (id % EveryYoungPart == 0 ? YoungDates : OldDates) + random(Dates);
  row.m_Atoms.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) row.m_Atoms.push_back(DrawAtom(parameters, firstAtom + i, random));
  row.m_Connections.reserve(static_cast<std::size_t>(count * parameters.m_ConnectionsPerAtom));
  for (int i = 0; i < count; ++i)
    for (int k = 0; k < parameters.m_ConnectionsPerAtom; ++k) {
      int const to = k == 0 ? (i + 1) % count : random(count); // the first ones are a ring through all parts
      int const type = random(Types);
      int const length = random(Coordinates);
      row.m_Connections.push_back({firstAtom + i, firstAtom + to, type, length});
    }
  return row;
}

oo7_Rows oo7_DrawDatabase(oo7_Parameters const& parameters) {
  oo7_Random random;
  oo7_Rows rows;
  rows.m_Parameters = parameters;
  rows.m_Module.m_Type = random(Types);
  rows.m_Module.m_BuildDate = oo7_FirstAtomDate + random(Dates);
  Assemblies(rows.m_Parameters, random, rows.m_Module).Draw(1, 0);
  rows.m_Composites.reserve(static_cast<std::size_t>(parameters.m_CompositeParts));
  for (int id = 1; id <= parameters.m_CompositeParts; ++id)
    rows.m_Composites.push_back(oo7_DrawComposite(parameters, id, random));
  return rows;
}

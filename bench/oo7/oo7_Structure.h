#pragma once

#include "bench/oo7/oo7_Adapter.h"
#include "bench/oo7/oo7_Generator.h"
#include "bench/oo7/oo7_Tally.h"

// The changes of the structure. They count atoms.

/// SM1: new composite parts, each used by one base assembly.
template <oo7_Adapter Db> oo7_Tally oo7_Insert(Db& db) {
  oo7_Tally tally;
  oo7_Random random;
  oo7_Parameters const& parameters = db.Parameters();
  for (int i = 1; i <= oo7_InsertedParts; ++i) {
    oo7_CompositeRow const row = oo7_DrawComposite(parameters, parameters.m_CompositeParts + i, random);
    db.Insert(row, random(parameters.BaseAssemblies()) + 1);
    tally.m_Count += static_cast<int>(row.m_Atoms.size());
    for (oo7_AtomRow const& atom : row.m_Atoms) oo7_Visit(tally, atom);
  }
  return tally;
}

/// SM2: deletes them. `Delete` returns how many atoms it has deleted.
template <oo7_Adapter Db> oo7_Tally oo7_Delete(Db& db) {
  oo7_Tally tally;
  for (int i = 1; i <= oo7_InsertedParts; ++i)
    tally.m_Count += db.Delete(db.Parameters().m_CompositeParts + i);
  return tally;
}

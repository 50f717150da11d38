#pragma once

#include <algorithm>

#include "bench/oo7/oo7_Random.h"
#include "bench/oo7/oo7_Tally.h"
#include "bench/oo7/oo7_Texts.h"
#include "bench/oo7/oo7_Walk.h"

// The queries of the benchmark.

/// Q1: random atoms by id.
template <oo7_Adapter Db> oo7_Tally oo7_Q1(Db& db) {
  oo7_Tally tally;
  oo7_Random random;
  for (int i = 0; i < oo7_QueryRepetitions; ++i)
    if (auto* const atom = db.FindAtom(random(db.Parameters().Atoms()) + 1)) {
      ++tally.m_Count;
      oo7_Visit(tally, *atom);
    }
  return tally;
}

/// Q2 and Q3: the youngest atoms, by the index of dates.
template <oo7_Adapter Db> oo7_Tally oo7_QueryDates(Db& db, int percent) {
  oo7_Tally tally;
  int const range = (oo7_EndOfAtomDates - oo7_FirstAtomDate) * percent / 100;
  db.EachAtomBuilt(oo7_EndOfAtomDates - range, oo7_EndOfAtomDates - 1, [&](auto& atom) {
    ++tally.m_Count;
    oo7_Visit(tally, atom);
  });
  return tally;
}

/// Q4: random documents by title; the base assemblies that use their composite parts.
template <oo7_Adapter Db> oo7_Tally oo7_Q4(Db& db) {
  oo7_Tally tally;
  oo7_Random random;
  for (int i = 0; i < oo7_QueryRepetitions; ++i) {
    int const id = random(db.Parameters().m_CompositeParts) + 1;
    auto* const part = db.FindPartOfTitle(oo7_DocumentTitle(id));
    if (!part) continue;
    db.EachPrivateUser(*part, [&](auto& base) {
      ++tally.m_Count;
      oo7_Visit(tally, base);
    });
  }
  return tally;
}

/// Q5: base assemblies that use a younger composite part.
template <oo7_Adapter Db> oo7_Tally oo7_Q5(Db& db) {
  oo7_Tally tally;
  db.EachBase([&](auto& base) {
    bool isOlder = false;
    db.EachPrivate(base, [&](auto& part) { isOlder = isOlder || part.m_BuildDate > base.m_BuildDate; });
    if (!isOlder) return;
    ++tally.m_Count;
    oo7_Visit(tally, base);
  });
  return tally;
}

/// The youngest date of the composite parts below an assembly; tallies the assemblies that are older.
template <oo7_Adapter Db> int oo7_YoungestBelow(Db& db, typename Db::Complex& complex, oo7_Tally& tally) {
  int youngest = 0;
  auto const tell = [&](auto& assembly, int below) {
    youngest = std::max(youngest, below);
    if (below <= assembly.m_BuildDate) return;
    ++tally.m_Count;
    oo7_Visit(tally, assembly);
  };
  db.EachSub(
      complex, [&](auto& sub) { tell(sub, oo7_YoungestBelow(db, sub, tally)); },
      [&](auto& base) {
        int below = 0;
        db.EachPrivate(base, [&](auto& part) { below = std::max(below, part.m_BuildDate); });
        tell(base, below);
      });
  return youngest;
}

/// Q6: Q5 for all assemblies. A complex one uses what its sub-assemblies use.
template <oo7_Adapter Db> oo7_Tally oo7_Q6(Db& db) {
  oo7_Tally tally;
  auto& root = db.DesignRoot();
  if (oo7_YoungestBelow(db, root, tally) > root.m_BuildDate) {
    ++tally.m_Count;
    oo7_Visit(tally, root);
  }
  return tally;
}

/// Q7: all atoms.
template <oo7_Adapter Db> oo7_Tally oo7_Q7(Db& db) {
  oo7_Tally tally;
  db.EachAtom([&](auto& atom) {
    ++tally.m_Count;
    oo7_Visit(tally, atom);
  });
  return tally;
}

/// Q8: all atoms, each with the document that it names.
template <oo7_Adapter Db> oo7_Tally oo7_Q8(Db& db) {
  oo7_Tally tally;
  db.EachAtomWithDocument([&](auto& atom, auto& document) {
    ++tally.m_Count;
    oo7_Visit(tally, atom);
    oo7_Visit(tally, document);
  });
  return tally;
}

#pragma once

#include <algorithm>
#include <set>
#include <string>
#include <string_view>

#include "bench/oo7/oo7_Random.h"
#include "bench/oo7/oo7_Tally.h"
#include "bench/oo7/oo7_Walk.h"

// The traversals of the benchmark.

/// T1: all atoms. Speed of following pointers.
template <oo7_Adapter Db> oo7_Tally oo7_T1(Db& db) {
  oo7_Tally tally;
  oo7_EachAtomOfTree(db, [&](auto& atom) {
    ++tally.m_Count;
    oo7_Visit(tally, oo7_Object(atom));
  });
  return tally;
}

/// T1 that changes atoms: only root parts, or each `repetitions` times. Counts the changes.
template <oo7_Adapter Db, class Change>
oo7_Tally oo7_ChangeAtoms(Db& db, bool onlyRootParts, int repetitions, Change change) {
  oo7_Tally tally;
  auto search = [&](auto& part) {
    auto& root = db.RootPart(part);
    auto visit = [&](auto& atom) {
      oo7_Visit(tally, oo7_Object(atom));
      if (onlyRootParts && &oo7_Object(atom) != &oo7_Object(root)) return;
      for (int i = 0; i < repetitions; ++i) change(atom);
      tally.m_Count += repetitions;
    };
    oo7_AtomSearch(db, visit).From(root);
  };
  oo7_EachComposite(db, db.DesignRoot(), search);
  return tally;
}

/// T2: swaps coordinates.
template <oo7_Adapter Db> oo7_Tally oo7_T2(Db& db, bool onlyRootParts, int repetitions) {
  return oo7_ChangeAtoms(db, onlyRootParts, repetitions, [&](auto& atom) {
    auto const& now = oo7_Object(atom);
    db.SetPosition(atom, now.m_Y, now.m_X);
  });
}

/// T3: changes the date, which is indexed.
template <oo7_Adapter Db> oo7_Tally oo7_T3(Db& db, bool onlyRootParts, int repetitions) {
  return oo7_ChangeAtoms(db, onlyRootParts, repetitions, [&](auto& atom) {
    int const date = oo7_Object(atom).m_BuildDate;
    db.SetBuildDate(atom, date % 2 != 0 ? date + 1 : date - 1);
  });
}

/// T4: counts a letter in documents.
template <oo7_Adapter Db> oo7_Tally oo7_T4(Db& db) {
  oo7_Tally tally;
  auto count = [&](auto& part) {
    std::string_view const text = db.DocumentText(part);
    tally.m_Count += std::count(text.begin(), text.end(), 'I');
    oo7_Visit(tally, part);
  };
  oo7_EachComposite(db, db.DesignRoot(), count);
  return tally;
}

/// T5: replaces the beginning of documents by one of another length. Counts the replaced ones.
template <oo7_Adapter Db> oo7_Tally oo7_T5(Db& db, std::string_view from, std::string_view to) {
  oo7_Tally tally;
  auto replace = [&](auto& part) {
    std::string_view const text = db.DocumentText(part);
    if (!text.starts_with(from)) return;
    db.SetDocumentText(part, std::string(to).append(text.substr(from.size())));
    ++tally.m_Count;
    oo7_Visit(tally, part);
  };
  oo7_EachComposite(db, db.DesignRoot(), replace);
  return tally;
}

/// T6: T1, but only root parts. One object of a group.
template <oo7_Adapter Db> oo7_Tally oo7_T6(Db& db) {
  oo7_Tally tally;
  auto visit = [&](auto& part) {
    ++tally.m_Count;
    oo7_Visit(tally, oo7_Object(db.RootPart(part)));
  };
  oo7_EachComposite(db, db.DesignRoot(), visit);
  return tally;
}

/// T7: from a random atom up to the root, over all base assemblies that use its composite part.
template <oo7_Adapter Db> oo7_Tally oo7_T7(Db& db) {
  oo7_Tally tally;
  std::set<int> bases;
  std::set<int> complexes;
  auto const meet = [&tally](std::set<int>& met, auto& assembly) {
    if (!met.insert(assembly.m_Id).second) return false;
    ++tally.m_Count;
    oo7_Visit(tally, assembly);
    return true;
  };
  oo7_Random random;
  auto* const atom = db.FindAtom(random(db.Parameters().Atoms()) + 1);
  oo7_Visit(tally, *atom);
  db.EachPrivateUser(db.PartOf(*atom), [&](auto& base) {
    if (!meet(bases, base)) return;
    for (auto* complex = db.Super(base); complex && meet(complexes, *complex);) complex = db.Super(*complex);
  });
  return tally;
}

/// T8: counts a letter in the manual.
template <oo7_Adapter Db> oo7_Tally oo7_T8(Db& db) {
  std::string_view const text = db.ManualText();
  return {static_cast<long long>(std::count(text.begin(), text.end(), 'I')), 0, 0};
}

/// T9: whether the manual begins and ends with the same letter. A large object need not be read whole.
template <oo7_Adapter Db> oo7_Tally oo7_T9(Db& db) {
  return {db.ManualByte(0) == db.ManualByte(db.ManualLength() - 1) ? 1 : 0, 0, 0};
}

/// CU: T1, then T2a. Updates of objects that are in memory.
template <oo7_Adapter Db> oo7_Tally oo7_CU(Db& db) {
  oo7_Tally const read = oo7_T1(db);
  oo7_Tally tally = oo7_T2(db, true, 1);
  tally.m_Sum += read.m_Sum;
  return tally;
}

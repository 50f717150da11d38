#pragma once

#include "bench/oo7/oo7_Adapter.h"

/// A number that no search has had. Objects that are new in memory have 0.
inline int oo7_NextMark() {
  static int last = 0;
  return ++last;
}

/// Visits the private composite parts of all base assemblies below an assembly, with repetition.
template <oo7_Adapter Db, class Visit>
void oo7_EachComposite(Db& db, typename Db::Complex& complex, Visit& visit) {
  db.EachSub(
      complex, [&](auto& sub) { oo7_EachComposite(db, sub, visit); },
      [&](auto& base) { db.EachPrivate(base, visit); });
}

/// Visits the atoms of a composite part, depth first over connections from its root part, each atom once.
template <oo7_Adapter Db, class Visit> class oo7_AtomSearch {
 public:
  oo7_AtomSearch(Db& db, Visit& visit) : m_Db(db), m_Visit(visit) {}

  void From(auto& atom) {
    oo7_Object(atom).m_Mark = m_Mark;
    m_Visit(atom);
    m_Db.EachTo(atom, [this](auto& next) {
      if (oo7_Object(next).m_Mark != m_Mark) From(next);
    });
  }

 private:
  Db& m_Db;
  Visit& m_Visit;
  int m_Mark = oo7_NextMark();
};

/// The walk of T1: visits each atom of each composite part that the tree of assemblies leads to.
template <oo7_Adapter Db, class Visit> void oo7_EachAtomOfTree(Db& db, Visit visit) {
  auto search = [&](auto& part) { oo7_AtomSearch(db, visit).From(db.RootPart(part)); };
  oo7_EachComposite(db, db.DesignRoot(), search);
}

#pragma once

#include <array>
#include <concepts>
#include <string_view>

#include "bench/oo7/oo7_Adapter.h"
#include "bench/oo7/oo7_Oo1Rows.h"
#include "bench/oo7/oo7_Tally.h"

/// A system under test, as the operations see it. Parts have m_Id, m_X, m_Y and m_BuildDate.
///
/// - `Find(id)`: the part, by index. Null if there is none.
/// - `EachTo(part, visit)`, `EachFrom(part, visit)`: the parts at the other end of its connections out and in.
/// - `Add(row)`: a part with its connections, and its entries in indexes.
/// - `Size()`: how many parts there are.
/// - `Begin()`, `Commit()`, `End()`: as for oo7_Adapter.
template <class Db>
concept oo7_Oo1Adapter = requires(Db& db, typename Db::Part& part, oo7_Oo1Part const& row,
                                  oo7_Ignore ignore) {
  { db.Find(1) } -> std::same_as<typename Db::Part*>;
  db.EachTo(part, ignore);
  db.EachFrom(part, ignore);
  db.Add(row);
  { db.Size() } -> std::same_as<int>;
  db.Begin();
  db.Commit();
  db.End();
};

inline constexpr int oo7_Oo1Lookups = 1000;
inline constexpr int oo7_Oo1Hops = 7;
inline constexpr int oo7_Oo1Inserts = 100;

/// Parts by id.
template <oo7_Oo1Adapter Db> oo7_Tally oo7_Oo1Lookup(Db& db, oo7_Random& random) {
  oo7_Tally tally;
  int const size = db.Size();
  for (int i = 0; i < oo7_Oo1Lookups; ++i)
    if (auto* const part = db.Find(random(size) + 1)) {
      ++tally.m_Count;
      oo7_Visit(tally, *part);
    }
  return tally;
}

/// All parts that are up to `hops` connections away, depth first, with repetition.
template <oo7_Oo1Adapter Db>
void oo7_Oo1Walk(Db& db, typename Db::Part& part, int hops, bool isReverse, oo7_Tally& tally) {
  ++tally.m_Count;
  oo7_Visit(tally, part);
  if (hops == 0) return;
  auto const onwards = [&](auto& next) { oo7_Oo1Walk(db, next, hops - 1, isReverse, tally); };
  if (isReverse)
    db.EachFrom(part, onwards);
  else
    db.EachTo(part, onwards);
}

template <oo7_Oo1Adapter Db> oo7_Tally oo7_Oo1Traversal(Db& db, oo7_Random& random, bool isReverse) {
  oo7_Tally tally;
  oo7_Oo1Walk(db, *db.Find(random(db.Size()) + 1), oo7_Oo1Hops, isReverse, tally);
  return tally;
}

/// New parts with connections to those that were there before.
template <oo7_Oo1Adapter Db> oo7_Tally oo7_Oo1Insert(Db& db, oo7_Random& random) {
  oo7_Tally tally;
  int const size = db.Size();
  for (int i = 1; i <= oo7_Oo1Inserts; ++i) {
    oo7_Oo1Part const row = oo7_Oo1DrawPart(size + i, size, random);
    db.Add(row);
    ++tally.m_Count;
    oo7_Visit(tally, row);
  }
  return tally;
}

template <class Db> struct oo7_Oo1Operation {
  std::string_view m_Name;
  oo7_Tally (*m_Run)(Db& db, oo7_Random& random);
  bool m_Changes = false; // it ends with a commit
};

/// All operations. Each call goes on with the random numbers, to other parts.
template <oo7_Oo1Adapter Db>
inline constexpr std::array oo7_Oo1Operations = {
    oo7_Oo1Operation<Db>{"lookup", [](Db& db, oo7_Random& random) { return oo7_Oo1Lookup(db, random); }},
    oo7_Oo1Operation<Db>{"traversal",
                         [](Db& db, oo7_Random& random) { return oo7_Oo1Traversal(db, random, false); }},
    oo7_Oo1Operation<Db>{"reverse",
                         [](Db& db, oo7_Random& random) { return oo7_Oo1Traversal(db, random, true); }},
    oo7_Oo1Operation<Db>{"insert", [](Db& db, oo7_Random& random) { return oo7_Oo1Insert(db, random); },
                         true},
};

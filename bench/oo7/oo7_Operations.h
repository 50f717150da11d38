#pragma once

#include <array>
#include <string_view>
#include <vector>

#include "bench/oo7/oo7_Queries.h"
#include "bench/oo7/oo7_Structure.h"
#include "bench/oo7/oo7_Traversals.h"

template <class Db> struct oo7_Operation {
  std::string_view m_Name;
  oo7_Tally (*m_Run)(Db& db);
  bool m_Changes = false; // it ends with a commit
};

/// All operations, as one system runs them.
template <oo7_Adapter Db>
inline constexpr std::array oo7_Operations = {
    oo7_Operation<Db>{"T1", [](Db& db) { return oo7_T1(db); }},
    oo7_Operation<Db>{"T2a", [](Db& db) { return oo7_T2(db, true, 1); }, true},
    oo7_Operation<Db>{"T2b", [](Db& db) { return oo7_T2(db, false, 1); }, true},
    oo7_Operation<Db>{"T2c", [](Db& db) { return oo7_T2(db, false, oo7_UpdateRepetitions); }, true},
    oo7_Operation<Db>{"T3a", [](Db& db) { return oo7_T3(db, true, 1); }, true},
    oo7_Operation<Db>{"T3b", [](Db& db) { return oo7_T3(db, false, 1); }, true},
    oo7_Operation<Db>{"T3c", [](Db& db) { return oo7_T3(db, false, oo7_UpdateRepetitions); }, true},
    oo7_Operation<Db>{"T4", [](Db& db) { return oo7_T4(db); }},
    oo7_Operation<Db>{"T5do", [](Db& db) { return oo7_T5(db, "I am", "This is"); }, true},
    oo7_Operation<Db>{"T5undo", [](Db& db) { return oo7_T5(db, "This is", "I am"); }, true},
    oo7_Operation<Db>{"T6", [](Db& db) { return oo7_T6(db); }},
    oo7_Operation<Db>{"T7", [](Db& db) { return oo7_T7(db); }},
    oo7_Operation<Db>{"T8", [](Db& db) { return oo7_T8(db); }},
    oo7_Operation<Db>{"T9", [](Db& db) { return oo7_T9(db); }},
    oo7_Operation<Db>{"CU", [](Db& db) { return oo7_CU(db); }, true},
    oo7_Operation<Db>{"Q1", [](Db& db) { return oo7_Q1(db); }},
    oo7_Operation<Db>{"Q2", [](Db& db) { return oo7_QueryDates(db, 1); }},
    oo7_Operation<Db>{"Q3", [](Db& db) { return oo7_QueryDates(db, 10); }},
    oo7_Operation<Db>{"Q4", [](Db& db) { return oo7_Q4(db); }},
    oo7_Operation<Db>{"Q5", [](Db& db) { return oo7_Q5(db); }},
    oo7_Operation<Db>{"Q6", [](Db& db) { return oo7_Q6(db); }},
    oo7_Operation<Db>{"Q7", [](Db& db) { return oo7_Q7(db); }},
    oo7_Operation<Db>{"Q8", [](Db& db) { return oo7_Q8(db); }},
    oo7_Operation<Db>{"SM1", [](Db& db) { return oo7_Insert(db); }, true},
    oo7_Operation<Db>{"SM2", [](Db& db) { return oo7_Delete(db); }, true},
};

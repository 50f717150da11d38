#include "bench/oo7/oo7_Systems.h"

#include "bench/oo7/oo7_BoostSystem.h"
#include "bench/oo7/oo7_LazySystem.h"
#include "bench/oo7/oo7_MemorySystem.h"
#include "bench/oo7/oo7_SqliteSystem.h"
#include "bench/oo7/oo7_StoreSystem.h"

std::array<oo7_NamedSystem, 5> const oo7_Systems = {
    // The first one that runs is what the others must equal.
    oo7_NamedSystem{"memory", oo7_MakeMemorySystem, false},
    oo7_NamedSystem{"sqlite", oo7_MakeSqliteSystem},
    oo7_NamedSystem{"lazy", oo7_MakeLazySystem},
    oo7_NamedSystem{"store", oo7_MakeStoreSystem},
    oo7_NamedSystem{"boost", oo7_MakeBoostSystem},
};

oo7_NamedSystem const& oo7_SystemNamed(std::string_view name) {
  for (oo7_NamedSystem const& system : oo7_Systems)
    if (system.m_Name == name) return system;
  bench_Require(false, "there is no system of that name");
  return oo7_Systems.front();
}

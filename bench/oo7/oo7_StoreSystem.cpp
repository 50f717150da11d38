#include "bench/oo7/oo7_StoreSystem.h"

#include "bench/oo7/oo7_DescribedClasses.h"
#include "bench/oo7/oo7_Graph.h"
#include "bench/oo7/oo7_StoreFile.h"

std::unique_ptr<oo7_System> oo7_MakeStoreSystem() {
  using File = oo7_StoreFile<oo7_described::Library>;
  return std::make_unique<oo7_SystemOf<oo7_Graph<oo7_described::Classes, File>>>();
}

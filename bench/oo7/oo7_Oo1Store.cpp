#include "bench/oo7/oo7_Oo1Described.h"
#include "bench/oo7/oo7_Oo1Graph.h"
#include "bench/oo7/oo7_Oo1System.h"
#include "bench/oo7/oo7_StoreFile.h"

std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeStore() {
  using File = oo7_StoreFile<oo7_oo1_described::Library>;
  return std::make_unique<oo7_Oo1SystemOf<oo7_Oo1Graph<oo7_oo1_described::Classes, File>>>();
}

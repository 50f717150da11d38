#include "bench/oo7/oo7_NoFile.h"
#include "bench/oo7/oo7_Oo1Classes.h"
#include "bench/oo7/oo7_Oo1Graph.h"
#include "bench/oo7/oo7_Oo1System.h"

std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeMemory() {
  using Classes = oo7_oo1::Classes<oo7_PlainPointers>;
  return std::make_unique<oo7_Oo1SystemOf<oo7_Oo1Graph<Classes, oo7_NoFile<Classes::Library>>>>();
}

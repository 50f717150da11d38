#include "bench/oo7/oo7_MemorySystem.h"

#include "bench/oo7/oo7_Graph.h"
#include "bench/oo7/oo7_GraphClasses.h"
#include "bench/oo7/oo7_NoFile.h"

std::unique_ptr<oo7_System> oo7_MakeMemorySystem() {
  using Classes = oo7_graph::Classes<oo7_PlainPointers>;
  return std::make_unique<oo7_SystemOf<oo7_Graph<Classes, oo7_NoFile<Classes::Library>>>>();
}

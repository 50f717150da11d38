/// Makes the design database small3 in two stores: emit_oo7 HELD REFERRED. In the one, objects are held by pointers, in the
/// other by references.

#include <exception>
#include <iostream>

#include "bench/oo7/oo7_DescribedClasses.h"
#include "bench/oo7/oo7_Generator.h"
#include "bench/oo7/oo7_GraphBuilder.h"
#include "bench/oo7/oo7_LazyClasses.h"
#include "store/sto_Store.h"

namespace {

template <class Classes> void Make(char const* path) {
  using Library = typename Classes::Library;
  Library library;
  oo7_GraphBuilder<Classes>::Build(oo7_DrawDatabase(oo7_Parameters::Named("small3")), library);
  cls_ClassRegistrar registrar;
  Library::DeclareAll(registrar);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
  store.Save("module", library);
  store.Close();
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 3) return 2;
  try {
    Make<oo7_described::Classes>(argv[1]);
    Make<oo7_lazy::Classes>(argv[2]);
  } catch (std::exception const& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
  return 0;
}

#include "bench/oo7/oo7_MemorySystem.h"

#include "bench/oo7/oo7_Graph.h"
#include "bench/oo7/oo7_GraphClasses.h"

namespace {

using PlainClasses = oo7_graph::Classes<oo7_PlainPointers>;

class NoFile {
 public:
  void Create(std::string const&, std::unique_ptr<PlainClasses::Library> library) {
    m_Library = std::move(library);
  }
  std::unique_ptr<PlainClasses::Library> Open(std::string const&) { return std::move(m_Library); }
  void Close(std::unique_ptr<PlainClasses::Library> library) { m_Library = std::move(library); }
  void Save(PlainClasses::Library const&, bool) {}

 private:
  std::unique_ptr<PlainClasses::Library> m_Library;
};

} // namespace

std::unique_ptr<oo7_System> oo7_MakeMemorySystem() {
  return std::make_unique<oo7_SystemOf<oo7_Graph<PlainClasses, NoFile>>>();
}

#include "bench/oo7/oo7_StoreSystem.h"

#include "bench/oo7/oo7_DescribedClasses.h"
#include "bench/oo7/oo7_Graph.h"
#include "store/sto_Store.h"

namespace {

constexpr char Root[] = "module";

class StoreFile {
 public:
  StoreFile() { oo7_described::Library::DeclareAll(m_Registrar); }

  void Create(std::string const& path, std::unique_ptr<oo7_described::Library> library) {
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::Create, m_Registrar));
    Save(*library, false);
    Close(std::move(library));
  }
  std::unique_ptr<oo7_described::Library> Open(std::string const& path) {
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::ReadWrite, m_Registrar));
    return m_Store->Load<oo7_described::Library>(Root);
  }
  void Close(std::unique_ptr<oo7_described::Library> library) {
    library.reset();
    m_Store.reset();
  }
  void Save(oo7_described::Library const& library, bool hasDeleted) {
    sto_Transaction transaction(*m_Store);
    m_Store->Save(Root, library);
    if (hasDeleted) m_Store->CollectGarbage();
    transaction.Commit();
  }

 private:
  cls_ClassRegistrar m_Registrar;
  std::unique_ptr<sto_Store> m_Store;
};

} // namespace

std::unique_ptr<oo7_System> oo7_MakeStoreSystem() {
  return std::make_unique<oo7_SystemOf<oo7_Graph<oo7_described::Classes, StoreFile>>>();
}

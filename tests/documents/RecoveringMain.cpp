// The program of docs/recovering.md: damages a store, and recovers it.

#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include <kvlpersist/describe/dsc_Described.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/store/sto_Store.h>

#include <blocks/docs/recovering/recovering-a-damaged-store-1>

namespace {

class Plate {
 public:
  KVL_PERSISTED(Plate, 0x400091, "Plate", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Loads)); }
  Plate() = default;

  std::vector<double> m_Loads = std::vector<double>(5000, 2.25);
};

#include <blocks/docs/recovering/recovering-a-damaged-store-2>

/// Overwrites bytes in the middle of some elements.
void Damage(char const* file) {
  std::fstream stream(file, std::ios::binary | std::ios::in | std::ios::out);
  std::string const bytes((std::istreambuf_iterator<char>(stream)), std::istreambuf_iterator<char>());
  std::string const elements =
      std::string("\0\0\0\0\0\0\x02\x40", 8) + std::string("\0\0\0\0\0\0\x02\x40", 8);
  stream.clear();
  stream.seekp(static_cast<std::streamoff>(bytes.find(elements) + 800));
  stream << "damage";
}

void Run() {
  cls_ClassRegistrar registrar;
  Plate::Declare(registrar);
  sto_Store::Open("plates.kvs", sto_Mode::Create, registrar).Save("plate", Plate());
  Damage("plates.kvs");
  Rescue("plates.kvs", "rescued.kvs");
  sto_Store store = sto_Store::Open("rescued.kvs", sto_Mode::ReadWrite, registrar);
  std::cout << store.Check(sto_CheckDepth::Full).IsSound() << ' ' << store.Load<Plate>("plate")->m_Loads[4999]
            << '\n';
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  Run();
  nex_finalize(modules);
}

// The program of docs/looking-inside.md: saves a plate, and looks at it without its class.

#include <cstdint>
#include <iostream>
#include <map>
#include <span>
#include <string>
#include <vector>

#include <kvlpersist/describe/dsc_Described.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/store/sto_Store.h>

#include <blocks/docs/looking-inside/looking-inside-1>

namespace {

class Plate {
 public:
  KVL_PERSISTED(Plate, 0x400090, "Plate", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Thickness), kvl::Unit("mm"));
    field(KVL_F(m_Loads));
    field(KVL_F(m_Bolts));
  }
  Plate() = default;

  std::string m_Name = "P1";
  double m_Thickness = 12.5;
  std::vector<double> m_Loads = std::vector<double>(5000, 2.25);
  std::map<std::string, int> m_Bolts{{"M8", 4}, {"M10", 6}};
};

#include <blocks/docs/looking-inside/objects-1>

#include <blocks/docs/looking-inside/lists-maps-and-blobs-1>

#include <blocks/docs/looking-inside/looking-inside-2>

void Run() {
  cls_ClassRegistrar registrar;
  Plate::Declare(registrar);
  sto_Store::Open("plates.kvs", sto_Mode::Create, registrar).Save("model/plate", Plate());
  LookInside("plates.kvs");
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  Run();
  nex_finalize(modules);
}

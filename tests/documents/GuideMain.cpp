// The program of docs/guide.md: saves a truss with its first classes, loads it with the changed ones, and plots a history.

#include <cmath>
#include <fstream>
#include <iostream>

#include <kvlpersist/module/nex_initialize.h>

#include <blocks/docs/guide/say-what-the-model-is-1>

#include <blocks/docs/guide/save-it-and-load-it-1>

#include <blocks/docs/guide/keep-a-history-and-plot-it-1>

namespace before {
#include <blocks/docs/guide/say-what-the-model-is-2>

#include <blocks/docs/guide/say-what-the-model-is-3>

#include <blocks/docs/guide/say-what-the-model-is-4>

#include <blocks/docs/guide/save-it-and-load-it-2>
} // namespace before

namespace after {
using before::Joint;
using before::Material;
using before::Member;
using before::Truss;
#include <blocks/docs/guide/change-it-1>
} // namespace after

#include <blocks/docs/guide/keep-a-history-and-plot-it-2>

#include <blocks/docs/guide/keep-a-history-and-plot-it-3>

namespace {

void PrintChanged(std::string const& path) {
  cls_ClassRegistrar registrar;
  after::Truss::Declare(registrar);
  after::Bar::Declare(registrar);
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, registrar, {.m_Strict = true});
  std::unique_ptr<after::Truss> const truss = store.Load<after::Truss>("truss");
  auto const& bar = dynamic_cast<after::Bar const&>(*truss->m_Members.at(0));
  std::cout << "diameter " << bar.Diameter() << " m, " << bar.Weight() << " N/m, stiffness "
            << bar.Stiffness() << '\n';
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  before::SaveTruss("truss.kvs");
  std::cout << "stiffness " << before::TotalStiffness("truss.kvs") << '\n';
  PrintChanged("truss.kvs");
  Compute("swing.kvs", 1000);
  Plot("swing.kvs", "swing.svg");
  nex_finalize(modules);
}

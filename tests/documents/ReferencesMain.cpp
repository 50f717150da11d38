// The program of docs/references.md: a car of four wheels, whose parts stay in the store.

#include <iostream>

#include <kvlpersist/module/nex_initialize.h>

#include <blocks/docs/references/members-1>

#include <blocks/docs/references/members-2>

#include <blocks/docs/references/making-and-saving-1>

#include <blocks/docs/references/looking-1>

#include <blocks/docs/references/changing-1>

#include <blocks/docs/references/deleting-1>

#include <blocks/docs/references/memory-1>

#include <blocks/docs/references/all-objects-of-a-class-and-some-of-them-1>

int main() {
  int modules = 0;
  nex_initialize(modules);
  {
    cls_ClassRegistrar classes;
    Assembly::Declare(classes);
    sto_Store store = sto_Store::Open("car.kvs", sto_Mode::Create, classes);
    Make(store);
    std::cout << store.ObjectCount() << ' ' << MassOfCar(store) << '\n';
    Lighten(store, 0.5);
    std::cout << MassOfCar(store) << ' ' << MassOfLargeModel(store) << ' '
              << store.Ref<Assembly>("car")->m_Name << ' ' << store.CountGarbage() << '\n';
    std::cout << MassOfAllParts(store) << ' ' << CountOf(store, "rim") << '\n';
    RemovePart(store, "rim");
    std::cout << MassOfCar(store) << ' ' << CountOf(store, "rim") << ' ' << store.CollectGarbage() << '\n';
  }
  nex_finalize(modules);
}

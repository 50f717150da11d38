// The program of docs/arrays.md: a history that is computed and looked at, and one that is a root.

#include <algorithm>
#include <iostream>

#include <kvlpersist/module/nex_initialize.h>

#include <blocks/docs/arrays/a-member-of-a-class-1>

#include <blocks/docs/arrays/a-member-of-a-class-2>

#include <blocks/docs/arrays/a-member-of-a-class-3>

#include <blocks/docs/arrays/a-member-of-a-class-4>

#include <blocks/docs/arrays/a-root-by-itself-1>

int main() {
  int modules = 0;
  nex_initialize(modules);
  {
    cls_ClassRegistrar classes;
    Transient::Declare(classes);
    Compute("run.kvs", classes, 50, 250);
    std::cout << Inspect("run.kvs", classes) << '\n';
    sto_Store store = sto_Store::Open("run.kvs", sto_Mode::ReadWrite, classes);
    KeepHistory(store);
    ShowHistory(store);
    std::cout << store.CountGarbage() << '\n';
  }
  nex_finalize(modules);
}

// The program of docs/indexes.md: makes two indexes, and drops one of them.

#include <iostream>

#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/store/sto_Store.h>

#include <blocks/docs/indexes/declaring-1>

#include <blocks/docs/indexes/finding-1>

namespace {

#include <blocks/docs/indexes/finding-2>

void DeclareByHand(cls_ClassRegistrar& registrar) {
#include <blocks/docs/indexes/declaring-2>
}

void Drop(sto_Store& store) {
#include <blocks/docs/indexes/when-an-index-is-made-1>
}

void Run() {
  cls_ClassRegistrar first, second;
  for (cls_ClassRegistrar* const registrar : {&first, &second}) Part::Declare(*registrar);
  DeclareByHand(first);
  sto_Store::Open("parts.kvs", sto_Mode::Create, first).Save("part", Part());
  sto_Store store = sto_Store::Open("parts.kvs", sto_Mode::ReadWrite, second);
  for (int i = 0; i < 2; ++i) {
    std::cout << store.Saves().size() << " saves, " << store.Stat().m_IndexBytes << " bytes of indexes\n";
    Drop(store);
  }
  Part part;
  part.m_Id = 17;
  store.Save("part", part);
  std::cout << CountOfParts(store) << " found\n";
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  Run();
  nex_finalize(modules);
}

// The example of docs/copies-and-identity.md. Prints the final content of the store.

#include <iostream>

#include "module/nex_initialize.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/identity/cls_OwnUid.h"
#include "store/sto_Store.h"

#include <blocks/docs/copies-and-identity/a-copy-that-is-to-be-another-object-1>

namespace {

void SaveBoth(sto_Store& store) {
#include <blocks/docs/copies-and-identity/a-copy-that-is-to-be-another-object-2>
}

void ChangeOne(sto_Store& store) {
#include <blocks/docs/copies-and-identity/loading-is-copying-too-1>
}

void Run() {
  cls_ClassRegistrar registrar;
  registrar.AddClassMD(new cls_TypeAdapter<Washer>("Washer"_cow, 1, 1))
      .AddAttribute(cls_FieldHandle(0, "m_Thickness"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open("washers.kvs", sto_Mode::Create, registrar, {.m_Strict = true});
  SaveBoth(store);
  ChangeOne(store);
  for (char const* const root : {"thick", "thin"})
    std::cout << root << ' ' << store.Load<Washer>(root)->m_Thickness << '\n';
}

} // namespace

int main() {
  int modules = 0;
  nex_initialize(modules);
  Run();
  nex_finalize(modules);
}

// Makes the stores that the test of the program kvlstore reads.
//
//     kvlstore_stores array FILE COUNT    a bulk array of so many doubles under the root "run"
//     kvlstore_stores parts FILE COUNT    so many objects in a list under the root "parts"
//     kvlstore_stores save FILE           saves one more object, into a store that is there

#include <cmath>
#include <cstdlib>
#include <exception>
#include <iostream>
#include <string>
#include <vector>

#include "tests/support/store/StoreVerbs.h"

namespace {

using namespace kvlstore_test;

constexpr int AtOnce = 10'000;

void SaveArray(sto_Store& store, int count) {
  Lists lists;
  store.Save("run", lists);
  sto_Transaction transaction(store);
  std::vector<double> some(AtOnce);
  for (int i = 0; i < count; i += AtOnce) {
    for (int k = 0; k < AtOnce; ++k) some[static_cast<std::size_t>(k)] = std::sin((i + k) * 1e-4) * (i + k);
    lists.m_Array.Append(some);
  }
  transaction.Commit();
}

void SaveParts(sto_Store& store, int count) {
  Lists lists;
  for (int i = 0; i < count; ++i)
    lists.m_Parts.push_back(std::make_shared<Part>("part " + std::to_string(i)));
  lists.m_Texts.push_back("\x1b[31mred \xC2\x9B"_cow);
  store.Save("parts", lists);
}

} // namespace

int main(int argc, char** argv) {
  try {
    if (argc < 3) throw std::invalid_argument("arguments: array, parts or save, and a file");
    std::string const command = argv[1];
    int const count = argc > 3 ? std::atoi(argv[3]) : 0;
    cls_ClassRegistrar classes;
    DeclareAll(classes);
    sto_Options options;
    options.m_Program = "kvlstore_stores";
    StoreFaultVfs const noWaiting;
    sto_Store store = sto_Store::Open(argv[2], command == "save" ? sto_Mode::ReadWrite : sto_Mode::Create,
                                      classes, options);
    if (command == "array") SaveArray(store, count);
    if (command == "parts") SaveParts(store, count);
    if (command == "save") store.Save("another", Part("another"));
    return 0;
  } catch (std::exception const& failure) {
    std::cerr << "kvlstore_stores: " << failure.what() << '\n';
    return 1;
  }
}

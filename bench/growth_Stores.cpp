#include "bench/growth_Case.h"
#include "bench/objects_StoreContenders.h"

namespace {

constexpr int Objects = 500;

std::vector<growth_Figure> MeasureStores(int size, std::string const& folder) {
  std::vector<objects_Sample> const samples = objects_MakeSamples(Objects);
  std::vector<std::unique_ptr<objects_Part>> objects;
  for (objects_Sample const& sample : samples) objects.push_back(std::make_unique<objects_Note>(sample));
  objects_Holding const holding(objects);
  std::vector<std::unique_ptr<sto_Store>> stores;
  double const creating = growth_SecondsOf([&] {
    for (int i = 0; i < size; ++i)
      stores.push_back(std::make_unique<sto_Store>(sto_Store::Open(
          folder + "/" + std::to_string(i) + ".kvs", sto_Mode::Create, objects_StoreClasses())));
  });
  auto const save = [&] {
    return growth_SecondsOf([&] {
      for (std::unique_ptr<sto_Store> const& store : stores) store->Save("objects", holding);
    });
  };
  double const first = save();
  double const again = save();
  double const closing = growth_SecondsOf([&] { stores.clear(); });
  double const saves = static_cast<double>(size) * Objects;
  double const count = size;
  return {{"create a store", creating, count},
          {"save an object to each store", first, saves},
          {"save it again", again, saves},
          {"close a store", closing, count}};
}

} // namespace

growth_Case growth_Stores() {
  return {"stores that share objects", {4, 40, 400}, MeasureStores};
}

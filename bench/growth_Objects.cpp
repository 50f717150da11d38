#include <unistd.h>

#include <fstream>

#include "bench/growth_Case.h"
#include "bench/objects_StoreContenders.h"

namespace {

std::vector<growth_Figure> MeasureObjects(int size, std::string const& folder) {
  objects_StoreContender contender(objects_MakeSamples(size));
  std::string const path = folder + "/objects.kvs";
  contender.Prepare(path);
  double const saving = growth_SecondsOf([&] { contender.Save(); });
  double const again = growth_SecondsOf([&] { contender.Save(); });
  contender.Close();
  double const loading = growth_SecondsOf([&] { contender.Load(path); });
  growth_Require(contender.Loaded().m_Count == size, "loading the objects");
  double const destroying = growth_SecondsOf([&] { contender.Release(); });
  double const count = size;
  return {{"save an object", saving, count},
          {"save it again unchanged", again, count},
          {"load it", loading, count},
          {"destroy it", destroying, count}};
}

std::vector<growth_Figure> MeasureRoots(int size, std::string const& folder) {
  objects_RootsContender contender(objects_MakeSamples(size));
  std::string const path = folder + "/roots.kvs";
  contender.Prepare(path);
  double const saving = growth_SecondsOf([&] { contender.Save(); });
  contender.Close();
  double const loading = growth_SecondsOf([&] { contender.Load(path); });
  contender.Release();
  std::vector<int> const order = objects_ShuffledOrder(size);
  double const shuffled =
      growth_SecondsOf([&] { growth_Require(contender.LoadShuffled(path, order), "loading by name"); });
  contender.Release();
  double const count = size;
  return {{"save an object and its root", saving, count},
          {"load it in order", loading, count},
          {"load it shuffled", shuffled, count}};
}

double ResidentBytes() {
  std::ifstream file("/proc/self/statm");
  double total = 0;
  double resident = 0;
  file >> total >> resident;
  return resident * static_cast<double>(sysconf(_SC_PAGESIZE));
}

/// The figures are nanobytes, so to speak: what one object takes is printed as ns.
std::vector<growth_Figure> MeasureMemory(int size, std::string const& folder) {
  std::string const path = folder + "/objects.kvs";
  {
    objects_StoreContender writer(objects_MakeSamples(size));
    writer.Prepare(path);
    writer.Save();
    writer.Close();
  }
  objects_StoreContender reader({});
  double const before = ResidentBytes();
  reader.Load(path);
  double const loaded = ResidentBytes();
  reader.Release();
  double const released = ResidentBytes();
  reader.Close();
  double const closed = ResidentBytes();
  double const count = size;
  return {{"bytes an object while it is loaded", (loaded - before) * 1e-9, count},
          {"bytes after all were destroyed", (released - before) * 1e-9, count},
          {"bytes after the store was closed", (closed - before) * 1e-9, count}};
}

} // namespace

growth_Case growth_Objects() {
  return {"objects in one list", {10'000, 100'000, 1'000'000}, MeasureObjects};
}
growth_Case growth_Roots() {
  return {"roots", {1000, 10'000, 100'000}, MeasureRoots};
}
growth_Case growth_Memory() {
  return {"memory of loaded objects (ns are bytes)", {100'000, 1'000'000}, MeasureMemory};
}

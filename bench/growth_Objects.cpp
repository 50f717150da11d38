#include <malloc.h>
#include <sys/wait.h>
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

/// The memory of this process that is not a mapped file.
double ResidentBytes() {
  std::ifstream file("/proc/self/status");
  for (std::string word; file >> word;)
    if (word == "RssAnon:") {
      double kibibytes = 0;
      file >> kibibytes;
      return kibibytes * 1024;
    }
  return 0;
}

/// Writes a store in a process of its own, whose memory is not measured.
void WriteObjects(int size, std::string const& path) {
  pid_t const child = fork();
  if (child == 0) {
    objects_StoreContender writer(objects_MakeSamples(size));
    writer.Prepare(path);
    writer.Save();
    writer.Close();
    _exit(0);
  }
  int status = 1;
  growth_Require(waitpid(child, &status, 0) == child && status == 0, "writing objects");
}

/// Seconds are bytes here, in units of 10^9: what is printed as ns are bytes an object.
std::vector<growth_Figure> MeasureMemory(int size, std::string const& folder) {
  std::string const path = folder + "/objects.kvs";
  WriteObjects(size, path);
  objects_StoreContender reader({});
  double const before = ResidentBytes();
  reader.Load(path);
  double const loaded = ResidentBytes();
  reader.Release();
  double const released = ResidentBytes();
  malloc_trim(0); // the system's heap keeps what was freed between two live allocations
  double const trimmed = ResidentBytes();
  reader.Close();
  double const closed = ResidentBytes();
  double const count = size;
  return {{"bytes an object while it is loaded", (loaded - before) * 1e-9, count},
          {"bytes after all were destroyed", (released - before) * 1e-9, count},
          {"bytes after malloc_trim", (trimmed - before) * 1e-9, count},
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

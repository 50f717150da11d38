/// Measures the class registry: look-ups beside the standard library's map with the same keys, registration
/// of many classes, and look-ups from several threads at once.
///
///     registry_bench            medians of 15 interleaved repetitions
///     registry_bench --smoke    everything once, small; the figures mean nothing
///
/// The library is initialised, so the registrar's checks are installed and run: each guarded look-up costs
/// two. Keys are asked for in random order.

#include <algorithm>
#include <array>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <map>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "module/nex_initialize.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "platform/mem/mem_Memory.h"

namespace {

std::atomic<long> s_Allocations{0};

bool CountAllocation(std::size_t) {
  s_Allocations.fetch_add(1, std::memory_order_relaxed);
  return true;
}

} // namespace

[[gnu::noinline]] void* operator new(std::size_t size) {
  s_Allocations.fetch_add(1, std::memory_order_relaxed);
  if (void* const memory = std::malloc(size)) return memory;
  throw std::bad_alloc();
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
  std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, std::size_t) noexcept {
  std::free(memory);
}

namespace {

using Clock = std::chrono::steady_clock;

bool s_IsSmoke = false;

double NanosecondsSince(Clock::time_point start) {
  return std::chrono::duration<double, std::nano>(Clock::now() - start).count();
}

double Median(std::vector<double> values) {
  std::ranges::sort(values);
  return values[values.size() / 2];
}

/// Keeps the compiler from optimising a value away.
template <class T> void Use(T const& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

/// Class IDs as in a large application: components of a hundred classes each.
unsigned int ClassIdOf(int index) {
  return static_cast<unsigned int>(0x40 + index / 100) << 16 | static_cast<unsigned int>(index % 100 + 1);
}

std::string NameOf(int index) {
  static constexpr std::array Kinds = {"Section", "Material", "LoadCase", "Constraint", "Element"};
  return std::string("prd_") + Kinds[static_cast<std::size_t>(index) % Kinds.size()] + "Definition" +
         std::to_string(index);
}

/// A registry of one size, and standard maps with the same keys.
struct Registry {
  explicit Registry(int classCount) {
    for (int index = 0; index < classCount; ++index) {
      unsigned int const classId = ClassIdOf(index);
      for (int const version : {1, 2}) {
        cls_ClassMetadata& metadata =
            m_Registrar.CreateClassMD(cow_String(NameOf(index)), classId, version, nullptr, 1);
        m_ByIdVersion.emplace(std::pair(classId, version), &metadata);
        m_ById[classId] = &metadata;
      }
      m_IdByName.emplace(NameOf(index), classId);
    }
    constexpr int KeyCount = 1 << 14;
    std::mt19937 random(20240611);
    for (int i = 0; i < KeyCount; ++i) {
      int const index = static_cast<int>(random() % static_cast<unsigned int>(classCount));
      m_Ids.push_back(ClassIdOf(index));
      m_Versions.emplace_back(ClassIdOf(index), static_cast<int>(random() % 2 + 1));
      m_Names.push_back(NameOf(index));
      m_CowNames.emplace_back(m_Names.back());
    }
  }

  cls_ClassRegistrar m_Registrar;
  std::map<unsigned int, cls_ClassMetadata const*> m_ById;
  std::map<std::pair<unsigned int, int>, cls_ClassMetadata const*> m_ByIdVersion;
  std::map<std::string, unsigned int> m_IdByName;

  std::vector<unsigned int> m_Ids;
  std::vector<std::pair<unsigned int, int>> m_Versions;
  std::vector<std::string> m_Names;
  std::vector<cow_String> m_CowNames;
};

struct Case {
  char const* m_Name;
  std::function<void(Registry const&)> m_Run; // one look-up per key
  char const* m_Peer;
  std::function<void(Registry const&)> m_RunPeer;
  double m_Reach; // upper limit for the ratio
};

std::vector<Case> Cases() {
  return {
      {"ConstGet",
       [](Registry const& r) {
         for (unsigned int const& id : r.m_Ids) Use(&r.m_Registrar.ConstGet(id));
       },
       "std::map<unsigned, ...>",
       [](Registry const& r) {
         for (unsigned int const& id : r.m_Ids) Use(r.m_ById.find(id)->second);
       },
       1.5},
      {"GetClassMetadata",
       [](Registry const& r) {
         for (auto const& [id, version] : r.m_Versions) Use(&r.m_Registrar.GetClassMetadata(id, version));
       },
       "std::map<pair<unsigned, int>, ...>",
       [](Registry const& r) {
         for (auto const& key : r.m_Versions) Use(r.m_ByIdVersion.find(key)->second);
       },
       1.5},
      {"GetClassID",
       [](Registry const& r) {
         for (cow_String const& name : r.m_CowNames) Use(r.m_Registrar.GetClassID(name));
       },
       "std::map<std::string, unsigned>",
       [](Registry const& r) {
         for (std::string const& name : r.m_Names) Use(r.m_IdByName.find(name)->second);
       },
       1.2},
  };
}

double NanosecondsEach(std::function<void(Registry const&)> const& run, Registry const& registry) {
  Clock::time_point const start = Clock::now();
  run(registry);
  return NanosecondsSince(start) / static_cast<double>(registry.m_Ids.size());
}

void CompareLookUps() {
  int const classCount = s_IsSmoke ? 100 : 5000;
  int const repetitions = s_IsSmoke ? 1 : 15;
  Registry const registry(classCount);
  std::printf("Look-ups in a registry of %d class versions, checks installed:\n", 2 * classCount);
  std::printf("  %-17s %8s  %-35s %8s  %5s  %-8s %s\n", "", "ns", "peer", "ns", "ratio", "at most",
              "allocations");
  for (Case const& each : Cases()) {
    each.m_Run(registry);
    each.m_RunPeer(registry);
    std::vector<double> ours;
    std::vector<double> theirs;
    std::vector<double> ratios;
    long const before = s_Allocations;
    each.m_Run(registry);
    long const allocations = s_Allocations - before;
    for (int i = 0; i < repetitions; ++i) {
      ours.push_back(NanosecondsEach(each.m_Run, registry));
      theirs.push_back(NanosecondsEach(each.m_RunPeer, registry));
      ratios.push_back(ours.back() / theirs.back());
    }
    std::printf("  %-17s %8.1f  %-35s %8.1f  %5.2f  %-8.1f %ld\n", each.m_Name, Median(ours), each.m_Peer,
                Median(theirs), Median(ratios), each.m_Reach, allocations);
  }
}

double RegisterNanoseconds(int classCount, std::vector<cow_String> const& attributes) {
  auto const registrar = std::make_unique<cls_ClassRegistrar>();
  Clock::time_point const start = Clock::now();
  for (int index = 0; index < classCount; ++index) {
    cls_ClassMetadata& metadata =
        registrar->CreateClassMD(cow_String(NameOf(index)), ClassIdOf(index), 1, nullptr, 1);
    int fieldId = 0;
    for (cow_String const& name : attributes)
      metadata.AddAttribute(cls_FieldHandle(fieldId++, name), ATTR_INT, 1, COLLECTION_NONE);
  }
  return NanosecondsSince(start);
}

void MeasureRegistration() {
  std::vector<cow_String> attributes;
  for (int i = 0; i < 20; ++i) attributes.emplace_back("m_Attribute" + std::to_string(i * 37 % 20));
  std::printf("\nRegistration, 20 attributes a class:\n  %8s %10s %14s\n", "classes", "ms", "ns/(n log2 n)");
  for (int const classCount : {1000, 2000, 5000, 10000}) {
    std::vector<double> times;
    for (int i = 0; i < (s_IsSmoke ? 1 : 9); ++i)
      times.push_back(RegisterNanoseconds(s_IsSmoke ? classCount / 100 : classCount, attributes));
    double const time = Median(times);
    std::printf("  %8d %10.2f %14.1f\n", classCount, time / 1e6, time / (classCount * std::log2(classCount)));
  }
}

void MeasureThreads() {
  Registry const registry(s_IsSmoke ? 100 : 5000);
  std::vector<Case> const cases = Cases();
  std::printf("\nLook-ups of all three kinds from threads at once (%u cores):\n  %8s %12s %8s\n",
              std::thread::hardware_concurrency(), "threads", "M/s", "scale");
  double single = 0;
  for (int const threadCount : {1, 2, 4, 8}) {
    std::vector<double> rates;
    for (int repetition = 0; repetition < (s_IsSmoke ? 1 : 5); ++repetition) {
      int const rounds = s_IsSmoke ? 1 : 10;
      Clock::time_point const start = Clock::now();
      std::vector<std::thread> threads;
      for (int i = 0; i < threadCount; ++i)
        threads.emplace_back([&] {
          for (int round = 0; round < rounds; ++round)
            for (Case const& each : cases) each.m_Run(registry);
        });
      for (std::thread& thread : threads) thread.join();
      double const lookUps = 3.0 * rounds * threadCount * static_cast<double>(registry.m_Ids.size());
      rates.push_back(lookUps / NanosecondsSince(start) * 1e3);
    }
    double const rate = Median(rates);
    if (threadCount == 1) single = rate;
    std::printf("  %8d %12.1f %8.2f\n", threadCount, rate, rate / single);
  }
}

} // namespace

int main(int argc, char** argv) {
  s_IsSmoke = argc > 1 && std::string_view(argv[1]) == "--smoke";
  int modules = 0;
  nex_initialize(modules);
  mem_SetAllocationHook(&CountAllocation);
  CompareLookUps();
  MeasureRegistration();
  MeasureThreads();
  mem_SetAllocationHook(nullptr);
  nex_finalize(modules);
  return 0;
}

// Measures indexes: what a save costs without one and with one, and finding by a key.
//
//     index_bench [--smoke]             the figures
//     index_bench save PATH N           saves N objects without an index, for a profiler
//     index_bench save-indexed PATH N   the same with an index of an int

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "describe/dsc_Described.h"
#include "module/nex_initialize.h"
#include "store/session/sto_ClassScan.h"
#include "store/session/sto_IndexSearch.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_Store.h"

namespace {

using Clock = std::chrono::steady_clock;

class Part {
 public:
  KVL_PERSISTED(Part, 0x7A0001, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Mass));
    field(KVL_F(m_Name));
  }
  Part() = default;
  explicit Part(int id) : m_Id(id), m_Mass(0.5 * id) {}

  int m_Id = 0;
  double m_Mass = 0;
  std::string m_Name = "bolt";
};

class Box {
 public:
  KVL_PERSISTED(Box, 0x7A0002, "Box", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Parts)); }
  Box() = default;
  explicit Box(int count) {
    std::vector<int> ids;
    ids.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) ids.push_back(i);
    std::shuffle(ids.begin(), ids.end(), std::mt19937(1)); // keys are not in the order of the objects
    for (int const id : ids) m_Parts.push_back(std::make_shared<Part>(id));
  }

  std::vector<std::shared_ptr<Part>> m_Parts;
};

cls_ClassRegistrar const& Classes(bool isIndexed) {
  static cls_ClassRegistrar registrars[2];
  cls_ClassRegistrar& registrar = registrars[isIndexed ? 1 : 0];
  Box::Declare(registrar);
  if (isIndexed) registrar.NotesOf(Part::TypeId(), 1).Index("m_Id");
  return registrar;
}

double Seconds(Clock::time_point start) {
  return std::chrono::duration<double>(Clock::now() - start).count();
}

/// The time of one save.
double Save(std::string const& path, int count, bool isIndexed) {
  std::filesystem::remove(path);
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, Classes(isIndexed));
  Box const box(count);
  Clock::time_point const start = Clock::now();
  store.Save("box", box);
  return Seconds(start);
}

void Find(std::string const& path, int count) {
  sto_Session session(path, sto_SqliteDriver::Open(path, true, {}), Classes(true));
  std::mt19937 random(2);
  int const rounds = std::max(count, 1);
  std::int64_t found = 0;
  auto const findOne = [&] {
    int const key = static_cast<int>(random() % static_cast<unsigned int>(count));
    sto_IndexSearch search(session, Part::TypeId(), "m_Id", sto_IndexSearch::Equal(sto_IndexKey::Of(key)));
    while (search.Next()) ++found;
  };
  {
    sto_OwnTransaction const transaction(session, false);
    findOne(); // reads the catalogue
    Clock::time_point const start = Clock::now();
    for (int i = 0; i < rounds; ++i) findOne();
    std::printf("find by key, in one transaction    %8.2f us\n", 1e6 * Seconds(start) / rounds);
  }
  Clock::time_point start = Clock::now();
  for (int i = 0; i < rounds; ++i) {
    sto_OwnTransaction const transaction(session, false);
    findOne();
  }
  std::printf("find by key, each a transaction    %8.2f us\n", 1e6 * Seconds(start) / rounds);
  sto_OwnTransaction const transaction(session, false);
  start = Clock::now();
  sto_IndexSearch all(session, Part::TypeId(), "m_Id", {});
  while (all.Next()) ++found;
  std::printf("find all, each                     %8.3f us\n", 1e6 * Seconds(start) / count);
  start = Clock::now();
  sto_ClassScan scan(session, Part::TypeId());
  while (scan.Next()) ++found;
  std::printf("scan over the class, each          %8.3f us\n", 1e6 * Seconds(start) / count);
  if (found != 2 * rounds + 1 + 2 * std::int64_t{count}) std::abort();
}

void Run(int count) {
  std::string const path =
      (std::filesystem::temp_directory_path() / ("index_bench-" + std::to_string(std::random_device()())))
          .string();
  for (bool const isIndexed : {false, true}) {
    double best = 1e9;
    for (int i = 0; i < 5; ++i) best = std::min(best, Save(path, count, isIndexed));
    std::printf("save, %-28s %8.3f us an object, %ju bytes\n",
                isIndexed ? "with an index of an int" : "without an index", 1e6 * best / count,
                std::filesystem::file_size(path));
  }
  Find(path, count);
  {
    static_cast<void>(Save(path, count, false));
    Clock::time_point const start = Clock::now();
    static_cast<void>(sto_Store::Open(path, sto_Mode::ReadWrite, Classes(true)));
    std::printf("making the index, each             %8.3f us\n", 1e6 * Seconds(start) / count);
  }
  std::filesystem::remove(path);
}

} // namespace

int main(int count, char** arguments) {
  int modules = 0;
  nex_initialize(modules);
  std::string_view const what = count > 1 ? arguments[1] : "";
  if (count == 4)
    std::printf("%.3f s\n", Save(arguments[2], std::atoi(arguments[3]), what == "save-indexed"));
  else
    Run(what == "--smoke" ? 1000 : 100'000);
  nex_finalize(modules);
}

// Makes the stores that kvlstore.py measures the program kvlstore with, and measures what the library needs itself.
//
//     kvlstore_stores make FOLDER OBJECTS ELEMENTS   objects.kvs, array.kvs and its copy twin.kvs, changed.kvs
//     kvlstore_stores scan PATH                      seconds to read the array of array.kvs, block by block
#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "bench/bench_Program.h"
#include "describe/dsc_Described.h"
#include "store/arrays/sto_Array.h"
#include "store/sto_Store.h"

namespace {

class Node {
 public:
  KVL_PERSISTED(Node, 0x7B0001, "Node", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Tag));
    field(KVL_F(m_X), kvl::Unit("m"));
    field(KVL_F(m_Y), kvl::Unit("m"));
  }
  Node() = default;

  int m_Tag = 0;
  double m_X = 0, m_Y = 0;
};

class Mesh {
 public:
  KVL_PERSISTED(Mesh, 0x7B0002, "Mesh", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Nodes)); }
  Mesh() = default;

  std::vector<std::shared_ptr<Node>> m_Nodes;
};

class Run {
 public:
  KVL_PERSISTED(Run, 0x7B0003, "Run", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Temperature), kvl::Unit("K")); }
  Run() = default;

  sto_Array<double> m_Temperature;
};

cls_ClassRegistrar const& Classes() {
  static cls_ClassRegistrar registrar;
  static bool const isDeclared = (Mesh::Declare(registrar), Run::Declare(registrar), true);
  static_cast<void>(isDeclared);
  return registrar;
}

void MakeObjects(std::string const& path, long long count) {
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, Classes());
  Mesh mesh;
  mesh.m_Nodes.reserve(static_cast<std::size_t>(count));
  for (long long i = 0; i < count; ++i) {
    auto node = std::make_shared<Node>();
    node->m_Tag = static_cast<int>(i);
    node->m_X = 0.25 * static_cast<double>(i);
    mesh.m_Nodes.push_back(std::move(node));
  }
  store.Save("mesh", mesh);
}

void MakeArray(std::string const& path, long long count) {
  sto_Store store = sto_Store::Open(path, sto_Mode::Create, Classes());
  Run run;
  store.Save("run", run);
  sto_Transaction transaction(store);
  std::vector<double> values(1 << 16);
  for (long long done = 0; done < count;) {
    auto const part = std::min<long long>(count - done, std::ssize(values));
    for (long long i = 0; i < part; ++i)
      values[static_cast<std::size_t>(i)] = 300 + std::sin(1e-3 * static_cast<double>(done + i));
    run.m_Temperature.Append(std::span<double const>(values).first(static_cast<std::size_t>(part)));
    done += part;
  }
  transaction.Commit();
}

void MakeCopies(std::string const& folder) {
  {
    sto_Store array = sto_Store::Open(folder + "/array.kvs", sto_Mode::ReadOnly, Classes());
    array.CopyTo(folder + "/twin.kvs");
    array.CopyTo(folder + "/changed.kvs");
  }
  sto_Store store = sto_Store::Open(folder + "/changed.kvs", sto_Mode::ReadWrite, Classes());
  auto const run = store.Load<Run>("run");
  sto_Transaction transaction(store);
  run->m_Temperature.Set(run->m_Temperature.Size() - 1, 0);
  transaction.Commit();
}

void Scan(std::string const& path) {
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, Classes());
  auto const run = store.Load<Run>("run");
  auto const start = std::chrono::steady_clock::now();
  double sum = 0;
  run->m_Temperature.ForEachBlock([&](long long, std::span<double const> block) {
    for (double const value : block) sum += value;
  });
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
  bench_Require(sum > 0, "the array has no content");
  std::printf("%.4f\n", seconds);
}

void Work(std::vector<std::string> const& arguments) {
  if (arguments.size() == 4 && arguments[0] == "make") {
    MakeObjects(arguments[1] + "/objects.kvs", std::stoll(arguments[2]));
    MakeArray(arguments[1] + "/array.kvs", std::stoll(arguments[3]));
    return MakeCopies(arguments[1]);
  }
  bench_Require(arguments.size() == 2 && arguments[0] == "scan", "usage: kvlstore_stores make|scan ...");
  Scan(arguments[1]);
}

} // namespace

int main(int argc, char** argv) {
  return bench_RunProgram(argc, argv, Work);
}

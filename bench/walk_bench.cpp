/// Measures how close together the objects of a loaded graph are: how long it takes to walk over a graph that described
/// classes loaded from a store, and over the same one that Boost.Serialization loaded from an archive.
///
///     walk_bench [COMPOSITES [FOLDER]]    COMPOSITES parts of 200 atoms each (default: 500)
///     walk_bench --figures ...            one figure to a line
///     walk_bench --smoke                  once, small
///
/// The graph is that of a design: a tree of assemblies over shared composite parts; each composite part has atoms, and
/// each atom three connections to others of its part. The walk goes from atom to atom, depth first, as a program that
/// follows its pointers does. Files go to FOLDER (default: the system's temporary folder).

#include <algorithm>
#include <boost/archive/binary_iarchive.hpp>
#include <boost/archive/binary_oarchive.hpp>
#include <boost/serialization/shared_ptr.hpp>
#include <boost/serialization/string.hpp>
#include <boost/serialization/vector.hpp>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "bench/bench_Figures.h"
#include "bench/bench_Program.h"
#include "describe/dsc_Described.h"
#include "store/sto_Store.h"

namespace {

constexpr int AtomsOfAPart = 200;
constexpr int ConnectionsOfAnAtom = 3;
constexpr int PartsOfAnAssembly = 3;
constexpr int BranchesOfAnAssembly = 3;

namespace described {

class Atom;
struct Connection {
  KVL_VALUE(Connection)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Kind));
    field(KVL_F(m_Length));
    field(KVL_F(m_To));
  }
  std::string m_Kind;
  int m_Length = 0;
  std::shared_ptr<Atom> m_To;
};
class Atom {
 public:
  KVL_PERSISTED(Atom, 0x673001, "Atom", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_X));
    field(KVL_F(m_Y));
    field(KVL_F(m_Kind));
    field(KVL_F(m_Connections));
    field(KVL_F(m_Walk), kvl::Transient());
  }
  Atom() = default;
  int m_Id = 0;
  int m_X = 0;
  int m_Y = 0;
  std::string m_Kind;
  std::vector<Connection> m_Connections;
  int m_Walk = 0; // the last one that came here
};
class Part {
 public:
  KVL_PERSISTED(Part, 0x673002, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Document));
    field(KVL_F(m_Atoms));
  }
  Part() = default;
  int m_Id = 0;
  std::string m_Document;
  std::vector<std::shared_ptr<Atom>> m_Atoms;
};
class Assembly {
 public:
  KVL_PERSISTED(Assembly, 0x673003, "Assembly", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Branches));
    field(KVL_F(m_Parts));
  }
  Assembly() = default;
  int m_Id = 0;
  std::vector<std::unique_ptr<Assembly>> m_Branches;
  std::vector<std::shared_ptr<Part>> m_Parts;
};

} // namespace described

namespace archived {

struct Atom;
struct Connection {
  template <class Archive> void serialize(Archive& archive, unsigned int) { archive& m_Kind& m_Length& m_To; }
  std::string m_Kind;
  int m_Length = 0;
  std::shared_ptr<Atom> m_To;
};
struct Atom {
  template <class Archive> void serialize(Archive& archive, unsigned int) {
    archive& m_Id& m_X& m_Y& m_Kind& m_Connections;
  }
  int m_Id = 0;
  int m_X = 0;
  int m_Y = 0;
  std::string m_Kind;
  std::vector<Connection> m_Connections;
  int m_Walk = 0;
};
struct Part {
  template <class Archive> void serialize(Archive& archive, unsigned int) {
    archive& m_Id& m_Document& m_Atoms;
  }
  int m_Id = 0;
  std::string m_Document;
  std::vector<std::shared_ptr<Atom>> m_Atoms;
};
struct Assembly {
  template <class Archive> void serialize(Archive& archive, unsigned int) {
    archive& m_Id& m_Branches& m_Parts;
  }
  int m_Id = 0;
  std::vector<std::shared_ptr<Assembly>> m_Branches;
  std::vector<std::shared_ptr<Part>> m_Parts;
};

} // namespace archived

/// The same graph of either kind of class.
template <class Assembly> class Graph {
 public:
  using Part = typename decltype(Assembly::m_Parts)::value_type::element_type;
  using Atom = typename decltype(Part::m_Atoms)::value_type::element_type;

  explicit Graph(int parts) {
    m_Parts.reserve(static_cast<std::size_t>(parts));
    for (int i = 0; i < parts; ++i) m_Parts.push_back(MakePart(i));
    int levels = 1;
    for (int leaves = 1; leaves < parts; leaves *= BranchesOfAnAssembly) ++levels;
    FillAssembly(m_Root, levels);
  }
  ~Graph() { Cut(m_Root); }
  Graph(Graph const&) = delete;
  Graph& operator=(Graph const&) = delete;

  [[nodiscard]] Assembly const& Root() const { return m_Root; }

  /// Takes the connections away, so that rings of atoms are freed.
  static void Cut(Assembly const& root) {
    for (auto const& part : root.m_Parts)
      for (auto const& atom : part->m_Atoms) atom->m_Connections.clear();
    for (auto const& branch : root.m_Branches) Cut(*branch);
  }

 private:
  std::shared_ptr<Part> MakePart(int number) {
    auto part = std::make_shared<Part>();
    part->m_Id = number;
    part->m_Document.assign(2000, 'd');
    for (int i = 0; i < AtomsOfAPart; ++i) {
      auto atom = std::make_shared<Atom>();
      atom->m_Id = number * AtomsOfAPart + i;
      atom->m_X = i;
      atom->m_Y = number;
      atom->m_Kind = "type" + std::to_string(i % 10);
      part->m_Atoms.push_back(std::move(atom));
    }
    for (int i = 0; i < AtomsOfAPart; ++i)
      for (int k = 0; k < ConnectionsOfAnAtom; ++k) {
        int const to = k == 0 ? (i + 1) % AtomsOfAPart : static_cast<int>(m_Random() % AtomsOfAPart);
        part->m_Atoms[static_cast<std::size_t>(i)]->m_Connections.push_back(
            {"kind" + std::to_string(k), i * k, part->m_Atoms[static_cast<std::size_t>(to)]});
      }
    return part;
  }
  void FillAssembly(Assembly& assembly, int levels) {
    assembly.m_Id = ++m_LastAssembly;
    if (levels == 1) {
      for (int i = 0; i < PartsOfAnAssembly; ++i)
        assembly.m_Parts.push_back(m_Parts[m_Random() % m_Parts.size()]);
      return;
    }
    for (int i = 0; i < BranchesOfAnAssembly; ++i) {
      assembly.m_Branches.push_back(
          std::make_unique<typename decltype(Assembly::m_Branches)::value_type::element_type>());
      FillAssembly(*assembly.m_Branches.back(), levels - 1);
    }
  }

  std::mt19937 m_Random{4711};
  int m_LastAssembly = 0;
  std::vector<std::shared_ptr<Part>> m_Parts;
  Assembly m_Root;
};

/// Walks over a graph and counts what it meets.
class Walk {
 public:
  template <class Assembly> long long Over(Assembly const& assembly) {
    long long count = 0;
    for (auto const& part : assembly.m_Parts) {
      ++m_Number;
      count += Visit(*part->m_Atoms.front());
    }
    for (auto const& branch : assembly.m_Branches) count += Over(*branch);
    return count;
  }

 private:
  template <class Atom> long long Visit(Atom& atom) {
    atom.m_Walk = m_Number;
    long long count = 1;
    for (auto const& connection : atom.m_Connections)
      if (connection.m_To->m_Walk != m_Number) count += Visit(*connection.m_To);
    return count;
  }
  int m_Number = 0;
};

double SecondsSince(std::chrono::steady_clock::time_point start) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

struct Times {
  double m_Load = std::numeric_limits<double>::max();
  double m_FirstWalk = std::numeric_limits<double>::max();
  double m_Walk = std::numeric_limits<double>::max();
  long long m_Visits = 0;
};

/// Takes the best of several loads; `load` returns the root.
template <class Load> void Measure(Times& times, int walks, Load load) {
  auto const start = std::chrono::steady_clock::now();
  auto const root = load();
  times.m_Load = std::min(times.m_Load, SecondsSince(start));
  Walk walk;
  for (int i = 0; i < walks; ++i) {
    auto const began = std::chrono::steady_clock::now();
    times.m_Visits = walk.Over(*root);
    double const seconds = SecondsSince(began);
    if (i == 0) times.m_FirstWalk = std::min(times.m_FirstWalk, seconds);
    times.m_Walk = std::min(times.m_Walk, seconds);
  }
  Graph<std::remove_cvref_t<decltype(*root)>>::Cut(*root);
}

void Run(int parts, std::filesystem::path const& folder, int rounds) {
  std::string const store = (folder / "walk_bench.kvs").string();
  std::string const archive = (folder / "walk_bench.archive").string();
  std::filesystem::remove(store);
  cls_ClassRegistrar registrar;
  described::Assembly::Declare(registrar);
  {
    Graph<described::Assembly> const graph(parts);
    sto_Store::Open(store, sto_Mode::Create, registrar).Save("design", graph.Root());
  }
  {
    Graph<archived::Assembly> const graph(parts);
    std::ofstream file(archive, std::ios::binary);
    boost::archive::binary_oarchive out(file);
    out << graph.Root();
  }
  Times ours;
  Times boost;
  for (int i = 0; i < rounds; ++i) {
    Measure(ours, 5, [&] {
      return sto_Store::Open(store, sto_Mode::ReadOnly, registrar).Load<described::Assembly>("design");
    });
    Measure(boost, 5, [&] {
      auto root = std::make_unique<archived::Assembly>();
      std::ifstream file(archive, std::ios::binary);
      boost::archive::binary_iarchive in(file);
      in >> *root;
      return root;
    });
  }
  bench_Require(ours.m_Visits == boost.m_Visits, "the two graphs are not the same");
  std::FILE* const out = bench_Figures::IsEnabled() ? stderr : stdout;
  std::fprintf(out, "%lld visits of %d atoms\n", ours.m_Visits, parts * AtomsOfAPart);
  auto const print = [&](char const* what, char const* name, double one, double other, char const* reach) {
    std::fprintf(out, "%-12s store %8.1f ms, Boost %8.1f ms, ratio %5.2f%s\n", what, one * 1e3, other * 1e3,
                 one / other, reach);
    bench_Figures::Print(name, one / other, "times");
  };
  print("load", "walk.load", ours.m_Load, boost.m_Load, "");
  print("first walk", "walk.first", ours.m_FirstWalk, boost.m_FirstWalk, "");
  print("walk", "walk.again", ours.m_Walk, boost.m_Walk, " (reach 1.5)");
  std::filesystem::remove(store);
  std::filesystem::remove(archive);
}

void Main(std::vector<std::string> const& given) {
  std::vector<std::string> arguments = given;
  if (!arguments.empty() && arguments[0] == "--figures") {
    bench_Figures::Enable();
    arguments.erase(arguments.begin());
  }
  std::filesystem::path const temporary = std::filesystem::temp_directory_path();
  if (!arguments.empty() && arguments[0] == "--smoke") return Run(4, temporary, 1);
  int const parts = arguments.empty() ? 500 : std::stoi(arguments[0]);
  Run(parts, arguments.size() < 2 ? temporary : std::filesystem::path(arguments[1]), 5);
}

} // namespace

int main(int argc, char** argv) {
  return bench_RunProgram(argc, argv, &Main);
}

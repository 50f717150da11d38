#include "bench/bulk_DataSets.h"

#include <cmath>
#include <cstdio>
#include <filesystem>
#include <functional>
#include <numeric>
#include <thread>
#include <vector>

#include "bench/bench_Figures.h"
#include "bench/bulk_Arrays.h"
#include "bench/bulk_Tools.h"
#include "describe/dsc_Described.h"
#include "store/arrays/sto_Array.h"

namespace {

constexpr int RunCount = 16 * BlockCount; // what each side gets at once

class DataSet {
 public:
  KVL_PERSISTED(DataSet, 0x670005, "DataSet", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  DataSet() = default;
  sto_Array<double> m_Values;
};

/// An object with a list that is written and read through its agent alone.
class AgentSet {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x670006; }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.CreateClassMD("AgentSet"_cow, TypeId(), 1, nullptr, 1)
        .AddAttribute(Field(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }
  AgentSet() = default;
  explicit AgentSet(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    Take(cls_ReadVisitor(visitor, Field()).MakeAgentListPrim(static_cast<double*>(nullptr)));
  }
  AgentSet(AgentSet const&) = delete;
  AgentSet& operator=(AgentSet const&) = delete;
  ~AgentSet() {
    if (m_Agent == nullptr) return;
    m_Agent->DropReference();
    if (!m_Agent->StillReferenced()) {
      m_Agent->EndFlush();
      delete m_Agent;
    }
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_WriteVisitor const list(visitor, Field(), nullptr, this);
    list.StartWrite(cls_InternalListTypeId, m_ListUid);
    Take(list.MakeAgentListPrim(static_cast<double const*>(nullptr), 1));
  }

  mutable cls_AgentListPrim<double>* m_Agent = nullptr;

 private:
  static cls_FieldHandle Field() { return {0, "m_Values"_cow}; }
  void Take(cls_AgentListPrim<double>* agent) const {
    m_Agent = agent;
    m_Agent->AddReference();
  }
  cls_Uid m_Uid;
  cls_Uid m_ListUid;
};

/// The sides, on `count` doubles in a file each.
class Sides {
 public:
  Sides(std::string const& folder, int count)
      : m_Count(count), m_Agent(folder + "/agent.kvs"), m_Array(folder + "/array.kvs"),
        m_Set(folder + "/set.kvs") {
    DataSet::Declare(m_Registrar);
    AgentSet::Declare(m_Registrar);
    Result<double>::Declare(m_Registrar);
    m_Values.resize(RunCount);
    std::iota(m_Values.begin(), m_Values.end(), 0.5);
  }

  void AppendAgent() {
    Write<AgentSet>(m_Agent, [this](AgentSet& set) {
      ForEachRun([&](int first) { set.m_Agent->WriteRun(first, RunCount, m_Values.data()); });
    });
  }
  void AppendArray() {
    Write<Result<double>>(m_Array, [this](Result<double>& set) {
      ForEachRun([&](int) { set.m_History.AppendBlock(m_Values.data(), RunCount); });
    });
  }
  void AppendSet() {
    Write<DataSet>(m_Set, [this](DataSet& set) { ForEachRun([&](int) { set.m_Values.Append(m_Values); }); });
  }

  [[nodiscard]] double ScanAgent() {
    return Read<AgentSet>(m_Agent, [this](AgentSet& set) {
      double sum = 0;
      std::vector<double> values(RunCount);
      ForEachRun([&](int first) {
        set.m_Agent->ReadRun(first, RunCount, values.data());
        sum += Sum(values);
      });
      return sum;
    });
  }
  [[nodiscard]] double ScanArray() {
    return Read<Result<double>>(m_Array, [this](Result<double>& set) {
      double sum = 0;
      for (int i = 0; i < m_Count;) {
        auto const [values, length] = set.m_History.ConstGetRun(i);
        sum += Sum({values, static_cast<std::size_t>(length)});
        i += length;
      }
      return sum;
    });
  }
  [[nodiscard]] double ScanSet() { return ScanPart(0, m_Count); }
  /// By two threads with a store each.
  [[nodiscard]] double ScanByTwo() {
    double first = 0;
    double second = 0;
    std::thread other([&] { second = ScanPart(m_Count / 2, m_Count - m_Count / 2); });
    first = ScanPart(0, m_Count / 2);
    other.join();
    return first + second;
  }

 private:
  [[nodiscard]] static double Sum(std::span<double const> values) {
    return std::accumulate(values.begin(), values.end(), 0.0);
  }
  template <class Act> void ForEachRun(Act act) const {
    for (int first = 0; first < m_Count; first += RunCount) act(first);
  }
  template <class Set, class Act> void Write(std::string const& path, Act act) {
    std::filesystem::remove(path);
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, m_Registrar);
    Set set;
    sto_Transaction transaction(store);
    store.Save("set", set);
    act(set);
    transaction.Commit();
  }
  template <class Set, class Act> [[nodiscard]] double Read(std::string const& path, Act act) const {
    sto_Store store = sto_Store::Open(path, sto_Mode::ReadOnly, m_Registrar);
    sto_ReadTransaction const transaction(store);
    auto const set = store.Load<Set>("set");
    return act(*set);
  }
  [[nodiscard]] double ScanPart(int first, int count) const {
    return Read<DataSet>(m_Set, [&](DataSet& set) {
      double sum = 0;
      set.m_Values.ForEachBlock(first, count,
                                [&](long long, std::span<double const> values) { sum += Sum(values); });
      return sum;
    });
  }

  int m_Count;
  std::string m_Agent;
  std::string m_Array;
  std::string m_Set;
  cls_ClassRegistrar m_Registrar;
  std::vector<double> m_Values;
};

double Time(std::function<void()> const& work) {
  return SecondsOf(work);
}

/// Times relative to the first side, within each repetition.
class Table {
 public:
  explicit Table(char const* figure) : m_Figure(figure) {}
  void Add(std::size_t side, double seconds) { m_Seconds[side].push_back(seconds); }
  void Print(char const* name, char const* first, char const* second, char const* third) const {
    std::printf("  %-8s", name);
    PrintSide(first, 0);
    PrintSide(second, 1);
    PrintSide(third, 2);
    std::printf("\n");
    bench_Figures::Print(m_Figure, 1 / Ratio(2), "ratio");
  }

 private:
  [[nodiscard]] double Ratio(std::size_t side) const {
    std::vector<double> ratios;
    for (std::size_t i = 0; i < m_Seconds[side].size(); ++i)
      ratios.push_back(m_Seconds[side][i] / m_Seconds[0][i]);
    return Median(ratios);
  }
  void PrintSide(char const* name, std::size_t side) const {
    std::printf("  %s %.3f s (rate %.2f)", name, Median(m_Seconds[side]), 1 / Ratio(side));
  }
  char const* m_Figure;
  std::vector<double> m_Seconds[3];
};

} // namespace

void bulk_MeasureDataSets(std::string const& folder) {
  int const count = (s_IsSmoke ? 4 : 1024) * RunCount;
  Sides sides(folder, count);
  Table append("bulk.array.append");
  Table scan("bulk.array.scan");
  Table threads("bulk.array.threads");
  double const expected = count / RunCount * (RunCount * 0.5 + RunCount * (RunCount - 1.0) / 2);
  auto const check = [&](double sum) { Check(std::abs(sum - expected) < expected * 1e-9, "the sum"); };
  for (int i = 0; i < Repetitions(7); ++i) {
    append.Add(0, Time([&] { sides.AppendAgent(); }));
    append.Add(1, Time([&] { sides.AppendArray(); }));
    append.Add(2, Time([&] { sides.AppendSet(); }));
    scan.Add(0, Time([&] { check(sides.ScanAgent()); }));
    scan.Add(1, Time([&] { check(sides.ScanArray()); }));
    scan.Add(2, Time([&] { check(sides.ScanSet()); }));
    threads.Add(0, Time([&] { check(sides.ScanSet()); }));
    threads.Add(1, Time([&] { check(sides.ScanSet()); }));
    threads.Add(2, Time([&] { check(sides.ScanByTwo()); }));
  }
  std::printf("\nArrays held like data sets, %d doubles in runs of %d, as rates of the list agent's:\n",
              count, RunCount);
  append.Print("append", "agent", "cls_ArrayPrim", "sto_Array");
  scan.Print("scan", "agent", "cls_ArrayPrim", "sto_Array");
  threads.Print("threads", "one", "one again", "two, a store each");
  for (char const* const name : {"/agent.kvs", "/array.kvs", "/set.kvs"})
    std::filesystem::remove(folder + name);
}

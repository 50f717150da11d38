/// Measures identities: create+destroy and copy+destroy of cls_Uid through the shared library, beside what a
/// program would use without it.
///
///     identity_bench                 medians of 21 interleaved repetitions, then three ratios
///     identity_bench --smoke         every benchmark once; the figures mean nothing
///     identity_bench --figures       what bench/figures.py prints, for scripts
///     identity_bench --only uid|floor BATCHES
///                                    only copy+destroy, 1024 pairs a batch, for a program that counts
///                                    instructions
///     identity_bench --benchmark_*   the options of Google Benchmark
///
/// Times are nanoseconds per pair (one create and one destroy). The program starts a second thread before it
/// measures, as any application does: std::shared_ptr counts without atomics in a process that has never had
/// one.

#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <chrono>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <map>
#include <memory>
#include <new>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include <boost/smart_ptr/intrusive_ptr.hpp>

#include "bench/bench_Figures.h"
#include "persist/identity/cls_Uid.h"

namespace {

/// Pairs per turn of the measured loop, so that the loop's own cost is negligible.
constexpr int Batch = 1024;

/// The payload of an identity's record, for the comparisons: as large as its ring anchor.
struct Payload {
  void* m_Words[3] = {};
};
static_assert(sizeof(Payload) == sizeof(cls_HistoryEntry));

// ---- The lower bound: a thread-local free list in the executable, with records as large as an identity's
// ----

struct FloorRecord {
  union {
    unsigned int m_Count;
    FloorRecord* m_NextFree;
  };
  void* m_Kind;
  FloorRecord* m_RingNext;
  FloorRecord* m_RingPrevious;
};
static_assert(sizeof(FloorRecord) == sizeof(cls_UidCatalogEntry));

constinit thread_local FloorRecord* t_FloorFree = nullptr;

[[gnu::noinline]] void RefillFloor() {
  constexpr int Count = 2048;
  auto* const block = new FloorRecord[Count](); // never freed
  for (int i = 0; i + 1 < Count; ++i) block[i].m_NextFree = &block[i + 1];
  t_FloorFree = block;
}

/// A counted handle on a floor record. `ResetRing` also empties the record's ring at each creation and checks
/// it at each destruction, as an identity must.
template <bool ResetRing> class FloorHandle {
 public:
  FloorHandle() {
    if (t_FloorFree == nullptr) [[unlikely]]
      RefillFloor();
    m_Record = t_FloorFree;
    t_FloorFree = m_Record->m_NextFree;
    m_Record->m_Count = 1;
    if constexpr (ResetRing) m_Record->m_RingNext = m_Record->m_RingPrevious = m_Record;
  }
  FloorHandle(FloorHandle const& other) noexcept : m_Record(other.m_Record) { ++m_Record->m_Count; }
  FloorHandle& operator=(FloorHandle const&) = delete;
  ~FloorHandle() {
    if (--m_Record->m_Count != 0) return;
    if constexpr (ResetRing)
      if (m_Record->m_RingNext != m_Record) [[unlikely]]
        std::abort(); // nothing links into these rings
    m_Record->m_NextFree = t_FloorFree;
    t_FloorFree = m_Record;
  }

  [[nodiscard]] void* Address() const noexcept { return m_Record; }

 private:
  FloorRecord* m_Record;
};

// ---- The peers, each as a handle with Address() ----

class UidHandle {
 public:
  [[nodiscard]] void* Address() const noexcept { return m_Uid.Entry(); }

 private:
  cls_Uid m_Uid;
};

class SharedHandle {
 public:
  [[nodiscard]] void* Address() const noexcept { return m_Pointer.get(); }

 private:
  std::shared_ptr<Payload> m_Pointer = std::make_shared<Payload>();
};

struct CountedPayload : Payload {
  unsigned int m_Count = 0;
};
void intrusive_ptr_add_ref(CountedPayload* payload) noexcept {
  ++payload->m_Count;
}
void intrusive_ptr_release(CountedPayload* payload) noexcept {
  if (--payload->m_Count == 0) delete payload;
}

class IntrusiveHandle {
 public:
  [[nodiscard]] void* Address() const noexcept { return m_Pointer.get(); }

 private:
  boost::intrusive_ptr<CountedPayload> m_Pointer{new CountedPayload};
};

// ---- What is measured ----
// The address and all memory escape between creation and destruction: no work can be dropped or merged.

template <class Handle> void CreateDestroy(benchmark::State& state) {
  while (state.KeepRunningBatch(Batch))
    for (int i = 0; i < Batch; ++i) {
      Handle const handle;
      benchmark::DoNotOptimize(handle.Address());
    }
}

/// One function for every way to measure it, so that all run the same instructions at the same place.
template <class Handle> [[gnu::noinline]] void CopyBatch(Handle const& original) {
  for (int i = 0; i < Batch; ++i) {
    Handle const copy(original);
    benchmark::DoNotOptimize(copy.Address());
  }
}

template <class Handle> void CopyDestroy(benchmark::State& state) {
  Handle const original;
  while (state.KeepRunningBatch(Batch)) CopyBatch(original);
}

/// Creates `Batch` handles in a row, then destroys them all.
template <class Handle> void CreateManyDestroyMany(benchmark::State& state) {
  union Room { // raw memory: only the handles are constructed
    Room() {}
    ~Room() {}
    Handle m_Handle;
  };
  auto const rooms = std::make_unique<Room[]>(Batch);
  while (state.KeepRunningBatch(Batch)) {
    for (int i = 0; i < Batch; ++i) benchmark::DoNotOptimize((new (&rooms[i].m_Handle) Handle)->Address());
    for (int i = 0; i < Batch; ++i) rooms[i].m_Handle.~Handle();
    benchmark::ClobberMemory();
  }
}

BENCHMARK_TEMPLATE(CreateDestroy, FloorHandle<false>)->Name("create+destroy/floor");
BENCHMARK_TEMPLATE(CreateDestroy, FloorHandle<true>)->Name("create+destroy/floor with ring");
BENCHMARK_TEMPLATE(CreateDestroy, UidHandle)->Name("create+destroy/cls_Uid");
BENCHMARK_TEMPLATE(CreateDestroy, SharedHandle)->Name("create+destroy/make_shared");
BENCHMARK_TEMPLATE(CreateDestroy, IntrusiveHandle)->Name("create+destroy/intrusive_ptr");
BENCHMARK_TEMPLATE(CopyDestroy, FloorHandle<false>)->Name("copy+destroy/floor");
BENCHMARK_TEMPLATE(CopyDestroy, UidHandle)->Name("copy+destroy/cls_Uid");
BENCHMARK_TEMPLATE(CopyDestroy, SharedHandle)->Name("copy+destroy/make_shared");
BENCHMARK_TEMPLATE(CopyDestroy, IntrusiveHandle)->Name("copy+destroy/intrusive_ptr");
BENCHMARK_TEMPLATE(CreateManyDestroyMany, FloorHandle<false>)->Name("1024 alive/floor");
BENCHMARK_TEMPLATE(CreateManyDestroyMany, FloorHandle<true>)->Name("1024 alive/floor with ring");
BENCHMARK_TEMPLATE(CreateManyDestroyMany, UidHandle)->Name("1024 alive/cls_Uid");
BENCHMARK_TEMPLATE(CreateManyDestroyMany, SharedHandle)->Name("1024 alive/make_shared");

constexpr std::size_t BenchmarkCount = 13;

// ---- Copying beside the floor, in turns ----

/// How often the time of the floor copy + destroy of an identity takes: the median over short turns of both,
/// which a busy machine disturbs less than two long measurements.
double CopyTimeRatio(bool smoke) {
  using Clock = std::chrono::steady_clock;
  UidHandle const uid;
  FloorHandle<false> const floor;
  auto const time = [&](auto const& original) {
    auto const start = Clock::now();
    for (int i = 0; i < (smoke ? 1 : 200); ++i) CopyBatch(original);
    return std::chrono::duration<double>(Clock::now() - start).count();
  };
  std::vector<double> ratios;
  for (int turn = 0; turn < (smoke ? 2 : 2000); ++turn) {
    bool const isFloorFirst = turn % 2 == 0;
    double const before = isFloorFirst ? time(floor) : 0;
    double const ours = time(uid);
    ratios.push_back(ours / (isFloorFirst ? before : time(floor)));
  }
  std::sort(ratios.begin(), ratios.end());
  return ratios[ratios.size() / 2];
}

/// Only copies and destroys, for a program that counts instructions.
int CopyOnly(std::string_view what, int batches) {
  UidHandle const uid;
  FloorHandle<false> const floor;
  bool const isUid = what == "uid";
  if (batches <= 0 || (!isUid && what != "floor")) return 2;
  for (int i = 0; i < batches; ++i)
    if (isUid)
      CopyBatch(uid);
    else
      CopyBatch(floor);
  return 0;
}

// ---- Table, medians and ratios ----

/// Keeps the time of every repetition; prints one line per benchmark at the end.
class MedianReporter : public benchmark::BenchmarkReporter {
 public:
  bool ReportContext(Context const&) override { return true; }

  void ReportRuns(std::vector<Run> const& runs) override {
    for (Run const& run : runs) {
      if (run.error_occurred) m_Failed = true;
      if (run.run_type != Run::RT_Iteration) continue;
      Row& row = m_Rows[run.family_index];
      row.m_Name = run.run_name.function_name;
      row.m_Times.push_back(run.GetAdjustedCPUTime());
    }
  }

  void Finalize() override {
    std::printf("%-32s %9s %9s %9s %5s\n", "ns per pair", "median", "least", "most", "runs");
    for (auto& [index, row] : m_Rows) {
      std::sort(row.m_Times.begin(), row.m_Times.end());
      std::printf("%-32s %9.2f %9.2f %9.2f %5zu\n", row.m_Name.c_str(), row.Median(), row.m_Times.front(),
                  row.m_Times.back(), row.m_Times.size());
    }
  }

  /// The median of a benchmark in nanoseconds; 0 if a filter left it out.
  [[nodiscard]] double Median(std::string_view name) const {
    for (auto const& [index, row] : m_Rows)
      if (row.m_Name == name) return row.Median();
    return 0;
  }

  /// Whether every benchmark ran and none failed.
  [[nodiscard]] bool IsComplete() const { return !m_Failed && m_Rows.size() == BenchmarkCount; }

 private:
  struct Row {
    [[nodiscard]] double Median() const { return m_Times[m_Times.size() / 2]; } // m_Times must be sorted

    std::string m_Name;
    std::vector<double> m_Times;
  };

  std::map<std::int64_t, Row> m_Rows; // sorted by order of registration
  bool m_Failed = false;
};

void PrintRatio(char const* text, double ratio, bool atMost, double reach) {
  bool const reached = atMost ? ratio <= reach : ratio >= reach;
  std::printf("%-46s %5.2f   limit: at %s %.1f   %s\n", text, ratio, atMost ? "most" : "least", reach,
              reached ? "yes" : "no");
}

void PrintRatios(MedianReporter const& reporter) {
  if (!reporter.IsComplete()) return; // a filter left some out
  double const uid = reporter.Median("create+destroy/cls_Uid");
  double const floor = reporter.Median("create+destroy/floor");
  double const shared = reporter.Median("create+destroy/make_shared");
  std::printf("\n");
  PrintRatio("cls_Uid / floor, create+destroy", uid / floor, true, 2.7);
  PrintRatio("make_shared / cls_Uid, create+destroy", shared / uid, false, 2.4);
  std::printf("%-46s %5.2f   (in turns)\n", "cls_Uid / floor, copy+destroy", CopyTimeRatio(false));
}

/// Puts the program's options before the caller's, so that the caller's win.
std::vector<char*> Arguments(int argc, char** argv, bool smoke) {
  // Google Benchmark keeps pointers to its arguments and may write to them.
  static std::array<std::string, 3> measured = {"--benchmark_repetitions=21", "--benchmark_min_time=0.05",
                                                "--benchmark_enable_random_interleaving=true"};
  static std::array<std::string, 2> once = {"--benchmark_repetitions=1", "--benchmark_min_time=0"};
  std::vector<char*> arguments{argv[0]};
  if (smoke)
    for (std::string& option : once) arguments.push_back(option.data());
  else
    for (std::string& option : measured) arguments.push_back(option.data());
  for (int i = 1; i < argc; ++i)
    if (std::string_view(argv[i]) != "--smoke") arguments.push_back(argv[i]);
  return arguments;
}

} // namespace

int main(int argc, char** argv) {
  std::vector<std::string_view> const options(argv + 1, argv + argc);
  auto const has = [&](std::string_view option) {
    return std::find(options.begin(), options.end(), option) != options.end();
  };
  if (options.size() == 3 && options[0] == "--only") return CopyOnly(options[1], std::atoi(argv[3]));
  bool const smoke = has("--smoke");
  std::thread([] {}).join();
  if (has("--figures")) {
    bench_Figures::Enable();
    bench_Figures::Print("identity.copy.time", CopyTimeRatio(smoke), "ratio");
    return 0;
  }
  std::vector<char*> arguments = Arguments(argc, argv, smoke);
  int count = static_cast<int>(arguments.size());
  benchmark::Initialize(&count, arguments.data());
  if (benchmark::ReportUnrecognizedArguments(count, arguments.data())) return 2;

  MedianReporter reporter;
  benchmark::RunSpecifiedBenchmarks(&reporter);
  if (smoke) return reporter.IsComplete() && CopyTimeRatio(true) > 0 ? 0 : 1;
  PrintRatios(reporter);
  return 0;
}

#include "bench/bulk_Memory.h"

#include <cstdio>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <numeric>
#include <random>
#include <vector>

#include "bench/bulk_Arrays.h"
#include "bench/bulk_Tools.h"

namespace {

/// Measures ours and a peer in turn.
void Compare(char const* name, char const* peer, double count, std::function<void()> const& ours,
             std::function<void()> const& theirs, char const* reach) {
  std::vector<double> mine, other, ratios;
  for (int i = 0; i < Repetitions(7); ++i) {
    mine.push_back(SecondsOf(ours));
    other.push_back(SecondsOf(theirs));
    ratios.push_back(mine.back() / other.back());
  }
  std::printf("  %-34s %8.2f ns   %-22s %8.2f ns   %5.2f  %s\n", name, Median(mine) / count * 1e9, peer,
              Median(other) / count * 1e9, Median(ratios), reach);
}

/// Sums a container passed by reference, as programs pass theirs.
template <class Container> [[gnu::noinline]] double SumInOrder(Container const& container, int count) {
  double sum = 0;
  for (int i = 0; i < count; ++i)
    if constexpr (requires { container.ConstGet(i); })
      sum += container.ConstGet(i);
    else
      sum += container[static_cast<std::size_t>(i)];
  return sum;
}

} // namespace

void bulk_MeasureMemory() {
  int const count = s_IsSmoke ? 10'000 : 10'000'000;
  int const blocks = count / BlockCount + 1;
  std::printf("In memory, %d doubles (ns per element):\n", count);
  cls_ArrayPrimDouble array;
  std::deque<double> deque;
  std::map<int, std::unique_ptr<double[]>> map;
  std::vector<double> vector(static_cast<std::size_t>(count));
  Compare(
      "Append", "std::deque", count,
      [&] {
        array.DropBlocks();
        for (int i = 0; i < count; ++i) array.Append(i);
      },
      [&] {
        std::deque<double>().swap(deque);
        for (int i = 0; i < count; ++i) deque.push_back(i);
      },
      "(at most 1.15)");
  std::iota(vector.begin(), vector.end(), 0.0);
  for (int block = 0; block < blocks; ++block)
    map.emplace(block * BlockCount, std::make_unique<double[]>(BlockCount));
  Compare(
      "ConstGet in order", "std::deque", count, [&] { Use(SumInOrder(array, count)); },
      [&] { Use(SumInOrder(deque, count)); }, "(at most 1.15)");
  Compare(
      "ConstGetRun in order", "std::vector", count,
      [&] {
        double sum = 0;
        for (int i = 0; i < count;) {
          auto const [values, length] = array.ConstGetRun(i);
          for (int k = 0; k < length; ++k) sum += values[k];
          i += length;
        }
        Use(sum);
      },
      [&] {
        double sum = 0;
        for (double const value : vector) sum += value;
        Use(sum);
      },
      "");
  std::mt19937 random(1);
  std::vector<int> indexes(s_IsSmoke ? 1000 : 1'000'000);
  for (int& index : indexes) index = static_cast<int>(random() % static_cast<unsigned int>(count));
  Compare(
      "ConstGet at random", "std::map by block", static_cast<double>(indexes.size()),
      [&] {
        double sum = 0;
        for (int const index : indexes) sum += array.ConstGet(index);
        Use(sum);
      },
      [&] {
        double sum = 0;
        for (int const index : indexes)
          sum += map.find(index & ~(BlockCount - 1))->second[index % BlockCount];
        Use(sum);
      },
      "(at most 2.0)");
  cls_PTrie<int, cls_ArrayPrimBuffer<double>, 1> trie;
  for (int block = 0; block < blocks; ++block)
    trie.Insert(block * BlockCount, cls_ArrayPrimBuffer<double>::Make());
  Compare(
      "walk over the blocks", "std::map", blocks,
      [&] {
        cls_PTrieIter<int, cls_ArrayPrimBuffer<double>, 1> iter(trie);
        for (iter.First(); iter.IsDone() == 0; iter.Next()) Use(iter.CurrentKey());
      },
      [&] {
        for (auto const& [key, block] : map) Use(key);
      },
      "(below 1)");
  trie.Clear();
  array.DropBlocks();
}

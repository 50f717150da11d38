// Measures the compression of blocks: time in, time out, and what is left, for typical arrays.
//
// Usage: compression_bench [--smoke]
//        compression_bench FILE WIDTH    the same for a file of elements of that many bytes
//
// Times are medians over passes through 64 different blocks of 2048 elements (a file: all of its blocks), in
// microseconds a block. With a single block the processor would learn the branches by heart.

#include <algorithm>
#include <array>
#include <charconv>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <random>
#include <string>
#include <vector>

#include "store/format/sto_Compression.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_Shuffle.h"

namespace {

constexpr std::size_t Elements = sto_Format::BlockElementCount;
int s_Blocks = 64;
int s_Passes = 51;

struct Array {
  char const* m_Name;
  std::size_t m_Width;
  std::vector<sto_Bytes> m_Blocks;
};

/// An array of numbers; `function` gets the element's index in the whole array.
template <class Function> Array Numbers(char const* name, Function function) {
  Array array{name, sizeof(function(0)), {}};
  int index = 0;
  for (int block = 0; block < s_Blocks; ++block) {
    sto_Bytes& bytes = array.m_Blocks.emplace_back();
    for (std::size_t i = 0; i < Elements; ++i) sto_ByteWriter(bytes).Number(function(index++));
  }
  return array;
}

/// A number from 0 on, below 1.
double Random(std::mt19937& random) {
  return std::ldexp(static_cast<double>(random()), -32) + std::ldexp(static_cast<double>(random()), -64);
}

/// A field over a grid of 100 nodes a row.
double Temperature(int node) {
  int const row = node / 100;
  return 300 + 20 * std::sin(node % 100 * 0.03) * std::cos(row * 0.02);
}

/// The nodes of hexahedra in a grid of 20 x 20 cells a layer, eight nodes each.
int NodeOfHexahedron(int index) {
  int const cell = index / 8;
  int const corner = index % 8;
  int const x = cell % 20 + ((corner + 1) / 2) % 2;
  int const y = cell / 20 % 20 + (corner / 2) % 2;
  int const z = cell / 400 + corner / 4;
  return x + 21 * (y + 21 * z);
}

/// Names of parts, each with its length before it, as a list of strings has them.
Array Names() {
  Array array{"strings, names of parts", 1, {}};
  std::mt19937 random(1);
  for (int block = 0; block < s_Blocks; ++block) {
    sto_Bytes& bytes = array.m_Blocks.emplace_back();
    for (std::size_t i = 0; i < Elements; ++i) {
      std::string const name =
          "bracket " + std::to_string(random() % 1000) + (i % 3 == 0 ? " left" : " right");
      sto_ByteWriter writer(bytes);
      writer.Varint(name.size() + 1);
      writer.Raw(name.data(), name.size());
    }
  }
  return array;
}

std::vector<Array> Doubles() {
  std::mt19937 random(2);
  std::vector<Array> arrays;
  arrays.push_back(Numbers("doubles, smooth curve", [](int i) { return std::sin(i * 0.001); }));
  arrays.push_back(Numbers("doubles, smooth field", [](int i) { return Temperature(i); }));
  arrays.push_back(Numbers("doubles, field of floats",
                           [](int i) { return static_cast<double>(static_cast<float>(Temperature(i))); }));
  arrays.push_back(Numbers("doubles, coordinates x y z", [](int i) {
    int const node = i / 3;
    std::array const place{node % 21, node / 21 % 21, node / 441};
    return place[static_cast<std::size_t>(i % 3)] * 0.1;
  }));
  arrays.push_back(
      Numbers("doubles, two decimals", [&](int) { return std::floor(Random(random) * 1e5) / 100; }));
  arrays.push_back(Numbers("doubles, random 1 to 2", [&](int) { return 1 + Random(random); }));
  arrays.push_back(Numbers("doubles, zeros", [](int) { return 0.0; }));
  arrays.push_back(
      Numbers("doubles, one in ten not 0", [&](int i) { return i % 10 == 0 ? Random(random) : 0.0; }));
  return arrays;
}

std::vector<Array> Others() {
  std::mt19937 random(3);
  std::vector<Array> arrays;
  arrays.push_back(Numbers("floats, smooth field", [](int i) { return static_cast<float>(Temperature(i)); }));
  arrays.push_back(
      Numbers("floats, random 1 to 2", [&](int) { return static_cast<float>(1 + Random(random)); }));
  arrays.push_back(Numbers("ints, ascending", [](int i) { return i; }));
  arrays.push_back(Numbers("ints, nodes of hexahedra", [](int i) { return NodeOfHexahedron(i); }));
  arrays.push_back(Numbers("ints, random", [&](int) { return static_cast<std::uint32_t>(random()); }));
  arrays.push_back(Names());
  return arrays;
}

/// The median time of a pass, in microseconds a block. `work` gets the number of a block.
template <class Work> double Microseconds(std::size_t blocks, Work work) {
  std::vector<double> times;
  for (int pass = 0; pass < s_Passes; ++pass) {
    auto const start = std::chrono::steady_clock::now();
    for (std::size_t block = 0; block < blocks; ++block) work(block);
    std::chrono::duration<double, std::micro> const time = std::chrono::steady_clock::now() - start;
    times.push_back(time.count() / static_cast<double>(blocks));
  }
  auto const middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
  std::nth_element(times.begin(), middle, times.end());
  return *middle;
}

/// Compresses and restores all blocks; false, with a message, if one is not what it was.
bool Measure(Array const& array) {
  std::size_t const count = array.m_Blocks.size();
  std::vector<sto_Bytes> stored(count);
  std::vector<sto_Compression> codecs(count);
  sto_Compressor compressor;
  double const in = Microseconds(count, [&](std::size_t block) {
    stored[block].clear();
    codecs[block] = compressor.Compress(array.m_Blocks[block], array.m_Width, stored[block]);
  });
  std::size_t longest = 0;
  for (sto_Bytes const& block : array.m_Blocks) longest = std::max(longest, block.size());
  sto_Bytes restored(longest);
  bool isDone = true;
  double const out = Microseconds(count, [&](std::size_t block) {
    auto const content = std::span(restored).first(array.m_Blocks[block].size());
    if (!compressor.Decompress(codecs[block], stored[block], array.m_Width, content)) isDone = false;
  });
  double const copy = Microseconds(count, [&](std::size_t block) {
    restored.assign(array.m_Blocks[block].begin(), array.m_Blocks[block].end());
  });
  std::size_t before = 0, after = 0;
  std::array<int, 3> used{};
  for (std::size_t block = 0; block < count; ++block) {
    before += array.m_Blocks[block].size();
    after += stored[block].size();
    ++used[static_cast<std::size_t>(codecs[block])];
    sto_Bytes content(array.m_Blocks[block].size());
    isDone = isDone && compressor.Decompress(codecs[block], stored[block], array.m_Width, content) &&
             content == array.m_Blocks[block];
  }
  std::printf("  %-27s %6zu  %5.1f %%  %6.2f  %6.2f  %6.2f  %4d %4d %4d\n", array.m_Name, before / count,
              100 * static_cast<double>(after) / static_cast<double>(before), in, out, copy, used[0], used[1],
              used[2]);
  if (!isDone) std::fprintf(stderr, "%s: a block was not restored\n", array.m_Name);
  return isDone;
}

void MeasureShuffle(std::size_t width) {
  sto_Bytes const elements(Elements * width, std::byte{1});
  sto_Bytes planes(elements.size()), restored(elements.size());
  std::size_t const repetitions = static_cast<std::size_t>(s_Blocks);
  auto const time = [&](auto function, sto_Bytes const& from, sto_Bytes& to) {
    return Microseconds(repetitions, [&](std::size_t) { function(from, width, to.data()); });
  };
  std::printf("  %5zu  %6.2f  %6.2f  %6.2f  %6.2f\n", width, time(sto_Shuffle, elements, planes),
              time(sto_Unshuffle, planes, restored), time(sto_ShufflePlain, elements, planes),
              time(sto_UnshufflePlain, planes, restored));
}

void PrintHead() {
  std::printf("  %-27s %6s  %7s  %6s  %6s  %6s  %4s %4s %4s\n", "microseconds a block", "bytes", "left", "in",
              "out", "copy", "none", "LZ4", "shuf");
}

int MeasureFile(char const* name, char const* width) {
  Array array{name, 0, {}};
  std::from_chars(width, width + std::strlen(width), array.m_Width);
  std::ifstream file(name, std::ios::binary);
  std::string const text{std::istreambuf_iterator<char>(file), {}};
  if (array.m_Width == 0 || text.empty()) {
    std::fprintf(stderr, "compression_bench: cannot read %s, or %s is no width\n", name, width);
    return 1;
  }
  sto_ByteView const bytes = std::as_bytes(std::span(text));
  for (std::size_t first = 0; first < bytes.size(); first += Elements * array.m_Width) {
    sto_ByteView const block = bytes.subspan(first, std::min(Elements * array.m_Width, bytes.size() - first));
    array.m_Blocks.emplace_back(block.begin(), block.end());
  }
  PrintHead();
  return Measure(array) ? 0 : 1;
}

} // namespace

int main(int argc, char** argv) {
  if (argc == 3) return MeasureFile(argv[1], argv[2]);
  if (argc == 2 && std::strcmp(argv[1], "--smoke") == 0) {
    s_Blocks = 2;
    s_Passes = 1;
  }
  PrintHead();
  bool isDone = true;
  for (std::vector<Array> const& arrays : {Doubles(), Others()})
    for (Array const& array : arrays) isDone = Measure(array) && isDone;
  std::printf("  width shuffle    back   plain    back\n");
  for (std::size_t const width : {2, 4, 8, 16}) MeasureShuffle(width);
  return isDone ? 0 : 1;
}

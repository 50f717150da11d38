#include <algorithm>
#include <cstdio>

#include "tests/faults/FaultsFrame.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreFlips.h"

// Each single bit of a small store's file, flipped.
//
//     faults_flips [--short] [--stride 1] [--first 0]
//
// A full check must report it, or the store must refuse to open, or it must be harmless: everything reads as before,
// also after a further save.

namespace {

constexpr int BitsOfChild = 500;
constexpr unsigned int SecondsOfChild = 60;

void Count(FaultsRow& row, std::size_t bit, char fate, std::string const& text) {
  row.Count();
  switch (fate) {
  case 'r':
    return row.Besides("refused");
  case 'f':
    return row.Besides("found");
  case 'h':
    return row.Besides("harmless");
  default:
    row.Wrong("bit " + std::to_string(bit) + ": " + text);
  }
}

char Letter(StoreFlips::Fate fate) {
  switch (fate) {
  case StoreFlips::Fate::Refused:
    return 'r';
  case StoreFlips::Fate::Found:
    return 'f';
  case StoreFlips::Fate::Harmless:
    return 'h';
  default:
    return 'w';
  }
}

/// Tries bits in a child process until all are done or it dies. Returns the next bit to try.
std::size_t RunChild(StoreFlips& flips, FaultsRow& row, std::size_t first, std::size_t last,
                     std::size_t stride) {
  FaultsEnd const end = FaultsChild(
      [&](int pipe) {
        for (std::size_t bit = first; bit < last; bit += stride) {
          std::string text;
          char const letter = Letter(flips.Try(bit, text));
          std::replace(text.begin(), text.end(), '\n', ' ');
          FaultsTell(pipe, std::string(1, letter) + text + '\n');
        }
        return 0;
      },
      SecondsOfChild);
  std::size_t bit = first;
  std::size_t at = 0;
  for (std::size_t newline = 0; (newline = end.m_Output.find('\n', at)) != std::string::npos; bit += stride) {
    Count(row, bit, end.m_Output[at], end.m_Output.substr(at + 1, newline - at - 1));
    at = newline + 1;
  }
  if (bit >= last) return bit;
  row.Count();
  row.Lost("bit " + std::to_string(bit) + ": the process ended by " + end.AsText());
  return bit + stride;
}

int Run(FaultsOptions const& options) {
  FaultsFolder const folder;
  FaultsRow row("single flipped bits of a small store");
  StoreFaultVfs const vfs; // nothing waits for the disk
  StoreFlips flips(folder.Path());
  auto const stride = static_cast<std::size_t>(options.Number("stride", options.IsShort() ? 61 : 1));
  std::size_t const last =
      options.Has("first") ? static_cast<std::size_t>(options.Number("first", 0)) + 1 : flips.BitCount();
  for (std::size_t bit = static_cast<std::size_t>(options.Number("first", 0)); bit < last;)
    bit = RunChild(flips, row, bit, std::min(bit + BitsOfChild * stride, last), stride);
  return row.Print();
}

} // namespace

int main(int argc, char** argv) {
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = Run(FaultsOptions(argc, argv)); });
  if (!outcome.IsDone()) std::fprintf(stderr, "%s\n", outcome.m_Text.c_str());
  return code;
}

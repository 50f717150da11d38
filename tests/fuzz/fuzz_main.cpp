#include <cstddef>
#include <cstdint>

#include "tests/fuzz/fuzz_Forms.h"

/// What libFuzzer calls; scripts/fuzz.sh builds and runs it.
extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size) {
  fuzz_Try({data, size});
  return 0;
}

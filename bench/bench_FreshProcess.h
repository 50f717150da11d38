#pragma once

#include <string>
#include <vector>

/// What this program prints when a new process runs it with arguments. Ends the program if that fails.
[[nodiscard]] std::string bench_OutputOfFreshProcess(std::vector<std::string> arguments);

/// The peak resident memory of this process so far, in kB.
[[nodiscard]] int bench_PeakKilobytes();

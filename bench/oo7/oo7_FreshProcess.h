#pragma once

#include <string>
#include <vector>

/// What this program prints when a new process runs it with arguments. Ends the program if that fails.
[[nodiscard]] std::string oo7_OutputOfFreshProcess(std::vector<std::string> arguments);

/// The peak resident memory of this process so far, in kB.
[[nodiscard]] int oo7_PeakKilobytes();

#pragma once

#include <cstdint>
#include <span>

/// Decodes bytes as one of the stored forms, chosen by the first byte, as if their checksum were right. What
/// decodes must survive being built and decoded again. Ends the process if it does not.
void fuzz_Try(std::span<std::uint8_t const> input);

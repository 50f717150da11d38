#pragma once

#include <string>
#include <utility>

#include "store/format/sto_ContentSum.h"

/// A sum over a store as PostgreSQL keeps it, a decimal number: the halves of its bits, the higher first.
[[nodiscard]] inline std::pair<std::string, std::string> sto_HalvesOf(sto_ContentSum const& sum) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  sum.Write(writer);
  sto_ByteReader reader(bytes);
  auto const low = reader.Number<std::uint64_t>(), high = reader.Number<std::uint64_t>();
  return {std::to_string(high), std::to_string(low)};
}

/// The sum with such halves.
[[nodiscard]] inline sto_ContentSum sto_SumOfHalves(std::string const& high, std::string const& low) {
  sto_Bytes bytes;
  sto_ByteWriter writer(bytes);
  writer.Number(static_cast<std::uint64_t>(std::stoull(low)));
  writer.Number(static_cast<std::uint64_t>(std::stoull(high)));
  sto_ByteReader reader(bytes);
  return sto_ContentSum::Read(reader);
}

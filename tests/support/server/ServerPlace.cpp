#include "tests/support/server/ServerPlace.h"

#include <cstdlib>
#include <stdexcept>

namespace {

/// With what is written as %2F.
std::string Decoded(std::string const& text) {
  std::string decoded;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const isEncoded = text[i] == '%' && i + 2 < text.size();
    decoded += isEncoded ? static_cast<char>(std::stoi(text.substr(i + 1, 2), nullptr, 16)) : text[i];
    if (isEncoded) i += 2;
  }
  return decoded;
}

} // namespace

ServerPlace ServerPlace::OfEnvironment() {
  char const* const uri = std::getenv("KVL_POSTGRES"); // NOLINT(concurrency-mt-unsafe): one thread
  if (uri == nullptr) throw std::runtime_error("KVL_POSTGRES is not set: run scripts/postgres.sh <program>");
  std::string const text = uri;
  std::size_t const at = text.find("host=");
  if (at == std::string::npos) throw std::runtime_error("KVL_POSTGRES has no host=");
  std::size_t const begin = at + 5;
  return {Decoded(text.substr(begin, text.find_first_of("&#", begin) - begin))};
}

#include "examples/heat/heat_PlotFile.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

void heat_WritePlot(std::string const& path, std::string const& document) {
  auto const draft = path + ".part";
  auto const fail = [&] {
    auto const reason = std::generic_category().message(errno);
    std::remove(draft.c_str());
    throw heat_PlotError(path + ": cannot be written: " + reason);
  };
  std::FILE* const file = std::fopen(draft.c_str(), "wb");
  if (file == nullptr) fail();
  bool const written = std::fwrite(document.data(), 1, document.size(), file) == document.size();
  bool const closed = std::fclose(file) == 0;
  if (!written || !closed || std::rename(draft.c_str(), path.c_str()) != 0) fail();
}

std::string heat_Shortened(std::string const& text, std::size_t count) {
  // Characters are counted by their first bytes.
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const isFirst = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (isFirst && ++seen > count) return text.substr(0, i) + "\u2026";
  }
  return text;
}

#include "examples/heat/plot/heat_PlotFile.h"

#include "examples/heat/plot/heat_OutputFile.h"

#include <cstddef>

void heat_WritePlot(std::string const& path, std::string const& document) {
  try {
    heat_WriteOutput(path, document);
  } catch (heat_OutputError const& error) {
    throw heat_PlotError(error.what());
  }
}

std::string heat_Shortened(std::string const& text, std::size_t count) {
  // Counts characters by their first bytes.
  std::size_t seen = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    bool const isFirst = (static_cast<unsigned char>(text[i]) & 0xC0) != 0x80;
    if (isFirst && ++seen > count) return text.substr(0, i) + "\u2026";
  }
  return text;
}

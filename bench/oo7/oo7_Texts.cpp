#include "bench/oo7/oo7_Texts.h"

#include <cstdio>

namespace {

std::string WithNumber(char const* format, int number) {
  char text[80];
  int const length = std::snprintf(text, sizeof text, format, number);
  return {text, static_cast<std::size_t>(length)};
}

/// The line again and again. One byte of the text's room is for its end.
std::string Repeated(std::string const& line, int bytes) {
  auto const size = static_cast<std::size_t>(bytes - 1);
  std::string text;
  text.reserve(size + line.size());
  while (text.size() < size) text += line;
  text.resize(size);
  return text;
}

} // namespace

std::string oo7_TypeText(int type) {
  return WithNumber("type%03d", type);
}

std::string oo7_DocumentTitle(int id) {
  return WithNumber("Composite Part %08d", id);
}

std::string oo7_DocumentText(int id, int bytes) {
  return Repeated(WithNumber("I am the documentation for composite part #%08d.\n", id), bytes);
}

std::string oo7_ManualTitle(int id) {
  return WithNumber("Manual         %08d", id);
}

std::string oo7_ManualText(int id, int bytes) {
  return Repeated(WithNumber("I am the manual for module #%08d.\n", id), bytes);
}

std::string oo7_Oo1PartType(int type) {
  return WithNumber("part-type%d", type);
}

std::string oo7_Oo1ConnectionType(int type) {
  return WithNumber("conn-type%d", type);
}

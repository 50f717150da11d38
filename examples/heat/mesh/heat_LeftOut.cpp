#include "examples/heat/mesh/heat_LeftOut.h"

namespace {

struct Name {
  int type;
  char const* one;
  char const* many;
};

constexpr Name names[] = {{1, "line", "lines"},
                          {2, "triangle", "triangles"},
                          {3, "quadrangle", "quadrangles"},
                          {4, "tetrahedron", "tetrahedra"},
                          {5, "hexahedron", "hexahedra"},
                          {6, "prism", "prisms"},
                          {7, "pyramid", "pyramids"},
                          {15, "point", "points"}};

std::string Counted(std::size_t count, std::string const& one, std::string const& many) {
  return std::to_string(count) + " " + (count == 1 ? one : many);
}

std::string Elements(int type, std::size_t count) {
  for (Name const& name : names)
    if (name.type == type) return Counted(count, name.one, name.many);
  return Counted(count, "element", "elements") + " of type " + std::to_string(type);
}

void Append(std::string const& part, std::string& text) {
  text += (text.empty() ? "" : ", ") + part;
}

} // namespace

std::string heat_LeftOut::Text() const {
  std::string text;
  for (auto const& [type, count] : elements) Append(Elements(type, count), text);
  if (insides > 0) Append("the inside of " + Elements(4, insides), text);
  if (nodes > 0) Append(Counted(nodes, "node", "nodes") + " that no triangle uses", text);
  return text;
}

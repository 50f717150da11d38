#include "examples/heat/mesh/heat_MshReader.h"

#include "examples/heat/mesh/heat_MshFile.h"
#include "examples/heat/mesh/heat_MshScanner.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>

namespace {

// Relative to the square or cube of the longest edge: an area or volume below this is only rounding error.
constexpr double flatness = 1e-12;

constexpr int tetrahedronType = 4;

using Triangle = std::array<int, 3>;

struct CloseFile {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

std::string WholeFile(std::string const& path) {
  std::error_code code;
  if (std::filesystem::is_directory(path, code)) throw heat_InputError(path, 0, "is a directory, not a mesh");
  errno = 0;
  std::unique_ptr<std::FILE, CloseFile> const file(std::fopen(path.c_str(), "rb"));
  if (!file) throw heat_InputError(path, 0, "cannot be opened: " + std::generic_category().message(errno));
  std::string text;
  auto const size = std::filesystem::file_size(path, code);
  if (!code) text.reserve(static_cast<std::size_t>(size) + 1);
  std::array<char, 1 << 16> buffer{};
  for (;;) {
    auto const got = std::fread(buffer.data(), 1, buffer.size(), file.get());
    text.append(buffer.data(), got);
    if (got < buffer.size()) break;
  }
  if (std::ferror(file.get()) != 0) {
    throw heat_InputError(path, 0, "cannot be read: " + std::generic_category().message(errno));
  }
  return text;
}

// For a file that is not text at all, this error is clearer than one about its first line. A binary mesh
// passes: it starts with a readable header, and later errors say more.
void CheckIsText(std::string_view text, std::string const& name) {
  if (text.find_first_not_of(" \t\r\n") == std::string_view::npos) {
    throw heat_InputError(name, 1, "not a Gmsh mesh: the file is empty");
  }
  auto const start = text.substr(0, 512);
  if (start.substr(0, 1) != "$" && start.find('\0') != std::string_view::npos) {
    throw heat_InputError(name, 1, "not a Gmsh mesh but a binary file");
  }
}

double LongestEdge(heat_MshFile const& file, int const* nodes, std::size_t count) {
  double longest = 0;
  for (std::size_t i = 0; i < count; ++i) {
    for (std::size_t j = 0; j < i; ++j) {
      auto const& a = file.points[static_cast<std::size_t>(nodes[i])];
      auto const& b = file.points[static_cast<std::size_t>(nodes[j])];
      longest = std::max(longest, heat_Length(heat_Minus(a, b)));
    }
  }
  return longest;
}

heat_Vector Side(heat_MshFile const& file, int from, int to) {
  return heat_Minus(file.points[static_cast<std::size_t>(to)], file.points[static_cast<std::size_t>(from)]);
}

void CheckTriangles(heat_MshFile const& file, heat_MshScanner const& scanner) {
  for (auto const& cell : file.triangles) {
    auto const normal =
        heat_Cross(Side(file, cell.nodes[0], cell.nodes[1]), Side(file, cell.nodes[0], cell.nodes[2]));
    auto const longest = LongestEdge(file, cell.nodes.data(), cell.nodes.size());
    auto const doubleArea = heat_Length(normal);
    if (!std::isfinite(doubleArea)) scanner.FailAt(cell.line, "the triangle is too large to compute with");
    if (!(doubleArea > flatness * longest * longest)) scanner.FailAt(cell.line, "the triangle has no area");
  }
}

// Six times the volume; positive if the first three nodes run counter-clockwise seen from the fourth.
double SixVolumes(heat_MshFile const& file, heat_MshCell<4> const& cell) {
  auto const& n = cell.nodes;
  return heat_Dot(heat_Cross(Side(file, n[0], n[1]), Side(file, n[0], n[2])), Side(file, n[0], n[3]));
}

void CheckTetrahedra(heat_MshFile const& file, heat_MshScanner const& scanner) {
  for (auto const& cell : file.tetrahedra) {
    auto const volume = std::abs(SixVolumes(file, cell));
    auto const longest = LongestEdge(file, cell.nodes.data(), cell.nodes.size());
    if (!std::isfinite(volume)) scanner.FailAt(cell.line, "the tetrahedron is too large to compute with");
    if (!(volume > flatness * longest * longest * longest)) {
      scanner.FailAt(cell.line, "the tetrahedron has no volume");
    }
  }
}

// The face opposite to one of the nodes of a tetrahedron, counter-clockwise seen from outside.
Triangle FaceOf(heat_MshFile const& file, heat_MshCell<4> const& cell, std::size_t face) {
  constexpr std::array<std::array<std::size_t, 3>, 4> corners{{{1, 2, 3}, {0, 3, 2}, {0, 1, 3}, {0, 2, 1}}};
  auto const& c = corners[face];
  Triangle triangle{cell.nodes[c[0]], cell.nodes[c[1]], cell.nodes[c[2]]};
  if (SixVolumes(file, cell) < 0) std::swap(triangle[1], triangle[2]);
  return triangle;
}

struct Face {
  Triangle key; // the nodes in ascending order
  std::size_t place;
};

std::vector<Face> SortedFaces(heat_MshFile const& file) {
  std::vector<Face> faces;
  faces.reserve(4 * file.tetrahedra.size());
  for (std::size_t place = 0; place < 4 * file.tetrahedra.size(); ++place) {
    auto key = FaceOf(file, file.tetrahedra[place / 4], place % 4);
    std::sort(key.begin(), key.end());
    faces.push_back({key, place});
  }
  std::sort(faces.begin(), faces.end(),
            [](Face const& a, Face const& b) { return a.key != b.key ? a.key < b.key : a.place < b.place; });
  return faces;
}

void AddBoundaryFaces(heat_MshFile const& file, heat_MshScanner const& scanner, heat_MeshData& mesh) {
  auto const faces = SortedFaces(file);
  std::vector<std::size_t> outer;
  for (std::size_t first = 0; first < faces.size();) {
    auto last = first + 1;
    while (last < faces.size() && faces[last].key == faces[first].key) ++last;
    if (last - first > 2) {
      scanner.FailAt(file.tetrahedra[faces[first + 2].place / 4].line,
                     "a face of the tetrahedron already belongs to two others");
    }
    if (last - first == 1) outer.push_back(faces[first].place);
    first = last;
  }
  std::sort(outer.begin(), outer.end());
  for (auto const place : outer) {
    auto const& cell = file.tetrahedra[place / 4];
    mesh.triangles.push_back(FaceOf(file, cell, place % 4));
    mesh.regions.push_back(cell.region);
  }
}

void AddTriangles(heat_MshFile const& file, heat_MeshData& mesh) {
  for (auto const& cell : file.triangles) {
    mesh.triangles.push_back(cell.nodes);
    mesh.regions.push_back(cell.region);
  }
}

// Takes over the points that the triangles use, in the file's order.
void AddUsedNodes(heat_MshFile const& file, heat_MeshData& mesh) {
  std::vector<int> moved(file.points.size(), -1);
  for (auto const& triangle : mesh.triangles) {
    for (auto const node : triangle) moved[static_cast<std::size_t>(node)] = 0;
  }
  for (std::size_t i = 0; i < moved.size(); ++i) {
    if (moved[i] < 0) continue;
    moved[i] = static_cast<int>(mesh.nodes.size());
    mesh.nodes.push_back(file.points[i]);
    mesh.nodeTags.push_back(file.tags[i]);
  }
  for (auto& triangle : mesh.triangles) {
    for (auto& node : triangle) node = moved[static_cast<std::size_t>(node)];
  }
}

void RejectStranger(heat_MshStranger const& stranger, char const* wanted, heat_MshScanner const& scanner) {
  if (stranger.line == 0) return;
  scanner.FailAt(stranger.line, "elements of type " + std::to_string(stranger.type) +
                                    " cannot be analysed together with " + wanted);
}

heat_MeshData Surface(heat_MshFile const& file, heat_MshScanner const& scanner) {
  heat_MeshData mesh;
  if (!file.triangles.empty()) {
    RejectStranger(file.strangeSurface, "three-node triangles", scanner);
    CheckTriangles(file, scanner);
    AddTriangles(file, mesh);
  } else if (!file.tetrahedra.empty()) {
    RejectStranger(file.strangeVolume, "four-node tetrahedra", scanner);
    CheckTetrahedra(file, scanner);
    AddBoundaryFaces(file, scanner, mesh);
  } else {
    scanner.FailAt(file.elementsLine, "the mesh has neither three-node triangles nor four-node tetrahedra");
  }
  AddUsedNodes(file, mesh);
  return mesh;
}

heat_LeftOut LeftOut(heat_MshFile const& file, heat_MeshData const& mesh) {
  heat_LeftOut leftOut{file.others, 0, file.points.size() - mesh.nodes.size()};
  if (file.triangles.empty())
    leftOut.insides = file.tetrahedra.size();
  else if (!file.tetrahedra.empty())
    leftOut.elements[tetrahedronType] = file.tetrahedra.size();
  return leftOut;
}

} // namespace

heat_MeshData heat_MshReader::ReadFile(std::string const& path, heat_ProgressCall const& progress,
                                       heat_LeftOut* leftOut) {
  return ReadText(WholeFile(path), path, progress, leftOut);
}

heat_MeshData heat_MshReader::ReadText(std::string_view text, std::string const& name,
                                       heat_ProgressCall const& progress, heat_LeftOut* leftOut) {
  CheckIsText(text, name);
  heat_MshScanner scanner(text, name, progress);
  auto const file = heat_ReadSections(scanner);
  auto mesh = Surface(file, scanner);
  if (leftOut != nullptr) *leftOut = LeftOut(file, mesh);
  if (progress) progress(1.0);
  return mesh;
}

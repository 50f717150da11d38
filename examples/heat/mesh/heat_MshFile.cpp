#include "examples/heat/mesh/heat_MshFile.h"

#include <cstdint>
#include <limits>
#include <string>
#include <string_view>

namespace {

constexpr int highestTag = std::numeric_limits<int>::max();
constexpr int anyCount = -1;

// The shortest possible lines, newline included.
constexpr std::size_t shortestNode = 8;    // "1\n" and "0 0 0\n"
constexpr std::size_t shortestElement = 4; // "1 1\n"
constexpr std::size_t shortestBlock = 8;   // "0 1 0 0\n"
constexpr std::size_t shortestTag = 2;     // "1 "

void ExpectLine(heat_MshScanner& scanner, char const* section, std::string_view text) {
  scanner.NextLine(section);
  if (scanner.Line() != text) {
    scanner.Fail("expected " + std::string(text) + ", found " + heat_MshScanner::Quoted(scanner.Line()));
  }
}

int Tag(heat_MshScanner& scanner, char const* what) {
  return static_cast<int>(scanner.Integer(what, 1, highestTag));
}

void ReadFormat(heat_MshScanner& scanner) {
  scanner.NextLine("$MeshFormat");
  auto const version = scanner.Real("the format version");
  // Compared with a tolerance, because people write it by hand: "4.1" and "4.10" are the same version.
  if (version < 4.0999 || version > 4.1001) {
    scanner.Fail("MSH format version " + heat_MshScanner::Quoted(scanner.Line()) +
                 " is not supported; save the mesh in version 4.1");
  }
  auto const binary = scanner.Integer("the file type");
  if (binary == 1) scanner.Fail("a binary MSH file is not supported; save the mesh as ASCII");
  if (binary != 0) scanner.Fail("the file type is " + std::to_string(binary) + ", neither 0 nor 1");
  scanner.Integer("the data size", 1, 16);
  scanner.EndLine();
  ExpectLine(scanner, "$MeshFormat", "$EndMeshFormat");
}

// One entity: "tag x y z" for a point or "tag box" for others, then physical tags, then bounding entities.
void ReadEntity(heat_MshScanner& scanner, int dimension, heat_MshFile& file) {
  scanner.NextLine("$Entities");
  auto const tag = static_cast<int>(scanner.Integer("the entity tag", -highestTag, highestTag));
  for (int i = 0; i < (dimension == 0 ? 3 : 6); ++i) scanner.Real("an entity coordinate");
  auto const physical = scanner.Count("the number of physical tags", shortestTag);
  for (std::size_t i = 0; i < physical; ++i) {
    auto const value = static_cast<int>(scanner.Integer("a physical tag", -highestTag, highestTag));
    file.physical.try_emplace({dimension, tag}, value < 0 ? -value : value);
  }
  if (dimension > 0) {
    auto const bounding = scanner.Count("the number of bounding entities", shortestTag);
    for (std::size_t i = 0; i < bounding; ++i) scanner.Integer("a bounding entity");
  }
  scanner.EndLine();
}

void ReadEntities(heat_MshScanner& scanner, heat_MshFile& file) {
  scanner.NextLine("$Entities");
  std::array<std::size_t, 4> counts{};
  for (auto& count : counts) count = scanner.Count("the number of entities", shortestBlock);
  scanner.EndLine();
  for (std::size_t dimension = 0; dimension < counts.size(); ++dimension) {
    for (std::size_t i = 0; i < counts[dimension]; ++i) {
      ReadEntity(scanner, static_cast<int>(dimension), file);
    }
  }
  ExpectLine(scanner, "$Entities", "$EndEntities");
}

// The header that $Nodes and $Elements share.
struct Header {
  std::size_t blocks;
  std::size_t records;
  std::int64_t lowestTag;
  std::int64_t highestTag;
  int line;
};

Header ReadHeader(heat_MshScanner& scanner, char const* section, std::size_t bytesEach) {
  scanner.NextLine(section);
  Header header{};
  header.blocks = scanner.Count("the number of blocks", shortestBlock);
  header.records = scanner.Count("the number of records", bytesEach);
  header.lowestTag = scanner.Integer("the lowest tag", 0, highestTag);
  header.highestTag = scanner.Integer("the highest tag", 0, highestTag);
  header.line = scanner.LineNumber();
  scanner.EndLine();
  return header;
}

// The number of records of a block. All blocks together must not exceed the header's number.
std::size_t BlockCount(heat_MshScanner& scanner, Header const& header, std::size_t sofar,
                       std::size_t bytesEach) {
  auto const count = scanner.Count("the number of records in the block", bytesEach);
  if (count > header.records - sofar) {
    scanner.Fail("the blocks hold more records than the " + std::to_string(header.records) + " of line " +
                 std::to_string(header.line));
  }
  scanner.EndLine();
  return count;
}

void CheckTotal(heat_MshScanner const& scanner, Header const& header, std::size_t found) {
  if (found == header.records) return;
  scanner.FailAt(header.line, "the section announces " + std::to_string(header.records) +
                                  " records, its blocks hold " + std::to_string(found));
}

int TagOf(heat_MshScanner& scanner, char const* what, Header const& header) {
  auto const tag = Tag(scanner, what);
  if (tag < header.lowestTag || tag > header.highestTag) {
    scanner.Fail(std::string(what) + " " + std::to_string(tag) + " is outside the range from " +
                 std::to_string(header.lowestTag) + " to " + std::to_string(header.highestTag) + " of line " +
                 std::to_string(header.line));
  }
  return tag;
}

// A block: all tags, one per line, then all coordinates, one point per line.
void ReadNodeBlock(heat_MshScanner& scanner, Header const& header, heat_MshFile& file) {
  scanner.NextLine("$Nodes");
  auto const dimension = static_cast<int>(scanner.Integer("the entity dimension", 0, 3));
  scanner.Integer("the entity tag");
  auto const parametric = scanner.Integer("the parametric flag", 0, 1) == 1;
  auto const count = BlockCount(scanner, header, file.points.size(), shortestNode);
  for (std::size_t i = 0; i < count; ++i) {
    scanner.NextLine("$Nodes");
    auto const tag = TagOf(scanner, "the node tag", header);
    if (!file.index.Insert(tag, static_cast<int>(file.tags.size()))) {
      scanner.Fail("the node tag " + std::to_string(tag) + " appears twice");
    }
    file.tags.push_back(tag);
    scanner.EndLine();
  }
  for (std::size_t i = 0; i < count; ++i) {
    scanner.NextLine("$Nodes");
    heat_Vector point{};
    for (auto& coordinate : point) coordinate = scanner.Real("a coordinate");
    for (int p = 0; parametric && p < dimension; ++p) scanner.Real("a parametric coordinate");
    scanner.EndLine();
    file.points.push_back(point);
  }
}

void ReadNodes(heat_MshScanner& scanner, heat_MshFile& file) {
  file.nodesLine = scanner.LineNumber();
  auto const header = ReadHeader(scanner, "$Nodes", shortestNode);
  file.index.Reserve(header.records, static_cast<int>(header.highestTag));
  file.points.reserve(header.records);
  file.tags.reserve(header.records);
  for (std::size_t block = 0; block < header.blocks; ++block) ReadNodeBlock(scanner, header, file);
  ExpectLine(scanner, "$Nodes", "$EndNodes");
  CheckTotal(scanner, header, file.points.size());
}

// The number of nodes of an element, by the type numbers 1 to 19 of the format; anyCount for rarer types.
int NodesOfType(int type) {
  constexpr std::array<int, 20> nodes{anyCount, 2, 3,  4,  4,  8, 6, 5,  3,  6,
                                      10,       9, 27, 18, 14, 1, 8, 20, 15, 13};
  return type < static_cast<int>(nodes.size()) ? nodes[static_cast<std::size_t>(type)] : anyCount;
}

int NodeIndex(heat_MshScanner& scanner, heat_MshFile const& file) {
  auto const tag = Tag(scanner, "the tag of an element's node");
  auto const index = file.index.Find(tag);
  if (index < 0) scanner.Fail("the element uses node " + std::to_string(tag) + ", which is not in the file");
  return index;
}

template <std::size_t Corners>
void ReadCell(heat_MshScanner& scanner, heat_MshFile const& file, int region,
              std::vector<heat_MshCell<Corners>>& cells) {
  heat_MshCell<Corners> cell{{}, region, scanner.LineNumber()};
  for (auto& node : cell.nodes) node = NodeIndex(scanner, file);
  cells.push_back(cell);
}

// Skips an element that is not analysed; its nodes must exist nevertheless.
void PassElement(heat_MshScanner& scanner, heat_MshFile const& file, int type) {
  auto const nodes = NodesOfType(type);
  if (nodes == anyCount) {
    while (scanner.HasMore()) NodeIndex(scanner, file);
    return;
  }
  for (int i = 0; i < nodes; ++i) NodeIndex(scanner, file);
}

struct ElementBlock {
  int dimension;
  int entity;
  int type;
};

void NoteStranger(heat_MshScanner const& scanner, ElementBlock const& block, heat_MshFile& file) {
  auto& stranger = block.dimension == 2 ? file.strangeSurface : file.strangeVolume;
  if (block.dimension >= 2 && stranger.line == 0) stranger = {block.type, scanner.LineNumber()};
}

void ReadElement(heat_MshScanner& scanner, Header const& header, ElementBlock const& block, int region,
                 heat_MshFile& file) {
  scanner.NextLine("$Elements");
  TagOf(scanner, "the element tag", header);
  if (block.type == 2) {
    ReadCell(scanner, file, region, file.triangles);
  } else if (block.type == 4) {
    ReadCell(scanner, file, region, file.tetrahedra);
  } else {
    ++file.others[block.type];
    NoteStranger(scanner, block, file);
    PassElement(scanner, file, block.type);
  }
  scanner.EndLine();
}

std::size_t ReadElementBlock(heat_MshScanner& scanner, Header const& header, std::size_t sofar,
                             heat_MshFile& file) {
  scanner.NextLine("$Elements");
  ElementBlock block{};
  block.dimension = static_cast<int>(scanner.Integer("the entity dimension", 0, 3));
  block.entity = static_cast<int>(scanner.Integer("the entity tag", -highestTag, highestTag));
  block.type = static_cast<int>(scanner.Integer("the element type", 1, 1000));
  if ((block.type == 2 && block.dimension != 2) || (block.type == 4 && block.dimension != 3)) {
    scanner.Fail("elements of type " + std::to_string(block.type) + " on an entity of dimension " +
                 std::to_string(block.dimension));
  }
  auto const count = BlockCount(scanner, header, sofar, shortestElement);
  auto const physical = file.physical.find({block.dimension, block.entity});
  auto const region = physical == file.physical.end() ? block.entity : physical->second;
  for (std::size_t i = 0; i < count; ++i) ReadElement(scanner, header, block, region, file);
  return count;
}

void ReadElements(heat_MshScanner& scanner, heat_MshFile& file) {
  file.elementsLine = scanner.LineNumber();
  auto const header = ReadHeader(scanner, "$Elements", shortestElement);
  std::size_t found = 0;
  for (std::size_t block = 0; block < header.blocks; ++block) {
    found += ReadElementBlock(scanner, header, found, file);
  }
  ExpectLine(scanner, "$Elements", "$EndElements");
  CheckTotal(scanner, header, found);
}

void SkipSection(heat_MshScanner& scanner) {
  auto const name = std::string(scanner.Line());
  auto const end = "$End" + name.substr(1);
  do scanner.NextLine(name.c_str());
  while (scanner.Line() != end);
}

void ReadSection(heat_MshScanner& scanner, heat_MshFile& file) {
  auto const name = scanner.Line();
  if (name == "$Nodes") {
    if (file.nodesLine > 0) scanner.Fail("a second section $Nodes");
    ReadNodes(scanner, file);
  } else if (name == "$Elements") {
    if (file.nodesLine == 0) scanner.Fail("section $Elements comes before $Nodes");
    if (file.elementsLine > 0) scanner.Fail("a second section $Elements");
    ReadElements(scanner, file);
  } else if (name == "$Entities") {
    ReadEntities(scanner, file);
  } else if (name.substr(0, 4) == "$End" || name == "$MeshFormat") {
    scanner.Fail("misplaced " + heat_MshScanner::Quoted(name));
  } else {
    SkipSection(scanner);
  }
}

// Reads up to and including the format; only comments may precede it.
void ReadStart(heat_MshScanner& scanner) {
  while (scanner.TryLine()) {
    if (scanner.Line() == "$MeshFormat") return ReadFormat(scanner);
    if (scanner.Line() != "$Comments") {
      scanner.Fail("not a Gmsh mesh: expected $MeshFormat, found " + heat_MshScanner::Quoted(scanner.Line()));
    }
    SkipSection(scanner);
  }
  scanner.Fail("not a Gmsh mesh: there is no $MeshFormat");
}

} // namespace

void heat_TagTable::Reserve(std::size_t count, int highest) {
  if (static_cast<std::size_t>(highest) / 8 <= count)
    m_Dense.assign(static_cast<std::size_t>(highest) + 1, -1);
}

bool heat_TagTable::Insert(int tag, int index) {
  if (static_cast<std::size_t>(tag) >= m_Dense.size()) return m_Sparse.try_emplace(tag, index).second;
  auto& place = m_Dense[static_cast<std::size_t>(tag)];
  if (place >= 0) return false;
  place = index;
  return true;
}

int heat_TagTable::Find(int tag) const {
  if (static_cast<std::size_t>(tag) < m_Dense.size()) return m_Dense[static_cast<std::size_t>(tag)];
  auto const found = m_Sparse.find(tag);
  return found == m_Sparse.end() ? -1 : found->second;
}

heat_MshFile heat_ReadSections(heat_MshScanner& scanner) {
  heat_MshFile file;
  ReadStart(scanner);
  while (scanner.TryLine()) {
    if (scanner.Line().front() != '$') {
      scanner.Fail("expected a section, found " + heat_MshScanner::Quoted(scanner.Line()));
    }
    ReadSection(scanner, file);
  }
  if (file.nodesLine == 0) scanner.Fail("the file ends before section $Nodes");
  if (file.elementsLine == 0) scanner.Fail("the file ends before section $Elements");
  return file;
}

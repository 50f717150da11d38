#include "store/format/sto_NestedType.h"

#include <algorithm>
#include <limits>
#include <string>

#include "store/base/sto_Exception.h"
#include "store/format/sto_FixedValueBytes.h"

namespace {

using Node = sto_NestedType::Node;

constexpr std::uint64_t MaxArrayCount = std::numeric_limits<int>::max();

[[noreturn]] void RaiseType(std::string const& problem) {
  sto_Raise(sto_ErrorKind::Misuse, "The type of a nested value " + problem + ".");
}

bool IsLeaf(std::uint8_t kind) noexcept {
  return kind >= sto_Format::Text && kind < sto_Format::Nested;
}

/// Whether the encoded node says how many children it has.
bool HasChildCount(std::uint8_t kind) noexcept {
  return kind == sto_Format::NestedStruct || kind == sto_Format::NestedTuple ||
         kind == sto_Format::NestedVariant;
}

void FinishLeaf(Node& node) noexcept {
  node.m_HoldsIds = node.m_Kind == sto_Format::Object || node.m_Kind == sto_Format::Reference;
  node.m_MinBytes = sto_FixedValueBytes(node.m_Kind);
  node.m_IsFixed = node.m_MinBytes != 0;
  if (!node.m_IsFixed) node.m_MinBytes = 1; // a length or a distance
}

} // namespace

sto_NestedType sto_NestedType::Value(sto_Format::ValueTag tag, std::uint8_t code) {
  sto_NestedType type;
  Node& leaf = type.m_Nodes.emplace_back();
  leaf.m_Kind = tag;
  leaf.m_Code = code;
  leaf.m_End = 1;
  FinishLeaf(leaf);
  return type;
}

sto_NestedType sto_NestedType::Join(std::uint8_t kind, Types const& children, std::uint64_t count) {
  sto_NestedType type;
  type.m_Nodes.emplace_back().m_Kind = kind;
  type.m_Nodes.front().m_Count = count;
  type.m_Nodes.front().m_Children = static_cast<std::uint32_t>(children.size());
  for (sto_NestedType const& child : children) {
    auto const first = static_cast<std::uint32_t>(type.m_Nodes.size());
    if (first + child.m_Nodes.size() > sto_Format::MaxNestedNodes)
      RaiseType("has more than " + std::to_string(sto_Format::MaxNestedNodes) + " nodes");
    for (Node node : child.m_Nodes) {
      node.m_End += first;
      node.m_RunEnd += first;
      type.m_Nodes.push_back(node);
    }
  }
  type.m_Nodes.front().m_End = static_cast<std::uint32_t>(type.m_Nodes.size());
  if (type.DepthOf(0) > sto_Format::MaxNestedDepth)
    RaiseType("is more than " + std::to_string(sto_Format::MaxNestedDepth) + " levels deep");
  if (!type.Finish(0)) RaiseType("has a member twice, a wrong number of alternatives, or too long values");
  return type;
}

sto_NestedType sto_NestedType::Struct(Members const& members) {
  Types types;
  for (auto const& [key, member] : members) types.push_back(member);
  for (std::size_t i = 0; i < members.size(); ++i) types[i].m_Nodes.front().m_Key = members[i].first;
  return Join(sto_Format::NestedStruct, types);
}

sto_NestedType sto_NestedType::Tuple(Types const& members) {
  return Join(sto_Format::NestedTuple, members);
}

sto_NestedType sto_NestedType::Variant(Types const& alternatives) {
  return Join(sto_Format::NestedVariant, alternatives);
}

sto_NestedType sto_NestedType::Optional(sto_NestedType const& value) {
  return Join(sto_Format::NestedOptional, {value});
}

sto_NestedType sto_NestedType::Sequence(sto_NestedType const& element) {
  return Join(sto_Format::NestedSequence, {element});
}

sto_NestedType sto_NestedType::Array(std::uint64_t count, sto_NestedType const& element) {
  return Join(sto_Format::NestedArray, {element}, count);
}

sto_NestedType sto_NestedType::Map(sto_NestedType const& key, sto_NestedType const& value) {
  return Join(sto_Format::NestedMap, {key, value});
}

int sto_NestedType::DepthOf(std::size_t index) const {
  int depth = 0;
  for (std::size_t child = index + 1; child < m_Nodes[index].m_End; child = m_Nodes[child].m_End)
    depth = std::max(depth, DepthOf(child));
  return depth + 1;
}

bool sto_NestedType::HasKeyTwice(std::size_t index) const {
  for (std::size_t child = index + 1; child < m_Nodes[index].m_End; child = m_Nodes[child].m_End)
    for (std::size_t other = index + 1; other < child; other = m_Nodes[other].m_End)
      if (m_Nodes[other].m_Key == m_Nodes[child].m_Key) return true;
  return false;
}

void sto_NestedType::MeasureMembers(std::size_t index) {
  Node& node = m_Nodes[index];
  node.m_IsFixed = true;
  std::vector<std::size_t> members;
  for (std::size_t child = index + 1; child < node.m_End; child = m_Nodes[child].m_End) {
    members.push_back(child);
    node.m_IsFixed = node.m_IsFixed && m_Nodes[child].m_IsFixed;
    node.m_MinBytes += m_Nodes[child].m_MinBytes;
  }
  // Fixed members beside each other are passed in one step.
  for (std::size_t i = members.size(); i-- > 0;) {
    Node& member = m_Nodes[members[i]];
    member.m_RunEnd = member.m_End;
    member.m_RunBytes = member.m_MinBytes;
    if (i + 1 == members.size() || !m_Nodes[members[i + 1]].m_IsFixed) continue;
    member.m_RunEnd = m_Nodes[members[i + 1]].m_RunEnd;
    member.m_RunBytes += m_Nodes[members[i + 1]].m_RunBytes;
  }
}

void sto_NestedType::MeasureVariant(std::size_t index) {
  Node& node = m_Nodes[index];
  std::uint64_t least = std::numeric_limits<std::uint64_t>::max();
  for (std::size_t child = index + 1; child < node.m_End; child = m_Nodes[child].m_End)
    least = std::min(least, m_Nodes[child].m_MinBytes);
  node.m_MinBytes = 1 + least;
}

bool sto_NestedType::Finish(std::size_t index) {
  Node& node = m_Nodes[index];
  for (std::size_t child = index + 1; child < node.m_End; child = m_Nodes[child].m_End)
    node.m_HoldsIds = node.m_HoldsIds || m_Nodes[child].m_HoldsIds;
  switch (node.m_Kind) {
  case sto_Format::NestedStruct:
    if (HasKeyTwice(index)) return false;
    [[fallthrough]];
  case sto_Format::NestedTuple:
    MeasureMembers(index);
    break;
  case sto_Format::NestedVariant:
    if (node.m_Children == 0 || node.m_Children > sto_Format::MaxAlternatives) return false;
    MeasureVariant(index);
    break;
  case sto_Format::NestedArray:
    if (node.m_Count > MaxArrayCount) return false;
    // Without elements it takes no bytes, whatever they would be. So what can take none is always fixed, and is
    // passed without looking at its items.
    node.m_IsFixed = node.m_Count == 0 || m_Nodes[index + 1].m_IsFixed;
    node.m_MinBytes = node.m_Count * m_Nodes[index + 1].m_MinBytes; // at most 2^31 * MaxValueBytes
    break;
  default:
    node.m_MinBytes = 1; // a count, or whether there is a value
  }
  return node.m_MinBytes <= sto_Format::MaxValueBytes;
}

void sto_NestedType::Encode(sto_Bytes& bytes) const {
  sto_ByteWriter writer(bytes);
  std::vector<std::uint32_t> structEnds; // of the structs that the node is in
  std::vector<std::uint32_t> nextMembers;
  for (std::uint32_t i = 0; i < m_Nodes.size(); ++i) {
    while (!structEnds.empty() && structEnds.back() == i) {
      structEnds.pop_back();
      nextMembers.pop_back();
    }
    Node const& node = m_Nodes[i];
    if (!nextMembers.empty() && nextMembers.back() == i) {
      sto_EncodeKey(writer, node.m_Key);
      nextMembers.back() = node.m_End;
    }
    writer.U8(node.m_Kind);
    if (node.m_Kind == sto_Format::Object) writer.U8(node.m_Code);
    if (HasChildCount(node.m_Kind)) writer.Varint(node.m_Children);
    if (node.m_Kind == sto_Format::NestedArray) writer.Varint(node.m_Count);
    if (node.m_Kind != sto_Format::NestedStruct) continue;
    structEnds.push_back(node.m_End);
    nextMembers.push_back(i + 1);
  }
}

bool sto_NestedType::Decode(sto_ByteReader& reader) {
  m_Nodes.clear();
  return DecodeNode(reader, {}, 1) && !reader.Failed() && IsForField();
}

bool sto_NestedType::DecodeNode(sto_ByteReader& reader, sto_FieldKey const& key, int depth) {
  if (depth > sto_Format::MaxNestedDepth || m_Nodes.size() == sto_Format::MaxNestedNodes) return false;
  std::size_t const index = m_Nodes.size();
  Node node;
  node.m_Kind = reader.U8();
  node.m_Key = key;
  if (reader.Failed()) return false;
  if (IsLeaf(node.m_Kind)) {
    if (node.m_Kind == sto_Format::Object) node.m_Code = reader.U8();
    FinishLeaf(node);
    node.m_End = static_cast<std::uint32_t>(index) + 1;
    m_Nodes.push_back(node);
    return !reader.Failed();
  }
  if (node.m_Kind < sto_Format::NestedStruct || node.m_Kind > sto_Format::NestedMap) return false;
  std::uint64_t children = node.m_Kind == sto_Format::NestedMap ? 2 : 1;
  if (HasChildCount(node.m_Kind)) children = reader.Varint();
  if (node.m_Kind == sto_Format::NestedArray) node.m_Count = reader.Varint();
  if (children > sto_Format::MaxNestedNodes || children > reader.Remaining()) return false;
  node.m_Children = static_cast<std::uint32_t>(children);
  m_Nodes.push_back(node);
  return DecodeChildren(reader, index, depth);
}

bool sto_NestedType::DecodeChildren(sto_ByteReader& reader, std::size_t parent, int depth) {
  bool const isStruct = m_Nodes[parent].m_Kind == sto_Format::NestedStruct;
  for (std::uint32_t left = m_Nodes[parent].m_Children; left > 0; --left) {
    sto_FieldKey key;
    if (isStruct && !sto_DecodeKey(reader, key)) return false;
    if (!DecodeNode(reader, key, depth + 1)) return false;
  }
  m_Nodes[parent].m_End = static_cast<std::uint32_t>(m_Nodes.size());
  return Finish(parent);
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <limits>

#include "store/format/sto_NestedType.h"

/// Passes over the encoded values of nested types, and checks them: each must be along its type, and not be cut
/// short. Bytes of fixed size are passed in one step, however many elements they are; so the work is at most in
/// proportion to the bytes. Nothing is allocated.
///
/// `Take` is called with the tag, the id and the encoded bytes of each object and reference, in their order; it
/// returns false for an id that cannot be. Thread rule: one thread.
template <class Take> class sto_NestedWalk {
 public:
  using Node = sto_NestedType::Node;

  /// `object`: the id of the record's object, from which ids are counted. The type must outlive the walk.
  sto_NestedWalk(sto_NestedType const& type, std::int64_t object, Take take)
      : sto_NestedWalk(type.Nodes().data(), object, take) {}
  /// `nodes`: all those of a type.
  sto_NestedWalk(Node const* nodes, std::int64_t object, Take take)
      : m_Nodes(nodes), m_Object(object), m_Take(take) {}

  /// Passes one value of the node with an index. False if it is damaged.
  [[nodiscard]] bool Pass(sto_ByteReader& reader, std::size_t index = 0) {
    Node const& node = m_Nodes[index];
    if (node.m_IsFixed) {
      reader.Raw(node.m_MinBytes);
      return !reader.Failed();
    }
    switch (node.m_Kind) {
    case sto_Format::NestedStruct:
    case sto_Format::NestedTuple:
      return PassMembers(reader, index);
    case sto_Format::NestedVariant:
      return PassAlternative(reader, index);
    case sto_Format::NestedOptional: {
      std::uint8_t const isThere = reader.U8();
      return isThere == 0 ? !reader.Failed() : isThere == 1 && Pass(reader, index + 1);
    }
    case sto_Format::NestedSequence:
    case sto_Format::NestedMap:
      return PassItems(reader, index, reader.Varint());
    case sto_Format::NestedArray:
      return PassItems(reader, index, node.m_Count);
    default:
      return PassLeaf(reader, node);
    }
  }

 private:
  bool PassMembers(sto_ByteReader& reader, std::size_t index) {
    for (std::size_t member = index + 1; member < m_Nodes[index].m_End;) {
      Node const& node = m_Nodes[member];
      if (node.m_IsFixed)
        reader.Raw(node.m_RunBytes);
      else if (!Pass(reader, member))
        return false;
      member = node.m_IsFixed ? node.m_RunEnd : node.m_End;
    }
    return !reader.Failed();
  }

  bool PassAlternative(sto_ByteReader& reader, std::size_t index) {
    std::uint64_t const chosen = reader.Varint();
    if (reader.Failed() || chosen >= m_Nodes[index].m_Children) return false;
    std::size_t child = index + 1;
    for (std::uint64_t i = 0; i < chosen; ++i) child = m_Nodes[child].m_End;
    return Pass(reader, child);
  }

  /// Elements of a sequence or array, or keys and values of a map.
  bool PassItems(sto_ByteReader& reader, std::size_t index, std::uint64_t count) {
    Node const& first = m_Nodes[index + 1];
    Node const* const second =
        m_Nodes[index].m_Kind == sto_Format::NestedMap ? &m_Nodes[first.m_End] : nullptr;
    std::uint64_t const bytes = first.m_MinBytes + (second == nullptr ? 0 : second->m_MinBytes);
    bool const isFixed = first.m_IsFixed && (second == nullptr || second->m_IsFixed);
    if (reader.Failed() || count > std::numeric_limits<int>::max()) return false;
    if (bytes != 0 && count > reader.Remaining() / bytes) return false;
    if (isFixed) {
      reader.Raw(count * bytes);
      return true;
    }
    for (std::uint64_t i = 0; i < count; ++i)
      if (!Pass(reader, index + 1) || (second != nullptr && !Pass(reader, first.m_End))) return false;
    return true;
  }

  bool PassLeaf(sto_ByteReader& reader, Node const& node) {
    std::byte const* const start = reader.Position();
    std::uint64_t const number = reader.Varint();
    if (reader.Failed()) return false;
    if (node.m_HoldsIds)
      return m_Take(node.m_Kind, sto_FromDistance(m_Object, sto_FromZigZag(number)),
                    sto_ByteView(start, reader.Position()));
    reader.Raw(node.m_Kind == sto_Format::Text && number > 0 ? number - 1 : number);
    return !reader.Failed();
  }

  Node const* m_Nodes;
  std::int64_t m_Object;
  Take m_Take;
};

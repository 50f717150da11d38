#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <utility>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_FieldKey.h"
#include "store/format/sto_Format.h"

/// The type of a value of values: a tree whose leaves are values as fields have them (sto_Format::ValueTag), and
/// whose inner nodes are structs, sequences and so on (sto_Format::NestedKind). It is part of a record's shape,
/// so the record has only the values, one after the other along the tree: see sto_NestedValue.h.
///
///     type := tag [collection code]                          a leaf; the code only for an object
///           | 32 count{key type} | 33 count{type} | 34 count{type}   struct, tuple, variant
///           | 35 type | 36 type | 37 count type              optional, sequence, array
///           | 38 type type                                   map
///
/// A tree is at most sto_Format::MaxNestedDepth deep and has at most sto_Format::MaxNestedNodes nodes. A type
/// does not refer to itself: values of any depth are stored as objects.
///
/// Internal to the module. Thread rule: any thread, while none changes it.
class sto_NestedType {
 public:
  using Types = std::vector<sto_NestedType>;
  using Members = std::vector<std::pair<sto_FieldKey, sto_NestedType>>;

  /// One node. The nodes of a tree are in the order of the encoded type: the children follow their parent.
  struct Node {
    std::uint8_t m_Kind = 0;      ///< sto_Format::ValueTag or sto_Format::NestedKind
    std::uint8_t m_Code = 0;      ///< of an object: the type of the collection
    bool m_HoldsIds = false;      ///< a value in it may be an object or a reference
    bool m_IsFixed = false;       ///< every value takes m_MinBytes, and any bytes are one
    std::uint32_t m_Children = 0; ///< how many
    std::uint32_t m_End = 0;      ///< the index after the last descendant
    std::uint32_t m_RunEnd = 0;   ///< of a fixed member: the index after it and the fixed members that follow
    std::uint64_t m_RunBytes = 0; ///< the bytes of those
    std::uint64_t m_MinBytes = 0; ///< the fewest bytes that a value takes
    std::uint64_t m_Count = 0;    ///< of an array: its elements
    sto_FieldKey m_Key;           ///< of a member of a struct

    /// Compares what is encoded; the rest follows from it.
    friend bool operator==(Node const& a, Node const& b) noexcept {
      return a.m_Kind == b.m_Kind && a.m_Code == b.m_Code && a.m_Children == b.m_Children &&
             a.m_Count == b.m_Count && a.m_Key == b.m_Key;
    }
  };

  /// No type.
  sto_NestedType() = default;

  // Types are put together from smaller ones. Misuse if the result is too deep, has too many nodes or
  // alternatives, a struct has a key twice, or its values would be too long for any record.

  /// A value as a field has it. REQUIRES: a tag from Text to ComplexDouble. `code`: of an object.
  [[nodiscard]] static sto_NestedType Value(sto_Format::ValueTag tag, std::uint8_t code = 0);
  [[nodiscard]] static sto_NestedType Struct(Members const& members);
  [[nodiscard]] static sto_NestedType Tuple(Types const& members);
  [[nodiscard]] static sto_NestedType Variant(Types const& alternatives); ///< at least one
  [[nodiscard]] static sto_NestedType Optional(sto_NestedType const& value);
  [[nodiscard]] static sto_NestedType Sequence(sto_NestedType const& element);
  [[nodiscard]] static sto_NestedType Array(std::uint64_t count, sto_NestedType const& element);
  [[nodiscard]] static sto_NestedType Map(sto_NestedType const& key, sto_NestedType const& value);

  /// The nodes, the root first; empty without a type.
  [[nodiscard]] std::span<Node const> Nodes() const noexcept { return m_Nodes; }
  /// REQUIRES: a type.
  [[nodiscard]] Node const& Root() const noexcept { return m_Nodes.front(); }
  /// Whether it can be the type of a field: its root is no leaf.
  [[nodiscard]] bool IsForField() const noexcept {
    return !m_Nodes.empty() && Root().m_Kind >= sto_Format::NestedStruct;
  }

  /// Appends the encoded type. REQUIRES: a type.
  void Encode(sto_Bytes& bytes) const;
  /// Decodes the type of a field from bytes that are not trusted; they may continue after it. False if they are
  /// no type; then the type must not be used.
  [[nodiscard]] bool Decode(sto_ByteReader& reader);

  /// The same type in another store: `map(key)` returns the key of a member there.
  template <class Map> [[nodiscard]] sto_NestedType WithKeys(Map map) const {
    sto_NestedType mapped(*this);
    for (Node& node : mapped.m_Nodes)
      if (node.m_Key.m_NameId != 0) node.m_Key = map(node.m_Key);
    return mapped;
  }

  friend bool operator==(sto_NestedType const& a, sto_NestedType const& b) = default;

 private:
  static sto_NestedType Join(std::uint8_t kind, Types const& children, std::uint64_t count = 0);
  [[nodiscard]] bool DecodeNode(sto_ByteReader& reader, sto_FieldKey const& key, int depth);
  [[nodiscard]] bool DecodeChildren(sto_ByteReader& reader, std::size_t parent, int depth);
  /// Works out what follows from the children of a node. False if they do not belong there.
  [[nodiscard]] bool Finish(std::size_t index);
  void MeasureMembers(std::size_t index);
  void MeasureVariant(std::size_t index);
  [[nodiscard]] bool HasKeyTwice(std::size_t index) const;
  [[nodiscard]] int DepthOf(std::size_t index) const;

  std::vector<Node> m_Nodes;
};

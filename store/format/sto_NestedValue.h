#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>

#include "store/format/sto_NestedType.h"

class sto_NestedItems;

/// One value in a nested value of a decoded record: a view of its bytes, which the record has checked. It has
/// items if its type is an inner node, else it is read as what its tag says.
///
///     for (sto_NestedItems items = value.Items(); items.Next();) Use(items.Key(), items.Value());
///
/// The type and the bytes must outlive it. Nothing is allocated. Thread rule: any thread.
class sto_NestedValue {
 public:
  /// The value of a whole field. `bytes`: as the type says. `object`: the id of the record's object.
  sto_NestedValue(sto_NestedType const& type, sto_ByteView bytes, std::int64_t object) noexcept
      : sto_NestedValue(type.Nodes().data(), 0, bytes, object) {}

  /// sto_Format::ValueTag or sto_Format::NestedKind.
  [[nodiscard]] std::uint8_t Kind() const noexcept { return Node().m_Kind; }
  /// Of an object: the type of the collection.
  [[nodiscard]] std::uint8_t Code() const noexcept { return Node().m_Code; }

  /// REQUIRES, for each: a leaf of that kind.
  template <class T> [[nodiscard]] T Number() const noexcept {
    return sto_ByteReader(m_Bytes).template Number<T>();
  }
  /// Both numbers of a complex one.
  template <class T> [[nodiscard]] std::complex<T> Complex() const noexcept {
    sto_ByteReader reader(m_Bytes);
    T const real = reader.template Number<T>();
    return {real, reader.template Number<T>()};
  }
  /// Empty for a string without text.
  [[nodiscard]] std::optional<std::string_view> Text() const noexcept;
  [[nodiscard]] sto_ByteView Bytes() const noexcept;
  [[nodiscard]] std::int64_t ObjectId() const noexcept;

  /// The index of a variant's alternative. REQUIRES: a variant.
  [[nodiscard]] std::size_t Alternative() const noexcept;
  /// How many items there are. For a map, keys and values count. REQUIRES: an inner node.
  [[nodiscard]] std::size_t Count() const noexcept;
  /// The members of a struct or tuple, the value of a variant, the value of an optional if there is one, the
  /// elements of a sequence or array, or the keys and values of a map in turn. REQUIRES: an inner node.
  [[nodiscard]] sto_NestedItems Items() const noexcept;
  /// The member of a struct; empty if it has none with this key. REQUIRES: a struct.
  [[nodiscard]] std::optional<sto_NestedValue> Member(sto_FieldKey const& key) const noexcept;
  /// The bytes of all elements of a sequence or array whose elements have a fixed size: to copy numbers at
  /// once. REQUIRES: such a sequence or array.
  [[nodiscard]] sto_ByteView Elements() const noexcept;

 private:
  friend class sto_NestedItems;

  sto_NestedValue(sto_NestedType::Node const* nodes, std::size_t index, sto_ByteView bytes,
                  std::int64_t object) noexcept
      : m_Nodes(nodes), m_Index(index), m_Bytes(bytes), m_Object(object) {}
  [[nodiscard]] sto_NestedType::Node const& Node() const noexcept { return m_Nodes[m_Index]; }

  sto_NestedType::Node const* m_Nodes; // of the whole type
  std::size_t m_Index;
  sto_ByteView m_Bytes; // from the value on; what follows it may be there too
  std::int64_t m_Object;
};

/// Goes over the items of a nested value, in order. Thread rule: one thread.
class sto_NestedItems {
 public:
  /// REQUIRES: a value that is an inner node.
  explicit sto_NestedItems(sto_NestedValue const& value) noexcept;

  /// Goes to the next item; false at the end.
  [[nodiscard]] bool Next() noexcept;
  /// REQUIRES: Next returned true.
  [[nodiscard]] sto_NestedValue Value() const noexcept;
  /// The key of a struct's member. REQUIRES: Next returned true.
  [[nodiscard]] sto_FieldKey const& Key() const noexcept { return m_Nodes[m_Child].m_Key; }

 private:
  friend class sto_NestedValue;

  /// Passes the current item.
  void Pass() noexcept;

  sto_NestedType::Node const* m_Nodes;
  std::size_t m_Parent;
  std::size_t m_Child; // of the current item
  std::uint64_t m_Left;
  bool m_IsAtItem = false;
  sto_ByteReader m_Reader;
  std::int64_t m_Object;
};

/// Encodes a nested value. The calls follow the type: nothing for a struct, tuple or array but its members and
/// elements, in their order. Thread rule: one thread.
class sto_NestedWriter {
 public:
  /// Appends to `bytes`. `object`: the id of the record's object.
  sto_NestedWriter(sto_Bytes& bytes, std::int64_t object) noexcept : m_Writer(bytes), m_Object(object) {}

  template <class T> void Number(T value) { m_Writer.Number(value); }
  void Bool(bool value) { m_Writer.U8(value ? 1 : 0); }
  /// None: a string without text.
  void Text(std::optional<std::string_view> text);
  void Bytes(sto_ByteView bytes);
  /// An object or a reference.
  void ObjectId(std::int64_t id) { m_Writer.ZigZag(sto_Distance(m_Object, id)); }
  /// A variant; the value of that alternative follows.
  void Alternative(std::size_t index) { m_Writer.Varint(index); }
  /// An optional; if it is there, its value follows.
  void Presence(bool isThere) { Bool(isThere); }
  /// A sequence or a map; so many elements, or keys and values in turn, follow.
  void Count(std::size_t count) { m_Writer.Varint(count); }
  /// The encoded elements of fixed size of a sequence or array.
  void Elements(sto_ByteView elements) { m_Writer.Raw(elements.data(), elements.size()); }

 private:
  sto_ByteWriter m_Writer;
  std::int64_t m_Object;
};

/// Whether bytes are one value of a type, with ids that objects can have.
[[nodiscard]] bool sto_IsNestedValue(sto_NestedType const& type, sto_ByteView bytes, std::int64_t object);

#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_FieldKey.h"
#include "store/format/sto_Format.h"
#include "store/format/sto_NestedType.h"

/// One class level of a shape.
struct sto_ShapePart {
  unsigned int m_ClassId = 0;
  int m_Version = 0;
  std::size_t m_FieldCount = 0;

  friend bool operator==(sto_ShapePart const& a, sto_ShapePart const& b) noexcept = default;
};

/// One field of a shape.
struct sto_ShapeField {
  sto_FieldKey m_Key;
  std::uint8_t m_Tag = 0;  ///< sto_Format::ValueTag; strings with and without text are Text
  std::uint8_t m_Code = 0; ///< of an object in a field: the type of the collection

  friend bool operator==(sto_ShapeField const& a, sto_ShapeField const& b) noexcept = default;
};

/// What follows the fields.
struct sto_ShapeContent {
  std::uint8_t m_Kind = sto_Format::ContentNone; ///< sto_Format::Content
  std::uint8_t m_KeyType = 0;                    ///< of a map
  std::uint8_t m_ElementType = 0;                ///< of a list or map

  friend bool operator==(sto_ShapeContent const& a, sto_ShapeContent const& b) noexcept = default;
};

/// What records of objects of one class have in common: the classes and versions of their parts, and the keys
/// and types of their fields in the order of the values. The records themselves have only the values.
///
///     shape   := flags  partCount part{partCount}  content
///     part    := classId  version  fieldCount field{fieldCount}
///     field   := key  tag  [collection code, or type of a nested value]
///     content := kind  [key type, element type]
///
/// docs/store-format.md has the details. Internal to the module. Thread rule: any thread, while none changes
/// it.
class sto_Shape {
 public:
  /// The ids of the base-class parts follow the object's id, so records leave them out.
  bool m_PartsFollow = false;
  std::vector<sto_ShapePart> m_Parts;   ///< the object's own class first
  std::vector<sto_ShapeField> m_Fields; ///< part by part, in the order of the values
  std::vector<sto_NestedType> m_Types;  ///< of the fields with the tag Nested, in their order
  sto_ShapeContent m_Content;

  /// Appends the encoded shape.
  void Encode(sto_Bytes& bytes) const;
  /// Decodes a shape from bytes that are not trusted; they may continue after it. False if they are no shape;
  /// then the shape must not be used.
  [[nodiscard]] bool Decode(sto_ByteReader& reader);

  friend bool operator==(sto_Shape const& a, sto_Shape const& b) = default;

 private:
  [[nodiscard]] bool DecodeFields(sto_ByteReader& reader, std::uint64_t count);
  [[nodiscard]] bool DecodeContent(sto_ByteReader& reader);
};

/// A shape with its number in a store.
struct sto_NumberedShape {
  std::int64_t m_Number;
  sto_Shape m_Shape;
  bool m_IsChecked = false; ///< fits the store's catalogue and the program; set by whoever has checked it
};

/// Whether a type of elements may be in a list or map, and a type of keys in a map.
[[nodiscard]] constexpr bool sto_IsElementType(std::uint8_t type) noexcept {
  return type >= sto_Format::ElementBool && type <= sto_Format::LastElementType;
}
[[nodiscard]] constexpr bool sto_IsKeyType(std::uint8_t type) noexcept {
  return type >= sto_Format::KeyInt && type <= sto_Format::LastKeyType;
}

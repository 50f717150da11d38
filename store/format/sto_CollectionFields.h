#pragma once

#include <concepts>
#include <cstdint>
#include <optional>

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_RecordBuilder.h"

/// A field without name that an object of a collection or a blob has besides its content: one integer of a
/// fixed size. Internal to the module. Thread rule: any thread.
template <std::integral Integer> struct sto_CollectionField {
  static_assert(sizeof(Integer) == 4 || sizeof(Integer) == 8);
  static constexpr sto_Format::ValueTag Tag = sizeof(Integer) == 4 ? sto_Format::Int32 : sto_Format::Int64;

  int m_Number;

  [[nodiscard]] constexpr sto_FieldKey Key() const noexcept { return {0, m_Number}; }

  /// The value that a decoded part has; none when it lacks the field, or has another type there.
  [[nodiscard]] std::optional<Integer> Read(sto_Part const& part) const noexcept {
    for (sto_Field const& field : part.m_Fields)
      if (field.m_Key == Key() && field.m_Tag == Tag)
        return sto_ByteReader(field.m_Payload).Number<Integer>();
    return std::nullopt;
  }

  /// Writes the value to the object's own part, replacing one that is there. REQUIRES: a builder with a part.
  void Write(sto_RecordBuilder& builder, Integer value) const {
    sto_ValueWriter(builder.StartField(0, Key(), Tag)).Number(value);
  }
};

/// The fields of collections and blobs. They are part of the stored form and never change.
namespace sto_CollectionFields {

/// Of a list or map that is, or was, open: the number of elements that was expected.
inline constexpr sto_CollectionField<std::int32_t> SizeHint{0};
/// Of a blob: its size in bytes.
inline constexpr sto_CollectionField<std::int64_t> BlobBytes{0};
/// Of all of them in older formats: how often it was written. Not written any more.
inline constexpr sto_CollectionField<std::int64_t> OldChange{1};

/// Whether collections or blobs have a field without name of this number.
[[nodiscard]] constexpr bool IsNumber(int fieldNumber) noexcept {
  return fieldNumber == SizeHint.m_Number || fieldNumber == BlobBytes.m_Number ||
         fieldNumber == OldChange.m_Number;
}

} // namespace sto_CollectionFields

/// Whether objects of a class are collections or blobs. They have no attributes of their own: this module
/// defines their fields and their content.
[[nodiscard]] inline bool sto_IsCollectionClass(unsigned int classId) noexcept {
  return cls_IsCollectionTypeId(classId);
}

/// Whether a field is a collection's count of changes of an older format.
[[nodiscard]] inline bool sto_IsOldChange(sto_Part const& part, sto_Field const& field) noexcept {
  return field.m_Key == sto_CollectionFields::OldChange.Key() && sto_IsCollectionClass(part.m_ClassId);
}

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "store/format/sto_Record.h"

/// Builds the bytes of one object from its parts, outermost class first. It may be used for one object after
/// the other, and then keeps its memory.
class sto_RecordBuilder {
 public:
  /// Starts over.
  void Reset() noexcept;

  /// Adds a part and returns its index. Full, naming the object, beyond sto_Format::MaxParts.
  std::size_t AddPart(unsigned int classId, int version, std::int64_t id);

  /// Starts a field of a part, in the place of one with the same key; the caller writes its tag and value to
  /// the returned bytes at once. Full, naming the object, beyond sto_Format::MaxFields.
  sto_Bytes& StartField(std::size_t part, sto_FieldKey const& key);

  [[nodiscard]] bool HasField(std::size_t part, sto_FieldKey const& key) const noexcept;
  [[nodiscard]] std::size_t PartCount() const noexcept { return m_PartCount; }
  [[nodiscard]] unsigned int ClassOfPart(std::size_t part) const noexcept { return m_Parts[part].m_ClassId; }

  /// Sets the collection code of an object field that was written last under this key. False when there is
  /// none.
  bool SetCollectionCode(std::size_t part, sto_FieldKey const& key, std::uint8_t code);

  /// The content, replaced by a later one: a list, with the encoded elements of an inline one, or a map (or
  /// int table), with its encoded entries.
  void SetList(sto_ListHeader const& header, sto_Bytes elements);
  void SetMap(sto_MapHeader const& header, sto_Bytes entries);

  [[nodiscard]] bool HasList() const noexcept { return m_List.has_value(); }
  [[nodiscard]] bool HasMap() const noexcept { return m_Map.has_value(); }

  /// Whether a decoded record has the same classes in the same versions.
  [[nodiscard]] bool HasClassesOf(sto_Record const& other) const noexcept;
  /// Whether a decoded record has the same list or map; of a list in blocks only its header.
  [[nodiscard]] bool HasContentOf(sto_Record const& other) const noexcept;

  /// The finished record, with its checksum. Valid until the builder is used again.
  [[nodiscard]] sto_Bytes const& Finish(std::int64_t id);

  /// Bytes of memory that the builder holds, about.
  [[nodiscard]] std::size_t Capacity() const noexcept {
    std::size_t bytes = m_Output.capacity() + m_Elements.capacity();
    for (Part const& part : m_Parts)
      bytes += part.m_Bytes.capacity() + part.m_Fields.capacity() * sizeof(Field);
    return bytes;
  }

 private:
  struct Field {
    sto_FieldKey m_Key;
    std::size_t m_Offset; // of the key in the part's bytes
  };
  struct Part {
    unsigned int m_ClassId;
    int m_Version;
    std::int64_t m_Id;
    std::vector<Field> m_Fields;
    sto_Bytes m_Bytes;
  };

  void DropField(Part& part, std::size_t index);
  [[noreturn]] void RaiseFull(std::size_t count, char const* what) const;
  void PutContent(sto_ByteWriter& writer) const;

  std::vector<Part> m_Parts;
  std::size_t m_PartCount = 0;  // those in use; the others keep their memory
  std::size_t m_FieldCount = 0; // of all parts
  std::optional<sto_ListHeader> m_List;
  std::optional<sto_MapHeader> m_Map;
  sto_Bytes m_Elements; // of the list or the map
  sto_Bytes m_Output;
};

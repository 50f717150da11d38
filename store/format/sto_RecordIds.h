#pragma once

#include <cstdint>

#include "store/format/sto_NestedWalk.h"
#include "store/format/sto_Record.h"

// The ids that a decoded record names in its fields, those in nested values included. Ids in its content are not
// among them: the content may be in blocks. Internal to the module.

/// Calls `take(tag, id)` for each object and reference (sto_Format::Object, Reference) in a field. `object`: the
/// id of the record's object.
template <class Take> void sto_ForEachId(sto_Field const& field, std::int64_t object, Take take) {
  if (field.m_Tag == sto_Format::Object || field.m_Tag == sto_Format::Reference)
    return take(field.m_Tag, field.m_ObjectId);
  if (field.m_Tag != sto_Format::Nested || !field.m_Type->Root().m_HoldsIds) return;
  auto const pass = [&take](std::uint8_t tag, std::int64_t id, sto_ByteView) {
    take(tag, id);
    return true;
  };
  sto_ByteReader reader(field.m_Payload);
  static_cast<void>(sto_NestedWalk(*field.m_Type, object, pass).Pass(reader)); // decoding has checked it
}

/// The same for all fields of a record.
template <class Take> void sto_ForEachId(sto_Record const& record, Take take) {
  std::int64_t const object = record.Parts().front().m_Id;
  for (sto_Part const& part : record.Parts())
    for (sto_Field const& field : part.m_Fields) sto_ForEachId(field, object, take);
}

/// The value of a nested field of object `from` as object `to` has it, where `map(tag, id)` returns the id that
/// replaces one.
template <class Map>
[[nodiscard]] sto_Bytes sto_MapNestedIds(sto_Field const& field, std::int64_t from, std::int64_t to,
                                         Map map) {
  sto_Bytes mapped;
  std::byte const* copied = field.m_Payload.data();
  auto const copyUpTo = [&](std::byte const* end) {
    mapped.insert(mapped.end(), copied, end);
    copied = end;
  };
  auto const replace = [&](std::uint8_t tag, std::int64_t id, sto_ByteView encoded) {
    copyUpTo(encoded.data());
    sto_ByteWriter(mapped).ZigZag(sto_Distance(to, map(tag, id)));
    copied = encoded.data() + encoded.size();
    return true;
  };
  sto_ByteReader reader(field.m_Payload);
  static_cast<void>(sto_NestedWalk(*field.m_Type, from, replace).Pass(reader)); // decoding has checked it
  copyUpTo(field.m_Payload.data() + field.m_Payload.size());
  return mapped;
}

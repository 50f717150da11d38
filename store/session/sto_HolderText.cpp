#include "store/session/sto_HolderText.h"

#include "store/format/sto_RecordIds.h"
#include "store/session/sto_Session.h"

namespace {

std::string ObjectText(sto_Session const& session, std::int64_t id, unsigned int classId) {
  return "object " + std::to_string(id) + " (" + session.Catalogue().DescribeClass(classId) + ")";
}

bool Holds(sto_Field const& field, std::int64_t holder, std::int64_t held) {
  bool isHeld = false;
  sto_ForEachId(field, holder, [&](std::uint8_t tag, std::int64_t id) {
    isHeld = isHeld || (tag == sto_Format::Object && id == held);
  });
  return isHeld;
}

std::string FieldText(sto_Session const& session, sto_FieldKey const& key) {
  std::string_view const name = session.Catalogue().NameOf(key.m_NameId);
  return name.empty() ? "number " + std::to_string(key.m_FieldId) : std::string(name);
}

} // namespace

std::string sto_HolderText(sto_Session& session, std::int64_t holder, std::int64_t held) {
  sto_RecordRef const record = session.Records().Read(holder);
  if (record == nullptr) return "object " + std::to_string(holder) + ", which is being saved";
  for (sto_Part const& part : record->Parts())
    for (sto_Field const& field : part.m_Fields)
      if (Holds(field, holder, held))
        return "attribute " + FieldText(session, field.m_Key) + " of " +
               ObjectText(session, holder, part.m_ClassId);
  char const* const kind = record->List() ? "list" : record->Map() ? "map" : nullptr;
  if (kind == nullptr) return ObjectText(session, holder, record->Parts().front().m_ClassId);
  return std::string("an element of the ") + kind + " of object " + std::to_string(holder);
}

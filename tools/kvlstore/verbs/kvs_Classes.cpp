#include <map>

#include <nlohmann/json.hpp>

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/base/kvs_AttributeType.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

using Names = std::map<unsigned int, std::string>;

std::string NameOf(Names const& names, unsigned int classId) {
  auto const found = names.find(classId);
  return found == names.end() ? "class " + kvs_ClassId(classId) : found->second;
}

/// Whether the store says which class the objects have.
bool HasClass(sto_AttributeDescription const& attribute) {
  return kvs_LeadsToObjects(attribute) && attribute.m_TypeArg > 1;
}

nlohmann::ordered_json NotesJson(std::vector<sto_NoteDescription> const& notes) {
  nlohmann::ordered_json json = nlohmann::ordered_json::object();
  for (sto_NoteDescription const& note : notes) json[note.m_Name] = note.m_Text;
  return json;
}

nlohmann::ordered_json AttributeJson(sto_AttributeDescription const& attribute, Names const& names) {
  nlohmann::ordered_json json{{"name", attribute.m_Name}, {"type", kvs_AttributeTypeText(attribute)}};
  if (attribute.m_FieldId != -1) json["number"] = attribute.m_FieldId;
  if (HasClass(attribute)) json["class"] = NameOf(names, attribute.m_TypeArg);
  if (!attribute.m_Unit.empty()) json["unit"] = attribute.m_Unit;
  if (attribute.m_Default) json["default"] = *attribute.m_Default;
  for (sto_EnumeratorDescription const& each : attribute.m_Enumerators)
    json["enumerators"][each.m_Name] = each.m_Value;
  if (!attribute.m_Notes.empty()) json["notes"] = NotesJson(attribute.m_Notes);
  return json;
}

void PrintAttribute(sto_AttributeDescription const& attribute, Names const& names, kvs_Output& out) {
  std::string type = kvs_AttributeTypeText(attribute);
  if (HasClass(attribute)) type += " " + kvs_Printable(NameOf(names, attribute.m_TypeArg));
  if (!attribute.m_Unit.empty()) type += ", " + kvs_Printable(attribute.m_Unit);
  if (attribute.m_Default) type += ", default " + kvs_Printable(*attribute.m_Default);
  out.Print("  {:<28}{}\n",
            attribute.m_Name.empty() ? std::to_string(attribute.m_FieldId) : kvs_Printable(attribute.m_Name),
            type);
  for (sto_EnumeratorDescription const& each : attribute.m_Enumerators)
    out.Print("  {:<28}  {} = {}\n", "", kvs_Printable(each.m_Name), each.m_Value);
  for (sto_NoteDescription const& note : attribute.m_Notes)
    out.Print("  {:<28}  {}: {}\n", "", kvs_Printable(note.m_Name), kvs_Printable(note.m_Text));
}

} // namespace

kvs_Status kvs_Classes(std::string const& location, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(location);
  std::vector<sto_ClassDescription> const classes = sto_Inspection(store).Classes();
  Names names;
  for (sto_ClassDescription const& each : classes) names[each.m_ClassId] = each.m_Name;
  nlohmann::ordered_json all = nlohmann::ordered_json::array();
  for (sto_ClassDescription const& each : classes) {
    bool const hasBase = each.m_BaseClassId > 1;
    if (json) {
      nlohmann::ordered_json attributes = nlohmann::ordered_json::array();
      for (auto const& attribute : each.m_Attributes) attributes.push_back(AttributeJson(attribute, names));
      all.push_back({{"class", each.m_Name},
                     {"id", kvs_ClassId(each.m_ClassId)},
                     {"version", each.m_Version},
                     {"base", kvs_TextOrNull(hasBase ? NameOf(names, each.m_BaseClassId) : "")},
                     {"attributes", attributes}});
      if (!each.m_Notes.empty()) all.back()["notes"] = NotesJson(each.m_Notes);
      continue;
    }
    out.Print("{} version {}, {}{}\n", out.Styled("1", kvs_Printable(each.m_Name)), each.m_Version,
              kvs_ClassId(each.m_ClassId),
              hasBase ? ", derived from " + kvs_Printable(NameOf(names, each.m_BaseClassId)) : "");
    for (sto_NoteDescription const& note : each.m_Notes)
      out.Print("  {}: {}\n", kvs_Printable(note.m_Name), kvs_Printable(note.m_Text));
    for (auto const& attribute : each.m_Attributes) PrintAttribute(attribute, names, out);
    out.Write("\n");
  }
  if (json) kvs_PrintJson(out, all);
  return kvs_Status::Same;
}

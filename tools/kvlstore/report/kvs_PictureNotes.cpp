#include "tools/kvlstore/report/kvs_PictureNotes.h"

#include <algorithm>

kvs_PictureNotes::kvs_PictureNotes(std::vector<sto_ClassDescription> const& classes) {
  for (sto_ClassDescription const& described : classes)
    for (sto_AttributeDescription const& attribute : described.m_Attributes)
      for (sto_NoteDescription const& note : attribute.m_Notes)
        if (note.m_Name == Points || note.m_Name == Cells || note.m_Name == Values)
          m_Notes[{described.m_ClassId, described.m_Version}].push_back(
              {attribute.m_Name, note.m_Name, note.m_Text});
}

void kvs_PictureNotes::AddSources(sto_InspectedObject const& object, sto_InspectedPart const& part,
                                  std::vector<kvs_PictureSource>& sources) const {
  auto const found = m_Notes.find({part.m_ClassId, part.m_Version});
  if (found == m_Notes.end()) return;
  for (Note const& note : found->second) {
    if (sources.size() >= MaxSources) return;
    if (note.m_Name == Values)
      sources.push_back({object.m_Id, note.m_Attribute, note.m_Text});
    else if (note.m_Name == Cells)
      sources.push_back({object.m_Id, {}, {}});
  }
}

std::vector<kvs_PictureNotes::Noted> kvs_PictureNotes::Fields(sto_InspectedObject const& object,
                                                              std::string_view note) const {
  std::vector<Noted> fields;
  for (sto_InspectedPart const& part : object.m_Parts) {
    auto const found = m_Notes.find({part.m_ClassId, part.m_Version});
    if (found == m_Notes.end()) continue;
    for (Note const& noted : found->second) {
      auto const field = std::ranges::find(part.m_Fields, noted.m_Attribute, &sto_InspectedField::m_Name);
      if (noted.m_Name == note && field != part.m_Fields.end()) fields.emplace_back(&*field, noted.m_Text);
    }
  }
  return fields;
}

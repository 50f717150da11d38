#include <algorithm>
#include <limits>

#include "store/base/sto_Exception.h"
#include "store/session/sto_Catalogue.h"
#include "store/session/sto_NotesCheck.h"

// What programs say about classes beside their metadata (cls_ClassNotes), and what the store keeps of it.

namespace {

std::string VersionText(sto_ClassRow const& row) {
  return "Class " + row.m_Name + " version " + std::to_string(row.m_Version);
}

/// What a description says about the values of an attribute, for a message.
std::string UnitText(sto_AttributeRow const& attribute) {
  std::string const unit = attribute.m_Unit.empty() ? "no unit" : "unit " + attribute.m_Unit;
  return unit + (attribute.m_Default ? " and default " + *attribute.m_Default : " and no default");
}

sto_AttributeRow const& AttributeOf(sto_ClassRow const& row, std::string const& name) {
  return *std::ranges::find(row.m_Attributes, name, &sto_AttributeRow::m_Name);
}

std::vector<sto_NoteDescription> NotesOf(sto_StoredNotes const& notes, sto_OnAttribute const& on) {
  std::vector<sto_NoteDescription> described;
  sto_ForEachNote(notes.Notes(), on, [&](std::string const& name, std::string const& text) {
    described.push_back({name, text});
  });
  return described;
}

sto_AttributeDescription DescriptionOf(sto_AttributeRow const& row, sto_StoredNotes const& notes,
                                       sto_OnAttribute const& on) {
  sto_AttributeDescription described{row.m_Name,           row.m_FieldId, row.m_Type,    row.m_TypeArg,
                                     row.m_CollectionType, row.m_Unit,    row.m_Default, {},
                                     NotesOf(notes, on)};
  sto_ForEachNote(notes.Enumerators(), on, [&](std::string const& name, std::int64_t value) {
    described.m_Enumerators.push_back({name, value});
  });
  return described;
}

sto_ClassDescription DescriptionOf(sto_ClassRow const& row, sto_StoredNotes const& notes) {
  sto_OnAttribute on{row.m_ClassId, row.m_Version, {}};
  sto_ClassDescription version{row.m_ClassId,     row.m_Version, row.m_Name, row.m_BaseClassId, {},
                               NotesOf(notes, on)};
  version.m_Attributes.reserve(row.m_Attributes.size());
  for (sto_AttributeRow const& attribute : row.m_Attributes) {
    on.m_Attribute = attribute.m_Name;
    version.m_Attributes.push_back(DescriptionOf(attribute, notes, on));
  }
  return version;
}

[[noreturn]] void RaiseOtherValue(std::string const& where, std::string const& name,
                                  std::string const& attribute, std::int64_t value, std::int64_t there) {
  sto_Raise(sto_ErrorKind::Conflict,
            where + " declares enumerator " + name + " of attribute " + attribute + " as " +
                std::to_string(value) + ", and the store has it as " + std::to_string(there) +
                ". Stored values would change their meaning: give the class a new version.");
}

} // namespace

void sto_Catalogue::CheckNotes(cls_ClassNotes const& notes, sto_ClassRow const& declared) const {
  std::string const problem = sto_ProblemOfNotes(notes, [&](std::string const& name) {
    auto const attribute = std::ranges::find(declared.m_Attributes, name, &sto_AttributeRow::m_Name);
    return attribute == declared.m_Attributes.end() ? nullptr : &*attribute;
  });
  if (!problem.empty())
    sto_Raise(sto_ErrorKind::Misuse, m_Location + ": " + VersionText(declared) + problem + ".");
}

void sto_Catalogue::RecordUnits(sto_Driver& driver, sto_StoredClass& stored, sto_ClassRow const& declared) {
  bool isChanged = false;
  std::string const other = stored.TakeUnits(declared.m_Attributes, isChanged);
  if (!other.empty())
    sto_Raise(sto_ErrorKind::Conflict,
              m_Location + ": " + VersionText(declared) + " declares attribute " + other + " with " +
                  UnitText(AttributeOf(declared, other)) + ", and the store has it with " +
                  UnitText(AttributeOf(stored.Row(), other)) +
                  ". Stored values would change their meaning: give the class a new version.");
  if (isChanged) WriteClass(driver, stored.Row());
}

void sto_Catalogue::RecordNotes(sto_Driver& driver, cls_ClassNotes const& notes,
                                sto_ClassRow const& declared) {
  sto_StoredNotes& stored = LoadNotes(driver);
  sto_OnAttribute on{declared.m_ClassId, declared.m_Version, {}};
  for (auto const& [attribute, said] : notes.OfAttributes()) {
    on.m_Attribute = attribute;
    for (auto const& [name, value] : said.m_Enumerators)
      if (std::int64_t const there = stored.ValueOf(on, name).value_or(value); there != value)
        RaiseOtherValue(m_Location + ": " + VersionText(declared), name, attribute, value, there);
  }
  m_HasWritten = true; // a failed write must not leave here what is not stored
  auto const write = [&](cls_ClassNotes::Texts const& texts) {
    for (auto const& [name, text] : texts) stored.Write(driver, {on, name, text});
  };
  on.m_Attribute.clear();
  write(notes.Notes());
  for (auto const& [attribute, said] : notes.OfAttributes()) {
    on.m_Attribute = attribute;
    for (auto const& [name, value] : said.m_Enumerators) stored.Add(driver, {on, name, value});
    write(said.m_Notes);
  }
}

bool sto_Catalogue::AdoptNotes(sto_Driver& driver, sto_OnAttribute const& on, sto_StoredNotes const& from) {
  sto_StoredNotes& to = LoadNotes(driver);
  m_HasWritten = true;
  bool isAlike = true;
  sto_ForEachNote(from.Enumerators(), on, [&](std::string const& name, std::int64_t value) {
    isAlike = isAlike && to.ValueOf(on, name).value_or(value) == value;
    if (isAlike) to.Add(driver, {on, name, value});
  });
  sto_ForEachNote(from.Notes(), on, [&](std::string const& name, std::string const& text) {
    if (!to.HasNote(on, name)) to.Write(driver, {on, name, text});
  });
  return isAlike;
}

void sto_Catalogue::CheckOn(sto_OnAttribute const& on, char const* table) const {
  sto_ClassRow const* const row = FindStored(on.m_ClassId, on.m_Version);
  bool const isThere =
      row != nullptr &&
      (on.m_Attribute.empty() || std::ranges::find(row->m_Attributes, on.m_Attribute,
                                                   &sto_AttributeRow::m_Name) != row->m_Attributes.end());
  if (!isThere)
    RaiseDamaged(std::string(table) + " has a row for " +
                 (on.m_Attribute.empty() ? "" : "attribute " + on.m_Attribute + " of ") + "class " +
                 ClassName(on.m_ClassId) + " version " + std::to_string(on.m_Version) +
                 ", which the catalogue does not have");
}

sto_StoredNotes& sto_Catalogue::LoadNotes(sto_Driver& driver) {
  Load(driver);
  m_Notes.Load(driver);
  return m_Notes;
}

sto_StoredNotes const& sto_Catalogue::LoadCheckedNotes(sto_Driver& driver) {
  sto_StoredNotes const& notes = LoadNotes(driver);
  for (auto const& [key, value] : notes.Enumerators()) CheckOn(key.first, "enumerator");
  for (auto const& [key, text] : notes.Notes()) CheckOn(key.first, "note");
  return notes;
}

std::vector<sto_ClassDescription> sto_Catalogue::Describe(sto_Driver& driver, unsigned int classId) {
  sto_StoredNotes const& notes = LoadCheckedNotes(driver);
  std::vector<sto_ClassDescription> versions;
  for (auto stored = m_StoredClasses.lower_bound({classId, std::numeric_limits<int>::min()});
       stored != m_StoredClasses.end() && stored->first.first == classId; ++stored)
    versions.push_back(DescriptionOf(stored->second.Row(), notes));
  return versions;
}

std::vector<sto_ClassDescription> sto_Catalogue::DescribeAll(sto_Driver& driver) {
  sto_StoredNotes const& notes = LoadCheckedNotes(driver);
  std::vector<sto_ClassDescription> versions;
  versions.reserve(m_StoredClasses.size());
  for (auto const& [key, stored] : m_StoredClasses) versions.push_back(DescriptionOf(stored.Row(), notes));
  return versions;
}

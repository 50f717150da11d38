#include "store/session/sto_IndexSearch.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "store/session/sto_Session.h"

namespace {

/// The key that a decoded record has in an index; empty if it has none.
std::optional<std::string> KeyOf(sto_Catalogue const& catalogue, sto_Record const& record,
                                 sto_IndexRow const& row) {
  for (sto_Part const& part : record.Parts()) {
    if (part.m_ClassId != row.m_ClassId) continue;
    for (std::string const& name : row.m_Names)
      for (sto_Field const& field : part.m_Fields) {
        if (catalogue.FieldName(part.m_ClassId, part.m_Version, field.m_Key) != name) continue;
        if (!sto_IndexKey::HasKey(field.m_Tag)) return std::nullopt;
        return sto_IndexKey::OfField(field.m_Tag, field.m_Payload);
      }
  }
  return std::nullopt;
}

} // namespace

sto_IndexSearch::sto_IndexSearch(sto_Session& session, unsigned int classId, std::string_view attribute,
                                 Range range)
    : m_Session(session), m_ClassId(classId), m_Range(std::move(range)), m_Class(session, classId) {
  m_Session.RaiseKept();
  m_Session.RequireTransaction();
  m_Session.Catalogue().Load(m_Session.Driver());
  unsigned int const declaring = DeclaringClass(attribute);
  if (sto_IndexRow const* const index = m_Session.Indexes().Serving(declaring, attribute)) {
    m_Index = index->m_Number;
    m_IsOfBase = declaring != classId;
    m_HasMore = true;
  } else {
    Scan(m_Session.Indexes().Declared(declaring, attribute));
  }
}

unsigned int sto_IndexSearch::DeclaringClass(std::string_view attribute) const {
  sto_Catalogue const& catalogue = m_Session.Catalogue();
  cls_FieldHandle const field{cow_String(attribute)};
  for (unsigned int classId = m_ClassId; classId != 0; classId = catalogue.BaseOf(classId))
    if (catalogue.IsDeclared(classId, field)) return classId;
  m_Session.Raise(sto_ErrorKind::Misuse, "Class " + catalogue.ClassName(m_ClassId) + " has no attribute " +
                                             std::string(attribute) + " to search objects by.");
}

bool sto_IndexSearch::IsInRange(std::string const& key) const {
  return (!m_Range.m_First || key >= *m_Range.m_First) && (!m_Range.m_Last || key <= *m_Range.m_Last);
}

void sto_IndexSearch::Scan(sto_IndexRow const& row) {
  sto_Record record;
  while (m_Class.Next()) {
    std::string problem;
    if (!m_Session.Records().Fetch(m_Class.Id(), record, problem)) continue;
    if (!problem.empty())
      m_Session.Raise(sto_ErrorKind::Damaged,
                      "Object " + std::to_string(m_Class.Id()) + " is damaged: " + problem + ".");
    std::optional<std::string> key = KeyOf(m_Session.Catalogue(), record, row);
    if (key && IsInRange(*key)) m_Found.push_back({std::move(*key), m_Class.Id()});
  }
  std::ranges::sort(m_Found, [](sto_IndexEntry const& a, sto_IndexEntry const& b) {
    return std::tie(a.m_Key, a.m_Id) < std::tie(b.m_Key, b.m_Id);
  });
}

bool sto_IndexSearch::Next() {
  do {
    if (m_IsBegun) ++m_At;
    m_IsBegun = true;
    if (m_At >= m_Found.size() && !ReadMore()) return false;
  } while (m_IsOfBase && !IsOfClass(Id()));
  return true;
}

bool sto_IndexSearch::ReadMore() {
  if (!m_HasMore) return false;
  m_Session.RequireTransaction();
  sto_IndexEntry after{m_Range.m_First.value_or(std::string()), 0};
  if (!m_Found.empty()) after = std::move(m_Found.back());
  m_Found.clear();
  m_At = 0;
  m_HasMore = m_Session.Driver().FindInIndex({m_Index, std::move(after), m_Range.m_Last}, m_Limit, m_Found);
  m_Limit = std::min(2 * m_Limit, MaxLimit);
  return !m_Found.empty();
}

bool sto_IndexSearch::IsOfClass(std::int64_t id) {
  if (!m_Session.Records().Ahead().Read(id, m_Stored))
    m_Session.Raise(sto_ErrorKind::Damaged,
                    "An index is damaged: it names object " + std::to_string(id) + ", which is missing.");
  return m_Class.IsOfClass(id, m_Stored.m_Shape);
}

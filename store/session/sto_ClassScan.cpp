#include "store/session/sto_ClassScan.h"

#include <algorithm>
#include <string>

#include "store/session/sto_Session.h"

bool sto_ObjectWalk::ReadMore() {
  m_Objects.resize(1);
  m_At = 0;
  if (m_From == 0) return false;
  m_From = m_Session.Driver().ObjectsFrom(m_From, m_Objects);
  return true;
}

bool sto_ClassScan::Next() {
  while (m_Objects.Next())
    if (IsOfClass(m_Objects.Object().m_Id, m_Objects.Object().m_Shape)) return true;
  return false;
}

bool sto_ClassScan::Derives(unsigned int own, unsigned int part) const {
  sto_Classes const& classes = m_Session.Catalogue().Classes();
  return classes.Newest(own) == nullptr ? part == m_ClassId : classes.DerivesFrom(own, m_ClassId);
}

bool sto_ClassScan::IsShapeOfClass(sto_Shape const& shape) const {
  return std::ranges::any_of(shape.m_Parts, [&](sto_ShapePart const& part) {
    return Derives(shape.m_Parts.front().m_ClassId, part.m_ClassId);
  });
}

bool sto_ClassScan::IsOfClass(std::int64_t id, std::int64_t shape) {
  sto_Catalogue& catalogue = m_Session.Catalogue();
  catalogue.Load(m_Session.Driver());
  if (m_AnswersOf != catalogue.Generation()) m_Answers.clear();
  m_AnswersOf = catalogue.Generation();
  if (sto_NumberedShape const* const numbered = catalogue.FindShape(shape)) {
    auto const index = static_cast<std::size_t>(shape);
    if (index >= m_Answers.size()) m_Answers.resize(index + 1);
    if (m_Answers[index] == 0) m_Answers[index] = IsShapeOfClass(numbered->m_Shape) ? 1 : -1;
    return m_Answers[index] == 1;
  }
  std::string problem;
  if (!m_Session.Records().Fetch(id, m_Record, problem)) return false; // it was deleted meanwhile
  if (!problem.empty())
    m_Session.Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " is damaged: " + problem + ".");
  return std::ranges::any_of(
      m_Record.Parts(), [&](sto_Part const& part) { return Derives(m_Record.ClassId(), part.m_ClassId); });
}

#include "store/inspect/sto_Inspection.h"

#include <string>
#include <utility>

#include "store/inspect/sto_FieldInspector.h"
#include "store/inspect/sto_InspectState.h"

sto_Inspection::sto_Inspection(sto_Store& store) : m_State(std::make_shared<sto_InspectState>(store)) {}

sto_Inspection::~sto_Inspection() {
  m_State->End();
}

sto_InspectedObject sto_Inspection::Object(std::int64_t id) const {
  return sto_FieldInspector(*m_State).Object(*m_State->Record(id));
}

sto_InspectedObject sto_Inspection::Root(std::string_view name) const {
  sto_Session& session = m_State->Session();
  std::optional<std::int64_t> const id = session.Driver().FindRoot(name);
  if (!id) session.Raise(sto_ErrorKind::NotFound, "There is no root " + std::string(name) + ".");
  return Object(*id);
}

std::vector<sto_InspectedRoot> sto_Inspection::Roots(std::string_view prefix) const {
  sto_Session& session = m_State->Session();
  std::vector<sto_RootRow> rows = session.Driver().RootsFrom(prefix);
  std::vector<sto_InspectedRoot> roots;
  roots.reserve(rows.size());
  sto_Record record;
  for (sto_RootRow& row : rows) {
    sto_InspectedRoot& root = roots.emplace_back();
    root.m_Name = std::move(row.m_Name);
    root.m_Id = row.m_Id;
    std::string problem;
    if (!session.Records().Fetch(row.m_Id, record, problem) || !problem.empty()) continue;
    sto_Part const& own = record.Parts().front();
    root.m_ClassId = own.m_ClassId;
    root.m_ClassName = m_State->ClassName(own.m_ClassId, own.m_Version);
  }
  return roots;
}

std::vector<sto_ClassDescription> sto_Inspection::Classes() const {
  sto_Session& session = m_State->Session();
  return session.Catalogue().DescribeAll(session.Driver());
}

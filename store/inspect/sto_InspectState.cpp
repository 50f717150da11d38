#include "store/inspect/sto_InspectState.h"

#include <algorithm>

#include "store/sto_Store.h"

sto_InspectState::sto_InspectState(sto_Store& store)
    : m_Session(store.Session().Self()), m_Transaction(store) {
  (*m_Session)->Catalogue().Load((*m_Session)->Driver());
}

sto_Session& sto_InspectState::Session() const {
  if (*m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Misuse,
              "The store was closed before its inspection: the store must outlive it.");
  sto_Session& session = **m_Session;
  if (!m_Transaction) session.Raise(sto_ErrorKind::Misuse, "The inspection of the store is over.");
  session.RefuseInProgress();
  session.CheckTransaction();
  return session;
}

sto_RecordRef sto_InspectState::Record(std::int64_t id) const {
  sto_Session& session = Session();
  sto_RecordRef record = session.IsGivenOut(id) ? session.Records().ReadAny(id) : sto_RecordRef();
  if (record == nullptr)
    session.Raise(sto_ErrorKind::NotFound, "There is no object " + std::to_string(id) + ".");
  return record;
}

void sto_InspectState::RaiseDamaged(std::int64_t id, std::string const& what) const {
  Session().Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " is damaged: " + what + ".");
}

void sto_InspectState::RaiseMisuse(std::string const& message) const {
  Session().Raise(sto_ErrorKind::Misuse, message);
}

sto_ClassDescription const* sto_InspectState::Class(unsigned int classId, int version) {
  auto found = m_Classes.find(classId);
  if (found == m_Classes.end()) {
    sto_Session& session = Session();
    found = m_Classes.emplace(classId, session.Catalogue().Describe(session.Driver(), classId)).first;
  }
  auto const described = std::ranges::find(found->second, version, &sto_ClassDescription::m_Version);
  return described == found->second.end() ? nullptr : &*described;
}

std::string sto_InspectState::ClassName(unsigned int classId, int version) const {
  sto_Catalogue const& catalogue = Session().Catalogue();
  sto_ClassRow const* const row = catalogue.FindStored(classId, version);
  return row != nullptr ? row->m_Name : catalogue.DescribeClass(classId);
}

#include "store/refs/sto_Find.h"

#include <optional>
#include <string>

#include "store/session/sto_ClassScan.h"
#include "store/session/sto_IndexSearch.h"
#include "store/session/sto_OwnTransaction.h"

namespace {

std::string KeyOf(sto_SearchValue const& value) {
  return std::visit([](auto const& plain) { return sto_IndexKey::Of(plain); }, value.Value());
}

/// Misuse while an object is saved or loaded. What is changed is written, so that the store shows it.
void PrepareSearch(sto_Session& session, char const* what) {
  session.RaiseKept();
  if (session.Save().IsGoingOn() || session.Loaded().InLoad())
    session.Raise(sto_ErrorKind::Misuse, std::string(what) + " while an object is being saved or loaded.");
  session.WriteChangedObjects();
}

} // namespace

void sto_Store::VisitObjects(unsigned int classId, void* context,
                             bool (*visit)(void* context, sto_Resident& resident)) {
  sto_Session& session = Session();
  sto_OwnTransaction const transaction(session, false);
  PrepareSearch(session, "Going over all objects of a class");
  sto_Residents& residents = session.Residents();
  sto_ClassScan scan(session, classId);
  for (bool goesOn = true; goesOn && scan.Next();) {
    sto_Resident& resident = residents.At(scan.Id());
    residents.NoteSeen(resident);
    sto_HeldResident const held(resident);
    bool const wasLoaded = resident.Object() != nullptr;
    goesOn = visit(context, resident);
    session.RequireTransaction(); // it may have ended it
    if (!wasLoaded && resident.InState() == sto_Resident::State::Stored) residents.Release(resident);
  }
}

void sto_Store::SearchObjects(unsigned int classId, std::string_view attribute, sto_SearchValue const& first,
                              sto_SearchValue const& last, void* context,
                              bool (*take)(void* context, sto_Resident& resident)) {
  sto_Session& session = Session();
  sto_OwnTransaction const transaction(session, false);
  PrepareSearch(session, "Searching objects");
  sto_Residents& residents = session.Residents();
  sto_IndexSearch search(session, classId, attribute, {KeyOf(first), KeyOf(last)});
  for (bool goesOn = true; goesOn && search.Next();) {
    sto_Resident& resident = residents.At(search.Id());
    residents.NoteSeen(resident);
    sto_HeldResident const held(resident);
    goesOn = take(context, resident);
  }
}

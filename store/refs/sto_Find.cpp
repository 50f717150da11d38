#include "store/refs/sto_Find.h"

#include <optional>
#include <string>

#include "metadata/cls_AttributeMetadata.h"
#include "store/session/sto_ClassInUse.h"
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

/// "text", "number", or what else an attribute is.
char const* KindOf(cls_AttributeMetadata const& declared) {
  if (declared.m_CollectionType != COLLECTION_NONE) return "collection";
  switch (declared.m_Type) {
  case ATTR_STRING:
  case ATTR_TRSTRING:
    return "text";
  case ATTR_OBJECT:
  case ATTR_REFERENCE:
    return "reference to an object";
  case ATTR_BYTES:
  case ATTR_COMPLEX_FLOAT:
  case ATTR_COMPLEX_DOUBLE:
  case ATTR_NESTED:
    return "value of another kind";
  default:
    return "number";
  }
}

/// Misuse if the program declares that the attribute has no such values: nothing would ever be found.
void CheckValue(sto_Session& session, unsigned int classId, std::string_view attribute,
                sto_SearchValue const& value) {
  std::string_view const asked = std::holds_alternative<std::string_view>(value.Value()) ? "text" : "number";
  sto_Classes const& classes = session.Catalogue().Classes();
  cls_FieldHandle const field{cow_String(attribute)};
  for (cls_ClassMetadata const* each = classes.Newest(classId); each != nullptr;
       each = classes.Newest(each->BaseClassId())) {
    cls_AttributeMetadata const* const declared = sto_FindDeclaration(*each, field);
    if (declared == nullptr) continue;
    if (asked == KindOf(*declared)) return;
    session.Raise(sto_ErrorKind::Misuse, "Objects of class " + session.Catalogue().ClassName(classId) +
                                             " are searched by a " + std::string(asked) + " in attribute " +
                                             std::string(attribute) + ", which is a " + KindOf(*declared) +
                                             ".");
  }
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
  CheckValue(session, classId, attribute, first);
  CheckValue(session, classId, attribute, last);
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

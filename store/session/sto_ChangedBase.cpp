#include "store/session/sto_ChangedBase.h"

#include <algorithm>
#include <string>
#include <typeinfo>

#include "store/session/sto_Session.h"

namespace {

bool IsPlain(cls_ClassMetadata const& metadata) noexcept {
  return typeid(metadata) == typeid(cls_ClassMetadata);
}

/// Whether objects that `metadata` reads are read by the C++ class that `newest` describes.
bool ReadsAsNewest(cls_ClassMetadata const& metadata, cls_ClassMetadata const& newest) noexcept {
  return IsPlain(metadata) ? !metadata.HasCtor() : typeid(metadata) == typeid(newest);
}

/// Whether there is metadata made for exactly this version of an object's own class.
bool HasOldReader(sto_Classes const& classes, sto_Part const& own) {
  cls_ClassMetadata const* const metadata = classes.ForVersion(own.m_ClassId, own.m_Version);
  cls_ClassMetadata const* const newest = classes.Newest(own.m_ClassId);
  return metadata != nullptr && metadata != newest && metadata->Version() == own.m_Version &&
         !ReadsAsNewest(*metadata, *newest);
}

/// The base class of the C++ class that builds an object of this stored class version.
unsigned int BaseOfReader(sto_Classes const& classes, sto_Part const& own) {
  cls_ClassMetadata const* const metadata = classes.ForVersion(own.m_ClassId, own.m_Version);
  cls_ClassMetadata const* const newest = classes.Newest(own.m_ClassId);
  return (ReadsAsNewest(*metadata, *newest) ? newest : metadata)->BaseClassId();
}

std::string NameOfBase(sto_Catalogue const& catalogue, unsigned int baseClassId) {
  return baseClassId == cls_ClassMetadata::RootClassId ? "no base class"
                                                       : "base class " + catalogue.ClassName(baseClassId);
}

std::string VersionText(sto_Catalogue const& catalogue, sto_Part const& part) {
  return catalogue.ClassName(part.m_ClassId) + " version " + std::to_string(part.m_Version);
}

/// What the program's author must do so that such objects can be read.
std::string Advice(sto_Catalogue const& catalogue, sto_Part const& own) {
  std::string const name = catalogue.ClassName(own.m_ClassId);
  std::string const version = "version " + std::to_string(own.m_Version) + " of class " + name;
  if (HasOldReader(catalogue.Classes(), own))
    return "What is registered for " + version +
           " reads it when it is read with sto_ReadOwned or sto_ReadShared, and not by the constructor of a "
           "member.";
  cls_ClassMetadata const* const newest = catalogue.Classes().Newest(own.m_ClassId);
  bool const isNewest = newest != nullptr && newest->Version() == own.m_Version;
  return (isNewest ? "Give class " + name + " a new version, and register " : "Register ") + version +
         " by itself, with a constructor function that builds an object of today from the parts of then, or "
         "as the adapter of the C++ class of then.";
}

} // namespace

bool sto_MetadataKnowsBases(sto_Catalogue& catalogue, sto_Record const& record) {
  sto_Part const& own = record.Parts().front();
  if (HasOldReader(catalogue.Classes(), own)) return true;
  sto_ClassRow const* const stored = catalogue.FindStored(own.m_ClassId, own.m_Version);
  if (stored == nullptr || stored->m_BaseClassId != BaseOfReader(catalogue.Classes(), own)) return false;
  return std::all_of(record.Parts().begin() + 1, record.Parts().end(),
                     [&](sto_Part const& part) { return catalogue.HasNewestBase(part); });
}

void sto_RaiseChangedBase(sto_Session& session, sto_Record const& record) {
  sto_Catalogue& catalogue = session.Catalogue();
  sto_Part const& own = record.Parts().front();
  sto_Part const& part = *std::ranges::find_if(
      record.Parts(), [&](sto_Part const& each) { return !catalogue.HasNewestBase(each); });
  session.Raise(
      sto_ErrorKind::Misuse,
      "Object " + std::to_string(own.m_Id) + " (" + VersionText(catalogue, own) +
          ") was written when class " + VersionText(catalogue, part) + " had " +
          NameOfBase(catalogue, catalogue.FindStored(part.m_ClassId, part.m_Version)->m_BaseClassId) +
          "; in this program it has " +
          NameOfBase(catalogue, catalogue.Classes().Newest(part.m_ClassId)->BaseClassId()) +
          ", and would read the wrong parts of the object. " + Advice(catalogue, own));
}

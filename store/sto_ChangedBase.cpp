#include "store/sto_ChangedBase.h"

#include <string>
#include <typeinfo>

#include "store/sto_Session.h"

namespace {

bool IsPlain(cls_ClassMetadata const& metadata) noexcept {
  return typeid(metadata) == typeid(cls_ClassMetadata);
}

/// Whether objects that `metadata` reads are read by the C++ class that `newest` describes.
bool ReadsAsNewest(cls_ClassMetadata const& metadata, cls_ClassMetadata const& newest) noexcept {
  return IsPlain(metadata) ? !metadata.HasCtor() : typeid(metadata) == typeid(newest);
}

std::string NameOfBase(sto_Catalogue const& catalogue, unsigned int baseClassId) {
  return baseClassId == cls_ClassMetadata::RootClassId ? "no base class"
                                                       : "base class " + catalogue.ClassName(baseClassId);
}

std::string VersionText(sto_Catalogue const& catalogue, sto_Part const& part) {
  return catalogue.ClassName(part.m_ClassId) + " version " + std::to_string(part.m_Version);
}

/// What the program's author has to do so that such objects can be read.
std::string Advice(sto_Catalogue const& catalogue, sto_Part const& own) {
  std::string const name = catalogue.ClassName(own.m_ClassId);
  cls_ClassMetadata const* const newest = catalogue.Classes().Newest(own.m_ClassId);
  std::string advice;
  if (newest != nullptr && newest->Version() == own.m_Version)
    advice = "Give class " + name + " a new version, and register";
  else
    advice = "Register";
  return advice + " version " + std::to_string(own.m_Version) + " of class " + name +
         " by itself, with a constructor function that builds an object of today from the parts of then, or "
         "as the adapter of the C++ class of then.";
}

} // namespace

cls_ClassMetadata const* sto_ReaderOf(sto_Classes const& classes, unsigned int classId, int version) {
  cls_ClassMetadata const* const metadata = classes.ForVersion(classId, version);
  if (metadata == nullptr) return nullptr;
  cls_ClassMetadata const* const newest = classes.Newest(classId);
  return ReadsAsNewest(*metadata, *newest) ? newest : metadata;
}

bool sto_HasReadersBase(sto_Catalogue const& catalogue, sto_Part const& part, bool isOwn) {
  cls_ClassMetadata const* const reader =
      isOwn ? sto_ReaderOf(catalogue.Classes(), part.m_ClassId, part.m_Version)
            : catalogue.Classes().Newest(part.m_ClassId);
  sto_ClassRow const* const stored = catalogue.FindStored(part.m_ClassId, part.m_Version);
  return reader == nullptr || stored == nullptr || stored->m_BaseClassId == reader->BaseClassId();
}

bool sto_KnowsOldBases(sto_Classes const& classes, sto_Part const& own) {
  cls_ClassMetadata const* const metadata = classes.ForVersion(own.m_ClassId, own.m_Version);
  if (metadata == nullptr || metadata->Version() != own.m_Version) return false;
  cls_ClassMetadata const* const newest = classes.Newest(own.m_ClassId);
  return metadata != newest && !ReadsAsNewest(*metadata, *newest);
}

void sto_RaiseChangedBase(sto_Session& session, sto_Record const& record) {
  sto_Catalogue const& catalogue = session.Catalogue();
  sto_Part const& own = record.Parts().front();
  for (sto_Part const& part : record.Parts()) {
    bool const isOwn = &part == &own;
    if (sto_HasReadersBase(catalogue, part, isOwn)) continue;
    cls_ClassMetadata const* const reader =
        isOwn ? sto_ReaderOf(catalogue.Classes(), part.m_ClassId, part.m_Version)
              : catalogue.Classes().Newest(part.m_ClassId);
    unsigned int const stored = catalogue.FindStored(part.m_ClassId, part.m_Version)->m_BaseClassId;
    session.Raise(sto_ErrorKind::Misuse,
                  "Object " + std::to_string(own.m_Id) + " (" + VersionText(catalogue, own) +
                      ") was written when class " + VersionText(catalogue, part) + " had " +
                      NameOfBase(catalogue, stored) + "; in this program it has " +
                      NameOfBase(catalogue, reader->BaseClassId()) +
                      ", and would read the wrong parts of the object. " + Advice(catalogue, own));
  }
  session.Raise(sto_ErrorKind::Misuse,
                "Object " + std::to_string(own.m_Id) + " has other base classes than this program declares.");
}

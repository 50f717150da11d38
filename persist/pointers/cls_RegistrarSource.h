#pragma once

#include <string>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/pointers/cls_ObjectSource.h"

/// A source whose classes are those of a registrar: a stored version is built by its own metadata, or by that
/// of the next registered version above it. A back end derives from it, and says how it raises errors
/// (RaiseNotBuilt).
/// REQUIRES: the registrar is complete, and outlives the source. Thread rule: as cls_ObjectSource.
class KVL_EXPORT cls_RegistrarSource : public cls_ObjectSource {
 public:
  explicit cls_RegistrarSource(cls_ClassRegistrar const& classes) noexcept : m_Classes(classes) {}

  /// The metadata of a class version, or of the next registered version above it; null if there is none.
  [[nodiscard]] static cls_ClassMetadata const* FindVersion(cls_ClassRegistrar const& classes,
                                                            unsigned int classId, int version);

  [[nodiscard]] cls_ClassMetadata const* MetadataOf(unsigned int classId, int version) const override {
    return FindVersion(m_Classes, classId, version);
  }
  [[nodiscard]] bool IsDerived(unsigned int derived, unsigned int base) const override {
    return m_Classes.InheritanceCheck(derived, base);
  }
  /// The version that a back end writes new objects of a class by: the newest; 1 for a class that the
  /// registrar does not have.
  [[nodiscard]] int VersionToWrite(unsigned int classId) const {
    return m_Classes.ClassIsPresent(classId) ? m_Classes.GetLastClassVersionNumber(classId) : 1;
  }
  /// The name of the class's newest version; its ID if the registrar does not have the class.
  [[nodiscard]] std::string NameOf(unsigned int classId) const override;

 private:
  cls_ClassRegistrar const& m_Classes;
};

#pragma once

#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "store/base/sto_RecentTable.h"

/// The classes that a session knows: the program's registrar, and the module's own declarations of the
/// library's classes, which hold wherever both have one. Internal to the module.
/// Thread rule: the thread of the session.
class sto_Classes {
 public:
  /// `program` must outlive the object and be complete; whether it is without mistakes is not looked at
  /// (sto_CheckClasses).
  explicit sto_Classes(cls_ClassRegistrar const& program);

  /// Declares the library's classes.
  static void DeclareLibrary(cls_ClassRegistrar& registrar);

  /// The newest version of a class, null for an unknown class.
  [[nodiscard]] cls_ClassMetadata const* Newest(unsigned int classId) const;

  /// What reads a stored version: its own metadata, or that of the next registered version above it; null
  /// when there is none.
  [[nodiscard]] cls_ClassMetadata const* ForVersion(unsigned int classId, int version) const;

  /// The registered versions of a class, ascending.
  [[nodiscard]] std::vector<int> Versions(unsigned int classId) const;

  /// Whether a class is declared by the program, and not one of the library's.
  [[nodiscard]] bool IsOfProgram(unsigned int classId) const {
    return !m_Library.ClassIsPresent(classId) && m_Program.ClassIsPresent(classId);
  }

  /// The nearest class above that declares an attribute, null when none does.
  [[nodiscard]] cls_ClassMetadata const* DeclaringBase(cls_ClassMetadata const& metadata) const;

  /// Whether a class is another, or derives from it. The way may lead from the program's classes to the
  /// library's.
  [[nodiscard]] bool DerivesFrom(unsigned int derived, unsigned int base) const;

 private:
  [[nodiscard]] cls_ClassRegistrar const& RegistrarOf(unsigned int classId) const;
  [[nodiscard]] cls_ClassMetadata const* FindVersion(unsigned int classId, int version) const;
  [[nodiscard]] bool FindBase(unsigned int derived, unsigned int base) const;

  cls_ClassRegistrar const& m_Program;
  cls_ClassRegistrar m_Library;
  mutable sto_RecentTable<cls_ClassMetadata const*> m_RecentVersions; // by class ID and version
  mutable sto_RecentTable<bool> m_RecentBases;                        // by derived class and base
};

#pragma once

#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "store/base/sto_AnswerTable.h"

/// The classes that a session knows: those in the program's registrar, and the module's own declarations of
/// the library's classes. If both declare a class, the module's declaration counts. Results point into the
/// two registrars and are valid as long as these. Internal to the module. Thread rule: the thread of the
/// session.
class sto_Classes {
 public:
  /// REQUIRES: `program` is complete and outlives the object. Does not look for mistakes in it; see
  /// sto_CheckClasses.
  explicit sto_Classes(cls_ClassRegistrar const& program);

  /// Declares the library's classes in `registrar`.
  static void DeclareLibrary(cls_ClassRegistrar& registrar);

  /// The newest version of a class, null for an unknown class.
  [[nodiscard]] cls_ClassMetadata const* Newest(unsigned int classId) const;

  /// The metadata that reads a stored version: its own, or that of the next registered version above it. Null
  /// if there is none.
  [[nodiscard]] cls_ClassMetadata const* ForVersion(unsigned int classId, int version) const;

  /// What the program says about a class version beside its metadata; null if nothing.
  [[nodiscard]] cls_ClassNotes const* Notes(unsigned int classId, int version) const noexcept {
    return m_Program.FindNotes(classId, version);
  }

  /// All of it, by class ID and version.
  [[nodiscard]] auto const& AllNotes() const noexcept { return m_Program.AllNotes(); }

  /// Whether the program says anything of this kind.
  [[nodiscard]] bool HasNotes() const noexcept { return m_Program.HasNotes(); }

  /// What the program says about earlier versions of a class; null if nothing.
  [[nodiscard]] cls_ClassChanges const* Changes(unsigned int classId) const noexcept {
    return m_Program.FindChanges(classId);
  }
  /// Whether the program says anything of this kind.
  [[nodiscard]] bool HasChanges() const noexcept { return m_Program.HasChanges(); }

  /// The registered versions of a class, ascending.
  [[nodiscard]] std::vector<int> Versions(unsigned int classId) const;

  /// Whether a class is declared by the program and is not a library class.
  [[nodiscard]] bool IsOfProgram(unsigned int classId) const {
    return !m_Library.ClassIsPresent(classId) && m_Program.ClassIsPresent(classId);
  }

  /// The nearest base class that declares an attribute, null if none does.
  [[nodiscard]] cls_ClassMetadata const* DeclaringBase(cls_ClassMetadata const& metadata) const;

  /// Whether two classes are the same, or the first derives from the second. Program classes may derive from
  /// library classes.
  [[nodiscard]] bool DerivesFrom(unsigned int derived, unsigned int base) const;

 private:
  [[nodiscard]] cls_ClassRegistrar const& RegistrarOf(unsigned int classId) const;
  [[nodiscard]] cls_ClassMetadata const* FindVersion(unsigned int classId, int version) const;
  /// Forgets the answers if classes were registered since.
  void CheckAnswers() const noexcept {
    if (unsigned int const count = m_Program.GetVersions().Count(); count != m_KnownVersions)
      ForgetAnswers(count);
  }
  void ForgetAnswers(unsigned int count) const noexcept;
  /// All versions of the program's classes, ascending by class ID and version. The registrar finds the version
  /// above another one by a walk over all.
  [[nodiscard]] std::vector<cls_ClassMetadata const*> const& InOrder() const;
  [[nodiscard]] bool FindBase(unsigned int derived, unsigned int base) const;

  cls_ClassRegistrar const& m_Program;
  cls_ClassRegistrar m_Library;
  // What was asked before, while the program's registrar has m_KnownVersions class versions: a plug-in may
  // register more.
  mutable unsigned int m_KnownVersions = 0;
  mutable std::vector<cls_ClassMetadata const*> m_InOrder;       // empty: not asked yet
  mutable sto_AnswerTable<cls_ClassMetadata const*> m_ByVersion; // by class ID and version
  mutable sto_AnswerTable<bool> m_Bases;                         // by derived class and base
};

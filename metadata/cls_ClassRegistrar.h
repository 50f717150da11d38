#pragma once

#include <map>
#include <memory>
#include <utility>

#include "metadata/cls_ClassChanges.h"
#include "metadata/cls_ClassMetadata.h"
#include "metadata/cls_ClassNotes.h"
#include "metadata/containers/cls_CIDVersion.h"
#include "platform/cow/cow_1DArray.h"
#include "platform/cow/cow_Btree.h"
#include "platform/kvl_Export.h"
#include "platform/omni/omi_Btree.h"

/// A registry of class metadata: the newest version of a class, an exact version, the ID of a class name, and
/// which class derives from which. Registration functions fill it at start-up (see cls_MetadataRegistrar);
/// code that builds or deletes persisted objects reads it.
///
/// A version query returns -1 for "no such version"; versions are not negative.
///
/// Invariants:
/// 1. The first registration of a (class ID, version) is kept; a later one is discarded.
/// 2. The newest-version index holds the greatest version of each class.
/// 3. Nothing is ever unregistered.
///
/// Checks: three process-wide hooks run at the start of the look-ups that must succeed. nex_initialize
/// installs hooks that throw nex_TextException. Without them, a look-up of an unknown class or version ends
/// the process, and an unknown name gives class ID 0.
///
/// Thread rule: filled by one thread before others read; no lock. Look-ups write nothing and, except for the
/// two version queries that walk the registry, allocate nothing.
class KVL_EXPORT cls_ClassRegistrar {
 public:
  using ConstGetCheck = void (*)(cls_ClassRegistrar const&, unsigned int const& classId);
  using GetClassMetadataCheck = void (*)(cls_ClassRegistrar const&, unsigned int const& classId, int version);
  using GetClassIDCheck = void (*)(cls_ClassRegistrar const&, cow_String const& name);
  using Versions = omi_Btree<cls_CIDVersion, cls_ClassMetadataHld>;

  cls_ClassRegistrar() = default;
  /// REQUIRES: everything that keeps the registrar by reference, such as a store, is destroyed (an
  /// assertion).
  ~cls_ClassRegistrar();
  cls_ClassRegistrar(cls_ClassRegistrar const&) = delete;
  cls_ClassRegistrar& operator=(cls_ClassRegistrar const&) = delete;

  /// Makes and registers the metadata of a class; see cls_ClassMetadata's constructor. Returns what the
  /// registry keeps for (classId, version). If that was already registered, it notes how this registration
  /// differs (cls_ClassMetadata::DroppedClasses).
  cls_ClassMetadata& CreateClassMD(cow_String const& name, unsigned int classId, int version,
                                   cls_ClassMetadata::CtorFn ctor, unsigned int baseClassId);

  /// Registers metadata that the caller made, and takes ownership. Otherwise as CreateClassMD: if its
  /// (class ID, version) is already registered, `metadata` is deleted and the registered one returned. A
  /// duplicate is reported on the standard error stream if the environment has KORVEL_SITE.
  cls_ClassMetadata& AddClassMD(cls_ClassMetadata* metadata);

  /// What the program says about a class version beside its metadata, to be filled in; nothing yet the first
  /// time. The class need not be registered. Valid as long as the registrar.
  cls_ClassNotes& NotesOf(unsigned int classId, int version);
  /// The same for reading; null if NotesOf was never called for it.
  [[nodiscard]] cls_ClassNotes const* FindNotes(unsigned int classId, int version) const noexcept;
  /// All of them, by class ID and version.
  [[nodiscard]] std::map<std::pair<unsigned int, int>, cls_ClassNotes> const& AllNotes() const noexcept {
    return m_Notes;
  }
  /// Whether NotesOf was ever called.
  [[nodiscard]] bool HasNotes() const noexcept { return !m_Notes.empty(); }

  /// What the program says about earlier versions of a class, to be filled in; nothing yet the first time. Valid
  /// as long as the registrar.
  cls_ClassChanges& ChangesOf(unsigned int classId);
  /// The same for reading; null if ChangesOf was never called for it.
  [[nodiscard]] cls_ClassChanges const* FindChanges(unsigned int classId) const noexcept;
  /// Whether ChangesOf was ever called.
  [[nodiscard]] bool HasChanges() const noexcept { return !m_Changes.empty(); }

  [[nodiscard]] bool ClassIsPresent(unsigned int const& classId) const;
  [[nodiscard]] bool ClassVersionIsPresent(unsigned int classId, int version) const;
  [[nodiscard]] bool ClassNameIsPresent(cow_String const& name) const;

  /// The newest version of a class. Checked.
  [[nodiscard]] cls_ClassMetadata const& ConstGet(unsigned int const& classId) const;

  /// Exactly this version of a class; the version queries below choose one. Checked.
  [[nodiscard]] cls_ClassMetadata const& GetClassMetadata(unsigned int classId, int version) const;

  /// The class ID of a name: the class first registered under it. A class is known only by the name of its
  /// first registration. Checked.
  [[nodiscard]] unsigned int GetClassID(cow_String const& name) const;

  /// The greatest registered version of a class. Checked.
  [[nodiscard]] int GetLastClassVersionNumber(unsigned int const& classId) const;

  /// The smallest registered version that is not less than `version`, or -1. Walks the whole registry.
  [[nodiscard]] int GetFirstClassVersionNumberGREQ(unsigned int const& classId, int version) const;

  /// The greatest registered version that is less than `version`, or -1. Walks the whole registry.
  [[nodiscard]] int GetPreviousClassVersionNumber(unsigned int const& classId, int version) const;

  /// Whether `derived` is `base` or derives from it, by the newest version of each class on the way. An
  /// unregistered class derives only from itself. REQUIRES: no class derives from itself through others.
  [[nodiscard]] bool InheritanceCheck(unsigned int const& derived, unsigned int const& base) const;

  /// Registers an unknown name for a class ID. Intentional: despite its name, it removes nothing.
  void DeleteClass(cow_String const& name, unsigned int classId);

  /// Deletes an object's copy-on-write data with the deletion function of its class, or of the nearest base
  /// class that has one. Returns false if none has. Checked at each class on the way.
  bool DeleteCow(unsigned int classId, cow_COW<int, cow_Direct<int>>* data) const;

  /// The newest version of every class, ascending by class ID. Shares the metadata.
  [[nodiscard]] cow_1DArray<cls_ClassMetadataHld> GetMDList();

  /// Every version of every class, descending by class ID and then by version. Shares the metadata.
  [[nodiscard]] cow_1DArray<cls_ClassMetadataHld> GetHistoryMDList();

  /// Expires when the registrar is destroyed; for code that keeps it by reference. The registrar counts the
  /// copies.
  [[nodiscard]] std::shared_ptr<bool const> Lifetime() const noexcept { return m_Lives; }

  /// Every version of every class, in the order of GetHistoryMDList. Shares nothing and allocates nothing, so
  /// that threads can walk it at the same time. Valid until the next registration.
  [[nodiscard]] Versions const& GetVersions() const noexcept { return m_ByIdVersion; }

  /// Install a check for the whole process, replacing an earlier one; null removes it.
  /// Thread rule: during single-threaded start-up.
  static void SetConstGetCheck(ConstGetCheck check) noexcept;
  static void SetGetClassMetadataCheck(GetClassMetadataCheck check) noexcept;
  static void SetGetClassIDCheck(GetClassIDCheck check) noexcept;

 private:
  using ById = omi_Btree<unsigned int, cls_ClassMetadataHld>;

  /// Changes nothing if memory runs out.
  cls_ClassMetadata& Register(cls_ClassMetadataHld const& fresh);
  void RegisterNewest(cls_ClassMetadataHld const& fresh);

  ById m_ById;                                    // the newest version of each class; changed by Register
  Versions m_ByIdVersion;                         // every version; only added to, by Register
  cow_Btree<cow_String, unsigned int> m_IdByName; // only added to, by Register and DeleteClass
  std::map<std::pair<unsigned int, int>, cls_ClassNotes> m_Notes; // by class ID and version; only added to
  std::map<unsigned int, cls_ClassChanges> m_Changes;             // by class ID; only added to
  std::shared_ptr<bool> m_Lives = std::make_shared<bool>(true);
};

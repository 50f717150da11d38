#pragma once

#include "persist/cls_FieldHandle.h"
#include "platform/kvl_Export.h"

/// One persisted class as its module declares it at start-up. `m_BaseClassId` is 1 for none.
struct cls_ClassDeclaration {
  char const* m_Name;
  unsigned int m_ClassId;
  int m_Version;
  unsigned int m_BaseClassId;
};

/// Failure checks that a class registry calls when a look-up finds nothing; each raises and does not return.
struct cls_RegistrarChecks {
  void (*m_ClassAbsent)(unsigned int classId);
  void (*m_VersionAbsent)(unsigned int classId, int version);
  void (*m_NameAbsent)(cow_String const& name);
};

/// Where the start-up of the library's modules meets a class registry: the modules announce their classes and
/// hand over their failure checks to whatever registry is hooked in. Without one nothing is announced.
/// Thread rule: installed and called during single-threaded start-up.
class KVL_EXPORT cls_RegistrarHook {
 public:
  virtual ~cls_RegistrarHook();

  virtual void InstallChecks(cls_RegistrarChecks const& checks) = 0;

  /// Called once for each class, in the module's order; `mask` chooses the registry's parts, by bits.
  virtual void Declare(cls_ClassDeclaration const& declaration, unsigned int mask) = 0;

  /// Hooks a registry in, before the modules start; null unhooks it. Returns the one before. Not owned.
  static cls_RegistrarHook* Install(cls_RegistrarHook* hook) noexcept;

  /// The registry that is hooked in, null for none.
  static cls_RegistrarHook* Installed() noexcept;
};

#pragma once

#include <span>

#include "metadata/cls_MetadataRegistrar.h"
#include "platform/kvl_Export.h"

/// The class metadata of the exceptions: one registration function per class.
struct KVL_EXPORT nex_ClassMetadata {
  /// The mask under which the functions are declared: process-wide classes.
  static constexpr unsigned int RegistrarMask = 2;

  static void DeclareException(cls_ClassRegistrar& registrar);
  static void DeclareTextException(cls_ClassRegistrar& registrar);
  static void DeclareCommandException(cls_ClassRegistrar& registrar);
  static void DeclareAssertException(cls_ClassRegistrar& registrar);
  static void DeclareBadCastException(cls_ClassRegistrar& registrar);
  static void DeclareExitException(cls_ClassRegistrar& registrar);
  static void DeclareInvalidObjException(cls_ClassRegistrar& registrar);
  static void DeclareSystemErrorException(cls_ClassRegistrar& registrar);
  static void DeclareOutOfMemoryException(cls_ClassRegistrar& registrar);

  /// All nine, in the order in which start-up declares them.
  static std::span<cls_MetadataRegistrar::InitFn const> InOrder() noexcept;
};

#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "platform/cow/cow_1DArrayList.h"
#include "platform/kvl_Export.h"
#include "platform/omni/omi_Singleton.h"

/// Where every library of a program declares its persisted classes, as functions that fill a class registrar.
///
///     void DeclareBolts(cls_ClassRegistrar& registrar) {
///       registrar.AddClassMD(new cls_TypeAdapter<Bolt>("Bolt"_cow, 1, 1)).AddAttribute(...);
///     }
///     omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&DeclareBolts, 1);
///
/// The bits of a mask choose what a function fills, and whether it is kept to be replayed:
///
/// | bit | fills at once | replayed | what a host uses it for |
/// |---|---|---|---|
/// | 1 | Registrar1() | yes | its model classes: what each new or opened store must know |
/// | 2 | Registrar2() | never | process-wide classes, not of a store: this library's strings and exceptions |
/// | 4 | Registrar4() | yes | a second set, kept apart: classes of results, or of an optional module |
///
/// One process-wide instance, reached through omi_Singleton; the last cls_finalize deletes it, and with it
/// every declaration. The plug-in of a declared function stays loaded until the process ends, whoever unloads
/// it. Thread rule: single-threaded start-up, or while a registrar is prepared; no lock.
class cls_MetadataRegistrar;

extern template class KVL_EXPORT omi_Singleton<cls_MetadataRegistrar>;

class KVL_EXPORT cls_MetadataRegistrar : public omi_Singleton<cls_MetadataRegistrar> {
 public:
  /// Fills a registrar with the metadata of some classes.
  using InitFn = void (*)(cls_ClassRegistrar& registrar);

  cls_MetadataRegistrar();
  ~cls_MetadataRegistrar();

  /// Runs `fn` on the registrars of the mask's bits, in the order 1, 2, 4, and keeps it for replay under the
  /// bits 1 and 4. A function passed twice is kept and run twice. Exceptions of `fn` pass through.
  void initClassMetadata(InitFn fn, unsigned int mask);

  /// Runs the functions kept under bit 1, then those under bit 4, as `mask` selects, on the caller's
  /// registrar, in the order of their declaration. REQUIRES: `registrar` is not null, unless there is nothing
  /// to run.
  void initMetadata(cls_ClassRegistrar* registrar, unsigned int mask) const;

  [[nodiscard]] cls_ClassRegistrar& Registrar1() noexcept { return m_Registrar1; }
  [[nodiscard]] cls_ClassRegistrar& Registrar2() noexcept { return m_Registrar2; }
  [[nodiscard]] cls_ClassRegistrar& Registrar4() noexcept { return m_Registrar4; }

 private:
  cls_ClassRegistrar m_Registrar1;
  cls_ClassRegistrar m_Registrar4;
  cls_ClassRegistrar m_Registrar2;
  cow_1DArrayList<InitFn> m_InitFns1;
  cow_1DArrayList<InitFn> m_InitFns4;
};

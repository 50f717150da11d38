#include "metadata/cls_MetadataRegistrar.h"

#include "platform/kvl_Loaded.h"

namespace {

constexpr unsigned int Bit1 = 1;
constexpr unsigned int Bit2 = 2;
constexpr unsigned int Bit4 = 4;

/// Runs the functions that are in the list now. They may declare more, which are not run.
void Replay(cow_1DArrayList<cls_MetadataRegistrar::InitFn> const& functions, cls_ClassRegistrar& registrar) {
  int const count = functions.Count();
  for (int i = 0; i < count; ++i) functions.ConstGet(i)(registrar);
}

/// Keeps the plug-in of a function loaded: the function is called again later, and the metadata that it makes
/// has code of the plug-in. Not for this library's own functions, which start-up declares while it holds its
/// lock: kvl_KeepLoaded says why.
void KeepLoaded(cls_MetadataRegistrar::InitFn fn) {
  auto const* const address = reinterpret_cast<void const*>(fn);
  if (!kvl_AreOneModule(address, reinterpret_cast<void const*>(&KeepLoaded))) kvl_KeepLoaded(address);
}

} // namespace

template class omi_Singleton<cls_MetadataRegistrar>;

cls_MetadataRegistrar::cls_MetadataRegistrar() = default;
cls_MetadataRegistrar::~cls_MetadataRegistrar() = default;

void cls_MetadataRegistrar::initClassMetadata(InitFn fn, unsigned int mask) {
  KeepLoaded(fn);
  if ((mask & Bit1) != 0) {
    m_InitFns1.Append(fn);
    fn(m_Registrar1);
  }
  if ((mask & Bit2) != 0) fn(m_Registrar2); // intentional: never kept for replay
  if ((mask & Bit4) != 0) {
    m_InitFns4.Append(fn);
    fn(m_Registrar4);
  }
}

void cls_MetadataRegistrar::initMetadata(cls_ClassRegistrar* registrar, unsigned int mask) const {
  if ((mask & Bit1) != 0) Replay(m_InitFns1, *registrar);
  if ((mask & Bit4) != 0) Replay(m_InitFns4, *registrar);
}

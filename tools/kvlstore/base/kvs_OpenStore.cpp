#include "tools/kvlstore/base/kvs_OpenStore.h"

#include "metadata/cls_ClassRegistrar.h"
#include "store/base/sto_Exception.h"

namespace {

cls_ClassRegistrar const& NoClasses() {
  static cls_ClassRegistrar const none;
  return none;
}

sto_Store Open(std::string const& location, sto_Mode mode) {
  sto_Options options;
  options.m_Program = "kvlstore";
  return sto_Store::Open(location, mode, NoClasses(), options);
}

} // namespace

sto_Store kvs_OpenToRead(std::string const& location) {
  try {
    return Open(location, sto_Mode::ReadOnly);
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::ReadOnly) throw;
  }
  // Only a session that may write can roll back what a killed one left.
  try {
    static_cast<void>(Open(location, sto_Mode::ReadWrite));
  } catch (sto_Exception const& failure) {
    // A store of an older format is refused, but it has been rolled back before.
    if (failure.Kind() != sto_ErrorKind::ReadOnly) throw;
  }
  return Open(location, sto_Mode::ReadOnly);
}

sto_Store kvs_OpenToWrite(std::string const& location) {
  return Open(location, sto_Mode::ReadWrite);
}

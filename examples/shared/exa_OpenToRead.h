#pragma once

#include "store/sto_Store.h"

#include <string>

// Opens a store for reading. If a program was killed in the middle of a transaction, rolls that back first.
inline sto_Store exa_OpenToRead(std::string const& path, cls_ClassRegistrar const& classes) {
  try {
    return sto_Store::Open(path, sto_Mode::ReadOnly, classes);
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::ReadOnly) throw;
  }
  // Only a session that may write can roll back what a killed one left unfinished.
  try {
    sto_Store const repaired = sto_Store::Open(path, sto_Mode::ReadWrite, classes);
  } catch (sto_Exception const& failure) {
    // A store of an older format is refused, but it has been rolled back before.
    if (failure.Kind() != sto_ErrorKind::ReadOnly) throw;
  }
  return sto_Store::Open(path, sto_Mode::ReadOnly, classes);
}

#pragma once

#include <cstdint>

#include "store/base/sto_Meter.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// While it lives, SQLite's own work steps a meter, which can interrupt it: for single statements that take long.
/// SQLite then returns SQLITE_INTERRUPT; RaiseStopped raises the cause. Without a meter it does nothing.
///
/// SQLite counts steps of its virtual machine. How many of them make a unit is an estimate. Work on the file that is no
/// step, such as copying pages, cannot be interrupted. Thread rule: one thread.
class sto_SqliteWatch {
 public:
  /// `stepsInUnit`: of SQLite's steps. `ticksInUnit`: how often a unit counts for the time until the next call of the
  /// progress function. REQUIRES: the connection and the meter outlive it.
  sto_SqliteWatch(sto_SqliteConnection& connection, sto_Meter* meter, int stepsInUnit, int ticksInUnit = 1);
  sto_SqliteWatch(sto_SqliteWatch const&) = delete;
  sto_SqliteWatch& operator=(sto_SqliteWatch const&) = delete;
  ~sto_SqliteWatch();

  /// Raises what has interrupted SQLite, if the meter has.
  void RaiseStopped() const {
    if (m_Meter != nullptr) m_Meter->RaiseStopped();
  }

 private:
  /// SQLite calls this after so many steps.
  static constexpr int StepsInCall = 100;
  static int Call(void* self) noexcept;
  [[nodiscard]] bool GoesOn() noexcept;
  void Count();

  sto_SqliteConnection& m_Connection;
  sto_Meter* m_Meter;
  int m_StepsInUnit;
  int m_TicksInUnit;
  int m_Calls = 0; // since the connection has counted
  bool m_IsStopped = false;
};

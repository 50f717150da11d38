#pragma once

#include <cstdint>
#include <exception>
#include <string>
#include <utility>

#include "store/base/sto_Progress.h"

/// Counts the work of one operation and calls its progress function. Internal to the module.
///
/// Once the function has cancelled the operation or thrown, the meter does not call it any more, so that the work can
/// be undone; End raises the failure again in case the operation has swallowed it. Thread rule: one thread.
class sto_Meter {
 public:
  /// What the operation counts.
  enum class Counts {
    Parts, ///< work whose size is known, in parts
    Reads, ///< objects that are read; the total grows
    Writes ///< objects and blocks that are written; the total grows
  };
  /// There is one call for so many units.
  static constexpr int UnitsInCall = 256;

  /// `store`: its name, for messages. REQUIRES: the function lives as long as the meter.
  sto_Meter(sto_Progress const& function, std::string store, Counts counts)
      : m_Function(function), m_Store(std::move(store)), m_Counts(counts) {}
  sto_Meter(sto_Meter const&) = delete;
  sto_Meter& operator=(sto_Meter const&) = delete;

  [[nodiscard]] Counts What() const noexcept { return m_Counts; }

  // Work before Begin is not counted. Each of these raises Cancelled if the function cancels the operation, and what it throws.

  /// The operation begins: the first call. `total`: the sizes of all parts, or what is found already.
  void Begin(std::int64_t total);
  /// The next part of the work begins. What the one before has not counted is done.
  void BeginPart(std::int64_t size) noexcept;
  /// A unit of work is done.
  void Step() {
    ++m_InPart;
    Tick();
  }
  /// Work without a unit of its own is done.
  void Tick() {
    if (--m_Left <= 0) Call();
  }
  /// The work is done, except making it durable: the last call.
  void End();

  // Where the total grows:
  /// Units are found that will be done.
  void Found(std::int64_t count) noexcept { m_Found += count; }
  /// A unit is done where nothing may be raised.
  void Done() noexcept { ++m_InPart; }

  /// From now on the operation cannot be cancelled.
  void IgnoreAnswers() noexcept { m_IgnoresAnswers = true; }
  /// Whether the function is running.
  [[nodiscard]] bool IsInCall() const noexcept { return m_IsInCall; }

  /// The function rolls the open transaction back. That is done when the operation ends, which then fails.
  void RollBackLater() noexcept { m_MustRollBack = true; }
  [[nodiscard]] bool MustRollBack() const noexcept { return m_MustRollBack; }

  /// Raises again what the function has raised, if anything.
  void RaiseStopped() const {
    if (m_Stopped != nullptr) std::rethrow_exception(m_Stopped);
  }

 private:
  void Call();
  void Ask();
  /// What to tell the function.
  [[nodiscard]] sto_ProgressStep Now();

  sto_Progress const& m_Function;
  std::string m_Store;
  Counts m_Counts;
  int m_Left = UnitsInCall; // until the next call
  std::int64_t m_Total = 1;
  std::int64_t m_Before = 0;   // the sizes of the parts that are done
  std::int64_t m_PartSize = 0; // of the present part
  std::int64_t m_InPart = 0;   // done of it, as counted
  std::int64_t m_Found = 0;    // of a total that grows
  bool m_IsBegun = false;
  bool m_IsEnded = false;
  bool m_IsInCall = false;
  bool m_IgnoresAnswers = false;
  bool m_MustRollBack = false;
  std::exception_ptr m_Stopped; // what the function has raised
};

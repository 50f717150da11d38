#pragma once

#include <cstdint>
#include <optional>

#include "store/base/sto_Meter.h"
#include "store/session/sto_Session.h"

/// The meter of an operation that has a progress function, while it lives; without a function it does nothing, and an
/// operation inside another one is counted there. REQUIRES: it is the first object of the operation, so that it outlives
/// the operation's transaction; the function outlives it. Internal to the module. Thread rule: the thread of the
/// session.
class sto_MeterScope {
 public:
  sto_MeterScope(sto_Session& session, sto_Progress const& function, sto_Meter::Counts counts)
      : m_Session(session), m_Outer(session.Meter()) {
    if (!function) return;
    m_Meter.emplace(function, session.Location(), counts);
    m_Session.SetMeter(&*m_Meter);
  }
  sto_MeterScope(sto_MeterScope const&) = delete;
  sto_MeterScope& operator=(sto_MeterScope const&) = delete;
  ~sto_MeterScope() {
    if (!m_Meter) return;
    m_Session.SetMeter(m_Outer);
    if (m_Meter->MustRollBack()) m_Session.Rollback();
  }

  /// Null without a function.
  [[nodiscard]] sto_Meter* Meter() noexcept { return m_Meter ? &*m_Meter : nullptr; }

  // As those of the meter.
  void Begin(std::int64_t total) {
    if (m_Meter) m_Meter->Begin(total);
  }
  void BeginPart(std::int64_t size) noexcept {
    if (m_Meter) m_Meter->BeginPart(size);
  }
  void End() {
    if (m_Meter) m_Meter->End();
  }

 private:
  sto_Session& m_Session;
  sto_Meter* m_Outer;
  std::optional<sto_Meter> m_Meter;
};

#pragma once

#include <cstdint>

/// A proxy of a stored object, as its session sees it. Internal to the module. Thread rule: the thread of the
/// session.
class sto_OpenProxy {
 public:
  explicit sto_OpenProxy(std::int64_t id) noexcept : m_Id(id) {}
  sto_OpenProxy(sto_OpenProxy const&) = delete;
  sto_OpenProxy& operator=(sto_OpenProxy const&) = delete;

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }

  /// Makes the proxy unusable: its object was made in work that is undone, and another object may get its id.
  /// Called by the session.
  void End() noexcept { m_IsOver = true; }
  [[nodiscard]] bool IsOver() const noexcept { return m_IsOver; }

 protected:
  ~sto_OpenProxy() = default;

 private:
  std::int64_t m_Id;
  bool m_IsOver = false;
};

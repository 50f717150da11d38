#pragma once

#include <cstdint>

/// A blob that a session has open: what transactions and saves need from its agent, which implements this.
/// Internal to the module. Thread rule: the thread of the session.
class sto_OpenBlob {
 public:
  explicit sto_OpenBlob(std::int64_t id) noexcept : m_Id(id) {}
  sto_OpenBlob(sto_OpenBlob const&) = delete;
  sto_OpenBlob& operator=(sto_OpenBlob const&) = delete;

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  /// Whether the blob was made in work that was undone.
  [[nodiscard]] bool IsLost() const noexcept { return m_IsLost; }

  /// The storage has undone the work of a save, or of a transaction.
  virtual void UndoSave() noexcept = 0;
  virtual void UndoTransaction() noexcept = 0;

 protected:
  ~sto_OpenBlob() = default;

  std::int64_t const m_Id;
  bool m_IsLost = false;
};

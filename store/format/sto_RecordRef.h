#pragma once

#include <cstddef>
#include <utility>

#include "store/format/sto_Record.h"

/// A counted handle on a decoded record. The count is a plain integer, not an atomic one: all handles belong
/// to the thread of their session, and each object takes and drops several. Internal to the module. Thread
/// rule: one thread for all handles on a record.
class sto_RecordRef {
 public:
  sto_RecordRef() noexcept = default;
  sto_RecordRef(std::nullptr_t) noexcept {} // as for pointers: not explicit
  sto_RecordRef(sto_RecordRef const& other) noexcept : m_Counted(other.m_Counted) {
    if (m_Counted != nullptr) ++m_Counted->m_Count;
  }
  sto_RecordRef(sto_RecordRef&& other) noexcept : m_Counted(std::exchange(other.m_Counted, nullptr)) {}
  sto_RecordRef& operator=(sto_RecordRef other) noexcept {
    std::swap(m_Counted, other.m_Counted);
    return *this;
  }
  ~sto_RecordRef() {
    if (m_Counted != nullptr && --m_Counted->m_Count == 0) delete m_Counted;
  }

  /// A handle on a new, empty record.
  [[nodiscard]] static sto_RecordRef New() {
    sto_RecordRef ref;
    ref.m_Counted = new Counted;
    return ref;
  }
  /// The record, to be filled in. REQUIRES: a handle on a record. Every other handle sees the change.
  [[nodiscard]] sto_Record& Fill() const noexcept { return m_Counted->m_Record; }

  /// Whether this is the only handle on a record.
  [[nodiscard]] bool IsOnlyOne() const noexcept { return m_Counted != nullptr && m_Counted->m_Count == 1; }

  [[nodiscard]] sto_Record const& operator*() const noexcept { return m_Counted->m_Record; }
  [[nodiscard]] sto_Record const* operator->() const noexcept { return &m_Counted->m_Record; }
  [[nodiscard]] explicit operator bool() const noexcept { return m_Counted != nullptr; }
  friend bool operator==(sto_RecordRef const& ref, std::nullptr_t) noexcept { return !ref; }

 private:
  struct Counted {
    int m_Count = 1;
    sto_Record m_Record;
  };
  Counted* m_Counted = nullptr;
};

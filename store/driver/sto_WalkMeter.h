#pragma once

#include <cstdint>

#include "store/base/sto_Meter.h"
#include "store/format/sto_BlockRow.h"

/// Counts what walks over a storage pass: objects, and rows of blocks. Without a meter it does nothing. REQUIRES: the
/// meter outlives it. Thread rule: one thread.
class sto_WalkMeter {
 public:
  explicit sto_WalkMeter(sto_Meter* meter) noexcept : m_Meter(meter) {}

  /// The meter; null if there is none.
  [[nodiscard]] sto_Meter* Meter() const noexcept { return m_Meter; }
  void BeginPart(std::int64_t size) noexcept {
    m_Row = -1;
    if (m_Meter != nullptr) m_Meter->BeginPart(size);
  }
  void Object() {
    if (m_Meter != nullptr) m_Meter->Step();
  }
  /// A block has passed.
  void Block(std::int64_t key) {
    if (m_Meter == nullptr) return;
    std::int64_t const row = sto_BlockRow::RowOf(key);
    if (row == m_Row) return m_Meter->Tick();
    m_Row = row;
    m_Meter->Step();
  }

 private:
  sto_Meter* m_Meter;
  std::int64_t m_Row = -1; // of the latest block
};

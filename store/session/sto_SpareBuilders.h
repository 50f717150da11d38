#pragma once

#include <cstddef>
#include <memory>
#include <utility>

#include "store/format/sto_RecordBuilder.h"

/// Unused record builders, kept with their memory, so that most records are built without an allocation.
/// Internal to the module. Thread rule: the thread of the session.
class sto_SpareBuilders {
 public:
  sto_SpareBuilders() = default;
  sto_SpareBuilders(sto_SpareBuilders const&) = delete;
  sto_SpareBuilders& operator=(sto_SpareBuilders const&) = delete;
  ~sto_SpareBuilders() {
    while (m_First != nullptr) delete std::exchange(m_First, m_First->m_NextSpare);
  }

  /// An empty builder for the record of one object; it belongs to the caller until GiveBack. Throws
  /// std::bad_alloc.
  [[nodiscard]] sto_RecordBuilder* Take() {
    if (m_First == nullptr) return new sto_RecordBuilder;
    --m_Count;
    sto_RecordBuilder* const builder = std::exchange(m_First, m_First->m_NextSpare);
    builder->Reset();
    return builder;
  }
  /// Keeps a builder for reuse, or deletes it.
  void GiveBack(sto_RecordBuilder* builder) noexcept {
    if (m_Count == MaxCount || builder->Size() > MaxBytes) {
      delete builder;
      return;
    }
    builder->m_NextSpare = m_First;
    m_First = builder;
    ++m_Count;
  }

 private:
  /// A builder whose object took more than this is not kept.
  static constexpr std::size_t MaxBytes = 65536;
  /// Each nesting level uses one builder; at most this many are kept.
  static constexpr std::size_t MaxCount = 16;

  sto_RecordBuilder* m_First = nullptr;
  std::size_t m_Count = 0;
};

#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "store/format/sto_RecordBuilder.h"

/// Unused record builders, kept with their memory, so that most records are built without an allocation.
/// Internal to the module. Thread rule: the thread of the session.
class sto_SpareBuilders {
 public:
  /// An empty builder for the record of one object; the caller owns it. Throws std::bad_alloc.
  [[nodiscard]] std::unique_ptr<sto_RecordBuilder> Take();
  /// Keeps a builder for reuse, or frees it; `builder` may be null.
  void GiveBack(std::unique_ptr<sto_RecordBuilder> builder) noexcept;

 private:
  std::vector<std::unique_ptr<sto_RecordBuilder>> m_Builders;
};

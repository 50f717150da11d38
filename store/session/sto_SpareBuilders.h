#pragma once

#include <cstddef>
#include <memory>
#include <vector>

#include "store/format/sto_RecordBuilder.h"

/// Builders of records that nobody uses. They keep their memory, so that most objects are written without any
/// allocation for their records. Internal to the module. Thread rule: the thread of the session.
class sto_SpareBuilders {
 public:
  /// An empty builder for the record of one object.
  [[nodiscard]] std::unique_ptr<sto_RecordBuilder> Take();
  void GiveBack(std::unique_ptr<sto_RecordBuilder> builder) noexcept;

 private:
  std::vector<std::unique_ptr<sto_RecordBuilder>> m_Builders;
};

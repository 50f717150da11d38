#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>

#include "platform/kvl_Export.h"

class sto_InspectState;

/// The bytes of a stored blob, read in ranges; see sto_Inspection. A range reads the blocks that it lies in, and no others.
///
/// Memory: one block. Errors: as sto_Inspection; Misuse also for a range that is out of the blob. Thread rule: as the store.
class KVL_EXPORT sto_InspectedBlob {
 public:
  sto_InspectedBlob(sto_InspectedBlob&&) noexcept;
  sto_InspectedBlob& operator=(sto_InspectedBlob&&) noexcept;
  ~sto_InspectedBlob();

  /// In bytes.
  [[nodiscard]] std::int64_t Size() const noexcept;
  /// Reads the bytes from `first` on to all of `to`.
  void Read(std::int64_t first, std::span<std::byte> to);

 private:
  friend class sto_Inspection;
  class Reader;

  explicit sto_InspectedBlob(std::unique_ptr<Reader> reader) noexcept;

  std::unique_ptr<Reader> m_Reader;
};

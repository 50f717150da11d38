#pragma once

#include "platform/kvl_Export.h"

/// Identifies a kind of storage within the process: 1, 2, 3 ... in the order of allocation. This project's
/// own modules use negative numbers, so that a program's first kind is 1.
/// Thread rule: AllocateId is not locked; kinds are allocated during single-threaded start-up.
class KVL_EXPORT cls_StorageTypeId {
 public:
  /// Identifies the kind of an allocated ID.
  explicit cls_StorageTypeId(int id) noexcept : m_Id(id) {}

  [[nodiscard]] int Id() const noexcept { return m_Id; }

  /// The next unused ID.
  static int AllocateId() noexcept;

  friend bool operator==(cls_StorageTypeId const& a, cls_StorageTypeId const& b) noexcept = default;

 private:
  int m_Id;
};

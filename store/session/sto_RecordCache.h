#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "store/format/sto_RecordRef.h"

class sto_Session;

/// Reads and decodes the records of objects, and keeps the memory of those that were read last for the next
/// ones. Internal to the module. Thread rule: the thread of the session.
class sto_RecordCache {
 public:
  explicit sto_RecordCache(sto_Session& session) noexcept : m_Session(session) {}
  sto_RecordCache(sto_RecordCache const&) = delete;
  sto_RecordCache& operator=(sto_RecordCache const&) = delete;

  /// Reads an object as it is now: of an open collection, with what its agent has not written yet. Null when
  /// there is none. Damaged when its bytes do not fit, or the store's catalogue does not describe what it
  /// has; NewerFormat when a newer version of its class wrote it than this program declares.
  [[nodiscard]] sto_RecordRef Read(std::int64_t id);

  /// A record for a short look; whoever needs one next overwrites it.
  [[nodiscard]] sto_Record& Scratch() noexcept { return m_Scratch; }

 private:
  /// A record that nobody uses, or a new one.
  [[nodiscard]] sto_RecordRef& SpareRecord();
  /// Damaged when a part of an object does not fit the store's catalogue; NewerFormat.
  void CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part);

  sto_Session& m_Session;
  std::array<sto_RecordRef, 8> m_Records; // those that reads have used last
  std::size_t m_NextRecord = 0;
  sto_Record m_Scratch;
};

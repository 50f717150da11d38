#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>

#include "store/format/sto_RecordRef.h"
#include "store/session/sto_ReadAhead.h"

class sto_Session;

/// Reads and decodes the records of objects, and reuses the memory of the latest ones. Internal to the
/// module. Thread rule: the thread of the session.
class sto_RecordCache {
 public:
  sto_RecordCache(sto_Session& session, sto_Driver& driver) : m_Session(session), m_Ahead(session, driver) {}
  sto_RecordCache(sto_RecordCache const&) = delete;
  sto_RecordCache& operator=(sto_RecordCache const&) = delete;

  /// Reads the current record of an object; null if there is none. If the object is an open collection, its
  /// agent first writes its pending record.
  /// Errors: a failure kept by the session; Misuse without a transaction, as in a load whose reading constructor has
  /// ended it; Damaged if the bytes cannot be decoded or do not fit the store's
  /// catalogue; NewerFormat if a newer version of a class wrote them than this program declares.
  /// NotFound if the object was deleted.
  [[nodiscard]] sto_RecordRef Read(std::int64_t id) { return Read(id, false); }
  /// The same, but also reads what remains of a deleted object (sto_DeletedObjects.h).
  [[nodiscard]] sto_RecordRef ReadAny(std::int64_t id) { return Read(id, true); }

  /// The class of an object; 0 if it is not stored, or its record cannot be read. Raises nothing of its own. REQUIRES: an
  /// open transaction.
  [[nodiscard]] unsigned int ClassOf(std::int64_t id);

  /// How many records Read has returned.
  [[nodiscard]] std::uint64_t ReadCount() const noexcept { return m_ReadCount; }
  /// Counts a record that belongs to what is being read, and is read later.
  void NotePart() noexcept { ++m_ReadCount; }

  /// Reads and decodes the record of an object without comparing it with the catalogue. Returns false if
  /// there is none; otherwise says in `problem` what is wrong with it, empty if it is sound. REQUIRES: an open
  /// transaction; a loaded catalogue.
  [[nodiscard]] bool Fetch(std::int64_t id, sto_Record& record, std::string& problem);

  /// Decodes a record that the driver has filled in, as Fetch does. Calls no driver.
  void Decode(std::int64_t id, sto_Record& record, std::string& problem) const;

  /// The records that were read before they are asked for.
  [[nodiscard]] sto_ReadAhead& Ahead() noexcept { return m_Ahead; }

  /// A record for short use; the next user overwrites it.
  [[nodiscard]] sto_Record& Scratch() noexcept { return m_Scratch; }

 private:
  [[nodiscard]] sto_RecordRef Read(std::int64_t id, bool isDeletedRead);
  /// A record of the cache that is not in use, or a new one.
  [[nodiscard]] sto_RecordRef& SpareRecord();
  /// Counts an object that was read for a progress function, and those that it holds.
  static void Count(sto_Meter& meter, sto_Record const& record);
  [[noreturn]] void RaiseDamaged(std::int64_t id, sto_Record const& record, std::string const& what) const;
  /// Compares a record with the catalogue. Damaged if it does not fit; NewerFormat. What remains of a deleted object is
  /// never known to be checked, so it always comes here.
  void CheckParts(std::int64_t id, sto_Record& record);
  /// Damaged if a part of an object does not fit the store's catalogue; NewerFormat.
  void CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part);

  sto_Session& m_Session;
  std::array<sto_RecordRef, 8> m_Records; // the ones used last
  std::size_t m_NextRecord = 0;
  std::uint64_t m_ReadCount = 0;
  sto_Record m_Scratch;
  sto_ReadAhead m_Ahead;
};

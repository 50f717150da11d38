#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <unordered_map>
#include <unordered_set>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Record.h"

class sto_Session;

/// Reads the records of objects before they are asked for, many in one request, if the storage wants that
/// (sto_Driver::RecordsAhead). Without it, everything here goes straight to the driver.
///
/// During a walk, such as one load, a record that is asked for and not there is read together with those that
/// the walk will ask for next. They are found level by level: the shape of a record says which objects its fields
/// hold, also inside nested values, and the elements of a list or map that is in the record are objects too. So a
/// graph takes one request for each of its levels. A level of more records than one request is read in windows,
/// each with the levels below it before the next window.
///
/// Not read ahead: objects that are only referred to, unless the walk follows references; elements of lists and
/// maps in blocks, until a cursor says that it will read them (Want); what an object leads to that the load scope
/// has already, because it is not built again.
///
/// Reading ahead raises nothing. What is damaged, missing or cannot be read is left to the caller that asks for
/// it, which then gets the same error as without reading ahead. A record that is written is forgotten here. Each
/// record is read once, however often it is asked for, unless MaxBytes forces it out.
///
/// Internal to the module. Thread rule: the thread of the session.
class sto_ReadAhead {
 public:
  /// No further window is read while the records here take more memory than this. Records are decoded to
  /// objects several times their size, so the bound is small against what the load makes of them; and a window of
  /// records (sto_Driver::NetworkRecords) of sixteen kilobytes each, the longest that are usual, still fits.
  static constexpr std::size_t MaxBytes = std::size_t{16} << 20;

  enum class Follow { HeldObjects, References };

  sto_ReadAhead(sto_Session& session, sto_Driver& driver) : m_Session(session), m_Driver(driver) {
    m_Window = driver.RecordsAhead();
  }
  sto_ReadAhead(sto_ReadAhead const&) = delete;
  sto_ReadAhead& operator=(sto_ReadAhead const&) = delete;

  /// As sto_Driver::ReadObject. REQUIRES: the catalogue is loaded.
  bool Read(std::int64_t id, sto_StoredRecord& record) {
    return m_Walks == 0 || m_Window == 0 ? m_Driver.ReadObject(id, record) : ReadInWalk(id, record);
  }
  /// As sto_Driver::HasObject.
  [[nodiscard]] bool Has(std::int64_t id);

  /// The walk will read these objects next. Ids of 0 are skipped. Does nothing outside of a walk.
  void Want(std::span<std::int64_t const> ids) {
    if (m_Walks != 0 && m_Window != 0) AddLevel(ids);
  }
  [[nodiscard]] bool IsOn() const noexcept { return m_Walks != 0 && m_Window != 0; }

  /// Forgets a record that is about to be written.
  void Forget(std::int64_t id) noexcept {
    if (!m_Records.empty()) Drop(id);
  }
  /// Forgets all records.
  void Clear() noexcept {
    if (!m_Records.empty() || !m_Levels.empty()) ClearAll();
  }

  /// Something that reads many objects: a load, a copy, a search for garbage. The walk ends with its destructor;
  /// a walk inside another one is part of it. REQUIRES: the session outlives it.
  class Walk {
   public:
    explicit Walk(sto_ReadAhead& ahead, Follow follow = Follow::HeldObjects) noexcept : m_Ahead(ahead) {
      if (m_Ahead.m_Walks++ == 0) m_Ahead.m_Follow = follow;
    }
    Walk(Walk const&) = delete;
    Walk& operator=(Walk const&) = delete;
    ~Walk() {
      if (--m_Ahead.m_Walks == 0) m_Ahead.Clear();
    }

   private:
    sto_ReadAhead& m_Ahead;
  };

 private:
  struct Ahead {
    bool m_IsThere = false; ///< false: the storage does not have the object
    bool m_IsUsed = false;  ///< it has been asked for
    sto_StoredRecord m_Record;
  };
  /// Objects that are equally far from where the walk has begun.
  struct Level {
    std::vector<std::int64_t> m_Ids;
    std::size_t m_Next = 0; ///< the first that has not been requested
  };
  class Sink;

  bool ReadInWalk(std::int64_t id, sto_StoredRecord& record);
  /// Requests a record, and then windows of those that follow, up to MaxBytes.
  void Fill(std::int64_t id);
  /// Adds ids of the deepest level to the request, up to a window.
  void AddWindow();
  void Request();
  /// Adds what a record leads to, to the next level.
  void AddHeld(std::int64_t id, sto_Record const& record);
  void Add(std::int64_t id);
  void AddLevel(std::span<std::int64_t const> ids);
  /// Makes the ids that were added the deepest level.
  void EndLevel();
  void DropUsed() noexcept;
  void Drop(std::int64_t id) noexcept;
  void ClearAll() noexcept;
  [[nodiscard]] static std::size_t BytesOf(Ahead const& ahead) noexcept {
    return sizeof(Ahead) + ahead.m_Record.m_Bytes.size();
  }

  sto_Session& m_Session;
  sto_Driver& m_Driver;
  std::size_t m_Window; // 0: nothing is read ahead
  int m_Walks = 0;
  Follow m_Follow = Follow::HeldObjects; // of the outermost walk
  // Of the walk; cleared when it ends.
  std::unordered_map<std::int64_t, Ahead> m_Records;
  std::size_t m_Bytes = 0;                 // of m_Records
  std::unordered_set<std::int64_t> m_Seen; // ids that were in a level
  std::vector<Level> m_Levels;             // the deepest last
  std::vector<std::int64_t> m_NextLevel;
  std::vector<std::int64_t> m_Request; // scratch
  std::vector<std::int64_t> m_Ids;     // scratch
  sto_Record m_Record;                 // scratch
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "store/driver/sto_StorageWalk.h"
#include "store/session/sto_Session.h"
#include "store/sto_Stat.h"

/// Adds up what takes room in the store of a session; see sto_Store::Stat.
///
/// REQUIRES: an open transaction. Memory: the classes, and the arrays that are listed. Thread rule: the thread of
/// the session.
class sto_StatMaker final : private sto_StorageVisitor {
 public:
  /// `maxArrays`: how many arrays and blobs are listed.
  sto_StatMaker(sto_Session& session, std::size_t maxArrays) noexcept
      : m_Session(session), m_MaxArrays(maxArrays) {}

  [[nodiscard]] sto_Stat Make();

 private:
  void Find(sto_CheckFinding&& finding) override;
  void TakeObject(sto_ObjectRow const& object) override;
  void TakeBlockRow(std::int64_t key, std::int64_t bytes) override;

  /// The class and version of an object.
  [[nodiscard]] std::pair<unsigned int, int> ClassOf(sto_ObjectRow const& object);
  /// Reads a record to m_Record. Damaged; false if there is none.
  [[nodiscard]] bool Read(std::int64_t id);
  /// All rows of the present array have passed.
  void EndArray();
  /// Keeps the present array if it is one of the largest so far.
  void List();
  void CountContent(sto_ArrayStat& array);
  void NameArrays();

  sto_Session& m_Session;
  std::size_t m_MaxArrays;
  sto_Stat m_Stat;
  std::map<std::pair<unsigned int, int>, sto_ClassStat> m_Classes;
  sto_ArrayStat m_Array; // the one whose rows are passing; its id is 0 before the first
  sto_Record m_Record;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <set>
#include <string>
#include <utility>

#include "store/format/sto_ChangeList.h"
#include "store/recover/sto_Recover.h"

/// Collects what a recovery finds lost, up to a limit, and passes the progress on. Thread rule: one thread.
class sto_RecoverResults {
 public:
  sto_RecoverResults(sto_RecoverReport& report, std::size_t limit, sto_Progress const& progress,
                     std::string location)
      : m_Report(report), m_Limit(limit), m_Progress(progress), m_Location(std::move(location)) {}

  [[nodiscard]] sto_RecoverReport& Report() noexcept { return m_Report; }

  void Add(sto_LostItem&& item) {
    if (m_Report.m_Lost.size() < m_Limit)
      m_Report.m_Lost.push_back(std::move(item));
    else
      ++m_Report.m_FurtherLost;
  }
  void Add(sto_LostKind kind, std::string text) {
    sto_LostItem item;
    item.m_Kind = kind;
    item.m_Text = std::move(text);
    Add(std::move(item));
  }

  /// Counts an object as lost; false if it was counted before.
  bool LoseObject(std::int64_t id) {
    bool const isNew = m_LostObjects.insert(id).second;
    m_Report.m_Objects.m_Lost = static_cast<std::int64_t>(m_LostObjects.size());
    return isNew;
  }
  /// The lost objects that are known by their ids.
  [[nodiscard]] std::set<std::int64_t> const& LostObjects() const noexcept { return m_LostObjects; }

  /// Indexes do not fit the objects.
  void LoseIndexes() noexcept { m_AreIndexesWhole = false; }
  [[nodiscard]] bool AreIndexesWhole() const noexcept { return m_AreIndexesWhole; }

  /// What the recovery has changed, for its entry in the log.
  [[nodiscard]] sto_ChangeList& Changes() noexcept { return m_Changes; }
  [[nodiscard]] sto_ChangeList const& Changed() {
    sto_SortChanges(m_Changes);
    return m_Changes;
  }

  /// A recovery has so many phases, each of as many units as the file has pages.
  static constexpr int Phases = 3;
  void Begin(std::int64_t pages);
  /// `done` of `total` units of a phase are done. Raises Cancelled, and what the function throws.
  void Step(int phase, std::int64_t done, std::int64_t total);
  void End();
  /// A function for work that counts by itself.
  [[nodiscard]] sto_Progress InPhase(int phase);

 private:
  void Call(std::int64_t done);

  sto_RecoverReport& m_Report;
  std::size_t m_Limit;
  sto_Progress const& m_Progress;
  std::string m_Location;
  sto_ChangeList m_Changes;
  bool m_AreIndexesWhole = true;
  std::set<std::int64_t> m_LostObjects;
  std::int64_t m_Pages = 1, m_Done = -1;
};

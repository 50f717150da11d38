#pragma once

#include <cstddef>
#include <utility>

#include "store/sto_CheckReport.h"

/// Collects what a check finds, up to a limit. Thread rule: one thread.
class sto_CheckResults {
 public:
  /// REQUIRES: `report` lives as long as this object.
  sto_CheckResults(sto_CheckReport& report, std::size_t limit) noexcept : m_Report(report), m_Limit(limit) {}

  [[nodiscard]] sto_CheckCounts& Counts() noexcept { return m_Report.m_Counts; }

  void Add(sto_CheckFinding&& finding) {
    if (m_Report.m_Findings.size() < m_Limit)
      m_Report.m_Findings.push_back(std::move(finding));
    else
      ++m_Report.m_FurtherFindings;
  }
  void Note(sto_CheckFinding&& finding) {
    if (m_Report.m_Notes.size() < m_Limit)
      m_Report.m_Notes.push_back(std::move(finding));
    else
      ++m_Report.m_FurtherNotes;
  }

 private:
  sto_CheckReport& m_Report;
  std::size_t m_Limit;
};

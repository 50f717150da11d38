#include "store/check/sto_StoreCheck.h"

#include <utility>

#include "store/base/sto_Exception.h"
#include "store/check/sto_Checker.h"
#include "store/graph/sto_Collector.h"

namespace {

/// Counts what no root leads to. A store that the check has found sound is one that the collector can read.
void CountUnreachable(sto_Session& session, sto_CheckReport& report) {
  try {
    sto_Collector collector(session);
    if (session.Meter() != nullptr) session.Meter()->BeginPart(report.m_Counts.m_Objects);
    collector.Mark();
    if (session.Meter() != nullptr) session.Meter()->BeginPart(report.m_Counts.m_Objects);
    report.m_Unreachable = collector.Count();
  } catch (sto_Exception const& failure) {
    if (failure.Kind() == sto_ErrorKind::NewerFormat) return;
    if (failure.Kind() != sto_ErrorKind::Damaged) throw;
    sto_CheckFinding finding;
    finding.m_Kind = sto_CheckKind::DamagedObject;
    finding.m_Text = std::string(failure.AsString().View());
    report.m_Findings.push_back(std::move(finding));
  }
}

void CheckInTransaction(sto_Session& session, sto_CheckDepth depth, std::size_t limit,
                        sto_CheckReport& report) {
  session.WriteChanges();
  sto_Checker(session.Driver(), report, limit, session.Meter()).Check(depth, session.EndOfIds());
  if (depth == sto_CheckDepth::Full && report.IsSound()) CountUnreachable(session, report);
}

/// A transaction of the driver alone, for a store so damaged that the session cannot begin one.
void CheckWithoutSession(sto_Driver& driver, sto_CheckDepth depth, std::size_t limit, sto_CheckReport& report,
                         sto_Meter* meter) {
  struct Transaction {
    explicit Transaction(sto_Driver& driver) : m_Driver(driver) { driver.BeginWalk(); }
    Transaction(Transaction const&) = delete;
    Transaction& operator=(Transaction const&) = delete;
    ~Transaction() { m_Driver.Rollback(); }
    sto_Driver& m_Driver;
  } const transaction(driver);
  sto_Checker(driver, report, limit, meter).Check(depth, 0);
}

/// Begins a transaction that only reads; false if the store is too damaged for one.
bool TryBegin(sto_Session& session) {
  try {
    session.Begin(false);
    return true;
  } catch (sto_Exception const& failure) {
    if (failure.Kind() != sto_ErrorKind::Damaged) throw;
    return false;
  }
}

} // namespace

sto_CheckReport sto_CheckStore(sto_Session& session, sto_CheckDepth depth, std::size_t limit) {
  sto_CheckReport report;
  if (session.InTransaction()) {
    CheckInTransaction(session, depth, limit, report);
  } else if (TryBegin(session)) {
    struct End {
      explicit End(sto_Session& session) noexcept : m_Session(session) {}
      End(End const&) = delete;
      End& operator=(End const&) = delete;
      ~End() { m_Session.Rollback(); }
      sto_Session& m_Session;
    } const end(session);
    CheckInTransaction(session, depth, limit, report);
  } else {
    CheckWithoutSession(session.Driver(), depth, limit, report, session.Meter());
  }
  return report;
}

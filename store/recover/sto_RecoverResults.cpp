#include "store/recover/sto_RecoverResults.h"

#include <algorithm>

#include "store/base/sto_Exception.h"
#include "store/base/sto_Meter.h"

void sto_RecoverResults::Begin(std::int64_t pages) {
  m_Pages = std::max<std::int64_t>(pages, 1);
  Call(0);
}

void sto_RecoverResults::Step(int phase, std::int64_t done, std::int64_t total) {
  if (!m_Progress) return;
  double const share =
      static_cast<double>(std::min(done, total)) / static_cast<double>(std::max<std::int64_t>(total, 1));
  std::int64_t const all = phase * m_Pages + static_cast<std::int64_t>(share * static_cast<double>(m_Pages));
  if (all - m_Done >= sto_Meter::UnitsInCall) Call(all);
}

void sto_RecoverResults::End() {
  Call(Phases * m_Pages);
}

sto_Progress sto_RecoverResults::InPhase(int phase) {
  if (!m_Progress) return {};
  return [this, phase](sto_ProgressStep const& step) {
    Step(phase, step.m_Done, step.m_Total);
    return true;
  };
}

void sto_RecoverResults::Call(std::int64_t done) {
  m_Done = std::max(m_Done, done);
  if (m_Progress && !m_Progress({m_Done, Phases * m_Pages}))
    sto_Raise(sto_ErrorKind::Cancelled,
              m_Location + ": The recovery was cancelled by its progress function.");
}

#include "store/base/sto_Meter.h"

#include <algorithm>

#include "store/base/sto_Exception.h"

void sto_Meter::Begin(std::int64_t total) {
  m_Total = std::max(total, std::int64_t{1});
  m_Found = total;
  m_InPart = 0;
  m_IsBegun = true;
  Call();
}

void sto_Meter::BeginPart(std::int64_t size) noexcept {
  m_Before += m_PartSize;
  m_PartSize = size;
  m_InPart = 0;
}

void sto_Meter::End() {
  RaiseStopped();
  m_IsEnded = true;
  Call();
}

sto_ProgressStep sto_Meter::Now() {
  bool const isKnown = m_Counts == Counts::Parts;
  if (!isKnown) m_Total = std::max({m_Total, m_Found, m_InPart});
  std::int64_t const done = isKnown ? m_Before + std::min(m_InPart, m_PartSize) : m_InPart;
  return {m_IsEnded ? m_Total : std::min(done, m_Total), m_Total, isKnown};
}

void sto_Meter::Call() {
  m_Left = UnitsInCall;
  if (!m_IsBegun || m_Stopped != nullptr) return;
  try {
    Ask();
  } catch (...) {
    m_Stopped = std::current_exception();
    throw;
  }
}

void sto_Meter::Ask() {
  struct InCall {
    explicit InCall(bool& isInCall) noexcept : m_IsInCall(isInCall) { m_IsInCall = true; }
    InCall(InCall const&) = delete;
    InCall& operator=(InCall const&) = delete;
    ~InCall() { m_IsInCall = false; }
    bool& m_IsInCall;
  };
  bool goesOn = false;
  {
    InCall const inCall(m_IsInCall);
    goesOn = m_Function(Now());
  }
  if (m_MustRollBack)
    sto_Raise(sto_ErrorKind::Misuse,
              m_Store + ": A progress function has ended the transaction of its operation.");
  if (!goesOn && !m_IgnoresAnswers)
    sto_Raise(sto_ErrorKind::Cancelled, m_Store + ": The operation was cancelled by its progress function.");
}

#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "tests/support/store/StoreFaultDriver.h"

/// A driver that forwards to a real one, but hands out ids as a server does whose sessions write beside each other:
/// small ranges of whole packs with ids of other sessions between them. Ids that a transaction does not use are
/// handed out again. Sessions that share a Sequence never get the same id.
class StoreRangesDriver : public StoreFaultDriver {
 public:
  class Sequence {
   public:
    static constexpr std::int64_t IdsInRange = 64;

    /// Every second range belongs to a session that is not here.
    sto_IdRange Take() noexcept {
      std::int64_t const first = std::exchange(m_Next, m_Next + 2 * IdsInRange);
      return {first, first + IdsInRange};
    }
    /// The store has objects with ids before `end`.
    void StartAfter(std::int64_t end) noexcept {
      m_Next = std::max(m_Next, (end + IdsInRange - 1) / IdsInRange * IdsInRange);
    }

   private:
    std::int64_t m_Next = IdsInRange;
  };

  StoreRangesDriver(std::unique_ptr<sto_Driver> real, Sequence& sequence)
      : StoreFaultDriver(std::move(real), m_NoFault), m_Sequence(sequence) {}

  sto_Begun Begin(sto_BeginRequest const& request) override {
    sto_Begun const begun = StoreFaultDriver::Begin(request);
    m_Sequence.StartAfter(begun.m_EndOfIds);
    m_UsedEnd = 0;
    return begun;
  }
  sto_IdRange TakeIds(std::int64_t /*count*/) override {
    m_Taken.reserve(m_Taken.size() + 1);
    m_Free.reserve(m_Free.size() + m_Taken.size() + 1); // so that PutBack allocates nothing
    if (m_Free.empty()) m_Free.push_back(m_Sequence.Take());
    m_Taken.push_back(m_Free.front());
    m_Free.erase(m_Free.begin());
    return m_Taken.back();
  }
  void SetIdsUsed(std::int64_t end) override {
    StoreFaultDriver::SetIdsUsed(end);
    m_UsedEnd = end;
  }
  void Commit() override {
    StoreFaultDriver::Commit();
    PutBack(m_UsedEnd);
  }
  void Rollback() noexcept override {
    StoreFaultDriver::Rollback();
    PutBack(0);
  }

 private:
  void PutBack(std::int64_t used) noexcept {
    for (sto_IdRange const& range : m_Taken)
      if (range.m_End > used) m_Free.push_back({std::max(range.m_First, used), range.m_End});
    m_Taken.clear();
    std::ranges::sort(m_Free, {}, &sto_IdRange::m_First);
  }

  Plan m_NoFault;
  Sequence& m_Sequence;
  std::vector<sto_IdRange> m_Free;  // of this session, ascending
  std::vector<sto_IdRange> m_Taken; // by the open transaction
  std::int64_t m_UsedEnd = 0;
};

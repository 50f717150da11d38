#pragma once

#include <functional>
#include <utility>
#include <vector>

#include "persist/identity/cls_HistoryEntry.h"
#include "persist/identity/cls_Uid.h"

/// A history entry that unlinks itself in its destructor, as derived entries must, and records its end.
class TracedHistory : public cls_HistoryEntry {
 public:
  explicit TracedHistory(int number, std::vector<int>* ended = nullptr) : m_Number(number), m_Ended(ended) {}
  TracedHistory(cls_Uid const& uid, int number, std::vector<int>* ended = nullptr)
      : TracedHistory(number, ended) {
    Link(&uid.Entry()->m_History);
  }
  ~TracedHistory() override {
    UnLink();
    if (m_Ended != nullptr) m_Ended->push_back(m_Number);
    if (m_AtEnd) m_AtEnd();
  }

  using cls_HistoryEntry::Link;
  using cls_HistoryEntry::UnLink;

  /// Called by the destructor, after the entry has unlinked itself.
  void AtEnd(std::function<void()> function) { m_AtEnd = std::move(function); }

 private:
  int m_Number;
  std::vector<int>* m_Ended;
  std::function<void()> m_AtEnd;
};

#pragma once

#include <cstddef>
#include <utility>
#include <vector>

/// The order of work that adds more work while it is done: what one piece adds is done before everything that was added
/// earlier, and in the order in which it was added. So objects that are reached through one another are done one after
/// the other, without a stack that grows with them.
///
/// The pieces are in a vector in the order of adding; whoever does them appends to it. Those that doing one piece has added
/// are a group. The groups that are not done lie one behind the other, and work goes on at the last. Pieces that are done
/// are dropped with their group, or once there are so many of them (ManyDone), and more than those that are left; so the
/// vector has at most twice the pieces that are left, or ManyDone.
///
///     cls_LaterOrder order(pieces, pieces.size());
///     while (order.More()) Do(pieces[order.Next()]); // may append to `pieces`
///
/// REQUIRES: between the constructor and the last call nothing but this removes pieces from `first` on, and nothing changes
/// their places. T moves without exceptions. Ownership: the vector is the caller's. Errors: More throws std::bad_alloc, and
/// then nothing has changed. Thread rule: one thread.
template <class T> class cls_LaterOrder {
 public:
  static constexpr std::size_t ManyDone = 4096;

  /// The pieces from `first` on are to be done.
  cls_LaterOrder(std::vector<T>& pieces, std::size_t first) noexcept
      : m_Pieces(pieces), m_First(first), m_End(first) {}
  cls_LaterOrder(cls_LaterOrder const&) = delete;
  cls_LaterOrder& operator=(cls_LaterOrder const&) = delete;
  ~cls_LaterOrder() = default;

  /// Whether there is another piece.
  [[nodiscard]] bool More() {
    if (m_Pieces.size() != m_End) AddGroup();
    while (!m_Groups.empty() && m_Groups.back().m_Next == m_Groups.back().m_End) EndGroup();
    return !m_Groups.empty();
  }
  /// The index of the next one, which is done from now on. REQUIRES: More has returned true since the last call.
  [[nodiscard]] std::size_t Next() noexcept {
    if (m_Done >= ManyDone && m_Done >= m_End - m_First - m_Done) DropDone();
    ++m_Done;
    return m_Groups.back().m_Next++;
  }

 private:
  struct Group {
    std::size_t m_First;
    std::size_t m_Next; ///< the first that is not done
    std::size_t m_End;
  };

  void AddGroup() {
    m_Groups.push_back({m_End, m_End, m_Pieces.size()});
    m_End = m_Pieces.size();
  }
  /// Everything behind the beginning of the last group is done.
  void EndGroup() noexcept {
    std::size_t const first = m_Groups.back().m_First;
    m_Groups.pop_back();
    m_Done -= m_End - first;
    EndAt(first);
  }
  /// Drops all that are done, also in groups that are not: a chain of groups would keep them to its end.
  void DropDone() noexcept {
    std::size_t end = m_First;
    for (Group& group : m_Groups) {
      std::size_t const first = end;
      for (std::size_t i = group.m_Next; i < group.m_End; ++i) m_Pieces[end++] = std::move(m_Pieces[i]);
      group = {first, first, end};
    }
    std::erase_if(m_Groups, [](Group const& group) { return group.m_Next == group.m_End; });
    m_Done = 0;
    EndAt(end);
  }
  void EndAt(std::size_t end) noexcept {
    m_Pieces.erase(m_Pieces.begin() + static_cast<std::ptrdiff_t>(end), m_Pieces.end());
    m_End = end;
  }

  std::vector<T>& m_Pieces;
  std::size_t m_First;
  std::size_t m_End;      // of those that are in groups
  std::size_t m_Done = 0; // of those that are in the vector
  std::vector<Group> m_Groups;
};

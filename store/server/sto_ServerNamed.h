#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/format/sto_ContentSum.h"
#include "store/server/sto_PendingRows.h"
#include "store/server/sto_ServerLink.h"
#include "store/server/sto_ServerNames.h"

/// The named rows of a store on a server, as a transaction sees and changes them. What is changed stays in memory until
/// the commit. REQUIRES, for every operation: a view. Errors: those of the link. Thread rule: one thread.
class sto_ServerNamed {
 public:
  sto_ServerNamed(sto_ServerLink& link, sto_ServerRows& rows) : m_Link(link), m_Rows(rows) {}

  /// Call when a transaction begins. `view` lives as long as the transaction.
  void Begin(sto_ServerView const& view) noexcept;
  void Drop() noexcept { m_Changed.Clear(); }
  /// The row under a name that the server has, as another operation has read it: it need not be read again.
  void SetRead(std::string name, std::optional<sto_Bytes> row);

  void SetMark() noexcept { m_Changed.SetMark(); }
  void ReleaseMark() noexcept { m_Changed.ReleaseMark(); }
  void GoBackToMark() noexcept { m_Changed.GoBackToMark(); }

  [[nodiscard]] std::optional<sto_Bytes> Read(std::string const& name);
  void Write(std::string const& name, sto_Bytes row) { m_Changed.Put(name, std::move(row)); }
  void Remove(std::string const& name) { m_Changed.Put(name, std::nullopt); }
  /// Whether the server's row is another one. Of a name that the transaction has changed.
  [[nodiscard]] bool HasChanged(std::string const& name);
  /// Reads the rows of a range, ascending, at most `limit`.
  [[nodiscard]] std::vector<sto_NamedRow> Scan(sto_NameRange const& range,
                                               std::size_t limit = std::numeric_limits<std::size_t>::max());

  /// What a commit sends.
  struct Changes {
    std::vector<std::string> m_Names;
    sto_ContentSum m_Added, m_Removed; ///< of the sum over the store
  };
  [[nodiscard]] Changes FindChanges();
  /// Others have changed rows since the view. `names`: of rows that this transaction has changed, too. Takes those out of
  /// the changes to which both have given the same content. Returns false if there is one of which they have not.
  [[nodiscard]] bool Merge(std::vector<std::string> const& names, sto_ServerView const& newest,
                           Changes& changes);
  void ForEachRow(Changes const& changes, std::function<void(sto_NamedChange const&)> const& send) const;

 private:
  sto_ServerLink& m_Link;
  sto_ServerRows& m_Rows;
  // Of the transaction.
  sto_ServerView const* m_View = nullptr;
  sto_PendingRows<std::string> m_Changed;
  std::string m_ReadName; // see SetRead; empty: none
  std::optional<sto_Bytes> m_ReadRow;
};

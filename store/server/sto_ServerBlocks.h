#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <span>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_ContentSum.h"
#include "store/server/sto_PendingRows.h"
#include "store/server/sto_ServerLink.h"

/// The blocks of a store on a server, as a transaction sees and changes them. What is changed stays in memory until
/// the commit. Deleting costs no request: what is there is looked up by the commit.
///
/// REQUIRES, for every operation: a view. Errors: those of the link. Thread rule: one thread.
class sto_ServerBlocks {
 public:
  explicit sto_ServerBlocks(sto_ServerLink& link) : m_Link(link) {}

  /// Call when a transaction begins. `view` lives as long as the transaction. `isNew`: whether an object has an id that
  /// no other session uses, so that the server has no blocks of it.
  void Begin(sto_ServerView const& view, std::function<bool(std::int64_t)> isNew);
  void Drop() noexcept;

  void SetMark() noexcept;
  void ReleaseMark() noexcept;
  void GoBackToMark() noexcept;

  [[nodiscard]] bool Read(std::int64_t key, sto_Bytes& data);
  /// Returns false if the sink has ended the reading.
  bool ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink);
  [[nodiscard]] bool HasAll(std::int64_t first, std::int64_t last);
  void Write(std::int64_t key, sto_ByteView data);
  void Delete(std::int64_t first, std::int64_t last);
  [[nodiscard]] bool HasChanged(std::int64_t list) const;

  /// What a commit sends.
  struct Changes {
    std::vector<std::int64_t> m_Removed; ///< keys
    std::vector<std::int64_t> m_Lists;   ///< whose blocks change, without new ones
    sto_ContentSum m_Added, m_Taken;     ///< of the sum over the store
  };
  [[nodiscard]] Changes FindChanges();
  void ForEachRow(Changes const& changes, std::function<void(sto_NumberedChange const&)> const& send) const;

 private:
  class Sink;
  [[nodiscard]] bool IsNew(std::int64_t key) const;
  /// Whether the transaction has deleted a block that the server has.
  [[nodiscard]] bool IsDeleted(std::int64_t key) const;

  sto_ServerLink& m_Link;
  // Of the transaction.
  sto_ServerView const* m_View = nullptr;
  std::function<bool(std::int64_t)> m_IsNew;
  sto_PendingRows<std::int64_t> m_Written;
  std::map<std::int64_t, std::vector<sto_KeyRange>> m_Deleted; // by list
  bool m_HasMark = false;
  std::vector<std::int64_t> m_DeletedSince; // the mark: lists whose last range came then
};

#pragma once

#include <cstdint>
#include <functional>
#include <limits>
#include <span>
#include <string>
#include <vector>

#include "store/recover/sto_RecoverFile.h"
#include "store/recover/sto_RecoverPage.h"

/// A row that was found. Views are valid during the call.
struct sto_RecoverRow {
  std::int64_t m_RowId = 0; ///< of a table with row ids
  bool m_HasRowId = false;
  std::span<sto_RecoverValue const> m_Values; ///< as SQLite stores them: the row id as null
};

/// Receives what a walk over a tree finds.
class sto_RecoverRows {
 public:
  virtual ~sto_RecoverRows() = default;
  /// False if it cannot be a row of the tree.
  virtual bool Take(sto_RecoverRow const& row) = 0;
  /// A row that was found in a page of the tree whose directory is lost: it may be one that was deleted, or no row. False
  /// if it was not taken.
  virtual bool TakeLoose(sto_RecoverRow const& /*row*/) { return false; }
  /// A part of the tree cannot be read: rows with these ids. Of a tree without row ids, the numbers mean nothing.
  virtual void Miss(std::int64_t first, std::int64_t last) = 0;
};

/// SQLite's trees in a damaged file. Each page is read as part of one tree, in the order of the keys; what trees do not
/// lead to is read page by page. Memory: a byte for each page, and one row. Thread rule: one thread.
class sto_RecoverTrees {
 public:
  using Page = sto_RecoverFile::Page;

  /// `step` is called for each page that is read. REQUIRES: the file lives as long as this object.
  sto_RecoverTrees(sto_RecoverFile const& file, std::function<void()> step);

  /// Whether all unused pages are known, so that every other page that no tree leads to has lost its tree.
  [[nodiscard]] bool AreFreePagesKnown() const noexcept { return m_AreFreePagesKnown; }
  /// Pages of trees that cannot be read, or are not there.
  [[nodiscard]] std::int64_t LostPages() const noexcept { return m_LostPages; }

  /// Walks over the tree with a root page.
  void Walk(Page root, bool hasRowIds, sto_RecoverRows& rows);
  /// The rows of the first leaf of a tree, for a look at what it has. Nothing counts as read. False if there is no such
  /// tree.
  bool Peek(Page root, bool hasRowIds, sto_RecoverRows& rows);
  /// Reads the leaves that no tree led to. Call it after all walks.
  void WalkOrphans(sto_RecoverRows& rows);

 private:
  enum State : std::uint8_t { Unknown, Free, Used };
  static constexpr int MaxDepth = 40;
  static constexpr std::int64_t Least = std::numeric_limits<std::int64_t>::min();
  static constexpr std::int64_t Greatest = std::numeric_limits<std::int64_t>::max();

  struct Keys {
    std::int64_t m_First, m_Last;
  };

  void FindFreePages();
  [[nodiscard]] bool ReadFreePages();
  [[nodiscard]] bool Claim(Page page);
  void WalkPage(Page number, bool hasRowIds, int depth, Keys keys, sto_RecoverRows& rows);
  void WalkInner(sto_RecoverPage const& page, int depth, Keys keys, sto_RecoverRows& rows);
  void WalkLeaf(sto_RecoverPage const& page, Keys keys, sto_RecoverRows& rows);
  void Miss(Keys keys, sto_RecoverRows& rows);
  /// Looks for rows in a leaf whose directory is lost.
  void SearchPage(sto_ByteView page, bool hasRowIds, sto_RecoverRows& rows);
  /// Passes the row of a cell on; false if it cannot be read.
  bool TakeCell(sto_RecoverCell const& cell, bool hasRowIds, sto_RecoverRows& rows);
  [[nodiscard]] bool ReadPayload(sto_RecoverCell const& cell);
  [[nodiscard]] Page NextOverflow(Page next, Page previous) const;
  [[nodiscard]] bool Parse(sto_ByteView payload);

  sto_RecoverFile const& m_File;
  std::function<void()> m_Step;
  std::vector<State> m_States; // by page
  bool m_AreFreePagesKnown = false;
  bool m_IsPeeking = false;
  std::int64_t m_LostPages = 0;
  std::vector<Page> m_Claimed;            // for the payload that is read
  sto_Bytes m_Payload, m_OverflowPage;    // scratch
  std::vector<sto_RecoverValue> m_Values; // scratch
};

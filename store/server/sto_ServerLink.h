#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "store/base/sto_SaveEntry.h"
#include "store/format/sto_Codec.h"
#include "store/format/sto_ContentSum.h"

// What a store on a server consists of: rows that are added and collected, never changed. Each row has the number of
// the draft that has added it; a draft is what one transaction sends, and becomes visible when it is committed. So a
// reader that knows which drafts are committed sees one state for as long as it likes, without a transaction on the
// server, and rows can be sent before the commit, on any connection.
//
// Drafts are numbered when they are opened, saves when they are committed: saves have no gaps, and ascend in the order
// of their commits.

/// Tables of rows under numbers.
enum class sto_RowTable : char {
  Pack = 'p',   ///< by the number of the pack
  Record = 'r', ///< records that are too long for a pack, by the object's id
  Block = 'b',  ///< by the block's key
};

/// Which rows a transaction sees: those of drafts up to the head that are not among the open ones. Of several rows
/// under one key, it sees the one of the greatest draft. A plain value.
struct sto_ServerView {
  std::int64_t m_Head = 0;          ///< the greatest committed draft
  std::vector<std::int64_t> m_Open; ///< smaller ones that are not committed, ascending
  std::int64_t m_Save = 0;          ///< the newest save that it sees

  [[nodiscard]] bool Sees(std::int64_t draft) const noexcept;
};

/// The state of a store when a transaction begins.
struct sto_ServerState {
  sto_ServerView m_View;
  std::int64_t m_EndOfIds = 1; ///< every id that an object has, or had, is smaller
  sto_ContentSum m_Sum;        ///< over the store
  bool m_HasIndexes = false;
  std::optional<sto_Bytes> m_Named; ///< the row under the name that was asked for
};

/// A row under a name. Names begin with what they are for; their order is that of their bytes.
struct sto_NamedRow {
  std::string m_Name;
  sto_Bytes m_Data;
};

/// Names from one on, before another.
struct sto_NameRange {
  std::string m_First;
  std::string m_End;
};

/// What two transactions must not change both.
struct sto_ConflictUnit {
  enum class Kind : char {
    Pack = 'p', ///< by its number
    List = 'l', ///< the blocks of a list or blob, by its object's id
    Name = 'n', ///< by the hash of the name: see sto_UnitOfName
    All = 'a',  ///< what changes this has regarded everything: no other transaction may have begun before it
  };
  Kind m_Kind;
  std::int64_t m_Number;

  friend auto operator<=>(sto_ConflictUnit const& a, sto_ConflictUnit const& b) = default;
};

/// The unit of a named row.
[[nodiscard]] sto_ConflictUnit sto_UnitOfName(std::string_view name) noexcept;

/// A change of a row under a number. A view.
struct sto_NumberedChange {
  sto_RowTable m_Table;
  std::int64_t m_Key;
  std::optional<sto_ByteView> m_Data; ///< empty: removed
};

/// A change of a named row. A view.
struct sto_NamedChange {
  std::string_view m_Name;
  std::optional<sto_ByteView> m_Data; ///< empty: removed
};

/// A draft: number and token, which nobody else has, also after the server has lost numbers in a crash.
struct sto_ServerDraft {
  std::int64_t m_Number = 0;
  std::array<std::uint64_t, 2> m_Token{};
};

/// What a transaction commits.
struct sto_ServerSave {
  /// What it has changed, and which rows of that it has seen.
  struct Seen {
    sto_ServerView m_Base;
    std::vector<sto_ConflictUnit> m_Units;
  };
  sto_ServerDraft m_Draft;
  std::vector<Seen> m_Seen;
  std::int64_t m_BaseSave = 0; ///< the newest save that the transaction has seen
  /// Whether the transaction has regarded everything, so that any other save since its base is in conflict with it.
  bool m_NeedsAll = false;
  sto_ContentSum m_Added, m_Removed; ///< of the sum over the store
  bool m_HasIndexes = false;
  sto_SaveEntry m_Entry; ///< without its number
};

/// How a commit has ended.
struct sto_ServerOutcome {
  std::int64_t m_Save = 0; ///< the number of the save; 0: it is not committed
  std::vector<sto_ConflictUnit>
      m_Conflicts; ///< what others have changed since the base; then it is not committed
};

/// Receives rows. Views are valid during the call.
class sto_RowSink {
 public:
  virtual ~sto_RowSink() = default;
  /// Return false to end the reading.
  virtual bool Take(std::int64_t key, std::int64_t draft, sto_ByteView data) = 0;
};

/// A connection to a server that keeps a store. Each operation is one round trip, or as many as its rows need.
///
/// Errors: Unavailable if the server cannot be reached or the connection breaks; what was sent may or may not have
/// reached it. After that, the next operation connects again. Thread rule: one thread.
class sto_ServerLink {
 public:
  sto_ServerLink() = default;
  sto_ServerLink(sto_ServerLink const&) = delete;
  sto_ServerLink& operator=(sto_ServerLink const&) = delete;
  virtual ~sto_ServerLink() = default;

  /// The store's name in messages, without a password.
  [[nodiscard]] virtual std::string const& Name() const noexcept = 0;
  /// The store's uuid.
  [[nodiscard]] virtual std::array<std::byte, 16> const& Uuid() const noexcept = 0;

  /// The newest state. `named`: a row to read in it, too. What this state has stays readable until the next call, and
  /// the end of the connection; a commit ends that, too.
  virtual sto_ServerState ReadState(std::optional<std::string_view> named) = 0;

  /// Reads the rows under keys, in any order. `keys`: ascending, each once.
  virtual void ReadRows(sto_RowTable table, std::span<std::int64_t const> keys, sto_ServerView const& view,
                        sto_RowSink& sink) = 0;
  /// Reads rows with keys from `first` to `last`, ascending, at most `limit`.
  virtual void ScanRows(sto_RowTable table, std::int64_t first, std::int64_t last, std::size_t limit,
                        sto_ServerView const& view, sto_RowSink& sink) = 0;
  /// The keys of such rows, ascending.
  virtual std::vector<std::int64_t> ScanKeys(sto_RowTable table, std::int64_t first, std::int64_t last,
                                             sto_ServerView const& view) = 0;
  /// Reads the rows under names. The answer has as many, in the same order.
  virtual std::vector<std::optional<sto_Bytes>> ReadNamed(std::span<std::string const> names,
                                                          sto_ServerView const& view) = 0;
  /// Reads the rows of a range, ascending, at most `limit`.
  virtual std::vector<sto_NamedRow> ScanNamed(sto_NameRange const& range, std::size_t limit,
                                              sto_ServerView const& view) = 0;

  /// The log of saves from a number on, ascending.
  virtual std::vector<sto_SaveEntry> Saves(std::int64_t first) = 0;

  /// Hands out `count` ids from `first` on or, if they are handed out already, from the next ones on. Returns the first.
  virtual std::int64_t TakeIds(std::int64_t first, std::int64_t count) = 0;
  /// Gives the ids from `first` to before `end` back, if nobody has taken ids after them.
  virtual void GiveBackIds(std::int64_t first, std::int64_t end) noexcept = 0;

  /// Opens a draft.
  virtual sto_ServerDraft OpenDraft() = 0;
  /// Adds rows of a draft. Nobody reads them before the commit.
  virtual void Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) = 0;
  virtual void SendNamed(sto_ServerDraft const& draft, std::span<sto_NamedChange const> rows) = 0;
  /// Commits a draft if nothing of it is in conflict. After a conflict the draft can only be given up. REQUIRES: the draft
  /// was opened after the states that it has seen: of two rows under one key, the one of the greater draft counts.
  virtual sto_ServerOutcome Commit(sto_ServerSave const& save) = 0;
  /// Gives a draft up if it is not committed, for certain and for ever. Returns the number of its save if it is
  /// committed, otherwise 0.
  virtual std::int64_t GiveUp(sto_ServerDraft const& draft) = 0;

  /// Bytes that the store takes on the server, about.
  virtual std::int64_t SizeBytes() = 0;
};

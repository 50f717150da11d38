#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/postgres/sto_PostgresConnection.h"
#include "store/postgres/sto_PostgresPlace.h"
#include "store/server/sto_ServerLink.h"
#include "store/sto_Options.h"

/// A store in a PostgreSQL database. Thread rule: one thread.
class sto_PostgresLink final : public sto_ServerLink {
 public:
  /// Makes a store, and the tables if there are none. Conflict if there is a store of this name.
  static std::unique_ptr<sto_PostgresLink> Create(std::string const& location, sto_Options const& options);
  /// NotFound: no such store. NewerFormat. ReadOnly: the user may only read it.
  static std::unique_ptr<sto_PostgresLink> Open(std::string const& location, bool readOnly,
                                                sto_Options const& options);
  /// Removes a store. NotFound.
  static void Remove(std::string const& location, sto_Options const& options);
  /// Gives the store another name. Conflict if that is taken.
  void Rename(std::string const& name);
  ~sto_PostgresLink() override;

  [[nodiscard]] std::string const& Name() const noexcept override { return m_Connection.Name(); }
  [[nodiscard]] std::array<std::byte, 16> const& Uuid() const noexcept override { return m_Uuid; }
  sto_ServerState ReadState(std::optional<std::string_view> named) override;
  void ReadRows(sto_RowTable table, std::span<std::int64_t const> keys, sto_ServerView const& view,
                sto_RowSink& sink) override;
  void ScanRows(sto_RowTable table, std::int64_t first, std::int64_t last, std::size_t limit,
                sto_ServerView const& view, sto_RowSink& sink) override;
  std::vector<std::int64_t> ScanKeys(sto_RowTable table, std::int64_t first, std::int64_t last,
                                     sto_ServerView const& view) override;
  std::vector<std::optional<sto_Bytes>> ReadNamed(std::span<std::string const> names,
                                                  sto_ServerView const& view) override;
  std::vector<sto_NamedRow> ScanNamed(sto_NameRange const& range, std::size_t limit,
                                      sto_ServerView const& view) override;
  std::vector<sto_SaveEntry> Saves(std::int64_t first) override;
  std::int64_t TakeIds(std::int64_t first, std::int64_t count) override;
  void GiveBackIds(std::int64_t first, std::int64_t end) noexcept override;
  sto_ServerDraft OpenDraft() override;
  void Send(sto_ServerDraft const& draft, std::span<sto_NumberedChange const> rows) override;
  void SendNamed(sto_ServerDraft const& draft, std::span<sto_NamedChange const> rows) override;
  sto_ServerOutcome Commit(sto_ServerSave const& save) override;
  std::int64_t GiveUp(sto_ServerDraft const& draft) override;
  std::int64_t SizeBytes() override;

 private:
  sto_PostgresLink(sto_PostgresPlace const& place, sto_Options const& options);
  /// Whether the database has the tables. NewerFormat.
  [[nodiscard]] bool HasTables();
  void ReadStore(std::string const& name, bool readOnly);
  /// The parameters that each statement which reads begins with.
  [[nodiscard]] sto_PostgresParameters Seen(sto_ServerView const& view) const;
  /// Raises Unavailable if the server's state is not one that has followed the newest one that this session has seen.
  void CheckHistory(std::int64_t newest, std::optional<sto_ByteView> known) const;
  /// Begins the transaction on the server in which a draft is sent and committed.
  void BeginSending(sto_ServerDraft const& draft);
  void ForgetSent() noexcept;
  /// The commit, the removal of what it replaces and the end of the transaction, as one message.
  [[nodiscard]] std::string CommitText(sto_ServerSave const& save) const;

  sto_PostgresConnection m_Connection;
  std::string m_Wait; // for locks, in milliseconds
  std::int64_t m_Store = 0;
  std::array<std::byte, 16> m_Uuid{};
  std::array<std::byte, 16> m_Session{}; // what the server knows this session by
  std::int64_t m_KnownSave = 0;          // the newest save that this session has seen,
  sto_Bytes m_KnownToken;                // and what no other save has
  std::int64_t m_Sending = 0;            // the draft whose rows the open transaction on the server has
  // What has been sent since BEGIN, by table.
  std::array<std::vector<std::int64_t>, 3> m_SentKeys;
  std::vector<std::string> m_SentNames;
};

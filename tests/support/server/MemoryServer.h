#pragma once

#include <map>
#include <memory>
#include <mutex>
#include <optional>
#include <random>
#include <set>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "store/server/sto_ServerLink.h"

/// A server that keeps one store in memory, with the rules of a real one. Thread rule: any thread.
class MemoryServer {
 public:
  MemoryServer() {
    sto_SaveEntry creation;
    creation.m_Number = creation.m_NextObjectId = 1;
    m_Saves.push_back(creation);
  }

  using Key = std::pair<char, std::int64_t>;
  struct Draft {
    char m_State = 'p'; // pending, committed, given up
    std::array<std::uint64_t, 2> m_Token{};
    std::int64_t m_Save = 0; // if it is committed
    std::vector<Key> m_Rows;
    std::vector<std::string> m_Named;
  };
  using Versions = std::map<std::int64_t, std::optional<sto_Bytes>>; // by draft

  /// Mistakes that a server's rules must not have; tests show that they find them.
  enum class Trap {
    None,
    CommitsWhatWasGivenUp, ///< a writer that was paused past its lease commits all the same
    ForgetsOpenDrafts,     ///< what was open when a transaction began counts as seen
    ReadsOpenDrafts,       ///< a view has all rows up to the head
  };

  Trap m_Trap = Trap::None;
  std::mutex m_Mutex;
  std::array<std::byte, 16> m_Uuid{};
  std::map<Key, Versions> m_Rows;
  std::map<std::string, Versions, std::less<>> m_Named;
  std::map<std::int64_t, Draft> m_Drafts;
  std::set<std::int64_t> m_Uncommitted; // drafts, also those that were given up
  std::mt19937_64 m_Token;
  std::map<sto_ConflictUnit, std::int64_t> m_Changes; // the draft that has changed a unit last
  std::vector<sto_SaveEntry> m_Saves;
  std::int64_t m_Head = 0;
  std::int64_t m_LastDraft = 0;
  std::int64_t m_EndOfIds = 1;      // of committed objects
  std::int64_t m_EndOfTakenIds = 1; // of those that are handed out
  sto_ContentSum m_Sum;
  bool m_HasIndexes = false;
  std::map<void const*, sto_ServerView> m_Pins; // by connection: the state that it reads
};

/// A connection to it.
class MemoryLink : public sto_ServerLink {
 public:
  MemoryLink(std::shared_ptr<MemoryServer> server, std::string name)
      : m_Server(std::move(server)), m_Name(std::move(name)) {}
  ~MemoryLink() override;

  [[nodiscard]] std::string const& Name() const noexcept override { return m_Name; }
  [[nodiscard]] std::array<std::byte, 16> const& Uuid() const noexcept override { return m_Server->m_Uuid; }
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
  void DropRows(std::int64_t number);
  [[nodiscard]] sto_ServerView NewestView() const;
  /// Removes rows that a draft has replaced and that nobody reads.
  void Collect(MemoryServer::Draft const& draft);

  std::shared_ptr<MemoryServer> m_Server;
  std::string m_Name;
};

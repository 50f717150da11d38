#pragma once

#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <unordered_map>
#include <utility>
#include <vector>

#include "platform/cow/cow_String.h"
#include "store/format/sto_MapCodec.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_Session.h"

/// What the store has of a map of objects, for the map's agent: finds entries, and writes changed ones. Of a
/// map in chunks with ascending keys it reads the chunks that are asked for, and keeps the latest ones. Any
/// other map is in memory as a whole: it is short, or it was written in another order and is about to be
/// rewritten.
///
/// What the map looks like is a value (State), so that an agent can go back to an earlier one without reading.
/// Chunks in memory are found by the checksums of their content, so they fit every state that names them.
///
/// REQUIRES, unless an operation says otherwise: an open transaction, a write transaction to write; the state
/// is that of the transaction. Internal to the module. Thread rule: the thread of the session.
template <class K> class sto_StoredMap {
 public:
  using Entry = std::pair<K, std::int64_t>;
  using Entries = std::vector<Entry>; // ascending by key
  /// Changed elements by key; 0: the entry is removed.
  using Changes = std::map<K, std::int64_t>;

  struct State {
    std::shared_ptr<Entries const> m_Whole = std::make_shared<Entries const>(); // null: in chunks with keys
    sto_ChunkDirectory m_Directory;
    std::vector<K> m_FirstKeys; // of the chunks
    sto_ChunkNumbers m_Numbers; // of all blocks, also if the entries are in memory
    sto_Bytes m_Listed;         // the directory in the record
    int m_Count = 0;
  };

  sto_StoredMap(sto_Session& session, std::int64_t id)
      : m_Session(session), m_Id(id), m_Blocks(session, id) {}

  /// The state of a decoded record. Damaged.
  [[nodiscard]] State Read(sto_MapHeader const& map);
  /// Whether a state is that of a decoded record, so that it need not be read. Needs no transaction.
  [[nodiscard]] static bool IsOf(State const& state, sto_MapHeader const& map) noexcept;

  /// The id of a key's element, 0 if the key does not exist. Damaged, here and below.
  [[nodiscard]] std::int64_t IdOf(State const& state, K const& key);
  /// The first key after `key`, the last one before it; the first or last of all if `key` is null.
  [[nodiscard]] std::optional<K> After(State const& state, K const* key);
  [[nodiscard]] std::optional<K> Before(State const& state, K const* key);

  /// Writes the chunks that change, and deletes those that are no longer there; returns the new state.
  /// `isCleared`: the changes are all that the map has. Full.
  [[nodiscard]] State Write(State const& state, Changes const& changes, bool isCleared);
  /// The content for the record. Needs no transaction.
  [[nodiscard]] static std::pair<sto_MapHeader, sto_Bytes> Content(State const& state);

  /// A range of keys.
  struct Range {
    std::optional<K> m_First; // none: from the first key on
    std::optional<K> m_End;   // the first key behind it; none: up to the last key
  };
  struct Differences {
    std::set<K> m_Keys;
    std::vector<Range> m_Unknown; // of chunks that have changed since and are not in memory
  };
  /// Adds the keys whose elements differ between an earlier state and the current one.
  void AddDifferences(State const& before, State const& now, Differences& differences);

 private:
  /// How many chunks are kept in memory: at least 16 MiB of entries.
  static constexpr std::size_t MaxKept = 1024;

  using EntriesRef = std::shared_ptr<Entries const>;
  /// Entries of the new state: a stored chunk that has not changed, or entries in memory.
  struct Piece {
    sto_Chunk m_Chunk;
    K m_FirstKey{};
    EntriesRef m_Entries;             // null: unchanged
    std::vector<std::size_t> m_Sizes; // of the encoded entries, if they are in memory
    sto_Bytes m_Bytes;
    [[nodiscard]] bool IsShort() const noexcept {
      return m_Entries != nullptr && m_Bytes.size() < sto_Format::ChunkBytes / 4;
    }
  };
  struct Kept {
    EntriesRef m_Entries;
    std::uint64_t m_UsedAt = 0;
  };

  [[nodiscard]] static Entries Decode(sto_MapHeader const& entries);
  [[nodiscard]] static std::size_t ChunkOf(State const& state, K const& key) noexcept;
  /// The entries of a chunk if they are in memory; otherwise null.
  [[nodiscard]] EntriesRef InMemory(State const& state, std::size_t chunk);
  [[nodiscard]] EntriesRef Load(State const& state, std::size_t chunk);
  void Keep(std::uint64_t checksum, EntriesRef entries);
  /// The entries with changes from `change` to `end` made.
  [[nodiscard]] static EntriesRef Merge(Entries const& entries, typename Changes::const_iterator change,
                                        typename Changes::const_iterator end);
  static void Encode(Piece& piece);
  /// What the map consists of after the changes: no piece is empty, and none is short without need.
  [[nodiscard]] std::vector<Piece> Pieces(State const& state, Changes const& changes, bool isCleared);
  void Join(Piece& piece, Piece const& next);
  /// Writes a piece as one or several chunks.
  void WritePiece(Piece& piece, State const& before, State& next);
  /// Writes a block of the new state. `before` says whether it replaces one.
  void WriteBlock(State const& before, int number, sto_Bytes& content);
  /// The numbers of chunks whose checksums only one of two states has.
  [[nodiscard]] static std::vector<std::size_t> OnlyIn(State const& state, State const& other);

  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_MapChunks m_Blocks;
  std::unordered_map<std::uint64_t, Kept> m_Kept; // by checksum
  std::uint64_t m_Uses = 0;
};

extern template class sto_StoredMap<int>;
extern template class sto_StoredMap<cow_String>;

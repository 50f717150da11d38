#include "store/agents/sto_StoredMap.h"

#include <algorithm>
#include <iterator>

#include "store/format/sto_MapWalk.h"

namespace {

template <class K> sto_MapHeader HeaderOf() noexcept {
  sto_MapHeader header;
  header.m_KeyType = sto_KeyCodec<K>::KeyType;
  header.m_ElementType = sto_Format::ElementObject;
  return header;
}

constexpr auto IsLess = [](auto const& a, auto const& b) { return a.first < b.first; };

/// Whether each is less than the next one.
template <class Row> bool DoAscend(Row const& row) {
  using Item = typename Row::value_type;
  auto const isOutOfOrder = [](Item const& a, Item const& b) {
    if constexpr (requires { a.first; })
      return !IsLess(a, b);
    else
      return !(a < b);
  };
  return std::ranges::adjacent_find(row, isOutOfOrder) == row.end();
}

/// The first entry that is not before a key.
template <class Entries, class K> auto FindIn(Entries const& entries, K const& key) {
  return std::ranges::lower_bound(entries, key, {},
                                  [](auto const& entry) -> K const& { return entry.first; });
}

template <class Entries, class K> std::int64_t IdIn(Entries const& entries, K const& key) {
  auto const found = FindIn(entries, key);
  return found != entries.end() && !(key < found->first) ? found->second : 0;
}

} // namespace

template <class K> auto sto_StoredMap<K>::Decode(sto_MapHeader const& map) -> Entries {
  Entries entries;
  sto_ByteReader reader(map.m_Entries); // checked by whoever read them
  for (int i = 0; i < map.m_Count; ++i) {
    K key = sto_KeyCodec<K>::Decode(reader);
    auto const id = static_cast<std::int64_t>(reader.Varint());
    entries.emplace_back(std::move(key), id);
  }
  return entries;
}

template <class K> bool sto_StoredMap<K>::IsOf(State const& state, sto_MapHeader const& map) noexcept {
  return map.m_InChunks && state.m_Whole == nullptr && std::ranges::equal(state.m_Listed, map.m_Entries);
}

template <class K> auto sto_StoredMap<K>::Read(sto_MapHeader const& map) -> State {
  State state;
  Entries entries;
  if (map.m_InChunks) {
    state.m_Directory = m_Blocks.ReadDirectory(map, state.m_Numbers);
    state.m_Listed.assign(map.m_Entries.begin(), map.m_Entries.end());
    for (sto_Chunk const& chunk : state.m_Directory.m_Chunks) {
      sto_ByteReader reader(chunk.m_FirstKey);
      if (state.m_Directory.HasKeys()) state.m_FirstKeys.push_back(sto_KeyCodec<K>::Decode(reader));
    }
    if (!DoAscend(state.m_FirstKeys)) m_Blocks.RaiseDamagedDirectory();
    if (state.m_Directory.HasKeys()) {
      state.m_Whole = nullptr;
      state.m_Count = map.m_Count;
      return state;
    }
    for (sto_Chunk const& chunk : state.m_Directory.m_Chunks)
      std::ranges::move(Decode(sto_MapOfChunk(map, chunk.m_Count, m_Blocks.Read(map, chunk))),
                        std::back_inserter(entries));
  } else {
    entries = Decode(map);
  }
  std::ranges::stable_sort(entries, IsLess); // of several entries with one key the first counts
  entries.erase(std::unique(entries.begin(), entries.end(),
                            [](Entry const& a, Entry const& b) { return !IsLess(a, b); }),
                entries.end());
  state.m_Count = static_cast<int>(entries.size());
  state.m_Whole = std::make_shared<Entries const>(std::move(entries));
  return state;
}

template <class K> std::size_t sto_StoredMap<K>::ChunkOf(State const& state, K const& key) noexcept {
  auto const after = std::ranges::upper_bound(state.m_FirstKeys, key);
  return static_cast<std::size_t>(std::max<std::ptrdiff_t>(1, after - state.m_FirstKeys.begin()) - 1);
}

template <class K> auto sto_StoredMap<K>::InMemory(State const& state, std::size_t chunk) -> EntriesRef {
  auto const kept = m_Kept.find(state.m_Directory.m_Chunks[chunk].m_Checksum);
  if (kept == m_Kept.end()) return nullptr;
  kept->second.m_UsedAt = ++m_Uses;
  return kept->second.m_Entries;
}

template <class K> auto sto_StoredMap<K>::Load(State const& state, std::size_t index) -> EntriesRef {
  if (EntriesRef kept = InMemory(state, index)) return kept;
  sto_Chunk const& chunk = state.m_Directory.m_Chunks[index];
  sto_MapHeader const map = HeaderOf<K>();
  auto entries =
      std::make_shared<Entries const>(Decode(sto_MapOfChunk(map, chunk.m_Count, m_Blocks.Read(map, chunk))));
  if (!DoAscend(*entries) ||
      (index + 1 < state.m_FirstKeys.size() && !(entries->back().first < state.m_FirstKeys[index + 1])))
    m_Blocks.RaiseDamaged(chunk.m_Number);
  Keep(chunk.m_Checksum, entries);
  return entries;
}

template <class K> void sto_StoredMap<K>::Keep(std::uint64_t checksum, EntriesRef entries) {
  if (m_Kept.size() >= MaxKept)
    m_Kept.erase(std::ranges::min_element(m_Kept, {}, [](auto const& each) { return each.second.m_UsedAt; }));
  m_Kept.insert_or_assign(checksum, Kept{std::move(entries), ++m_Uses});
}

template <class K> std::int64_t sto_StoredMap<K>::IdOf(State const& state, K const& key) {
  return state.m_Whole != nullptr ? IdIn(*state.m_Whole, key) : IdIn(*Load(state, ChunkOf(state, key)), key);
}

template <class K> std::optional<K> sto_StoredMap<K>::After(State const& state, K const* key) {
  auto const in = [&](Entries const& entries) -> std::optional<K> {
    auto found = key == nullptr ? entries.begin() : FindIn(entries, *key);
    if (key != nullptr && found != entries.end() && !(*key < found->first)) ++found;
    return found == entries.end() ? std::nullopt : std::optional<K>(found->first);
  };
  if (state.m_Whole != nullptr) return in(*state.m_Whole);
  if (key == nullptr) return state.m_FirstKeys.front();
  std::size_t const chunk = ChunkOf(state, *key);
  if (std::optional<K> found = in(*Load(state, chunk))) return found;
  if (chunk + 1 == state.m_FirstKeys.size()) return std::nullopt;
  return state.m_FirstKeys[chunk + 1];
}

template <class K> std::optional<K> sto_StoredMap<K>::Before(State const& state, K const* key) {
  auto const in = [&](Entries const& entries) -> std::optional<K> {
    auto const found = key == nullptr ? entries.end() : FindIn(entries, *key);
    return found == entries.begin() ? std::nullopt : std::optional<K>(std::prev(found)->first);
  };
  if (state.m_Whole != nullptr) return in(*state.m_Whole);
  std::size_t const chunk = key == nullptr ? state.m_FirstKeys.size() - 1 : ChunkOf(state, *key);
  if (std::optional<K> found = in(*Load(state, chunk))) return found;
  if (chunk == 0) return std::nullopt;
  return Load(state, chunk - 1)->back().first;
}

template <class K>
auto sto_StoredMap<K>::Merge(Entries const& entries, typename Changes::const_iterator change,
                             typename Changes::const_iterator end) -> EntriesRef {
  Entries merged;
  merged.reserve(entries.size() + static_cast<std::size_t>(std::distance(change, end)));
  auto entry = entries.begin();
  for (; change != end; ++change) {
    for (; entry != entries.end() && entry->first < change->first; ++entry) merged.push_back(*entry);
    if (entry != entries.end() && !(change->first < entry->first)) ++entry;
    if (change->second != 0) merged.emplace_back(change->first, change->second);
  }
  merged.insert(merged.end(), entry, entries.end());
  return std::make_shared<Entries const>(std::move(merged));
}

template <class K> void sto_StoredMap<K>::Encode(Piece& piece) {
  piece.m_Bytes.clear();
  piece.m_Sizes.clear();
  sto_ByteWriter writer(piece.m_Bytes);
  for (auto const& [key, id] : *piece.m_Entries) {
    std::size_t const before = piece.m_Bytes.size();
    sto_KeyCodec<K>::Encode(writer, key);
    writer.Varint(static_cast<std::uint64_t>(id));
    piece.m_Sizes.push_back(piece.m_Bytes.size() - before);
  }
}

template <class K> void sto_StoredMap<K>::Join(Piece& piece, Piece const& next) {
  Entries joined(*piece.m_Entries);
  joined.insert(joined.end(), next.m_Entries->begin(), next.m_Entries->end());
  piece.m_Entries = std::make_shared<Entries const>(std::move(joined));
  Encode(piece);
}

template <class K>
auto sto_StoredMap<K>::Pieces(State const& state, Changes const& changes, bool isCleared)
    -> std::vector<Piece> {
  std::vector<Piece> pieces;
  if (isCleared || state.m_Whole != nullptr) {
    Piece all;
    all.m_Entries = Merge(isCleared ? Entries() : *state.m_Whole, changes.begin(), changes.end());
    Encode(all);
    if (!all.m_Entries->empty()) pieces.push_back(std::move(all));
    return pieces;
  }
  auto change = changes.begin();
  for (std::size_t i = 0; i < state.m_FirstKeys.size(); ++i) {
    bool const isLast = i + 1 == state.m_FirstKeys.size();
    auto const end = isLast ? changes.end() : changes.lower_bound(state.m_FirstKeys[i + 1]);
    Piece piece;
    piece.m_Chunk = state.m_Directory.m_Chunks[i];
    piece.m_FirstKey = state.m_FirstKeys[i];
    if (change != end) {
      piece.m_Entries = Merge(*Load(state, i), change, end);
      change = end;
      if (piece.m_Entries->empty()) continue;
      Encode(piece);
    }
    bool const isJoined = !pieces.empty() && (piece.IsShort() || pieces.back().IsShort());
    if (isJoined) {
      Piece& before = pieces.back();
      auto const load = [&](Piece& each, std::size_t chunk) {
        if (each.m_Entries == nullptr) each.m_Entries = Load(state, chunk);
      };
      load(before, ChunkOf(state, before.m_FirstKey));
      load(piece, i);
      Join(before, piece);
    } else {
      pieces.push_back(std::move(piece));
    }
  }
  return pieces;
}

template <class K> void sto_StoredMap<K>::WriteBlock(State const& before, int number, sto_Bytes& content) {
  m_Blocks.Write(number, content, before.m_Numbers.Has(number));
}

template <class K> void sto_StoredMap<K>::WritePiece(Piece& piece, State const& before, State& next) {
  std::size_t done = 0;
  std::vector<sto_Run> const runs = sto_CutRow(piece.m_Sizes, sto_Format::ChunkBytes);
  for (sto_Run const& run : runs) {
    std::size_t bytes = 0;
    for (std::size_t i = run.m_First; i < run.m_First + run.m_Count; ++i) bytes += piece.m_Sizes[i];
    sto_ByteView const entries = sto_ByteView(piece.m_Bytes).subspan(done, bytes);
    done += bytes;
    sto_Chunk chunk;
    bool const isFirst = &run == &runs.front();
    chunk.m_Number = isFirst && piece.m_Chunk.m_Number >= 0 ? piece.m_Chunk.m_Number : next.m_Numbers.Take();
    chunk.m_Page = piece.m_Chunk.m_Page;
    chunk.m_Count = static_cast<int>(run.m_Count);
    chunk.m_Checksum = sto_ChunkChecksum(entries);
    K const& firstKey = (*piece.m_Entries)[run.m_First].first;
    sto_ByteWriter key(chunk.m_FirstKey);
    sto_KeyCodec<K>::Encode(key, firstKey);
    bool const isStored = isFirst && piece.m_Chunk.m_Number >= 0 &&
                          chunk.m_Checksum == piece.m_Chunk.m_Checksum &&
                          chunk.m_Count == piece.m_Chunk.m_Count;
    if (!isStored) {
      sto_Bytes content(entries.begin(), entries.end());
      WriteBlock(before, chunk.m_Number, content);
    }
    auto const first = piece.m_Entries->begin() + static_cast<std::ptrdiff_t>(run.m_First);
    Keep(chunk.m_Checksum, runs.size() == 1 ? piece.m_Entries
                                            : std::make_shared<Entries const>(
                                                  first, first + static_cast<std::ptrdiff_t>(run.m_Count)));
    next.m_FirstKeys.push_back(firstKey);
    next.m_Directory.m_Chunks.push_back(std::move(chunk));
  }
}

template <class K>
auto sto_StoredMap<K>::Write(State const& state, Changes const& changes, bool isCleared) -> State {
  if (changes.empty() && !isCleared && state.m_Whole == nullptr) return state;
  std::vector<Piece> pieces = Pieces(state, changes, isCleared);
  State next;
  bool const isShort = pieces.empty() || (pieces.size() == 1 && pieces.front().m_Entries != nullptr &&
                                          pieces.front().m_Bytes.size() <= sto_Format::InlineMapBytes);
  if (isShort) {
    if (!pieces.empty()) next.m_Whole = pieces.front().m_Entries;
    next.m_Count = static_cast<int>(next.m_Whole->size());
    if (!state.m_Numbers.Used().empty()) m_Blocks.DeleteAll();
    return next;
  }
  next.m_Whole = nullptr;
  for (Piece const& piece : pieces)
    if (piece.m_Chunk.m_Number >= 0) next.m_Numbers.Use(piece.m_Chunk.m_Number);
  if (state.m_Whole == nullptr && !isCleared) next.m_Directory.m_Pages = state.m_Directory.m_Pages;
  for (sto_Chunk const& page : next.m_Directory.m_Pages) next.m_Numbers.Use(page.m_Number);
  for (Piece& piece : pieces) {
    if (piece.m_Entries != nullptr) {
      WritePiece(piece, state, next);
      continue;
    }
    next.m_FirstKeys.push_back(std::move(piece.m_FirstKey));
    next.m_Directory.m_Chunks.push_back(std::move(piece.m_Chunk));
  }
  for (sto_Chunk const& chunk : next.m_Directory.m_Chunks) next.m_Count += chunk.m_Count;
  next.m_Listed = next.m_Directory.Encode(
      next.m_Numbers, [&](int number, sto_Bytes& content) { WriteBlock(state, number, content); });
  for (int const number : state.m_Numbers.Used())
    if (!next.m_Numbers.Has(number)) m_Blocks.Delete(number);
  return next;
}

template <class K> std::pair<sto_MapHeader, sto_Bytes> sto_StoredMap<K>::Content(State const& state) {
  sto_MapHeader header = HeaderOf<K>();
  header.m_Count = state.m_Count;
  header.m_InChunks = state.m_Whole == nullptr;
  if (header.m_InChunks) return {header, state.m_Listed};
  Piece piece;
  piece.m_Entries = state.m_Whole;
  Encode(piece);
  return {header, std::move(piece.m_Bytes)};
}

template <class K> std::vector<std::size_t> sto_StoredMap<K>::OnlyIn(State const& state, State const& other) {
  std::set<std::uint64_t> known;
  if (other.m_Whole == nullptr)
    for (sto_Chunk const& chunk : other.m_Directory.m_Chunks) known.insert(chunk.m_Checksum);
  std::vector<std::size_t> only;
  for (std::size_t i = 0; i < state.m_FirstKeys.size(); ++i)
    if (!known.contains(state.m_Directory.m_Chunks[i].m_Checksum)) only.push_back(i);
  return only;
}

template <class K>
void sto_StoredMap<K>::AddDifferences(State const& before, State const& now, Differences& differences) {
  auto const addOld = [&](Entries const& entries) {
    for (auto const& [key, id] : entries)
      if (IdOf(now, key) != id) differences.m_Keys.insert(key);
  };
  if (before.m_Whole != nullptr) addOld(*before.m_Whole);
  std::set<std::size_t> unknown;
  std::vector<std::size_t> const changed = OnlyIn(before, now);
  for (std::size_t const chunk : changed)
    if (EntriesRef const entries = InMemory(before, chunk)) {
      addOld(*entries);
    } else {
      unknown.insert(chunk);
      Range range;
      if (chunk > 0) range.m_First = before.m_FirstKeys[chunk];
      if (chunk + 1 < before.m_FirstKeys.size()) range.m_End = before.m_FirstKeys[chunk + 1];
      differences.m_Unknown.push_back(std::move(range));
    }
  auto const wasThere = [&](K const& key) {
    if (before.m_Whole != nullptr) return IdIn(*before.m_Whole, key) != 0;
    std::size_t const chunk = ChunkOf(before, key);
    if (unknown.contains(chunk)) return true; // the range says so
    EntriesRef const entries = InMemory(before, chunk);
    return entries != nullptr && IdIn(*entries, key) != 0;
  };
  auto const addNew = [&](Entries const& entries) {
    for (auto const& [key, id] : entries)
      if (!wasThere(key)) differences.m_Keys.insert(key);
  };
  if (now.m_Whole != nullptr) addNew(*now.m_Whole);
  for (std::size_t const chunk : OnlyIn(now, before)) addNew(*Load(now, chunk));
}

template class sto_StoredMap<int>;
template class sto_StoredMap<cow_String>;

#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <type_traits>
#include <unordered_map>
#include <utility>
#include <vector>

/// Entries by number, in the order of adding, for cls_LoadedObjects. Numbers are mostly consecutive, so an entry is found
/// through a page of neighbouring ones instead of a node of its own.
///
/// Invariants:
/// 1. An entry stays where it is until it is removed.
/// 2. A number leads to the entry that was added for it last, or to none.
///
/// Memory: an entry takes its own size and 4 bytes if the numbers are consecutive. However sparse they are, it takes at most
/// 300 bytes more. Errors: Add throws std::bad_alloc, and then nothing has changed; nothing else fails. Thread rule: one
/// thread.
template <class Entry> class cls_LoadedTable {
 public:
  cls_LoadedTable() = default;
  cls_LoadedTable(cls_LoadedTable const&) = delete;
  cls_LoadedTable& operator=(cls_LoadedTable const&) = delete;
  ~cls_LoadedTable() { RemoveFrom(0); }

  [[nodiscard]] std::size_t Count() const noexcept { return m_Count; }
  /// The entry of a number; null if there is none.
  [[nodiscard]] Entry const* Find(std::int64_t id) const noexcept {
    std::size_t const position = PositionOf(id);
    return position == None ? nullptr : &At(position);
  }
  [[nodiscard]] Entry* Find(std::int64_t id) noexcept {
    return const_cast<Entry*>(std::as_const(*this).Find(id));
  }
  /// How many entries were added before that of a number; None if it has none.
  [[nodiscard]] std::size_t PositionOf(std::int64_t id) const noexcept {
    Page const* const page = FindPage(PageOf(id));
    return page == nullptr ? None : std::size_t{(*page)[SlotOf(id)]} - 1;
  }
  static constexpr std::size_t None = std::numeric_limits<std::size_t>::max();

  /// Adds an entry, which the number leads to from now on.
  Entry& Add(std::int64_t id, Entry entry) {
    static_assert(std::is_nothrow_move_constructible_v<Entry>);
    if (m_Count >= std::numeric_limits<std::uint32_t>::max()) throw std::bad_alloc();
    Page& page = MakePage(PageOf(id));
    if (m_Count == m_Chunks.size() * EntriesInChunk)
      m_Chunks.push_back(std::make_unique_for_overwrite<Chunk>());
    Item* const item = new (Place(m_Count)) Item{std::move(entry), id};
    page[SlotOf(id)] = static_cast<std::uint32_t>(++m_Count);
    return item->m_Entry;
  }
  /// Removes the entries from a position on. Their numbers lead to none then.
  void RemoveFrom(std::size_t position) noexcept {
    while (m_Count > position) {
      Item* const item = &ItemAt(--m_Count);
      Page* const page = FindPage(PageOf(item->m_Id));
      if (std::uint32_t& slot = (*page)[SlotOf(item->m_Id)]; slot == m_Count + 1) slot = 0;
      item->~Item();
    }
  }
  /// Removes all entries. Keeps the memory of a few, so that many small loads do not ask for it again and again.
  void Clear() noexcept {
    RemoveFrom(0);
    if (m_Chunks.size() <= 1 && m_Pages.size() <= MaxKeptPages) return;
    m_Chunks.clear();
    m_Pages.clear();
    m_Latest = nullptr;
  }
  /// Calls `act` with the number and the entry of each, in the order of adding; also of those to which no number leads.
  template <class Act> void ForEach(Act act) noexcept {
    for (std::size_t i = 0; i < m_Count; ++i) act(ItemAt(i).m_Id, ItemAt(i).m_Entry);
  }

 private:
  static constexpr std::size_t EntriesInChunk = 512;
  static constexpr int PageBits = 6;
  static constexpr std::size_t MaxKeptPages = 16; // 4 KiB
  static constexpr std::size_t IdsInPage = std::size_t{1} << PageBits;

  struct Item {
    Entry m_Entry;
    std::int64_t m_Id;
  };
  struct Chunk {
    alignas(Item) std::byte m_Items[EntriesInChunk * sizeof(Item)];
  };
  using Page =
      std::array<std::uint32_t, IdsInPage>; // the position of the entry behind the number, plus 1; 0: none

  [[nodiscard]] static std::int64_t PageOf(std::int64_t id) noexcept { return id >> PageBits; }
  [[nodiscard]] static std::size_t SlotOf(std::int64_t id) noexcept {
    return static_cast<std::uint64_t>(id) & (IdsInPage - 1);
  }
  [[nodiscard]] std::byte* Place(std::size_t position) const noexcept {
    return m_Chunks[position / EntriesInChunk]->m_Items + position % EntriesInChunk * sizeof(Item);
  }
  [[nodiscard]] Item& ItemAt(std::size_t position) const noexcept {
    return *std::launder(reinterpret_cast<Item*>(Place(position)));
  }
  [[nodiscard]] Entry const& At(std::size_t position) const noexcept { return ItemAt(position).m_Entry; }

  [[nodiscard]] Page* FindPage(std::int64_t number) const noexcept {
    if (m_Latest != nullptr && m_LatestNumber == number) return m_Latest;
    auto const found = m_Pages.find(number);
    if (found == m_Pages.end()) return nullptr;
    m_LatestNumber = number;
    return m_Latest = &found->second;
  }
  [[nodiscard]] Page& MakePage(std::int64_t number) {
    if (Page* const page = FindPage(number)) return *page;
    Page& page = m_Pages.try_emplace(number, Page{}).first->second; // first: it may fail
    m_Latest = &page;
    m_LatestNumber = number;
    return page;
  }

  std::vector<std::unique_ptr<Chunk>> m_Chunks;
  std::size_t m_Count = 0;
  mutable std::unordered_map<std::int64_t, Page> m_Pages; // a map, so that pages keep their addresses
  mutable Page* m_Latest = nullptr;                       // the page that was asked for last
  mutable std::int64_t m_LatestNumber = 0;
};

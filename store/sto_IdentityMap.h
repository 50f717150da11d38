#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <unordered_map>

#include "persist/cls_Uid.h"

/// Ties the identities of a session's objects to their permanent ids in the store.
///
/// An identity in memory is the address of a record that is reused as soon as the identity dies, so a table
/// from records to ids would take a new object for a dead one. The tie therefore lives in the identity's own
/// history ring and is destroyed with it; the map only finds ties by id.
///
/// Ids are given out one after the other, so the ties of 16 neighbours stand in one page, each at the place
/// of its id: a tie costs no allocation and no entry of a table of its own.
///
/// Invariants: 1. Each tie is in the ring of one live identity and in the page of its id. 2. An identity has
/// at most one tie of a map, an id at most one tie. 3. A tie holds no reference: it never keeps an identity
/// alive. 4. A page has at least one tie.
///
/// Thread rule: the thread of the session. The map must go before the thread's identity catalogue.
class sto_IdentityMap {
  struct Page;

 public:
  /// The bond between one identity and one id.
  class Tie final : public cls_HistoryEntry {
   public:
    ~Tie() override;
    /// The tie's place in its page becomes free, and the page goes with its last tie.
    static void operator delete(Tie* tie, std::destroying_delete_t) noexcept;

    [[nodiscard]] std::int64_t Id() const noexcept;

    /// The number of the save that last wrote the object; 0 for none.
    std::int64_t m_WrittenInSave = 0;

   private:
    friend class sto_IdentityMap;
    Tie(Page& page, cls_UidCatalogEntry* entry) noexcept;

    Page& m_Page;
    cls_UidCatalogEntry* m_Entry;
  };

  sto_IdentityMap() = default;
  sto_IdentityMap(sto_IdentityMap const&) = delete;
  sto_IdentityMap& operator=(sto_IdentityMap const&) = delete;
  ~sto_IdentityMap();

  /// The tie of an identity, null when the session has none for it.
  [[nodiscard]] Tie* Find(cls_Uid const& uid) const noexcept;

  /// Ties an identity that has no tie yet to an id that has none.
  Tie& Add(cls_Uid const& uid, std::int64_t id);

  /// The identity of an id: the live one that is tied to it, otherwise a fresh one that is tied now.
  [[nodiscard]] cls_Uid IdentityOf(std::int64_t id);

  /// Unties every id from `firstId` on: they were given out in work that is undone.
  void DropFrom(std::int64_t firstId) noexcept;

  [[nodiscard]] std::size_t Count() const noexcept { return m_Count; }

 private:
  static constexpr std::int64_t IdsInPage = 16;
  static constexpr std::int64_t PagesInSegment = 256;

  struct Page {
    Page(sto_IdentityMap& map, std::int64_t number) noexcept : m_Map(map), m_Number(number) {}
    [[nodiscard]] Tie* At(std::size_t place) noexcept {
      return std::launder(reinterpret_cast<Tie*>(m_Ties) + place);
    }
    [[nodiscard]] bool Has(std::size_t place) const noexcept { return (m_Used >> place & 1) != 0; }

    sto_IdentityMap& m_Map;
    std::int64_t m_Number;   // of its first id, by IdsInPage
    unsigned int m_Used = 0; // one bit for each place that has a tie
    alignas(Tie) unsigned char m_Ties[IdsInPage * sizeof(Tie)];
  };

  /// The pages of 4096 neighbouring ids, so that the table of segments stays small.
  struct Segment {
    std::array<std::unique_ptr<Page>, PagesInSegment> m_Pages;
    int m_Count = 0;
  };

  [[nodiscard]] Page* FindPage(std::int64_t number) const noexcept;
  Page& MakePage(std::int64_t number);
  void DropPage(std::int64_t number) noexcept;
  static void DropFromPage(Page& page, std::int64_t firstId) noexcept;
  static std::size_t PlaceOf(std::int64_t id) noexcept { return static_cast<std::size_t>(id % IdsInPage); }

  std::unordered_map<std::int64_t, Segment> m_Segments; // its elements stay where they are
  mutable Page* m_Latest = nullptr;                     // the page that was looked at last
  std::size_t m_Count = 0;
};

inline std::int64_t sto_IdentityMap::Tie::Id() const noexcept {
  return m_Page.m_Number * IdsInPage + (this - m_Page.At(0));
}

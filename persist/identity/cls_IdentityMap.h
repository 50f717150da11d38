#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <new>
#include <typeinfo>
#include <unordered_map>

#include "persist/identity/cls_PagePool.h"
#include "persist/identity/cls_Uid.h"
#include "persist/identity/cls_Visits.h"
#include "platform/kvl_Export.h"

/// What a map belongs to: a back end derives its session from it. Whoever finds a tie of another map asks for
/// its owner by dynamic_cast, because that map may belong to another kind of back end.
class KVL_EXPORT cls_IdentityOwner {
 public:
  virtual ~cls_IdentityOwner(); // slot 0, the only one

 protected:
  cls_IdentityOwner() = default;
  cls_IdentityOwner(cls_IdentityOwner const&) = default;
  cls_IdentityOwner& operator=(cls_IdentityOwner const&) = default;
};

/// Ties the identities of a session's objects to their permanent ids in a storage, for any back end. While an
/// object is in memory, its id leads to its identity (so that it is read again as the same object), and its
/// identity to its id (so that it is saved again under the same id).
///
///     cls_Uid const& MyReader::GetUid() { return m_Uid = m_Session.m_Identities.IdentityOf(m_Id); }
///
///     std::int64_t MySession::IdOf(cls_Uid const& uid) { // when an object is written
///       return m_Identities.IdOf(uid, m_NextId);
///     }
///     void MySession::Undo() noexcept { m_Identities.DropFrom(m_NextId = m_FirstIdOfTransaction); }
///
/// An identity in memory is the address of a record, which is reused once the identity dies. A table from
/// records to ids would mistake a new object for a dead one. So a tie lives in the identity's own history
/// ring and is destroyed with it; the map only finds ties by id.
///
/// Ids are given out consecutively, or in ranges of consecutive ones. The ties of 31 neighbouring ids share one page, each in the slot of its
/// id. So a tie needs no allocation and no table entry of its own, and finds its page from its own address.
///
/// Invariants:
/// 1. Each tie is in the ring of one live identity and in the page of its id.
/// 2. An identity has at most one tie per map; an id has at most one tie. One identity may have ties of
///    several maps: of several sessions, and of several kinds of back end.
/// 3. A tie holds no reference: it never keeps an identity alive.
/// 4. A page has at least one tie.
///
/// An identity with ties of a few maps is found by a look at each. Once a search meets more, as in a program
/// that saves the same objects to hundreds of stores, the map makes an index of its own ties.
///
/// Undoing: ids that were given out in work that is undone must be untied (DropFrom) before they are given out
/// again. An object whose tie is gone gets a new id when it is saved the next time.
///
/// REQUIRES: ids are not negative; the map is destroyed before the thread's identity catalogue. Ownership:
/// ties belong to their identities' rings. Errors: std::bad_alloc; then nothing has changed. Thread rule: one
/// thread, that of the identities.
class KVL_EXPORT cls_IdentityMap {
  struct Page;

 public:
  /// Ties one identity to one id. The identity's ring owns it.
  class KVL_EXPORT Tie final : public cls_HistoryEntry {
   public:
    ~Tie() override;
    /// Frees the tie's slot, and the page with its last tie.
    static void operator delete(Tie* tie, std::destroying_delete_t) noexcept;

    [[nodiscard]] std::int64_t Id() const noexcept;
    [[nodiscard]] cls_IdentityMap const& Map() const noexcept;

    /// How the saves of the transaction reached the object. Valid until ForgetVisits, and as long as the tie
    /// lives. Throws std::bad_alloc.
    [[nodiscard]] cls_Visit& Visit() const;

    /// Whether the object is known to have been saved or loaded as a root.
    [[nodiscard]] bool IsRoot() const noexcept { return (InPage().m_Roots >> Slot() & 1) != 0; }

   private:
    friend class cls_IdentityMap;
    explicit Tie(cls_UidCatalogEntry* entry) noexcept : m_Entry(entry) { Link(&entry->m_History); }
    [[nodiscard]] Page& InPage() const noexcept;
    [[nodiscard]] std::size_t Slot() const noexcept;

    cls_UidCatalogEntry* m_Entry;
  };

  /// `owner` is what other maps' owners find when they meet a tie of this one; it outlives the map.
  explicit cls_IdentityMap(cls_IdentityOwner* owner = nullptr) noexcept : m_Owner(owner) {}
  cls_IdentityMap(cls_IdentityMap const&) = delete;
  cls_IdentityMap& operator=(cls_IdentityMap const&) = delete;
  ~cls_IdentityMap();

  /// Null if the map has no owner.
  [[nodiscard]] cls_IdentityOwner* Owner() const noexcept { return m_Owner; }
  /// The record of the identity that is tied to an id; null if there is none.
  [[nodiscard]] cls_UidCatalogEntry* EntryOf(std::int64_t id) noexcept;
  /// Calls `act` with each tie of an identity that belongs to another map.
  template <class Act> void ForEachForeignTie(cls_UidCatalogEntry* entry, Act act) const;

  /// The tie of an identity, null if this map has none.
  [[nodiscard]] Tie* Find(cls_Uid const& uid) noexcept;

  /// Ties an identity to an id. REQUIRES: neither has a tie in this map. Throws std::bad_alloc.
  Tie& Add(cls_Uid const& uid, std::int64_t id);

  /// The id that an identity is tied to. If there is none, it is tied to `nextId`, which then grows by one.
  /// REQUIRES: no identity is tied to `nextId`. Throws std::bad_alloc; then `nextId` has not changed.
  [[nodiscard]] std::int64_t IdOf(cls_Uid const& uid, std::int64_t& nextId) {
    if (Tie const* const tie = Find(uid)) return tie->Id();
    Add(uid, nextId);
    return nextId++;
  }

  /// Notes that an object is a root. Does nothing if no identity is tied to its id.
  void NoteRoot(std::int64_t id) noexcept;

  /// Forgets how the saves of the transaction, which is over, reached their objects.
  void ForgetVisits() noexcept { m_Visits.Reset(); }

  /// The live identity that is tied to an id, or a new one, which is then tied to it. Throws std::bad_alloc.
  [[nodiscard]] cls_Uid IdentityOf(std::int64_t id);

  /// Unties every id from `firstId` on, up to the one before `endId`: they were given out in work that is now
  /// undone.
  void DropFrom(std::int64_t firstId, std::int64_t endId = std::numeric_limits<std::int64_t>::max()) noexcept;

  [[nodiscard]] std::size_t Count() const noexcept { return m_Count; }

 private:
  static constexpr std::int64_t IdsInPage = cls_Visits::IdsInBlock;
  static constexpr std::int64_t PagesInSegment = 128;
  static constexpr std::size_t PageBytes = 1024;

  struct Page {
    Page(cls_IdentityMap& map, std::int64_t firstId) noexcept : m_Map(map), m_FirstId(firstId) {}
    [[nodiscard]] Tie* At(std::size_t slot) noexcept {
      return std::launder(reinterpret_cast<Tie*>(m_Ties) + slot);
    }
    [[nodiscard]] bool Has(std::size_t slot) const noexcept { return (m_Used >> slot & 1) != 0; }

    cls_IdentityMap& m_Map;
    std::int64_t m_FirstId;
    cls_Visits::Block* m_Visits = nullptr; // null until a save of the transaction reaches one of the ids
    unsigned int m_Used = 0;               // a bit for each slot: it has a tie
    unsigned int m_Roots = 0;              // a bit for each slot: its object is known to be a root
    alignas(Tie) unsigned char m_Ties[IdsInPage * sizeof(Tie)];
  };

  static_assert(sizeof(Page) <= PageBytes);

  /// The pages of neighbouring ids, so that the table of segments stays small.
  struct Segment {
    std::array<Page*, PagesInSegment> m_Pages{};
    int m_Count = 0;
  };

  /// The page of an id, null if there is none.
  [[nodiscard]] Page* PageWith(std::int64_t id) noexcept {
    auto const offset = static_cast<std::uint64_t>(id - (m_Latest == nullptr ? 0 : m_Latest->m_FirstId));
    return m_Latest != nullptr && offset < IdsInPage ? m_Latest : FindPage(id / IdsInPage);
  }
  // Hidden, so that calls among them cost no detour through the library's table of exported functions.
  [[nodiscard]] KVL_LOCAL Page* FindPage(std::int64_t number) noexcept;
  KVL_LOCAL Page& MakePage(std::int64_t number);
  KVL_LOCAL Tie& TieIn(Page* page, cls_Uid const& uid, std::int64_t id);
  KVL_LOCAL void DropPage(Page& page) noexcept;
  /// Makes the index of all ties; does nothing if memory runs out.
  KVL_LOCAL void MakeIndex() noexcept;
  /// Adds a tie that is about to be made. Throws std::bad_alloc; then a page without ties is freed.
  KVL_LOCAL void AddToIndex(Page& page, std::size_t slot, cls_UidCatalogEntry const* entry);
  KVL_LOCAL static void DropFromPage(Page& page, std::int64_t firstId, std::int64_t endId) noexcept;

  cls_IdentityOwner* m_Owner;
  cls_Visits m_Visits;
  cls_PagePool<PageBytes> m_Memory;
  std::unordered_map<std::int64_t, Segment> m_Segments; // a map, so that elements keep their addresses
  Page* m_Latest = nullptr;                             // the page found or made last
  std::size_t m_Count = 0;
  bool m_IsIndexed = false;
  std::unordered_map<cls_UidCatalogEntry const*, Tie*> m_Index; // of all ties, if m_IsIndexed
};

inline cls_IdentityMap::Page& cls_IdentityMap::Tie::InPage() const noexcept {
  return *static_cast<Page*>(cls_PagePool<PageBytes>::PageOf(const_cast<Tie*>(this)));
}

inline cls_IdentityMap const& cls_IdentityMap::Tie::Map() const noexcept {
  return InPage().m_Map;
}

template <class Act> void cls_IdentityMap::ForEachForeignTie(cls_UidCatalogEntry* entry, Act act) const {
  cls_HistoryEntry* const anchor = &entry->m_History;
  for (cls_HistoryEntry* each = anchor->Next(); each != anchor; each = each->Next())
    if (typeid(*each) == typeid(Tie))
      if (Tie const& tie = *static_cast<Tie*>(each); &tie.Map() != this) act(tie);
}

inline std::size_t cls_IdentityMap::Tie::Slot() const noexcept {
  return static_cast<std::size_t>(this - InPage().At(0));
}

inline std::int64_t cls_IdentityMap::Tie::Id() const noexcept {
  return InPage().m_FirstId + static_cast<std::int64_t>(Slot());
}

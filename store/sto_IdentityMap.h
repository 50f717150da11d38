#pragma once

#include <cstdint>
#include <unordered_map>

#include "persist/cls_Uid.h"

/// Ties the identities of a session's objects to their permanent ids in the store.
///
/// An identity in memory is the address of a record that is reused as soon as the identity dies, so a table
/// from records to ids would take a new object for a dead one. The tie therefore lives in the identity's own
/// history ring and is destroyed with it; the map only finds ties by id.
///
/// Invariants: 1. Each tie is in the ring of one live identity and in the map under its id. 2. An identity
/// has at most one tie of a map, an id at most one tie. 3. A tie holds no reference: it never keeps an
/// identity alive.
///
/// Thread rule: the thread of the session. The map must go before the thread's identity catalogue.
class sto_IdentityMap {
 public:
  /// The bond between one identity and one id.
  class Tie : public cls_HistoryEntry {
   public:
    ~Tie() override;

    [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }

    /// The number of the save that last wrote the object; 0 for none.
    std::int64_t m_WrittenInSave = 0;

   private:
    friend class sto_IdentityMap;
    Tie(sto_IdentityMap& map, cls_UidCatalogEntry* entry, std::int64_t id);

    sto_IdentityMap& m_Map;
    cls_UidCatalogEntry* m_Entry;
    std::int64_t m_Id;
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

  [[nodiscard]] std::size_t Count() const noexcept { return m_Ties.size(); }

 private:
  std::unordered_map<std::int64_t, Tie*> m_Ties;
};

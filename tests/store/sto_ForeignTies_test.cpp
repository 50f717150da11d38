#include "persist/identity/cls_IdentityMap.h"

#include <array>

#include "tests/support/store/StoreArrays.h"

// Identities that are tied to the storage of another kind of back end as well. A store looks through the ties
// of an array's identity for the agents of other stores, and must not take such a back end for a store.

namespace {

/// A session of another kind of back end. Whoever takes it for a store's session finds pointers that lead
/// nowhere, and crashes.
struct OtherBackEnd final : cls_IdentityOwner {
  OtherBackEnd() { m_NoSession.fill(0xFF); }
  std::array<unsigned char, 8192> m_NoSession;
  cls_IdentityMap m_Identities{this};
};

class StoreForeignTies : public StoreArrayTest {
 protected:
  static constexpr int Count = 5000;

  /// Ties an identity to ids that the stores have as well.
  void Tie(cls_Uid const& uid) {
    m_Other.m_Identities.Add(uid, m_NextId);
    m_Ownerless.Add(uid, m_NextId++);
  }

  OtherBackEnd m_Other;
  cls_IdentityMap m_Ownerless;
  std::int64_t m_NextId = 1;
};

TEST_F(StoreForeignTies, ArrayInMemoryIsSavedAndLoaded) {
  sto_Store store = Create();
  DoubleHolder holder;
  Fill(holder.m_Array, Count);
  Tie(holder.m_Uid);
  Tie(holder.m_Array.Uid());
  store.Save("array", holder);
  EXPECT_EQ(Elements(store.Load<DoubleHolder>("array")->m_Array), Numbers(Count));
  Fill(holder.m_Array, Count + 10);
  store.Save("array", holder);
  EXPECT_EQ(Elements(store.Load<DoubleHolder>("array")->m_Array), Numbers(Count + 10));
  EXPECT_EQ(m_Other.m_Identities.Find(holder.m_Array.Uid())->Id(), 2) << "the other tie is untouched";
  EXPECT_EQ(m_Other.m_Identities.Count(), 2U);
}

TEST_F(StoreForeignTies, ArrayOfAnotherStoreIsFoundAmongThem) {
  Make(Count, "from");
  sto_Store source = Open(sto_Mode::ReadWrite, "from");
  sto_Store target = Create("to");
  auto const holder = source.Load<DoubleHolder>("array");
  Tie(holder->m_Uid);
  Tie(holder->m_Array.Uid());
  target.Save("array", *holder);
  EXPECT_EQ(Elements(target.Load<DoubleHolder>("array")->m_Array), Numbers(Count));
}

} // namespace

// Who a described object is: copies are other objects, moved objects the same.

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "tests/describe/DescribedTest.h"
#include "tests/support/OnThread.h"

namespace {

class Gear {
 public:
  KVL_PERSISTED(Gear, 0x730001, "Gear", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Teeth));
    field(KVL_F(m_Angles));
  }
  explicit Gear(int teeth) : m_Teeth(teeth), m_Angles(3, teeth) {}
  int m_Teeth = 0;
  std::vector<double> m_Angles;
};

class DescribedIdentity : public DescribedTest {
 protected:
  DescribedIdentity() { Gear::Declare(m_Registrar); }
  sto_Store Create() { return sto_Store::Open(Path(), sto_Mode::Create, m_Registrar); }
  cls_ClassRegistrar m_Registrar;
};

TEST_F(DescribedIdentity, CopyIsAnotherObjectWithItsOwnCollections) {
  sto_Store store = Create();
  Gear const first(10);
  store.Save("first", first);
  Gear second = first;
  second.m_Teeth = 20;
  second.m_Angles.assign(4, 1.0);
  store.Save("second", second);
  EXPECT_EQ(store.Load<Gear>("first")->m_Angles, first.m_Angles);
  EXPECT_EQ(store.Load<Gear>("second")->m_Angles, second.m_Angles);
  store.Close();
  EXPECT_EQ(ObjectCount(), 4U);
}

TEST_F(DescribedIdentity, MoveAndAssignmentKeepWhoAnObjectIs) {
  sto_Store store = Create();
  Gear gear(10);
  store.Save("gear", gear);
  Gear moved = std::move(gear);
  moved.m_Teeth = 11;
  store.Save("gear", moved);
  moved = Gear(12); // a move: another object
  store.Save("other", moved);
  Gear const source(13);
  moved = source; // a copy: the content only
  store.Save("other", moved);
  EXPECT_EQ(store.Load<Gear>("gear")->m_Teeth, 11);
  EXPECT_EQ(store.Load<Gear>("other")->m_Teeth, 13);
  store.Close();
  EXPECT_EQ(ObjectCount(), 4U);
}

TEST_F(DescribedIdentity, VectorsThatGrowKeepTheirObjects) {
  static_assert(std::is_nothrow_move_constructible_v<Gear>);
  std::vector<Gear> gears;
  gears.emplace_back(1);
  cls_Uid const uid = gears.front().Uid();
  for (int i = 0; i < 100; ++i) gears.emplace_back(i);
  EXPECT_EQ(gears.front().Uid().Entry(), uid.Entry());
}

TEST_F(DescribedIdentity, ObjectMadeOnOneThreadIsSavedOnAnother) {
  std::unique_ptr<Gear> gear;
  OnThread([&gear] { gear = std::make_unique<Gear>(5); });
  sto_Store store = Create();
  store.Save("gear", *gear);
  EXPECT_EQ(store.Load<Gear>("gear")->m_Teeth, 5);
}

} // namespace

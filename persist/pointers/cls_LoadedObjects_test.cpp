#include "persist/pointers/cls_LoadedObjects.h"

#include <gtest/gtest.h>

namespace {

class LoadedObjects : public ::testing::Test {
 protected:
  void Add(std::int64_t id) { m_Loaded.Add(id, typeid(int), std::make_shared<int>(1), cls_BuiltAs::Itself); }
  bool Has(std::int64_t id) const { return m_Loaded.Find(id) != nullptr; }

  cls_LoadedObjects m_Loaded;
};

} // namespace

TEST_F(LoadedObjects, OutermostLoadForgetsThem) {
  {
    cls_OneLoad outer(m_Loaded);
    Add(1);
    {
      cls_OneLoad inner(m_Loaded);
      Add(2);
      inner.Complete();
    }
    EXPECT_TRUE(Has(1) && Has(2));
    EXPECT_TRUE(m_Loaded.InLoad());
    outer.Complete();
  }
  EXPECT_FALSE(Has(1) || Has(2));
  EXPECT_FALSE(m_Loaded.InLoad());
}

TEST_F(LoadedObjects, OutermostScopeKeepsThem) {
  m_Loaded.EnterScope();
  m_Loaded.EnterScope();
  {
    cls_OneLoad load(m_Loaded);
    Add(1);
    EXPECT_FALSE(m_Loaded.IsOfEarlierLoad(*m_Loaded.Find(1)));
    load.Complete();
  }
  m_Loaded.LeaveScope();
  {
    cls_OneLoad load(m_Loaded);
    ASSERT_TRUE(Has(1));
    EXPECT_TRUE(m_Loaded.IsOfEarlierLoad(*m_Loaded.Find(1)));
    load.Complete();
  }
  m_Loaded.LeaveScope();
  EXPECT_FALSE(Has(1));
}

TEST_F(LoadedObjects, FailedLoadLeavesNoneOfItsOwnInAScope) {
  m_Loaded.EnterScope();
  {
    cls_OneLoad load(m_Loaded);
    Add(1);
    load.Complete();
  }
  {
    cls_OneLoad const load(m_Loaded);
    Add(2);
    { cls_OneLoad const inner(m_Loaded); } // that a nested load fails is for the outer one to judge
    EXPECT_TRUE(Has(2));
  }
  EXPECT_TRUE(Has(1));
  EXPECT_FALSE(Has(2));
  m_Loaded.LeaveScope();
}

TEST_F(LoadedObjects, FailedObjectTakesThoseBegunAfterIt) {
  cls_OneLoad const load(m_Loaded);
  for (std::int64_t const id : {5, 3, 9}) Add(id);
  m_Loaded.RemoveFrom(3);
  EXPECT_TRUE(Has(5));
  EXPECT_FALSE(Has(3) || Has(9));
  m_Loaded.RemoveFrom(3); // unknown: nothing happens
  EXPECT_TRUE(Has(5));
}

TEST_F(LoadedObjects, UndoneNumbersAreNotFoundAndStayAlive) {
  cls_OneLoad const load(m_Loaded);
  std::weak_ptr<void> undone;
  for (std::int64_t const id : {1, 2}) Add(id);
  undone = m_Loaded.Find(2)->m_Object;
  m_Loaded.Undo(2);
  EXPECT_TRUE(Has(1));
  EXPECT_FALSE(Has(2));
  EXPECT_FALSE(undone.expired());
  Add(2);
  EXPECT_TRUE(Has(2));
}

TEST_F(LoadedObjects, NumbersBehindTheUndoneOnesAreFound) {
  cls_OneLoad const load(m_Loaded);
  for (std::int64_t const id : {1, 2, 3, 4}) Add(id);
  m_Loaded.Undo(2, 4);
  EXPECT_TRUE(Has(1) && Has(4));
  EXPECT_FALSE(Has(2) || Has(3));
}

TEST_F(LoadedObjects, UndoneObjectStaysAliveInItsScopeWhenAnotherGetsItsNumber) {
  m_Loaded.EnterScope();
  Add(2);
  Add(3);
  std::weak_ptr<void> const shared = m_Loaded.Find(2)->m_Object;
  std::weak_ptr<void> const other = m_Loaded.Find(3)->m_Object;
  m_Loaded.Undo(2);
  {
    cls_OneLoad load(m_Loaded);
    Add(2);
    m_Loaded.AddUnshared(3, typeid(int), cls_BuildFault::HasOneOwner);
    load.Complete();
  }
  EXPECT_NE(m_Loaded.Find(2)->m_Object, shared.lock());
  EXPECT_FALSE(shared.expired() || other.expired());
  m_Loaded.LeaveScope();
  EXPECT_TRUE(shared.expired() && other.expired());
}

TEST_F(LoadedObjects, FailedLoadTakesTheObjectThatGotAnUndoneNumber) {
  m_Loaded.EnterScope();
  Add(2);
  std::weak_ptr<void> const undone = m_Loaded.Find(2)->m_Object;
  m_Loaded.Undo(2, 3);
  {
    cls_OneLoad const load(m_Loaded);
    Add(2);
    EXPECT_TRUE(Has(2));
  }
  EXPECT_FALSE(Has(2));
  EXPECT_FALSE(undone.expired());
  m_Loaded.LeaveScope();
  EXPECT_TRUE(undone.expired());
}

TEST_F(LoadedObjects, ObjectOfAnEarlierLoadIsNotOfThisOne) {
  m_Loaded.EnterScope();
  {
    cls_OneLoad load(m_Loaded);
    Add(1);
    EXPECT_TRUE(m_Loaded.IsOfThisLoad(*m_Loaded.Find(1), typeid(int)));
    EXPECT_FALSE(m_Loaded.IsOfThisLoad(*m_Loaded.Find(1), typeid(long)));
    load.Complete();
  }
  cls_OneLoad const load(m_Loaded);
  EXPECT_FALSE(m_Loaded.IsOfThisLoad(*m_Loaded.Find(1), typeid(int)));
  m_Loaded.LeaveScope();
}

TEST_F(LoadedObjects, UnsharedEntrySaysWhy) {
  cls_OneLoad const load(m_Loaded);
  m_Loaded.AddUnshared(4, typeid(int), cls_BuildFault::IsUnfinished);
  EXPECT_EQ(m_Loaded.Find(4)->m_Object, nullptr);
  EXPECT_EQ(m_Loaded.Find(4)->m_WhyNot, cls_BuildFault::IsUnfinished);
  Add(4);
  EXPECT_NE(m_Loaded.Find(4)->m_Object, nullptr);
}

#include "store/refs/sto_Find.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/refs/sto_List.h"
#include "tests/support/store/OpenStoreTest.h"

namespace find_test {
namespace {

enum class Colour { Red, Green };

class Thing : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Thing, kvl::Polymorphic, 0x7B0201, "Thing", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number), kvl::Indexed{});
    field(KVL_F(m_Name), kvl::Indexed{});
    field(KVL_F(m_Colour));
    field(KVL_F(m_Next));
  }
  explicit Thing(int number = 0, std::string name = {}) : m_Number(number), m_Name(std::move(name)) {}
  int m_Number = 0;
  std::string m_Name;
  Colour m_Colour = Colour::Red;
  sto_Ref<Thing> m_Next;
};

class HeavyThing : public Thing {
 public:
  KVL_PERSISTED(HeavyThing, Thing, 0x7B0202, "HeavyThing", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Mass), kvl::Indexed{}); }
  explicit HeavyThing(int number = 0, double mass = 0) : Thing(number), m_Mass(mass) {}
  double m_Mass = 0;
};

class Find : public OpenStoreTest {
 protected:
  Find() : OpenStoreTest([](cls_ClassRegistrar& registrar) { HeavyThing::Declare(registrar); }) {
    sto_Transaction transaction(*m_Store);
    for (int i = 0; i < 10; ++i)
      m_Store->Save("thing " + std::to_string(i), Thing(i, i % 2 == 0 ? "even" : "odd"));
    for (int i = 5; i < 8; ++i) m_Store->Save("heavy " + std::to_string(i), HeavyThing(i, 0.5 * i));
    transaction.Commit();
  }
  template <class T> static std::vector<int> NumbersOf(std::vector<sto_Ref<T>> const& found) {
    std::vector<int> numbers;
    numbers.reserve(found.size());
    for (sto_Ref<T> const& each : found) numbers.push_back(each->m_Number);
    return numbers;
  }
};

TEST_F(Find, FindsObjectsByTheirValues) {
  Reopen();
  std::vector<sto_Ref<Thing>> const found = m_Store->Find<Thing>(&Thing::m_Number, 6);
  ASSERT_EQ(found.size(), 2U);
  EXPECT_FALSE(found[0].IsLoaded());
  EXPECT_EQ(found[0], m_Store->Ref<Thing>("thing 6"));
  EXPECT_EQ(found[1], m_Store->Ref<Thing>("heavy 6"));
  EXPECT_EQ(NumbersOf(m_Store->Find<Thing>(&Thing::m_Name, "odd")), (std::vector{1, 3, 5, 7, 9}));
  EXPECT_TRUE(m_Store->Find<Thing>(&Thing::m_Number, 60).empty());
  EXPECT_EQ(m_Store->FindOne<Thing>(&Thing::m_Number, 6), found[0]);
  EXPECT_EQ(m_Store->FindOne<Thing>(&Thing::m_Number, 60), nullptr);
}

TEST_F(Find, FindsOnlyObjectsOfTheClass) {
  EXPECT_EQ(NumbersOf(m_Store->Find<HeavyThing>(&HeavyThing::m_Number, 6)), (std::vector{6}));
  EXPECT_EQ(m_Store->FindOne<HeavyThing>(&HeavyThing::m_Mass, 3.5)->m_Number, 7);
}

TEST_F(Find, FindsRangesInTheOrderOfTheValues) {
  EXPECT_EQ(NumbersOf(m_Store->FindBetween<Thing>(&Thing::m_Number, 4, 6)), (std::vector{4, 5, 5, 6, 6}));
  EXPECT_EQ(NumbersOf(m_Store->FindBetween<HeavyThing>("m_Mass", 2.6, 1e9)), (std::vector{6, 7}));
  EXPECT_EQ(NumbersOf(m_Store->FindBetween<Thing>("m_Number", 8, 9U)), (std::vector{8, 9}));
  EXPECT_TRUE(m_Store->FindBetween<Thing>(&Thing::m_Number, 6, 4).empty());
}

TEST_F(Find, FindsWithoutAnIndexToo) {
  EXPECT_EQ(m_Store->Find<Thing>(&Thing::m_Colour, Colour::Red).size(), 13U);
  EXPECT_TRUE(m_Store->Find<Thing>(&Thing::m_Colour, Colour::Green).empty());
  Reopen(sto_Mode::ReadOnly);
  EXPECT_EQ(m_Store->Find<Thing>(&Thing::m_Number, 6).size(), 2U);
}

TEST_F(Find, RefusesValuesThatTheAttributeCannotHave) {
  ExpectError(sto_ErrorKind::Misuse, "searched by a text in attribute m_Number, which is a number",
              [&] { static_cast<void>(m_Store->Find<Thing>("m_Number", "6")); });
  ExpectError(sto_ErrorKind::Misuse, "searched by a number in attribute m_Name, which is a text",
              [&] { static_cast<void>(m_Store->Find<HeavyThing>("m_Name", 6)); });
  ExpectError(sto_ErrorKind::Misuse, "which is a reference to an object",
              [&] { static_cast<void>(m_Store->FindBetween<Thing>("m_Next", 6, 7)); });
}

TEST_F(Find, SeesWhatTheTransactionHasChanged) {
  {
    sto_Transaction transaction(*m_Store);
    m_Store->FindOne<Thing>(&Thing::m_Number, 3).Edit().m_Number = 300;
    m_Store->Ref<Thing>("thing 1").Edit().m_Next = sto_Ref<Thing>(std::make_shared<Thing>(301));
    EXPECT_EQ(NumbersOf(m_Store->FindBetween<Thing>(&Thing::m_Number, 300, 400)), (std::vector{300, 301}));
    EXPECT_FALSE(m_Store->FindOne<Thing>(&Thing::m_Number, 3));
  }
  EXPECT_TRUE(m_Store->FindOne<Thing>(&Thing::m_Number, 3));
  EXPECT_TRUE(m_Store->FindBetween<Thing>(&Thing::m_Number, 300, 400).empty());
}

TEST_F(Find, ForEachVisitsTheObjectsOfAClass) {
  Reopen();
  int sum = 0;
  m_Store->ForEach<Thing>([&](sto_Ref<Thing> const& each) { sum += each->m_Number; });
  EXPECT_EQ(sum, 45 + 18);
  EXPECT_FALSE(m_Store->Ref<Thing>("thing 5").IsLoaded()); // it is let go of
  sum = 0;
  m_Store->ForEach<HeavyThing>([&](sto_Ref<HeavyThing> const& each) { sum += each->m_Number; });
  EXPECT_EQ(sum, 18);
  int visited = 0;
  m_Store->ForEach<Thing>([&](sto_Ref<Thing> const&) { return ++visited < 4; });
  EXPECT_EQ(visited, 4);
}

TEST_F(Find, ForEachKeepsWhatIsChangedOrWasLoaded) {
  Reopen();
  Thing const& loaded = *m_Store->Ref<Thing>("thing 5");
  sto_Transaction transaction(*m_Store);
  m_Store->ForEach<Thing>([&](sto_Ref<Thing> const& each) {
    if (each->m_Number == 2) each.Edit().m_Number = 20;
  });
  transaction.Commit();
  EXPECT_EQ(loaded.m_Number, 5);
  Reopen();
  EXPECT_EQ(m_Store->Ref<Thing>("thing 2")->m_Number, 20);
  EXPECT_TRUE(m_Store->FindOne<Thing>(&Thing::m_Number, 20));
}

TEST_F(Find, RefusesWhatItDoesNotKnow) {
  EXPECT_THROW((void)m_Store->Find<Thing>("m_Nothing", 1), sto_Exception);
  EXPECT_THROW(m_Store->ForEach<Thing>([&](sto_Ref<Thing> const& each) { each.Edit().m_Number = 1; }),
               sto_Exception);
  m_Store->ForEach<Thing>([](sto_Ref<Thing> const&) { return false; }); // the transaction of before is over
}

} // namespace
} // namespace find_test

#include "store/inspect/sto_Inspection.h"
#include "tests/support/store/StoreVerbs.h"
#include "tools/kvlstore/base/kvs_Address.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Values.h"

namespace kvlstore_test {
namespace {

class KvsAddress : public VerbTest {
 protected:
  /// What an address leads to, as a text.
  [[nodiscard]] std::string At(std::string const& address) const {
    sto_Store store = kvs_OpenToRead(Path());
    sto_Inspection const inspection(store);
    kvs_Found const found = kvs_Find(store, inspection, address);
    EXPECT_EQ(found.m_Name, address);
    return found.m_Object ? found.m_Object->ClassName() : kvs_ValueText(found.m_Value);
  }
  /// The line about an address that leads nowhere.
  [[nodiscard]] std::string Problem(std::string const& address) const {
    try {
      ADD_FAILURE() << address << " leads to " << At(address);
    } catch (kvs_Error const& failure) {
      EXPECT_TRUE(Contains(failure.what(), Path())) << failure.what();
      ExpectPrintable(failure.what());
      EXPECT_FALSE(Contains(failure.what(), "\n"));
      return failure.what();
    } catch (sto_Exception const& failure) {
      EXPECT_EQ(failure.Kind(), sto_ErrorKind::NotFound) << failure.what();
      return failure.what();
    }
    return {};
  }
};

TEST_F(KvsAddress, LeadsToAttributesElementsAndEntries) {
  m_Store->Save("lists", Lists(12));
  Values values;
  values.m_First = std::make_shared<Beam>("first");
  values.m_First->m_Next = std::make_shared<Part>("next");
  m_Store->Save("values", values);
  EXPECT_EQ(At("lists"), "Lists");
  EXPECT_EQ(At("lists.m_Doubles[3]"), "3.5");
  EXPECT_EQ(At("lists.m_Parts[1]"), "Part");
  EXPECT_EQ(At("lists.m_Parts[1].m_Name"), "\"1\"");
  EXPECT_EQ(At("lists.m_Parts[0]"), "none");
  EXPECT_EQ(At("lists.m_ByName[key 3]"), "1.5");
  EXPECT_EQ(At("lists.m_ByName[\"key 3\"]"), "1.5");
  EXPECT_EQ(At("lists.m_ByNumber[-2]"), "\"0\"");
  EXPECT_EQ(At("lists.m_PartByName[beam].m_Length"), "2.5");
  EXPECT_EQ(At("values.m_First.m_Name"), "\"first\""); // of the base class
  EXPECT_EQ(At("values.m_First.m_Next.m_Name"), "\"next\"");
  EXPECT_EQ(At("values.m_Point.y"), "2");
  EXPECT_EQ(At("values.m_Tuple.1"), "\"three\"");
  EXPECT_EQ(At("values.m_Samples.m_Points.values.y[1]"), "4"); // its name has points
  EXPECT_EQ(At("#1.m_Doubles[3]"), "3.5");
}

TEST_F(KvsAddress, SaysHowFarItLeads) {
  m_Store->Save("lists", Lists(12));
  m_Store->Save("values", Values());
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles[12]"),
                       "lists.m_Doubles: It has no element [12]: it has 12 elements."));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles[-1]"), "no element [-1]"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles[99999999999999999999]"), "no element"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles[1"), "in brackets is missing"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles]"), "no attribute"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles[1].m_X"), "no attribute m_X"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubl"), "Lists has no attribute m_Doubl"));
  EXPECT_TRUE(Contains(Problem("lists.m_Doubles1"), "Lists has no attribute m_Doubles1"));
  EXPECT_TRUE(Contains(Problem("lists."), "no attribute"));
  EXPECT_TRUE(Contains(Problem("lists[0]"), "no elements"));
  EXPECT_TRUE(Contains(Problem("lists.m_ByName[no such key]"), "no entry with the key \"no such key\""));
  EXPECT_TRUE(Contains(Problem("lists.m_ByNumber[x]"), "no entry"));
  EXPECT_TRUE(Contains(Problem("values.m_Double.m_X"), "no attribute"));
  EXPECT_TRUE(Contains(Problem("values.m_Second.m_Name"), "no attribute"));
  EXPECT_TRUE(Contains(Problem("values.m_Samples.m_Points.values.y[3]"), "no element"));
  EXPECT_TRUE(Contains(Problem("values.m_Samples.m_Points.values.z"), "no attribute"));
  for (char const* const none : {"", "nothing", "Lists", ".", "[", "]", "#", "#x", "#1x", "\x1b[31m", "\xFF"})
    EXPECT_TRUE(Contains(Problem(none), "root") || Contains(Problem(none), "number of an object")) << none;
  EXPECT_TRUE(Contains(Problem("#4711"), "4711"));
  EXPECT_TRUE(Contains(Problem("#-1"), "-1"));
}

TEST_F(KvsAddress, NamesMayHavePointsAndBrackets) {
  for (char const* const root : {"a", "a.m_Name", "a[1]", "a.m_Next.x", "#tag", "#7", "run 1/step.2[3]"})
    m_Store->Save(root, Part(root));
  EXPECT_EQ(At("#1.m_Name"), "\"a\"");
  for (char const* const root : {"a[1]", "a.m_Next.x", "#tag", "run 1/step.2[3]"})
    EXPECT_EQ(At(std::string(root) + ".m_Name"), '"' + std::string(root) + '"');
  EXPECT_EQ(At("a.m_Name"), "Part"); // the longest name
  EXPECT_EQ(At("a.m_Name.m_Name"), "\"a.m_Name\"");
  EXPECT_EQ(At("#7.m_Name"), "\"run 1/step.2[3]\""); // a number first
}

TEST_F(KvsAddress, KeysMayHaveAnything) {
  Lists lists;
  int count = 0;
  for (std::string const& key :
       {std::string(), std::string("]"), std::string("a]"), std::string("a].b"), std::string("a.b"),
        std::string("\"quoted\""), std::string("none"), std::string(300, 'k') + "1",
        std::string(300, 'k') + "2", std::string("\x1b[0m"), std::string("\xFF")})
    lists.m_ByName[key] = ++count;
  lists.m_PartByName["x"] = std::make_shared<Part>("short");
  lists.m_PartByName["x].m_Next[y"] = std::make_shared<Part>("long");
  m_Store->Save("lists", lists);
  for (auto const& [key, value] : lists.m_ByName) {
    EXPECT_EQ(At("lists.m_ByName[" + key + "]"), kvs_ValueText(value)) << key;
    // As `show` and `diff` print it.
    EXPECT_EQ(At("lists.m_ByName[" + kvs_ValueText(sto_InspectedText(key), std::string::npos) + "]"),
              kvs_ValueText(value))
        << key;
  }
  EXPECT_EQ(At("lists.m_PartByName[x].m_Name"), "\"short\"");
  EXPECT_EQ(At("lists.m_PartByName[x].m_Next[y].m_Name"), "\"long\"");
}

} // namespace
} // namespace kvlstore_test

#include <atomic>
#include <chrono>
#include <thread>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreVerbs.h"

namespace kvlstore_test {
namespace {

namespace fs = std::filesystem;

class KvsVerbs : public VerbTest {
 protected:
  [[nodiscard]] Done Info(bool isJson) const {
    return Run([&](kvs_Output& out) { return kvs_Info(Path(), isJson, out); });
  }
  [[nodiscard]] Done Check(std::string const& name, bool isFull, bool isJson = false) const {
    return Run([&](kvs_Output& out) { return kvs_Check(Path(name), isFull, isJson, out); });
  }
  [[nodiscard]] Done Recover(std::string const& from, std::string const& to, bool isJson = true) const {
    return Run([&](kvs_Output& out) { return kvs_Recover(Path(from), Path(to), isJson, out); });
  }
  [[nodiscard]] Done Copy(std::string const& to) const {
    return Run([&](kvs_Output& out) { return kvs_Copy(Path(), Path(to), true, out); });
  }
};

TEST_F(KvsVerbs, InfoOfANewStoreAndOfASave) {
  EXPECT_EQ(json::parse(Info(true).m_Text)["newestSave"]["save"], 1); // the creation
  {
    sto_Transaction transaction(*m_Store);
    transaction.SetNote("\x1b[31m \xFF");
    m_Store->Save("part", Part("p"));
    transaction.Commit();
  }
  json const info = json::parse(Info(true).m_Text);
  EXPECT_EQ(info["newestSave"]["save"], 2);
  EXPECT_EQ(info["newestSave"]["note"], "\x1b[31m \uFFFD");
  EXPECT_EQ(info["roots"], 1);
  EXPECT_EQ(info["format"], 4);
  EXPECT_EQ(info["sum"].get<std::string>().size(), 32U);
  ExpectPrintable(Info(false).m_Text);
  EXPECT_TRUE(Contains(Info(false).m_Text, "note      \\x1b[31m \\xff\n"));
}

TEST_F(KvsVerbs, LsFindsRootsAndObjects) {
  for (char const* const root : {"a/1", "a/2", "b", "step[1]", "\x1b[31mred"})
    m_Store->Save(root, Part(root));
  m_Store->Save("beam", Beam("beam"));
  EXPECT_EQ(Ls(false).m_Text, "\\x1b[31mred\na/1\na/2\nb\nbeam\nstep[1]\n");
  EXPECT_EQ(Ls(false, false, "a/*").m_Text, "a/1\na/2\n");
  EXPECT_EQ(Ls(false, false, "[ab]*").m_Text, "a/1\na/2\nb\nbeam\n");
  EXPECT_EQ(Ls(false, false, "step[1]").m_Text, "step[1]\n"); // as it is printed
  EXPECT_EQ(Ls(false, false, "nothing").m_Text, "");
  EXPECT_EQ(Ls(false, false, "*", "Beam").m_Text, "beam\n");
  EXPECT_EQ(Ls(false, false, "b*", "Part").m_Text, "b\nbeam\n"); // derived classes, too
  EXPECT_EQ(Ls(true, false, "*", "Beam").m_Text, "#6  Beam  root \"beam\"\n");
  EXPECT_EQ(Lines(Ls(true, true).m_Text).size(), 6U);
  EXPECT_EQ(Lines(Ls(false, true, "beam", "", true).m_Text).at(0)["version"], 3);
  EXPECT_TRUE(Contains(Ls(false, false, "*", "0x7c0012").m_Text, "beam"));
  EXPECT_TRUE(Contains(Ls(true, false, "*", "", true).m_Text, "Beam version 3"));
  EXPECT_TRUE(Contains(Ls(false, false, "*", "Be\nam").m_Error, "no class \"Be\\nam\""));
  EXPECT_TRUE(Contains(Ls(false, false, "*", "", true).m_Text, "Part"));
}

TEST_F(KvsVerbs, ShowEndsAtCirclesAndDepths) {
  Values values;
  values.m_First = values.m_Second = std::make_shared<Beam>("shared");
  values.m_First->m_Next = values.m_First;
  m_Store->Save("values", values);
  values.m_First->m_Next = nullptr; // so that they are freed
  std::string const text = Show("values").m_Text;
  EXPECT_TRUE(Contains(text, "shown above as values.m_First")) << text;
  EXPECT_TRUE(Contains(text, "Steel (7)")) << text;
  EXPECT_TRUE(Contains(text, "1.5 mm")) << text;
  EXPECT_TRUE(Contains(text, "m_Point.y ")) << text;
  EXPECT_TRUE(Contains(text, "from Part:")) << text;
  EXPECT_FALSE(Contains(Show("values", false, 1).m_Text, "shared\""));
  EXPECT_EQ(Show("values.m_Double").m_Text, "values.m_Double  double  1.5 mm\n");
  json const shown = json::parse(Show("values", true).m_Text);
  std::map<std::string, json> fields;
  for (json const& field : shown["fields"]) fields[field["name"]] = field;
  EXPECT_EQ(fields["m_Material"]["enumerator"], "Steel");
  EXPECT_EQ(fields["m_Double"]["unit"], "mm");
  EXPECT_EQ(fields["m_Second"]["value"]["shownAs"], "values.m_First");
  EXPECT_EQ(fields["m_First"]["value"]["class"], "Beam");
  EXPECT_EQ(json::parse(Show("values.m_Point.y", true).m_Text), 2);
}

TEST_F(KvsVerbs, ShowOfALongChain) {
  std::shared_ptr<Part> first;
  for (int i = 0; i < 1200; ++i) {
    auto part = std::make_shared<Part>(std::to_string(i));
    part->m_Next = std::exchange(first, part);
  }
  Values values;
  values.m_First = first;
  m_Store->Save("values", values);
  EXPECT_TRUE(Contains(Show("values", false, 1000).m_Text, "\"203\""));
  EXPECT_FALSE(json::parse(Show("values", true, 1000).m_Text).is_discarded());
  while (first) first = std::exchange(first->m_Next, nullptr);
}

TEST_F(KvsVerbs, ShowNamesLeadBackToWhatTheyName) {
  m_Store->Save("lists", Lists(8));
  json const shown = json::parse(Show("lists", true).m_Text);
  std::vector<std::string> names;
  std::function<void(json const&)> const collect = [&](json const& value) {
    if (value.is_object() && value.contains("id")) names.push_back(value["name"]);
    if (value.is_structured())
      for (json const& each : value) collect(each);
  };
  collect(shown);
  EXPECT_GT(names.size(), 20U);
  for (std::string const& name : names) EXPECT_EQ(Show(name).m_Error, "") << name;
}

TEST_F(KvsVerbs, DeletedObjectsAreSaidToBe) {
  m_Store->Save("kept", Part("kept"));
  m_Store->Save("gone", Part("gone"));
  m_Store->RemoveRoot("gone");
  m_Store->CollectGarbage();
  EXPECT_EQ(Lines(Ls(true, true).m_Text).size(), 1U);
  EXPECT_TRUE(Contains(Show("#2").m_Error, "There is no object 2"));
}

TEST_F(KvsVerbs, LogHasTheNewestSaves) {
  for (int i = 0; i < 5; ++i) m_Store->Save("part " + std::to_string(i), Part("p"));
  EXPECT_EQ(Lines(Log(false, true).m_Text).size(), 6U); // with the creation
  std::vector<json> const last = Lines(Log(true, true, 2).m_Text);
  ASSERT_EQ(last.size(), 2U);
  EXPECT_EQ(last[1]["save"], 6);
  EXPECT_EQ(last[1]["roots"], json({"part 4"}));
  EXPECT_EQ(Lines(Log(false, true, 100).m_Text).size(), 6U);
  EXPECT_EQ(Lines(Log(false, true, std::numeric_limits<std::int64_t>::max()).m_Text).size(), 6U);
  EXPECT_TRUE(Contains(Log(true, false).m_Text, "root \"part 4\""));
}

TEST_F(KvsVerbs, WatchSeesWhatAnotherSessionSaves) {
  std::atomic<bool> isDone = false;
  std::thread writer([&] {
    while (!isDone) {
      sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar);
      try {
        store.Save("part", Part("p"));
      } catch (sto_Exception const& failure) {
        EXPECT_EQ(failure.Kind(), sto_ErrorKind::Busy) << failure.what();
      }
      std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
  });
  m_Store.reset();
  Done const done = Run([&](kvs_Output& out) { return kvs_Watch({Path(), 0.01, 3, true}, out); });
  isDone = true;
  writer.join();
  EXPECT_EQ(done.m_Error, "");
  std::vector<json> const saves = Lines(done.m_Text);
  ASSERT_EQ(saves.size(), 3U);
  for (std::size_t i = 1; i < 3; ++i)
    EXPECT_EQ(saves[i]["save"], saves[0]["save"].get<int>() + static_cast<int>(i));
}

TEST_F(KvsVerbs, CopyAndCompactOfAStoreInUse) {
  m_Store->Save("lists", Lists(12));
  EXPECT_EQ(Copy("second.kvs").m_Status, kvs_Status::Same); // this session is open
  EXPECT_EQ(Diff().m_Text, "");
  EXPECT_TRUE(Contains(Copy("second.kvs").m_Error, "second.kvs"));
  EXPECT_TRUE(Contains(Copy("test.kvs").m_Error, "test.kvs"));
  EXPECT_TRUE(Contains(Copy("no such folder/x.kvs").m_Error, "no such folder"));
  for (int i = 0; i < 20; ++i) m_Store->Save("gone", Lists(500));
  m_Store->RemoveRoot("gone");
  m_Store->CollectGarbage();
  auto const compact = [&] { return Run([&](kvs_Output& out) { return kvs_Compact(Path(), true, out); }); };
  json const sizes = json::parse(compact().m_Text);
  EXPECT_LT(sizes["bytesAfter"], sizes["bytesBefore"]);
  EXPECT_EQ(m_Store->Load<Lists>("lists")->m_Doubles.size(), 12U); // the other session goes on
  EXPECT_EQ(Diff().m_Text, "");
  if (TestsAllSeeds()) { // it waits for seconds
    sto_Transaction const transaction(*m_Store);
    m_Store->Save("part", Part("in a transaction"));
    EXPECT_FALSE(compact().m_Error.empty()); // the other session writes
    EXPECT_EQ(Info(true).m_Error.empty() || Contains(Info(true).m_Error, Path()), true);
  }
  EXPECT_EQ(Check("test.kvs", true).m_Status, kvs_Status::Same);
}

TEST_F(KvsVerbs, CheckAndRecoverOfADamagedStore) {
  m_Store->Save("lists", Lists(12));
  m_Store->Save("part", Part("p"));
  m_Store.reset();
  EXPECT_EQ(Check("test.kvs", true).m_Status, kvs_Status::Same);
  EXPECT_EQ(Recover("test.kvs", "whole.kvs").m_Status, kvs_Status::Same);
  {
    SqlFile sql(Path());
    sql.Unpack();
    sql.Run("UPDATE object SET record = x'0011223344556677' WHERE id = (SELECT max(id) FROM object)");
  }
  Done const found = Check("test.kvs", true, true);
  EXPECT_EQ(found.m_Status, kvs_Status::Found);
  EXPECT_EQ(json::parse(found.m_Text)["sound"], false);
  EXPECT_TRUE(Contains(Check("test.kvs", true).m_Text, "damaged: "));
  StoreBytes const before = FileBytes(Path());
  Done const lost = Recover("test.kvs", "rescued.kvs");
  EXPECT_EQ(lost.m_Status, kvs_Status::Found);
  EXPECT_EQ(json::parse(lost.m_Text)["complete"], false);
  EXPECT_EQ(FileBytes(Path()), before); // only read
  EXPECT_EQ(Check("rescued.kvs", true).m_Status, kvs_Status::Same);
  EXPECT_TRUE(Contains(Recover("test.kvs", "rescued.kvs").m_Error, "rescued.kvs"));
  EXPECT_TRUE(Contains(Recover("test.kvs", "another.kvs", false).m_Text, "lost  "));
  for (char const* const none : {"text.kvs", "empty.kvs", "nothing.kvs"}) {
    if (std::string(none) != "nothing.kvs")
      WriteFile(Path(none), std::string(none) == "text.kvs" ? "hello" : "");
    Done const done = Recover(none, "new.kvs");
    EXPECT_TRUE(done.m_Status != kvs_Status::Same) << none << done.m_Text;
    fs::remove(Path("new.kvs"));
  }
}

TEST_F(KvsVerbs, ClassesAndStatAreComplete) {
  m_Store->Save("lists", Lists(3000));
  m_Store->Save("values", Values());
  json const classes =
      json::parse(Run([&](kvs_Output& out) { return kvs_Classes(Path(), true, out); }).m_Text);
  std::map<std::string, json> byName;
  for (json const& each : classes) byName[each["class"]] = each;
  EXPECT_TRUE(byName.contains("Lists"));
  std::map<std::string, json> attributes;
  for (json const& each : byName["Values"]["attributes"]) attributes[each["name"]] = each;
  EXPECT_EQ(attributes["m_Double"]["unit"], "mm");
  EXPECT_EQ(attributes["m_Material"]["enumerators"]["Steel"], 7);
  EXPECT_EQ(attributes["m_First"]["type"], "object");
  EXPECT_FALSE(attributes["m_First"].contains("class")); // of any class
  json const stat = json::parse(Run([&](kvs_Output& out) { return kvs_Stat(Path(), 3, true, out); }).m_Text);
  EXPECT_EQ(stat["arrays"].size(), 3U);
  EXPECT_LE(stat["liveBytes"], stat["fileBytes"]);
  std::int64_t objects = 0;
  for (json const& each : stat["classes"]) objects += each["objects"].get<std::int64_t>();
  EXPECT_EQ(objects, m_Store->ObjectCount());
}

TEST_F(KvsVerbs, AnOutputFileIsNeverOverwritten) {
  WriteFile(Path("mine"), "mine");
  EXPECT_THROW(kvs_Output out(Path("mine")), kvs_Error);
  EXPECT_EQ(FileBytes(Path("mine")).size(), 4U);
  EXPECT_THROW(kvs_Output out(Path("no such folder/file")), kvs_Error);
  { kvs_Output const unfinished(Path("unfinished")); }
  EXPECT_FALSE(fs::exists(Path("unfinished")));
  kvs_Output whole(Path("whole"));
  whole.Write(std::string(200'000, 'w'));
  whole.Print("{}", "end");
  whole.Finish();
  EXPECT_EQ(FileBytes(Path("whole")).size(), 200'003U);
}

} // namespace
} // namespace kvlstore_test

#include <random>

#include "tests/support/Seeds.h"
#include "tests/support/store/StoreVerbs.h"

namespace kvlstore_test {
namespace {

namespace fs = std::filesystem;

/// Calls every verb with a store that may have anything in it.
class KvsAnyStore : public VerbTest {
 protected:
  using Verb = std::function<kvs_Status(kvs_Output& out)>;

  /// How many verbs ended without an error. Fails the test if one prints what it should not.
  int RunAll() {
    int done = 0;
    for (auto const& [name, verb] : Verbs()) {
      SCOPED_TRACE(name);
      for (char const* const file : {"copy.kvs", "recovered.kvs"}) fs::remove(Path(file));
      Done const result = Run(verb);
      done += result.m_Error.empty() ? 1 : 0;
      m_Found += result.m_Status == kvs_Status::Found ? 1 : 0;
      EXPECT_FALSE(Contains(result.m_Error, "\n"));
      if (name != "report") ExpectPrintable(result.m_Text); // it is HTML, and has its own tests
      EXPECT_TRUE(!name.ends_with("json") || !result.m_Error.empty() || json::accept(result.m_Text))
          << result.m_Text;
      if (name.ends_with("lines")) static_cast<void>(Lines(result.m_Text));
    }
    return done;
  }
  [[nodiscard]] int Found() const { return m_Found; }

 private:
  [[nodiscard]] std::vector<std::pair<std::string, Verb>> Verbs() {
    std::string const store = Path();
    std::vector<std::pair<std::string, Verb>> verbs;
    for (bool const isJson : {false, true}) {
      auto const add = [&](std::string const& name, char const* kind, Verb verb) {
        verbs.emplace_back(isJson ? name + " " + kind : name, std::move(verb));
      };
      add("info", "json", [=](kvs_Output& out) { return kvs_Info(store, isJson, out); });
      add("ls", "lines", [=](kvs_Output& out) { return kvs_Ls({store, "*", "", true, false, isJson}, out); });
      add("ls all", "lines", [=](kvs_Output& out) {
        return kvs_Ls({store, "*", "", true, true, isJson}, out);
      });
      add("log", "lines", [=](kvs_Output& out) { return kvs_Log({store, 0, true, isJson}, out); });
      add("check", "json", [=](kvs_Output& out) { return kvs_Check(store, true, isJson, out); });
      add("stat", "json", [=](kvs_Output& out) { return kvs_Stat(store, 20, isJson, out); });
      add("classes", "json", [=](kvs_Output& out) { return kvs_Classes(store, isJson, out); });
      for (std::string const& object : m_Objects) {
        add("show " + object, "json", [=](kvs_Output& out) {
          return kvs_Show({store, object, 6, 20, isJson}, out);
        });
        add("diff " + object, "lines", [=](kvs_Output& out) {
          kvs_DiffOptions options;
          options.m_First = options.m_Second = store;
          options.m_FirstObject = object;
          options.m_Json = isJson;
          return kvs_Diff(options, out);
        });
      }
      add("copy", "json",
          [=, this](kvs_Output& out) { return kvs_Copy(store, Path("copy.kvs"), isJson, out); });
      add("recover", "json",
          [=, this](kvs_Output& out) { return kvs_Recover(store, Path("recovered.kvs"), isJson, out); });
    }
    for (std::string const& object : m_Objects) {
      verbs.emplace_back("plot " + object, [=](kvs_Output& out) {
        kvs_PlotOptions options;
        options.m_Store = store;
        options.m_Y = object;
        return kvs_Plot(options, out);
      });
      for (kvs_DumpFormat const format : {kvs_DumpFormat::Json, kvs_DumpFormat::Npy, kvs_DumpFormat::Csv}) {
        if (object.empty() && format != kvs_DumpFormat::Json) continue;
        verbs.emplace_back("dump " + object, [=](kvs_Output&) {
          std::string const file = store + ".dump"; // may have any bytes
          fs::remove(file);
          kvs_Output other(file);
          return kvs_Dump({store, object, format, {}}, other);
        });
      }
    }
    verbs.emplace_back("dump lines", [=](kvs_Output& out) {
      return kvs_Dump({store, {}, kvs_DumpFormat::Json, {}}, out);
    });
    for (char const* const language : {"c++", "python"})
      verbs.emplace_back(std::string("emit ") + language,
                         [=](kvs_Output& out) { return kvs_EmitClasses(store, language, out); });
    verbs.emplace_back("report", [=](kvs_Output& out) { return kvs_Report({store, 1000}, out); });
    return verbs;
  }

 protected:
  std::vector<std::string> m_Objects{"#1", "#2"};

 private:
  int m_Found = 0;
};

TEST_F(KvsAnyStore, EveryGoldenFormat) {
  m_Store.reset();
  m_Objects = {"#1"};
  std::set<std::int64_t> formats;
  for (fs::directory_entry const& entry : fs::directory_iterator(KVL_GOLDEN_DIR)) {
    if (entry.path().extension() != ".kvs") continue;
    SCOPED_TRACE(entry.path().filename().string());
    fs::copy_file(entry.path(), Path(), fs::copy_options::overwrite_existing);
    formats.insert(
        json::parse(Run([&](kvs_Output& out) { return kvs_Info(Path(), true, out); }).m_Text)["format"]
            .get<std::int64_t>());
    EXPECT_GE(RunAll(), 20);
    EXPECT_EQ(FileBytes(Path()), FileBytes(entry.path().string())); // looking changes nothing
    EXPECT_TRUE(
        Contains(Run([&](kvs_Output& out) { return kvs_Compact(Path(), false, out); }).m_Error, "format") ||
        formats.contains(4));
  }
  EXPECT_EQ(formats, (std::set<std::int64_t>{1, 2, 3, 4}));
  EXPECT_EQ(Found(), 0);
}

TEST_F(KvsAnyStore, NoStoreAtAll) {
  m_Store.reset();
  m_Objects = {"#1"};
  fs::remove(Path());
  EXPECT_EQ(RunAll(), 0);
  fs::create_directory(Path());
  EXPECT_EQ(RunAll(), 0);
  fs::remove(Path());
  WriteFile(Path(), "This is a text, and no store.\n");
  EXPECT_EQ(RunAll(), 0);
  WriteFile(Path(), "");
  EXPECT_EQ(RunAll(), 0);
  EXPECT_TRUE(FileBytes(Path()).empty());
}

TEST_F(KvsAnyStore, HostileNames) {
  std::string const hostile = "\x1b]0;x\x07</script><b>\n\r\t\xFF\xC2\x9B\u202E\u2028\"'\\&";
  std::string const longName(5000, 'n');
  std::string const declared = "Evil\x1b[31m\n<b>";
  Values values;
  values.m_Text = hostile;
  Lists lists(3);
  lists.m_Texts = {cow_String(hostile), cow_String(longName)};
  lists.m_ByName = {{hostile, 1}, {longName, 2}, {"", 3}};
  {
    sto_Options options;
    options.m_Program = hostile;
    cls_ClassRegistrar classes;
    DeclareAll(classes);
    classes.NotesOf(Values::TypeId(), 2)
        .Enumerator("m_Material", hostile, 3)
        .Note("m_Text", declared, hostile);
    m_Store.reset();
    fs::remove(Path());
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes, options);
    sto_Transaction transaction(store);
    transaction.SetNote(hostile + longName);
    for (std::string const& root : {hostile, longName, std::string("plain"), std::string("<script>")}) {
      store.Save(root + "/values", values);
      store.Save(root + "/lists", lists);
    }
    transaction.Commit();
  }
  m_Objects = {"#1",
               hostile + "/values",
               hostile + "/values.m_Text",
               hostile + "/lists.m_ByName[" + hostile + "]",
               longName + "/lists.m_Texts",
               hostile + "/none",
               "plain/lists.m_ByName[" + hostile,
               hostile};
  EXPECT_GE(RunAll(), 30);
  EXPECT_EQ(Found(), 0);
}

TEST_F(KvsAnyStore, TruncatedFiles) {
  m_Store->Save("lists", Lists(600));
  m_Store->Save("values", Values());
  m_Store.reset();
  m_Objects = {"#1", "lists.m_Doubles"};
  StoreBytes const whole = FileBytes(Path());
  std::vector<std::size_t> lengths{1, 15, 16, 100, 4096, whole.size() / 2, whole.size() - 1};
  for (std::size_t length = 8192; TestsAllSeeds() && length < whole.size(); length += 4096)
    lengths.push_back(length);
  for (std::size_t const length : lengths) {
    SCOPED_TRACE(length);
    WriteFile(Path(), {reinterpret_cast<char const*>(whole.data()), length});
    static_cast<void>(RunAll());
  }
  fs::remove(Path());
  WriteFile(Path(), {reinterpret_cast<char const*>(whole.data()), whole.size()});
  EXPECT_GE(RunAll(), 30);
}

class KvsFlips : public KvsAnyStore, public testing::WithParamInterface<unsigned> {};

TEST_P(KvsFlips, EveryVerbEndsWithAResultOrOneLine) {
  Values values;
  values.m_First = std::make_shared<Beam>("beam");
  sto_Options options;
  options.m_PageBytes = 1024;
  m_Store.reset();
  fs::remove(Path());
  m_Store.emplace(sto_Store::Open(Path(), sto_Mode::Create, m_Registrar, options));
  m_Store->Save("lists", Lists(300));
  m_Store->Save("values", values);
  m_Store.reset();
  m_Objects = {"lists", "values", "lists.m_Doubles", "#3"};
  StoreBytes const whole = FileBytes(Path());
  std::mt19937 random(GetParam());
  int results = 0;
  for (int variant = 0; variant < 6; ++variant) {
    SCOPED_TRACE("variant " + std::to_string(variant));
    StoreBytes bytes = whole;
    std::uniform_int_distribution<std::size_t> place(variant % 2 == 0 ? 1024 : 0, bytes.size() - 1);
    for (int flips = 1 << variant; flips > 0; --flips) bytes[place(random)] ^= std::byte{1} << random() % 8;
    for (char const* const end : {"-journal", "-wal", "-shm"}) fs::remove(Path() + end);
    WriteFile(Path(), {reinterpret_cast<char const*>(bytes.data()), bytes.size()});
    results += RunAll();
  }
  EXPECT_GT(results, 0);
}

/// Rows that are damaged under right checksums, as by a broken or malicious program.
class KvsSealed : public KvsAnyStore, public testing::WithParamInterface<unsigned> {
 protected:
  /// Some bytes changed, added or taken away, most of them near the start, where the deciding ones are.
  StoreBytes Damaged(StoreBytes bytes) {
    for (std::size_t left = 1 + Any(3); left > 0 && !bytes.empty(); --left) {
      std::size_t const end = Any(2) == 0 ? std::min<std::size_t>(bytes.size(), 40) : bytes.size();
      auto const place = bytes.begin() + static_cast<std::ptrdiff_t>(Any(end));
      static constexpr std::uint8_t Telling[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x0F, 0x0E};
      std::byte const telling{Telling[Any(std::size(Telling))]};
      switch (Any(4)) {
      case 0:
        *place = telling;
        break;
      case 1:
        *place ^= std::byte{1} << static_cast<int>(Any(8));
        break;
      case 2:
        bytes.insert(place, 1 + Any(9), telling);
        break;
      default:
        bytes.erase(place);
      }
    }
    return bytes;
  }
  std::size_t Any(std::size_t count) { return m_Random() % count; }

 private:
  std::mt19937 m_Random{GetParam()};
};

TEST_P(KvsSealed, EveryVerbEndsWithAResultOrOneLine) {
  m_Store.reset();
  fs::copy_file(KVL_GOLDEN_DIR "/format-4.kvs", Path(), fs::copy_options::overwrite_existing);
  fs::permissions(Path(), fs::perms::owner_write, fs::perm_options::add);
  SqlFile(Path()).Unpack();
  StoreBytes const whole = FileBytes(Path());
  int results = 0;
  for (int variant = 0; variant < 8; ++variant) {
    SCOPED_TRACE("variant " + std::to_string(variant));
    WriteFile(Path(), {reinterpret_cast<char const*>(whole.data()), whole.size()});
    SqlFile file(Path());
    bool const isShape = variant % 2 == 1;
    std::vector<std::string> const keys =
        file.Texts(isShape ? "SELECT CAST(id AS TEXT) FROM shape" : "SELECT CAST(id AS TEXT) FROM object");
    ASSERT_GT(keys.size(), 5U);
    std::int64_t const key = std::stoll(keys[Any(keys.size())]);
    if (isShape) {
      file.PutShape(key, Damaged(file.Shape(key)));
    } else {
      StoreRow row = file.Row(key);
      row.m_Values = Damaged(row.m_Values);
      file.PutRow(key, row);
      m_Objects = {"#" + std::to_string(key), "#1"};
    }
    results += RunAll();
  }
  EXPECT_GT(results, 0);
}

INSTANTIATE_TEST_SUITE_P(Seeds, KvsSealed,
                         testing::ValuesIn(Seeds({1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U})));
INSTANTIATE_TEST_SUITE_P(Seeds, KvsFlips,
                         testing::ValuesIn(Seeds({1U, 2U, 3U, 4U, 5U, 6U, 7U, 8U, 9U, 10U, 11U, 12U})));

} // namespace
} // namespace kvlstore_test

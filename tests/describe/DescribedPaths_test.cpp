// Paths come back, and are stored as texts.

#include <gtest/gtest.h>

#include <filesystem>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <vector>

#include "describe/dsc_Path.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedRoundTrip.h"

namespace {

using std::filesystem::path;

class DescribedPaths : public DescribedRoundTrip {};

class Report {
 public:
  KVL_PERSISTED(Report, 0x780020, "Report", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Pages)); }
  explicit Report(int pages) : m_Pages(pages) {}
  int m_Pages = 0;
};

TEST_F(DescribedPaths, ComeBack) {
  Check<path>({"", "a", "a/b.txt", "/", "/usr/lib/", "../up", ".", path(u8"b\u00FCcher/\u65E5"), "sp ace",
               std::string(5000, 'x')});
  Check<std::optional<path>>({std::nullopt, "", "a/b"});
}

#if !defined(_WIN32)
TEST_F(DescribedPaths, BytesThatAreNoText) {
  Check<path>({path("caf\xe9/\xff"), path("back\\slash")});
}
#endif

TEST_F(DescribedPaths, InListsAndMaps) {
  Check<std::vector<path>>({{}, {"a", "", "b/c"}, std::vector<path>(3000, "x/y")});
  Check<std::set<path>>({{}, {"b", "a/c"}});
  Check<std::map<path, double>>({{}, {{"a/b", 1.5}, {"", -2}}});
  Check<std::map<std::string, path>>({{}, {{"a", "b/c"}, {"d", ""}}});
  Check<std::map<path, path>>({{}, {{"a", "b/c"}}});
  Check<std::map<path, std::vector<int>>>({{}, {{"a", {1, 2}}, {"b", {}}}});
  Check<std::map<long, path>>({{}, {{1L << 40, "a"}}});
  Check<std::vector<std::pair<path, int>>>({{}, {{"a/b", 3}}});
  std::map<path, std::shared_ptr<Report>> reports{{"a/b", std::make_shared<Report>(3)}};
  SaveNew(Kept(reports), "reports.kvs");
  EXPECT_EQ(Load<Kept<decltype(reports)>>("reports.kvs")->m_Value.at("a/b")->m_Pages, 3);
}

/// A member may change from a text to a path and back.
TEST_F(DescribedPaths, BytesAreThoseOfTexts) {
  auto const check = [this]<class Paths, class Texts>(Paths const& paths, Texts const& texts) {
    SaveNew(Kept<Paths>(paths), "paths.kvs");
    SaveNew(Kept<Texts>(texts), "texts.kvs");
    EXPECT_EQ(DescribedContent(Path("paths.kvs")), DescribedContent(Path("texts.kvs")));
    EXPECT_TRUE(Load<Kept<Paths>>("texts.kvs")->m_Value == paths);
    std::filesystem::remove(Path("paths.kvs"));
    std::filesystem::remove(Path("texts.kvs"));
  };
  check(path("a//b/"), std::string("a/b/"));
  check(std::vector<path>{"a", "/b"}, std::vector<std::string>{"a", "/b"});
  check(std::map<path, double>{{"a", 1}, {"b", 2}}, std::map<std::string, double>{{"a", 1}, {"b", 2}});
  check(std::map<int, path>{{1, "a"}}, std::map<int, std::string>{{1, "a"}});
}

class Archive {
 public:
  KVL_PERSISTED(Archive, 0x780001, "Kept", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Folder), kvl::Was<"m_Value">());
    field(KVL_F(m_Backup), kvl::Since(2, "/var/backup"));
  }
  Archive() = default;
  path m_Folder;
  path m_Backup;
};

TEST_F(DescribedPaths, VersionThatHasMore) {
  SaveNew(Kept<path>("data/new"));
  SaveAgain<Archive>();
  auto const archive = Load<Archive>();
  EXPECT_EQ(archive->m_Folder, "data/new");
  EXPECT_EQ(archive->m_Backup, "/var/backup");
}

} // namespace

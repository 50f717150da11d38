#include "describe/dsc_Arrays.h"
#include "describe/dsc_Chrono.h"
#include "describe/dsc_Path.h"
#include "describe/dsc_Variant.h"
#include "describe/dsc_Wrappers.h"
#include "examples/backend-jsonl/jsl_Session.h"
#include "examples/backend-jsonl/jsl_TestFolder.h"

#include <map>
#include <string>
#include <vector>

// Described classes know no back end: this one keeps their objects, too.

namespace {

struct Spot {
  KVL_VALUE(Spot)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(label));
  }
  double x = 0;
  std::string label;
  friend bool operator==(Spot const&, Spot const&) = default;
};

class Thing : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Thing, kvl::Polymorphic, 0x740061, "Thing", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }
  Thing() = default;
  std::string m_Name;
};

class Box : public Thing {
 public:
  KVL_PERSISTED(Box, Thing, 0x740062, "Box", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Sizes));
    field(KVL_F(m_Spots));
    field(KVL_F(m_Loads));
    field(KVL_F(m_Inside));
    field(KVL_F(m_Content));
  }
  Box() = default;
  std::vector<double> m_Sizes;
  std::vector<Spot> m_Spots;
  std::map<std::string, double> m_Loads;
  std::vector<std::shared_ptr<Thing>> m_Inside;
  std::variant<std::monostate, int, std::string> m_Content;
};

// The same class when it had another base class.
class Crate : public Thing {
 public:
  KVL_PERSISTED(Crate, Thing, 0x740063, "Crate", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Slats), kvl::Since(2, 7)); }
  Crate() = default;
  int m_Slats = 3;
};
class LaterBox : public Crate {
 public:
  KVL_PERSISTED(LaterBox, Crate, 0x740062, "Box", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(BaseWas<Thing>());
    field(KVL_F(m_Dimensions), Was<"m_Sizes">());
    field(KVL_F(m_Added), Since(2, "new"));
  }
  LaterBox() = default;
  std::vector<double> m_Dimensions;
  std::string m_Added;
};

/// Members of the types that have headers of their own.
class Trial {
 public:
  KVL_PERSISTED(Trial, 0x740064, "Trial", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Duration));
    field(KVL_F(m_Pauses));
    field(KVL_F(m_Report));
    field(KVL_F(m_Axes));
    field(KVL_F(m_Table));
    field(KVL_F(m_Title));
    field(KVL_F(m_History));
    field(KVL_F(m_Field));
  }
  Trial() = default;
  ~Trial() {
    m_History.Release();
    m_History.DropBlocks();
    m_Field.Release();
    m_Field.DropBlocks();
  }
  std::chrono::milliseconds m_Duration{};
  std::vector<std::chrono::seconds> m_Pauses;
  std::filesystem::path m_Report;
  int m_Axes[2][2] = {};
  cls_xp2DArrayInt m_Table{0, 0};
  cls_xpString m_Title{""_cow};
  cls_ArrayPrimDouble m_History;
  cls_2dArrayPrimFloat m_Field;
};

class DescribedInJsonl : public jsl_TestFolder {
 protected:
  void SaveBox() {
    cls_ClassRegistrar classes;
    Box::Declare(classes);
    auto const inside = std::make_shared<Box>();
    inside->m_Name = "inside";
    Box box;
    box.m_Name = "outside";
    box.m_Sizes = {1, 2, 3};
    box.m_Spots = {{1, "a"}, {2, "b"}};
    box.m_Loads = {{"wind", 4}};
    box.m_Inside = {inside, inside};
    box.m_Content = "text";
    jsl_Session session(NewPath(), jsl_Mode::Create, classes);
    session.Save("box", box);
  }
};

TEST_F(DescribedInJsonl, ObjectsComeBack) {
  SaveBox();
  cls_ClassRegistrar classes;
  Box::Declare(classes);
  jsl_Session session(Path(), jsl_Mode::ReadOnly, classes);
  std::unique_ptr<Box> const box = session.Load<Box>("box");
  EXPECT_EQ(box->m_Name, "outside");
  EXPECT_EQ(box->m_Sizes, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(box->m_Spots, (std::vector<Spot>{{1, "a"}, {2, "b"}}));
  EXPECT_EQ(box->m_Loads.at("wind"), 4);
  ASSERT_EQ(box->m_Inside.size(), 2U);
  EXPECT_EQ(box->m_Inside[0], box->m_Inside[1]);
  EXPECT_EQ(box->m_Inside[0]->m_Name, "inside");
  EXPECT_EQ(std::get<std::string>(box->m_Content), "text");
}

TEST_F(DescribedInJsonl, ObjectsOfAnEarlierVersionAreConverted) {
  SaveBox();
  cls_ClassRegistrar classes;
  LaterBox::Declare(classes);
  jsl_Session session(Path(), jsl_Mode::ReadOnly, classes);
  std::unique_ptr<LaterBox> const box = session.Load<LaterBox>("box");
  EXPECT_EQ(box->m_Name, "outside");
  EXPECT_EQ(box->m_Slats, 3);
  EXPECT_EQ(box->m_Dimensions, (std::vector<double>{1, 2, 3}));
  EXPECT_EQ(box->m_Added, "new");
}

TEST_F(DescribedInJsonl, MembersWithHeadersOfTheirOwnComeBack) {
  cls_ClassRegistrar classes;
  Trial::Declare(classes);
  {
    Trial trial;
    trial.m_Duration = std::chrono::milliseconds::min();
    trial.m_Pauses = {std::chrono::seconds(-1), std::chrono::seconds::max()};
    trial.m_Report = "a/b";
    trial.m_Axes[1][0] = 3;
    trial.m_Table = cow_2DArray<int>(1, 2);
    trial.m_Table.Get(0, 1) = 4;
    trial.m_Title = cls_xpString("title"_cow);
    trial.m_History.Append(0.5);
    trial.m_Field.Append(1.5F);
    jsl_Session session(NewPath(), jsl_Mode::Create, classes);
    session.Save("trial", trial);
  }
  jsl_Session session(Path(), jsl_Mode::ReadOnly, classes);
  std::unique_ptr<Trial> const trial = session.Load<Trial>("trial");
  EXPECT_EQ(trial->m_Duration, std::chrono::milliseconds::min());
  EXPECT_EQ(trial->m_Pauses.at(1), std::chrono::seconds::max());
  EXPECT_EQ(trial->m_Report, "a/b");
  EXPECT_EQ(trial->m_Axes[1][0], 3);
  EXPECT_EQ(trial->m_Table.ConstGet(0, 1), 4);
  EXPECT_EQ(trial->m_Title.Text(), "title"_cow);
  EXPECT_EQ(trial->m_History.ConstGet(0), 0.5);
  EXPECT_EQ(trial->m_Field.ConstGet(0, 0), 1.5F);
}

} // namespace

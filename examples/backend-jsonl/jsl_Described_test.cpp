#include "describe/dsc_Described.h"
#include "describe/dsc_Variant.h"
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

} // namespace

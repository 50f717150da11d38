// What is stored of a described class is what is stored of the same class written by hand, byte by byte, and each
// reads what the other has written.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "persist/identity/cls_OwnUid.h"
#include "tests/describe/DescribedContent.h"
#include "tests/describe/DescribedTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

enum class Grade { Plain = 3, Hard = -4 };

namespace byHand {

class Node {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x710001; }
  explicit Node(double x) : m_X(x) {}
  explicit Node(cls_ReadVisitor const& visitor)
      : m_X(visitor.Read(cls_FieldHandle(0, "m_X"_cow), 0.0)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_X"_cow), m_X);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_TypeAdapter<Node>("Node"_cow, 3, 1))
        .AddAttribute(cls_FieldHandle(0, "m_X"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
  }
  [[nodiscard]] cls_Uid const& Uid() const { return m_Uid; }
  double m_X;
  cls_OwnUid m_Uid;
};

class Element {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x710002; }
  Element() = default;
  explicit Element(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(cls_FieldHandle(0, "m_Name"_cow), cow_String())), m_Uid(visitor.GetUid()) {}
  virtual ~Element() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Name"_cow), m_Name);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    registrar.AddClassMD(new cls_AbsTypeAdapter<Element>("Element"_cow, 1, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Name"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  }
  [[nodiscard]] virtual double Weight() const = 0;
  cow_String m_Name;

 private:
  cls_OwnUid m_Uid;
};

class Bar : public Element {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x710003; }
  static cls_FieldHandle Field(int number) {
    static constexpr char const* Names[] = {"m_Flag",  "m_Int",   "m_Long", "m_Grade", "m_Ends",  "m_Values",
                                            "m_Names", "m_Loads", "m_Next", "m_First", "m_Ratio", "m_Count"};
    return {number, cow_String(Names[number])};
  }
  Bar() = default;
  explicit Bar(cls_ReadVisitor const& visitor)
      : Element(cls_ReadVisitor(visitor)), m_Flag(visitor.Read(Field(0), false)),
        m_Int(visitor.Read(Field(1), 0)), m_Long(visitor.Read(Field(2), 0LL)),
        m_Grade(static_cast<Grade>(visitor.ReadEnum(Field(3)))),
        m_EndsUid(cls_ReadVisitor(visitor, Field(4)).GetUid()),
        m_Values(cls_ReadVisitor(visitor, Field(5)), nullptr),
        m_Names(cls_ReadVisitor(visitor, Field(6)), nullptr),
        m_LoadsUid(cls_ReadVisitor(visitor, Field(7)).GetUid()),
        m_Next(cls_ReadOwned<Bar>(visitor, Field(8))), m_First(cls_ReadShared<Node>(visitor, Field(9))),
        m_Uid(visitor.GetUid()) {
    std::unique_ptr<cls_ReadListObj> const ends(visitor.Memento()->MakeFieldReadListObj(Field(4)));
    while (ends->More() != 0) m_Ends.push_back(cls_ConstructShared<Node>(cls_ReadVisitor(ends->Next())));
    double tag = 0;
    cls_ReadVisitor const map(visitor, Field(7));
    std::unique_ptr<cls_ReadMapString2Prim<double>> const loads(map.Memento()->MakeReadMapString2Prim(&tag));
    while (loads->More() != 0) {
      double const value = loads->Next();
      cow_String key;
      loads->Key(key);
      m_Loads[std::string(key.View())] = value;
    }
    if (visitor.FieldIsPresent(Field(10)) != 0) m_Ratio = visitor.Read(Field(10), 0.0F);
    m_Count = visitor.Read(Field(11), 0ULL);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Element::DBWrite(cls_WriteVisitor(visitor, Element::TypeId()));
    visitor.Write(Field(0), m_Flag);
    visitor.Write(Field(1), m_Int);
    visitor.Write(Field(2), m_Long);
    visitor.WriteEnum(Field(3), static_cast<int>(m_Grade));
    {
      std::unique_ptr<cls_WriteListObj> const ends(
          visitor.Memento()->MakeFieldWriteListObj(Field(4), m_EndsUid));
      for (auto const& node : m_Ends)
        EXPECT_TRUE(cls_AppendLater(*ends, cls_AppendsLater::Of(ends.get()), node));
    }
    m_Values.DBWrite(cls_WriteVisitor(visitor, Field(5), nullptr, &m_Values));
    m_Names.DBWrite(cls_WriteVisitor(visitor, Field(6), nullptr, &m_Names));
    WriteLoads(cls_WriteVisitor(visitor, Field(7), nullptr, &m_Loads));
    cls_WriteLater(visitor, Field(8), m_Next);
    if (auto const first = m_First.lock()) visitor.Memento()->WriteReference(Field(9), first->Uid());
    if (m_Ratio) visitor.Write(Field(10), *m_Ratio);
    visitor.Write(Field(11), m_Count);
  }
  static void Declare(cls_ClassRegistrar& registrar) {
    Element::Declare(registrar);
    Node::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, 2, Element::TypeId()))
        .AddAttribute(Field(0), ATTR_BOOL, 1, COLLECTION_NONE)
        .AddAttribute(Field(1), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(Field(2), ATTR_LONGLONG, 1, COLLECTION_NONE)
        .AddAttribute(Field(3), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(Field(4), ATTR_OBJECT, 1, COLLECTION_OBJ)
        .AddAttribute(Field(5), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(Field(6), ATTR_STRING, 1, COLLECTION_LIST_STRING)
        .AddAttribute(Field(7), ATTR_DOUBLE, 1, static_cast<cls_CollectionType>(62))
        .AddAttribute(Field(8), ATTR_OBJECT, 1, COLLECTION_NONE)
        .AddAttribute(Field(9), ATTR_REFERENCE, 1, COLLECTION_NONE)
        .AddAttribute(Field(10), ATTR_FLOAT, 1, COLLECTION_NONE)
        .AddAttribute(Field(11), ATTR_ULONGLONG, 1, COLLECTION_NONE);
    registrar.NotesOf(TypeId(), 2).Unit("m_Int", "mm").MayBeAbsent("m_Ratio");
  }
  [[nodiscard]] double Weight() const override { return 1; }

  bool m_Flag = false;
  int m_Int = 0;
  long long m_Long = 0;
  Grade m_Grade = Grade::Plain;
  std::vector<std::shared_ptr<Node>> m_Ends;
  cls_OwnUid m_EndsUid;
  cls_xp1DArrayListDouble m_Values;
  cls_xp1DArrayListString m_Names;
  std::map<std::string, double> m_Loads;
  cls_OwnUid m_LoadsUid;
  std::unique_ptr<Bar> m_Next;
  std::weak_ptr<Node> m_First;
  std::optional<float> m_Ratio;
  unsigned long long m_Count = 0;

 private:
  void WriteLoads(cls_WriteVisitor const& visitor) const {
    visitor.StartWrite(cls_InternalMapTypeId, m_LoadsUid);
    visitor.CheckCollectionType(static_cast<cls_CollectionType>(62));
    double const tag = 0;
    std::unique_ptr<cls_WriteMapString2Prim<double>> const loads(
        visitor.Memento()->MakeWriteMapString2Prim(&tag));
    for (auto const& [key, value] : m_Loads) loads->Insert(cow_String(std::string_view(key)), value);
  }
  cls_OwnUid m_Uid;
};

} // namespace byHand

namespace described {

class Node {
 public:
  KVL_PERSISTED(Node, 0x710001, "Node", 3)
  static constexpr void Describe(auto& field) { field(KVL_F(m_X)); }
  explicit Node(double x) : m_X(x) {}
  double m_X = 0;
};

class Element : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Element, kvl::Polymorphic, 0x710002, "Element", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }
  Element() = default;
  [[nodiscard]] virtual double Weight() const = 0;
  std::string m_Name;
};

class Bar : public Element {
 public:
  KVL_PERSISTED(Bar, Element, 0x710003, "Bar", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Flag));
    field(KVL_F(m_Int), kvl::Unit("mm"));
    field(KVL_F(m_Long));
    field(KVL_F(m_Grade));
    field(KVL_F(m_Ends));
    field(KVL_F(m_Values));
    field(KVL_F(m_Names));
    field(KVL_F(m_Loads));
    field(KVL_F(m_Next));
    field(KVL_F(m_First));
    field(KVL_F(m_Ratio));
    field(KVL_F(m_Count));
  }
  Bar() = default;
  [[nodiscard]] double Weight() const override { return 1; }

  bool m_Flag = false;
  int m_Int = 0;
  long m_Long = 0;
  Grade m_Grade = Grade::Plain;
  std::vector<std::shared_ptr<Node>> m_Ends;
  std::vector<double> m_Values;
  std::vector<std::string> m_Names;
  std::map<std::string, double> m_Loads;
  std::unique_ptr<Bar> m_Next;
  std::weak_ptr<Node> m_First;
  std::optional<float> m_Ratio;
  std::size_t m_Count = 0;
};

} // namespace described

void Fill(cow_String& text, char const* chars) {
  text = cow_String(chars);
}
void Fill(std::string& text, char const* chars) {
  text = chars;
}
template <class T> void Append(std::vector<T>& list, T value) {
  list.push_back(value);
}
void Append(std::vector<std::string>& list, char const* value) {
  list.emplace_back(value);
}
void Append(cls_xp1DArrayListDouble& list, double value) {
  list.Append(value);
}
void Append(cls_xp1DArrayListString& list, char const* value) {
  list.Append(cow_String(value));
}

/// The same object of both kinds of class; with `next`, a smaller one in it.
template <class Bar, class Node> void MakeBar(Bar& bar, bool hasNext) {
  Fill(bar.m_Name, hasNext ? "left" : "");
  bar.m_Flag = hasNext;
  bar.m_Int = -77;
  bar.m_Long = 1LL << 40;
  bar.m_Grade = Grade::Hard;
  bar.m_Ends.push_back(std::make_shared<Node>(2.5));
  bar.m_Ends.push_back(std::make_shared<Node>(3.5));
  bar.m_Ends.push_back(bar.m_Ends.front());
  for (int i = 0; i < (hasNext ? 5000 : 0); ++i) Append(bar.m_Values, i / 8.0);
  Append(bar.m_Names, "one");
  Append(bar.m_Names, "");
  bar.m_Loads = {{"wind", 1.5}, {"", 2.0}, {"snow", -1.0}};
  bar.m_First = bar.m_Ends[1];
  if (hasNext) bar.m_Ratio = 0.25F;
  bar.m_Count = ~0ULL;
  if (!hasNext) return;
  bar.m_Next = std::make_unique<Bar>();
  MakeBar<Bar, Node>(*bar.m_Next, false);
}

class DescribedBytesTest : public DescribedTest {
 protected:
  void SetUp() override {
    byHand::Bar byHand;
    MakeBar<byHand::Bar, byHand::Node>(byHand, true);
    SaveNew(byHand, "hand.kvs");
    described::Bar described;
    MakeBar<described::Bar, described::Node>(described, true);
    SaveNew(described, "described.kvs");
  }
};

TEST_F(DescribedBytesTest, AreThoseOfTheClassByHand) {
  std::vector<std::string> const expected = DescribedContent(Path("hand.kvs"));
  EXPECT_GT(expected.size(), 40U);
  std::vector<std::string> const content = DescribedContent(Path("described.kvs"));
  ASSERT_EQ(content.size(), expected.size());
  for (std::size_t i = 0; i < content.size(); ++i) EXPECT_EQ(content[i], expected[i]);
}

TEST_F(DescribedBytesTest, DescribedClassReadsWhatWasWrittenByHand) {
  SaveAgain<described::Bar>("hand.kvs");
  SaveAgain<byHand::Bar>("described.kvs");
  std::unique_ptr<described::Bar> const bar = Load<described::Bar>("hand.kvs");
  EXPECT_EQ(bar->m_Name, "left");
  EXPECT_EQ(bar->m_Long, 1LL << 40);
  EXPECT_EQ(bar->m_Grade, Grade::Hard);
  ASSERT_EQ(bar->m_Ends.size(), 3U);
  EXPECT_EQ(bar->m_Ends[0], bar->m_Ends[2]);
  EXPECT_EQ(bar->m_First.lock(), bar->m_Ends[1]);
  EXPECT_EQ(bar->m_Values.at(4999), 4999 / 8.0);
  EXPECT_EQ(bar->m_Names, (std::vector<std::string>{"one", ""}));
  EXPECT_EQ(bar->m_Loads.at("snow"), -1.0);
  EXPECT_EQ(bar->m_Ratio, 0.25F);
  EXPECT_EQ(bar->m_Next->m_Ratio, std::nullopt);
  EXPECT_EQ(bar->m_Next->m_Next, nullptr);
  EXPECT_EQ(bar->m_Count, ~0ULL);
}

TEST_F(DescribedBytesTest, SavingAgainAddsNothing) {
  std::size_t const count = ObjectCount("described.kvs");
  SaveAgain<described::Bar>("described.kvs");
  EXPECT_EQ(ObjectCount("described.kvs"), count);
}

TEST(DescribedSize, IsThatOfTheClassByHand) {
  static_assert(sizeof(described::Node) == sizeof(byHand::Node));
  struct ByHand {
    virtual ~ByHand() = default;
    std::string m_Name;
    cls_OwnUid m_Uid;
  };
  static_assert(sizeof(described::Element) == sizeof(ByHand));
}

} // namespace

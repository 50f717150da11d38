#include "tests/support/store/StoreTest.h"

// A spring derived from an element, and a later version of the program with a class in between.

namespace {

cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}
cls_FieldHandle GroupField() {
  return {0, "m_Group"_cow};
}
cls_FieldHandle StiffnessField() {
  return {0, "m_Stiffness"_cow};
}
cls_FieldHandle SpringField() {
  return {0, "m_Spring"_cow};
}

struct Element {
  static constexpr unsigned int TypeId() noexcept { return 0x710001; }
  Element() = default;
  explicit Element(cow_String name) : m_Name(std::move(name)) {}
  explicit Element(cls_ReadVisitor const& visitor)
      : m_Name(visitor.Read(NameField(), cow_String())), m_Uid(visitor.GetUid()) {}
  virtual ~Element() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(NameField(), m_Name);
  }
  cow_String m_Name;
  cls_Uid m_Uid;
};

/// The inserted class.
struct Grouped : Element {
  static constexpr unsigned int TypeId() noexcept { return 0x710002; }
  using Element::Element;
  explicit Grouped(cls_ReadVisitor const& visitor)
      : Element(cls_ReadVisitor(visitor)), m_Group(visitor.Read(GroupField(), 0)), m_Uid(visitor.GetUid()) {}
  /// Reads a spring stored without this class: the visitor is at the element.
  Grouped(cls_ReadVisitor const& element, int group) : Element(element), m_Group(group) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Element::DBWrite(cls_WriteVisitor(visitor, Element::TypeId()));
    visitor.Write(GroupField(), m_Group);
  }
  int m_Group = 0;
  cls_Uid m_Uid;
};

template <class Base> struct SpringOver : Base {
  static constexpr unsigned int TypeId() noexcept { return 0x710003; }
  SpringOver(cow_String name, double stiffness) : Base(std::move(name)), m_Stiffness(stiffness) {}
  explicit SpringOver(cls_ReadVisitor const& visitor)
      : Base(cls_ReadVisitor(visitor)), m_Stiffness(visitor.Read(StiffnessField(), -1.0)),
        m_Uid(visitor.GetUid()) {}
  SpringOver(cls_ReadVisitor const& visitor, Base base)
      : Base(std::move(base)), m_Stiffness(visitor.Read(StiffnessField(), -1.0)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    Base::DBWrite(cls_WriteVisitor(visitor, Base::TypeId()));
    visitor.Write(StiffnessField(), m_Stiffness);
  }
  double m_Stiffness;
  cls_Uid m_Uid;
};

using OldSpring = SpringOver<Element>;
using Spring = SpringOver<Grouped>;

/// Holds a spring by value, so that no metadata builds it.
template <class SpringClass> struct Holder {
  static constexpr unsigned int TypeId() noexcept { return 0x710004; }
  explicit Holder(double stiffness) : m_Spring("held"_cow, stiffness) {}
  explicit Holder(cls_ReadVisitor const& visitor)
      : m_Spring(cls_ReadVisitor(visitor, SpringField())), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Spring.DBWrite(cls_WriteVisitor(visitor, SpringField(), nullptr, &m_Spring));
  }
  SpringClass m_Spring;
  cls_Uid m_Uid;
};

void DeclareElement(cls_ClassRegistrar& classes, unsigned int base = cls_ClassMetadata::RootClassId) {
  classes.AddClassMD(new cls_TypeAdapter<Element>("Element"_cow, 1, base))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
}

void DeclareGrouped(cls_ClassRegistrar& classes) {
  classes.AddClassMD(new cls_TypeAdapter<Grouped>("Grouped"_cow, 1, Element::TypeId()))
      .AddAttribute(GroupField(), ATTR_INT, 1, COLLECTION_NONE);
}

template <class SpringClass> void DeclareSpring(cls_ClassRegistrar& classes, int version, unsigned int base) {
  classes.AddClassMD(new cls_TypeAdapter<SpringClass>("Spring"_cow, version, base))
      .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
}

template <class SpringClass> void DeclareHolder(cls_ClassRegistrar& classes) {
  classes.AddClassMD(new cls_TypeAdapter<Holder<SpringClass>>("Holder"_cow, 1, 1))
      .AddAttribute(SpringField(), ATTR_OBJECT, 1, COLLECTION_NONE);
}

/// Builds a spring of today from a record of version 1.
void* ReadVersion1(cls_ReadVisitor& visitor) {
  return new Spring(visitor, Grouped(cls_ReadVisitor(visitor), 42));
}

class StoreChangedBase : public StoreFileTest {
 protected:
  void SetUp() override {
    cls_ClassRegistrar classes;
    DeclareElement(classes);
    DeclareSpring<OldSpring>(classes, 1, Element::TypeId());
    DeclareHolder<OldSpring>(classes);
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
    store.Save("spring", OldSpring("front"_cow, 2.5));
    store.Save("holder", Holder<OldSpring>(3.5));
  }

  /// Declares the classes of today, without version 1 of the spring.
  void DeclareToday(int version = 2) {
    DeclareElement(m_Classes);
    DeclareGrouped(m_Classes);
    DeclareSpring<Spring>(m_Classes, version, Grouped::TypeId());
    DeclareHolder<Spring>(m_Classes);
  }
  void DeclareReaderOfVersion1() {
    m_Classes.CreateClassMD("Spring"_cow, Spring::TypeId(), 1, &ReadVersion1, Element::TypeId())
        .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) { return sto_Store::Open(Path(), mode, m_Classes); }

  template <class T> std::string RefusalOf(char const* root) {
    sto_Store store = Open();
    return MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<T>(root)); });
  }

  cls_ClassRegistrar m_Classes;
};

TEST_F(StoreChangedBase, InsertedBaseClassWithoutReaderOfTheOldVersionIsRefused) {
  DeclareToday();
  std::string const message = RefusalOf<Spring>("spring");
  EXPECT_TRUE(Contains(message, "Spring version 1") && Contains(message, "base class Element") &&
              Contains(message, "base class Grouped") &&
              Contains(message, "Register version 1 of class Spring by itself, with a constructor function"))
      << message;
  EXPECT_EQ(message, RefusalOf<Element>("spring")); // loaded as its base class
}

TEST_F(StoreChangedBase, RefusedObjectIsNotLostAndCanBeCopiedAndCounted) {
  DeclareToday();
  RefusalOf<Spring>("spring");
  EXPECT_EQ(Open().CountGarbage(), 0);
  EXPECT_EQ(Open().CollectGarbage(), 0);
  cls_ClassRegistrar then;
  DeclareElement(then);
  DeclareSpring<OldSpring>(then, 1, Element::TypeId());
  EXPECT_EQ(sto_Store::Open(Path(), sto_Mode::ReadOnly, then).Load<OldSpring>("spring")->m_Name.View(),
            "front");
}

TEST_F(StoreChangedBase, SharedLoadIsRefusedToo) {
  DeclareToday();
  sto_Store store = Open();
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.LoadShared<Spring>("spring")); });
}

TEST_F(StoreChangedBase, ChangeWithoutANewVersionIsRefusedAndSaysSo) {
  DeclareToday(1);
  std::string const message = RefusalOf<Spring>("spring");
  EXPECT_TRUE(Contains(message, "Give class Spring a new version, and register version 1")) << message;
}

TEST_F(StoreChangedBase, ConstructorFunctionOfExactlyTheOldVersionReadsIt) {
  DeclareToday();
  DeclareReaderOfVersion1();
  std::unique_ptr<Spring> const spring = Open().Load<Spring>("spring");
  EXPECT_EQ(spring->m_Name.View(), "front");
  EXPECT_EQ(spring->m_Group, 42);
  EXPECT_EQ(spring->m_Stiffness, 2.5);
}

TEST_F(StoreChangedBase, ReaderOfALaterVersionThatAlsoHasTheNewBaseIsNoReaderOfTheOldOne) {
  DeclareToday(3);
  m_Classes.CreateClassMD("Spring"_cow, Spring::TypeId(), 2, &ReadVersion1, Grouped::TypeId())
      .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  std::string const message = RefusalOf<Spring>("spring");
  EXPECT_TRUE(Contains(message, "Register version 1 of class Spring by itself")) << message;
}

TEST_F(StoreChangedBase, ReaderOfALaterVersionWithTheOldBaseReadsIt) {
  DeclareToday(3);
  m_Classes.CreateClassMD("Spring"_cow, Spring::TypeId(), 2, &ReadVersion1, Element::TypeId())
      .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  EXPECT_EQ(Open().Load<Spring>("spring")->m_Name.View(), "front");
}

TEST_F(StoreChangedBase, AdapterOfTodaysClassForTheOldVersionIsNoReaderOfIt) {
  DeclareToday();
  DeclareSpring<Spring>(m_Classes, 1, Element::TypeId());
  std::string const message = RefusalOf<Spring>("spring");
  EXPECT_TRUE(Contains(message, "base class Element") && Contains(message, "base class Grouped")) << message;
}

TEST_F(StoreChangedBase, AdapterOfTheOldClassReadsItAsTheOldClass) {
  DeclareToday();
  DeclareSpring<OldSpring>(m_Classes, 1, Element::TypeId());
  std::unique_ptr<OldSpring> const spring = Open().Load<OldSpring>("spring");
  EXPECT_EQ(spring->m_Name.View(), "front");
  EXPECT_EQ(spring->m_Stiffness, 2.5);
}

TEST_F(StoreChangedBase, MemberThatItsOwnerReadsIsRefusedEvenWithAReaderOfTheOldVersion) {
  DeclareToday();
  DeclareReaderOfVersion1(); // not used: Holder's constructor calls that of today's Spring
  std::string const message = RefusalOf<Holder<Spring>>("holder");
  EXPECT_TRUE(Contains(message, "Spring version 1") && Contains(message, "base class Grouped") &&
              Contains(message, "sto_ReadOwned"))
      << message;
}

TEST_F(StoreChangedBase, BaseClassThatChangedFurtherUpIsRefused) {
  // The element gets a base class; the spring is unchanged.
  m_Classes.CreateClassMD("Item"_cow, 0x710009, 1, nullptr, cls_ClassMetadata::RootClassId);
  m_Classes.AddClassMD(new cls_TypeAdapter<Element>("Element"_cow, 2, 0x710009))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
  DeclareSpring<OldSpring>(m_Classes, 1, Element::TypeId());
  std::string const message = RefusalOf<OldSpring>("spring");
  EXPECT_TRUE(Contains(message, "class Element version 1 had no base class") &&
              Contains(message, "base class Item") &&
              Contains(message, "Give class Spring a new version, and register version 1 of class Spring"))
      << message;
}

TEST_F(StoreChangedBase, ReaderOfTheObjectsOwnVersionReadsWhatChangedFurtherUp) {
  m_Classes.CreateClassMD("Item"_cow, 0x710009, 1, nullptr, cls_ClassMetadata::RootClassId);
  m_Classes.AddClassMD(new cls_TypeAdapter<Element>("Element"_cow, 2, 0x710009))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
  DeclareSpring<OldSpring>(m_Classes, 2, Element::TypeId());
  m_Classes
      .CreateClassMD(
          "Spring"_cow, Spring::TypeId(), 1,
          [](cls_ReadVisitor& visitor) -> void* { return new OldSpring(visitor); }, Element::TypeId())
      .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  EXPECT_EQ(Open().Load<OldSpring>("spring")->m_Name.View(), "front");
}

TEST_F(StoreChangedBase, RemovedBaseClassIsRefused) {
  struct LooseSpring {
    static constexpr unsigned int TypeId() noexcept { return Spring::TypeId(); }
    explicit LooseSpring(cls_ReadVisitor const& visitor)
        : m_Stiffness(visitor.Read(StiffnessField(), -1.0)), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const&) const {}
    double m_Stiffness;
    cls_Uid m_Uid;
  };
  m_Classes.AddClassMD(new cls_TypeAdapter<LooseSpring>("Spring"_cow, 2, cls_ClassMetadata::RootClassId))
      .AddAttribute(StiffnessField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  std::string const message = RefusalOf<LooseSpring>("spring");
  EXPECT_TRUE(Contains(message, "had base class Element") && Contains(message, "it has no base class"))
      << message;
}

TEST_F(StoreChangedBase, ObjectsOfTodayAreReadBesideRefusedOnes) {
  DeclareToday();
  sto_Store store = Open();
  store.Save("new", Spring("rear"_cow, 7));
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Spring>("spring")); });
  EXPECT_EQ(store.Load<Spring>("new")->m_Name.View(), "rear");
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Spring>("spring")); });
}

} // namespace

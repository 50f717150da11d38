#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

// What a strict store refuses in addition.

namespace {

cls_FieldHandle Field(char const* name) {
  return cls_FieldHandle(cow_String(name));
}

/// A beam that omits what a test tells it to omit.
struct Beam {
  static constexpr unsigned int TypeId() noexcept { return 0x720001; }

  Beam() = default;
  explicit Beam(cls_ReadVisitor const& visitor) {
    if (s_TakesIdentity) m_Uid = visitor.GetUid();
    m_Length = visitor.Read(Field(s_LengthName), -1.0);
    m_Support = sto_ReadShared<Beam>(visitor, Field(s_SupportName));
    m_IsOld = visitor.FieldIsPresent(Field("m_OfAnOlderVersion")) != 0;
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_Forgets != "m_Length") visitor.Write(Field("m_Length"), m_Length);
    if (m_Forgets != "m_Loads")
      m_Loads.DBWrite(cls_WriteVisitor(visitor, Field("m_Loads"), nullptr, &m_Loads));
    if (m_Support != nullptr)
      m_Support->DBWrite(cls_WriteVisitor(visitor, Field("m_Support"), nullptr, m_Support.get()));
  }

  double m_Length = 2;
  cls_xp1DArrayListDouble m_Loads;
  std::shared_ptr<Beam> m_Support;
  bool m_IsOld = false;
  std::string m_Forgets;
  cls_Uid m_Uid;

  static inline char const* s_LengthName = "m_Length";
  static inline char const* s_SupportName = "m_Support";
  static inline bool s_TakesIdentity = true;
};

class StoreStrict : public StoreFileTest {
 protected:
  void SetUp() override { Declare(m_Classes, 1); }
  void TearDown() override {
    Beam::s_LengthName = "m_Length";
    Beam::s_SupportName = "m_Support";
    Beam::s_TakesIdentity = true;
  }

  static cls_ClassMetadata& Declare(cls_ClassRegistrar& classes, int version) {
    return classes.AddClassMD(new cls_TypeAdapter<Beam>("Beam"_cow, version, 1))
        .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, "m_Loads"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(cls_FieldHandle(2, "m_Support"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
  }
  sto_Store Open(sto_Mode mode, bool isStrict = true) {
    return sto_Store::Open(Path(), mode, m_Classes, {.m_Strict = isStrict});
  }
  /// The error of a strict load.
  std::string RefusalOf() {
    sto_Store store = Open(sto_Mode::ReadOnly);
    return MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Beam>("beam")); });
  }

  cls_ClassRegistrar m_Classes;
};

TEST_F(StoreStrict, WholeObjectIsSavedAndLoaded) {
  sto_Store store = Open(sto_Mode::Create);
  Beam beam; // its support is null, which is no mistake
  store.Save("beam", beam);
  EXPECT_EQ(store.Load<Beam>("beam")->m_Length, 2);
  beam.m_Support = std::make_shared<Beam>();
  store.Save("beam", beam);
  EXPECT_NE(store.Load<Beam>("beam")->m_Support, nullptr);
}

TEST_F(StoreStrict, ScalarAndCollectionThatWereNotWrittenAreRefused) {
  for (char const* const forgotten : {"m_Length", "m_Loads"}) {
    sto_Store store = sto_Store::Open(Path(forgotten), sto_Mode::Create, m_Classes, {.m_Strict = true});
    Beam beam;
    beam.m_Forgets = forgotten;
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("beam", beam); });
    EXPECT_TRUE(Contains(message, std::string("Attribute ") + forgotten) &&
                Contains(message, "Beam version 1"))
        << message;
    EXPECT_EQ(store.ObjectCount(), 0);
  }
}

TEST_F(StoreStrict, UnwrittenAttributesPassInAStoreThatIsNotStrict) {
  sto_Store store = Open(sto_Mode::Create, false);
  Beam beam;
  beam.m_Forgets = "m_Length";
  store.Save("beam", beam);
  EXPECT_EQ(store.Load<Beam>("beam")->m_Length, -1);
}

TEST_F(StoreStrict, ForgottenAttributeOfABasePartIsRefused) {
  struct Derived : Beam {
    static constexpr unsigned int TypeId() noexcept { return 0x720002; }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(TypeId(), m_OwnUid)) Beam::DBWrite(cls_WriteVisitor(visitor, Beam::TypeId()));
    }
    cls_Uid m_OwnUid;
  };
  m_Classes.CreateClassMD("Derived"_cow, Derived::TypeId(), 1, nullptr, Beam::TypeId());
  sto_Store store = Open(sto_Mode::Create);
  Derived beam;
  store.Save("whole", beam);
  beam.m_Forgets = "m_Length";
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("beam", beam); });
  EXPECT_TRUE(Contains(message, "m_Length") && Contains(message, "class Beam version 1")) << message;
}

TEST_F(StoreStrict, NameThatNoVersionDeclaresIsRefusedWhenItIsRead) {
  Open(sto_Mode::Create).Save("beam", Beam());
  Beam::s_LengthName = "m_Lenght";
  std::string message = RefusalOf();
  EXPECT_TRUE(Contains(message, "Attribute m_Lenght") && Contains(message, "class Beam")) << message;
  Beam::s_LengthName = "m_Length";
  Beam::s_SupportName = "m_Suport";
  message = RefusalOf();
  EXPECT_TRUE(Contains(message, "Attribute m_Suport")) << message;
  EXPECT_EQ(Open(sto_Mode::ReadOnly, false).Load<Beam>("beam")->m_Length, 2);
}

TEST_F(StoreStrict, AttributeOfANewerVersionMayBeReadOfAnOldObject) {
  Open(sto_Mode::Create).Save("beam", Beam());
  cls_ClassRegistrar newer;
  Declare(newer, 2).AddAttribute(cls_FieldHandle(3, "m_NewLength"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
  Beam::s_LengthName = "m_NewLength";
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, newer, {.m_Strict = true});
  EXPECT_EQ(store.Load<Beam>("beam")->m_Length, -1);
}

TEST_F(StoreStrict, AttributeThatOnlyAnOlderStoredVersionDeclaresMayBeRead) {
  Open(sto_Mode::Create).Save("beam", Beam());
  cls_ClassRegistrar newer;
  newer.AddClassMD(new cls_TypeAdapter<Beam>("Beam"_cow, 2, 1))
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Loads"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, newer, {.m_Strict = true});
  store.Save("new", Beam());
  EXPECT_EQ(store.Load<Beam>("new")->m_Support, nullptr); // read; only version 1 declares it
}

TEST_F(StoreStrict, ReadingConstructorThatDoesNotTakeTheIdentityIsRefused) {
  Open(sto_Mode::Create).Save("beam", Beam());
  Beam::s_TakesIdentity = false;
  std::string const message = RefusalOf();
  EXPECT_TRUE(Contains(message, "class Beam") && Contains(message, "GetUid")) << message;
  EXPECT_NE(Open(sto_Mode::ReadOnly, false).Load<Beam>("beam"), nullptr);
}

TEST_F(StoreStrict, HeldObjectThatDoesNotTakeItsIdentityIsRefused) {
  Beam beam;
  beam.m_Support = std::make_shared<Beam>();
  Open(sto_Mode::Create).Save("beam", beam);
  struct Careless {
    explicit Careless(cls_ReadVisitor const& visitor)
        : m_Uid(visitor.GetUid()),
          m_SupportLength(cls_ReadVisitor(visitor, Field("m_Support")).Read(Field("m_Length"), 0.0)) {}
    cls_Uid m_Uid;
    double m_SupportLength;
  };
  sto_Store store = Open(sto_Mode::ReadOnly);
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Careless>("beam")); });
  EXPECT_TRUE(Contains(message, "object 3 (Beam version 1)")) << message;
}

TEST_F(StoreStrict, BaseClassThatReadsThePartOfTheDerivedOneIsRefused) {
  struct Base {
    explicit Base(cls_ReadVisitor const& visitor)
        : m_Number(visitor.Read(Field("m_Number"), 0)), m_Uid(visitor.GetUid()) {}
    int m_Number;
    cls_Uid m_Uid;
  };
  struct Derived : Base {
    static constexpr unsigned int TypeId() noexcept { return 0x720004; }
    explicit Derived(cls_ReadVisitor const& visitor) : Base(visitor) {} // omits cls_ReadVisitor(visitor)
  };
  struct Written {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      visitor.StartWrite(Derived::TypeId(), m_Uid);
      cls_WriteVisitor const base(visitor, 0x720003);
      base.StartWrite(0x720003, m_BaseUid);
      base.Write(Field("m_Number"), 1);
    }
    cls_Uid m_Uid;
    cls_Uid m_BaseUid;
  };
  m_Classes.CreateClassMD("Base"_cow, 0x720003, 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
  m_Classes.CreateClassMD("Derived"_cow, Derived::TypeId(), 1, nullptr, 0x720003);
  sto_Store store = Open(sto_Mode::Create);
  store.Save("derived", Written());
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Derived>("derived")); });
  EXPECT_TRUE(Contains(message, "Attribute m_Number") && Contains(message, "class Derived")) << message;
}

TEST_F(StoreStrict, SharedIdentityOfDerivedAndBaseClassIsTakenOnce) {
  struct Base {
    explicit Base(cls_Uid const& uid) : m_Uid(uid) {}
    explicit Base(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(0x720003, m_Uid)) visitor.Write(Field("m_Number"), 1);
    }
    cls_Uid m_Uid;
  };
  struct Derived : Base { // shares the identity of its base class
    static constexpr unsigned int TypeId() noexcept { return 0x720004; }
    Derived() : Base(cls_Uid()) {}
    explicit Derived(cls_ReadVisitor const& visitor)
        : Base(cls_ReadVisitor(visitor)), m_Number(visitor.Read(Field("m_Other"), 0)) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      Base::DBWrite(cls_WriteVisitor(visitor, 0x720003));
      visitor.Write(Field("m_Other"), m_Number);
    }
    int m_Number = 5;
  };
  m_Classes.CreateClassMD("Base"_cow, 0x720003, 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
  m_Classes.CreateClassMD("Derived"_cow, Derived::TypeId(), 1, nullptr, 0x720003)
      .AddAttribute(cls_FieldHandle(0, "m_Other"_cow), ATTR_INT, 1, COLLECTION_NONE);
  sto_Store store = Open(sto_Mode::Create);
  store.Save("derived", Derived());
  EXPECT_EQ(store.Load<Derived>("derived")->m_Number, 5);
}

} // namespace

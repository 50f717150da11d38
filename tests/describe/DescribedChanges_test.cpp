// A store is opened only if the program says what has become of each class since the versions in it.

#include <gtest/gtest.h>

#include <list>
#include <optional>
#include <string>
#include <vector>

#include "tests/describe/DescribedTest.h"

namespace {

namespace v1 {
class Rod {
 public:
  KVL_PERSISTED(Rod, 0x760001, "Rod", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Length));
    field(KVL_F(m_Colour));
  }
  Rod() = default;
  double m_Length = 3;
  int m_Colour = 9;
};
} // namespace v1

/// A later version of the class; `Change` says what became of it.
enum class Change {
  SameVersion,
  NoSince,
  SinceOfThen,
  NotRead,
  WasAndDropped,
  Swapped,
  Renamed,
  RenamedSaid,
  Newer
};

template <Change Kind, int Version = Kind == Change::SameVersion || Kind == Change::Swapped ? 1 : 2>
class Rod2 {
  static constexpr bool IsRenamed = Kind == Change::Renamed || Kind == Change::RenamedSaid;

 public:
  KVL_PERSISTED(Rod2, 0x760001, (IsRenamed ? "Bar" : "Rod"), Version)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    if constexpr (Kind == Change::RenamedSaid) field(ClassWas("Rod"));
    if constexpr (Kind == Change::Swapped) field(KVL_F(m_Colour));
    if constexpr (Kind == Change::WasAndDropped)
      field(KVL_F(m_Size), Was<"m_Length">());
    else
      field(KVL_F(m_Length));
    if constexpr (Kind == Change::WasAndDropped)
      field("m_Colour"_field, Dropped(&Rod2::TakeColour));
    else if constexpr (Kind != Change::NotRead && Kind != Change::Swapped)
      field(KVL_F(m_Colour));
    if constexpr (Kind == Change::SameVersion || Kind == Change::NoSince) field(KVL_F(m_New));
    if constexpr (Kind == Change::SinceOfThen) field(KVL_F(m_New), Since(1, 5));
  }
  Rod2() = default;
  void TakeColour(int colour) { m_New = colour; }
  double m_Length = 0;
  double m_Size = 0;
  int m_Colour = 0;
  int m_New = 0;
};

/// The members that a test leaves out are no slip of it.
template <class T> void DeclareAll(cls_ClassRegistrar& registrar) {
  try {
    T::Declare(registrar);
  } catch (nex_Exception const&) {
  }
}

class DescribedChanges : public DescribedTest {
 protected:
  void SetUp() override { SaveNew(v1::Rod()); }

  template <class T> sto_Store Open(cls_ClassRegistrar& registrar) {
    DeclareAll<T>(registrar);
    return sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar);
  }
  template <class T> std::string Refusal(sto_ErrorKind kind) {
    cls_ClassRegistrar registrar;
    std::string const text = MessageOf(kind, [&] { static_cast<void>(Open<T>(registrar)); });
    return text.substr(text.find(": ") + 2);
  }
};

TEST_F(DescribedChanges, VersionThatWasNotRaised) {
  EXPECT_EQ(
      Refusal<Rod2<Change::SameVersion>>(sto_ErrorKind::Conflict),
      "Class Rod version 1 declares attribute m_New differently than when the store was first given this "
      "version. Give the class a new version.");
}

TEST_F(DescribedChanges, SwappedLines) {
  EXPECT_EQ(
      Refusal<Rod2<Change::Swapped>>(sto_ErrorKind::Conflict),
      "Class Rod version 1 declares its attributes in another order than when the store was first given this "
      "version. Keep the order, or give the class a new version.");
}

TEST_F(DescribedChanges, AddedFieldThatSaysNothingOfOlderObjects) {
  std::string const expected =
      "Class Rod: attribute m_New is not there in version 1 of the store. Say with "
      "kvl::Since which version of the class added it, or with kvl::Was what it was called.";
  EXPECT_EQ(Refusal<Rod2<Change::NoSince>>(sto_ErrorKind::Misuse), expected);
  EXPECT_EQ(Refusal<Rod2<Change::SinceOfThen>>(sto_ErrorKind::Misuse), expected);
}

TEST_F(DescribedChanges, StoredAttributeThatNobodyReads) {
  EXPECT_EQ(
      Refusal<Rod2<Change::NotRead>>(sto_ErrorKind::Misuse),
      "Class Rod: attribute m_Colour in version 1 of the store is read by no field. Say with kvl::Was which "
      "field it became, or that it is kvl::Dropped.");
}

TEST_F(DescribedChanges, RenamedClass) {
  EXPECT_EQ(Refusal<Rod2<Change::Renamed>>(sto_ErrorKind::Misuse),
            "Class Bar: it is called Rod in version 1 of the store. If that is the same class, say "
            "kvl::ClassWas(\"Rod\").");
  cls_ClassRegistrar registrar;
  using Rod = Rod2<Change::RenamedSaid>;
  sto_Store store = Open<Rod>(registrar);
  EXPECT_EQ(store.Load<Rod>("root")->m_Colour, 9);
}

TEST_F(DescribedChanges, WhatIsSaidIsRead) {
  cls_ClassRegistrar registrar;
  using Rod = Rod2<Change::WasAndDropped>;
  sto_Store store = Open<Rod>(registrar);
  EXPECT_EQ(store.Load<Rod>("root")->m_Size, 3);
  EXPECT_EQ(store.Load<Rod>("root")->m_New, 9);
}

TEST_F(DescribedChanges, RenamedClassIsSavedUnderItsNewName) {
  using Rod = Rod2<Change::RenamedSaid>;
  cls_ClassRegistrar registrar;
  DeclareAll<Rod>(registrar);
  {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadWrite, registrar);
    store.Save("root", *store.Load<Rod>("root"));
    store.Close();
  }
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar);
  EXPECT_EQ(store.Describe(Rod::TypeId()).back().m_Name, "Bar");
  EXPECT_EQ(store.Load<Rod>("root")->m_Colour, 9);
}

/// A store may have versions that are newer than the program's, and classes that it does not use.
TEST_F(DescribedChanges, NewerVersionsAreNoObstacle) {
  using Rod = Rod2<Change::Newer, 0>;
  cls_ClassRegistrar registrar;
  sto_Store store = Open<Rod>(registrar);
  MessageOf(sto_ErrorKind::NewerFormat, [&] { static_cast<void>(store.Load<Rod>("root")); });
}

// --- Fields whose type has changed, or whose names are used again.

struct Place {
  KVL_VALUE(Place)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 1;
  double y = 2;
};
struct Place3 {
  KVL_VALUE(Place3)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
    field(KVL_F(z));
  }
  double x = 1;
  double y = 2;
  double z = 3;
};

template <class T> class Site {
 public:
  KVL_PERSISTED(Site, 0x760020, "Site", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Old)); }
  Site() = default;
  T m_Old{};
};

/// What a later version says of the field.
enum class Say { Nothing, Was, Dropped, NewName, Again };

template <class T, Say Kind, class Old = T> class Site2 {
 public:
  KVL_PERSISTED(Site2, 0x760020, "Site", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    if constexpr (Kind == Say::Nothing) field("m_Old"_field, &Site2::m_New);
    if constexpr (Kind == Say::Again) field("m_Old"_field, &Site2::m_New, Since(2));
    if constexpr (Kind == Say::Was) field(KVL_F(m_New), Was<"m_Old">());
    if constexpr (Kind == Say::NewName) field(KVL_F(m_New), Since(2));
    if constexpr (Kind == Say::Dropped || Kind == Say::NewName)
      field("m_Old"_field, Dropped(&Site2::TakeOld));
    if constexpr (Kind == Say::Dropped) field(KVL_F(m_New), Transient());
  }
  Site2() = default;
  void TakeOld(Old old) { m_IsTaken = sizeof(old) != 0; }
  static inline bool m_IsTaken = false;
  T m_New{};
};

class DescribedFields : public DescribedTest {
 protected:
  template <class Old, class New> [[nodiscard]] std::string Refusal(Old const& old) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(old, name);
    cls_ClassRegistrar registrar;
    New::Declare(registrar);
    std::string const text = MessageOf(sto_ErrorKind::Misuse, [&] {
      static_cast<void>(sto_Store::Open(Path(name), sto_Mode::ReadOnly, registrar));
    });
    return text.substr(text.find(": ") + 2);
  }
  template <class Old, class New> void CheckIsRead(Old const& old) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(old, name);
    EXPECT_NE(Load<New>(name), nullptr);
  }

 private:
  int m_Files = 0;
};

TEST_F(DescribedFields, RenamedFieldOfAnotherShape) {
  EXPECT_EQ((Refusal<Site<std::optional<Place>>, Site2<Place, Say::Was>>({})),
            "Class Site: attribute m_New.x is not there in version 1 of the store. Say with kvl::Since which "
            "version of the class added it, or with kvl::Was what it was called.");
  EXPECT_EQ((Refusal<Site<Place3>, Site2<Place, Say::Was>>({})),
            "Class Site: attribute m_Old.z in version 1 of the store is read by no field. Say with kvl::Was "
            "which field it became, or that it is kvl::Dropped.");
  CheckIsRead<Site<Place>, Site2<Place, Say::Was>>({});
}

TEST_F(DescribedFields, DroppedFieldOfAnotherShape) {
  EXPECT_EQ(
      (Refusal<Site<std::optional<Place>>, Site2<Place, Say::Dropped>>({})),
      "Class Site: attribute m_Old.has in version 1 of the store is read by no field. Say with kvl::Was "
      "which field it became, or that it is kvl::Dropped.");
  CheckIsRead<Site<Place>, Site2<Place, Say::Dropped>>({});
  EXPECT_TRUE((Site2<Place, Say::Dropped>::m_IsTaken));
}

TEST_F(DescribedFields, FieldThatIsThereBeforeItsSince) {
  EXPECT_EQ(
      (Refusal<Site<int>, Site2<int, Say::Again>>({})),
      "Class Site: attribute m_Old is there in version 1 of the store, although kvl::Since says version "
      "2. If it is another field than it was then, give it a name that the class never had.");
  CheckIsRead<Site<Place>, Site2<Place3, Say::Again>>({}); // it got a member
}

TEST_F(DescribedFields, FieldOfAnotherType) {
  std::string const text = "Class Site: attribute m_Old in version 1 of the store is ATTR_INT, "
                           "COLLECTION_LIST_INT, which cannot be read as ";
  std::string const advice =
      ". Give the field a new name with kvl::Since, and take the old one with kvl::Dropped and its old type.";
  using Ints = std::vector<int>;
  using Doubles = std::vector<double>;
  EXPECT_EQ((Refusal<Site<Ints>, Site2<Doubles, Say::Nothing>>({})),
            text + "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE" + advice);
  EXPECT_EQ((Refusal<Site<Ints>, Site2<int, Say::Nothing>>({})), text + "ATTR_INT, COLLECTION_NONE" + advice);
  EXPECT_EQ((Refusal<Site<Ints>, Site2<Doubles, Say::Was>>({})),
            text + "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE" + advice);
  EXPECT_EQ((Refusal<Site<Ints>, Site2<Doubles, Say::Dropped>>({})),
            text + "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE" + advice);
  EXPECT_NE((Refusal<Site<double>, Site2<float, Say::Nothing>>({})), "");
  EXPECT_NE((Refusal<Site<bool>, Site2<int, Say::Nothing>>({})), "");
}

TEST_F(DescribedFields, FieldOfAnotherTypeUnderANewName) {
  CheckIsRead<Site<std::vector<int>>, Site2<std::vector<double>, Say::NewName, std::vector<int>>>({});
}

TEST_F(DescribedFields, TypesThatReadEachOther) {
  CheckIsRead<Site<int>, Site2<long long, Say::Nothing>>({});
  CheckIsRead<Site<unsigned short>, Site2<signed char, Say::Nothing>>({});
  CheckIsRead<Site<float>, Site2<double, Say::Nothing>>({});
  CheckIsRead<Site<std::string>, Site2<atr_String, Say::Nothing>>({});
  CheckIsRead<Site<std::vector<int>>, Site2<std::list<short>, Say::Nothing>>({});
}

// --- Units.

constexpr char Millimetres[] = "mm";
constexpr char Metres[] = "m";
constexpr char Nothing[] = "";

/// With the name of today, the earlier name (or the same), the unit and the unit that it was called (or the same).
template <int Version, cow_LiteralChars Name, cow_LiteralChars Earlier, char const* Text,
          char const* Called = Text>
class Measured {
 public:
  KVL_PERSISTED(Measured, 0x760021, "Measured", Version)
  static constexpr void Describe(auto& field) {
    constexpr kvl::Unit unit = Called == Text ? kvl::Unit(Text) : kvl::Unit(Text).Was(Called);
    if constexpr (std::is_same_v<dsc_Name<Name>, dsc_Name<Earlier>>)
      field(dsc_Name<Name>(), &Measured::m_Length, unit);
    else
      field(dsc_Name<Name>(), &Measured::m_Length, unit, kvl::Was<Earlier>());
  }
  Measured() = default;
  std::vector<double> m_Length{12.5};
};
template <int Version, char const* Text, char const* Called = Text>
using MeasuredLength = Measured<Version, "m_Length", "m_Length", Text, Called>;

std::string UnitText(int version) {
  return "Class Measured: attribute m_Length is in mm in version " + std::to_string(version) +
         " of the store, and in m today. Stored numbers are not converted. Keep the unit in the store with kvl::As, "
         "or give the field a new name with kvl::Since and convert what kvl::Dropped gets. If both are names of one "
         "unit, say kvl::Unit(\"m\").Was(\"mm\") in a new version.";
}

TEST_F(DescribedFields, FieldInAnotherUnitIsRefused) {
  EXPECT_EQ((Refusal<MeasuredLength<1, Millimetres>, MeasuredLength<2, Metres>>({})), UnitText(1));
  EXPECT_EQ((Refusal<MeasuredLength<1, Millimetres>, Measured<2, "m_Span", "m_Length", Metres>>({})),
            UnitText(1));
  EXPECT_EQ((Refusal<MeasuredLength<3, Millimetres>, MeasuredLength<3, Metres>>({})),
            UnitText(3)); // same version
}

/// The store could not be opened any more.
TEST_F(DescribedFields, RootWithChangesThatAreNotSaidIsNotCopied) {
  SaveNew(MeasuredLength<1, Millimetres>(), "old.kvs");
  cls_ClassRegistrar earlier;
  MeasuredLength<1, Millimetres>::Declare(earlier);
  cls_ClassRegistrar today;
  MeasuredLength<2, Metres>::Declare(today);
  sto_Store source = sto_Store::Open(Path("old.kvs"), sto_Mode::ReadOnly, earlier);
  {
    sto_Store target = sto_Store::Open(Path("new.kvs"), sto_Mode::Create, today);
    std::string const text =
        MessageOf(sto_ErrorKind::Misuse, [&] { sto_CopyRoot(source, "root", target, "root"); });
    EXPECT_TRUE(Contains(text, Path("new.kvs") + ": " + UnitText(1))) << text;
    EXPECT_FALSE(target.HasRoot("root"));
    target.Save("mine", MeasuredLength<2, Metres>());
  }
  sto_Store target = sto_Store::Open(Path("new.kvs"), sto_Mode::ReadWrite, today);
  EXPECT_TRUE(target.Check(sto_CheckDepth::Full).IsSound());
}

TEST_F(DescribedFields, AnotherNameOfAUnitNeedsANewVersion) {
  std::string const text =
      Refusal<MeasuredLength<1, Millimetres>, MeasuredLength<1, Metres, Millimetres>>({});
  EXPECT_EQ(
      text,
      "Class Measured: attribute m_Length is in mm in version 1 of the store, and in m today. A version has "
      "one name of a unit: give the class a new version.");
}

TEST_F(DescribedFields, UnitMayHaveHadSeveralNames) {
  constexpr kvl::Unit Pascal = kvl::Unit("Pa").Was("N/m2").Was("kg/(m s2)");
  EXPECT_STREQ(Pascal.m_Said.m_Earlier[0], "N/m2");
  EXPECT_STREQ(Pascal.m_Said.m_Earlier[1], "kg/(m s2)");
}

TEST_F(DescribedFields, FieldInTheSameUnitIsRead) {
  CheckIsRead<MeasuredLength<1, Millimetres>, MeasuredLength<2, Millimetres>>({});
  CheckIsRead<MeasuredLength<1, Millimetres>, MeasuredLength<2, Metres, Millimetres>>(
      {}); // another name of it
  CheckIsRead<MeasuredLength<1, Nothing>, MeasuredLength<2, Metres>>({});
  CheckIsRead<MeasuredLength<1, Metres>, MeasuredLength<2, Nothing>>({});
}

/// A value whose members have units of their own.
template <char const* Text> struct Section {
  using kvl_Self = Section;
  using kvl_Value = void;
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("area"_field, &Section::area, Unit(Text));
    field("height"_field, &Section::height);
    field("name"_field, &Section::name);
  }
  double area = 0;
  double height = 0;
  std::string name;
};
template <int Version, class T> class Sectioned {
 public:
  KVL_PERSISTED(Sectioned, 0x760022, "Sectioned", Version)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Section), kvl::Unit("mm"));
    field(KVL_F(m_Sections));
  }
  Sectioned() = default;
  T m_Section;
  std::vector<T> m_Sections;
};
constexpr char SquareMillimetres[] = "mm2";
constexpr char SquareMetres[] = "m2";

TEST_F(DescribedFields, MembersOfAValueHaveUnitsOfTheirOwn) {
  cls_ClassRegistrar registrar;
  Sectioned<1, Section<SquareMillimetres>>::Declare(registrar);
  auto const unitOf = [&](char const* attribute) {
    auto const* const notes = registrar.NotesOf(0x760022, 1).Find(attribute);
    return notes == nullptr ? std::string() : notes->m_Unit;
  };
  EXPECT_EQ(unitOf("m_Section.area"), "mm2");
  EXPECT_EQ(unitOf("m_Section.height"), "mm"); // that of the whole value
  EXPECT_EQ(unitOf("m_Section.name"), "");
  EXPECT_EQ(unitOf("m_Sections.area"), "mm2");
  EXPECT_EQ(unitOf("m_Sections.height"), "");
}

TEST_F(DescribedFields, MemberOfAValueInAnotherUnitIsRefused) {
  std::string const text =
      Refusal<Sectioned<1, Section<SquareMillimetres>>, Sectioned<2, Section<SquareMetres>>>({});
  EXPECT_TRUE(Contains(
      text, "Class Sectioned: attribute m_Section.area is in mm2 in version 1 of the store, and in m2 "
            "today."))
      << text;
}

/// The place has lost a member.
class Flat {
 public:
  KVL_PERSISTED(Flat, 0x760020, "Site", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(KVL_F(m_Old));
    field("m_Old.z"_field, Dropped(&Flat::TakeHeight));
    field(KVL_F(m_Height), Transient());
  }
  Flat() = default;
  void TakeHeight(double height) { m_Height = height; }
  Place m_Old;
  double m_Height = 0;
};

TEST_F(DescribedFields, MemberThatAValueLoses) {
  EXPECT_EQ((Refusal<Site<Place3>, Site2<Place, Say::Nothing>>({})),
            "Class Site: attribute m_Old.z in version 1 of the store is read by no field. Say with kvl::Was "
            "which field it became, or that it is kvl::Dropped.");
  SaveNew(Site<Place3>());
  EXPECT_EQ(Load<Flat>()->m_Height, 3);
}

class Plain : public kvl::Described<Plain, kvl::NoBase, 0x760020, "Site", 2> {
 public:
  Plain() = default;
  explicit Plain(cls_ReadVisitor const& visitor) : Described(visitor) { ReadFields(visitor); }
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("m_New"_field, &Plain::m_New);
  }
  int m_New = 0;
};

TEST_F(DescribedFields, ClassWithoutTheMacroIsComparedToo) {
  EXPECT_EQ((Refusal<Site<int>, Plain>({})),
            "Class Site: attribute m_New is not there in version 1 of the store. Say with kvl::Since which "
            "version of the class added it, or with kvl::Was what it was called.");
}

// --- Base classes.

namespace before {
class Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Part, kvl::Polymorphic, 0x760010, "Part", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }
  Part() = default;
  std::string m_Name = "part";
};
class Beam : public Part {
 public:
  KVL_PERSISTED(Beam, Part, 0x760011, "Beam", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Length));
    field(KVL_F(m_Density));
  }
  Beam() = default;
  double m_Length = 4;
  double m_Density = 5;
};
} // namespace before

/// Two base classes are inserted between Beam and Part.
namespace after {
using before::Part;
class Solid : public Part {
 public:
  KVL_PERSISTED(Solid, Part, 0x760012, "Solid", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Volume), kvl::Since(2, 99.0)); }
  Solid() = default;
  void AfterRead(int) { m_Volume += 1000; }
  double m_Volume = 6;
};
class Member : public Solid {
 public:
  KVL_PERSISTED(Member, Solid, 0x760013, "Member", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Density)); }
  Member() = default;
  double m_Density = 1;
};
template <bool IsSaid> class Beam : public Member {
 public:
  KVL_PERSISTED(Beam, Member, 0x760011, "Beam", 2)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    if constexpr (IsSaid) field(BaseWas<Part>());
    field(KVL_F(m_Length));
    field("m_Density"_field, Dropped(&Beam::TakeDensity));
  }
  Beam() = default;
  void TakeDensity(double density) { m_Density = density; }
  double m_Length = 0;
};
} // namespace after

/// And one of them goes again.
namespace later {
using after::Solid;
class Beam : public Solid {
 public:
  KVL_PERSISTED(Beam, Solid, 0x760011, "Beam", 3)
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field(BaseWas<before::Part>());
    field(BaseWas<after::Member>());
    field(KVL_F(m_Length));
    field("m_Density"_field, Dropped(&Beam::TakeDensity));
  }
  Beam() = default;
  void TakeDensity(double) {}
  double m_Length = 0;
};
} // namespace later

class DescribedBases : public DescribedTest {};

TEST_F(DescribedBases, ChangedBaseThatIsNotSaid) {
  SaveNew(before::Beam());
  cls_ClassRegistrar registrar;
  after::Beam<false>::Declare(registrar);
  std::string const text = MessageOf(sto_ErrorKind::Misuse, [&] {
    static_cast<void>(sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar));
  });
  EXPECT_NE(
      text.find("Class Beam: it has base class 0x760010 in version 1 of the store, and base class 0x760013 "
                "today. Say kvl::BaseWas"),
      std::string::npos)
      << text;
}

TEST_F(DescribedBases, InsertedBasesKeepTheirDefaults) {
  SaveNew(before::Beam());
  SaveAgain<before::Beam>();
  std::unique_ptr<after::Beam<true>> const beam = Load<after::Beam<true>>();
  EXPECT_EQ(beam->m_Name, "part");
  EXPECT_EQ(beam->m_Volume, 6);
  EXPECT_EQ(beam->m_Density, 5);
  EXPECT_EQ(beam->m_Length, 4);
}

TEST_F(DescribedBases, SavedAgainTheyAreStored) {
  SaveNew(before::Beam());
  SaveAgain<after::Beam<true>>();
  std::unique_ptr<after::Beam<true>> const beam = Load<after::Beam<true>>();
  EXPECT_EQ(beam->m_Name, "part");
  EXPECT_EQ(beam->m_Volume, 1006); // the hook runs for a part that is stored
  EXPECT_EQ(beam->m_Density, 5);
  EXPECT_EQ(ObjectCount(), 1U);
}

TEST_F(DescribedBases, BaseThatIsGoneIsPassedOver) {
  SaveNew(before::Beam());
  EXPECT_EQ(Load<later::Beam>()->m_Name, "part");
  SaveAgain<after::Beam<true>>();
  std::unique_ptr<later::Beam> const beam = Load<later::Beam>();
  EXPECT_EQ(beam->m_Name, "part");
  EXPECT_EQ(beam->m_Volume, 1006);
  EXPECT_EQ(beam->m_Length, 4);
}

} // namespace

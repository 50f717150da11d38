// A store is opened only if the program says what has become of each class since the versions in it.

#include <gtest/gtest.h>

#include <string>

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

// What Declare adds to a registrar, and the slips that it refuses by name.

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "errors/nex_TextException.h"
#include "store/sto_CheckClasses.h"

namespace {

std::string Refusal(void (*declare)(cls_ClassRegistrar&), cls_ClassRegistrar& registrar) {
  try {
    declare(registrar);
  } catch (nex_TextException const& failure) {
    return failure.UserReport().CharsOrEmpty();
  }
  return "declared";
}
std::string Refusal(void (*declare)(cls_ClassRegistrar&)) {
  cls_ClassRegistrar registrar;
  return Refusal(declare, registrar);
}

std::string GapText(std::string_view where, int bytes, int offset) {
  std::string text(where);
  text.append(": ").append(std::to_string(bytes)).append(" bytes at offset ").append(std::to_string(offset));
  return text +
         " belong to no field. Describe the member that lies there; with kvl::Transient if it is not to be "
         "stored. If it is a base class with data, a reference or a bit-field, it cannot be described.";
}

class Wheel {
 public:
  KVL_PERSISTED(Wheel, 0x740001, "Wheel", 4)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Radius), kvl::Unit("mm"));
    field(KVL_F(m_Spoke));
    field(KVL_F(m_Cache), kvl::Transient());
    field(KVL_F(m_Width), kvl::Since(3, 2.0), kvl::Was<"m_Thickness", "m_T">());
  }
  double m_Radius = 0;
  std::shared_ptr<Wheel> m_Spoke;
  double m_Cache = 0;
  double m_Width = 1;
};

TEST(DescribedDeclaring, DeclaresAttributesUnitsAndChanges) {
  cls_ClassRegistrar registrar;
  Wheel::Declare(registrar);
  Wheel::Declare(registrar); // again changes nothing
  EXPECT_EQ(sto_CheckClasses(registrar), std::vector<std::string>());
  cls_ClassMetadata const& metadata = registrar.ConstGet(Wheel::TypeId());
  EXPECT_EQ(metadata.Name(), "Wheel"_cow);
  EXPECT_EQ(metadata.Version(), 4);
  EXPECT_EQ(metadata.GetAttributes().Count(), 3U);
  EXPECT_EQ(metadata.FindAttribute("m_Width"_cow)->m_FieldId, 2);
  EXPECT_EQ(registrar.FindNotes(Wheel::TypeId(), 4)->Find("m_Radius")->m_Unit, "mm");
  cls_ClassChanges const& changes = *registrar.FindChanges(Wheel::TypeId());
  EXPECT_EQ(changes.Find("m_Width")->m_Since, 3);
  EXPECT_TRUE(changes.Reads("m_T"));
  EXPECT_TRUE(changes.Place().starts_with("DescribedDeclaring_test.cpp:")) << changes.Place();
}

class Wheel2 {
 public:
  KVL_PERSISTED(Wheel2, 0x740001, "Wheel2", 4)
  static constexpr void Describe(auto&) {}
};
class Wheel3 {
 public:
  KVL_PERSISTED(Wheel3, 0x740001, "Wheel3", 5)
  static constexpr void Describe(auto&) {}
};
class Wheel4 {
 public:
  KVL_PERSISTED(Wheel4, 0x740004, "Wheel", 1)
  static constexpr void Describe(auto&) {}
};

TEST(DescribedDeclaring, RefusesOneIdForTwoClasses) {
  cls_ClassRegistrar registrar;
  Wheel::Declare(registrar);
  for (auto const declare : {&Wheel2::Declare, &Wheel3::Declare}) {
    std::string const text = Refusal(declare, registrar);
    EXPECT_NE(text.find("class ID 0x740001 is taken twice: by Wheel (DescribedDeclaring_test.cpp:"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find(" and by Wheel"), std::string::npos) << text;
  }
}

TEST(DescribedDeclaring, RefusesOneNameForTwoClasses) {
  cls_ClassRegistrar registrar;
  Wheel::Declare(registrar);
  std::string const text = Refusal(&Wheel4::Declare, registrar);
  EXPECT_NE(text.find("Class Wheel: its name is taken twice: by Wheel (DescribedDeclaring_test.cpp:"),
            std::string::npos)
      << text;
}

class Undeclared : public kvl::Polymorphic {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x740005; }
  Undeclared() = default;
  explicit Undeclared(cls_ReadVisitor const&) {}
  void DBWrite(cls_WriteVisitor const&) const override {}
  [[nodiscard]] cls_Uid const& Uid() const override { return m_Uid; }

 private:
  cls_Uid m_Uid;
};
class OfUndeclared : public Undeclared {
 public:
  KVL_PERSISTED(OfUndeclared, Undeclared, 0x740006, "OfUndeclared", 1)
  static constexpr void Describe(auto&) {}
};

TEST(DescribedDeclaring, RefusesAnUndeclaredBaseClass) {
  EXPECT_EQ(Refusal(&OfUndeclared::Declare),
            "Class OfUndeclared: its base class 0x740005 is not declared. Declare it first.");
}

class Forgetful {
 public:
  KVL_PERSISTED(Forgetful, 0x740007, "Forgetful", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_First));
    field(KVL_F(m_Last));
  }
  double m_First = 0;
  double m_Forgotten[2] = {};
  double m_Last = 0;
};
class ForgetsLast : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(ForgetsLast, kvl::Polymorphic, 0x740008, "ForgetsLast", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_First)); }
  double m_First = 0;
  bool m_IsSmall = false; // in a word of its own: no padding
};
/// The byte lies where padding would lie, too.
class HidesInPadding {
 public:
  KVL_PERSISTED(HidesInPadding, 0x740009, "HidesInPadding", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_First));
    field(KVL_F(m_Last));
  }
  bool m_First = false;
  bool m_Forgotten = false;
  double m_Last = 0;
};

TEST(DescribedDeclaring, RefusesAMemberThatNobodyDescribed) {
  EXPECT_EQ(Refusal(&Forgetful::Declare), GapText("Class Forgetful", 16, 16));
  EXPECT_EQ(Refusal(&ForgetsLast::Declare), GapText("Class ForgetsLast", 8, 24));
  EXPECT_EQ(Refusal(&HidesInPadding::Declare), "declared");
}

class SelfMade : public kvl::Described<SelfMade, kvl::NoBase, 0x74000A, "SelfMade", 1> {
 public:
  explicit SelfMade(cls_ReadVisitor const& visitor) : Described(visitor) { ReadFields(visitor); }
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("m_First"_field, &SelfMade::m_First);
  }
  double m_First = 0;
  double m_Forgotten = 0;
};

TEST(DescribedDeclaring, RefusesItWithoutTheMacroToo) {
  EXPECT_EQ(Refusal(&SelfMade::Declare), GapText("Class SelfMade", 8, 24));
}

struct Forgets {
  KVL_VALUE(Forgets)
  static constexpr void Describe(auto& field) { field(KVL_F(m_First)); }
  double m_First = 0;
  double m_Forgotten = 0;
};
class HoldsForgets {
 public:
  KVL_PERSISTED(HoldsForgets, 0x74000B, "HoldsForgets", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  std::vector<Forgets> m_Values;
};

TEST(DescribedDeclaring, RefusesAMemberOfAValueThatNobodyDescribed) {
  EXPECT_EQ(Refusal(&HoldsForgets::Declare), GapText("Class HoldsForgets, field m_Values", 8, 8));
}

struct Observer {
  virtual ~Observer() = default;
};
class Seen : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Seen, kvl::Polymorphic, 0x74000D, "Seen", 1)
  static constexpr void Describe(auto&) {}
};
class Watched : public Observer, public Seen {
 public:
  KVL_PERSISTED(Watched, Seen, 0x74000E, "Watched", 1)
  static constexpr void Describe(auto&) {}
};

TEST(DescribedDeclaring, RefusesABaseClassThatDoesNotLieFirst) {
  EXPECT_EQ(
      Refusal(&Watched::Declare),
      "Class Watched: its base class Seen must be the first of its base classes, and does not lie first in "
      "it.");
}

struct Pin {
  KVL_VALUE(Pin)
  static constexpr void Describe(auto& field) {
    field(KVL_F(name));
    field(KVL_F(x));
  }
  std::string name;
  double x = 0;
};
class Board {
 public:
  KVL_PERSISTED(Board, 0x74000C, "Board", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Pins), kvl::Unit("mm"));
    field(KVL_F(m_Rows), kvl::Unit("mm"));
    field(KVL_F(m_ByNumber), kvl::Unit("mm"));
  }
  std::vector<Pin> m_Pins;
  std::vector<std::vector<double>> m_Rows;
  std::map<long, double> m_ByNumber;
};

TEST(DescribedDeclaring, UnitsAreThoseOfTheNumbersInAValue) {
  cls_ClassRegistrar registrar;
  Board::Declare(registrar);
  cls_ClassNotes const& notes = *registrar.FindNotes(Board::TypeId(), 1);
  for (char const* const attribute : {"m_Pins.x", "m_Rows.values", "m_ByNumber.value"}) {
    ASSERT_NE(notes.Find(attribute), nullptr) << attribute;
    EXPECT_EQ(notes.Find(attribute)->m_Unit, "mm") << attribute;
  }
  for (char const* const attribute : {"m_Pins.name", "m_Rows.lengths", "m_ByNumber.key"})
    EXPECT_EQ(notes.Find(attribute), nullptr) << attribute;
}

struct Note {
  KVL_VALUE(Note)
  static constexpr void Describe(auto& field) { field(KVL_F(text), kvl::Unit("mm")); }
  std::string text;
};
template <class Member> class InMillimetres {
 public:
  KVL_PERSISTED(InMillimetres, 0x74000F, "Measured", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value), kvl::Unit("mm")); }
  Member m_Value;
};

TEST(DescribedDeclaring, RefusesAUnitOfWhatHasNoNumbers) {
  std::string const text =
      "Class Measured, field m_Value: kvl::Unit is said of a field that stores no numbers.";
  EXPECT_EQ(Refusal(&InMillimetres<std::string>::Declare), text);
  EXPECT_EQ(Refusal(&InMillimetres<std::vector<unsigned char>>::Declare), text);
  EXPECT_EQ(Refusal(&InMillimetres<std::vector<std::string>>::Declare), text);
  EXPECT_EQ(Refusal(&InMillimetres<std::unique_ptr<Seen>>::Declare), text);
  EXPECT_EQ(Refusal(&InMillimetres<std::vector<Note>>::Declare),
            "Class Measured, field m_Value.text: kvl::Unit is said of a field that stores no numbers.");
  EXPECT_EQ(Refusal(&InMillimetres<std::vector<std::pair<std::string, float>>>::Declare), "declared");
}

template <class Member> class Indexed {
 public:
  KVL_PERSISTED(Indexed, 0x740010, "Indexed", 3)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Key), kvl::Since(2), kvl::Indexed());
    field(KVL_F(m_Other));
  }
  Member m_Key{};
  int m_Other = 0;
};

TEST(DescribedDeclaring, IndexedFieldsAreNoted) {
  for (auto const declare :
       {&Indexed<char>::Declare, &Indexed<unsigned long long>::Declare, &Indexed<float>::Declare,
        &Indexed<std::string>::Declare, &Indexed<cow_String>::Declare, &Indexed<dsc_OptionKind>::Declare}) {
    cls_ClassRegistrar registrar;
    declare(registrar);
    cls_ClassNotes const& notes = *registrar.FindNotes(Indexed<char>::TypeId(), 3);
    ASSERT_NE(notes.Find("m_Key"), nullptr);
    EXPECT_TRUE(notes.Find("m_Key")->m_IsIndexed);
    EXPECT_EQ(notes.Find("m_Other"), nullptr);
  }
}

class WithNotes {
 public:
  KVL_PERSISTED(WithNotes, 0x740010, "WithNotes", 2)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Value), kvl::Note("source", "measured"), kvl::Unit("mm"), kvl::Note("by", "gauge"));
    field(KVL_F(m_Pair), kvl::Note("source", "computed"));
  }
  double m_Value = 0;
  std::pair<int, int> m_Pair;
};

TEST(DescribedDeclaring, NotesAreOnEachAttributeOfAField) {
  using Texts = cls_ClassNotes::Texts;
  cls_ClassRegistrar registrar;
  WithNotes::Declare(registrar);
  cls_ClassNotes const& notes = *registrar.FindNotes(WithNotes::TypeId(), 2);
  EXPECT_EQ(notes.Find("m_Value")->m_Notes, (Texts{{"by", "gauge"}, {"source", "measured"}}));
  EXPECT_EQ(notes.Find("m_Value")->m_Unit, "mm");
  EXPECT_EQ(notes.Find("m_Pair.first")->m_Notes, (Texts{{"source", "computed"}}));
  EXPECT_EQ(notes.Find("m_Pair.second")->m_Notes, (Texts{{"source", "computed"}}));
  EXPECT_TRUE(notes.Notes().empty());
}

} // namespace

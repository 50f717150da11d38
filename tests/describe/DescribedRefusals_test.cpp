// Objects and stored values that are refused, by name, when they are saved or loaded.

#include <gtest/gtest.h>

#include <array>
#include <complex>
#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/describe/DescribedTest.h"

namespace {

std::string Refusal(std::function<void()> const& act) {
  try {
    act();
  } catch (nex_Exception const& failure) {
    return failure.UserReport().CharsOrEmpty();
  }
  return "done";
}

using DescribedRefusals = DescribedTest;

// --- Derived classes that are not described.

class Bar : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Bar, kvl::Polymorphic, 0x770001, "Bar", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Area)); }
  Bar() = default;
  double m_Area = 0;
};
class Undescribed : public Bar {
 public:
  double m_Length = 3;
};
/// Written by hand.
class Rod : public Bar {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x770002; }
  Rod() = default;
  explicit Rod(cls_ReadVisitor const& visitor)
      : Bar(cls_ReadVisitor(visitor.Memento()->Clone())), m_Length(visitor.Read(LengthField(), 0.0)),
        m_Own(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (visitor.StartWrite(TypeId(), m_Own) == 0) return;
    Bar::DBWrite(cls_WriteVisitor(visitor, Bar::TypeId()));
    visitor.Write(LengthField(), m_Length);
  }
  [[nodiscard]] cls_Uid const& Uid() const override { return m_Own; }
  static void Declare(cls_ClassRegistrar& registrar) {
    Bar::Declare(registrar);
    registrar.AddClassMD(new cls_TypeAdapter<Rod>("Rod"_cow, 1, Bar::TypeId()))
        .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  }
  double m_Length = 3;

 private:
  static cls_FieldHandle LengthField() { return {0, "m_Length"_cow}; }
  cls_Uid m_Own;
};
class Frame {
 public:
  KVL_PERSISTED(Frame, 0x770003, "Frame", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Bars)); }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    Rod::Declare(registrar);
  }
  Frame() = default;
  std::vector<std::shared_ptr<Bar>> m_Bars;
};

TEST_F(DescribedRefusals, ObjectOfADerivedClassThatIsNotDescribed) {
  std::string const expected =
      "Class Bar: an object of a class derived from it is saved, which has no KVL_PERSISTED of its own.";
  EXPECT_EQ(Refusal([&] { SaveNew(Undescribed()); }), expected);
  Frame frame;
  frame.m_Bars = {std::make_shared<Bar>(), std::make_shared<Undescribed>()};
  EXPECT_EQ(Refusal([&] { SaveNew(frame, "frame.kvs"); }), expected);
}

TEST_F(DescribedRefusals, ClassByHandMayDeriveFromADescribedOne) {
  cls_ClassRegistrar registrar;
  Frame::DeclareAll(registrar);
  Frame frame;
  frame.m_Bars = {std::make_shared<Rod>(), std::make_shared<Bar>()};
  frame.m_Bars[0]->m_Area = 7;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, registrar, StrictOptions());
  store.Save("frame", frame);
  std::unique_ptr<Frame> const loaded = store.Load<Frame>("frame");
  auto const& rod = dynamic_cast<Rod const&>(*loaded->m_Bars.at(0));
  EXPECT_EQ(rod.m_Area, 7);
  EXPECT_EQ(rod.m_Length, 3);
}

// --- Values that Among does not name.

enum class Matter { Steel, Wood, Glass };
template <class T, bool HasElse> class Chosen {
 public:
  KVL_PERSISTED(Chosen, 0x770004, "Chosen", 1)
  static constexpr void Describe(auto& field) {
    if constexpr (HasElse)
      field(KVL_F(m_Kind), kvl::Among(T(0)).Else(T(1)));
    else
      field(KVL_F(m_Kind), kvl::Among(T(0), T(1)));
  }
  Chosen() = default;
  explicit Chosen(T kind) : m_Kind(std::move(kind)) {}
  T m_Kind{};
};

TEST_F(DescribedRefusals, WhatAmongRefusesIsNotSaved) {
  auto const text = [](std::string const& value) {
    return "Class Chosen, field m_Kind: the value " + value + " is none that it may have. It is not saved.";
  };
  EXPECT_EQ(Refusal([&] { SaveNew(Chosen<Matter, false>(Matter::Glass), "1.kvs"); }), text("2"));
  EXPECT_EQ(Refusal([&] { SaveNew(Chosen<Matter, true>(Matter::Glass), "2.kvs"); }), text("2"));
  EXPECT_EQ(Refusal([&] { SaveNew(Chosen<double, false>(0.5), "3.kvs"); }), text("0.500000"));
}

TEST_F(DescribedRefusals, WhatAmongNamesIsSaved) {
  SaveNew(Chosen<Matter, false>(Matter::Wood), "1.kvs");
  EXPECT_EQ((Load<Chosen<Matter, false>>("1.kvs")->m_Kind), Matter::Wood);
  SaveNew(Chosen<Matter, true>(Matter::Wood), "2.kvs"); // what a load may make of another value
  EXPECT_EQ((Load<Chosen<Matter, true>>("2.kvs")->m_Kind), Matter::Wood);
}

// --- Lists with rows of another width than the elements that are read.

template <class T> class Listed {
 public:
  KVL_PERSISTED(Listed, 0x770005, "Listed", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Values)); }
  Listed() = default;
  explicit Listed(T values) : m_Values(std::move(values)) {}
  T m_Values{};
};

class DescribedRows : public DescribedTest {
 protected:
  /// What loading says when a list that was saved as From is read as To.
  template <class To, class From> [[nodiscard]] std::string Read(From from) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(Listed<From>(std::move(from)), name);
    return Refusal([&] { static_cast<void>(Load<Listed<To>>(name)); });
  }
  [[nodiscard]] static std::string Text(int stored, int asked) {
    return "Class Listed, field m_Values: the stored list has " + std::to_string(stored) +
           " numbers or texts for each element, and not " + std::to_string(asked) + ".";
  }

 private:
  int m_Files = 0;
};

TEST_F(DescribedRows, OfAnotherWidthAreRefused) {
  using Three = std::vector<std::array<double, 3>>;
  EXPECT_EQ((Read<std::vector<std::array<double, 2>>>(Three{{1, 2, 3}, {4, 5, 6}})), Text(3, 2));
  EXPECT_EQ((Read<std::vector<double>>(Three{{1, 2, 3}})), Text(3, 1));
  using Block = std::vector<std::array<std::array<double, 3>, 2>>;
  EXPECT_EQ((Read<Three>(Block{{{{1, 2, 3}, {4, 5, 6}}}})), Text(6, 3));
}

TEST_F(DescribedRows, EmptyListsHaveNoRows) {
  EXPECT_EQ((Read<std::vector<double>>(std::vector<std::array<double, 3>>())), "done");
}

TEST_F(DescribedRows, ArrayAloneIsAListOfItsElements) {
  EXPECT_EQ((Read<std::vector<double>>(std::array<double, 3>{1, 2, 3})), "done");
  EXPECT_EQ((Read<std::array<double, 2>>(std::array<double, 3>{1, 2, 3})),
            "Class Listed, field m_Values: the stored list has another length than the lists beside it.");
}

// --- Objects by value of another class.

class Bolt {
 public:
  KVL_PERSISTED(Bolt, 0x770010, "Bolt", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_X), kvl::Unit("mm")); }
  Bolt() = default;
  double m_X = 5;
};
class Rivet {
 public:
  KVL_PERSISTED(Rivet, 0x770011, "Rivet", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_X), kvl::Unit("m")); }
  Rivet() = default;
  double m_X = 0;
};

class DescribedByValue : public DescribedRows {
 protected:
  static std::string Class(char const* stored, char const* asked) {
    return std::string("Class Listed, field m_Values: what is stored is an object of class ") + stored +
           ", and not of class " + asked + ".";
  }
};

TEST_F(DescribedByValue, ObjectOfAnotherClassIsRefused) {
  std::string const text = Class("0x770010", "0x770011");
  EXPECT_EQ(Read<Rivet>(Bolt()), text);
  EXPECT_EQ(
      Read<std::optional<Rivet>>(std::optional<Bolt>(Bolt())),
      "Class Listed, field m_Values.value: what is stored is an object of class 0x770010, and not of class 0x770011.");
  EXPECT_EQ(Read<std::vector<Rivet>>(std::vector<Bolt>(2)), text);
  EXPECT_EQ((Read<std::map<int, Rivet>>(std::map<int, Bolt>{{1, Bolt()}})), text);
  EXPECT_EQ(Read<Rivet>(std::make_unique<Bolt>()), text);
  EXPECT_EQ(Read<Bolt>(Bolt()), "done");
}

TEST_F(DescribedByValue, BytesAreNoObject) {
  EXPECT_EQ(Read<Rivet>(std::vector<unsigned char>{1, 2}), Class("0x230005", "0x770011"));
}

// --- Numbers of the other sign.

struct Span {
  KVL_VALUE(Span)
  static constexpr void Describe(auto& field) { field(KVL_F(first)); }
  unsigned first = 0;
};
struct SignedSpan {
  KVL_VALUE(SignedSpan)
  static constexpr void Describe(auto& field) { field(KVL_F(first)); }
  int first = 0;
};
template <class T, int Version> class Counted {
 public:
  KVL_PERSISTED(Counted, 0x770006, "Counted", Version)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Count)); }
  Counted() = default;
  explicit Counted(T count) : m_Count(count) {}
  T m_Count{};
};

class DescribedSigns : public DescribedTest {
 protected:
  /// What loading says when a number that was saved as From is read as To by the next version.
  template <class To, class From> [[nodiscard]] std::string Read(From from) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(Counted<From, 1>(from), name);
    return Refusal([&] {
      EXPECT_TRUE((Load<Counted<From, 2>>(name)->m_Count == from)); // the same type, any number
      static_cast<void>(Load<Counted<To, 2>>(name));
    });
  }
  /// Reads a list of integers as one of type To.
  template <class To, class From> void ExpectList(std::vector<From> const& values) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(Counted<std::vector<From>, 1>(values), name);
    auto const loaded = Load<Counted<std::vector<To>, 2>>(name);
    EXPECT_EQ(loaded->m_Count, std::vector<To>(values.begin(), values.end()));
  }
  [[nodiscard]] static std::string AfterPath(std::string const& message) {
    return message.substr(message.find(": ") + 2);
  }
  [[nodiscard]] static std::string Text(std::string const& value) {
    return "Class Counted, field m_Count: the stored value " + value + " is none that it may have.";
  }

 private:
  int m_Files = 0;
};

TEST_F(DescribedSigns, NumberThatDoesNotFitIsRefused) {
  EXPECT_EQ(Read<unsigned>(-1), Text("-1"));
  EXPECT_EQ(Read<int>(0xFFFFFFFFU), Text("4294967295"));
  EXPECT_EQ(Read<int>(char32_t(0x80000000U)), Text("2147483648"));
  EXPECT_EQ(Read<char32_t>(-5), Text("-5"));
  EXPECT_EQ((Read<std::optional<unsigned>>(std::optional<int>(-1))), Text("-1"));
}

enum class Mask : unsigned { Low = 1, High = 0x80000000U };
enum class Level : int { Below = -3, Above = 4 };

TEST_F(DescribedSigns, EnumerationOfAnotherSignIsRefused) {
  EXPECT_EQ(Read<Mask>(-7), Text("-7"));
  EXPECT_EQ(Read<Mask>(short(-7)), Text("-7"));
  EXPECT_EQ(Read<Level>(0x80000000U), Text("2147483648"));
  EXPECT_EQ(Read<Mask>(5), "done");
  EXPECT_EQ(Read<Level>(-3), "done");
  EXPECT_EQ(Read<Level>(Level::Below), "done");
  EXPECT_EQ(Read<Mask>(Mask::High), "done");
  EXPECT_NE((Read<std::vector<Mask>>(std::vector<int>{-2})), "done");
  EXPECT_NE((Read<std::vector<Level>>(std::vector<Mask>{Mask::High})), "done");
  EXPECT_EQ((Read<std::vector<long long>>(std::vector<Mask>{Mask::High})), "done");
  EXPECT_NE((Read<std::map<int, Level>>(std::map<int, Mask>{{1, Mask::High}})), "done");
}

TEST_F(DescribedSigns, ElementsThatAreOneInAnotherContainerAreRefused) {
  std::string const text = "Class Counted, field m_Count: two stored elements are one here.";
  EXPECT_EQ((Read<std::set<int>>(std::vector<int>{2, 3, 2})), text);
  EXPECT_EQ((Read<std::map<std::string, int>>(std::multimap<std::string, int>{{"a", 1}, {"a", 2}})), text);
  EXPECT_EQ((Read<std::map<long, bool>>(std::multimap<long, bool>{{1, true}, {1, false}})), text);
  using Pairs = std::vector<std::pair<int, int>>;
  EXPECT_EQ((Read<std::set<std::pair<int, int>>>(Pairs{{1, 2}, {1, 2}})), text);
  EXPECT_EQ((Read<std::set<int>>(std::vector<int>{3, 2})), "done");
  EXPECT_EQ((Read<std::map<std::string, int>>(std::multimap<std::string, int>{{"a", 1}, {"b", 2}})), "done");
}

TEST_F(DescribedSigns, NumberThatFitsIsRead) {
  EXPECT_EQ(Read<unsigned>(7), "done");
  EXPECT_EQ(Read<int>(7U), "done");
  EXPECT_EQ(Read<long long>(-7), "done");
  EXPECT_EQ(Read<long long>(0xFFFFFFFFU), "done");
  EXPECT_EQ((Read<std::optional<unsigned>>(std::optional<int>())), "done");
}

TEST_F(DescribedSigns, IntegersInListsThatFitAreRead) {
  using Limits = std::numeric_limits<long long>;
  ExpectList<int>(std::vector<short>{-32768, 32767});
  ExpectList<short>(std::vector<int>{-32768, 32767});
  ExpectList<long long>(std::vector<int>{std::numeric_limits<int>::min(), 7});
  ExpectList<int>(std::vector<long long>{std::numeric_limits<int>::min(), 7});
  ExpectList<unsigned long long>(std::vector<long long>{0, Limits::max()});
  ExpectList<long long>(std::vector<unsigned long long>{0, static_cast<unsigned long long>(Limits::max())});
  ExpectList<char8_t>(std::vector<long long>{0, 255}); // a vector of unsigned char is a blob
  ExpectList<signed char>(std::vector<unsigned short>{0, 127});
  ExpectList<char>(std::vector<signed char>{-128, 127});
  ExpectList<unsigned>(std::vector<char8_t>(5000, char8_t{200}));
}

TEST_F(DescribedSigns, IntegersInListsThatDoNotFitAreRefused) {
  auto const text = [](char const* value, char const* type) {
    return std::string("Element 1 of the list of object 2 is ") + value + ", which no " + type + " can be.";
  };
  EXPECT_EQ(AfterPath(Read<std::vector<short>>(std::vector<int>{0, 32768})), text("32768", "16-bit integer"));
  EXPECT_EQ(AfterPath(Read<std::vector<short>>(std::vector<int>{0, -32769})),
            text("-32769", "16-bit integer"));
  EXPECT_EQ(AfterPath(Read<std::vector<unsigned long long>>(std::vector<signed char>{0, -1})),
            text("-1", "unsigned 64-bit integer"));
  EXPECT_EQ(AfterPath(Read<std::vector<long long>>(std::vector<unsigned long long>{0, ~0ULL})),
            text("18446744073709551615", "64-bit integer"));
}

TEST_F(DescribedSigns, ListsOfOtherNumbersAreNotReadAsEachOther) {
  EXPECT_NE(Read<std::vector<double>>(std::vector<std::complex<double>>{{1, 2}}), "done");
  EXPECT_NE(Read<std::vector<double>>(std::vector<long long>{1}), "done");
  EXPECT_NE(Read<std::vector<long long>>(std::vector<bool>{true}), "done");
}

TEST_F(DescribedSigns, MemberOfAValueIsRefusedToo) {
  SaveNew(Counted<Span, 1>(Span{0xFFFFFFFFU}));
  EXPECT_EQ(Refusal([&] { static_cast<void>(Load<Counted<SignedSpan, 2>>()); }),
            "Class Counted, field m_Count.first: the stored value 4294967295 is none that it may have.");
}

// --- Reading constructors that forget ReadFields.

template <bool Reads>
class Spring : public kvl::Described<Spring<Reads>, kvl::Polymorphic, 0x770007, "Spring", 1> {
 public:
  explicit Spring(cls_ReadVisitor const& visitor) : Spring::Described(visitor) {
    if (s_Fails) throw std::runtime_error("fails");
    if (Reads) this->ReadFields(visitor);
  }
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("m_Rate"_field, &Spring::m_Rate);
    field("m_Next"_field, &Spring::m_Next);
    field("m_Parts"_field, &Spring::m_Parts);
  }
  Spring() = default;
  static inline bool s_Fails = false;
  double m_Rate = 5;
  std::shared_ptr<Spring> m_Next;
  std::vector<std::shared_ptr<Spring>> m_Parts;
};

class DescribedForgetful : public DescribedTest {
 protected:
  static constexpr char const* Text =
      "Class Spring: its reading constructor does not call ReadFields, so nothing of an object was read.";
};

TEST_F(DescribedForgetful, LoadRefusesIt) {
  SaveNew(Spring<true>());
  for (int i = 0; i < 40; ++i) EXPECT_EQ(Refusal([&] { static_cast<void>(Load<Spring<false>>()); }), Text);
  EXPECT_EQ(Load<Spring<true>>()->m_Rate, 5);
}

TEST_F(DescribedForgetful, LoadRefusesItInAList) {
  Spring<true> spring;
  for (int i = 0; i < 40; ++i) spring.m_Parts.push_back(std::make_shared<Spring<true>>());
  spring.m_Next = std::make_shared<Spring<true>>();
  SaveNew(Listed<std::vector<Spring<true>>>(std::vector<Spring<true>>(40)));
  EXPECT_EQ(Load<Listed<std::vector<Spring<true>>>>()->m_Values.size(), 40U);
  EXPECT_EQ(Refusal([&] { static_cast<void>(Load<Listed<std::vector<Spring<false>>>>()); }), Text);
  SaveNew(spring, "spring.kvs");
  EXPECT_EQ(Load<Spring<true>>("spring.kvs")->m_Parts.size(), 40U);
}

TEST_F(DescribedForgetful, ConstructorThatFailsIsNoSlip) {
  SaveNew(Spring<true>());
  Spring<true>::s_Fails = true;
  EXPECT_THROW(static_cast<void>(Load<Spring<true>>()), std::runtime_error);
  Spring<true>::s_Fails = false;
  EXPECT_EQ(Load<Spring<true>>()->m_Rate, 5);
}

/// Outside of a load nothing notices it, until the object is saved.
TEST_F(DescribedForgetful, SavingRefusesIt) {
  Spring<false> const built{cls_ReadVisitor(static_cast<cls_MementoRead*>(nullptr))};
  EXPECT_EQ(Refusal([&] { SaveNew(built); }), Text);
  Spring<false> copy(built);
  EXPECT_EQ(Refusal([&] { SaveNew(copy, "copy.kvs"); }), Text);
  EXPECT_EQ(Refusal([&] { SaveNew(Spring<false>(std::move(copy)), "moved.kvs"); }), Text);
}

} // namespace

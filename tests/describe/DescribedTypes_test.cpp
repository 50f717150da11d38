// Each type of member comes back as it was saved, with its extremes.

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <deque>
#include <limits>
#include <list>
#include <map>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "tests/describe/DescribedTest.h"
#include "tests/support/store/StoreFile.h"

namespace {

enum class Small : std::uint8_t { None = 0, Last = 255 };
enum Wide : unsigned int { Most = 0xFFFFFFFFU };

/// A class with one member of any type that is stored.
template <class T> class Holder {
 public:
  KVL_PERSISTED(Holder, 0x720001, "Holder", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value)); }
  Holder() = default;
  explicit Holder(T value) : m_Value(std::move(value)) {}
  T m_Value{};
};

/// Its second version, in which the member has another name.
template <class T> class RenamedHolder {
 public:
  KVL_PERSISTED(RenamedHolder, 0x720001, "Holder", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Renamed), kvl::Was<"m_Value">()); }
  RenamedHolder() = default;
  T m_Renamed{};
};

class DescribedTypes : public DescribedTest {
 protected:
  /// The value after it was saved and loaded in another session. The object saved again adds nothing.
  template <class T> T RoundTrip(T value) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    SaveNew(Holder<T>(std::move(value)), name);
    std::size_t const count = ObjectCount(name);
    SaveAgain<Holder<T>>(name);
    EXPECT_EQ(ObjectCount(name), count);
    return std::move(Load<Holder<T>>(name)->m_Value);
  }
  /// All values of each type, as the parts of tuples, in one store. They come back in the same version and in the next.
  template <class... T> void CheckAll(std::vector<T> const&... values) {
    using All = std::tuple<T...>;
    cls_ClassRegistrar registrar;
    Holder<All>::Declare(registrar);
    std::string const path = Path(std::to_string(m_Files++) + ".kvs");
    std::vector<All> all;
    for (std::size_t i = 0; i < std::max({values.size()...}); ++i)
      all.push_back(All(values[std::min(i, values.size() - 1)]...));
    {
      sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar, StrictOptions());
      sto_Transaction transaction(store);
      for (std::size_t i = 0; i < all.size(); ++i) store.Save(std::to_string(i), Holder<All>(all[i]));
      transaction.Commit();
    }
    for (std::size_t i = 0; i < all.size(); ++i) {
      std::string const root = std::to_string(i);
      ExpectSame(LoadRoot<Holder<All>>(path, root)->m_Value, all[i], std::index_sequence_for<T...>());
      ExpectSame(LoadRoot<RenamedHolder<All>>(path, root)->m_Renamed, all[i],
                 std::index_sequence_for<T...>());
    }
  }
  template <class T>
  [[nodiscard]] std::unique_ptr<T> LoadRoot(std::string const& path, std::string const& root) {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    return sto_Store::Open(path, sto_Mode::ReadOnly, registrar, StrictOptions()).Load<T>(root);
  }
  template <class All, std::size_t... Part>
  static void ExpectSame(All const& loaded, All const& saved, std::index_sequence<Part...>) {
    (ExpectPart(Part, std::get<Part>(loaded), std::get<Part>(saved)), ...);
  }
  template <class T> static void ExpectPart(std::size_t part, T const& loaded, T const& saved) {
    EXPECT_TRUE(loaded == saved) << "part " << part;
  }
  template <class T> using Cases = std::vector<T>;
  template <class... T> void CheckEachLimit() {
    CheckAll(Cases<T>{std::numeric_limits<T>::min(), std::numeric_limits<T>::max(),
                      std::numeric_limits<T>::lowest(), T(1), T(0)}...);
    CheckAll(Cases<std::optional<T>>{std::nullopt, std::numeric_limits<T>::max(), T(0)}...);
  }

  int m_Files = 0;
};

TEST_F(DescribedTypes, Numbers) {
  CheckEachLimit<char, signed char, unsigned char, short, unsigned short, int, unsigned int, long,
                 unsigned long, long long, unsigned long long, float, double, bool, wchar_t, char8_t,
                 char16_t, char32_t>();
}

TEST_F(DescribedTypes, Enumerations) {
  CheckAll(Cases<Small>{Small::None, Small::Last}, Cases<Wide>{Most, Wide(0), Wide(1)},
           Cases<std::optional<Small>>{std::nullopt, Small::None});
}

TEST_F(DescribedTypes, Texts) {
  std::string const withNul("a\0b", 3);
  CheckAll(Cases<std::string>{"", "text", withNul, std::string(100'000, 'x')},
           Cases<std::optional<std::string>>{std::nullopt, "", "x"});
  EXPECT_EQ(RoundTrip<cow_String>("text"_cow), "text"_cow);
  EXPECT_FALSE(RoundTrip<cow_String>(cow_String()).HasText());
  EXPECT_EQ(RoundTrip<atr_String>(atr_String("text"_cow)).AsCow(), "text"_cow);
}

TEST_F(DescribedTypes, Sequences) {
  CheckAll(Cases<std::vector<bool>>{{}, {true, false, true}, std::vector<bool>(5000, true)},
           Cases<std::vector<int>>{{}, {1, -1, std::numeric_limits<int>::min()}, std::vector<int>(5000, 7)},
           Cases<std::vector<unsigned int>>{{}, {0, 0xFFFFFFFFU}},
           Cases<std::vector<float>>{{}, {0.5F, -1e30F}},
           Cases<std::vector<double>>{{}, {0.5, -1e300}, std::vector<double>(5000, 0.25)},
           Cases<std::vector<std::string>>{{}, {"", "a", std::string(3000, 'b')}},
           Cases<std::vector<Small>>{{}, {Small::Last, Small::None}},
           Cases<std::vector<char>>{{}, {'a', '\xff'}}, Cases<std::vector<unsigned char>>{{}, {0, 255}},
           Cases<std::vector<short>>{{}, {-32768, 32767}}, Cases<std::deque<int>>{{}, {3, 2, 1}},
           Cases<std::list<std::string>>{{}, {"b", "a"}}, Cases<std::set<std::string>>{{}, {"b", "a"}},
           Cases<std::set<int>>{{}, {-5, 5}}, Cases<std::multiset<int>>{{}, {5, 5}});
}

TEST_F(DescribedTypes, Maps) {
  CheckAll(Cases<std::map<std::string, double>>{{}, {{"a", 1}, {"", -2}}},
           Cases<std::map<std::string, float>>{{}, {{"a", 1.5F}}},
           Cases<std::map<std::string, int>>{{}, {{"a", -1}}},
           Cases<std::map<std::string, unsigned int>>{{}, {{"a", 0xFFFFFFFFU}}},
           Cases<std::map<std::string, std::string>>{{}, {{"a", "b"}, {"c", ""}}},
           Cases<std::map<std::string, Small>>{{}, {{"a", Small::Last}}},
           Cases<std::map<int, double>>{{}, {{-1, 1}, {1, 2}}}, Cases<std::map<int, float>>{{}, {{-1, 1.5F}}},
           Cases<std::map<int, int>>{{}, {{-1, 1}}}, Cases<std::map<int, unsigned int>>{{}, {{-1, 1}}},
           Cases<std::map<unsigned int, std::string>>{{}, {{0xFFFFFFFFU, "a"}, {1, "b"}}},
           Cases<std::map<Small, std::string>>{{}, {{Small::Last, "a"}}},
           Cases<std::map<short, unsigned char>>{{}, {{-32768, 255}}},
           Cases<std::unordered_map<std::string, double>>{{}, {{"a", 1}, {"b", 2}}},
           Cases<std::unordered_map<int, int>>{{}, {{3, 1}, {-7, 2}}});
}

class Node {
 public:
  KVL_PERSISTED(Node, 0x720002, "Node", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_X)); }
  explicit Node(int x = 0) : m_X(x) {}
  int m_X = 0;
};

TEST_F(DescribedTypes, Objects) {
  EXPECT_EQ(RoundTrip(std::make_unique<Node>(3))->m_X, 3);
  EXPECT_EQ(RoundTrip(std::unique_ptr<Node>()), nullptr);
  EXPECT_EQ(RoundTrip(std::make_shared<Node>(4))->m_X, 4);
  EXPECT_EQ(RoundTrip(std::make_shared<Node const>(4))->m_X, 4);
  EXPECT_EQ(RoundTrip(std::shared_ptr<Node>()), nullptr);
  EXPECT_EQ(RoundTrip(Node(5)).m_X, 5);
}

TEST_F(DescribedTypes, ObjectsInContainers) {
  std::vector<std::unique_ptr<Node>> owned;
  owned.push_back(std::make_unique<Node>(1));
  owned.push_back(std::make_unique<Node>(2));
  EXPECT_EQ(RoundTrip(std::move(owned)).at(1)->m_X, 2);
  EXPECT_EQ(RoundTrip(std::vector<Node>{Node(1), Node(2)}).at(1).m_X, 2);
  EXPECT_EQ(RoundTrip(std::list<Node>{Node(1), Node(2)}).back().m_X, 2);
  auto const node = std::make_shared<Node>(7);
  std::vector<std::shared_ptr<Node>> const shared = RoundTrip(std::vector{node, node});
  EXPECT_EQ(shared.at(0), shared.at(1));
  EXPECT_EQ(RoundTrip(std::map<std::string, std::shared_ptr<Node>>{{"a", node}}).at("a")->m_X, 7);
  EXPECT_EQ(RoundTrip(std::map<int, Node>{{-3, Node(8)}}).at(-3).m_X, 8);
  EXPECT_EQ(RoundTrip(std::unordered_map<int, Node>{{-3, Node(8)}, {2, Node(9)}}).at(2).m_X, 9);
}

TEST_F(DescribedTypes, NullPointersInListsComeBack) {
  auto const node = std::make_shared<Node>();
  auto const loaded = RoundTrip(std::vector<std::shared_ptr<Node>>{nullptr, node, nullptr, node});
  ASSERT_EQ(loaded.size(), 4U);
  EXPECT_TRUE(loaded[0] == nullptr && loaded[2] == nullptr);
  EXPECT_TRUE(loaded[1] != nullptr && loaded[1] == loaded[3]);
  auto const listed = RoundTrip(std::list<std::shared_ptr<Node>>{nullptr, node});
  EXPECT_TRUE(listed.front() == nullptr && listed.back() != nullptr);
}

TEST_F(DescribedTypes, NullPointersInMapsAreRefusedByName) {
  auto const text = [this](auto container) {
    try {
      SaveNew(Holder<decltype(container)>(std::move(container)), std::to_string(m_Files++) + ".kvs");
    } catch (nex_Exception const& failure) {
      return std::string(failure.UserReport().CharsOrEmpty());
    }
    return std::string();
  };
  EXPECT_EQ(text(std::map<int, std::shared_ptr<Node>>{{1, nullptr}}),
            "Class Holder, field m_Value: one of its pointers is null, and a map has no null values.");
}

/// The order of an unordered map's elements does not show in its bytes.
TEST_F(DescribedTypes, EqualUnorderedMapsHaveEqualBytes) {
  std::unordered_map<int, int> up;
  std::unordered_map<int, int> down(5000);
  for (int i = 0; i < 1000; ++i) {
    up[i] = i;
    down[999 - i] = 999 - i;
  }
  SaveNew(Holder<std::unordered_map<int, int>>(up), "up.kvs");
  SaveNew(Holder<std::unordered_map<int, int>>(down), "down.kvs");
  SqlFile first(Path("up.kvs"));
  SqlFile second(Path("down.kvs"));
  first.Unpack();
  second.Unpack();
  EXPECT_EQ(first.Row(2).m_Values, second.Row(2).m_Values);
}

class Person {
 public:
  KVL_PERSISTED(Person, 0x720003, "Person", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Child));
    field(KVL_F(m_Parent));
  }
  Person() = default;
  std::shared_ptr<Person> m_Child;
  std::weak_ptr<Person> m_Parent;
};

TEST_F(DescribedTypes, WeakPointersCloseCycles) {
  auto const parent = std::make_shared<Person>();
  parent->m_Child = std::make_shared<Person>();
  parent->m_Child->m_Parent = parent;
  SaveNew(Holder<std::shared_ptr<Person>>(parent));
  std::shared_ptr<Person> const loaded = Load<Holder<std::shared_ptr<Person>>>()->m_Value;
  EXPECT_EQ(loaded->m_Child->m_Parent.lock(), loaded);
  EXPECT_EQ(loaded->m_Parent.lock(), nullptr);
}

TEST_F(DescribedTypes, WeakPointerToWhatIsNotStoredIsEmpty) {
  auto const parent = std::make_shared<Person>();
  auto const child = std::make_shared<Person>();
  child->m_Parent = parent;
  SaveNew(Holder<std::shared_ptr<Person>>(child));
  EXPECT_EQ(Load<Holder<std::shared_ptr<Person>>>()->m_Value->m_Parent.lock(), nullptr);
}

class Animal : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(Animal, kvl::Polymorphic, 0x720010, "Animal", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Legs)); }
  [[nodiscard]] virtual std::string Says() const = 0;

 protected:
  explicit Animal(int legs) : m_Legs(legs) {}
  [[nodiscard]] int Legs() const { return m_Legs; }

 private:
  int m_Legs = 0;
};

class Dog : public Animal {
 public:
  KVL_PERSISTED(Dog, Animal, 0x720011, "Dog", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Tricks));
    field(KVL_F(m_Friend));
  }
  Dog() : Animal(4) {}
  [[nodiscard]] std::string Says() const override { return "woof" + std::to_string(Legs()); }
  std::vector<std::string> m_Tricks;
  std::weak_ptr<Animal> m_Friend;
};

class Puppy : public kvl::Described<Puppy, Dog, 0x720012, "Puppy", 1> {
 public:
  Puppy() = default;
  explicit Puppy(cls_ReadVisitor const& visitor) : Described(visitor) { ReadFields(visitor); }
  static constexpr void Describe(auto& field) {
    using namespace kvl;
    field("m_Weeks"_field, &Puppy::m_Weeks);
  }
  [[nodiscard]] std::string Says() const override { return "yip" + std::to_string(Legs()); }
  int m_Weeks = 0;
};

class Kennel {
 public:
  KVL_PERSISTED(Kennel, 0x720013, "Kennel", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Animals)); }
  static void DeclareAll(cls_ClassRegistrar& registrar) {
    Declare(registrar);
    Puppy::Declare(registrar);
  }
  Kennel() = default;
  std::vector<std::shared_ptr<Animal>> m_Animals;
};

/// Three levels, an abstract base class, a class without the macro, and a reference to an object of a derived class.
TEST_F(DescribedTypes, Hierarchies) {
  cls_ClassRegistrar registrar;
  Kennel::DeclareAll(registrar);
  EXPECT_TRUE(registrar.InheritanceCheck(Puppy::TypeId(), Animal::TypeId()));
  EXPECT_FALSE(registrar.ClassIsPresent(1));
  {
    Kennel kennel;
    auto const dog = std::make_shared<Dog>();
    auto const puppy = std::make_shared<Puppy>();
    dog->m_Tricks = {"sit"};
    dog->m_Friend = puppy;
    puppy->m_Weeks = 9;
    puppy->m_Tricks = {"eat", "sleep"};
    kennel.m_Animals = {dog, puppy};
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, registrar);
    store.Save("kennel", kennel);
  }
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, registrar);
  std::unique_ptr<Kennel> const kennel = store.Load<Kennel>("kennel");
  ASSERT_EQ(kennel->m_Animals.size(), 2U);
  EXPECT_EQ(kennel->m_Animals[0]->Says(), "woof4");
  EXPECT_EQ(kennel->m_Animals[1]->Says(), "yip4");
  auto const& dog = dynamic_cast<Dog const&>(*kennel->m_Animals[0]);
  auto const& puppy = dynamic_cast<Puppy const&>(*kennel->m_Animals[1]);
  EXPECT_EQ(puppy.m_Weeks, 9);
  EXPECT_EQ(puppy.m_Tricks, (std::vector<std::string>{"eat", "sleep"}));
  EXPECT_EQ(puppy.m_Friend.lock(), nullptr);
  EXPECT_EQ(dog.m_Friend.lock(), kennel->m_Animals[1]);
}

} // namespace

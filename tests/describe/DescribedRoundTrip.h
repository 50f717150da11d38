#pragma once

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "tests/describe/DescribedTest.h"

/// A class with one member of any type that is stored.
template <class T> class Kept {
 public:
  KVL_PERSISTED(Kept, 0x780001, "Kept", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Value)); }
  Kept() = default;
  explicit Kept(T value) : m_Value(std::move(value)) {}
  T m_Value{};
};

/// Its second version, in which the member has another name.
template <class T> class Renamed {
 public:
  KVL_PERSISTED(Renamed, 0x780001, "Kept", 2)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Renamed), kvl::Was<"m_Value">()); }
  Renamed() = default;
  T m_Renamed{};
};

/// Fixture for tests that save values of a type.
class DescribedRoundTrip : public DescribedTest {
 protected:
  /// Saves all values, loads them, saves them again, which adds nothing, and loads them under another name.
  template <class T> void Check(std::vector<T> const& values) {
    std::string const name = std::to_string(m_Files++) + ".kvs";
    InStore<Kept<T>>(name, sto_Mode::Create, [&values](sto_Store& store) {
      for (std::size_t i = 0; i < values.size(); ++i) store.Save(std::to_string(i), Kept<T>(values[i]));
    });
    std::size_t const count = ObjectCount(name);
    InStore<Kept<T>>(name, sto_Mode::ReadWrite, [&values](sto_Store& store) {
      for (std::size_t i = 0; i < values.size(); ++i) {
        auto const loaded = store.Load<Kept<T>>(std::to_string(i));
        EXPECT_TRUE(loaded->m_Value == values[i]) << i;
        store.Save(std::to_string(i), *loaded);
      }
    });
    EXPECT_EQ(ObjectCount(name), count);
    InStore<Renamed<T>>(name, sto_Mode::ReadWrite, [&values](sto_Store& store) {
      for (std::size_t i = 0; i < values.size(); ++i) {
        auto const loaded = store.Load<Renamed<T>>(std::to_string(i));
        EXPECT_TRUE(loaded->m_Renamed == values[i]) << i;
        store.Save(std::to_string(i), *loaded);
      }
    });
    EXPECT_EQ(ObjectCount(name), count);
  }

  template <class T> [[nodiscard]] static std::string UnitOf(char const* attribute) {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    auto const* const notes = registrar.NotesOf(T::TypeId(), 1).Find(attribute);
    return notes == nullptr ? "" : notes->m_Unit;
  }

 private:
  template <class T, class Act> void InStore(std::string const& name, sto_Mode mode, Act act) {
    cls_ClassRegistrar registrar;
    T::Declare(registrar);
    sto_Store store = sto_Store::Open(Path(name), mode, registrar, StrictOptions());
    act(store);
    store.Close();
  }

  int m_Files = 0;
};

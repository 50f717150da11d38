#pragma once

#include <algorithm>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "store/inspect/sto_Inspection.h"
#include "tests/support/store/OpenStoreTest.h"

/// Test fixture that saves with the program's classes, and looks at the store with none.
class InspectedStoreTest : public OpenStoreTest {
 protected:
  using OpenStoreTest::OpenStoreTest;

  /// Closes the store, and opens it without classes.
  sto_Inspection& Look() {
    m_Store.reset();
    m_Inspection.reset();
    m_Plain.emplace(sto_Store::Open(Path(), sto_Mode::ReadOnly, m_None));
    return m_Inspection.emplace(*m_Plain);
  }
  /// A field of an object's own class. Fails the test if there is none.
  static sto_InspectedField FieldOf(sto_InspectedObject const& object, std::string_view name) {
    for (sto_InspectedPart const& part : object.m_Parts)
      for (sto_InspectedField const& field : part.m_Fields)
        if (field.m_Name == name) return field;
    ADD_FAILURE() << "no field " << name;
    return {};
  }
  static bool HasField(sto_InspectedObject const& object, std::string_view name) {
    return std::ranges::any_of(object.m_Parts.front().m_Fields,
                               [&](sto_InspectedField const& field) { return field.m_Name == name; });
  }
  /// The value of a field, if it has this type.
  template <class T> static std::optional<T> Value(sto_InspectedObject const& object, std::string_view name) {
    sto_InspectedField const field = FieldOf(object, name);
    T const* const value = std::get_if<T>(&field.m_Value);
    return value == nullptr ? std::nullopt : std::optional<T>(*value);
  }
  static std::int64_t IdIn(sto_InspectedObject const& object, std::string_view name) {
    return Value<sto_InspectedId>(object, name).value_or(sto_InspectedId{-1}).m_Id;
  }
  static std::string KindOf(sto_InspectedObject const& object, std::string_view name) {
    return FieldOf(object, name).m_Kind;
  }

  cls_ClassRegistrar m_None;
  std::optional<sto_Store> m_Plain;
  std::optional<sto_Inspection> m_Inspection;
};

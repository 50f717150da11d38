#pragma once

#include <initializer_list>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"
#include "wrappers/cls_xp1DArray.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xpList.h"

// A uniform interface to the ten one-dimensional wrappers, for tests.

/// The type code and test values of an element type.
template <class T> struct ElementCase;
template <> struct ElementCase<double> {
  static constexpr int Code = 52;
  static std::vector<double> Values() { return {1.5, -0.0, 1e308, 5e-324}; }
};
template <> struct ElementCase<float> {
  static constexpr int Code = 53;
  static std::vector<float> Values() { return {1.5F, -0.0F, 3e38F, 1e-45F}; }
};
template <> struct ElementCase<int> {
  static constexpr int Code = 54;
  static std::vector<int> Values() { return {7, -2147483647 - 1, 2147483647, 0}; }
};
template <> struct ElementCase<cow_String> {
  static constexpr int Code = 55;
  static std::vector<cow_String> Values() {
    return {cow_String("a%s"), cow_String(), ""_cow, cow_String("last")};
  }
};
template <> struct ElementCase<unsigned int> {
  static constexpr int Code = 57;
  static std::vector<unsigned int> Values() { return {7, 4294967295U, 0, 1}; }
};

template <class T> struct FixedArrayCase {
  using Element = T;
  using Container = cow_1DArray<T>;
  using Wrapper = cls_xp1DArray<T>;
  static constexpr bool AsksCount = true;
  static Container Make(std::vector<T> const& values) {
    Container container(static_cast<int>(values.size()));
    for (int i = 0; i < container.Length(); ++i) container.Get(i) = values[static_cast<std::size_t>(i)];
    return container;
  }
  static std::vector<T> Elements(Container const& container) {
    return {container.ConstData(), container.ConstData() + container.Length()};
  }
  static bool Share(Container const& a, Container const& b) { return a.SharesStorageWith(b); }
  static void Change(Container& container) { container.Get(0) = ElementCase<T>::Values()[3]; }
  static Wrapper Read(cls_ReadVisitor const& visitor) { return Wrapper(visitor); }
};

template <class T> struct ArrayListCase {
  using Element = T;
  using Container = cow_1DArrayList<T>;
  using Wrapper = cls_xp1DArrayList<T>;
  static constexpr bool AsksCount = true;
  static Container Make(std::vector<T> const& values) {
    Container container;
    for (T const& value : values) container.Append(value);
    return container;
  }
  static std::vector<T> Elements(Container const& container) {
    return {container.ConstData(), container.ConstData() + container.Count()};
  }
  static bool Share(Container const& a, Container const& b) {
    return a.Storage().SharesStorageWith(b.Storage());
  }
  static void Change(Container& container) { container.Get(0) = ElementCase<T>::Values()[3]; }
  static Wrapper Read(cls_ReadVisitor const& visitor) { return Wrapper(visitor, nullptr); }
};

template <class T> struct ListCase {
  using Element = T;
  using Container = cow_List<T>;
  using Wrapper = cls_xpList<T>;
  static constexpr bool AsksCount = false;
  static Container Make(std::vector<T> const& values) {
    Container container;
    for (T const& value : values) container.Append(value);
    return container;
  }
  static std::vector<T> Elements(Container const& container) {
    std::vector<T> elements;
    for (auto iterator = container.Iterator(); !iterator.AtEnd(); iterator.Next())
      elements.push_back(iterator.ConstGet());
    return elements;
  }
  static bool Share(Container const& a, Container const& b) { return a.SharesStorageWith(b); }
  static void Change(Container& container) { container.Append(ElementCase<T>::Values()[3]); }
  static Wrapper Read(cls_ReadVisitor const& visitor) { return Wrapper(visitor); }
};

// The conversions under a common name.
inline auto FromCow(cow_1DArray<double> const& source) {
  return cls_xp1DArrayDoubleFromCow(source);
}
inline auto FromCow(cow_1DArray<int> const& source) {
  return cls_xp1DArrayIntFromCow(source);
}
inline auto FromCow(cow_1DArrayList<double> const& source) {
  return cls_xp1DArrayListDoubleFromCow(source);
}
inline auto FromCow(cow_1DArrayList<float> const& source) {
  return cls_xp1DArrayListFloatFromCow(source);
}
inline auto FromCow(cow_1DArrayList<int> const& source) {
  return cls_xp1DArrayListIntFromCow(source);
}
inline auto FromCow(cow_1DArrayList<cow_String> const& source) {
  return cls_xp1DArrayListStringFromCow(source);
}
inline auto FromCow(cow_1DArrayList<unsigned int> const& source) {
  return cls_xp1DArrayListUintFromCow(source);
}
inline auto FromCow(cow_List<float> const& source) {
  return cls_xpListFloatFromCow(source);
}
inline auto FromCow(cow_List<int> const& source) {
  return cls_xpListIntFromCow(source);
}
inline auto FromCow(cow_List<cow_String> const& source) {
  return cls_xpListStringFromCow(source);
}

using WrapperCases =
    ::testing::Types<FixedArrayCase<double>, FixedArrayCase<int>, ArrayListCase<double>, ArrayListCase<float>,
                     ArrayListCase<int>, ArrayListCase<cow_String>, ArrayListCase<unsigned int>,
                     ListCase<float>, ListCase<int>, ListCase<cow_String>>;

/// Shared by the tests of all ten wrappers.
template <class Case> class WrapperTest : public ::testing::Test {
 protected:
  using T = typename Case::Element;
  using Container = typename Case::Container;
  using Wrapper = typename Case::Wrapper;

  static std::vector<T> Values() { return ElementCase<T>::Values(); }
  static Wrapper MakeWrapper() { return FromCow(Case::Make(Values())); }

  /// Elements as text, which distinguishes values that compare equal: -0 and 0, no text and empty text.
  static std::vector<std::string> Texts(std::vector<T> const& elements) {
    std::vector<std::string> texts;
    for (T const& element : elements) texts.push_back(ShownScalar(element));
    return texts;
  }
  static std::vector<std::string> Texts(Container const& container) {
    return Texts(Case::Elements(container));
  }

  /// A wrapper read from the recorder's list.
  Wrapper Read() {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    return Case::Read(visitor);
  }

  /// The log lines for writing a list: from `writer`, created by the memento `write`.
  static Lines ListLines(std::string const& write, std::string const& writer, std::vector<T> const& values) {
    Lines lines{write + ".MakeWriteListPrim(tag " + ShownScalar(T()) + ", int 1) = " + writer};
    for (T const& value : values) lines.push_back(writer + ".Append(" + ShownScalar(value) + ")");
    lines.insert(lines.end(), {writer + ".NeedsDeletion() = bool true", "~" + writer});
    return lines;
  }

  Recorder m_Recorder;
};

inline Lines Joined(std::initializer_list<Lines> parts) {
  Lines joined;
  for (Lines const& part : parts) joined.insert(joined.end(), part.begin(), part.end());
  return joined;
}

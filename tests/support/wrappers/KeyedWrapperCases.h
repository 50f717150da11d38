#pragma once

#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/backend/RecordingBackEnd.h"
#include "wrappers/cls_xpBtree.h"
#include "wrappers/cls_xpMap.h"

// A uniform interface to the wrappers from strings to primitives, for tests.

template <class T> using KeyedEntries = std::vector<std::pair<cow_String, T>>;

template <class Iterator, class T, class Container>
KeyedEntries<T> WalkedEntries(Container const& container) {
  KeyedEntries<T> entries;
  for (Iterator i(container); !i.IsDone(); i.Next()) entries.emplace_back(i.Key(), i.Value());
  return entries;
}

template <class T> struct MapCase {
  using Element = T;
  using Container = cow_Map<cow_String, T>;
  using Wrapper = cls_xpMap<T>;
  static constexpr bool LastOfOneKeyCounts = true;
  static void Add(Container& map, cow_String const& key, T const& value) { map.Insert(key, value); }
  static KeyedEntries<T> Entries(Container const& map) {
    return WalkedEntries<cow_ConstMapIterator<cow_String, T>, T>(map);
  }
};

struct FloatMapCase : MapCase<float> {
  static constexpr char const* Code = "63";
  static std::vector<float> Values() { return {1.5F, -0.0F, 1e-45F, 3e38F}; }
};
struct StringMapCase : MapCase<cow_String> {
  static constexpr char const* Code = "65";
  static std::vector<cow_String> Values() {
    return {cow_String("a%s"), cow_String(), ""_cow, cow_String("last")};
  }
};
struct UintTreeCase {
  using Element = unsigned int;
  using Container = cow_Btree<cow_String, unsigned int>;
  using Wrapper = cls_xpBtreeString2Uint;
  static constexpr bool LastOfOneKeyCounts = false;
  static constexpr char const* Code = "66";
  static std::vector<unsigned int> Values() { return {7, 4294967295U, 0, 1}; }
  static void Add(Container& tree, cow_String const& key, unsigned int value) {
    tree.InsertUnlessMember(key, value);
  }
  static KeyedEntries<unsigned int> Entries(Container const& tree) {
    return WalkedEntries<cow_BtreeIterator<cow_String, unsigned int>, unsigned int>(tree);
  }
};

using KeyedWrapperCases = testing::Types<FloatMapCase, StringMapCase, UintTreeCase>;

/// Shared by the tests of these wrappers.
template <class Case> class KeyedWrapperTest : public testing::Test {
 protected:
  using T = typename Case::Element;
  using Container = typename Case::Container;
  using Wrapper = typename Case::Wrapper;

  KeyedWrapperTest() {
    m_Recorder.Name(m_Wrapper.Uid(), "W");
    m_Recorder.Name(m_Recorder.m_Uid, "stored");
  }

  /// Unordered keys, with the test values.
  static KeyedEntries<T> Given() {
    std::vector<T> const values = Case::Values();
    return {{cow_String("b"), values[0]},
            {cow_String("a10"), values[1]},
            {cow_String(), values[2]},
            {cow_String("B%d"), values[3]}};
  }
  /// The same in a container's iteration order.
  static KeyedEntries<T> Ordered() {
    KeyedEntries<T> const given = Given();
    return {given[2], given[3], given[1], given[0]};
  }
  static Container Make(KeyedEntries<T> const& entries) {
    Container container;
    for (auto const& [key, value] : entries) Case::Add(container, key, value);
    return container;
  }

  /// Entries as text, which distinguishes values that compare equal: -0 and 0, no text and empty text.
  static std::vector<std::string> Texts(KeyedEntries<T> const& entries) {
    std::vector<std::string> texts;
    for (auto const& [key, value] : entries) texts.push_back(ShownScalar(key) + ", " + ShownScalar(value));
    return texts;
  }
  static std::vector<std::string> Texts(Container const& container) {
    return Texts(Case::Entries(container));
  }

  Wrapper Read() { return Wrapper(cls_ReadVisitor(m_Recorder.NewReader())); }

  /// The log lines for writing a map: from `writer`, created by the memento `write`.
  static Lines WriteLines(std::string const& write, std::string const& writer,
                          KeyedEntries<T> const& entries) {
    Lines lines{write + ".MakeWriteMapString2Prim(tag " + ShownScalar(T()) + ") = " + writer};
    for (std::string const& text : Texts(entries)) lines.push_back(writer + ".Insert(" + text + ")");
    lines.insert(lines.end(), {writer + ".NeedsDeletion() = bool true", "~" + writer});
    return lines;
  }
  /// The log lines for a read, from the identity to the end of the cursor.
  static Lines ReadLines(KeyedEntries<T> const& entries) {
    Lines lines{"read1.GetUid() = uid stored",
                "read1.MakeReadMapString2Prim(tag " + ShownScalar(T()) + ") = mapReader1"};
    for (auto const& [key, value] : entries)
      lines.insert(lines.end(), {"mapReader1.More() = int 1", "mapReader1.Next() = " + ShownScalar(value),
                                 "mapReader1.Key() = " + ShownScalar(key)});
    lines.insert(lines.end(), {"mapReader1.More() = int 0", "~mapReader1"});
    return lines;
  }

  Recorder m_Recorder;
  Wrapper m_Wrapper{Make(Given()), cls_Uid::AllocateUid()};
};

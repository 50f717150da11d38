#pragma once

#include <gtest/gtest.h>

#include <string>

#include "collections/cls_ArrayPrim.h"
#include "tests/support/backend/Recorder.h"

// Shared by the tests of the arrays.

/// Numbers, bits and texts; cls_ArrayPrimStored_test.cpp sweeps all types.
using NumbersBitsAndTexts = ::testing::Types<double, bool, cow_String>;

/// The collection type of an array of T.
template <class T> constexpr int CodeOf = 0;
template <> inline constexpr int CodeOf<bool> = 51;
template <> inline constexpr int CodeOf<double> = 52;
template <> inline constexpr int CodeOf<float> = 53;
template <> inline constexpr int CodeOf<int> = 54;
template <> inline constexpr int CodeOf<cow_String> = 55;

/// Shows which blocks an array has.
template <class T> class OpenArray : public cls_ArrayPrim<T> {
 public:
  using cls_ArrayPrim<T>::cls_ArrayPrim;
  using cls_ArrayPrim<T>::GetBuffer;
};

/// A neighbour of arrays in their ring.
class RingNode : public cls_PC {
 public:
  void Flush() const override {}
  void Detach() override {}
};

/// The calls of an array that drops its agent: as the last holder, and while others hold it.
inline Lines const LetGoOfTheLast{"DropReference", "StillReferenced", "ReadOnly", "EndFlush", "deleted"};
inline Lines const LetGoOfAnother{"DropReference", "StillReferenced"};

/// A pattern for a process that printed exactly this, without line end. Only sanitizer output may follow.
inline std::string Only(std::string const& message) {
  std::string pattern = "^";
  for (char const c : message) {
    if (c == '.' || c == '(' || c == ')') pattern += '\\';
    pattern += c;
  }
  return pattern + "([^\n](.|\n)*)?$";
}

#pragma once

#include <algorithm>
#include <span>
#include <type_traits>
#include <vector>

#include "describe/dsc_Lists.h"
#include "store/arrays/sto_ArraySegment.h"

/// Passes elements of type T to and from a list, whose elements may have another type: a std::string is a cow_String there.
/// Internal to store/arrays.
template <class T> struct sto_ArrayElements {
  /// What the list has for an element.
  using Plain = typename dsc_PlainElement<T>::Type;
  using Segment = sto_ArraySegment<Plain>;
  static constexpr bool ArePlain = std::is_same_v<T, Plain>;
  static constexpr std::size_t ConvertedAtOnce = 2048;

  static void Append(Segment& list, std::span<T const> values) {
    if constexpr (ArePlain)
      list.Append(values.data(), static_cast<int>(values.size()));
    else
      Convert(values, [&](int, std::vector<Plain> const& plain) {
        list.Append(plain.data(), static_cast<int>(plain.size()));
      });
  }
  static void Write(Segment& list, int first, std::span<T const> values) {
    if constexpr (ArePlain)
      list.Write(first, static_cast<int>(values.size()), values.data());
    else
      Convert(values, [&](int done, std::vector<Plain> const& plain) {
        list.Write(first + done, static_cast<int>(plain.size()), plain.data());
      });
  }
  static void Read(Segment const& list, int first, std::span<T> values) {
    if constexpr (ArePlain) {
      list.Read(first, static_cast<int>(values.size()), values.data());
    } else {
      std::vector<Plain> plain(std::min(values.size(), ConvertedAtOnce));
      for (std::size_t done = 0; done < values.size();) {
        std::size_t const part = std::min(values.size() - done, plain.size());
        list.Read(first + static_cast<int>(done), static_cast<int>(part), plain.data());
        for (std::size_t i = 0; i < part; ++i)
          values[done + i] = dsc_FromPlain<T>(plain[i], dsc_Where{"", {}});
        done += part;
      }
    }
  }

 private:
  template <class Act> static void Convert(std::span<T const> values, Act act) {
    std::vector<Plain> plain;
    plain.reserve(std::min(values.size(), ConvertedAtOnce));
    for (std::size_t done = 0; done < values.size(); done += plain.size()) {
      plain.clear();
      for (T const& value : values.subspan(done, std::min(values.size() - done, ConvertedAtOnce)))
        plain.push_back(dsc_ToPlain<Plain>(value));
      act(static_cast<int>(done), plain);
    }
  }
};

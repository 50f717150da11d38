#pragma once

#include <filesystem>
#include <string_view>

#include "describe/dsc_Described.h"

// Members of type std::filesystem::path, also in lists, and as keys and values of maps. Include this header beside
// dsc_Described.h. A path is stored as a text: its generic format, with slashes, in UTF-8, so that a program on another
// system reads it. On systems whose paths are bytes, these are stored as they are.

template <> struct dsc_Like<std::filesystem::path> {
  using Type = cow_String;
  using Value = cow_String;

  static cow_String To(std::filesystem::path const& path) {
    auto const text = path.generic_u8string();
    return cow_String(std::string_view(reinterpret_cast<char const*>(text.data()), text.size()));
  }
  static std::filesystem::path From(cow_String const& text) {
    std::string_view const chars = text.View();
    return {std::u8string_view(reinterpret_cast<char8_t const*>(chars.data()), chars.size())};
  }
};

#pragma once

#include <cstddef>

#include "platform/kvl_Export.h"

// The stamp of a platform library: what it was compiled with. Each library exports a function that returns it
// (platform/cow/cow_Layout.h and so on). The persistence library compares the stamps of the libraries that are
// loaded with those of the headers that it was compiled with (module/cls_PlatformCheck.h).
//
// platform/README.md says what a host does with these files.

/// The version of the contract in platform/README.md. It rises when a host must change something.
inline constexpr int kvl_ContractVersion = 1;

/// The layout of a class, or of one of its members ("cow_Counter::m_Count").
struct kvl_LayoutEntry {
  char const* m_Name;
  std::size_t m_Size;
  std::size_t m_Alignment;
  std::size_t m_Offset; // of a member in its class, otherwise 0
};

/// The stamp of one library. The version is its first member and stays there, so that any version can read
/// it; the rest is only read if the version is right.
struct kvl_Layout {
  int m_Version;
  int m_Count;
  kvl_LayoutEntry const* m_Entries;
};

template <std::size_t Count>
constexpr kvl_Layout kvl_LayoutOf(kvl_LayoutEntry const (&entries)[Count]) noexcept {
  return {kvl_ContractVersion, static_cast<int>(Count), entries};
}

template <class Type>
constexpr kvl_LayoutEntry kvl_LayoutEntryOf(char const* name, std::size_t offset = 0) noexcept {
  // NOLINTNEXTLINE(bugprone-sizeof-expression): of a member that is a pointer, that size is wanted
  return {name, sizeof(Type), alignof(Type), offset};
}

/// The entry of a class.
#define KVL_LAYOUT_CLASS(...) kvl_LayoutEntryOf<__VA_ARGS__>(#__VA_ARGS__)

/// The entry of a member. A class with a comma in its name needs another name.
#define KVL_LAYOUT_MEMBER(Class, Member)                                                                     \
  kvl_LayoutEntryOf<decltype(Class::Member)>(#Class "::" #Member, offsetof(Class, Member))

#pragma once

#include <cstddef>
#include <cstring>
#include <set>
#include <string>
#include <typeinfo>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <gtest/gtest.h>

/// The slot of a virtual operation, read from the pointer to it: such a pointer holds the offset of the table
/// entry in bytes, plus a mark that it is one. The destructor has two entries and counts as slot 0, so every
/// other slot stands one entry further on. -1 for an operation that is not virtual.
template <class Class, class Signature> int SlotOf(Signature Class::*operation) {
  struct {
    std::ptrdiff_t m_Function;
    std::ptrdiff_t m_Adjustment;
  } representation;
  static_assert(sizeof operation == sizeof representation);
  std::memcpy(&representation, &operation, sizeof operation);
#if defined(__aarch64__)
  bool const isVirtual = (representation.m_Adjustment & 1) != 0;
  std::ptrdiff_t const offset = representation.m_Function;
#else
  bool const isVirtual = (representation.m_Function & 1) != 0;
  std::ptrdiff_t const offset = representation.m_Function - 1;
#endif
  return isVirtual ? static_cast<int>(offset / static_cast<std::ptrdiff_t>(sizeof(void*))) - 1 : -1;
}

/// How many slots the exported virtual table of a class has, from the size of its symbol; -1 when the
/// libraries export no such table. Two words stand before the first entry, and slot 0 has two entries.
inline int ExportedSlots(std::type_info const& type) {
  void* const table = dlsym(RTLD_DEFAULT, (std::string("_ZTV") + type.name()).c_str());
  if (table == nullptr) return -1;
  Dl_info library{};
  void* symbol = nullptr;
  if (dladdr1(table, &library, &symbol, RTLD_DL_SYMENT) == 0 || symbol == nullptr) return -1;
  return static_cast<int>(static_cast<ElfW(Sym) const*>(symbol)->st_size / sizeof(void*)) - 3;
}

/// The written slot list of an interface, compared line by line with the compiled table.
///
///     SlotList<cls_AgentBlob> list;
///     list.Is<long long()>(1, &cls_AgentBlob::Size);
///     list.ExpectComplete(12);
template <class Class> class SlotList {
 public:
  /// The operation with exactly this signature stands in this slot.
  template <class Signature> void Is(int slot, Signature Class::*operation) {
    EXPECT_EQ(SlotOf(operation), slot) << typeid(Class).name();
    EXPECT_TRUE(m_Listed.insert(slot).second) << "slot " << slot << " is listed twice";
  }

  /// The table has this many slots, destructor included, and each was listed.
  void ExpectComplete(int slots) const {
    EXPECT_EQ(ExportedSlots(typeid(Class)), slots) << typeid(Class).name();
    EXPECT_TRUE(std::has_virtual_destructor_v<Class>);
    for (int slot = 1; slot < slots; ++slot) EXPECT_TRUE(m_Listed.contains(slot)) << "slot " << slot;
    EXPECT_EQ(m_Listed.size(), static_cast<std::size_t>(slots - 1));
  }

 private:
  std::set<int> m_Listed;
};

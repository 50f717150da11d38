#pragma once

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <string>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include <dlfcn.h>
#include <elf.h>
#include <link.h>

#include <gtest/gtest.h>

/// The slot of a virtual operation, read from the pointer to it: such a pointer holds the offset of the table
/// entry in bytes, and a mark that the operation is virtual. The destructor has two entries and counts as
/// slot 0, so slot n is entry n + 1. -1 for an operation that is not virtual.
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

/// The words of a table without null words at its end. Clang's address sanitizer adds some, as a zone that must
/// not be read; no entry of a table is null.
[[gnu::no_sanitize_address]] inline std::size_t WordsOf(void* const volatile* table, std::size_t words) {
  while (words > 0 && table[words - 1] == nullptr) --words;
  return words;
}

/// How many slots the exported virtual table of a class has, from the size of its symbol; -1 when the
/// libraries export no such table. Two words precede the first entry, and slot 0 has two entries.
inline int ExportedSlots(std::type_info const& type) {
  void* const table = dlsym(RTLD_DEFAULT, (std::string("_ZTV") + type.name()).c_str());
  if (table == nullptr) return -1;
  Dl_info library{};
  void* symbol = nullptr;
  if (dladdr1(table, &library, &symbol, RTLD_DL_SYMENT) == 0 || symbol == nullptr) return -1;
  std::size_t const words = static_cast<ElfW(Sym) const*>(symbol)->st_size / sizeof(void*);
  return static_cast<int>(WordsOf(static_cast<void**>(table), words)) - 3;
}

/// One line of a slot list.
struct Slot {
  int m_Number;
  std::string m_Operation; ///< empty where the list does not name it
  int m_Compiled;          ///< where the compiler has put the operation
};

/// Adds a line. Not inlined: the lists become smaller, and GCC 12 at -O3 does not lose sight of the length
/// of an empty name and warn.
[[gnu::noinline]] inline void AddSlot(std::vector<Slot>& slots, int number, char const* operation,
                                      int compiled) {
  slots.push_back({number, operation, compiled});
}

/// The written slot list of an interface, compared with the compiled table.
///
///     SlotList<cls_AgentBlob> list;
///     list.Is<long long()>(1, &cls_AgentBlob::Size);
///     list.ExpectComplete(12);
template <class Class> class SlotList {
 public:
  static_assert(std::has_virtual_destructor_v<Class>);

  /// Lists the operation with exactly this signature in this slot.
  template <class Signature> void Is(int slot, Signature Class::*operation) { Is(slot, "", operation); }
  template <class Signature> void Is(int slot, char const* name, Signature Class::*operation) {
    AddSlot(m_Slots, slot, name, SlotOf(operation));
  }

  /// What is listed, the destructor first.
  [[nodiscard]] std::vector<Slot> const& Slots() const { return m_Slots; }

  /// Fails unless each slot of the table is listed once, and each operation is in the slot of its line.
  void ExpectComplete() const {
    std::vector<Slot> slots = m_Slots;
    std::ranges::sort(slots, {}, &Slot::m_Number);
    int next = 0;
    for (Slot const& slot : slots) {
      EXPECT_EQ(slot.m_Number, next++) << Name() << " " << slot.m_Operation << ": missing, or listed twice";
      EXPECT_EQ(slot.m_Compiled, slot.m_Number) << Name() << " " << slot.m_Operation;
    }
    EXPECT_EQ(ExportedSlots(typeid(Class)), next) << Name();
  }

  /// The same, and the table has this many slots, destructor included.
  void ExpectComplete(int slots) const {
    ExpectComplete();
    EXPECT_EQ(m_Slots.size(), static_cast<std::size_t>(slots)) << Name();
  }

 private:
  static char const* Name() { return typeid(Class).name(); }

  std::vector<Slot> m_Slots{{0, "destructor", 0}};
};

#pragma once

#include <string>
#include <vector>

#include "bench/oo7/oo7_Pointers.h"

// The classes of the parts database as plain C++, with plain or with shared pointers.

namespace oo7_oo1 {

template <class Pointers> struct Part;

template <class Pointers> struct Connection {
  std::string m_Type;
  int m_Length = 0;
  typename Pointers::template Back<Part<Pointers>> m_From;
  typename Pointers::template Ref<Part<Pointers>> m_To;
};

template <class Pointers> struct Part {
  int m_Id = 0;
  std::string m_Type;
  int m_X = 0;
  int m_Y = 0;
  int m_BuildDate = 0;
  std::vector<typename Pointers::template Own<Connection<Pointers>>> m_To;
  std::vector<typename Pointers::template Back<Connection<Pointers>>> m_From;
};

/// The root: all parts, in the order of their ids.
template <class Pointers> struct Library {
  Library() = default;
  ~Library() {
    for (auto const& part : m_Parts) part->m_To.clear(); // rings of shared pointers
  }
  Library(Library const&) = delete;
  Library& operator=(Library const&) = delete;
  std::vector<typename Pointers::template Own<Part<Pointers>>> m_Parts;
};

/// What oo7_Oo1Graph wants to know.
template <class Pointers> struct Classes : Pointers {
  using Connection = oo7_oo1::Connection<Pointers>;
  using Part = oo7_oo1::Part<Pointers>;
  using Library = oo7_oo1::Library<Pointers>;
};

} // namespace oo7_oo1

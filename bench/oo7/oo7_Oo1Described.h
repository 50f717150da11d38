#pragma once

#include <memory>
#include <string>
#include <vector>

#include "bench/oo7/oo7_Pointers.h"
#include "describe/dsc_Described.h"

// The classes of the parts database as described classes, for the store.

namespace oo7_oo1_described {

class Part;

class Connection {
 public:
  KVL_PERSISTED(Connection, 0x674010, "Connection", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Type));
    field(KVL_F(m_Length));
    field(KVL_F(m_From));
    field(KVL_F(m_To));
  }
  Connection() = default;
  std::string m_Type;
  int m_Length = 0;
  std::weak_ptr<Part> m_From;
  std::shared_ptr<Part> m_To;
};

class Part {
 public:
  KVL_PERSISTED(Part, 0x674011, "Part", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Id));
    field(KVL_F(m_Type));
    field(KVL_F(m_X));
    field(KVL_F(m_Y));
    field(KVL_F(m_BuildDate));
    field(KVL_F(m_To));
    field(KVL_F(m_From));
  }
  Part() = default;
  int m_Id = 0;
  std::string m_Type;
  int m_X = 0;
  int m_Y = 0;
  int m_BuildDate = 0;
  std::vector<std::shared_ptr<Connection>> m_To;
  std::vector<std::weak_ptr<Connection>> m_From;
};

/// The root: all parts, in the order of their ids.
class Library {
 public:
  KVL_PERSISTED(Library, 0x674012, "Library", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Parts)); }
  static void DeclareAll(cls_ClassRegistrar& registrar) { Declare(registrar); }
  Library() = default;
  ~Library() {
    for (auto const& part : m_Parts) part->m_To.clear(); // rings of shared pointers
  }
  std::vector<std::shared_ptr<Part>> m_Parts;
};

/// What oo7_Oo1Graph wants to know.
struct Classes : oo7_SharedPointers {
  using Connection = oo7_oo1_described::Connection;
  using Part = oo7_oo1_described::Part;
  using Library = oo7_oo1_described::Library;
};

} // namespace oo7_oo1_described

#pragma once

#include <array>
#include <map>
#include <memory>
#include <string>
#include <vector>

#include "describe/dsc_Described.h"
#include "store/refs/sto_Ref.h"

// Classes whose objects the tests of reports save.

namespace report_test {

enum class Head { Hexagonal = 0, Round = 7 };

class Bolt {
 public:
  KVL_PERSISTED(Bolt, 0x7C0001, "Bolt", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Length), kvl::Unit("mm"));
    field(KVL_F(m_Head));
    field(KVL_F(m_Serial));
  }
  Bolt() = default;
  explicit Bolt(std::string name) : m_Name(std::move(name)) {}
  std::string m_Name;
  double m_Length = 12.5;
  Head m_Head = Head::Round;
  long long m_Serial = 9007199254740993;
};

/// Holds objects, and arrays.
class Box {
 public:
  KVL_PERSISTED(Box, 0x7C0002, "Box", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_First));
    field(KVL_F(m_Second));
    field(KVL_F(m_Bolts));
    field(KVL_F(m_Curve), kvl::Unit("MPa"));
    field(KVL_F(m_Texts));
    field(KVL_F(m_Counts));
    field(KVL_F(m_Bytes));
  }
  Box() = default;
  std::string m_Name;
  std::shared_ptr<Bolt> m_First;
  std::shared_ptr<Bolt> m_Second;
  std::vector<std::shared_ptr<Bolt>> m_Bolts;
  std::vector<double> m_Curve;
  std::vector<std::string> m_Texts;
  std::map<std::string, int> m_Counts;
  std::vector<unsigned char> m_Bytes;
};

/// A part of a chain.
class Link {
 public:
  KVL_PERSISTED(Link, 0x7C0005, "Link", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Number));
    field(KVL_F(m_Next));
  }
  Link() = default;
  int m_Number = 0;
  std::shared_ptr<Link> m_Next;
};

/// A plate of triangles, and values on it.
class Plate {
 public:
  KVL_PERSISTED(Plate, 0x7C0003, "Plate", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Points), kvl::Unit("m"));
    field(KVL_F(m_Cells));
  }
  Plate() = default;
  std::vector<double> m_Points{0, 0, 2, 0, 2, 1, 0, 1};
  std::vector<int> m_Cells{0, 1, 2, 0, 2, 3};
};

class Heat {
 public:
  KVL_PERSISTED(Heat, 0x7C0004, "Heat", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Plate));
    field(KVL_F(m_Values), kvl::Unit("K"));
  }
  Heat() = default;
  std::shared_ptr<Plate> m_Plate = std::make_shared<Plate>();
  std::vector<double> m_Values{280, 300, 310, 290};
};

/// Arrays with rows.
class Table {
 public:
  KVL_PERSISTED(Table, 0x7C0007, "Table", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Places));
    field(KVL_F(m_Wide));
  }
  Table() = default;
  std::vector<std::array<double, 2>> m_Places;
  std::vector<std::array<double, 5>> m_Wide;
};

struct Point {
  KVL_VALUE(Point)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 0;
  double y = 0;
};

/// A truss: lines, and a value of each.
class Truss {
 public:
  KVL_PERSISTED(Truss, 0x7C0006, "Truss", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Joints), kvl::Note("picture.points", "columns"));
    field(KVL_F(m_Bars), kvl::Note("picture.cells", "lines"));
    field(KVL_F(m_Force), kvl::Note("picture.values", ""), kvl::Unit("N"));
  }
  Truss() = default;
  std::vector<Point> m_Joints{{0, 0}, {4, 0}, {2, 3}, {9, 9}};
  std::vector<std::array<int, 2>> m_Bars{{0, 1}, {1, 2}, {2, 0}};
  std::vector<float> m_Force{1, -2, 0.5F};
};

inline void DeclareAll(cls_ClassRegistrar& registrar) {
  Box::Declare(registrar);
  Heat::Declare(registrar);
  Link::Declare(registrar);
  Truss::Declare(registrar);
  Table::Declare(registrar);
  registrar.NotesOf(Bolt::TypeId(), 1).Enumerator("m_Head", "round", 7).Enumerator("m_Head", "hexagonal", 0);
  registrar.NotesOf(Bolt::TypeId(), 1).Note("source", "catalogue of 2026");
  registrar.NotesOf(Plate::TypeId(), 1)
      .Note("m_Points", "picture.points", "2")
      .Note("m_Cells", "picture.cells", "triangles");
  registrar.NotesOf(Heat::TypeId(), 1).Note("m_Values", "picture.values", "m_Plate");
}

} // namespace report_test

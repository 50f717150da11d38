#pragma once

#include <array>

// One element of a truss: its kind, given by its type ID (see fail_TypeTable), and its number.
class fail_Element {
 public:
  static constexpr unsigned int TypeId() { return 0x660001; }

  explicit fail_Element(int number) : m_Number(number) {}
  virtual ~fail_Element() = default;

  virtual unsigned int DynTypeId() const = 0;

  int Number() const { return m_Number; }

 private:
  int m_Number;
};

// A bar between two nodes that carries normal force only.
class fail_Bar : public fail_Element {
 public:
  static constexpr unsigned int TypeId() { return 0x660002; }

  // nodes: numbers of its end nodes; stiffness: Young's modulus times section area [N].
  fail_Bar(int number, std::array<int, 2> const& nodes, double stiffness)
      : fail_Element(number), m_Nodes(nodes), m_Stiffness(stiffness) {}

  unsigned int DynTypeId() const override { return TypeId(); }

  std::array<int, 2> const& Nodes() const { return m_Nodes; }
  double Stiffness() const { return m_Stiffness; }

 private:
  std::array<int, 2> m_Nodes;
  double m_Stiffness;
};

// A spring between a node and the ground. Models may contain it, but the truss solver only knows bars.
class fail_Spring : public fail_Element {
 public:
  static constexpr unsigned int TypeId() { return 0x660003; }

  // node: number of the node; stiffness: force per displacement [N/m].
  fail_Spring(int number, int node, double stiffness)
      : fail_Element(number), m_Node(node), m_Stiffness(stiffness) {}

  unsigned int DynTypeId() const override { return TypeId(); }

  int Node() const { return m_Node; }
  double Stiffness() const { return m_Stiffness; }

 private:
  int m_Node;
  double m_Stiffness;
};

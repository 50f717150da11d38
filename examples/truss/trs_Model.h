#pragma once

#include "describe/dsc_Wrappers.h"
#include "examples/truss/trs_Member.h"
#include "store/arrays/sto_Array.h"

#include <map>
#include <optional>
#include <set>
#include <stdexcept>
#include <vector>

// The persisted classes of a plane truss, in SI units. Bars are in trs_Bar.h, because they have changed since the
// first version of the program; what is here has not.

class trs_Spring : public trs_Member {
 public:
  KVL_PERSISTED(trs_Spring, trs_Member, 0x650004, "Spring", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Rate), kvl::Unit("N/m")); }
  trs_Spring(Ends ends, double rate) : trs_Member(std::move(ends)), m_Rate(rate) {}

  double Force(double elongation) const override { return m_Rate * elongation; }
  double Tangent(double) const override { return m_Rate; }
  std::string Text() const override { return "spring"; }

  double m_Rate = 0;
};

// Takes no compression: it goes slack.
class trs_Cable : public trs_Member {
 public:
  KVL_PERSISTED(trs_Cable, trs_Member, 0x650005, "Cable", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Material));
    field(KVL_F(m_Area), kvl::Unit("m2"));
    field(KVL_F(m_Counter));
  }
  trs_Cable(Ends ends, std::shared_ptr<trs_Material> material, double area)
      : trs_Member(std::move(ends)), m_Material(std::move(material)), m_Area(area) {}

  double Force(double elongation) const override {
    return elongation < 0 ? 0 : Tangent(elongation) * elongation;
  }
  double Tangent(double elongation) const override {
    return elongation < 0 ? 0 : m_Material->m_Modulus * m_Area / Length();
  }
  double Mass() const override { return m_Material->m_Density * m_Area * Length(); }
  std::string Text() const override {
    auto const counter = m_Counter.lock();
    return "cable, " + m_Material->m_Name + (counter ? ", counter " + counter->Name() : "");
  }

  std::shared_ptr<trs_Material> m_Material;
  double m_Area = 0;
  std::weak_ptr<trs_Cable> m_Counter; // crosses it, and is taut when it is slack; refers back to it
};

enum class trs_Nature { Permanent, Variable, Accidental };

class trs_LoadCase {
 public:
  KVL_PERSISTED(trs_LoadCase, 0x650006, "LoadCase", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Nature), kvl::Among(trs_Nature::Permanent, trs_Nature::Variable, trs_Nature::Accidental));
    field(KVL_F(m_Factor));
    field(KVL_F(m_Forces), kvl::Unit("N"));
  }
  trs_LoadCase() = default;

  trs_Nature m_Nature = trs_Nature::Permanent;
  std::optional<double> m_Factor;     // of a design load; none for the load as it is
  std::map<int, trs_Vector> m_Forces; // by joint
};

// A joint that cannot move along an axis.
struct trs_Support {
  KVL_VALUE(trs_Support)
  static constexpr void Describe(auto& field) {
    field(KVL_F(joint));
    field(KVL_F(axis));
  }
  enum class Axis { X, Y };
  bool operator<(trs_Support const& other) const {
    return joint != other.joint ? joint < other.joint : axis < other.axis;
  }
  int joint = 0;
  Axis axis = Axis::X;
};

// The static results. They are tables of the wrappers, because the number of columns is that of the load cases;
// a std::vector<std::array<double, N>> has a fixed one.
class trs_Solution {
 public:
  KVL_PERSISTED(trs_Solution, 0x650007, "Solution", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Cases));
    field(KVL_F(m_Forces), kvl::Unit("N"));
    field(KVL_F(m_Displacements), kvl::Unit("m"));
  }
  trs_Solution() = default;

  std::vector<std::string> m_Cases;          // the columns of the tables
  cls_xp2DArrayDouble m_Forces{0, 0};        // a row for each member; tension is positive
  cls_xp2DArrayDouble m_Displacements{0, 0}; // two rows for each joint: x and y
};

class trs_Truss {
 public:
  KVL_PERSISTED(trs_Truss, 0x650008, "Truss", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Joints));
    field(KVL_F(m_Members));
    field(KVL_F(m_Supports));
    field(KVL_F(m_Cases));
    field(KVL_F(m_Solution));
  }
  static constexpr char Root[] = "truss";
  trs_Truss() = default;

  // The number of the new joint.
  int Add(std::string name, trs_Vector at, double mass = 0) {
    m_Joints.push_back(std::make_shared<trs_Joint>(std::move(name), at, mass));
    return static_cast<int>(m_Joints.size()) - 1;
  }
  trs_Member::Ends Between(int first, int second) const {
    return {m_Joints.at(static_cast<std::size_t>(first)), m_Joints.at(static_cast<std::size_t>(second))};
  }

  std::vector<std::shared_ptr<trs_Joint>> m_Joints;
  std::vector<std::shared_ptr<trs_Member>> m_Members;
  std::set<trs_Support> m_Supports;
  std::map<std::string, trs_LoadCase> m_Cases;
  std::unique_ptr<trs_Solution> m_Solution; // null until it is solved
};

// A load case that acts suddenly on the truss at rest, over time. The history has a row for each step, with x and y
// of all joints; row 0 is the start.
class trs_Run {
 public:
  KVL_PERSISTED(trs_Run, 0x650009, "Run", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Case));
    field(KVL_F(m_Step), kvl::Unit("s"));
    field(KVL_F(m_Damping), kvl::Unit("1/s"));
    field(KVL_F(m_Width));
    field(KVL_F(m_History), kvl::Unit("m"));
  }
  static constexpr char Root[] = "run";
  trs_Run(std::string loadCase, double step, double damping, int width)
      : m_Case(std::move(loadCase)), m_Step(step), m_Damping(damping), m_Width(width),
        m_History(sto_Array<double>::OfRows({width})) {
    m_History.Append(std::vector<double>(static_cast<std::size_t>(width)));
  }

  void AfterRead(int) {
    if (m_Width < 1 || m_History.IsEmpty() || m_History.RowSize() != m_Width)
      throw std::runtime_error("the run in the store has no rows");
  }
  int LastStep() const { return static_cast<int>(m_History.Rows()) - 1; }
  double At(int step, int unknown) const { return m_History.Get(1LL * step * m_Width + unknown); }

  std::string m_Case;
  double m_Step = 0;
  double m_Damping = 0; // force on a mass of 1 kg at 1 m/s [N]
  int m_Width = 1;      // of a row: two for each joint
  sto_Array<double> m_History;
};

// Declares all of these classes.
void trs_Declare(cls_ClassRegistrar& registrar);

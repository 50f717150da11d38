#pragma once

#include "describe/dsc_Described.h"

#include <array>
#include <cmath>
#include <memory>
#include <string>

// What a member of a truss is made of: joints, a material, and the base class of all members. SI units.

struct trs_Vector {
  KVL_VALUE(trs_Vector)
  static constexpr void Describe(auto& field) {
    field(KVL_F(x));
    field(KVL_F(y));
  }
  double x = 0;
  double y = 0;
};

class trs_Joint {
 public:
  KVL_PERSISTED(trs_Joint, 0x650001, "Joint", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name), kvl::Indexed{});
    field(KVL_F(m_At), kvl::Unit("m"));
    field(KVL_F(m_Mass), kvl::Unit("kg"));
  }
  trs_Joint(std::string name, trs_Vector at, double mass) : m_Name(std::move(name)), m_At(at), m_Mass(mass) {}

  std::string m_Name;
  trs_Vector m_At;
  double m_Mass = 0; // without that of the members
};

class trs_Material {
 public:
  KVL_PERSISTED(trs_Material, 0x650002, "Material", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Name));
    field(KVL_F(m_Modulus), kvl::Unit("N/m2"));
    field(KVL_F(m_Density), kvl::Unit("kg/m3"));
  }
  trs_Material(std::string name, double modulus, double density)
      : m_Name(std::move(name)), m_Modulus(modulus), m_Density(density) {}

  std::string m_Name;
  double m_Modulus = 0;
  double m_Density = 0;
};

// What connects two joints and pulls or pushes along the line between them.
class trs_Member : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(trs_Member, kvl::Polymorphic, 0x650003, "Member", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Ends)); }
  using Ends = std::array<std::shared_ptr<trs_Joint>, 2>;

  virtual double Force(double elongation) const = 0;   // [N], tension is positive
  virtual double Tangent(double elongation) const = 0; // its derivative [N/m]
  virtual double Mass() const { return 0; }
  virtual std::string Text() const = 0;

  double Length() const {
    return std::hypot(m_Ends[1]->m_At.x - m_Ends[0]->m_At.x, m_Ends[1]->m_At.y - m_Ends[0]->m_At.y);
  }
  std::string Name() const { return m_Ends[0]->m_Name + "-" + m_Ends[1]->m_Name; }

  Ends m_Ends;

 protected:
  explicit trs_Member(Ends ends) : m_Ends(std::move(ends)) {}
};

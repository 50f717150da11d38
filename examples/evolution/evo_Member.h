#pragma once

#include "examples/evolution/evo_Part.h"

// A part that bears loads. Program 4 puts this class between Part and Beam, because columns have a material, too.
class evo_Member : public evo_Part {
 public:
  KVL_PERSISTED(evo_Member, evo_Part, 0x650003, "Member", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Density), kvl::Unit("kg/m3"));
    field(KVL_F(m_DensityIsAssumed), kvl::Transient());
  }

 protected:
  evo_Member() = default;
  evo_Member(std::string name, double density) : evo_Part(std::move(name)), m_Density(density) {}

  // For an object that is older than this class and had no density of its own: all of them were of steel.
  void AssumeSteel() {
    m_Density = 7850;
    m_DensityIsAssumed = true;
  }

  double m_Density = 0;
  bool m_DensityIsAssumed = false;
};

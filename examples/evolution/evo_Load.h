#pragma once

#include "describe/dsc_Described.h"

#include <string>
#include <utility>

// A load that is constant along a beam. Program 5 has split it off from class Beam.
class evo_Load {
 public:
  KVL_PERSISTED(evo_Load, 0x650004, "Load", 1)
  static constexpr void Describe(auto& field) {
    field(KVL_F(m_Case));
    field(KVL_F(m_LineLoad), kvl::Unit("N/m"));
  }

  evo_Load() = default;
  evo_Load(std::string loadCase, double lineLoad) : m_Case(std::move(loadCase)), m_LineLoad(lineLoad) {}

  std::string m_Case = "permanent"; // the only one of beams before version 5
  double m_LineLoad = 0;
};

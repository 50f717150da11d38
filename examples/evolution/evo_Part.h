#pragma once

#include "describe/dsc_Described.h"

#include <string>
#include <utility>

// The base class of everything in a structure. It stays at version 1, whatever becomes of the beam.
class evo_Part : public kvl::Polymorphic {
 public:
  KVL_PERSISTED(evo_Part, kvl::Polymorphic, 0x650002, "Part", 1)
  static constexpr void Describe(auto& field) { field(KVL_F(m_Name)); }

 protected:
  evo_Part() = default;
  explicit evo_Part(std::string name) : m_Name(std::move(name)) {}

  std::string m_Name;
};

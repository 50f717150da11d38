#pragma once

#include <array>
#include <memory>
#include <string_view>

#include "bench/oo7/oo7_System.h"

/// One of the systems that are compared. A further one needs an oo7_Adapter, a file oo7_...System.cpp that makes an
/// oo7_System of it, and a line in oo7_Systems.
struct oo7_NamedSystem {
  std::string_view m_Name;
  std::unique_ptr<oo7_System> (*m_Make)();
  bool m_HasFile = true;
};

extern std::array<oo7_NamedSystem, 5> const oo7_Systems;

/// Ends the program for an unknown name.
[[nodiscard]] oo7_NamedSystem const& oo7_SystemNamed(std::string_view name);

#pragma once

/// What is said of a unit.
struct dsc_UnitText {
  char const* m_Text = nullptr;    ///< null if none is said
  char const* m_Earlier = nullptr; ///< what a store may call it; null if nothing is said
};

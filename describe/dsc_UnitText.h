#pragma once

/// What is said of a unit.
struct dsc_UnitText {
  static constexpr int MaxEarlier = 4;
  char const* m_Text = nullptr;           ///< null if none is said
  char const* m_Earlier[MaxEarlier] = {}; ///< what earlier versions call it; null behind the last one
};

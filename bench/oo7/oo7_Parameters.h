#pragma once

#include <string>
#include <string_view>

/// The sizes of a design database of the OO7 benchmark (Carey, DeWitt, Naughton: The OO7 Benchmark, SIGMOD 1993).
struct oo7_Parameters {
  std::string m_Name;
  int m_AtomsPerPart = 0;       // atomic parts of a composite part
  int m_ConnectionsPerAtom = 0; // connections out of an atomic part
  int m_DocumentBytes = 0;
  int m_ManualBytes = 0;
  int m_CompositeParts = 500;
  int m_Levels = 7; // of assemblies; those of the last level are base assemblies

  [[nodiscard]] int Atoms() const { return m_CompositeParts * m_AtomsPerPart; }
  [[nodiscard]] int BaseAssemblies() const;

  /// "tiny", "small3", "small6", "small9", "medium3", "medium6" or "medium9". Ends the program for other names.
  static oo7_Parameters Named(std::string_view name);
};

inline constexpr int oo7_SubAssemblies = 3;     // of a complex assembly
inline constexpr int oo7_ComponentsOfABase = 3; // private ones, and as many shared ones
inline constexpr int oo7_UpdateRepetitions = 4; // how often T2c and T3c change an atomic part
inline constexpr int oo7_QueryRepetitions = 10; // how many objects Q1 and Q4 ask for
inline constexpr int oo7_InsertedParts = 10;    // how many composite parts SM1 inserts
inline constexpr int oo7_FirstAtomDate = 1000;  // atomic parts were built from this date on,
inline constexpr int oo7_EndOfAtomDates = 2000; // and before this one

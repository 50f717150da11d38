#pragma once

/// The source line that raises an error. Used because Clang 14 has no std::source_location with this standard
/// library; both compilers have the two built-in functions.
struct sto_SourceLine {
  char const* m_File;
  int m_Line;

  /// Used as a default argument, it gives the line of the call.
  static constexpr sto_SourceLine Current(char const* file = __builtin_FILE(),
                                          int line = __builtin_LINE()) noexcept {
    return {file, line};
  }
};

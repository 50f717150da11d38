#pragma once

/// The line of source that raises an error. Replaces std::source_location, which Clang 14 does not have with
/// this standard library; both compilers know the two built-in functions.
struct sto_SourceLine {
  char const* m_File;
  int m_Line;

  /// As a default argument: the line of the call.
  static constexpr sto_SourceLine Current(char const* file = __builtin_FILE(),
                                          int line = __builtin_LINE()) noexcept {
    return {file, line};
  }
};

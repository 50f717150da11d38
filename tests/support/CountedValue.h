#pragma once

#include <stdexcept>

/// An element type that counts its operations and throws when copied, on request.
struct CountedValue {
  CountedValue() { ++s_Defaults, ++s_Alive; }
  explicit CountedValue(int value) : m_Value(value) { ++s_Alive; }
  CountedValue(CountedValue const& other) : m_Value(other.m_Value) {
    if (++s_Copies == s_FailAtCopy) throw std::runtime_error("copy refused");
    ++s_Alive;
  }
  CountedValue(CountedValue&& other) noexcept : m_Value(other.m_Value) {
    other.m_Value = MovedFrom;
    ++s_Moves, ++s_Alive;
  }
  CountedValue& operator=(CountedValue const& other) {
    if (++s_Copies == s_FailAtCopy) throw std::runtime_error("copy refused");
    m_Value = other.m_Value;
    return *this;
  }
  CountedValue& operator=(CountedValue&& other) noexcept {
    m_Value = other.m_Value;
    if (this != &other) other.m_Value = MovedFrom;
    ++s_Moves;
    return *this;
  }
  ~CountedValue() { --s_Alive; }

  static void ResetCounts() { s_Copies = s_Moves = s_Defaults = s_FailAtCopy = 0; }

  static constexpr int MovedFrom = -12345;
  int m_Value = 0;

  static inline int s_Copies = 0;
  static inline int s_Moves = 0;
  static inline int s_Defaults = 0;
  static inline int s_Alive = 0;
  static inline int s_FailAtCopy = 0; ///< the number of the copy that throws, from 1; 0 if none throws
};

/// The same without move operations, so that growing must copy.
struct CopyOnlyValue {
  CopyOnlyValue() { ++s_Alive; }
  explicit CopyOnlyValue(int value) : m_Value(value) { ++s_Alive; }
  CopyOnlyValue(CopyOnlyValue const& other) : m_Value(other.m_Value) {
    if (++s_Copies == s_FailAtCopy) throw std::runtime_error("copy refused");
    ++s_Alive;
  }
  CopyOnlyValue& operator=(CopyOnlyValue const& other) {
    if (++s_Copies == s_FailAtCopy) throw std::runtime_error("copy refused");
    m_Value = other.m_Value;
    return *this;
  }
  ~CopyOnlyValue() { --s_Alive; }

  static void ResetCounts() { s_Copies = s_FailAtCopy = 0; }

  int m_Value = 0;

  static inline int s_Copies = 0;
  static inline int s_Alive = 0;
  static inline int s_FailAtCopy = 0;
};

#pragma once

/// A complex number as an element of a list; two numbers without padding, as std::complex is.
template <class T> struct cls_Complex {
  T m_Real{};
  T m_Imaginary{};
  friend bool operator==(cls_Complex const& a, cls_Complex const& b) = default;
};

#pragma once

#include <atomic>
#include <compare>
#include <cstddef>
#include <string_view>
#include <utility>

#include "platform/kvl_Export.h"

/// The shared characters behind a cow_String. Either immortal, made by the compiler from a literal, or
/// counted.
///
/// Unlike the buffer of the tree's own edition it has room to grow.
struct cow_StringBuffer {
  static constexpr int Immortal = -1;

  std::atomic<int> m_Count; // Immortal, or the number of strings that share the buffer
  int m_Length;             // characters before the terminating null
  char const* m_Chars;      // null-terminated
  int m_Room = 0;           // characters that fit; 0 if immortal
#ifdef PLATFORM2_OTHER_LAYOUT
  int m_Spare[2] = {}; // a library that does not fit these headers
#endif
};

/// Copy-on-write character string, one pointer wide.
///
/// There are two ways to be empty: *no text* (default, no buffer at all) and *empty text* (a buffer with no
/// characters). Both have length 0 and compare equal; HasText distinguishes them, and stores keep the
/// difference. Characters are bytes, UTF-8 by convention; nulls may be embedded if the length is given.
///
/// Invariants:
/// 1. A string from a literal ("name"_cow) owns nothing: making, copying and destroying it writes no memory.
/// 2. A counted buffer never changes while more than one string shares it.
///
/// Thread rule: buffers may be shared between threads (their count is atomic); one string object belongs to
/// one thread at a time.
class KVL_EXPORT cow_String {
 public:
  /// The longest text, in characters.
  static constexpr int MaxLength = 0x7FFFFFFF - 64;

  /// No text.
  constexpr cow_String() noexcept = default;

  /// The characters up to the null; a null pointer means no text. Throws std::bad_alloc.
  explicit cow_String(char const* chars);

  /// Exactly these characters (an empty view gives empty text). Throws std::bad_alloc, and std::length_error
  /// beyond MaxLength.
  explicit cow_String(std::string_view chars);

  /// The text of an immortal buffer, which must live as long as the process.
  constexpr explicit cow_String(cow_StringBuffer const& immortal) noexcept : m_Buffer(&immortal) {}

  cow_String(cow_String const& other) noexcept : m_Buffer(other.m_Buffer) {
    if (IsCounted()) Counted().m_Count.fetch_add(1, std::memory_order_relaxed);
  }
  cow_String(cow_String&& other) noexcept : m_Buffer(std::exchange(other.m_Buffer, nullptr)) {}
  ~cow_String() {
    if (IsCounted()) Release();
  }
  cow_String& operator=(cow_String const& other) noexcept {
    cow_String(other).Swap(*this);
    return *this;
  }
  cow_String& operator=(cow_String&& other) noexcept {
    cow_String(std::move(other)).Swap(*this);
    return *this;
  }
  void Swap(cow_String& other) noexcept { std::swap(m_Buffer, other.m_Buffer); }

  [[nodiscard]] bool HasText() const noexcept { return m_Buffer != nullptr; }
  [[nodiscard]] int Length() const noexcept { return m_Buffer == nullptr ? 0 : m_Buffer->m_Length; }
  [[nodiscard]] bool IsEmpty() const noexcept { return Length() == 0; }

  /// The null-terminated characters; null if there is no text. Valid while a string shares the buffer.
  [[nodiscard]] char const* Chars() const noexcept {
    return m_Buffer == nullptr ? nullptr : m_Buffer->m_Chars;
  }

  /// As Chars, but "" if there is no text.
  [[nodiscard]] char const* CharsOrEmpty() const noexcept {
    return m_Buffer == nullptr ? "" : m_Buffer->m_Chars;
  }

  [[nodiscard]] std::string_view View() const noexcept {
    return {CharsOrEmpty(), static_cast<std::size_t>(Length())};
  }

  /// Adds characters at the end; other strings that shared the buffer keep the old text. `chars` may be in
  /// this string. Throws as the constructor from a view; the string is then unchanged.
  void Append(std::string_view chars);

  /// Whether both strings share one buffer (or both have no text): neither was copied from the other.
  [[nodiscard]] bool SharesBufferWith(cow_String const& other) const noexcept {
    return m_Buffer == other.m_Buffer;
  }

  friend bool operator==(cow_String const& a, cow_String const& b) noexcept {
    return a.m_Buffer == b.m_Buffer || a.View() == b.View();
  }
  friend std::strong_ordering operator<=>(cow_String const& a, cow_String const& b) noexcept {
    return a.View() <=> b.View();
  }
  friend bool operator==(cow_String const& a, std::string_view b) noexcept { return a.View() == b; }

 private:
  [[nodiscard]] bool IsCounted() const noexcept {
    return m_Buffer != nullptr &&
           m_Buffer->m_Count.load(std::memory_order_relaxed) != cow_StringBuffer::Immortal;
  }
  // cow_String.cpp allocates counted buffers as non-const; only immortal ones are const objects.
  [[nodiscard]] cow_StringBuffer& Counted() const noexcept {
    return const_cast<cow_StringBuffer&>(*m_Buffer);
  }
  void Release() noexcept;

  cow_StringBuffer const* m_Buffer = nullptr;
};

static_assert(sizeof(cow_String) == sizeof(void*));

template <> struct std::hash<cow_String> {
  [[nodiscard]] std::size_t operator()(cow_String const& text) const noexcept {
    return std::hash<std::string_view>()(text.View());
  }
};

/// A literal as a template argument of operator""_cow.
template <std::size_t Size> struct cow_LiteralChars {
  consteval cow_LiteralChars(char const (&chars)[Size]) {
    for (std::size_t i = 0; i < Size; ++i) m_Chars[i] = chars[i];
  }
  char m_Chars[Size];
};

template <cow_LiteralChars Literal>
inline constexpr cow_StringBuffer cow_ImmortalBuffer{
    cow_StringBuffer::Immortal, static_cast<int>(sizeof(Literal.m_Chars)) - 1, Literal.m_Chars};

/// "name"_cow: a string that owns nothing and costs nothing to copy.
template <cow_LiteralChars Literal> [[nodiscard]] inline cow_String operator""_cow() noexcept {
  return cow_String(cow_ImmortalBuffer<Literal>);
}

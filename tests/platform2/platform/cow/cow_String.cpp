#include "platform/cow/cow_String.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

#include "platform/mem/mem_Memory.h"

// Another inside of strings: a buffer has room to grow, and a string that does not share it appends in place.

namespace {

char* CharsOf(cow_StringBuffer const& buffer) {
  return const_cast<char*>(buffer.m_Chars); // counted buffers are not const objects
}

/// Throws unless a text of two parts is short enough. Returns its length.
std::size_t LengthOf(std::string_view first, std::string_view second) {
  std::size_t const length = first.size() + second.size();
  if (length > static_cast<std::size_t>(cow_String::MaxLength))
    throw std::length_error("cow_String: text too long");
  return length;
}

cow_StringBuffer* MakeBuffer(std::string_view first, std::string_view second, std::size_t room) {
  std::size_t const length = LengthOf(first, second);
  void* const memory = mem_Malloc(sizeof(cow_StringBuffer) + room + 1);
  char* const chars = static_cast<char*>(memory) + sizeof(cow_StringBuffer);
  if (!first.empty()) std::memcpy(chars, first.data(), first.size());
  if (!second.empty()) std::memcpy(chars + first.size(), second.data(), second.size());
  chars[length] = '\0';
  return new (memory) cow_StringBuffer{1, static_cast<int>(length), chars, static_cast<int>(room)};
}

} // namespace

cow_String::cow_String(char const* chars) {
  if (chars != nullptr) m_Buffer = MakeBuffer(chars, {}, LengthOf(chars, {}));
}

cow_String::cow_String(std::string_view chars) : m_Buffer(MakeBuffer(chars, {}, LengthOf(chars, {}))) {}

void cow_String::Append(std::string_view chars) {
  std::size_t const length = LengthOf(View(), chars);
  if (IsCounted() && Counted().m_Count.load(std::memory_order_acquire) == 1 &&
      static_cast<std::size_t>(Counted().m_Room) >= length) {
    char* const text = CharsOf(*m_Buffer);
    if (!chars.empty()) std::memmove(text + Length(), chars.data(), chars.size());
    text[length] = '\0';
    Counted().m_Length = static_cast<int>(length);
    return;
  }
  cow_String longer;
  longer.m_Buffer = MakeBuffer(View(), chars, std::min<std::size_t>(2 * length, MaxLength));
  Swap(longer);
}

void cow_String::Release() noexcept {
  cow_StringBuffer& buffer = Counted();
  if (buffer.m_Count.fetch_sub(1, std::memory_order_acq_rel) == 1) mem_Free(&buffer);
}

#include "platform/cow/cow_String.h"

#include <cstring>
#include <new>
#include <stdexcept>

#include "platform/mem/mem_Memory.h"

namespace {

/// A counted buffer with both texts, one after the other, in one allocation.
cow_StringBuffer* MakeBuffer(std::string_view first, std::string_view second) {
  std::size_t const length = first.size() + second.size();
  if (length > static_cast<std::size_t>(cow_String::MaxLength))
    throw std::length_error("cow_String: text too long");
  void* const memory = mem_Malloc(sizeof(cow_StringBuffer) + length + 1);
  char* const chars = static_cast<char*>(memory) + sizeof(cow_StringBuffer);
  if (!first.empty()) std::memcpy(chars, first.data(), first.size());
  if (!second.empty()) std::memcpy(chars + first.size(), second.data(), second.size());
  chars[length] = '\0';
  return new (memory) cow_StringBuffer{1, static_cast<int>(length), chars};
}

} // namespace

cow_String::cow_String(char const* chars) {
  if (chars != nullptr) m_Buffer = MakeBuffer(chars, {});
}

cow_String::cow_String(std::string_view chars) : m_Buffer(MakeBuffer(chars, {})) {}

void cow_String::Append(std::string_view chars) {
  cow_String longer;
  longer.m_Buffer = MakeBuffer(View(), chars);
  Swap(longer);
}

void cow_String::Release() noexcept {
  cow_StringBuffer& buffer = Counted();
  if (buffer.m_Count.fetch_sub(1, std::memory_order_acq_rel) == 1) mem_Free(&buffer);
}

#include "store/format/sto_IndexKey.h"

#include <bit>
#include <cmath>
#include <limits>

#include "metadata/cls_AttributeType.h"
#include "metadata/cls_CollectionType.h"
#include "store/format/sto_Format.h"

namespace {

constexpr char NumberKind = 1;
constexpr char TextKind = 2;
/// The bits of a double that are not its fraction's are left, with the first of the fraction.
constexpr int DoubleBits = std::numeric_limits<double>::digits;

/// REQUIRES: `rest` is less than the distance to the next double, so it has 11 bits at most.
std::string NumberKey(double value, std::uint16_t rest) {
  if (std::isnan(value)) value = std::numeric_limits<double>::quiet_NaN();
  constexpr std::uint64_t Sign = std::uint64_t{1} << 63;
  auto bits = std::bit_cast<std::uint64_t>(value == 0 ? 0.0 : value);
  bits = (bits & Sign) != 0 ? ~bits : bits | Sign;
  std::string key(1, NumberKind);
  for (int shift = 56; shift >= 0; shift -= 8) key.push_back(static_cast<char>(bits >> shift & 0xFF));
  for (int shift = 8; shift >= 0; shift -= 8) key.push_back(static_cast<char>(rest >> shift & 0xFF));
  while (key.back() == 0) key.pop_back(); // ends before the kind, which is not 0
  return key;
}

/// Splits a number into one that a double has, and the rest.
struct Split {
  explicit Split(std::uint64_t number) noexcept {
    int const more = static_cast<int>(std::bit_width(number)) - DoubleBits;
    if (more > 0) m_Step = std::uint64_t{1} << more;
    m_Rest = number & (m_Step - 1);
    m_Floor = number - m_Rest;
  }
  std::uint64_t m_Step = 1; // from one double to the next
  std::uint64_t m_Floor = 0;
  std::uint64_t m_Rest = 0;
};

template <class T> T NumberIn(sto_ByteView payload) {
  return sto_ByteReader(payload).Number<T>();
}

} // namespace

std::string sto_IndexKey::OfUnsigned(std::uint64_t value) {
  Split const split(value);
  return NumberKey(static_cast<double>(split.m_Floor), static_cast<std::uint16_t>(split.m_Rest));
}

std::string sto_IndexKey::OfInteger(std::int64_t value) {
  if (value >= 0) return OfUnsigned(static_cast<std::uint64_t>(value));
  Split const split(0 - static_cast<std::uint64_t>(value));
  if (split.m_Rest == 0) return NumberKey(-static_cast<double>(split.m_Floor), 0);
  return NumberKey(-static_cast<double>(split.m_Floor + split.m_Step),
                   static_cast<std::uint16_t>(split.m_Step - split.m_Rest));
}

std::string sto_IndexKey::OfReal(double value) {
  return NumberKey(value, 0);
}

std::string sto_IndexKey::OfText(std::string_view value) {
  std::string key;
  key.reserve(value.size() + 1);
  key.push_back(TextKind);
  return key.append(value);
}

bool sto_IndexKey::HasKey(std::uint8_t tag) noexcept {
  switch (tag) {
  case sto_Format::NoText:
  case sto_Format::Text:
  case sto_Format::Bool:
  case sto_Format::Int8:
  case sto_Format::UInt8:
  case sto_Format::Int16:
  case sto_Format::UInt16:
  case sto_Format::Int32:
  case sto_Format::Enum:
  case sto_Format::UInt32:
  case sto_Format::Int64:
  case sto_Format::UInt64:
  case sto_Format::Float:
  case sto_Format::Double:
    return true;
  default:
    return false;
  }
}

std::string sto_IndexKey::OfField(std::uint8_t tag, sto_ByteView payload) {
  switch (tag) {
  case sto_Format::Bool:
  case sto_Format::UInt8:
    return OfUnsigned(NumberIn<std::uint8_t>(payload));
  case sto_Format::Int8:
    return OfInteger(NumberIn<std::int8_t>(payload));
  case sto_Format::Int16:
    return OfInteger(NumberIn<std::int16_t>(payload));
  case sto_Format::UInt16:
    return OfUnsigned(NumberIn<std::uint16_t>(payload));
  case sto_Format::Int32:
  case sto_Format::Enum:
    return OfInteger(NumberIn<std::int32_t>(payload));
  case sto_Format::UInt32:
    return OfUnsigned(NumberIn<std::uint32_t>(payload));
  case sto_Format::Int64:
    return OfInteger(NumberIn<std::int64_t>(payload));
  case sto_Format::UInt64:
    return OfUnsigned(NumberIn<std::uint64_t>(payload));
  case sto_Format::Float:
    return OfReal(static_cast<double>(NumberIn<float>(payload)));
  case sto_Format::Double:
    return OfReal(NumberIn<double>(payload));
  default:
    return OfText(sto_AsText(payload));
  }
}

bool sto_CanBeIndexed(int type, int collection) noexcept {
  if (collection != COLLECTION_NONE) return false;
  switch (type) {
  case ATTR_INT:
  case ATTR_UINT:
  case ATTR_STRING:
  case ATTR_BOOL:
  case ATTR_FLOAT:
  case ATTR_DOUBLE:
  case ATTR_SCHAR:
  case ATTR_UCHAR:
  case ATTR_SHORT:
  case ATTR_USHORT:
  case ATTR_LONGLONG:
  case ATTR_ULONGLONG:
    return true;
  default:
    return false;
  }
}

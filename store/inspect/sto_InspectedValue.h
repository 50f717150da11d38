#pragma once

#include <complex>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <type_traits>
#include <variant>
#include <vector>

// Values as sto_Inspection returns them. Plain values: they own what they have, and outlive the inspection and the store.

/// The id of another object, which sto_Inspection::Object takes. It need not be there.
struct sto_InspectedId {
  std::int64_t m_Id = 0; ///< 0: no object, in a list of objects

  friend bool operator==(sto_InspectedId const& a, sto_InspectedId const& b) = default;
};

/// A text. One without text (as cow_String has it) is not the empty text.
using sto_InspectedText = std::optional<std::string>;

struct sto_InspectedMember;

/// A value of values: a struct, a sequence and so on, as the member's or field's m_Kind says.
struct sto_InspectedTree {
  std::size_t m_Alternative = 0; ///< of a variant: which one its only member is
  /// Members of a struct or tuple, elements, the value of a variant, or of an optional if it has one. A map has its keys
  /// and values in turn.
  std::vector<sto_InspectedMember> m_Members;
};

/// One value. Signed integers and enumerations are std::int64_t, unsigned ones std::uint64_t, float is double.
using sto_InspectedValue =
    std::variant<bool, std::int64_t, std::uint64_t, double, std::complex<double>, sto_InspectedText,
                 std::vector<std::byte>, sto_InspectedId, sto_InspectedTree>;

/// One value in a value of values.
struct sto_InspectedMember {
  std::string m_Name; ///< of a struct's member; empty for all others, and if it has a number only
  std::string m_Kind; ///< as sto_InspectedField::m_Kind
  int m_Number = -1;  ///< of a struct's member; -1: none
  sto_InspectedValue m_Value;
};

/// The type of the elements of a list or map.
enum class sto_InspectedType : std::uint8_t {
  Bool = 1,
  Text,
  Float,
  Double,
  UInt32,
  Int32,
  Object,
  Int8,
  UInt8,
  Int16,
  UInt16,
  Int64,
  UInt64,
  ComplexFloat,
  ComplexDouble,
};

/// Elements of a list, in the order of sto_InspectedType, which counts from 1.
using sto_InspectedElements =
    std::variant<std::vector<bool>, std::vector<sto_InspectedText>, std::vector<float>, std::vector<double>,
                 std::vector<std::uint32_t>, std::vector<std::int32_t>, std::vector<sto_InspectedId>,
                 std::vector<std::int8_t>, std::vector<std::uint8_t>, std::vector<std::int16_t>,
                 std::vector<std::uint16_t>, std::vector<std::int64_t>, std::vector<std::uint64_t>,
                 std::vector<std::complex<float>>, std::vector<std::complex<double>>>;

/// The place of a type among those of a variant; their number if it is not among them.
template <class T, class... All>
[[nodiscard]] constexpr int sto_PlaceIn(std::variant<All...> const* /*variant*/) noexcept {
  int place = 0;
  static_cast<void>(((std::is_same_v<T, All> || (++place, false)) || ...));
  return place;
}

/// The type of elements of T, where T is one of the numbers above.
template <class T>
inline constexpr auto sto_InspectedTypeOf = static_cast<sto_InspectedType>(
    sto_PlaceIn<std::vector<T>>(static_cast<sto_InspectedElements const*>(nullptr)) + 1);

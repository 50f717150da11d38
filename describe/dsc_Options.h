#pragma once

#include <concepts>
#include <type_traits>

#include "describe/dsc_UnitText.h"
#include "platform/cow/cow_String.h"

// What a line of Describe may say about its field, after the name and the member:
//
//     field(KVL_F(m_Area), kvl::Unit{"mm2"});
//     field(KVL_F(m_PreStress), kvl::Since(2, 1e5), kvl::Unit{"N"});
//
// They are plain values, which the compiler evaluates: what is given to them must be a constant expression.

/// What kind of option a type is; each option has one as `Kind`.
enum class dsc_OptionKind {
  None,
  Since,
  Was,
  As,
  Unit,
  Among,
  Transient,
  Dropped,
  BaseWas,
  ClassWas,
  Indexed,
  Note
};

template <class T>
concept dsc_IsOption = requires {
  { T::Kind } -> std::convertible_to<dsc_OptionKind>;
};

struct dsc_NoValue {};

/// The two functions of kvl::As.
template <class StoredAs, class To, class From> struct dsc_Conversion {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::As;
  using Stored = StoredAs;
  To m_ToStored;
  From m_FromStored;
};

/// A field that is gone; see kvl::Dropped.
template <class Owner, class Value> struct dsc_DroppedField {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Dropped;
  void (Owner::*m_Hook)(Value);
};

namespace kvl {

/// The field exists since this version of the class. An object of an older version gets the value; without a
/// value it keeps what the member is initialised with.
template <class T = dsc_NoValue> struct Since {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Since;
  constexpr explicit Since(int version) : m_Version(version) {}
  constexpr Since(int version, T value) : m_Version(version), m_Value(value) {}
  int m_Version;
  [[no_unique_address]] T m_Value{};
};
Since(int)->Since<dsc_NoValue>;

/// Names that the field had in earlier versions of the class, the latest first.
template <cow_LiteralChars... Names> struct Was {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Was;
};

/// The member is stored as a value of another type: `toStored(member)` is written, and the member becomes
/// `fromStored(value)`. Both are functions, or lambdas without captures.
template <class Stored, class To, class From>
[[nodiscard]] constexpr dsc_Conversion<Stored, To, From> As(To toStored, From fromStored) {
  return {toStored, fromStored};
}

/// The unit of the numbers in the field. The store describes their attributes with it. A store that has them in another
/// unit is refused when it is opened, because stored numbers are not converted.
///
///     field(KVL_F(m_Stress), kvl::Unit("MPa").Was("N/mm2")); // the same unit, which earlier versions call otherwise
struct Unit {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Unit;
  constexpr explicit Unit(char const* text) : m_Said{text} {}
  /// At most four.
  [[nodiscard]] constexpr Unit Was(char const* earlier) const {
    Unit result = *this;
    int next = 0;
    while (result.m_Said.m_Earlier[next] != nullptr) ++next; // no constant expression behind the last place
    result.m_Said.m_Earlier[next] = earlier;
    return result;
  }
  dsc_UnitText m_Said;
};

/// The values that a member may have when it is read, usually those of an enumeration: at most Max. Any other
/// stored value is an error, or becomes the value of Else.
template <class T> class Among {
 public:
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Among;
  static constexpr int Max = 64;

  template <class... More> constexpr explicit Among(T first, More... more) : m_Values{first, more...} {
    static_assert(sizeof...(More) < Max, "kvl::Among takes at most 64 values");
    m_Count = 1 + static_cast<int>(sizeof...(More));
  }
  [[nodiscard]] constexpr Among Else(T value) const {
    Among result = *this;
    result.m_Else = value;
    result.m_HasElse = true;
    return result;
  }

  [[nodiscard]] constexpr bool Has(T const& value) const {
    for (int i = 0; i < m_Count; ++i)
      if (m_Values[i] == value) return true;
    return false;
  }
  [[nodiscard]] constexpr bool HasElse() const { return m_HasElse; }
  [[nodiscard]] constexpr T const& ElseValue() const { return m_Else; }

 private:
  T m_Values[Max] = {};
  int m_Count = 0;
  T m_Else{};
  bool m_HasElse = false;
};
template <class T, class... More> Among(T, More...) -> Among<T>;

/// Stores keep an index of the field: objects are found by its value without reading all of them. For a number, a bool,
/// an enumeration or a string. docs/indexes.md says what it costs.
struct Indexed {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Indexed;
};

/// A note on the field, which stores keep with the description of the class; see cls_ClassNotes::Note. A field that is
/// stored in several attributes has it on each of them. A line may have several.
///
///     field(KVL_F(m_Connectivity), kvl::Note("picture.cells", "triangles"));
struct Note {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Note;
  constexpr Note(char const* name, char const* text) : m_Name(name), m_Text(text) {}
  char const* m_Name;
  char const* m_Text;
};

/// The member is not stored. It is named so that a forgotten member is noticed.
struct Transient {
  static constexpr dsc_OptionKind Kind = dsc_OptionKind::Transient;
};

/// A field of earlier versions that has no member any more. `hook` is a member function that gets the stored
/// value of an object that has one, in the order of the lines. Nothing is written.
///
///     field("m_Diameter"_field, kvl::Dropped(&kvl_Self::TakeDiameter));
template <class Owner, class Value>
[[nodiscard]] constexpr dsc_DroppedField<Owner, Value> Dropped(void (Owner::*hook)(Value)) {
  return {hook};
}

} // namespace kvl

/// None for what is no option.
template <class T> inline constexpr dsc_OptionKind dsc_KindOf = dsc_OptionKind::None;
template <dsc_IsOption T> inline constexpr dsc_OptionKind dsc_KindOf<T> = T::Kind;

template <dsc_OptionKind Kind, class... Options>
inline constexpr int dsc_CountOf = (static_cast<int>(dsc_KindOf<Options> == Kind) + ... + 0);

template <dsc_OptionKind Kind, class... Options>
inline constexpr bool dsc_Has = dsc_CountOf<Kind, Options...> != 0;

/// The option of a kind. REQUIRES: there is one.
template <dsc_OptionKind Kind, class First, class... More>
[[nodiscard]] constexpr auto const& dsc_Get(First const& first, More const&... more) {
  if constexpr (dsc_KindOf<First> == Kind)
    return first;
  else
    return dsc_Get<Kind>(more...);
}

/// What options say of the unit.
template <class... Options> [[nodiscard]] constexpr dsc_UnitText dsc_UnitOf(Options const&... options) {
  if constexpr (dsc_Has<dsc_OptionKind::Unit, Options...>) {
    return dsc_Get<dsc_OptionKind::Unit>(options...).m_Said;
  } else {
    return {};
  }
}

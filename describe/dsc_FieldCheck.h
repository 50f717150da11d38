#pragma once

#include <string>
#include <string_view>
#include <type_traits>

#include "describe/dsc_Base.h"
#include "describe/dsc_Field.h"
#include "describe/dsc_Options.h"
#include "platform/cow/cow_String.h"

/// What the compiler finds out about a class from its Describe: how much there is, and which rules it breaks.
struct dsc_Summary {
  static constexpr int MaxFields = 512;

  int m_Fields = 0;         ///< lines that name a field
  int m_Attributes = 0;     ///< that are declared
  int m_Collections = 0;    ///< of these
  int m_Newest = 0;         ///< the newest version that a Since names
  std::string_view m_Twice; ///< the first name that two lines have; empty if there is none
  std::string_view m_Taken; ///< the first name of a Was that a field has today; empty if there is none
  std::string_view m_Names[MaxFields] = {};
  bool m_IsStored[MaxFields] = {};

  constexpr void Add(std::string_view name, bool isStored) {
    for (int i = 0; i < m_Fields && i < MaxFields; ++i)
      if (m_Names[i] == name && m_Twice.empty()) m_Twice = name;
    if (m_Fields < MaxFields) {
      m_Names[m_Fields] = name;
      m_IsStored[m_Fields] = isStored;
    }
    ++m_Fields;
  }
  /// When all fields are there: an earlier name of one of them.
  constexpr void CheckEarlier(std::string_view name) {
    for (int i = 0; i < m_Fields && i < MaxFields; ++i)
      if (m_IsStored[i] && m_Names[i] == name && m_Taken.empty()) m_Taken = name;
  }
};

/// The visitor of Describe that looks at the names that fields had earlier.
class dsc_EarlierNames {
 public:
  constexpr explicit dsc_EarlierNames(dsc_Summary& summary) : m_Summary(summary) {}
  template <class... Line> constexpr void operator()(Line const&... line) { (Take(line), ...); }

 private:
  template <class Part> constexpr void Take(Part const&) {}
  template <cow_LiteralChars... Names> constexpr void Take(kvl::Was<Names...> const&) {
    (m_Summary.CheckEarlier(dsc_Name<Names>::View()), ...);
  }

  dsc_Summary& m_Summary;
};

/// Whether a store can keep an index of fields of this type.
template <class T>
inline constexpr bool dsc_CanBeIndexed = std::is_arithmetic_v<T> || std::is_enum_v<T> ||
                                         std::is_same_v<T, std::string> || std::is_same_v<T, cow_String>;

/// The visitor of Describe that makes the summary. It is evaluated by the compiler, and checks each line by
/// itself.
template <class T> class dsc_FieldCheck {
 public:
  constexpr explicit dsc_FieldCheck(dsc_Summary& summary) : m_Summary(summary) {}

  template <class Name, class Member, class Owner, class... Options>
  constexpr void operator()(Name, Member Owner::*, Options const&... options) {
    static_assert((dsc_IsOption<Options> && ...),
                  "what follows a field's name and member is an option: kvl::Since, kvl::Was, kvl::As ...");
    static_assert(
        std::is_same_v<Owner, T>,
        "a member of a base class is described in a derived one: each class describes its own members, in "
        "a Describe of its own");
    constexpr bool IsStored = !dsc_Has<dsc_OptionKind::Transient, Options...>;
    m_Summary.Add(Name::View(), IsStored);
    if constexpr (IsStored) {
      CheckStorable<dsc_FieldValue<Member, Options...>, Options...>();
      static_assert(!dsc_Has<dsc_OptionKind::Indexed, Options...> ||
                        dsc_CanBeIndexed<dsc_FieldValue<Member, Options...>>,
                    "kvl::Indexed is for a number, a bool, an enumeration or a string");
      using Value = dsc_Stored<dsc_FieldValue<Member, Options...>>;
      m_Summary.m_Attributes += Value::Fields;
      m_Summary.m_Collections += Value::Collections;
      if constexpr (dsc_Has<dsc_OptionKind::Since, Options...>)
        TakeSince(dsc_Get<dsc_OptionKind::Since>(options...).m_Version);
    } else {
      static_assert(sizeof...(Options) == 1, "a member that is transient has no other options");
    }
  }

  template <class Name, class Value> constexpr void operator()(Name, dsc_DroppedField<T, Value> const&) {
    CheckStorable<std::remove_cvref_t<Value>>();
    m_Summary.Add(Name::View(), false);
  }
  template <class Base> constexpr void operator()(kvl::BaseWas<Base> const&) {}
  constexpr void operator()(kvl::ClassWas const&) {}

 private:
  constexpr void TakeSince(int version) {
    if (version > m_Summary.m_Newest) m_Summary.m_Newest = version;
  }
  template <class Value, class... Options> constexpr void CheckStorable() {
    static_assert(
        !std::is_pointer_v<Value>,
        "a member that is a plain pointer cannot be stored: use std::unique_ptr, std::shared_ptr or, for an "
        "object that something else holds, std::weak_ptr");
    constexpr bool HasWrite = requires(Value const& value, cls_WriteVisitor const& visitor) {
      value.DBWrite(visitor);
    };
    constexpr bool WritesItself = HasWrite && (dsc_IsNoObject<Value> || !cls_HasTypeId<Value>);
    static_assert(!WritesItself || dsc_Storable<Value>,
                  "a member of this type writes itself: include describe/dsc_Wrappers.h for a wrapper, "
                  "describe/dsc_Arrays.h for a bulk array");
    static_assert(
        std::is_pointer_v<Value> || WritesItself || dsc_Storable<Value>,
        "a member of this type cannot be stored: convert it with kvl::As, or leave it out with "
        "kvl::Transient. Durations, paths, variants and the types of Eigen have headers of their own in "
        "describe/");
    static_assert(
        ((dsc_CountOf<dsc_KindOf<Options>, Options...> == 1 || dsc_KindOf<Options> == dsc_OptionKind::Note) &&
         ...),
        "an option of a field is given twice");
  }

  dsc_Summary& m_Summary;
};

#pragma once

#include "describe/dsc_Base.h"
#include "describe/dsc_Field.h"
#include "describe/dsc_LeadsTo.h"

/// Which fields of an object are read: all, or first those that cannot lead back to it, and the others when it is
/// there.
enum class dsc_Pass { All, First, Afterwards };

/// Gives the elements of an array those of a std::array.
template <class Member, class Value> void dsc_AssignArray(Member& member, Value const& value) {
  if constexpr (dsc_IsArray<Value> && std::is_array_v<Member>) {
    static_assert(std::tuple_size<Value>::value == std::extent_v<Member>,
                  "a member that is an array gets its value from a std::array of the same length");
    for (std::size_t i = 0; i < std::extent_v<Member>; ++i) dsc_AssignArray(member[i], value[i]);
  } else {
    static_assert(!std::is_array_v<Member>,
                  "a member that is an array gets its value from a std::array of the same length");
    if constexpr (!std::is_array_v<Member>) member = static_cast<Member>(value);
  }
}

/// Gives a member the value of its kvl::Since. Specialised for types that are not assigned from a constant.
template <class Member> struct dsc_FromConstant {
  template <class Value> static void Assign(Member& member, Value const& value) {
    if constexpr (std::is_array_v<Member>)
      dsc_AssignArray(member, value);
    else
      member = static_cast<Member>(value);
  }
};

/// The visitor of Describe that reads an object's fields. A field that is not stored under its name is looked for
/// under its earlier ones; if it is not there either, an object that is older than the field gets the value that
/// its kvl::Since names, and any other keeps what the member was initialised with.
template <class T> class dsc_FieldReader {
 public:
  dsc_FieldReader(T& object, dsc_In const& in, dsc_Pass pass, dsc_Place first = {}) noexcept
      : m_Object(object), m_In(in), m_Pass(pass), m_At(first) {}

  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*member, Options const&... options) {
    if constexpr (!dsc_Has<dsc_OptionKind::Transient, Options...>) {
      using Value = dsc_FieldValue<Member, Options...>;
      using Stored = dsc_Stored<Value>;
      if (IsDue<dsc_IsReadAfterwards<Value>(dsc_Has<dsc_OptionKind::As, Options...>)>())
        ReadUnderNames<Name, Stored>(m_Object.*member, options...);
      m_At = m_At.Plus(Stored::Fields, Stored::Collections);
    }
  }

  template <class Name, class Value> void operator()(Name, dsc_DroppedField<T, Value> const& dropped) {
    using Plain = std::remove_cvref_t<Value>;
    if (!IsDue<dsc_IsReadAfterwards<Plain>(true)>()) return;
    if (!dsc_Stored<Plain>::template IsPresent<Name>(m_In, Gone())) return;
    Plain value{};
    dsc_Stored<Plain>::template Read<Name>(m_In, Gone(), value);
    (m_Object.*dropped.m_Hook)(static_cast<Value>(std::move(value)));
  }
  template <class Base> void operator()(kvl::BaseWas<Base> const&) {}
  void operator()(kvl::ClassWas const&) {}

 private:
  template <bool IsAfterwards> [[nodiscard]] bool IsDue() const noexcept {
    return m_Pass != (IsAfterwards ? dsc_Pass::First : dsc_Pass::Afterwards);
  }

  /// Fields are found by their names; a name of an earlier version has no number today. The identities of its
  /// collections are not kept: they are not written again.
  [[nodiscard]] static constexpr dsc_Place Gone() noexcept { return {-1, dsc_NoCollection}; }

  template <class Name, class Stored, class Member, class... Options>
  void ReadUnderNames(Member& member, Options const&... options) {
    if constexpr (dsc_Has<dsc_OptionKind::Was, Options...>) {
      if (!Stored::template IsPresent<Name>(m_In, m_At) &&
          ReadEarlier<Stored>(dsc_Get<dsc_OptionKind::Was>(options...), member, options...))
        return;
    }
    if constexpr (dsc_Has<dsc_OptionKind::Since, Options...>) {
      auto const& since = dsc_Get<dsc_OptionKind::Since>(options...);
      if (IsOlderThan(since.m_Version) && !Stored::template IsPresent<Name>(m_In, m_At)) {
        if constexpr (!std::is_same_v<std::remove_cvref_t<decltype(since.m_Value)>, dsc_NoValue>)
          dsc_FromConstant<Member>::Assign(member, since.m_Value);
        return;
      }
    }
    ReadValue<Name>(m_At, member, options...);
  }

  /// Whether the field is stored under one of its earlier names.
  template <class Stored, cow_LiteralChars... Names, class Member, class... Options>
  bool ReadEarlier(kvl::Was<Names...> const&, Member& member, Options const&... options) {
    return (ReadIfPresent<dsc_Name<Names>, Stored>(member, options...) || ...);
  }
  template <class Name, class Stored, class Member, class... Options>
  bool ReadIfPresent(Member& member, Options const&... options) {
    dsc_Place const at{-1, m_At.m_Collection};
    if (!Stored::template IsPresent<Name>(m_In, at)) return false;
    ReadValue<Name>(at, member, options...);
    return true;
  }

  template <class Name, class Member, class... Options>
  void ReadValue(dsc_Place at, Member& member, Options const&... options) {
    if constexpr (dsc_Has<dsc_OptionKind::As, Options...>) {
      using Value = dsc_FieldValue<Member, Options...>;
      if (!dsc_Stored<Value>::template IsPresent<Name>(m_In, at)) return;
      Value value{};
      dsc_Stored<Value>::template Read<Name>(m_In, at, value);
      auto const& fromStored = dsc_Get<dsc_OptionKind::As>(options...).m_FromStored;
      if constexpr (std::is_array_v<Member>)
        dsc_AssignArray(member, fromStored(value));
      else
        member = fromStored(value);
    } else {
      dsc_Stored<Member>::template Read<Name>(m_In, at, member);
    }
    if constexpr (dsc_Has<dsc_OptionKind::Among, Options...>)
      Check<Name>(member, dsc_Get<dsc_OptionKind::Among>(options...));
  }

  template <class Name, class Member, class Value>
  void Check(Member& member, kvl::Among<Value> const& among) {
    if (among.Has(member)) return;
    if (!among.HasElse()) {
      if constexpr (std::is_arithmetic_v<Member> || std::is_enum_v<Member>)
        dsc_RaiseValue(m_In.m_Class, Name::View(), static_cast<long long>(member));
      else
        dsc_Raise(m_In.m_Class, Name::View(), "the stored value is none that it may have.");
    }
    member = among.ElseValue();
  }

  /// False for a part that is not stored at all.
  [[nodiscard]] bool IsOlderThan(int version) const {
    cls_MementoRead* const memento = m_In.m_Visitor.Memento();
    int const stored = memento == nullptr ? -1 : memento->ClassVersion();
    return stored >= 0 && stored < version;
  }

  T& m_Object;
  dsc_In const& m_In;
  dsc_Pass m_Pass;
  dsc_Place m_At;
};

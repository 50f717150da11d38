#pragma once

#include "describe/dsc_Values.h"

// Members that lead to objects from inside a container or a value: their objects are not built while the object that
// has the member is built, because they may lead back to it, and so on without end. They are read when it is there.

/// Whether a value of type T has pointers to objects in it. Specialised for types that are known elsewhere.
template <class T> [[nodiscard]] consteval bool dsc_LeadsTo();

/// The same for a described class; in dsc_Class.h.
template <class T> [[nodiscard]] consteval bool dsc_ClassLeadsTo();

template <class T>
concept dsc_IsDescribed = requires {
  typename T::kvl_Level;
};

/// Whether one of the parts of a value does; std::variant has a form of its own.
template <class T> struct dsc_PartsLeadTo { static constexpr bool Value = false; };
template <dsc_HasParts T> struct dsc_PartsLeadTo<T> {
  static constexpr bool Value = [] {
    bool leads = false;
    dsc_ForEachPart<T>(
        [&leads]<class Part>(auto, std::type_identity<Part>, auto) { leads = leads || dsc_LeadsTo<Part>(); });
    return leads;
  }();
};

/// The same for what a container has. A class may have a container of its own objects, so it is not looked into.
template <class T> [[nodiscard]] consteval bool dsc_LeadFrom() {
  if constexpr (dsc_IsDescribed<T>)
    return true;
  else
    return dsc_LeadsTo<T>();
}

template <class T> consteval bool dsc_LeadsTo() {
  if constexpr (dsc_IsOwner<T> || dsc_IsWeak<T>)
    return true;
  else if constexpr (dsc_IsDescribed<T>)
    return dsc_ClassLeadsTo<T>();
  else if constexpr (requires { typename T::mapped_type; })
    return dsc_LeadsTo<typename T::key_type>() || dsc_LeadFrom<typename T::mapped_type>();
  else if constexpr (std::is_array_v<T>)
    return dsc_LeadFrom<std::remove_extent_t<T>>();
  else if constexpr (!dsc_IsText<T> && (dsc_IsSequence<T> || dsc_IsArray<T> || dsc_IsOptional<T>))
    return dsc_LeadFrom<typename T::value_type>();
  else
    return dsc_PartsLeadTo<T>::Value;
}

/// Whether each pointer of a member of type T is found again by itself, so that only those are left that must be.
template <class T> [[nodiscard]] consteval bool dsc_IsFoundAgain() {
  if constexpr (dsc_IsOwner<T> || dsc_IsWeak<T>) {
    return true;
  } else if constexpr (requires { requires dsc_Stored<T>::IsFilledLater; }) {
    return true;
  } else if constexpr (dsc_HasParts<T>) {
    bool is = true;
    dsc_ForEachPart<T>([&is]<class Part>(auto, std::type_identity<Part>, auto) {
      is = is && (dsc_IsFoundAgain<Part>() || !dsc_LeadsTo<Part>());
    });
    return is;
  } else {
    return false;
  }
}

/// Whether a member of type T is read as a whole when the object is there. `isTemporary`: it is read into a value that
/// is then converted.
template <class T> [[nodiscard]] consteval bool dsc_IsReadAfterwards(bool isTemporary) {
  return dsc_LeadsTo<T>() && (isTemporary || !dsc_IsFoundAgain<T>());
}

/// The visitor of Describe that finds out whether one of the fields leads to objects, and whether one is read afterwards.
template <class T> class dsc_LeadFinder {
 public:
  template <class Name, class Member, class Owner, class... Options>
  constexpr void operator()(Name, Member Owner::*, Options const&...) {
    if constexpr (!dsc_Has<dsc_OptionKind::Transient, Options...>)
      Add<dsc_FieldValue<Member, Options...>>(dsc_Has<dsc_OptionKind::As, Options...>);
  }
  template <class Name, class Value> constexpr void operator()(Name, dsc_DroppedField<T, Value> const&) {
    Add<std::remove_cvref_t<Value>>(true);
  }
  template <class Base> constexpr void operator()(kvl::BaseWas<Base> const&) {}
  constexpr void operator()(kvl::ClassWas const&) {}

  bool m_LeadsTo = false;
  bool m_ReadsAfterwards = false;

 private:
  template <class Value> constexpr void Add(bool isTemporary) {
    m_LeadsTo = m_LeadsTo || dsc_LeadsTo<Value>();
    m_ReadsAfterwards = m_ReadsAfterwards || (isTemporary ? dsc_IsReadAfterwards<Value>(true)
                                                          : dsc_IsReadAfterwards<Value>(false));
  }
};

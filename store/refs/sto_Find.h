#pragma once

#include <concepts>
#include <cstdint>
#include <string_view>
#include <type_traits>
#include <utility>
#include <vector>

#include "describe/dsc_Name.h"
#include "store/refs/sto_Ref.h"
#include "store/refs/sto_SearchValue.h"

// sto_Store::ForEach, Find, FindOne and FindBetween.
//
//     store.ForEach<Part>([&](sto_Ref<Part> const& part) { mass += part->m_Mass; });
//     for (sto_Ref<Part> const& part : store.Find<Part>(&Part::m_Number, 17)) ...
//     for (sto_Ref<Part> const& part : store.FindBetween<Part>(&Part::m_Date, 20260101, 20261231)) ...
//
// Included are objects of classes that derive from the class, what the open transaction has changed, and also objects
// that no root leads to any more, until they are collected.
//
// An attribute that is indexed (kvl::Indexed) is looked up; only what is found is read. Any other number, bool,
// enumeration or text is found, too: by reading all objects of the class. A member is the attribute of the class that
// describes it; an attribute of a value has a name: store.Find<Part>("m_Place.x", 2.5).

/// Finds the name of the field in which a described class has a member; empty if it has none.
template <class Class, class Member> class dsc_FieldFinder {
 public:
  [[nodiscard]] static std::string_view NameOf(Member Class::*member) {
    dsc_FieldFinder finder(member);
    Class::Describe(finder);
    return finder.m_Name;
  }

  template <class Name, class... Options>
  constexpr void operator()(Name, Member Class::*member, Options const&...) {
    if (member == m_Member) m_Name = Name::View();
  }
  template <class... Line> constexpr void operator()(Line const&...) {} // a member of another type, or none

 private:
  constexpr explicit dsc_FieldFinder(Member Class::*member) : m_Member(member) {}

  Member Class::*m_Member;
  std::string_view m_Name;
};

/// Calls `function` with a reference to each stored object of class T, or of one derived from it, in the order of their
/// numbers. It stops when `function` returns false. An object that is loaded for it is let go of afterwards, unless it is
/// changed or was loaded before. Works in the open transaction, or in a read transaction of its own, in which `function`
/// can change nothing. Errors: those of `function`; Misuse while an object is being saved or loaded; Damaged, Busy,
/// Unavailable.
template <class T, class Function> void sto_Store::ForEach(Function function) {
  auto const call = [](void* context, sto_Resident& resident) {
    sto_Ref<T> const reference(resident);
    if constexpr (std::is_void_v<std::invoke_result_t<Function&, sto_Ref<T> const&>>) {
      (*static_cast<Function*>(context))(reference);
      return true;
    } else {
      return static_cast<bool>((*static_cast<Function*>(context))(reference));
    }
  };
  VisitObjects(T::TypeId(), &function, call);
}

/// References to the objects of class T whose attribute has a value from `first` to `last`, both included, in the order of
/// the values, then of their numbers. Loads no object. Errors: Misuse if neither the program nor the store knows the
/// attribute, for a value that the declared attribute cannot have (a text for a number), and while an object is being
/// saved or loaded; Damaged, Busy, Unavailable.
template <class T>
std::vector<sto_Ref<T>> sto_Store::FindBetween(std::string_view attribute, sto_SearchValue const& first,
                                               sto_SearchValue const& last) {
  std::vector<sto_Ref<T>> found;
  SearchObjects(T::TypeId(), attribute, first, last, &found, [](void* context, sto_Resident& resident) {
    static_cast<std::vector<sto_Ref<T>>*>(context)->push_back(sto_Ref<T>(resident));
    return true;
  });
  return found;
}
template <class T, class Class, class Member>
std::vector<sto_Ref<T>> sto_Store::FindBetween(Member Class::*member,
                                               std::type_identity_t<Member> const& first,
                                               std::type_identity_t<Member> const& last) {
  static_assert(std::is_base_of_v<Class, T>, "the member belongs to another class");
  return FindBetween<T>(dsc_FieldFinder<Class, Member>::NameOf(member), sto_SearchValue(first),
                        sto_SearchValue(last));
}

/// The same for one value.
template <class T>
std::vector<sto_Ref<T>> sto_Store::Find(std::string_view attribute, sto_SearchValue const& value) {
  return FindBetween<T>(attribute, value, value);
}
template <class T, class Class, class Member>
std::vector<sto_Ref<T>> sto_Store::Find(Member Class::*member, std::type_identity_t<Member> const& value) {
  return FindBetween<T>(member, value, value);
}

/// The first object that Find would find; a null reference if there is none.
template <class T> sto_Ref<T> sto_Store::FindOne(std::string_view attribute, sto_SearchValue const& value) {
  sto_Ref<T> found;
  SearchObjects(T::TypeId(), attribute, value, value, &found, [](void* context, sto_Resident& resident) {
    *static_cast<sto_Ref<T>*>(context) = sto_Ref<T>(resident);
    return false;
  });
  return found;
}
template <class T, class Class, class Member>
sto_Ref<T> sto_Store::FindOne(Member Class::*member, std::type_identity_t<Member> const& value) {
  static_assert(std::is_base_of_v<Class, T>, "the member belongs to another class");
  return FindOne<T>(dsc_FieldFinder<Class, Member>::NameOf(member), sto_SearchValue(value));
}

#pragma once

#include "describe/dsc_BasePart.h"
#include "describe/dsc_Declaration.h"
#include "describe/dsc_FieldCheck.h"
#include "describe/dsc_FieldDeclarer.h"
#include "describe/dsc_FieldReader.h"
#include "describe/dsc_FieldWriter.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/pointers/cls_LaterPointers.h"

/// What the macro, or the base class kvl::Described, says about a class.
struct dsc_ClassInfo {
  char const* m_Name;
  int m_Version;
  char const* m_File;
  int m_Line;
};

/// A class that derives from T has one more AfterRead, so that a class with any is noticed: the name is ambiguous.
struct dsc_OtherAfterRead {
  int AfterRead;
};
template <class T> struct dsc_TwiceAfterRead : T, dsc_OtherAfterRead {};

/// Whether a pointer to a member is one to a member of another class than T.
template <class Pointer, class T> inline constexpr bool dsc_IsOfOther = false;
template <class Member, class Owner, class T>
inline constexpr bool dsc_IsOfOther<Member Owner::*, T> = !std::is_same_v<Owner, T>;

/// Reaches what a described class keeps to itself.
struct dsc_Access {
  template <class T> [[nodiscard]] static dsc_Identity& Identity(T& object) noexcept {
    return static_cast<typename T::kvl_Level&>(object).kvl_Identity;
  }
  template <class T> [[nodiscard]] static dsc_Identity const& Identity(T const& object) noexcept {
    return static_cast<typename T::kvl_Level const&>(object).kvl_Identity;
  }
  template <class T, class Field> static constexpr void Describe(Field& field) { T::Describe(field); }
  template <class T> [[nodiscard]] static constexpr dsc_ClassInfo Info() noexcept { return T::kvl_Info(); }

  template <class T> [[nodiscard]] static std::size_t IdentityOffset() noexcept {
    return dsc_OffsetIn<T>([](T const& object) { return &object.kvl_Identity; });
  }

  /// Whether the base class of a described one leads to objects; true if it is not known.
  template <class T> [[nodiscard]] static consteval bool BaseLeadsTo() {
    if constexpr (requires { typename T::kvl_Class; })
      return T::kvl_Class::BaseLeadsTo();
    else
      return true;
  }

  /// Whether the class itself has the hook, and not from a base class. Refuses to compile what is none.
  template <class T> [[nodiscard]] static consteval bool HasAfterRead() {
    if constexpr (requires { &T::AfterRead; })
      return IsHook<T, decltype(&T::AfterRead)>();
    else
      static_assert(!NamesAfterRead<T>(),
                    "AfterRead of a described class is void AfterRead(int), and only that");
    return false;
  }

  /// Calls the hook of the class itself, not one that it has from a base class: that was called already.
  template <class T> static void AfterRead(T& object, cls_ReadVisitor const& visitor) {
    if constexpr (HasAfterRead<T>())
      if (cls_MementoRead* const memento = visitor.Memento();
          memento != nullptr && memento->ClassVersion() >= 0) {
        cls_LaterReads::Call const call{
            &object, memento->ClassVersion(),
            [](void* later, int version) { static_cast<T*>(later)->AfterRead(version); }, &Identity(object)};
        if (!cls_LaterPlace(visitor).Leave(call)) object.AfterRead(memento->ClassVersion());
      }
  }

 private:
  template <class T, class Hook> [[nodiscard]] static consteval bool IsHook() {
    constexpr bool IsIt =
        std::is_same_v<Hook, void (T::*)(int)> || std::is_same_v<Hook, void (T::*)(int) noexcept>;
    static_assert(IsIt || dsc_IsOfOther<Hook, T>,
                  "AfterRead of a described class is void AfterRead(int), and only that");
    return IsIt;
  }

  /// Whether the class or a base class has anything that is called AfterRead, although it has no one address.
  template <class T> [[nodiscard]] static consteval bool NamesAfterRead() {
    if constexpr (std::is_final_v<T>) return requires(T & object) {
        object.AfterRead(0);
      };
    else
      return !requires {
        &dsc_TwiceAfterRead<T>::AfterRead;
      };
  }
};

template <class T> [[nodiscard]] constexpr dsc_LeadFinder<T> dsc_FindLeads() {
  dsc_LeadFinder<T> field;
  dsc_Access::Describe<T>(field);
  return field;
}
template <class T> consteval bool dsc_ClassLeadsTo() {
  return dsc_FindLeads<T>().m_LeadsTo || dsc_Access::BaseLeadsTo<T>();
}

template <class T> [[nodiscard]] constexpr dsc_Summary dsc_Summarise() {
  dsc_Summary summary;
  dsc_FieldCheck<T> field(summary);
  dsc_Access::Describe<T>(field);
  dsc_EarlierNames names(summary);
  dsc_Access::Describe<T>(names);
  return summary;
}

/// A name as a template argument, so that the compiler prints it.
template <class T, std::string_view dsc_Summary::*Member> [[nodiscard]] consteval auto dsc_NameIn() {
  char chars[48] = {};
  std::string_view const name = dsc_Summarise<T>().*Member;
  for (std::size_t i = 0; i < name.size() && i < sizeof(chars) - 1; ++i) chars[i] = name[i];
  return cow_LiteralChars(chars);
}
template <cow_LiteralChars Field> struct dsc_DescribedOnce {
  static constexpr bool IsIt = Field.m_Chars[0] == 0;
  static_assert(IsIt, "a field is described twice");
};
template <cow_LiteralChars Field> struct dsc_EarlierNameIsFree {
  static constexpr bool IsIt = Field.m_Chars[0] == 0;
  static_assert(
      IsIt, "a name in kvl::Was is that of a field of the class today, so that nobody knows which of the two "
            "is stored under it: choose another name for that field");
};

/// A class whose Describe the compiler has checked.
template <class T> struct dsc_CheckedClass {
  static constexpr dsc_Summary Summary = dsc_Summarise<T>();
  static_assert(dsc_DescribedOnce<dsc_NameIn<T, &dsc_Summary::m_Twice>()>::IsIt);
  static_assert(dsc_EarlierNameIsFree<dsc_NameIn<T, &dsc_Summary::m_Taken>()>::IsIt);
  static_assert(Summary.m_Newest <= dsc_Access::Info<T>().m_Version,
                "kvl::Since names a version above that of the class: raise the version in KVL_PERSISTED");
  static_assert(Summary.m_Fields <= dsc_Summary::MaxFields, "a class has at most 512 described fields");
  static constexpr int Collections = Summary.m_Collections;
};

/// What a described class does, for the members that the macro makes.
template <class T, class Base> struct dsc_Class {
  static void Write(T const& object, cls_WriteVisitor const& visitor) {
    CheckBase();
    if (visitor.BeginsObject()) CheckIsWhole(object);
    dsc_Identity const& identity = dsc_Access::Identity(object);
    if (visitor.StartWrite(T::TypeId(), identity.Own(dsc_CheckedClass<T>::Collections)) == 0) return;
    if constexpr (dsc_IsStoredBase<Base>) object.Base::DBWrite(cls_WriteVisitor(visitor, Base::TypeId()));
    dsc_Out const out{visitor,
                      identity,
                      dsc_CheckedClass<T>::Collections,
                      dsc_Access::Info<T>().m_Name,
                      {&object, sizeof(T)}};
    dsc_FieldWriter<T> field(object, out);
    dsc_Access::Describe<T>(field);
  }

  static void Read(T& object, cls_ReadVisitor const& visitor) {
    dsc_Identity& identity = dsc_Access::Identity(object);
    if (cls_MementoRead* const memento = visitor.Memento())
      identity.TakeOwn(memento->GetUid(), dsc_CheckedClass<T>::Collections);
    dsc_In const in{visitor,
                    identity,
                    dsc_CheckedClass<T>::Collections,
                    dsc_Access::Info<T>().m_Name,
                    {&object, sizeof(T)},
                    dsc_Access::Info<T>().m_Version};
    dsc_FieldReader<T> field(object, in, PassOf(object, visitor));
    dsc_Access::Describe<T>(field);
    dsc_Access::AfterRead(object, visitor);
  }

  [[nodiscard]] static consteval bool BaseLeadsTo() {
    if constexpr (dsc_IsStoredBase<Base> && dsc_IsDescribed<Base>)
      return dsc_ClassLeadsTo<Base>();
    else
      return dsc_IsStoredBase<Base>;
  }

  static void Declare(cls_ClassRegistrar& registrar) {
    using Adapter = std::conditional_t<std::is_abstract_v<T>, cls_AbsTypeAdapter<T>, cls_TypeAdapter<T>>;
    constexpr dsc_ClassInfo Info = dsc_Access::Info<T>();
    dsc_DeclaredClass const declared{Info.m_Name,     T::TypeId(), Info.m_Version, dsc_BaseClassId<Base>(),
                                     typeid(Adapter), Info.m_File, Info.m_Line};
    if (dsc_IsDeclared(registrar, declared)) return;
    if constexpr (dsc_IsStoredBase<Base>) dsc_DeclareIfItCan<Base>(registrar);
    dsc_BeginDeclaring(registrar, declared);
    CheckBase();
    if constexpr (dsc_IsStoredBase<Base>) dsc_CheckBaseOffset(registrar, declared, dsc_BaseOffset<T, Base>());
    cls_ClassMetadata& metadata = registrar.AddClassMD(
        new Adapter(cow_String(std::string_view(Info.m_Name)), Info.m_Version, dsc_BaseClassId<Base>()));
    dsc_Coverage coverage;
    AddOwnBytes(coverage);
    dsc_FieldDeclarer<T> field(registrar, metadata, coverage);
    dsc_Access::Describe<T>(field);
    dsc_CheckCoverage(Info.m_Name, {}, coverage, sizeof(T), alignof(T));
  }

  /// What the reading constructor gives its base class: the part below this one, or the object itself if the base
  /// class is not stored.
  [[nodiscard]] static decltype(auto) BaseVisitor(cls_ReadVisitor const& visitor) {
    if constexpr (dsc_IsStoredBase<Base>)
      return cls_ReadVisitor(visitor.Memento() == nullptr ? nullptr
                                                          : dsc_ReadBase(*visitor.Memento(), Base::TypeId()));
    else
      return static_cast<cls_ReadVisitor const&>(visitor);
  }

 private:
  /// Leaves the fields for later that are read when the object is there.
  [[nodiscard]] static dsc_Pass PassOf(T& object, cls_ReadVisitor const& visitor) {
    if constexpr (dsc_FindLeads<T>().m_ReadsAfterwards) {
      cls_LaterPlace const place(visitor);
      cls_HeldObject self = place.Self();
      if (self.m_Source != nullptr) {
        self.m_Depth = 0;
        place.Reads()->Add({std::move(self), &object, &ReadAfterwards, &dsc_Access::Identity(object)});
        return dsc_Pass::First;
      }
    }
    return dsc_Pass::All;
  }
  static void ReadAfterwards(cls_LaterReads::Read const& read) {
    if (read.m_Target == nullptr) return;
    T& object = *static_cast<T*>(read.m_Target);
    cls_ReadVisitor const visitor(read.m_Held.m_Source->MakeReadObj(read.m_Held));
    static_cast<void>(
        visitor.GetUid()); // it was taken when the object was built; a strict store asks each reader
    dsc_In const in{visitor,
                    dsc_Access::Identity(object),
                    dsc_CheckedClass<T>::Collections,
                    dsc_Access::Info<T>().m_Name,
                    {&object, sizeof(T)},
                    dsc_Access::Info<T>().m_Version};
    // A copy is another object, so its collections are others.
    dsc_Place const first{0, read.m_IsCopy ? dsc_NoCollection : 0};
    dsc_FieldReader<T> field(object, in, dsc_Pass::Afterwards, first);
    dsc_Access::Describe<T>(field);
  }

  static constexpr void CheckBase() {
    if constexpr (std::is_base_of_v<Base, T> && !std::is_same_v<Base, kvl::NoBase>)
      static_assert(
          requires(Base * base) { static_cast<T*>(base); },
          "a virtual base class cannot be stored: derive from it without virtual");
  }

  /// An object of a derived class whose DBWrite is this one would lose what the derived class adds.
  static void CheckIsWhole(T const& object) {
    if constexpr (std::is_polymorphic_v<T> && !std::is_final_v<T>)
      if (typeid(object) != typeid(T)) dsc_RaiseDerived(dsc_Access::Info<T>().m_Name);
  }

  /// The bytes of the base class, or of the level between that and the class, of the virtual table and of the
  /// identity.
  static void AddOwnBytes(dsc_Coverage& coverage) {
    using Level = typename T::kvl_Level;
    if constexpr (!std::is_same_v<Level, T>) {
      coverage.Add(dsc_BaseOffset<T, Level>(), sizeof(Level), alignof(Level));
    } else {
      if constexpr (!std::is_same_v<Base, kvl::NoBase>)
        coverage.Add(dsc_BaseOffset<T, Base>(), sizeof(Base), alignof(Base));
      coverage.Add(dsc_Access::IdentityOffset<T>(), sizeof(dsc_Identity), alignof(dsc_Identity));
    }
    if constexpr (std::is_polymorphic_v<T>) coverage.Add(0, sizeof(void*), alignof(void*));
  }
};

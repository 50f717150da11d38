#pragma once

#include "describe/dsc_Class.h"

// Described classes: a class says its fields once, in one line each, and is written, read and declared by that.
//
//     class Bolt {
//      public:
//       KVL_PERSISTED(Bolt, 0x400001, "Bolt", 1)           // class ID, name, version
//       static constexpr void Describe(auto& field) {
//         field(KVL_F(m_Length), kvl::Unit{"mm"});
//         field(KVL_F(m_WasherCount));
//       }
//       Bolt(double length, int washerCount) : m_Length(length), m_WasherCount(washerCount) {}
//
//      private:
//       double m_Length = 0;
//       int m_WasherCount = 0;
//     };
//
// What is stored is what a class written by hand stores. docs/described-classes.md says what each type of member
// becomes, and what the options are for. Members that are not stored in an object, because it is older than they
// are, keep what they are initialised with.
//
// Thread rule and errors: as those of a persisted class; nex_TextException where a stored value does not fit its
// member, where a null pointer cannot be written, and from Declare.

/// A field's name and member, for Describe.
#define KVL_F(member) ::dsc_Name<#member>(), &kvl_Self::member

/// Makes a class persisted: KVL_PERSISTED(Class, Base, ClassId, "Name", Version), or without Base for a class that
/// derives from no persisted one and that no other derives from. It adds:
///
/// - the constructor from a cls_ReadVisitor, DBWrite and TypeId, which a persisted class has;
/// - Uid, the object's identity. A copy of an object is another object, a moved object the same; the target of an
///   assignment keeps its identity (describe/dsc_Identity.h);
/// - Declare(registrar), which declares the class, its base class, and the classes of the objects that its members
///   hold. Classes that are only behind pointers to their base class are declared by the program.
///
/// With Base, DBWrite and Uid are virtual. The root of such classes derives from kvl::Polymorphic. What follows the
/// macro is public.
#define KVL_PERSISTED(...)                                                                                   \
  KVL_SELECT_SIXTH(__VA_ARGS__, KVL_PERSISTED_DERIVED, KVL_PERSISTED_ALONE, )(__VA_ARGS__)

#define KVL_SELECT_SIXTH(one, two, three, four, five, six, ...) six

#define KVL_PERSISTED_ALONE(Class, Id, ClassName, ClassVersion)                                              \
  KVL_PERSISTED_LEVEL(Class, ::kvl::NoBase, Id, ClassName, ClassVersion)                                     \
  using kvl_Alone = void;                                                                                    \
  explicit Class(cls_ReadVisitor const& kvl_visitor) {                                                       \
    kvl_Class::Read(*this, kvl_visitor);                                                                     \
  }                                                                                                          \
  void DBWrite(cls_WriteVisitor const& kvl_visitor) const {                                                  \
    kvl_Class::Write(*this, kvl_visitor);                                                                    \
  }                                                                                                          \
  [[nodiscard]] cls_Uid const& Uid() const {                                                                 \
    return kvl_Identity.Own();                                                                               \
  }

#define KVL_PERSISTED_DERIVED(Class, Base, Id, ClassName, ClassVersion)                                      \
  static_assert(                                                                                             \
      ::dsc_CanBeBase<Base>,                                                                                 \
      "the base class cannot have derived classes: its KVL_PERSISTED names no base class. Derive it "        \
      "from kvl::Polymorphic");                                                                              \
  KVL_PERSISTED_LEVEL(Class, Base, Id, ClassName, ClassVersion)                                              \
  explicit Class(cls_ReadVisitor const& kvl_visitor) : Base(kvl_Class::BaseVisitor(kvl_visitor)) {           \
    kvl_Class::Read(*this, kvl_visitor);                                                                     \
  }                                                                                                          \
  void DBWrite(cls_WriteVisitor const& kvl_visitor) const override {                                         \
    kvl_Class::Write(*this, kvl_visitor);                                                                    \
  }                                                                                                          \
  [[nodiscard]] cls_Uid const& Uid() const override {                                                        \
    return kvl_Identity.Own();                                                                               \
  }

#define KVL_PERSISTED_LEVEL(Class, Base, Id, ClassName, ClassVersion)                                        \
 public:                                                                                                     \
  using kvl_Self = Class;                                                                                    \
  using kvl_Level = Class;                                                                                   \
  static constexpr unsigned int TypeId() noexcept {                                                          \
    return Id;                                                                                               \
  }                                                                                                          \
  static void Declare(cls_ClassRegistrar& kvl_registrar) {                                                   \
    kvl_Class::Declare(kvl_registrar);                                                                       \
  }                                                                                                          \
                                                                                                             \
 private:                                                                                                    \
  friend struct ::dsc_Access;                                                                                \
  using kvl_Class = ::dsc_Class<Class, Base>;                                                                \
  static constexpr ::dsc_ClassInfo kvl_Info() noexcept {                                                     \
    return {ClassName, ClassVersion, __FILE__, __LINE__};                                                    \
  }                                                                                                          \
  ::dsc_Identity kvl_Identity;                                                                               \
                                                                                                             \
 public:

/// Makes a struct a value, with a Describe of its own: its members are stored as parts of the object that has it
/// as a member, also in lists and maps. A struct with public members remains an aggregate.
///
///     struct Point {
///       KVL_VALUE(Point)
///       static constexpr void Describe(auto& field) {
///         field(KVL_F(x));
///         field(KVL_F(y));
///       }
///       double x = 0;
///       double y = 0;
///     };
#define KVL_VALUE(Struct)                                                                                    \
  using kvl_Self = Struct;                                                                                   \
  using kvl_Value = void;

template <class Base> inline constexpr bool dsc_CanBeBase = !requires {
  typename Base::kvl_Alone;
};

namespace kvl {

/// The form without a macro: a base class between `Self` and `Base`, which is kvl::NoBase for a class that derives
/// from no persisted one. `Self` writes its reading constructor:
///
///     class Spring : public kvl::Described<Spring, Element, 0x530004, "Spring", 1> {
///      public:
///       explicit Spring(cls_ReadVisitor const& visitor) : Described(visitor) { ReadFields(visitor); }
///       static constexpr void Describe(auto& field) { field("m_K"_field, &Spring::m_K); }
///
/// Where a class is described is not known then, so messages do not name it.
template <class Self, class Base, unsigned int Id, cow_LiteralChars Name, int Version>
class Described : public Base {
  static_assert(
      dsc_CanBeBase<Base>,
      "the base class cannot have derived classes: its KVL_PERSISTED names no base class. Derive it "
      "from kvl::Polymorphic");

 public:
  using kvl_Self = Self;
  using kvl_Level = Described;
  static constexpr unsigned int TypeId() noexcept { return Id; }
  static void Declare(cls_ClassRegistrar& registrar) { dsc_Class<Self, Base>::Declare(registrar); }

  void DBWrite(cls_WriteVisitor const& visitor) const { // overrides that of Base, if Base has one
    if (kvl_IsUnread) RaiseUnread();
    dsc_Class<Self, Base>::Write(static_cast<Self const&>(*this), visitor);
  }
  [[nodiscard]] cls_Uid const& Uid() const { return kvl_Identity.Own(); }

 protected:
  using Base::Base;
  Described() = default;
  explicit Described(cls_ReadVisitor const& visitor) : Base(dsc_Class<Self, Base>::BaseVisitor(visitor)) {
    kvl_IsUnread = true;
    cls_LaterReads::Call const check{&kvl_IsUnread, 0, &CheckRead, &kvl_Identity};
    static_cast<void>(cls_LaterPlace(visitor).Leave(check)); // without a load, saving checks it
  }

  /// Reads the fields of `Self`; the last thing that its reading constructor does. If it does not, the load raises
  /// nex_TextException when it ends.
  void ReadFields(cls_ReadVisitor const& visitor) {
    kvl_IsUnread = false;
    dsc_Class<Self, Base>::Read(static_cast<Self&>(*this), visitor);
  }

 private:
  friend struct ::dsc_Access;
  static constexpr dsc_ClassInfo kvl_Info() noexcept { return {Name.m_Chars, Version, "", 0}; }
  static void CheckRead(void* isUnread, int) {
    if (*static_cast<bool*>(isUnread)) RaiseUnread();
  }
  [[noreturn]] static void RaiseUnread() {
    dsc_Raise(Name.m_Chars, {},
              "its reading constructor does not call ReadFields, so nothing of an object was read.");
  }

  dsc_Identity kvl_Identity;
  bool kvl_IsUnread = false; // its reading constructor has not called ReadFields
};

} // namespace kvl

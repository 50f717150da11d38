#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <type_traits>

#include "describe/dsc_Identity.h"
#include "describe/dsc_Name.h"
#include "describe/dsc_UnitText.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_CollectionTypeIds.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/kvl_Export.h"

/// The bytes of the object that is written or read.
struct dsc_Bytes {
  void const* m_First;
  std::size_t m_Count;

  /// Whether a value is in the object itself, and not in a temporary one or on the heap.
  [[nodiscard]] bool Has(void const* value) const noexcept {
    auto const at = reinterpret_cast<std::uintptr_t>(value);
    auto const first = reinterpret_cast<std::uintptr_t>(m_First);
    return at >= first && at - first < m_Count;
  }
};

/// The class and the field that a stored value is of, for messages.
struct dsc_Where {
  char const* m_Class; ///< empty if it is not known
  std::string_view m_Field;
};

/// Where the fields of one class in an object are written, or read.
struct dsc_Out {
  cls_WriteVisitor const& m_Visitor;
  dsc_Identity const& m_Identity; ///< of the collections, too
  int m_Collections;              ///< how many the class writes
  char const* m_Class;            ///< the name, for messages
  dsc_Bytes m_Bytes;
};
struct dsc_In {
  cls_ReadVisitor const& m_Visitor;
  dsc_Identity& m_Identity;
  int m_Collections;
  char const* m_Class;
  dsc_Bytes m_Bytes;
  int m_Version = 0; ///< the class's version of today

  template <class Name> [[nodiscard]] dsc_Where Where() const noexcept { return {m_Class, Name::View()}; }
};

/// The collection number of a value whose collections are read once, and not written again.
inline constexpr int dsc_NoCollection = -1;

/// The first attribute number, and the first identity of a collection, that belong to a field.
struct dsc_Place {
  int m_Number = 0;
  int m_Collection = 0;

  [[nodiscard]] constexpr dsc_Place Plus(int numbers, int collections) const noexcept {
    return {m_Number + numbers, m_Collection < 0 ? m_Collection : m_Collection + collections};
  }
};

/// Where the attributes of one class are declared, and what is said about those of one field.
struct dsc_Declaring {
  cls_ClassRegistrar& m_Registrar;
  cls_ClassMetadata& m_Metadata;
  bool m_MayBeAbsent = false; ///< they belong to a value that an object may not have
  dsc_UnitText m_Unit = {};   ///< of its numbers

  template <class Name> void Add(dsc_Place at, cls_AttributeType type, cls_CollectionType collection) const {
    m_Metadata.AddAttribute(Name::Handle(at.m_Number), type, 1, collection);
    if (m_MayBeAbsent) Notes().MayBeAbsent(Name::View());
    if (m_Unit.m_Text == nullptr || !IsNumber(type)) return;
    Notes().Unit(Name::View(), m_Unit.m_Text);
    for (char const* const earlier : m_Unit.m_Earlier)
      if (earlier != nullptr) m_Registrar.ChangesOf(m_Metadata.ClassId()).UnitWas(Name::View(), earlier);
  }
  [[nodiscard]] dsc_Declaring Optional() const noexcept { return {m_Registrar, m_Metadata, true, m_Unit}; }
  /// For values that have a unit of their own (null if they have none), which counts if no other is said.
  [[nodiscard]] dsc_Declaring InUnit(char const* unit) const noexcept {
    return m_Unit.m_Text != nullptr ? *this : With({unit});
  }
  /// For values whose unit is said.
  [[nodiscard]] dsc_Declaring With(dsc_UnitText const& unit) const noexcept {
    return {m_Registrar, m_Metadata, m_MayBeAbsent, unit};
  }
  /// For numbers that are no values: counts, indexes, keys.
  [[nodiscard]] dsc_Declaring WithoutUnit() const noexcept { return With({}); }

 private:
  [[nodiscard]] cls_ClassNotes& Notes() const {
    return m_Registrar.NotesOf(m_Metadata.ClassId(), m_Metadata.Version());
  }
  [[nodiscard]] static constexpr bool IsNumber(cls_AttributeType type) noexcept {
    return type != ATTR_STRING && type != ATTR_TRSTRING && type != ATTR_BOOL && type != ATTR_OBJECT &&
           type != ATTR_REFERENCE;
  }
};

/// Raises nex_TextException if a unit is said of a field that is declared, and none of its attributes is a number.
KVL_EXPORT void dsc_CheckUnit(dsc_Declaring const& declared, std::string_view field);

/// How a member of type T is stored. A specialisation has
///
///     static constexpr int Fields;      // how many attributes it takes
///     static constexpr int Collections; // how many of them are collections, which need identities
///     template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at);
///     template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value);
///     template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at);
///     template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value); // if it is present
///     template <class Each> static void DeclareHeld(Each const& each); // each.template operator()<Class>()
///
/// The last one may be missing. This form is for types that cannot be stored: it does nothing, so that the
/// compiler prints one message and not many.
template <class T> struct dsc_Stored {
  using IsUnknown = void;
  static constexpr int Fields = 1;
  static constexpr int Collections = 0;
  template <class Name> static void Declare(dsc_Declaring const&, dsc_Place) {}
  template <class Name> static void Write(dsc_Out const&, dsc_Place, T const&) {}
  template <class Name> static bool IsPresent(dsc_In const&, dsc_Place) { return false; }
  template <class Name> static void Read(dsc_In const&, dsc_Place, T&) {}
};

/// A class whose objects are collections.
template <class T>
concept dsc_IsCollectionClass = requires {
  typename std::integral_constant<unsigned int, T::TypeId()>;
}
&&cls_IsCollectionTypeId(T::TypeId());

/// A class that is no object of its holder: a bulk array, or a class that leaves StartWrite to its holder. As a member
/// it needs a dsc_Stored that knows that and has `using WritesItself = void`.
template <class T>
concept dsc_IsNoObject = cls_NeedsStartedVisitor<T> || dsc_IsCollectionClass<T>;

template <class T>
concept dsc_Storable = !requires {
  typename dsc_Stored<T>::IsUnknown;
}
&&(!dsc_IsNoObject<T> || requires { typename dsc_Stored<T>::WritesItself; });

/// Calls `each` with the classes of the objects that a dsc_Stored or a dsc_Column holds.
template <class Stored, class Each> void dsc_DeclareHeldOf(Each const& each) {
  if constexpr (requires { Stored::DeclareHeld(each); }) Stored::DeclareHeld(each);
}

/// What most specialisations share: one attribute, which is present if the object has the field.
template <int CollectionCount> struct dsc_OneField {
  static constexpr int Fields = 1;
  static constexpr int Collections = CollectionCount;
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.FieldIsPresent(Name::Handle(at.m_Number)) != 0;
  }
};

/// Raises nex_TextException: "Class Bar, field m_Code: "; without an empty class name or field.
[[noreturn]] KVL_EXPORT void dsc_Raise(char const* className, std::string_view field,
                                       std::string_view problem);

/// The same for a stored value that the member cannot have.
[[noreturn]] KVL_EXPORT void dsc_RaiseValue(char const* className, std::string_view field, long long value);
[[noreturn]] inline void dsc_RaiseValue(dsc_Where const& where, long long value) {
  dsc_RaiseValue(where.m_Class, where.m_Field, value);
}

/// Whether an integer was stored with the other sign than that which is read: a number that the memento has changed if it
/// is negative, or above the greatest int. Only objects older than `version` are looked at, unless it is 0.
[[nodiscard]] KVL_EXPORT bool dsc_HasOtherSign(cls_ReadVisitor const& visitor, cls_FieldHandle const& field,
                                               bool isSigned, int version) noexcept;

/// The same for a stored list with rows of another width than those that are read from it.
[[noreturn]] KVL_EXPORT void dsc_RaiseRows(char const* className, std::string_view field, int stored,
                                           int asked);

/// The same for a stored object of another class than that of the member.
[[noreturn]] KVL_EXPORT void dsc_RaiseClass(dsc_Where const& where, unsigned int stored, unsigned int asked);

/// Raises nex_TextException for a list of elements that the back end has no lists of.
[[noreturn]] KVL_EXPORT void dsc_RaiseNoList(cls_FieldHandle const& field);

/// The same for a stored list that does not have as many numbers as it must have.
[[noreturn]] KVL_EXPORT void dsc_RaiseCount(dsc_Where const& where, long long stored, long long asked);

/// The same for a stored matrix whose sizes its member cannot have.
[[noreturn]] KVL_EXPORT void dsc_RaiseSizes(dsc_Where const& where, long long rows, long long columns);

/// The same for a member's value that must not be saved.
[[noreturn]] KVL_EXPORT void dsc_RaiseUnsaved(char const* className, std::string_view field,
                                              std::string_view value);

/// The same for an object whose class derives from the described class that writes it, and is not described itself.
[[noreturn]] KVL_EXPORT void dsc_RaiseDerived(char const* className);

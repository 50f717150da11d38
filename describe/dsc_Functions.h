#pragma once

#include <limits>
#include <span>
#include <string_view>
#include <type_traits>
#include <vector>

#include "describe/dsc_Field.h"

// Single fields of a class that is written by hand, as those of a described class are written and read. Each function
// takes the visitor and the field's handle:
//
//     void Gauge::DBWrite(cls_WriteVisitor const& visitor) const {
//       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
//       kvl::Write(visitor, CountField(), m_Count);                  // std::size_t
//       kvl::Write(visitor, LimitField(), m_Limit);                  // std::optional<float>
//       kvl::Write(visitor, ValuesField(), m_Values, m_ValuesUid);   // std::vector<double>, cls_OwnUid
//     }
//     Gauge::Gauge(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
//       kvl::Read(visitor, CountField(), m_Count);
//       kvl::Read(visitor, LimitField(), m_Limit);
//       kvl::Read(visitor, ValuesField(), m_Values, m_ValuesUid);
//     }
//     void Gauge::Declare(cls_ClassRegistrar& registrar) {
//       registrar.AddClassMD(...)
//           .AddAttribute(CountField(), kvl::AttributeOf<std::size_t>, 1, COLLECTION_NONE)
//           .AddAttribute(LimitField(), kvl::AttributeOf<std::optional<float>>, 1, COLLECTION_NONE)
//           .AddAttribute(ValuesField(), kvl::AttributeOf<std::vector<double>>, 1,
//                         kvl::CollectionOf<std::vector<double>>);
//
// Values: all numbers and characters, enumerations, texts, std::optional of these; durations, paths, wrappers and bulk
// arrays, with their headers of describe/; objects of persisted classes, and pointers to them. Objects behind pointers
// are written and read at once, inside their holder, which goes 1000 deep; persist/pointers/cls_LaterPointers.h is for
// chains of any length. A std::weak_ptr is a reference, and its class has Uid(). Types that need several attributes do
// not compile.
//
// Reading: what is absent stays as it is; a std::optional becomes empty, a pointer null. Thread rule and errors: those of
// the visitor; nex_TextException for a stored number that does not fit its type, and for a list that is too long.

/// A sequence that is one list of the format.
template <class T>
concept dsc_IsPlainSequence =
    !dsc_IsScalar<T> && dsc_IsElement<std::remove_cv_t<typename T::value_type>> && requires(T const& values) {
  values.begin() != values.end();
  values.size();
};

template <class T> inline constexpr bool dsc_IsSpan = false;
template <class T, std::size_t Extent> inline constexpr bool dsc_IsSpan<std::span<T, Extent>> = true;

/// A sequence that is a blob: a std::vector of bytes, or a std::span of them.
template <class T> inline constexpr bool dsc_IsByteRun = dsc_IsBytes<T>;
template <class T, std::size_t Extent>
inline constexpr bool dsc_IsByteRun<std::span<T, Extent>> = dsc_IsBytes<std::vector<std::remove_cv_t<T>>>;

template <class T>
concept dsc_IsOptionalScalar = dsc_IsOptional<T> && dsc_IsScalar<typename T::value_type>;

/// A type that takes one attribute, and no identity of a list or map.
template <class T>
concept dsc_IsOneValue = dsc_IsScalar<T> || dsc_IsOptionalScalar<T> || dsc_IsOwner<T> || dsc_IsWeak<T> ||
    (dsc_Storable<T> && (dsc_IsPersisted<T> || requires { typename dsc_Stored<T>::WritesItself; }));

/// What the attribute of a value of type T is declared as.
template <class T> struct dsc_DeclaredAs {
  static_assert(dsc_IsOneValue<T>, "a value of this type is not one attribute");
  static constexpr cls_AttributeType Attribute = ATTR_OBJECT;
  static constexpr cls_CollectionType Collection = COLLECTION_NONE;
};
template <dsc_IsScalar T> struct dsc_DeclaredAs<T> {
  static constexpr cls_AttributeType Attribute = dsc_AttributeType<typename dsc_Plain<T>::Type>;
  static constexpr cls_CollectionType Collection = COLLECTION_NONE;
};
template <dsc_IsOptionalScalar T> struct dsc_DeclaredAs<T> : dsc_DeclaredAs<typename T::value_type> {};
template <dsc_IsWeak T> struct dsc_DeclaredAs<T> {
  static constexpr cls_AttributeType Attribute = ATTR_REFERENCE;
  static constexpr cls_CollectionType Collection = COLLECTION_NONE;
};
template <class T>
requires requires {
  typename dsc_Stored<T>::WritesItself;
}
struct dsc_DeclaredAs<T> {
  static constexpr cls_AttributeType Attribute = dsc_Stored<T>::Attribute;
  static constexpr cls_CollectionType Collection = dsc_Stored<T>::Collection;
};
template <dsc_IsPlainSequence T>
requires dsc_IsByteRun<T>
struct dsc_DeclaredAs<T> {
  static constexpr cls_AttributeType Attribute = ATTR_OBJECT;
  static constexpr cls_CollectionType Collection = COLLECTION_NONE;
};
template <dsc_IsPlainSequence T>
requires(!dsc_IsByteRun<T>) struct dsc_DeclaredAs<T> {
  using Plain = typename dsc_PlainElement<std::remove_cv_t<typename T::value_type>>::Type;
  static constexpr cls_AttributeType Attribute = dsc_AttributeType<Plain>;
  static constexpr cls_CollectionType Collection = dsc_ListCode<Plain>;
};

/// One message for a type that the functions do not take.
template <class T> constexpr void dsc_CheckOneValue() {
  static_assert(
      dsc_IsOneValue<T>,
      "a value of this type is not one attribute. Write its parts one by one, a sequence of plain values with "
      "the identity of its list (a member of type cls_OwnUid), or describe the class");
}

template <class T>
void dsc_WriteValue(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& value) {
  if constexpr (dsc_IsScalar<T>) {
    dsc_WriteScalar(visitor, field, value);
  } else if constexpr (dsc_IsOptional<T>) {
    if (value.has_value()) dsc_WriteValue(visitor, field, *value);
  } else if constexpr (dsc_IsOwner<T>) {
    using Object = std::remove_cv_t<typename T::element_type>;
    dsc_CheckPersisted<Object>();
    if (value != nullptr) value->DBWrite(cls_WriteVisitor(visitor, field, nullptr, value.get()));
  } else if constexpr (dsc_IsWeak<T>) {
    dsc_CheckPersisted<std::remove_cv_t<typename T::element_type>>();
    dsc_WriteReference(visitor, field, value);
  } else if constexpr (requires { typename dsc_Stored<T>::WritesItself; }) {
    dsc_Stored<T>::WriteField(visitor, field, value);
  } else {
    value.DBWrite(cls_WriteVisitor(visitor, field, nullptr, &value));
  }
}

template <class T>
void dsc_ReadValue(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, T& value) {
  if constexpr (dsc_IsScalar<T>) {
    dsc_ReadScalar(visitor, field, value, dsc_Where{"", field.Name().View()});
  } else if constexpr (dsc_IsOptional<T>) {
    value.reset();
    if (visitor.FieldIsPresent(field) != 0) dsc_ReadValue(visitor, field, value.emplace());
  } else if constexpr (dsc_IsOwner<T>) {
    value = nullptr;
    if (visitor.DataIsPresent(field) != 0) value = dsc_Construct<T>(cls_ReadVisitor(visitor, field));
  } else if constexpr (dsc_IsWeak<T>) {
    using Object = std::remove_cv_t<typename T::element_type>;
    value.reset();
    if (visitor.DataIsPresent(field) != 0)
      value = cls_ConstructShared<Object>(cls_ReadVisitor(visitor, field));
  } else if constexpr (requires { typename dsc_Stored<T>::WritesItself; }) {
    dsc_Stored<T>::ReadField(visitor, field, value);
  } else {
    if (visitor.DataIsPresent(field) == 0) return;
    cls_ReadVisitor const object(visitor, field);
    dsc_CheckStoredClass<T>(object, dsc_Where{"", field.Name().View()});
    value = dsc_ConstructAtOnce<T>(object);
  }
}

/// The same for a sequence.
template <class T> constexpr void dsc_CheckPlainSequence() {
  static_assert(
      dsc_IsPlainSequence<T>,
      "only a sequence of plain values is one list: numbers, bool, enumerations, texts, complex numbers, "
      "durations, paths. Pass an array as a std::span, and describe a class that has other sequences");
}

/// One message for bytes that would be a list, because kvl::Read reads bytes from a blob.
template <class T> constexpr void dsc_CheckReadable() {
  if constexpr (dsc_IsPlainSequence<T>)
    static_assert(
        dsc_IsByteRun<T> || !dsc_IsBytes<std::vector<std::remove_cv_t<typename T::value_type>>>,
        "bytes are written from a std::vector or a std::span of them: they are a blob, and no list");
}

template <dsc_IsPlainSequence T>
void dsc_WriteValues(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& values,
                     cls_Uid const& uid) {
  using Element = std::remove_cv_t<typename T::value_type>;
  using Plain = typename dsc_PlainElement<Element>::Type;
  constexpr bool IsRun = std::is_same_v<Element, Plain> && !std::is_same_v<Plain, bool> && requires {
    { values.data() } -> std::convertible_to<Plain const*>;
  };
  if (values.size() > static_cast<std::size_t>(std::numeric_limits<int>::max()))
    dsc_Raise("", field.Name().View(), "a list has at most 2147483647 elements.");
  void const* address = &values;
  if constexpr (dsc_IsSpan<T>) address = values.data(); // that of what it shows
  auto const appendAll = [&values](cls_WriteListPrim<Plain>& builder) {
    if constexpr (IsRun) {
      if (!values.empty()) builder.AppendRun(static_cast<int>(values.size()), values.data());
    } else {
      for (Element const& value : values) builder.Append(dsc_ToPlain<Plain>(value));
    }
  };
  dsc_WriteList<Plain>(visitor, field, uid, address, 1, appendAll);
}

template <dsc_IsElement T, class Uid>
void dsc_ReadValues(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, std::vector<T>& values,
                    Uid& uid) {
  using Plain = typename dsc_PlainElement<T>::Type;
  if (visitor.DataIsPresent(field) == 0) return;
  cls_ReadVisitor const list(visitor, field);
  uid = list.GetUid();
  auto const cursor = dsc_ListCursor<Plain>(*list.Memento(), field);
  if (cursor->RowWidth() != 1 && cursor->Count() != 0)
    dsc_RaiseRows("", field.Name().View(), cursor->RowWidth(), 1);
  auto const count = static_cast<std::size_t>(cursor->Count());
  values.clear();
  if constexpr (std::is_same_v<T, Plain> && !std::is_same_v<T, bool>) {
    values.resize(count);
    if (count != 0) cursor->NextRun(static_cast<int>(count), values.data());
  } else {
    dsc_Where const where{"", field.Name().View()};
    values.reserve(count);
    while (cursor->More() != 0) values.push_back(dsc_FromPlain<T>(cursor->Next(), where));
  }
}

/// Leaves `bytes` and `uid` as they are if the field is absent.
template <class Bytes, class Uid>
void dsc_ReadBytes(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, Bytes& bytes, Uid& uid) {
  if (visitor.DataIsPresent(field) == 0) return;
  cls_ReadVisitor const blob(visitor, field);
  uid = blob.GetUid();
  dsc_ReadBlob(*blob.Memento(), bytes, dsc_Where{"", field.Name().View()});
}

namespace kvl {

/// What an attribute is declared as that has a value of type T, or a sequence of them.
template <class T> inline constexpr cls_AttributeType AttributeOf = dsc_DeclaredAs<T>::Attribute;
template <class T> inline constexpr cls_CollectionType CollectionOf = dsc_DeclaredAs<T>::Collection;

/// Writes a field. REQUIRES: the visitor is started.
template <class T> void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& value) {
  if constexpr (!dsc_IsScalar<T> && std::is_convertible_v<T const&, std::string_view>) {
    if constexpr (std::is_pointer_v<T>)
      visitor.Write(field, cow_String(value)); // may be null
    else
      visitor.Write(field, cow_String(std::string_view(value)));
  } else {
    dsc_CheckOneValue<T>();
    if constexpr (dsc_IsOneValue<T>) dsc_WriteValue(visitor, field, value);
  }
}

/// Reads a field into `value`.
template <class T> void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, T& value) {
  static_assert(!std::is_const_v<T>, "what is read needs a variable that can be assigned to");
  static_assert(!std::is_same_v<T, std::string_view>,
                "a std::string_view has no place for a text that is read");
  dsc_CheckOneValue<T>();
  if constexpr (dsc_IsOneValue<T>) dsc_ReadValue(visitor, field, value);
}

/// Writes a field that holds a list of values: std::vector, std::span, std::array ... of numbers, bool, enumerations,
/// texts, complex numbers, durations or paths. A std::vector or std::span of unsigned char or std::byte is a blob. `uid`
/// is the identity of the list or blob: a member of the class, of type cls_OwnUid if the class has one for itself.
template <class T>
void Write(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const& values,
           cls_Uid const& uid) {
  dsc_CheckPlainSequence<T>();
  dsc_CheckReadable<T>();
  if constexpr (dsc_IsByteRun<T>)
    dsc_WriteBlob(visitor, field, uid, values.data(), values.size());
  else if constexpr (dsc_IsPlainSequence<T>)
    dsc_WriteValues(visitor, field, values, uid);
}

/// Reads a list or a blob, and its identity into `uid`, a cls_OwnUid or cls_Uid.
template <class T, class Uid>
requires std::is_assignable_v<Uid&, cls_Uid const&>
void Read(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, std::vector<T>& values, Uid& uid) {
  dsc_CheckPlainSequence<std::vector<T>>();
  if constexpr (dsc_IsBytes<std::vector<T>>)
    dsc_ReadBytes(visitor, field, values, uid);
  else if constexpr (dsc_IsElement<T>)
    dsc_ReadValues(visitor, field, values, uid);
}

} // namespace kvl

#pragma once

#include "describe/dsc_Pointers.h"

// Members that write themselves into their fields, under identities of their own: wrappers and bulk arrays. Internal to
// describe/.

template <class T>
void dsc_WriteItself(cls_WriteVisitor const& parent, cls_FieldHandle const& field, T const& value) {
  cls_WriteVisitor const visitor(parent, field, nullptr, &value);
  if constexpr (cls_NeedsStartedVisitor<T>)
    if (visitor.StartWrite(T::TypeId(), value.Uid()) == 0) return;
  value.DBWrite(visitor);
}

/// Leaves `value` as it is if the field is absent. `Opened` is T, or the base class of it that is assigned.
template <class Opened, class T>
void dsc_ReadItself(cls_ReadVisitor const& parent, cls_FieldHandle const& field, T& value) {
  if (parent.DataIsPresent(field) == 0) return;
  cls_ReadVisitor const visitor(parent, field);
  if constexpr (std::is_constructible_v<Opened, cls_ReadVisitor const&>)
    static_cast<Opened&>(value) = Opened(visitor);
  else
    static_cast<Opened&>(value) = Opened(visitor, nullptr);
}

/// What such a type is declared as.
template <class T, cls_AttributeType TheAttribute, cls_CollectionType TheCollection, class Opened = T>
struct dsc_WritesItself : dsc_OneField<0> {
  using WritesItself = void;
  static constexpr cls_AttributeType Attribute = TheAttribute;
  static constexpr cls_CollectionType Collection = TheCollection;

  static void WriteField(cls_WriteVisitor const& parent, cls_FieldHandle const& field, T const& value) {
    dsc_WriteItself(parent, field, value);
  }
  static void ReadField(cls_ReadVisitor const& parent, cls_FieldHandle const& field, T& value) {
    dsc_ReadItself<Opened>(parent, field, value);
  }

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    to.Add<Name>(at, Attribute, Collection);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    WriteField(out.m_Visitor, Name::Handle(at.m_Number), value);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    ReadField(in.m_Visitor, Name::Handle(at.m_Number), value);
  }
};

/// The collection type of a table of T.
template <class T> inline constexpr cls_CollectionType dsc_TableCode = COLLECTION_TABLE;
template <> inline constexpr cls_CollectionType dsc_TableCode<double> = COLLECTION_TABLE_DOUBLE;
template <> inline constexpr cls_CollectionType dsc_TableCode<float> = COLLECTION_TABLE_FLOAT;
template <> inline constexpr cls_CollectionType dsc_TableCode<int> = COLLECTION_TABLE_INT;

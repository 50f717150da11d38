#pragma once

#include <tuple>
#include <utility>

#include "describe/dsc_Lists.h"

// Values of values in lists: a list of structs is stored as one list for each of their members, a list of lists as
// one list of lengths and one of all values. So how many objects a member takes in a store depends on its type and
// never on how many values it has.

/// How any number of values of type T is stored. A specialisation has
///
///     static constexpr int Fields;      // how many attributes; all are lists
///     static constexpr int Collections; // the same number
///     template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at);
///     // `forEach(act)` calls act with each value; it may be called several times.
///     template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach);
///     // The same, with values that exist already and are assigned to.
///     template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach);
///     // How many there are; -1 if the field is absent.
///     template <class Name> static long long Count(dsc_In const& in, dsc_Place at);
///
/// This form is for types that have none; see dsc_Stored.
template <class T> struct dsc_Column {
  using IsUnknown = void;
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;
  template <class Name> static void Declare(dsc_Declaring const&, dsc_Place) {}
  template <class Name, class ForEach> static void Write(dsc_Out const&, dsc_Place, ForEach) {}
  template <class Name, class ForEach> static void Read(dsc_In const&, dsc_Place, ForEach) {}
  template <class Name> static long long Count(dsc_In const&, dsc_Place) { return -1; }
};

template <class T>
concept dsc_HasColumn = !requires {
  typename dsc_Column<T>::IsUnknown;
};

/// The cursor over a list that a field holds, with rows of `RowWidth` elements. Raises nex_TextException for a list that has too few or too many
/// elements for the values that are read from it, or other rows.
template <class Name, class Plain, int RowWidth> class dsc_ColumnCursor {
 public:
  dsc_ColumnCursor(dsc_In const& in, dsc_Place at)
      : m_In(in), m_Stored(in, at, Name::Handle(at.m_Number)),
        m_Cursor(dsc_ListCursor<Plain>(*m_Stored.Memento(), Name::Handle(at.m_Number))) {
    dsc_CheckRows<Name>(in, *m_Cursor, RowWidth);
  }

  [[nodiscard]] Plain Next() {
    if (m_Cursor->More() == 0) RaiseLength();
    return m_Cursor->Next();
  }
  /// The same for elements that lie one after the other.
  void NextRun(Plain* run, long long count) {
    while (count > 0) {
      int const copied = m_Cursor->NextRun(static_cast<int>(count), run);
      if (copied <= 0) RaiseLength();
      run += copied;
      count -= copied;
    }
  }
  void CheckEnd() {
    if (m_Cursor->More() != 0) RaiseLength();
  }
  [[nodiscard]] long long Count() { return m_Cursor->Count(); }

 private:
  [[noreturn]] void RaiseLength() const {
    dsc_Raise(m_In.m_Class, Name::View(), "the stored list has another length than the lists beside it.");
  }

  dsc_In const& m_In;
  dsc_StoredCollection m_Stored;
  cls_Received<cls_ReadListPrim<Plain>> m_Cursor;
};

/// Numbers, texts and the like: one list. `RowWidth`: how many there are in each value of the list whose column this
/// is; the list notes it.
template <dsc_IsElement T> struct dsc_Column<T> {
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;
  using Plain = typename dsc_PlainElement<T>::Type;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_ForValue<T>(to).template Add<Name>(at, dsc_AttributeType<Plain>, dsc_ListCode<Plain>);
  }
  template <class Name, int RowWidth = 1, class ForEach>
  static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    dsc_WriteList<Name, Plain>(out, at, nullptr, RowWidth, [&](cls_WriteListPrim<Plain>& builder) {
      forEach([&builder](T const& value) { builder.Append(dsc_ToPlain<Plain>(value)); });
    });
  }
  template <class Name, int RowWidth = 1, class ForEach>
  static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    dsc_ColumnCursor<Name, Plain, RowWidth> cursor(in, at);
    forEach([&, where = in.Where<Name>()](T& value) { value = dsc_FromPlain<T>(cursor.Next(), where); });
    cursor.CheckEnd();
  }
  template <class Name, int RowWidth = 1> static long long Count(dsc_In const& in, dsc_Place at) {
    if (in.m_Visitor.DataIsPresent(Name::Handle(at.m_Number)) == 0) return -1;
    return dsc_ColumnCursor<Name, Plain, RowWidth>(in, {at.m_Number, dsc_NoCollection}).Count();
  }
};

/// Calls `act` with each element of a container, for reading elements that exist. Those of std::vector<bool> are no
/// objects, so they are read into one.
template <class Container, class Act> void dsc_ForEachElement(Container& container, Act act) {
  using Element = typename Container::value_type;
  if constexpr (std::is_same_v<Element, bool> && !std::is_const_v<Container>) {
    for (auto&& element : container) {
      bool value = element;
      act(value);
      element = value;
    }
  } else {
    for (auto&& element : container) act(element);
  }
}

/// A sequence whose elements can be made first and assigned to then.
template <class T>
concept dsc_IsResizable = dsc_IsSequence<T> && requires(T& container) {
  container.resize(std::size_t{});
};

/// std::array.
template <class T>
concept dsc_IsAnyArray = requires {
  typename T::value_type;
  std::tuple_size<T>::value;
  requires std::is_same_v < std::remove_cvref_t<decltype(std::declval<T&>()[0])>,
  typename T::value_type > ;
};
/// One that has elements. One that has none cannot be stored.
template <class T>
concept dsc_IsArray = dsc_IsAnyArray<T> &&(std::tuple_size<T>::value != 0);

/// How many numbers or texts a value of a fixed number of them has: one, an array of them, an array of those ...; 0 for
/// other types.
template <class T> inline constexpr int dsc_RowWidth = dsc_IsElement<T> ? 1 : 0;
template <dsc_IsArray T>
inline constexpr int
    dsc_RowWidth<T> = static_cast<int>(std::tuple_size<T>::value) * dsc_RowWidth<typename T::value_type>;
template <class T, std::size_t Length>
inline constexpr int dsc_RowWidth<T[Length]> = static_cast<int>(Length) * dsc_RowWidth<T>;

/// Values that store nothing leave nothing in a list, not even how many there are.
template <class Column> struct dsc_CountedColumn {
  static_assert(Column::Fields != 0,
                "a list of values that store nothing cannot be stored: how many there are would be lost");
};

/// Calls `act` with each element of an array.
struct dsc_InOrder {
  template <class Array, class Act> static void ForEach(Array& array, Act act) {
    for (auto& element : array) act(element);
  }
};

/// Arrays of type T, with elements of type ElementType: those of one after those of the other. Where the list has an
/// element for each of these, an array is one row. `Walk` knows the order of the elements.
template <class T, class ElementType, std::size_t Length, class Walk = dsc_InOrder> struct dsc_ArrayColumn {
  using Element = dsc_Column<ElementType>;
  static constexpr int Fields = Element::Fields;
  static constexpr int Collections = Element::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Element::template Declare<Name>(to, at);
  }
  template <class Name, int RowWidth = dsc_RowWidth<T>, class ForEach>
  static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    auto const forEachElement = [&](auto act) {
      forEach([&](T const& array) { Walk::ForEach(array, act); });
    };
    if constexpr (RowWidth != 0)
      Element::template Write<Name, RowWidth>(out, at, forEachElement);
    else
      Element::template Write<Name>(out, at, forEachElement);
  }
  template <class Name, int RowWidth = dsc_RowWidth<T>, class ForEach>
  static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    auto const forEachElement = [&](auto act) { forEach([&](T& array) { Walk::ForEach(array, act); }); };
    if constexpr (RowWidth != 0)
      Element::template Read<Name, RowWidth>(in, at, forEachElement);
    else
      Element::template Read<Name>(in, at, forEachElement);
  }
  template <class Name, int RowWidth = dsc_RowWidth<T>>
  static long long Count(dsc_In const& in, dsc_Place at) {
    long long const count = CountElements<Name, RowWidth>(in, at);
    return count < 0 ? count : count / static_cast<long long>(Length);
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Element>(each); }

 private:
  template <class Name, int RowWidth> static long long CountElements(dsc_In const& in, dsc_Place at) {
    if constexpr (RowWidth != 0)
      return Element::template Count<Name, RowWidth>(in, at);
    else
      return Element::template Count<Name>(in, at);
  }
};

template <dsc_IsArray T>
requires dsc_HasColumn<typename T::value_type>
struct dsc_Column<T> : dsc_ArrayColumn<T, typename T::value_type, std::tuple_size<T>::value> {
};

/// An array of the language, as the std::array of its elements.
template <class T, std::size_t Length>
requires dsc_HasColumn<T>
struct dsc_Column<T[Length]> : dsc_ArrayColumn<T[Length], T, Length> {
};

/// What several columns share: the first is `.lengths`, `.has` or `.kind`, an int or a bool for each value.
template <class Name, cow_LiteralChars Suffix, class Lead> struct dsc_LeadColumn {
  using Column = dsc_Column<Lead>;
  using LeadName = dsc_WithSuffix<Name, Suffix>;

  static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<LeadName>(to.WithoutUnit(), at);
  }
  /// `leadOf` returns a value's int or bool.
  template <class T, class ForEach, class LeadOf>
  static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach, LeadOf leadOf) {
    Column::template Write<LeadName>(
        out, at, [&](auto act) { forEach([&](T const& value) { act(static_cast<Lead>(leadOf(value))); }); });
  }
  /// `take` gets a value and its int or bool.
  template <class T, class ForEach, class Take>
  static void Read(dsc_In const& in, dsc_Place at, ForEach forEach, Take take) {
    Column::template Read<LeadName>(in, at, [&](auto act) {
      forEach([&](T& value) {
        Lead lead{};
        act(lead);
        take(value, lead);
      });
    });
  }
  static long long Count(dsc_In const& in, dsc_Place at) { return Column::template Count<LeadName>(in, at); }
};

/// Sequences: `.lengths`, and `.values` of all of them.
template <dsc_IsResizable T>
requires(dsc_HasColumn<typename T::value_type> && !dsc_IsBytes<T>) struct dsc_Column<T>
    : dsc_CountedColumn<dsc_Column<typename T::value_type>> {
  using Element = dsc_Column<typename T::value_type>;
  static constexpr int Fields = 1 + Element::Fields;
  static constexpr int Collections = 1 + Element::Collections;
  template <class Name> using Lengths = dsc_LeadColumn<Name, ".lengths", int>;
  template <class Name> using Values = dsc_WithSuffix<Name, ".values">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Lengths<Name>::Declare(to, at);
    Element::template Declare<Values<Name>>(to, at.Plus(1, 1));
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    Lengths<Name>::template Write<T>(out, at, forEach, [](T const& list) { return list.size(); });
    Element::template Write<Values<Name>>(out, at.Plus(1, 1), [&](auto act) {
      forEach([&](T const& list) { dsc_ForEachElement(list, act); });
    });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    long long left = Element::template Count<Values<Name>>(in, at.Plus(1, 1));
    Lengths<Name>::template Read<T>(in, at, forEach, [&](T& list, int length) {
      if (length < 0 || length > left) dsc_RaiseValue(in.m_Class, Name::View(), length);
      left -= length;
      list.clear();
      list.resize(static_cast<std::size_t>(length));
    });
    Element::template Read<Values<Name>>(
        in, at.Plus(1, 1), [&](auto act) { forEach([&](T& list) { dsc_ForEachElement(list, act); }); });
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Lengths<Name>::Count(in, at);
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Element>(each); }
};

/// Optional values: `.has`, and the `.value` of each that has one.
template <dsc_IsOptional T>
requires dsc_HasColumn<typename T::value_type>
struct dsc_Column<T> {
  using Element = dsc_Column<typename T::value_type>;
  static constexpr int Fields = 1 + Element::Fields;
  static constexpr int Collections = 1 + Element::Collections;
  template <class Name> using Has = dsc_LeadColumn<Name, ".has", bool>;
  template <class Name> using Value = dsc_WithSuffix<Name, ".value">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Has<Name>::Declare(to, at);
    Element::template Declare<Value<Name>>(to, at.Plus(1, 1));
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    Has<Name>::template Write<T>(out, at, forEach, [](T const& value) { return value.has_value(); });
    Element::template Write<Value<Name>>(out, at.Plus(1, 1), [&](auto act) {
      forEach([&](T const& value) {
        if (value.has_value()) act(*value);
      });
    });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    Has<Name>::template Read<T>(in, at, forEach, [](T& value, bool has) {
      value.reset();
      if (has) value.emplace();
    });
    Element::template Read<Value<Name>>(in, at.Plus(1, 1), [&](auto act) {
      forEach([&](T& value) {
        if (value.has_value()) act(*value);
      });
    });
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Has<Name>::Count(in, at);
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Element>(each); }
};

/// Objects behind pointers: a list of objects.
template <dsc_IsPointer T> struct dsc_Column<T> {
  using Object = typename dsc_HeldObject<T>::Type;
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckPersisted<Object>();
    to.Add<Name>(at, dsc_ObjectsType<T>, COLLECTION_OBJ);
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    dsc_WriteObjects<Name>(
        out, at, false, [&](auto write) { forEach([&](T const& pointer) { write(dsc_ToOwner(pointer)); }); });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    dsc_StoredCollection const stored(in, at, Name::Handle(at.m_Number));
    cls_Received<cls_ReadListObj> const cursor(stored.Memento()->MakeReadListObj());
    auto const check = [&](bool fits) {
      if (!fits)
        dsc_Raise(in.m_Class, Name::View(), "the stored list has another length than the lists beside it.");
    };
    forEach([&](T& pointer) {
      check(cursor->More() != 0);
      pointer = dsc_Construct<dsc_OwnerOf<T>>(cls_ReadVisitor(cursor->Next()));
    });
    check(cursor->More() == 0);
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    cls_FieldHandle const field = Name::Handle(at.m_Number);
    if (in.m_Visitor.DataIsPresent(field) == 0) return -1;
    cls_ReadVisitor const list(in.m_Visitor, field);
    return cls_Received<cls_ReadListObj>(list.Memento()->MakeReadListObj())->Count();
  }
  template <class Each> static void DeclareHeld(Each const& each) { each.template operator()<Object>(); }
};

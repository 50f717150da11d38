#pragma once

#include <vector>

#include "describe/dsc_Columns.h"
#include "describe/dsc_Coverage.h"
#include "describe/dsc_Maps.h"
#include "describe/dsc_Options.h"

// Members that are values of values: structs with KVL_VALUE, pairs, tuples, arrays, complex numbers, lists and maps
// of them. Alone, the parts of a value are attributes under dotted names; in lists they are columns (dsc_Columns.h).

// --- The parts of a value: for each, its name, its type, and how to get it.

/// A struct with KVL_VALUE: it has no identity, and is a part of what holds it.
template <class T>
concept dsc_IsStruct = requires {
  typename T::kvl_Value;
};
template <class T>
concept dsc_IsPair = requires {
  typename T::first_type;
  typename T::second_type;
};
template <class T>
concept dsc_IsTuple = !dsc_IsPair<T> && !dsc_IsAnyArray<T> && requires {
  std::tuple_size<T>::value;
};
/// An entry of a map, as a value.
template <class Key, class Value> struct dsc_Entry {
  using kvl_Self = dsc_Entry;
  using kvl_Value = void;
  static constexpr void Describe(auto& field) {
    field(dsc_Name<"key">(), &dsc_Entry::m_Key);
    field(dsc_Name<"value">(), &dsc_Entry::m_Value);
  }
  Key m_Key{};
  Value m_Value{};
};

template <class T>
concept dsc_HasParts = dsc_IsStruct<T> || dsc_IsPair<T> || dsc_IsTuple<T>;

template <std::size_t Index> consteval auto dsc_IndexName() {
  static_assert(Index < 100, "a tuple or variant has at most 100 types");
  if constexpr (Index < 10) {
    char const chars[] = {static_cast<char>('0' + Index), 0};
    return cow_LiteralChars(chars);
  } else {
    char const chars[] = {static_cast<char>('0' + Index / 10), static_cast<char>('0' + Index % 10), 0};
    return cow_LiteralChars(chars);
  }
}

template <class Prefix, class Name> struct dsc_PartName;
template <class Prefix, cow_LiteralChars Text> struct dsc_PartName<Prefix, dsc_Name<Text>> {
  using Type = dsc_WithSuffix<dsc_WithSuffix<Prefix, ".">, Text>;
};
/// dsc_Name<"m_Point"> and dsc_Name<"x"> are dsc_Name<"m_Point.x">.
template <class Prefix, class Name> using dsc_Part = typename dsc_PartName<Prefix, Name>::Type;

/// The visitor of a struct's Describe: calls `act` with each part.
template <class T, class Act> class dsc_EachMember {
 public:
  constexpr explicit dsc_EachMember(Act const& act) : m_Act(act) {}
  template <class Name, class Member, class Owner, class... Options>
  constexpr void operator()(Name name, Member Owner::*member, Options const&...) {
    static_assert(std::is_same_v<Owner, T>,
                  "the Describe of a KVL_VALUE describes the members of its own struct");
    constexpr int Transients = dsc_CountOf<dsc_OptionKind::Transient, Options...>;
    constexpr int Units = dsc_CountOf<dsc_OptionKind::Unit, Options...>;
    static_assert(
        sizeof...(Options) == Transients + Units && Units <= 1 - Transients,
        "a member of a KVL_VALUE has no options but kvl::Transient or kvl::Unit: what changes is said where a "
        "class holds the value");
    if constexpr (Transients == 0)
      m_Act(
          name, std::type_identity<Member>(), [member](auto& value) -> auto& { return value.*member; });
  }

 private:
  Act const& m_Act;
};

/// Calls `act(name, std::type_identity<Part>(), get)` for each part of a value, in their order.
template <dsc_HasParts T, class Act> constexpr void dsc_ForEachPart(Act const& act) {
  if constexpr (dsc_IsStruct<T>) {
    dsc_EachMember<T, Act> field(act);
    T::Describe(field);
  } else if constexpr (dsc_IsPair<T>) {
    act(
        dsc_Name<"first">(), std::type_identity<typename T::first_type>(),
        [](auto& value) -> auto& { return value.first; });
    act(
        dsc_Name<"second">(), std::type_identity<typename T::second_type>(),
        [](auto& value) -> auto& { return value.second; });
  } else {
    [&]<std::size_t... Index>(std::index_sequence<Index...>) {
      (act(
           dsc_Name<dsc_IndexName<Index>()>(), std::type_identity<std::tuple_element_t<Index, T>>(),
           [](auto& value) -> auto& { return std::get<Index>(value); }),
       ...);
    }
    (std::make_index_sequence<std::tuple_size<T>::value>());
  }
}

struct dsc_Sizes {
  int m_Fields = 0;
  int m_Collections = 0;
};
/// What the parts of a value take together, each by its dsc_Stored or its dsc_Column.
template <class T, template <class> class Of> [[nodiscard]] consteval dsc_Sizes dsc_SizesOf() {
  dsc_Sizes sizes;
  dsc_ForEachPart<T>([&sizes]<class Part>(auto, std::type_identity<Part>, auto) {
    sizes.m_Fields += Of<Part>::Fields;
    sizes.m_Collections += Of<Part>::Collections;
  });
  return sizes;
}

/// The visitor of a struct's Describe that notes the bytes of its members.
template <class T> class dsc_StructCoverage {
 public:
  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*member, Options const&...) {
    m_Coverage.Add(dsc_OffsetIn<T>([member](T const& value) { return &(value.*member); }), sizeof(Member),
                   alignof(Member));
  }
  [[nodiscard]] dsc_Coverage const& Coverage() const noexcept { return m_Coverage; }

 private:
  dsc_Coverage m_Coverage;
};

/// Raises nex_TextException if bytes of a struct belong to no member that is described.
template <class T> void dsc_CheckStruct(dsc_Declaring const& to, std::string_view field) {
  if constexpr (dsc_IsStruct<T>) {
    dsc_StructCoverage<T> members;
    T::Describe(members);
    dsc_CheckCoverage(to.m_Metadata.Name().CharsOrEmpty(), field, members.Coverage(), sizeof(T), alignof(T));
  }
}

/// The unit of a map is that of its values.
template <class T, class Sub> inline constexpr bool dsc_IsKeyOf = false;
template <class Key, class Value>
inline constexpr bool dsc_IsKeyOf<dsc_Entry<Key, Value>, dsc_Name<"key">> = true;

/// The visitor of a struct's Describe that finds what is said of the unit of one member.
template <class Sub> struct dsc_PartUnit {
  template <class Name, class Member, class Owner, class... Options>
  void operator()(Name, Member Owner::*, Options const&... options) {
    if constexpr (std::is_same_v<Name, Sub>) m_Unit = dsc_UnitOf(options...);
  }
  dsc_UnitText m_Unit;
};

/// Declares a part of a value T under `Name`: in its own unit if one is said, and in that of the whole value otherwise.
/// `Storage`: the part's dsc_Stored or dsc_Column.
template <class T, class Sub, class Storage, class Name>
void dsc_DeclarePart(dsc_Declaring const& to, dsc_Place at) {
  dsc_PartUnit<Sub> part;
  if constexpr (dsc_IsStruct<T>) T::Describe(part);
  if (part.m_Unit.m_Text == nullptr)
    return Storage::template Declare<Name>(dsc_IsKeyOf<T, Sub> ? to.WithoutUnit() : to, at);
  dsc_Declaring const toPart = to.With(part.m_Unit);
  Storage::template Declare<Name>(toPart, at);
  dsc_CheckUnit(toPart, Name::View());
}

// --- A value alone, and a column of values.

template <dsc_HasParts T> struct dsc_Stored<T> {
  static constexpr dsc_Sizes Sizes = dsc_SizesOf<T, dsc_Stored>();
  static constexpr int Fields = Sizes.m_Fields;
  static constexpr int Collections = Sizes.m_Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckStruct<T>(to, Name::View());
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto) {
      static_assert(dsc_Storable<Part>, "a part of this type in a value cannot be stored");
      dsc_DeclarePart<T, Sub, dsc_Stored<Part>, dsc_Part<Name, Sub>>(to, at);
      at = at.Plus(dsc_Stored<Part>::Fields, dsc_Stored<Part>::Collections);
    });
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto get) {
      dsc_Stored<Part>::template Write<dsc_Part<Name, Sub>>(out, at, get(value));
      at = at.Plus(dsc_Stored<Part>::Fields, dsc_Stored<Part>::Collections);
    });
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto get) {
      dsc_Stored<Part>::template Read<dsc_Part<Name, Sub>>(in, at, get(value));
      at = at.Plus(dsc_Stored<Part>::Fields, dsc_Stored<Part>::Collections);
    });
  }
  /// One of its parts is.
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    bool isPresent = false;
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto) {
      isPresent = isPresent || dsc_Stored<Part>::template IsPresent<dsc_Part<Name, Sub>>(in, at);
      at = at.Plus(dsc_Stored<Part>::Fields, dsc_Stored<Part>::Collections);
    });
    return isPresent;
  }
  template <class Each> static void DeclareHeld(Each const& each) {
    dsc_ForEachPart<T>(
        [&]<class Part>(auto, std::type_identity<Part>, auto) { dsc_DeclareHeldOf<dsc_Stored<Part>>(each); });
  }
};

template <dsc_HasParts T> struct dsc_Column<T> {
  static constexpr dsc_Sizes Sizes = dsc_SizesOf<T, dsc_Column>();
  static constexpr int Fields = Sizes.m_Fields;
  static constexpr int Collections = Sizes.m_Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_CheckStruct<T>(to, Name::View());
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto) {
      static_assert(dsc_HasColumn<Part>, "a part of this type in a list of values cannot be stored");
      dsc_DeclarePart<T, Sub, dsc_Column<Part>, dsc_Part<Name, Sub>>(to, at);
      at = at.Plus(dsc_Column<Part>::Fields, dsc_Column<Part>::Collections);
    });
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto get) {
      dsc_Column<Part>::template Write<dsc_Part<Name, Sub>>(
          out, at, [&](auto act) { forEach([&](T const& value) { act(get(value)); }); });
      at = at.Plus(dsc_Column<Part>::Fields, dsc_Column<Part>::Collections);
    });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto get) {
      using Column = dsc_Column<Part>;
      using PartName = dsc_Part<Name, Sub>;
      // A part that the struct did not have when the list was written stays as it is initialised.
      if (Column::template Count<PartName>(in, at) >= 0)
        Column::template Read<PartName>(in, at,
                                        [&](auto act) { forEach([&](T& value) { act(get(value)); }); });
      at = at.Plus(Column::Fields, Column::Collections);
    });
  }
  /// That of the first part that is stored.
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    long long count = -1;
    dsc_ForEachPart<T>([&]<class Sub, class Part>(Sub, std::type_identity<Part>, auto) {
      if (count < 0) count = dsc_Column<Part>::template Count<dsc_Part<Name, Sub>>(in, at);
      at = at.Plus(dsc_Column<Part>::Fields, dsc_Column<Part>::Collections);
    });
    return count;
  }
  template <class Each> static void DeclareHeld(Each const& each) {
    dsc_ForEachPart<T>(
        [&]<class Part>(auto, std::type_identity<Part>, auto) { dsc_DeclareHeldOf<dsc_Column<Part>>(each); });
  }
};

// --- Lists, arrays and maps of values as members.

/// What a list of `Element` is stored as, beside lists that have an element type of their own.
template <class Element>
concept dsc_IsColumnElement =
    dsc_HasColumn<Element> && !dsc_IsElement<Element> && !dsc_IsHeld<Element> && !dsc_IsWeak<Element>;

template <dsc_IsResizable T>
requires dsc_IsColumnElement<typename T::value_type>
struct dsc_Stored<T> : dsc_CountedColumn<dsc_Column<typename T::value_type>> {
  using Column = dsc_Column<typename T::value_type>;
  static constexpr int Fields = Column::Fields;
  static constexpr int Collections = Column::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& container) {
    Column::template Write<Name>(out, at, [&container](auto act) { dsc_ForEachElement(container, act); });
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Column::template Count<Name>(in, at) >= 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& container) {
    long long const count = Column::template Count<Name>(in, at);
    if (count < 0) return;
    container.clear();
    container.resize(static_cast<std::size_t>(count));
    Column::template Read<Name>(in, at, [&container](auto act) { dsc_ForEachElement(container, act); });
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Column>(each); }
};

/// An array is a list of its elements.
template <class T>
requires(dsc_IsArray<T> || std::is_array_v<T>) && dsc_HasColumn<T> struct dsc_Stored<T> {
  using Element = std::remove_cvref_t<decltype(std::declval<T&>()[0])>;
  using Column = dsc_Column<Element>;
  static constexpr int Fields = Column::Fields;
  static constexpr int Collections = Column::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& array) {
    Column::template Write<Name>(out, at, [&array](auto act) {
      for (Element const& element : array) act(element);
    });
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Column::template Count<Name>(in, at) >= 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& array) {
    if (IsPresent<Name>(in, at))
      Column::template Read<Name>(in, at, [&array](auto act) {
        for (Element& element : array) act(element);
      });
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Column>(each); }
};

/// Containers whose elements cannot be assigned to, and what those are as values.
template <class T> struct dsc_Buffered { using Element = void; };
template <dsc_IsMap T> struct dsc_Buffered<T> {
  using Element = dsc_Entry<typename T::key_type, typename T::mapped_type>;
};
template <dsc_IsSequence T>
requires(!dsc_IsResizable<T>) struct dsc_Buffered<T> {
  using Element = typename T::value_type;
};

template <class T>
concept dsc_IsBuffered = (dsc_IsMap<T> || (dsc_IsSequence<T> && !dsc_IsResizable<T>)) &&
                         dsc_HasColumn<typename dsc_Buffered<T>::Element>;

template <class T> [[nodiscard]] auto dsc_ToBuffer(T const& container) {
  std::vector<typename dsc_Buffered<T>::Element> buffer;
  buffer.reserve(container.size());
  if constexpr (dsc_IsMap<T>)
    dsc_ForEachSorted(container, [&](auto const& entry) { buffer.push_back({entry.first, entry.second}); });
  else
    for (auto const& element : container) buffer.push_back(element);
  return buffer;
}

template <class T>
void dsc_FromBuffer(std::vector<typename dsc_Buffered<T>::Element>&& buffer, T& container,
                    dsc_Where const& where) {
  container.clear();
  for (auto& element : buffer) {
    if constexpr (dsc_IsMap<T>)
      container.emplace(std::move(element.m_Key), std::move(element.m_Value));
    else
      container.insert(container.end(), std::move(element));
  }
  if (container.size() != buffer.size())
    dsc_Raise(where.m_Class, where.m_Field, "two stored elements are one here.");
}

template <dsc_IsBuffered T> struct dsc_Column<T> {
  using Buffer = std::vector<typename dsc_Buffered<T>::Element>;
  using Column = dsc_Column<Buffer>;
  static constexpr int Fields = Column::Fields;
  static constexpr int Collections = Column::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    Column::template Write<Name>(
        out, at, [&](auto act) { forEach([&](T const& container) { act(dsc_ToBuffer(container)); }); });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    std::vector<Buffer> buffers;
    forEach([&](T&) { buffers.emplace_back(); });
    Column::template Read<Name>(in, at, [&](auto act) { dsc_ForEachElement(buffers, act); });
    std::size_t next = 0;
    forEach([&](T& container) { dsc_FromBuffer(std::move(buffers[next++]), container, in.Where<Name>()); });
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Column::template Count<Name>(in, at);
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Column>(each); }
};

/// Maps and sets that are no map or list of the format: as a list of their entries.
template <class T>
requires dsc_IsBuffered<T> &&
    ((dsc_IsMap<T> && !(dsc_IsKey<typename T::key_type> &&
                        (dsc_IsMapValue<typename T::mapped_type> || dsc_IsHeld<typename T::mapped_type>))) ||
     (!dsc_IsMap<T> && dsc_IsColumnElement<typename T::value_type>)) struct dsc_Stored<T> {
  using Buffer = std::vector<typename dsc_Buffered<T>::Element>;
  using Stored = dsc_Stored<Buffer>;
  static constexpr int Fields = Stored::Fields;
  static constexpr int Collections = Stored::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Stored::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& container) {
    Stored::template Write<Name>(out, at, dsc_ToBuffer(container));
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Stored::template IsPresent<Name>(in, at);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& container) {
    if (!IsPresent<Name>(in, at)) return;
    Buffer buffer;
    Stored::template Read<Name>(in, at, buffer);
    dsc_FromBuffer(std::move(buffer), container, in.Where<Name>());
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Stored>(each); }
};

// --- Complex numbers and optional values as members.

template <dsc_IsComplex T> struct dsc_Stored<T> {
  using Number = dsc_Stored<typename T::value_type>;
  static constexpr int Fields = 2;
  static constexpr int Collections = 0;
  template <class Name> using Re = dsc_WithSuffix<Name, ".re">;
  template <class Name> using Im = dsc_WithSuffix<Name, ".im">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Number::template Declare<Re<Name>>(to, at);
    Number::template Declare<Im<Name>>(to, at.Plus(1, 0));
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    Number::template Write<Re<Name>>(out, at, value.real());
    Number::template Write<Im<Name>>(out, at.Plus(1, 0), value.imag());
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Number::template IsPresent<Re<Name>>(in, at);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    typename T::value_type re = value.real();
    typename T::value_type im = value.imag();
    Number::template Read<Re<Name>>(in, at, re);
    Number::template Read<Im<Name>>(in, at.Plus(1, 0), im);
    value = T(re, im);
  }
};

/// `.has`, and `.value` if it is true.
template <dsc_IsOptional T>
requires(!dsc_IsScalar<typename T::value_type> && dsc_Storable<typename T::value_type>) struct dsc_Stored<T> {
  using Has = dsc_Stored<bool>;
  using Value = dsc_Stored<typename T::value_type>;
  static constexpr int Fields = 1 + Value::Fields;
  static constexpr int Collections = Value::Collections;
  template <class Name> using HasName = dsc_WithSuffix<Name, ".has">;
  template <class Name> using ValueName = dsc_WithSuffix<Name, ".value">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Has::template Declare<HasName<Name>>(to, at);
    Value::template Declare<ValueName<Name>>(to.Optional(), at.Plus(1, 0));
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    Has::template Write<HasName<Name>>(out, at, value.has_value());
    if (value.has_value()) Value::template Write<ValueName<Name>>(out, at.Plus(1, 0), *value);
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Has::template IsPresent<HasName<Name>>(in, at);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    bool has = false;
    Has::template Read<HasName<Name>>(in, at, has);
    value.reset();
    if (has) Value::template Read<ValueName<Name>>(in, at.Plus(1, 0), value.emplace());
  }
  template <class Each> static void DeclareHeld(Each const& each) { dsc_DeclareHeldOf<Value>(each); }
};

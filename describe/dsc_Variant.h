#pragma once

#include <variant>

#include "describe/dsc_Described.h"

// Members of type std::variant. Include this header beside dsc_Described.h. Alone, a variant is `.kind`, the index of
// its alternative, and the alternative under its index: `.0`, `.1` ... In lists it is a column `.kind` and a column for
// each alternative, which has the values of those elements that are it. std::monostate takes no attribute.

template <class T> inline constexpr bool dsc_IsVariant = false;
template <class... Types> inline constexpr bool dsc_IsVariant<std::variant<Types...>> = true;

/// std::monostate has no parts.
template <> struct dsc_Stored<std::monostate> {
  static constexpr int Fields = 0;
  static constexpr int Collections = 0;
  template <class Name> static void Declare(dsc_Declaring const&, dsc_Place) {}
  template <class Name> static void Write(dsc_Out const&, dsc_Place, std::monostate const&) {}
  template <class Name> static bool IsPresent(dsc_In const&, dsc_Place) { return true; }
  template <class Name> static void Read(dsc_In const&, dsc_Place, std::monostate&) {}
};
template <> struct dsc_Column<std::monostate> {
  static constexpr int Fields = 0;
  static constexpr int Collections = 0;
  template <class Name> static void Declare(dsc_Declaring const&, dsc_Place) {}
  template <class Name, class ForEach> static void Write(dsc_Out const&, dsc_Place, ForEach) {}
  template <class Name, class ForEach> static void Read(dsc_In const&, dsc_Place, ForEach) {}
  template <class Name> static long long Count(dsc_In const&, dsc_Place) { return -1; }
};

/// Calls `act.template operator()<Index>()` for each alternative.
template <class T, class Act> constexpr void dsc_ForEachAlternative(Act const& act) {
  [&]<std::size_t... Index>(std::index_sequence<Index...>) {
    (act.template operator()<Index>(), ...);
  }
  (std::make_index_sequence<std::variant_size_v<T>>());
}

template <class T, template <class> class Of> [[nodiscard]] consteval dsc_Sizes dsc_SizesOfAlternatives() {
  dsc_Sizes sizes;
  dsc_ForEachAlternative<T>([&sizes]<std::size_t Index>() {
    sizes.m_Fields += Of<std::variant_alternative_t<Index, T>>::Fields;
    sizes.m_Collections += Of<std::variant_alternative_t<Index, T>>::Collections;
  });
  return sizes;
}

template <class T>
requires dsc_IsVariant<T>
struct dsc_PartsLeadTo<T> {
  static constexpr bool Value = [] {
    bool leads = false;
    dsc_ForEachAlternative<T>([&leads]<std::size_t Index>() {
      leads = leads || dsc_LeadsTo<std::variant_alternative_t<Index, T>>();
    });
    return leads;
  }();
};

/// Makes the value an alternative, with its default value; false for an index that there is not.
template <class T> [[nodiscard]] bool dsc_EmplaceAlternative(T& value, int index) {
  bool isThere = false;
  dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
    if (static_cast<int>(Index) != index) return;
    value.template emplace<Index>();
    isThere = true;
  });
  return isThere;
}

template <class Name, std::size_t Index>
using dsc_Alternative = dsc_Part<Name, dsc_Name<dsc_IndexName<Index>()>>;

template <class T>
requires dsc_IsVariant<T>
struct dsc_Stored<T> {
  static constexpr dsc_Sizes Sizes = dsc_SizesOfAlternatives<T, dsc_Stored>();
  static constexpr int Fields = 1 + Sizes.m_Fields;
  static constexpr int Collections = Sizes.m_Collections;
  template <std::size_t Index> using Stored = dsc_Stored<std::variant_alternative_t<Index, T>>;
  template <class Name> using KindName = dsc_WithSuffix<Name, ".kind">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    dsc_Stored<int>::template Declare<KindName<Name>>(to.WithoutUnit(), at);
    dsc_Place next = at.Plus(1, 0);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      static_assert(dsc_Storable<std::variant_alternative_t<Index, T>>,
                    "an alternative of this type in a std::variant cannot be stored");
      Stored<Index>::template Declare<dsc_Alternative<Name, Index>>(to.Optional(), next);
      next = next.Plus(Stored<Index>::Fields, Stored<Index>::Collections);
    });
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    if (value.valueless_by_exception())
      dsc_Raise(out.m_Class, Name::View(),
                "the std::variant has no value, because an assignment to it failed.");
    dsc_Stored<int>::template Write<KindName<Name>>(out, at, static_cast<int>(value.index()));
    dsc_Place next = at.Plus(1, 0);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      if (value.index() == Index)
        Stored<Index>::template Write<dsc_Alternative<Name, Index>>(out, next, std::get<Index>(value));
      next = next.Plus(Stored<Index>::Fields, Stored<Index>::Collections);
    });
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return dsc_Stored<int>::template IsPresent<KindName<Name>>(in, at);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    if (!IsPresent<Name>(in, at)) return;
    int kind = 0;
    dsc_Stored<int>::template Read<KindName<Name>>(in, at, kind);
    if (!dsc_EmplaceAlternative(value, kind)) dsc_RaiseValue(in.m_Class, Name::View(), kind);
    dsc_Place next = at.Plus(1, 0);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      if (value.index() == Index)
        Stored<Index>::template Read<dsc_Alternative<Name, Index>>(in, next, std::get<Index>(value));
      next = next.Plus(Stored<Index>::Fields, Stored<Index>::Collections);
    });
  }
  template <class Each> static void DeclareHeld(Each const& each) {
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() { dsc_DeclareHeldOf<Stored<Index>>(each); });
  }
};

template <class T>
requires dsc_IsVariant<T>
struct dsc_Column<T> {
  static constexpr dsc_Sizes Sizes = dsc_SizesOfAlternatives<T, dsc_Column>();
  static constexpr int Fields = 1 + Sizes.m_Fields;
  static constexpr int Collections = 1 + Sizes.m_Collections;
  template <std::size_t Index> using Column = dsc_Column<std::variant_alternative_t<Index, T>>;
  template <class Name> using Kinds = dsc_LeadColumn<Name, ".kind", int>;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Kinds<Name>::Declare(to, at);
    dsc_Place next = at.Plus(1, 1);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      Column<Index>::template Declare<dsc_Alternative<Name, Index>>(to, next);
      next = next.Plus(Column<Index>::Fields, Column<Index>::Collections);
    });
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    forEach([&](T const& value) {
      if (value.valueless_by_exception())
        dsc_Raise(out.m_Class, Name::View(),
                  "a std::variant has no value, because an assignment to it failed.");
    });
    Kinds<Name>::template Write<T>(out, at, forEach, [](T const& value) { return value.index(); });
    dsc_Place next = at.Plus(1, 1);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      Column<Index>::template Write<dsc_Alternative<Name, Index>>(out, next, [&](auto act) {
        forEach([&](T const& value) {
          if (value.index() == Index) act(std::get<Index>(value));
        });
      });
      next = next.Plus(Column<Index>::Fields, Column<Index>::Collections);
    });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    Kinds<Name>::template Read<T>(in, at, forEach, [&](T& value, int kind) {
      if (!dsc_EmplaceAlternative(value, kind)) dsc_RaiseValue(in.m_Class, Name::View(), kind);
    });
    dsc_Place next = at.Plus(1, 1);
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() {
      Column<Index>::template Read<dsc_Alternative<Name, Index>>(in, next, [&](auto act) {
        forEach([&](T& value) {
          if (value.index() == Index) act(std::get<Index>(value));
        });
      });
      next = next.Plus(Column<Index>::Fields, Column<Index>::Collections);
    });
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Kinds<Name>::Count(in, at);
  }
  template <class Each> static void DeclareHeld(Each const& each) {
    dsc_ForEachAlternative<T>([&]<std::size_t Index>() { dsc_DeclareHeldOf<Column<Index>>(each); });
  }
};

#pragma once

#include <bit>
#include <cstdint>
#include <cstring>
#include <limits>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "tests/support/HeldFunction.h"
#include "tests/support/backend/StoredList.h"
#include "tests/support/store/StoreCollections.h"
#include "tests/support/wrappers/KeyedWrapperCases.h"
#include "tests/support/wrappers/WrapperCases.h"
#include "wrappers/cls_xoMap.h"
#include "wrappers/cls_xp2DArray.h"
#include "wrappers/cls_xpListCode.h"
#include "wrappers/cls_xpMapCode.h"

// A uniform interface to all container wrappers for tests that store them: each is made from a run of
// elements, which maps and trees hold under the keys WrapperKey(0) and up.

inline cow_String WrapperKey(int index) {
  return cow_String("key " +
                    std::to_string(static_cast<std::int64_t>(index) * 7919 % 1'000'003)); // unordered
}

/// Extreme values of each type, and unusual texts.
template <class T> std::vector<T> ExtremeElements() {
  std::vector<T> values;
  if constexpr (std::is_same_v<T, float>) {
    for (std::uint32_t const bits :
         {0x00000000U, 0x80000000U, 0x00000001U, 0x807FFFFFU, 0x00800000U, 0x7F7FFFFFU, 0xFF7FFFFFU,
          0x7F800000U, 0xFF800000U, 0x7FC00000U, 0xFFC12345U, 0x7F812345U, 0xFF800001U})
      values.push_back(std::bit_cast<float>(bits));
  } else if constexpr (std::is_same_v<T, double>) {
    for (std::uint64_t const bits :
         {0x0000000000000000ULL, 0x8000000000000000ULL, 0x0000000000000001ULL, 0x800FFFFFFFFFFFFFULL,
          0x0010000000000000ULL, 0x7FEFFFFFFFFFFFFFULL, 0xFFEFFFFFFFFFFFFFULL, 0x7FF0000000000000ULL,
          0xFFF0000000000000ULL, 0x7FF8000000000000ULL, 0xFFF8123456789ABCULL, 0x7FF0123456789ABCULL})
      values.push_back(std::bit_cast<double>(bits));
  } else if constexpr (std::is_same_v<T, cow_String>) {
    values = {cow_String(),
              ""_cow,
              cow_String(std::string_view("\0", 1)),
              cow_String(std::string_view("\0a\0\0b\0", 6)),
              "\n"_cow,
              "a\r\nb\n\n"_cow,
              "\xC3\xA4\xE2\x82\xAC\xF0\x9F\x94\xA7"_cow, // two, three and four bytes a character
              "\xFF\xFE\x80"_cow,                         // not UTF-8
              cow_String(std::string(70'000, 'l')),
              cow_String(std::string(3'000'000, '\n'))};
  } else {
    using Limits = std::numeric_limits<T>;
    values = {Limits::min(), static_cast<T>(Limits::min() + 1), static_cast<T>(-1), T(0),
              T(1),          static_cast<T>(Limits::max() - 1), Limits::max()};
  }
  return values;
}

/// Bitwise equality; no text differs from empty text.
template <class T> bool IsSameElement(T const& a, T const& b) {
  if constexpr (std::is_same_v<T, cow_String>)
    return a.HasText() == b.HasText() && a.View() == b.View();
  else
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

/// Allocations of buffers (arrays, tables, share counts) and of objects (entries of maps).
using WrapperAllocations = std::pair<long long, long long>;

/// Arrays and lists: `Base` is a case of WrapperCases.h.
template <class Base> struct StoredSequence : Base {
  using Element = typename Base::Element;
  using Container = typename Base::Container;
  using Wrapper = typename Base::Wrapper;
  static constexpr cls_CollectionType Code = cls_xpListCode<Element>;

  static Wrapper MakeWrapper(std::vector<Element> const& values) { return FromCow(Base::Make(values)); }
  template <class Visit> static void ForEach(Wrapper const& wrapper, Visit visit) {
    if constexpr (requires { wrapper.Iterator(); })
      for (auto i = wrapper.Iterator(); !i.AtEnd(); i.Next()) visit(cow_String(), i.ConstGet());
    else if constexpr (requires { wrapper.Count(); })
      for (int i = 0; i < wrapper.Count(); ++i) visit(cow_String(), wrapper.ConstGet(i));
    else
      for (int i = 0; i < wrapper.Length(); ++i) visit(cow_String(), wrapper.ConstGet(i));
  }
  static void Write(Wrapper& wrapper) {
    if constexpr (requires { wrapper.Get(0); })
      wrapper.Get(0) = Element();
    else
      wrapper.Append(Element());
  }
  static std::int64_t ObjectsOf(int) { return 1; }
  static WrapperAllocations OneCopyOf(int) { return {1, 0}; }
};

template <class T, class W> struct StoredTable {
  using Element = T;
  using Container = cow_2DArray<T>;
  using Wrapper = W;
  static constexpr cls_CollectionType Code = std::is_same_v<T, double>  ? COLLECTION_TABLE_DOUBLE
                                             : std::is_same_v<T, float> ? COLLECTION_TABLE_FLOAT
                                                                        : COLLECTION_TABLE_INT;

  static Wrapper MakeWrapper(std::vector<T> const& values) {
    auto const count = static_cast<int>(values.size());
    int columns = count == 0 ? 0 : 1;
    for (int const width : {2, 5, 400})
      if (count > 0 && count % width == 0) columns = width;
    Wrapper table(count == 0 ? 0 : count / columns, columns);
    for (int i = 0; i < count; ++i) table.Get(i / columns, i % columns) = values[static_cast<std::size_t>(i)];
    return table;
  }
  static Wrapper Read(cls_ReadVisitor const& visitor) {
    if constexpr (std::is_constructible_v<Wrapper, cls_ReadVisitor const&>)
      return Wrapper(visitor);
    else
      return Wrapper(visitor, nullptr);
  }
  template <class Visit> static void ForEach(Wrapper const& table, Visit visit) {
    for (int row = 0; row < table.Rows(); ++row)
      for (int column = 0; column < table.Cols(); ++column) visit(cow_String(), table.ConstGet(row, column));
  }
  static bool Share(Container const& a, Container const& b) { return a.SharesStorageWith(b); }
  static void Write(Wrapper& table) { table.Get(0, 0) = T(); }
  static std::int64_t ObjectsOf(int) { return 1; }
  static WrapperAllocations OneCopyOf(int) { return {2, 0}; } // the block and its share count
};

/// Maps and trees of primitives: `Base` is a case of KeyedWrapperCases.h.
template <class Base> struct StoredKeyed : Base {
  using Element = typename Base::Element;
  using Container = typename Base::Container;
  using Wrapper = typename Base::Wrapper;
  static constexpr cls_CollectionType Code = cls_xpMapCode<Element>;
  static constexpr bool IsTree = std::is_same_v<Wrapper, cls_xpBtreeString2Uint>;

  static Wrapper MakeWrapper(std::vector<Element> const& values) {
    Wrapper wrapper;
    for (Element const& value : values) Base::Add(wrapper, WrapperKey(wrapper.Count()), value);
    return wrapper;
  }
  static Wrapper Read(cls_ReadVisitor const& visitor) { return Wrapper(visitor); }
  template <class Visit> static void ForEach(Wrapper const& wrapper, Visit visit) {
    using Iterator = std::conditional_t<IsTree, cow_BtreeIterator<cow_String, Element>,
                                        cow_ConstMapIterator<cow_String, Element>>;
    for (Iterator i(wrapper); !i.IsDone(); i.Next()) visit(i.Key(), i.Value());
  }
  static bool Share(Container const& a, Container const& b) { return a.SharesStorageWith(b); }
  static void Write(Wrapper& wrapper) { *wrapper.Find("key 0"_cow) = Element(); }
  static std::int64_t ObjectsOf(int) { return 1; }
  static WrapperAllocations OneCopyOf(int count) {
    if (IsTree) return {0, 2 + 2 * count}; // the tree, its hash table, and each entry in both
    return {0, 1 + count};                 // the map and its entries
  }
};

/// The map of objects; each element is a whole list.
struct StoredObjectMap {
  using Element = float;
  using Container = cow_Map<cow_String, cls_xp1DArrayListFloat>;
  using Wrapper = cls_xoMap<cow_String, cls_xp1DArrayListFloat>;
  static constexpr cls_CollectionType Code = COLLECTION_MAP_STRING_OBJ;

  static Wrapper MakeWrapper(std::vector<float> const& values) {
    Wrapper map;
    for (float const value : values) {
      cls_xp1DArrayListFloat list;
      list.Append(value);
      map.Insert(WrapperKey(map.Count()), list);
    }
    return map;
  }
  static Wrapper Read(cls_ReadVisitor const& visitor) { return Wrapper(visitor); }
  template <class Visit> static void ForEach(Wrapper const& map, Visit visit) {
    for (cow_ConstMapIterator<cow_String, cls_xp1DArrayListFloat> i(map); !i.IsDone(); i.Next())
      for (int k = 0; k < i.Value().Count(); ++k) visit(i.Key(), i.Value().ConstGet(k));
  }
  static bool Share(Container const& a, Container const& b) { return a.SharesStorageWith(b); }
  static void Write(Wrapper& map) { map.Get("key 0"_cow) = map.ConstGet("key 7919"_cow); }
  static std::int64_t ObjectsOf(int count) { return 1 + count; }
  static WrapperAllocations OneCopyOf(int count) { return {0, 1 + count}; }
};

/// One of each kind of wrapper. The element types are swept by the contract suite and the wrappers' own tests.
using StoredWrappers =
    testing::Types<StoredSequence<FixedArrayCase<int>>, StoredSequence<ArrayListCase<cow_String>>,
                   StoredSequence<ListCase<float>>, StoredTable<double, cls_xp2DArrayDouble>,
                   StoredKeyed<FloatMapCase>, StoredKeyed<StringMapCase>, StoredKeyed<UintTreeCase>,
                   StoredObjectMap>;

/// A wrapper of `count` different elements.
template <class Case> typename Case::Wrapper NumberedWrapper(int count) {
  std::vector<typename Case::Element> values;
  for (int i = 0; i < count; ++i) values.push_back(NumberedElement<typename Case::Element>(i));
  return Case::MakeWrapper(values);
}

template <class Case> int CountOf(typename Case::Wrapper const& wrapper) {
  int count = 0;
  Case::ForEach(wrapper, [&](cow_String const&, auto const&) { ++count; });
  return count;
}

/// Whether they have the same elements under the same keys in the same order.
template <class Case> bool IsSameWrapper(typename Case::Wrapper const& a, typename Case::Wrapper const& b) {
  std::vector<std::pair<cow_String, typename Case::Element>> left, right;
  Case::ForEach(a, [&](cow_String const& key, auto const& value) { left.emplace_back(key, value); });
  Case::ForEach(b, [&](cow_String const& key, auto const& value) { right.emplace_back(key, value); });
  if (left.size() != right.size()) return false;
  for (std::size_t i = 0; i < left.size(); ++i)
    if (!IsSameElement(left[i].first, right[i].first) || !IsSameElement(left[i].second, right[i].second))
      return false;
  return true;
}

/// The container inside a wrapper, for operators that take one.
template <class Case> typename Case::Container const& ContainerOf(typename Case::Wrapper const& wrapper) {
  return wrapper;
}

/// Assigns the content of another wrapper; keeps the wrapper's identity.
template <class Case> void Refill(typename Case::Wrapper& wrapper, typename Case::Wrapper const& from) {
  using Wrapper = typename Case::Wrapper;
  if constexpr (std::is_constructible_v<Wrapper, typename Case::Container const&, cls_Uid const&>) {
    wrapper = Wrapper(ContainerOf<Case>(from), wrapper.Uid());
  } else {
    wrapper.Truncate(0);
    for (int i = 0; i < from.Count(); ++i) wrapper.Append(from.ConstGet(i));
  }
}

/// The attributes of Desk for a wrapper of this code.
inline cls_FieldHandle DeskField(char const* name, cls_CollectionType code) {
  return Field(name + std::to_string(code));
}

/// An object with two wrappers of one kind in fields.
template <class Case> struct Desk {
  using Wrapper = typename Case::Wrapper;
  static constexpr unsigned int TypeId() noexcept { return 0x700030; }
  static cls_FieldHandle First() { return DeskField("m_First", Case::Code); }
  static cls_FieldHandle Second() { return DeskField("m_Second", Case::Code); }

  Desk(Wrapper const& first, Wrapper const& second) : m_First(first), m_Second(second) {}
  explicit Desk(cls_ReadVisitor const& visitor)
      : m_First(Case::Read(cls_ReadVisitor(visitor, First()))),
        m_Second(Case::Read(cls_ReadVisitor(visitor, Second()))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_First.DBWrite(cls_WriteVisitor(visitor, First(), nullptr, &m_First));
    m_Second.DBWrite(cls_WriteVisitor(visitor, Second(), nullptr, &m_Second));
  }

  Wrapper m_First;
  Wrapper m_Second;
  cls_Uid m_Uid;
};

/// Fixture for tests that store wrappers with several page sizes.
class StoreWrapperTest : public StoreFileTest {
 protected:
  using Act = HeldFunction<sto_Store&>;

  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      DeclareCollections(classes);
      cls_ClassMetadata& desk = classes.CreateClassMD("Desk"_cow, 0x700030, 1, nullptr, 1);
      for (cls_CollectionType const code :
           {COLLECTION_MAP_STRING_OBJ, COLLECTION_LIST_DOUBLE, COLLECTION_LIST_FLOAT, COLLECTION_LIST_INT,
            COLLECTION_LIST_STRING, COLLECTION_LIST_UINT, COLLECTION_MAP_STRING_FLOAT,
            COLLECTION_MAP_STRING_STRING, COLLECTION_MAP_STRING_UINT, COLLECTION_TABLE_DOUBLE,
            COLLECTION_TABLE_FLOAT, COLLECTION_TABLE_INT})
        for (char const* const name : {"m_First", "m_Second"})
          desk.AddAttribute(DeskField(name, code), AnyType, 1, code);
      return classes;
    }();
    return registrar;
  }

  sto_Store Create(std::string_view name = "test.kvs", int pageBytes = sto_Options().m_PageBytes) const {
    sto_Options options;
    options.m_PageBytes = pageBytes;
    return sto_Store::Open(Path(name), sto_Mode::Create, Classes(), options);
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, Classes());
  }

  /// For each page size, makes a store, runs `write` in it, and runs `check` in the same session and in
  /// another, read-only one.
  void InEachStore(Act const& write, Act const& check) const {
    for (int const pageBytes : {4096, 16384, 32768}) {
      std::string const name = std::to_string(pageBytes);
      SCOPED_TRACE("pages of " + name + " bytes");
      {
        sto_Store store = Create(name, pageBytes);
        write(store);
        SCOPED_TRACE("in the session that wrote");
        check(store);
      }
      ASSERT_EQ(SqlFile(Path(name)).Integer("PRAGMA page_size"), pageBytes);
      sto_Store store = Open(sto_Mode::ReadOnly, name);
      SCOPED_TRACE("in another session");
      check(store);
    }
  }

  /// The number of rows that hold objects, elements or bytes. A pack is one row for up to 64 objects.
  [[nodiscard]] static std::int64_t Rows(sto_Store const& store) {
    std::int64_t rows = 0;
    SqlFile file(store.Location());
    for (char const* const table : {"object", "pack", "block", "moved_block", "block_place"})
      rows += file.Integer(std::string("SELECT count(*) FROM ") + table);
    return rows;
  }
  [[nodiscard]] static std::int64_t Blocks(sto_Store const& store) {
    SqlFile file(store.Location());
    return file.Integer("SELECT count(*) FROM stored_block") +
           file.Integer("SELECT count(*) FROM moved_block");
  }
};

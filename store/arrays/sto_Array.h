#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "describe/dsc_Lists.h"
#include "persist/identity/cls_OwnUid.h"
#include "store/arrays/sto_ArrayErrors.h"
#include "store/arrays/sto_ArraySegment.h"

/// The elements of one dimension that sto_Array::Slice copies: `m_Count` of them, each `m_Step` behind the one before.
struct sto_Range {
  long long m_First = 0;
  long long m_Count = 0;
  long long m_Step = 1;
};

/// A large array that is held like a data set: in memory until it is saved, then in the store, block by block.
///
///     class Run {
///      public:
///       KVL_PERSISTED(Run, 0x400001, "Run", 1)
///       static constexpr void Describe(auto& field) { field(KVL_F(m_Temperature), kvl::Unit("K")); }
///       sto_Array<double> m_Temperature = sto_Array<double>::OfRows({1});
///     };
///     ...
///     run.m_Temperature = sto_Array<double>::OfRows({nodeCount}); // one row a step
///     store.Save("run", run);
///     for (...) {
///       sto_Transaction transaction(store);
///       run.m_Temperature.Append(temperatures);                   // a row, written by the commit
///       transaction.Commit();
///     }
///
/// T: bool, an integer of 32 or 64 bits, float, double, std::complex<float>, std::complex<double>, std::string. An array
/// has one to four dimensions. It grows along the first; the others are those of a row and never change. Elements lie row
/// by row: the last index runs fastest. Indexes and counts have 64 bits and count from 0.
///
/// An array is a member of a described class, or a root by itself (store.Save("history", array);
/// store.Load<sto_Array<double>>("history")). It keeps its element type and its row's extents in the store. A member's unit
/// is that of kvl::Unit; that of a root is said in OfRows. What a cls_ArrayPrim or a std::vector of the same elements has
/// stored opens as an array, without being copied; as a member in a new version of the class.
///
/// In memory an array has all its elements. Saved or loaded it has at most one block of 2048 elements of each of its lists
/// in memory, and reads and writes the store; what is appended or written is stored by the next commit at the latest.
/// Without an open transaction a block is written in one of its own when it is full, so open one around long work.
/// Destroying an array stores its changes and frees its blocks.
///
/// Undoing: after a failed save the array is as it was before, with all its elements; in memory, if it was. After a rollback
/// it is as it was when the transaction began; if it was in memory then, as it was before the save that stored it.
/// Another session: an array shows its commits after Refresh, or when its object is loaded again. Writing to an array that
/// another session has changed raises Conflict; so does saving one that it has made longer, and refreshing one whose last
/// list it has filled, because there may be a further one then: load the object again. Two arrays over one list in one
/// session (two loads of an object) know nothing of each other, and overwrite each other's elements: use one.
///
/// More than 2^30 elements take several lists. The store gets the next one when the array is saved and its last list is
/// more than half full. If there is none when it is needed, Append raises Full: save the object, and go on.
///
/// Errors: sto_Exception. Misuse for an index out of range and elements that are no whole rows; Unavailable once the store
/// is closed, or for an array that was made in work that was undone; ReadOnly; WrongClass, when it is loaded, for other
/// elements and for rows of other extents than the member's (a member of one dimension takes any); those of the store.
/// After an error the array is as it was. If it fails to write more than a block in an open transaction, that can only be
/// rolled back.
///
/// Thread rule: in memory, one thread at a time; otherwise that of the store. Two threads can read one array with a store
/// each.
template <class T> class sto_Array {
 public:
  using Element = T;
  /// What the store has for an element.
  using Plain = typename dsc_PlainElement<T>::Type;
  static_assert(
      std::is_same_v<T, bool> || sizeof(T) >= 4,
      "a sto_Array has bool, integers of 32 or 64 bits, float, double, std::complex or std::string");
  static_assert(
      !std::is_void_v<Plain> && !std::is_enum_v<T>,
      "a sto_Array has bool, integers of 32 or 64 bits, float, double, std::complex or std::string");

  /// An empty array of one dimension, in memory.
  sto_Array() = default;

  /// An empty array whose rows have these extents: none for one dimension, {n} for two, up to three. `unit`: noted with
  /// the elements when the array is stored; empty for none. Misuse for extents that are not positive.
  [[nodiscard]] static sto_Array OfRows(std::vector<long long> row, std::string unit = {}) {
    sto_Array array;
    array.m_RowSize = sto_ArrayRowSize(row);
    array.m_Shape = {std::move(row), std::move(unit)};
    return array;
  }

  /// Opens the array that a visitor's object is. For roots.
  explicit sto_Array(cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    if (sto_IsListOfLists(memento)) {
      m_Uid = visitor.GetUid();
      AddLists(memento);
    } else {
      m_Lists.push_back(std::make_unique<Segment>(visitor));
    }
    TakeShape({});
  }

  /// Leaves an empty array of one dimension behind.
  sto_Array(sto_Array&& other) noexcept
      : m_Lists(std::move(other.m_Lists)), m_Shape(std::exchange(other.m_Shape, {})),
        m_RowSize(std::exchange(other.m_RowSize, 1)), m_Uid(std::move(other.m_Uid)),
        m_HasOutgrown(std::exchange(other.m_HasOutgrown, false)) {}
  /// The same. What the array had is let go.
  sto_Array& operator=(sto_Array&& other) noexcept {
    if (this == &other) return *this;
    m_Lists = std::exchange(other.m_Lists, {});
    m_Shape = std::exchange(other.m_Shape, {});
    m_RowSize = std::exchange(other.m_RowSize, 1);
    m_Uid = std::move(other.m_Uid);
    m_HasOutgrown = std::exchange(other.m_HasOutgrown, false);
    return *this;
  }
  /// Deleted: elements can be many. Append what Read returns to another array.
  sto_Array(sto_Array const&) = delete;
  sto_Array& operator=(sto_Array const&) = delete;
  ~sto_Array() = default;

  /// Writes the array through a visitor. For roots.
  void DBWrite(cls_WriteVisitor const& visitor) const {
    CheckOpen();
    if (visitor.StartWrite(cls_InternalListTypeId, m_Uid) == 0) return;
    WriteLists(*visitor.Memento(), 0, PrepareLists(*visitor.Memento()));
  }

  // --- what there is

  /// How many elements there are.
  [[nodiscard]] long long Size() const noexcept {
    long long size = 0;
    for (auto const& list : m_Lists) size += list->Size();
    return size;
  }
  [[nodiscard]] bool IsEmpty() const noexcept { return Size() == 0; }
  /// How many rows there are: the first extent.
  [[nodiscard]] long long Rows() const noexcept { return Size() / m_RowSize; }
  /// How many elements a row has.
  [[nodiscard]] long long RowSize() const noexcept { return m_RowSize; }
  /// All extents; the first is the number of rows.
  [[nodiscard]] std::vector<long long> Extents() const {
    std::vector<long long> extents{Rows()};
    extents.insert(extents.end(), m_Shape.m_Row.begin(), m_Shape.m_Row.end());
    return extents;
  }
  /// What OfRows or the stored list says; empty if it is not known. That of a member's kvl::Unit is in the description of
  /// its class (sto_Store::Describe).
  [[nodiscard]] std::string const& Unit() const noexcept { return m_Shape.m_Unit; }
  /// Whether the elements are in a store.
  [[nodiscard]] bool IsStored() const noexcept { return !m_Lists.empty() && m_Lists.front()->IsAssociated(); }

  // --- adding and changing

  /// Says the extents of a row of an array that was stored without them; they are stored when it is saved again. Misuse if
  /// it has other ones, or if its elements are no whole number of such rows.
  void SetRows(std::vector<long long> row) {
    CheckOpen();
    long long const rowSize = sto_ArrayRowSize(row);
    if (!m_Shape.m_Row.empty() && m_Shape.m_Row != row) sto_RaiseArrayRows(Home(), rowSize, m_RowSize);
    if (Size() % rowSize != 0) sto_RaiseArrayRows(Home(), Size(), rowSize);
    m_Shape.m_Row = std::move(row);
    m_RowSize = rowSize;
  }

  /// Adds elements at the end: whole rows.
  void Append(std::span<T const> values) {
    auto const count = static_cast<long long>(values.size());
    CheckOpen();
    if (count % m_RowSize != 0) sto_RaiseArrayRows(Home(), count, m_RowSize);
    if (count == 0) return;
    long long const before = Size();
    PrepareFor(count);
    try {
      AtOnce(RoomIn(*m_Lists[LastUsed()]) >= count, values, [&] { AppendToLists(values); });
    } catch (...) {
      Truncate(before);
      throw;
    }
  }
  void Append(T const& value) requires(!std::is_same_v<T, bool>) { Append(std::span<T const>(&value, 1)); }
  void Append(bool value) requires std::is_same_v<T, bool> { Append(std::span<bool const>(&value, 1)); }

  /// Overwrites the elements from `first` on.
  void Write(long long first, std::span<T const> values) {
    CheckRange(first, static_cast<long long>(values.size()));
    AtOnce(m_Lists.size() <= 1, values, [&] {
      ForEachPart(first, values.size(), [&](Segment& list, int from, int count, std::size_t done) {
        WriteTo(list, from, values.subspan(done, static_cast<std::size_t>(count)));
      });
    });
  }
  void Set(long long index, T const& value) { Write(index, std::span<T const>(&value, 1)); }

  /// Writes what is not stored yet. Does nothing in memory.
  void Flush() {
    for (auto const& list : m_Lists) {
      list->Home().CheckOpen();
      list->Flush();
    }
  }

  /// Takes over what another session has committed; true if there is anything new. Conflict if the array has changes of
  /// its own that are not stored.
  bool Refresh() {
    bool isNew = false;
    for (auto const& list : m_Lists) {
      list->Home().CheckOpen();
      isNew = list->Refresh() != 0 || isNew;
    }
    if (isNew && m_Lists.back()->Size() >= ListSize()) {
      m_HasOutgrown = true;
      sto_RaiseArrayGrown(*Home());
    }
    return isNew;
  }

  // --- reading

  [[nodiscard]] T Get(long long index) const {
    T value{};
    Read(index, std::span<T>(&value, 1));
    return value;
  }
  /// Copies the elements from `first` on.
  void Read(long long first, std::span<T> values) const {
    CheckRange(first, static_cast<long long>(values.size()));
    ForEachPart(first, values.size(), [&](Segment const& list, int from, int count, std::size_t done) {
      ReadFrom(list, from, values.subspan(done, static_cast<std::size_t>(count)));
    });
  }
  /// The elements of a row.
  [[nodiscard]] std::vector<T> Row(long long row) const requires(!std::is_same_v<T, bool>) {
    std::vector<T> values;
    CheckRow(row);
    values.resize(static_cast<std::size_t>(m_RowSize));
    Row(row, values);
    return values;
  }
  /// The same, into `values`, which has RowSize elements.
  void Row(long long row, std::span<T> values) const {
    CheckRow(row);
    if (static_cast<long long>(values.size()) != m_RowSize)
      sto_RaiseArrayRows(Home(), static_cast<long long>(values.size()), m_RowSize);
    Read(row * m_RowSize, values);
  }

  /// Copies a part of the array into `values`: of each dimension the elements of its range, row by row. `ranges` has one
  /// range for each extent, and `values` as many elements as there are in them together.
  void Slice(std::span<sto_Range const> ranges, std::span<T> values) const {
    std::vector<long long> const extents = Extents();
    CheckRanges(ranges.size());
    long long count = 1;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
      CheckSlice(ranges[i], extents[i]);
      count *= ranges[i].m_Count;
    }
    if (count != static_cast<long long>(values.size()))
      sto_RaiseArrayMisuse("A slice of " + std::to_string(count) + " elements is read into " +
                           std::to_string(values.size()) + ".");
    CopySlice(ranges, extents, 0, values);
  }
  [[nodiscard]] std::vector<T> Slice(std::vector<sto_Range> const& ranges) const
      requires(!std::is_same_v<T, bool>) {
    CheckRanges(ranges.size());
    std::size_t count = 1;
    for (std::size_t i = 0; i < ranges.size(); ++i) {
      CheckSlice(ranges[i], i == 0 ? Rows() : m_Shape.m_Row[i - 1]);
      count *= static_cast<std::size_t>(ranges[i].m_Count);
    }
    std::vector<T> values(count);
    Slice(ranges, values);
    return values;
  }

  /// Calls `act(first, values)` with all elements, some blocks at a time, in order: the index of the first, and a
  /// std::span of them, which is valid during the call.
  template <class Act> void ForEachBlock(Act act) const { ForEachBlock(0, Size(), act); }
  /// The same for `count` elements from `first` on.
  template <class Act> void ForEachBlock(long long first, long long count, Act act) const {
    CheckRange(first, count);
    auto const room = std::make_unique<T[]>(static_cast<std::size_t>(std::min(count, ReadAtOnce)));
    while (count > 0) {
      long long const part = std::min(count, ReadAtOnce - first % ReadAtOnce);
      std::span<T> const values(room.get(), static_cast<std::size_t>(part));
      Read(first, values);
      act(first, std::span<T const>(values));
      first += part;
      count -= part;
    }
  }

  /// Reads the blocks of `count` elements from `first` on ahead, so that reading them later need not wait for the medium.
  /// Keeps none of them. Does nothing in memory.
  void Prefetch(long long first, long long count) const {
    CheckRange(first, count);
    if (IsStored()) ForEachBlock(first, count, [](long long, std::span<T const>) {});
  }

  // --- for dsc_Stored

  /// Writes the fields of a member; `more`: of the lists behind the first.
  void WriteFields(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                   cls_FieldHandle const& more) const {
    CheckOpen();
    std::size_t const count = PrepareLists(*visitor.Memento());
    Segment const& first = *m_Lists.front();
    first.Save(cls_WriteVisitor(visitor, field, nullptr, &first), m_Shape);
    if (count == 1) return;
    cls_WriteVisitor const rest(visitor, more, nullptr, &m_Lists);
    rest.StartWrite(cls_InternalListTypeId, m_Uid);
    rest.CheckCollectionType(COLLECTION_OBJ);
    if (rest.Memento() != nullptr) WriteLists(*rest.Memento(), 1, count);
  }
  void ReadFields(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_FieldHandle const& more) {
    std::vector<long long> const asked = m_Shape.m_Row;
    sto_Array array;
    array.m_Lists.push_back(std::make_unique<Segment>(cls_ReadVisitor(visitor, field)));
    if (visitor.DataIsPresent(more) != 0) {
      cls_ReadVisitor const rest(visitor, more);
      array.m_Uid = rest.GetUid();
      array.AddLists(*rest.Memento());
    }
    array.TakeShape(asked, field.Name().View());
    *this = std::move(array);
  }

 private:
  using Segment = sto_ArraySegment<Plain>;
  static constexpr bool IsPlain = std::is_same_v<T, Plain>;
  static constexpr long long ReadAtOnce = 16 * 2048; ///< elements, of whole blocks
  static constexpr std::size_t ConvertedAtOnce = 2048;

  [[nodiscard]] sto_ArrayHome const* Home() const noexcept {
    return m_Lists.empty() ? nullptr : &m_Lists.front()->Home();
  }
  void CheckOpen() const {
    if (!m_Lists.empty()) Home()->CheckOpen();
  }
  void CheckRange(long long first, long long count) const {
    CheckOpen();
    long long const size = Size();
    if (first < 0 || count < 0 || first > size - count) sto_RaiseArrayRange(Home(), first, count, size);
  }
  void CheckRow(long long row) const {
    CheckOpen();
    if (row < 0 || row >= Rows()) sto_RaiseArrayRow(Home(), row, Rows());
  }
  void CheckRanges(std::size_t count) const {
    CheckOpen();
    if (count != 1 + m_Shape.m_Row.size())
      sto_RaiseArrayMisuse("A slice of an array needs one range for each of its dimensions.");
  }
  static void CheckSlice(sto_Range const& range, long long extent) {
    bool const isInside =
        range.m_First >= 0 && range.m_Count >= 0 && range.m_Step > 0 &&
        (range.m_Count == 0 ||
         (range.m_First < extent && range.m_Count - 1 <= (extent - 1 - range.m_First) / range.m_Step));
    if (!isInside)
      sto_RaiseArrayMisuse("A range of a slice has " + std::to_string(range.m_Count) + " elements from " +
                           std::to_string(range.m_First) + " on in steps of " + std::to_string(range.m_Step) +
                           ", which an extent of " + std::to_string(extent) + " does not have.");
  }

  /// Calls `act(list, first, count, done)` with each list that has some of the elements. REQUIRES: they are there.
  template <class Act> void ForEachPart(long long first, std::size_t count, Act act) const {
    std::size_t done = 0;
    for (auto const& list : m_Lists) {
      if (done == count) return;
      long long const size = list->Size();
      if (first >= size) {
        first -= size;
        continue;
      }
      auto const part = static_cast<int>(std::min(size - first, static_cast<long long>(count - done)));
      act(*list, static_cast<int>(first), part, done);
      done += static_cast<std::size_t>(part);
      first = 0;
    }
  }

  /// Changes elements: all of them, or none if it raises. What one list gets at once is that already.
  template <class Act> void AtOnce(bool isOneList, std::span<T const> values, Act act) {
    if (!IsStored() || (isOneList && (IsPlain || values.size() <= ConvertedAtOnce))) return act();
    m_Lists.front()->Home().InTransaction(act);
  }

  static void WriteTo(Segment& list, int first, std::span<T const> values) {
    if constexpr (IsPlain) {
      list.Write(first, static_cast<int>(values.size()), values.data());
    } else {
      Convert(values, [&](int done, std::vector<Plain> const& plain) {
        list.Write(first + done, static_cast<int>(plain.size()), plain.data());
      });
    }
  }
  static void AppendTo(Segment& list, std::span<T const> values) {
    if constexpr (IsPlain)
      list.Append(values.data(), static_cast<int>(values.size()));
    else
      Convert(values, [&](int, std::vector<Plain> const& plain) {
        list.Append(plain.data(), static_cast<int>(plain.size()));
      });
  }
  static void ReadFrom(Segment const& list, int first, std::span<T> values) {
    if constexpr (IsPlain) {
      list.Read(first, static_cast<int>(values.size()), values.data());
    } else {
      std::vector<Plain> plain(std::min(values.size(), ConvertedAtOnce));
      for (std::size_t done = 0; done < values.size();) {
        std::size_t const part = std::min(values.size() - done, plain.size());
        list.Read(first + static_cast<int>(done), static_cast<int>(part), plain.data());
        for (std::size_t i = 0; i < part; ++i)
          values[done + i] = dsc_FromPlain<T>(plain[i], dsc_Where{"", {}});
        done += part;
      }
    }
  }
  template <class Act> static void Convert(std::span<T const> values, Act act) {
    std::vector<Plain> plain;
    plain.reserve(std::min(values.size(), ConvertedAtOnce));
    for (std::size_t done = 0; done < values.size(); done += plain.size()) {
      plain.clear();
      for (T const& value : values.subspan(done, std::min(values.size() - done, ConvertedAtOnce)))
        plain.push_back(dsc_ToPlain<Plain>(value));
      act(static_cast<int>(done), plain);
    }
  }

  /// Makes room for elements behind the last one, before anything is changed.
  void PrepareFor(long long count) {
    if (m_Lists.empty()) m_Lists.push_back(std::make_unique<Segment>());
    if (m_HasOutgrown) sto_RaiseArrayGrown(*Home());
    long long room = 0;
    bool const isStored = IsStored();
    for (std::size_t i = LastUsed(); i < m_Lists.size();
         ++i) // a save that was undone leaves a list in memory
      if (m_Lists[i]->IsAssociated() == isStored) room += RoomIn(*m_Lists[i]);
    if (room < count && isStored) sto_RaiseArrayFull(m_Lists.front()->Home());
    for (; room < count; room += ListSize()) m_Lists.push_back(std::make_unique<Segment>());
  }
  /// How many elements a list may have: whole rows.
  [[nodiscard]] long long ListSize() const noexcept {
    return std::max<long long>(1, sto_ArrayListSize() / m_RowSize) * m_RowSize;
  }
  [[nodiscard]] long long RoomIn(Segment const& list) const noexcept {
    return std::max<long long>(0, ListSize() - list.Size());
  }
  /// The list that has the last element; 0 if there is none.
  [[nodiscard]] std::size_t LastUsed() const noexcept {
    std::size_t last = m_Lists.size();
    while (last > 1 && m_Lists[last - 1]->Size() == 0) --last;
    return last == 0 ? 0 : last - 1;
  }
  void AppendToLists(std::span<T const> values) {
    for (std::size_t i = LastUsed(); !values.empty(); ++i) {
      auto const part =
          static_cast<std::size_t>(std::min(RoomIn(*m_Lists[i]), static_cast<long long>(values.size())));
      if (part != 0) AppendTo(*m_Lists[i], values.first(part));
      values = values.subspan(part);
    }
  }
  void Truncate(long long size) noexcept {
    for (auto const& list : m_Lists) {
      list->SetLength(static_cast<int>(std::min<long long>(list->Size(), size)));
      size -= list->Size();
    }
  }

  /// How many lists are to be written. Makes the first list, and one behind the last if that is more than half full: so
  /// that there is one when it is needed. An array that is in another store is copied as it is. Const, because it changes
  /// no element. Conflict if another session has added elements.
  [[nodiscard]] std::size_t PrepareLists(cls_MementoWrite const& memento) const {
    if (m_Lists.empty()) m_Lists.push_back(std::make_unique<Segment>());
    if (IsStored() && !Home()->IsIn(memento)) return LastUsed() + 1;
    if (IsStored()) CheckLength();
    if (LastUsed() + 1 == m_Lists.size() && m_Lists.back()->Size() > ListSize() / 2)
      m_Lists.push_back(std::make_unique<Segment>());
    return m_Lists.size();
  }
  void CheckLength() const {
    if (m_HasOutgrown) sto_RaiseArrayGrown(*Home());
    for (auto const& list : m_Lists)
      if (list->IsAssociated()) list->CheckLength();
  }
  void WriteLists(cls_MementoWrite& memento, std::size_t first, std::size_t end) const {
    cls_Received<cls_WriteListObj> const builder(memento.MakeWriteListObj());
    for (std::size_t i = first; i < end; ++i) {
      cls_WriteRequestListObj const request(builder.get());
      m_Lists[i]->Save(cls_WriteVisitor(request, m_Lists[i].get()), m_Shape);
    }
  }
  void AddLists(cls_MementoRead& memento) {
    cls_Received<cls_ReadListObj> const cursor(memento.MakeReadListObj());
    while (cursor->More() != 0) m_Lists.push_back(std::make_unique<Segment>(cls_ReadVisitor(cursor->Next())));
  }
  /// Takes the shape of the stored lists. `asked`: the one that is expected; none: any. WrongClass.
  void TakeShape(std::vector<long long> const& asked, std::string_view field = {}) {
    if (m_Lists.empty()) return;
    m_Shape = m_Lists.front()->Shape();
    if (m_Shape.m_Row.empty() && !asked.empty() && Size() % sto_ArrayRowSize(asked) == 0)
      m_Shape.m_Row = asked; // elements that were stored without a shape
    if (!asked.empty() && asked != m_Shape.m_Row)
      sto_RaiseArrayShape(m_Lists.front()->Home(), field, m_Shape.m_Row, asked);
    m_RowSize = sto_ArrayRowSize(m_Shape.m_Row);
  }

  void CopySlice(std::span<sto_Range const> ranges, std::span<long long const> extents, long long at,
                 std::span<T>& values) const {
    sto_Range const& range = ranges.front();
    bool const isLast = ranges.size() == 1;
    if (isLast && range.m_Step == 1) {
      auto const count = static_cast<std::size_t>(range.m_Count);
      Read(at + range.m_First, values.first(count));
      values = values.subspan(count);
      return;
    }
    for (long long i = 0; i < range.m_Count; ++i) {
      long long const index = at + range.m_First + i * range.m_Step;
      if (isLast) {
        Read(index, values.first(1));
        values = values.subspan(1);
      } else {
        CopySlice(ranges.subspan(1), extents.subspan(1), index * extents[1], values);
      }
    }
  }

  // Mutable: saving makes lists. Empty: no element yet.
  mutable std::vector<std::unique_ptr<Segment>> m_Lists;
  cls_ListShape m_Shape;
  long long m_RowSize = 1;
  cls_OwnUid m_Uid;           // of the list of lists, if there is one
  bool m_HasOutgrown = false; // another session has filled the last list, and there may be further ones
};

/// A member is the list of its elements; `.more` has the lists behind the first one.
template <class T> struct dsc_Stored<sto_Array<T>> {
  using Plain = typename sto_Array<T>::Plain;
  static constexpr int Fields = 2;
  static constexpr int Collections = 0;
  template <class Name> using More = dsc_WithSuffix<Name, ".more">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    to.Add<Name>(at, dsc_AttributeType<Plain>, dsc_ListCode<Plain>);
    to.Optional().template Add<More<Name>>(at.Plus(1, 0), ATTR_OBJECT, COLLECTION_OBJ);
    to.m_Registrar.ChangesOf(to.m_Metadata.ClassId()).MayBeMissing(More<Name>::View());
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, sto_Array<T> const& array) {
    array.WriteFields(out.m_Visitor, Name::Handle(at.m_Number), More<Name>::Handle(at.m_Number + 1));
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.DataIsPresent(Name::Handle(at.m_Number)) != 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, sto_Array<T>& array) {
    if (IsPresent<Name>(in, at))
      array.ReadFields(in.m_Visitor, Name::Handle(at.m_Number), More<Name>::Handle(at.m_Number + 1));
  }
};

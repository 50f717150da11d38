#pragma once

#include <memory>
#include <span>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "persist/identity/cls_OwnUid.h"
#include "store/arrays/sto_ArrayErrors.h"
#include "store/arrays/sto_ArrayLists.h"
#include "store/arrays/sto_ArraySlice.h"

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

  /// An empty array whose rows have these extents: none for one dimension, {n} for two, up to three. The unit is stored with
  /// the elements; an empty one says nothing. Raises Misuse if an extent is not positive.
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
      m_Lists.LoadAll(memento);
    } else {
      m_Lists.Load(visitor);
    }
    TakeShape({});
  }

  /// Leaves an empty array of one dimension behind.
  sto_Array(sto_Array&& other) noexcept
      : m_Lists(std::move(other.m_Lists)), m_Shape(std::exchange(other.m_Shape, {})),
        m_RowSize(std::exchange(other.m_RowSize, 1)), m_Uid(std::move(other.m_Uid)) {}
  /// The same. What the array had is let go.
  sto_Array& operator=(sto_Array&& other) noexcept {
    if (this == &other) return *this;
    m_Lists = sto_ArrayLists<T>(std::move(other.m_Lists));
    m_Shape = std::exchange(other.m_Shape, {});
    m_RowSize = std::exchange(other.m_RowSize, 1);
    m_Uid = std::move(other.m_Uid);
    return *this;
  }
  /// Deleted: elements can be many. Append what Read returns to another array.
  sto_Array(sto_Array const&) = delete;
  sto_Array& operator=(sto_Array const&) = delete;
  ~sto_Array() = default;

  /// Writes the array through a visitor. For roots.
  void DBWrite(cls_WriteVisitor const& visitor) const {
    m_Lists.CheckOpen();
    if (visitor.StartWrite(cls_InternalListTypeId, m_Uid) == 0) return;
    cls_MementoWrite& memento = *visitor.Memento();
    m_Lists.SaveAll(memento, 0, m_Lists.PrepareToSave(memento, m_RowSize), m_Shape);
  }

  // --- what there is

  /// How many elements there are.
  [[nodiscard]] long long Size() const noexcept { return m_Lists.Size(); }
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
  [[nodiscard]] bool IsStored() const noexcept { return m_Lists.IsStored(); }

  // --- adding and changing

  /// Says the extents of a row of an array that was stored without them; they are stored when it is saved again. Misuse if
  /// it has other ones, or if its elements are no whole number of such rows.
  void SetRows(std::vector<long long> row) {
    m_Lists.CheckOpen();
    long long const rowSize = sto_ArrayRowSize(row);
    if (!m_Shape.m_Row.empty() && m_Shape.m_Row != row) sto_RaiseArrayRows(Home(), rowSize, m_RowSize);
    if (Size() % rowSize != 0) sto_RaiseArrayRows(Home(), Size(), rowSize);
    m_Shape.m_Row = std::move(row);
    m_RowSize = rowSize;
  }

  /// Adds elements at the end: whole rows.
  void Append(std::span<T const> values) {
    auto const count = static_cast<long long>(values.size());
    m_Lists.CheckOpen();
    if (count % m_RowSize != 0) sto_RaiseArrayRows(Home(), count, m_RowSize);
    if (count != 0) m_Lists.Append(values, m_RowSize);
  }
  void Append(T const& value) requires(!std::is_same_v<T, bool>) { Append(std::span<T const>(&value, 1)); }
  void Append(bool value) requires std::is_same_v<T, bool> { Append(std::span<bool const>(&value, 1)); }

  /// Overwrites the elements from `first` on.
  void Write(long long first, std::span<T const> values) {
    CheckRange(first, static_cast<long long>(values.size()));
    m_Lists.Write(first, values);
  }
  void Set(long long index, T const& value) { Write(index, std::span<T const>(&value, 1)); }

  /// Writes what is not stored yet. Does nothing in memory.
  void Flush() { m_Lists.Flush(); }

  /// Takes over what another session has committed; true if there is anything new. Conflict if the array has changes of
  /// its own that are not stored.
  bool Refresh() { return m_Lists.Refresh(m_RowSize); }

  // --- reading

  [[nodiscard]] T Get(long long index) const {
    T value{};
    Read(index, std::span<T>(&value, 1));
    return value;
  }
  /// Copies the elements from `first` on.
  void Read(long long first, std::span<T> values) const {
    CheckRange(first, static_cast<long long>(values.size()));
    m_Lists.Read(first, values);
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
    m_Lists.CheckOpen();
    std::vector<long long> const extents = Extents();
    long long const count = sto_SliceSize(ranges, extents);
    if (count != static_cast<long long>(values.size()))
      sto_RaiseArrayMisuse("A slice of " + std::to_string(count) + " elements is read into " +
                           std::to_string(values.size()) + ".");
    sto_ForEachRun(ranges, extents, 0, [&](long long first, long long run) {
      Read(first, values.first(static_cast<std::size_t>(run)));
      values = values.subspan(static_cast<std::size_t>(run));
    });
  }
  [[nodiscard]] std::vector<T> Slice(std::vector<sto_Range> const& ranges) const
      requires(!std::is_same_v<T, bool>) {
    m_Lists.CheckOpen();
    std::vector<T> values(static_cast<std::size_t>(sto_SliceSize(ranges, Extents())));
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
    m_Lists.CheckOpen();
    std::size_t const count = m_Lists.PrepareToSave(*visitor.Memento(), m_RowSize);
    m_Lists.SaveFirst(visitor, field, m_Shape);
    if (count == 1) return;
    cls_WriteVisitor const rest(visitor, more, nullptr, &m_Lists);
    rest.StartWrite(cls_InternalListTypeId, m_Uid);
    rest.CheckCollectionType(COLLECTION_OBJ);
    if (rest.Memento() != nullptr) m_Lists.SaveAll(*rest.Memento(), 1, count, m_Shape);
  }
  void ReadFields(cls_ReadVisitor const& visitor, cls_FieldHandle const& field, cls_FieldHandle const& more) {
    std::vector<long long> const asked = m_Shape.m_Row;
    sto_Array array;
    array.m_Lists.Load(cls_ReadVisitor(visitor, field));
    if (visitor.DataIsPresent(more) != 0) {
      cls_ReadVisitor const rest(visitor, more);
      array.m_Uid = rest.GetUid();
      array.m_Lists.LoadAll(*rest.Memento());
    }
    array.TakeShape(asked, field.Name().View());
    *this = std::move(array);
  }

 private:
  static constexpr long long ReadAtOnce = 16 * 2048; ///< elements, of whole blocks

  [[nodiscard]] sto_ArrayHome const* Home() const noexcept { return m_Lists.Home(); }
  void CheckRange(long long first, long long count) const {
    m_Lists.CheckOpen();
    long long const size = Size();
    if (first < 0 || count < 0 || first > size - count) sto_RaiseArrayRange(Home(), first, count, size);
  }
  void CheckRow(long long row) const {
    m_Lists.CheckOpen();
    if (row < 0 || row >= Rows()) sto_RaiseArrayRow(Home(), row, Rows());
  }

  /// Takes the shape of the stored lists. `asked`: the one that is expected; none: any. WrongClass.
  void TakeShape(std::vector<long long> const& asked, std::string_view field = {}) {
    if (m_Lists.IsEmpty()) return;
    m_Shape = m_Lists.Shape();
    if (m_Shape.m_Row.empty() && !asked.empty() && Size() % sto_ArrayRowSize(asked) == 0)
      m_Shape.m_Row = asked; // elements that were stored without a shape
    if (!asked.empty() && asked != m_Shape.m_Row) sto_RaiseArrayShape(*Home(), field, m_Shape.m_Row, asked);
    m_RowSize = sto_ArrayRowSize(m_Shape.m_Row);
  }

  mutable sto_ArrayLists<T> m_Lists; // saving, which is const, may add an empty one
  cls_ListShape m_Shape;
  long long m_RowSize = 1;
  cls_OwnUid m_Uid; // of the list of lists, if there is one
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

#pragma once

#include <Eigen/Core>
#include <algorithm>
#include <limits>
#include <memory>
#include <vector>

#include "describe/dsc_Described.h"

// Members of Eigen's dense types: Eigen::Matrix and Eigen::Array of any sizes, Eigen::Quaternion and Eigen::Transform.
// Include this header beside dsc_Described.h; it needs Eigen 3.4. Those of sparse types are in dsc_EigenSparse.h.
//
// - The numbers are stored row by row, in whatever order the member has them in memory: as those of an array of the
//   language, and of the library's tables. So the order may change from one version of a program to another.
// - One of fixed sizes is stored as the array `T m[rows][columns]`, a vector as `T m[size]`.
// - A vector of dynamic size is stored as the std::vector of its numbers.
// - A matrix with a dynamic size is `.rows`, `.cols` and `.values`, without a size that is fixed.
// - A quaternion is stored as the vector of its coefficients x, y, z, w; a transform as its matrix.
//
// Eigen leaves the numbers of a fixed-size member uninitialised: initialise it where it is declared. kvl::Since takes a
// std::array of the numbers, row by row, for what has fixed sizes or is a vector.
//
// Errors: nex_TextException for a stored list that has another number of elements than the member, for sizes that do
// not fit it, and for a matrix that is too large for a list.

/// What is known about a dense type: its numbers as a matrix. `IsOne` is false for other types.
template <class T> struct dsc_Dense { static constexpr bool IsOne = false; };
template <class Matrix, class Number> struct dsc_DenseMatrix {
  static constexpr bool IsOne = true;
  using Scalar = Number;
  using Numbers = Matrix;
  template <class Self> static auto& Of(Self& value) { return value; }
};
template <class S, int Rows, int Cols, int Options, int MaxRows, int MaxCols>
struct dsc_Dense<Eigen::Matrix<S, Rows, Cols, Options, MaxRows, MaxCols>>
    : dsc_DenseMatrix<Eigen::Matrix<S, Rows, Cols, Options, MaxRows, MaxCols>, S> {};
template <class S, int Rows, int Cols, int Options, int MaxRows, int MaxCols>
struct dsc_Dense<Eigen::Array<S, Rows, Cols, Options, MaxRows, MaxCols>>
    : dsc_DenseMatrix<Eigen::Array<S, Rows, Cols, Options, MaxRows, MaxCols>, S> {};
template <class S, int Options> struct dsc_Dense<Eigen::Quaternion<S, Options>> {
  static constexpr bool IsOne = true;
  using Scalar = S;
  using Numbers = typename Eigen::Quaternion<S, Options>::Coefficients;
  template <class Self> static auto& Of(Self& value) { return value.coeffs(); }
};
template <class S, int Dim, int Mode, int Options> struct dsc_Dense<Eigen::Transform<S, Dim, Mode, Options>> {
  static constexpr bool IsOne = true;
  using Scalar = S;
  using Numbers = typename Eigen::Transform<S, Dim, Mode, Options>::MatrixType;
  template <class Self> static auto& Of(Self& value) { return value.matrix(); }
};

template <class T>
concept dsc_IsDense = dsc_Dense<T>::IsOne && dsc_IsElement<typename dsc_Dense<T>::Scalar>;

/// The numbers of a fixed size, or 0.
template <class T>
inline constexpr int dsc_DenseCount = std::max(0, static_cast<int>(dsc_Dense<T>::Numbers::SizeAtCompileTime));
template <class T>
concept dsc_IsFixedDense = dsc_IsDense<T> &&(dsc_DenseCount<T> != 0);
template <class T>
concept dsc_IsDynamicDense = dsc_IsDense<T> &&(dsc_Dense<T>::Numbers::SizeAtCompileTime == Eigen::Dynamic);
template <class T>
concept dsc_IsDynamicVector = dsc_IsDynamicDense<T> &&(dsc_Dense<T>::Numbers::IsVectorAtCompileTime != 0);
template <class T>
concept dsc_IsDynamicMatrix = dsc_IsDynamicDense<T> &&(dsc_Dense<T>::Numbers::IsVectorAtCompileTime == 0);

// --- The numbers of a matrix, row by row.

struct dsc_RowByRow {
  /// Calls `act` with each number of a dense type.
  template <class T, class Act> static void ForEach(T& value, Act act) {
    auto& numbers = dsc_Dense<std::remove_const_t<T>>::Of(value);
    for (Eigen::Index row = 0; row < numbers.rows(); ++row)
      for (Eigen::Index column = 0; column < numbers.cols(); ++column) act(numbers(row, column));
  }

  /// Whether the numbers lie in memory row by row.
  template <class Numbers>
  static constexpr bool IsInMemory = Numbers::IsVectorAtCompileTime != 0 || Numbers::IsRowMajor != 0;

  /// Calls `act` with runs of numbers that lie one after the other: all at once, or copies of some rows.
  template <class Numbers, class Act> static void ForEachRun(Numbers const& numbers, Act act) {
    if constexpr (IsInMemory<Numbers>)
      act(numbers.data(), numbers.size());
    else
      ForSomeRows(numbers, [&](auto* copies, Eigen::Index first, Eigen::Index rows) {
        ForEachCopy(numbers, copies, first, rows, [](auto const& number, auto& copy) { copy = number; });
        act(copies, rows * numbers.cols());
      });
  }
  /// The same, where `act` sets the numbers.
  template <class Numbers, class Act> static void SetEachRun(Numbers& numbers, Act act) {
    if constexpr (IsInMemory<Numbers>)
      act(numbers.data(), numbers.size());
    else
      ForSomeRows(numbers, [&](auto* copies, Eigen::Index first, Eigen::Index rows) {
        act(copies, rows * numbers.cols());
        ForEachCopy(numbers, copies, first, rows, [](auto& number, auto const& copy) { number = copy; });
      });
  }

 private:
  /// So many numbers are copied at once that the copies stay in a cache.
  static constexpr Eigen::Index MaxCopied = 1 << 16;

  /// Calls `act` with room for the numbers of some rows, the first of these, and their number.
  template <class Numbers, class Act> static void ForSomeRows(Numbers& numbers, Act act) {
    Eigen::Index const all = numbers.rows();
    if (numbers.size() == 0) return;
    Eigen::Index const step = std::clamp<Eigen::Index>(MaxCopied / numbers.cols(), 1, all);
    auto const copies =
        std::make_unique<typename Numbers::Scalar[]>(static_cast<std::size_t>(step * numbers.cols()));
    for (Eigen::Index first = 0; first < all; first += step)
      act(copies.get(), first, std::min(step, all - first));
  }
  /// Calls `act` with the numbers of some rows and their copies, column by column.
  template <class Numbers, class Scalar, class Act>
  static void ForEachCopy(Numbers& numbers, Scalar* copies, Eigen::Index first, Eigen::Index rows, Act act) {
    Eigen::Index const columns = numbers.cols();
    for (Eigen::Index column = 0; column < columns; ++column)
      for (Eigen::Index row = 0; row < rows; ++row)
        act(numbers.coeffRef(first + row, column), copies[row * columns + column]);
  }
};

/// Lists of numbers that lie in memory one after the other.
template <class Scalar> struct dsc_Runs {
  using Plain = typename dsc_PlainElement<Scalar>::Type;
  static constexpr bool IsRun = std::is_same_v<Scalar, Plain> && !std::is_same_v<Plain, bool>;

  static void Append(cls_WriteListPrim<Plain>& builder, Scalar const* run, Eigen::Index count) {
    if constexpr (IsRun) {
      if (count != 0) builder.AppendRun(static_cast<int>(count), run);
    } else {
      for (Eigen::Index i = 0; i < count; ++i) builder.Append(dsc_ToPlain<Plain>(run[i]));
    }
  }
  template <class Cursor>
  static void Next(Cursor& cursor, Scalar* run, Eigen::Index count, dsc_Where const& where) {
    if constexpr (IsRun) {
      cursor.NextRun(run, count);
    } else {
      for (Eigen::Index i = 0; i < count; ++i) run[i] = dsc_FromPlain<Scalar>(cursor.Next(), where);
    }
  }

  /// Refuses more numbers than a list may have.
  template <class Name> static void CheckSize(dsc_Out const& out, Eigen::Index count) {
    dsc_CheckListSize<Name>(out, static_cast<std::size_t>(count));
  }
};

/// The list of a matrix's numbers. `Width`: how many of the list's elements are a row of it.
template <class Numbers, int Width> struct dsc_DenseList {
  using Scalar = typename Numbers::Scalar;
  using Runs = dsc_Runs<Scalar>;
  using Plain = typename Runs::Plain;

  template <class Name>
  static void Write(dsc_Out const& out, dsc_Place at, void const* container, Numbers const& numbers) {
    Runs::template CheckSize<Name>(out, numbers.size());
    dsc_WriteList<Name, Plain>(out, at, container, Width, [&](cls_WriteListPrim<Plain>& builder) {
      dsc_RowByRow::ForEachRun(
          numbers, [&builder](Scalar const* run, Eigen::Index count) { Runs::Append(builder, run, count); });
    });
  }
  /// `resize` gets the number of stored numbers, and makes room for them or raises.
  template <class Name, class Resize>
  static void Read(dsc_In const& in, dsc_Place at, Numbers& numbers, Resize resize) {
    dsc_ColumnCursor<Name, Plain, Width> cursor(in, at);
    resize(cursor.Count());
    dsc_RowByRow::SetEachRun(
        numbers, [&](Scalar* run, Eigen::Index inRun) { Runs::Next(cursor, run, inRun, in.Where<Name>()); });
    cursor.CheckEnd();
  }
};

/// Whether a stored size is one that the member may have.
template <int Fixed, int Max> [[nodiscard]] constexpr bool dsc_MayBeSize(long long size) noexcept {
  if constexpr (Fixed != Eigen::Dynamic)
    return size == Fixed;
  else
    return size >= 0 && (Max == Eigen::Dynamic || size <= Max);
}
template <class Numbers> [[nodiscard]] bool dsc_MayHaveSizes(long long rows, long long columns) noexcept {
  return dsc_MayBeSize<Numbers::RowsAtCompileTime, Numbers::MaxRowsAtCompileTime>(rows) &&
         dsc_MayBeSize<Numbers::ColsAtCompileTime, Numbers::MaxColsAtCompileTime>(columns);
}

/// Refuses sizes that are no stored integers.
template <class Name> void dsc_CheckSizes(dsc_Out const& out, Eigen::Index rows, Eigen::Index columns) {
  if (std::max(rows, columns) > std::numeric_limits<int>::max())
    dsc_Raise(out.m_Class, Name::View(), "a matrix has at most 2147483647 rows and columns.");
}

// --- Fixed sizes: an array.

/// How many of a list's elements are a row of a fixed-size member: one row of a matrix, one number of a vector.
template <dsc_IsFixedDense T>
inline constexpr int dsc_FixedWidth =
    dsc_Dense<T>::Numbers::IsVectorAtCompileTime ? 1 : int{dsc_Dense<T>::Numbers::ColsAtCompileTime};

template <dsc_IsFixedDense T> inline constexpr int dsc_RowWidth<T> = dsc_DenseCount<T>;

template <dsc_IsFixedDense T> struct dsc_Stored<T> {
  using Dense = dsc_Dense<T>;
  using Column = dsc_Column<typename Dense::Scalar>;
  using List = dsc_DenseList<typename Dense::Numbers, dsc_FixedWidth<T>>;
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    List::template Write<Name>(out, at, nullptr, Dense::Of(value));
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.DataIsPresent(Name::Handle(at.m_Number)) != 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    if (!IsPresent<Name>(in, at)) return;
    List::template Read<Name>(in, at, Dense::Of(value), [&](long long stored) {
      if (stored != dsc_DenseCount<T>) dsc_RaiseCount(in.Where<Name>(), stored, dsc_DenseCount<T>);
    });
  }
};

template <dsc_IsFixedDense T>
struct dsc_Column<T> : dsc_ArrayColumn<T, typename dsc_Dense<T>::Scalar,
                                       static_cast<std::size_t>(dsc_DenseCount<T>), dsc_RowByRow> {};

// --- A vector of dynamic size: a list.

template <dsc_IsDynamicVector T> struct dsc_Stored<T> {
  using Scalar = typename dsc_Dense<T>::Scalar;
  using Column = dsc_Column<Scalar>;
  using List = dsc_DenseList<T, 1>;
  static constexpr int Fields = 1;
  static constexpr int Collections = 1;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    List::template Write<Name>(out, at, &value, value);
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.FieldIsPresent(Name::Handle(at.m_Number)) != 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    if (in.m_Visitor.DataIsPresent(Name::Handle(at.m_Number)) == 0) return;
    List::template Read<Name>(in, at, value, [&](long long stored) {
      if (!dsc_MayBeSize<Eigen::Dynamic, T::MaxSizeAtCompileTime>(stored))
        dsc_RaiseValue(in.Where<Name>(), stored);
      value.resize(static_cast<Eigen::Index>(stored));
    });
  }
};

// --- A matrix with a dynamic size: its sizes, and a list.

template <dsc_IsDynamicMatrix T> struct dsc_Stored<T> {
  using Scalar = typename dsc_Dense<T>::Scalar;
  using Size = dsc_Stored<int>;
  using List = dsc_DenseList<T, 1>;
  static constexpr bool HasRows = T::RowsAtCompileTime == Eigen::Dynamic;
  static constexpr bool HasCols = T::ColsAtCompileTime == Eigen::Dynamic;
  static constexpr int Sizes = int{HasRows} + int{HasCols};
  static constexpr int Fields = Sizes + 1;
  static constexpr int Collections = 1;
  template <class Name> using Rows = dsc_WithSuffix<Name, ".rows">;
  template <class Name> using Cols = dsc_WithSuffix<Name, ".cols">;
  template <class Name> using Values = dsc_WithSuffix<Name, ".values">;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    if constexpr (HasRows) Size::template Declare<Rows<Name>>(to.WithoutUnit(), at);
    if constexpr (HasCols) Size::template Declare<Cols<Name>>(to.WithoutUnit(), AtCols(at));
    dsc_Column<Scalar>::template Declare<Values<Name>>(to, at.Plus(Sizes, 0));
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    dsc_CheckSizes<Name>(out, value.rows(), value.cols());
    if constexpr (HasRows) Size::template Write<Rows<Name>>(out, at, static_cast<int>(value.rows()));
    if constexpr (HasCols) Size::template Write<Cols<Name>>(out, AtCols(at), static_cast<int>(value.cols()));
    List::template Write<Values<Name>>(out, at.Plus(Sizes, 0), nullptr, value);
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return in.m_Visitor.DataIsPresent(Values<Name>::Handle(at.Plus(Sizes, 0).m_Number)) != 0;
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    if (!IsPresent<Name>(in, at)) return;
    int rows = HasRows ? 0 : T::RowsAtCompileTime;
    int columns = HasCols ? 0 : T::ColsAtCompileTime;
    if constexpr (HasRows) Size::template Read<Rows<Name>>(in, at, rows);
    if constexpr (HasCols) Size::template Read<Cols<Name>>(in, AtCols(at), columns);
    if (!dsc_MayHaveSizes<T>(rows, columns)) dsc_RaiseSizes(in.Where<Name>(), rows, columns);
    List::template Read<Values<Name>>(in, at.Plus(Sizes, 0), value, [&](long long stored) {
      long long const count = 1LL * rows * columns;
      if (stored != count) dsc_RaiseCount(in.Where<Values<Name>>(), stored, count);
      value.resize(rows, columns);
    });
  }

 private:
  static constexpr dsc_Place AtCols(dsc_Place at) noexcept { return at.Plus(int{HasRows}, 0); }
};

// --- Those of dynamic sizes in lists: what they are as values of the language, and columns of these.

/// A matrix as a value.
template <class T> struct dsc_Table {
  using kvl_Self = dsc_Table;
  using kvl_Value = void;
  using Scalar = typename dsc_Dense<T>::Scalar;
  static constexpr void Describe(auto& field) {
    if constexpr (T::RowsAtCompileTime == Eigen::Dynamic)
      field(dsc_Name<"rows">(), &dsc_Table::m_Rows);
    else
      field(dsc_Name<"rows">(), &dsc_Table::m_Rows, kvl::Transient());
    if constexpr (T::ColsAtCompileTime == Eigen::Dynamic)
      field(dsc_Name<"cols">(), &dsc_Table::m_Cols);
    else
      field(dsc_Name<"cols">(), &dsc_Table::m_Cols, kvl::Transient());
    field(dsc_Name<"values">(), &dsc_Table::m_Values);
  }
  int m_Rows = std::max(0, int{T::RowsAtCompileTime});
  int m_Cols = std::max(0, int{T::ColsAtCompileTime});
  std::vector<Scalar> m_Values;
};
template <class T> inline constexpr bool dsc_IsKeyOf<dsc_Table<T>, dsc_Name<"rows">> = true; // without a unit
template <class T> inline constexpr bool dsc_IsKeyOf<dsc_Table<T>, dsc_Name<"cols">> = true;

/// How a value that is no sequence is stored in lists. A specialisation has
///
///     using Value = ...; // what is stored
///     static void Check(dsc_Out const& out, T const& value); // `Name` is a template argument
///     static Value To(T const& value);
///     static void From(Value const& stored, T& value, dsc_Where const& where);
template <class T> struct dsc_InLists;

template <dsc_IsDynamicVector T> struct dsc_InLists<T> {
  using Value = std::vector<typename dsc_Dense<T>::Scalar>;
  template <class Name> static void Check(dsc_Out const& out, T const& value) {
    dsc_CheckSizes<Name>(out, value.size(), 0);
  }
  static Value To(T const& value) { return Value(value.data(), value.data() + value.size()); }
  static void From(Value const& stored, T& value, dsc_Where const& where) {
    auto const count = static_cast<long long>(stored.size());
    if (!dsc_MayBeSize<Eigen::Dynamic, T::MaxSizeAtCompileTime>(count)) dsc_RaiseValue(where, count);
    value.resize(static_cast<Eigen::Index>(count));
    std::copy(stored.begin(), stored.end(), value.data());
  }
};

template <dsc_IsDynamicMatrix T> struct dsc_InLists<T> {
  using Value = dsc_Table<T>;
  template <class Name> static void Check(dsc_Out const& out, T const& value) {
    dsc_CheckSizes<Name>(out, value.rows(), value.cols());
    dsc_CheckSizes<Name>(out, value.size(), 0);
  }
  static Value To(T const& value) {
    Value table;
    table.m_Rows = static_cast<int>(value.rows());
    table.m_Cols = static_cast<int>(value.cols());
    table.m_Values.reserve(static_cast<std::size_t>(value.size()));
    dsc_RowByRow::ForEach(value, [&table](auto const& number) { table.m_Values.push_back(number); });
    return table;
  }
  static void From(Value const& stored, T& value, dsc_Where const& where) {
    if (!dsc_MayHaveSizes<T>(stored.m_Rows, stored.m_Cols))
      dsc_RaiseSizes(where, stored.m_Rows, stored.m_Cols);
    auto const count = static_cast<long long>(stored.m_Values.size());
    if (count != 1LL * stored.m_Rows * stored.m_Cols)
      dsc_RaiseCount(where, count, 1LL * stored.m_Rows * stored.m_Cols);
    value.resize(stored.m_Rows, stored.m_Cols);
    std::size_t next = 0;
    dsc_RowByRow::ForEach(value, [&](auto& number) { number = stored.m_Values[next++]; });
  }
};

template <class T>
requires requires {
  typename dsc_InLists<T>::Value;
}
struct dsc_Column<T> {
  using InLists = dsc_InLists<T>;
  using Column = dsc_Column<typename InLists::Value>;
  static constexpr int Fields = Column::Fields;
  static constexpr int Collections = Column::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Column::template Declare<Name>(to, at);
  }
  template <class Name, class ForEach> static void Write(dsc_Out const& out, dsc_Place at, ForEach forEach) {
    std::vector<typename InLists::Value> values;
    forEach([&](T const& value) {
      InLists::template Check<Name>(out, value);
      values.push_back(InLists::To(value));
    });
    Column::template Write<Name>(out, at, [&values](auto act) {
      for (auto const& value : values) act(value);
    });
  }
  template <class Name, class ForEach> static void Read(dsc_In const& in, dsc_Place at, ForEach forEach) {
    std::vector<typename InLists::Value> values;
    forEach([&values](T&) { values.emplace_back(); });
    Column::template Read<Name>(in, at, [&values](auto act) {
      for (auto& value : values) act(value);
    });
    std::size_t next = 0;
    forEach([&](T& value) { InLists::From(values[next++], value, in.Where<Name>()); });
  }
  template <class Name> static long long Count(dsc_In const& in, dsc_Place at) {
    return Column::template Count<Name>(in, at);
  }
};

// --- Constants, and what is no value.

/// kvl::Since has a std::array of the numbers.
template <dsc_IsDense T> struct dsc_FromConstant<T> {
  template <class Value> static void Assign(T& member, Value const& value) {
    constexpr bool IsIt =
        dsc_IsArray<Value> && (dsc_IsDynamicVector<T> || CountOf<Value>() == dsc_DenseCount<T>);
    static_assert(
        IsIt, "a member of one of Eigen's types gets its value from a std::array of its numbers, row by row");
    if constexpr (IsIt) {
      if constexpr (dsc_IsDynamicVector<T>) member.resize(static_cast<Eigen::Index>(value.size()));
      std::size_t next = 0;
      dsc_RowByRow::ForEach(member, [&](auto& number) { number = value[next++]; });
    }
  }

 private:
  template <class Value> [[nodiscard]] static consteval int CountOf() {
    if constexpr (dsc_IsArray<Value>)
      return static_cast<int>(std::tuple_size<Value>::value);
    else
      return -1;
  }
};

/// Refuses to compile a view of numbers that something else has. The rest is that of a type that cannot be stored.
template <int CollectionCount> struct dsc_NotOwned {
  static constexpr int Fields = 1;
  static constexpr int Collections = CollectionCount;
  template <class Name> static void Declare(dsc_Declaring const&, dsc_Place) {
    static_assert(
        sizeof(Name) == 0,
        "an Eigen::Map or an Eigen::Ref has no numbers of its own: store a matrix, or convert it to "
        "one with kvl::As");
  }
  template <class Name, class Value> static void Write(dsc_Out const&, dsc_Place, Value const&) {}
  template <class Name> static bool IsPresent(dsc_In const&, dsc_Place) { return false; }
  template <class Name, class Value> static void Read(dsc_In const&, dsc_Place, Value&&) {}
  template <class Name> static long long Count(dsc_In const&, dsc_Place) { return -1; }
};
template <class Numbers, int Options, class Stride>
struct dsc_Stored<Eigen::Map<Numbers, Options, Stride>> : dsc_NotOwned<0> {};
template <class Numbers, int Options, class Stride>
struct dsc_Stored<Eigen::Ref<Numbers, Options, Stride>> : dsc_NotOwned<0> {};
template <class Numbers, int Options, class Stride>
struct dsc_Column<Eigen::Map<Numbers, Options, Stride>> : dsc_NotOwned<1> {};
template <class Numbers, int Options, class Stride>
struct dsc_Column<Eigen::Ref<Numbers, Options, Stride>> : dsc_NotOwned<1> {};

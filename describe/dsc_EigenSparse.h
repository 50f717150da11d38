#pragma once

#include <Eigen/SparseCore>
#include <deque>
#include <string>
#include <string_view>
#include <type_traits>
#include <vector>

#include "describe/dsc_Eigen.h"

// Members of type Eigen::SparseMatrix, also in lists, maps and values. Include this header beside dsc_Described.h.
// A matrix is stored in its compressed form, as it is in memory then: `.rows` and `.cols`, and for a matrix by columns
// `.colStarts`, `.rowIndices` and `.values`; for one by rows `.rowStarts`, `.colIndices` and `.values`. So the order is
// a part of what is stored: to change it, store the member as one of the other order with kvl::As.
//
// A matrix that is not compressed is not changed by saving it; a copy is compressed. One that is loaded is compressed.
// Zeros that it has as numbers are kept.
//
// Errors: nex_TextException for lists whose lengths do not fit each other, for starts that decrease, for indices out of
// range or not in increasing order; when a matrix is loaded, and for the indices also when it is saved.

/// What the lists of a compressed matrix are called.
template <bool IsByRows> struct dsc_SparseNames {
  using Starts = dsc_Name<"colStarts">;
  using Indices = dsc_Name<"rowIndices">;
};
template <> struct dsc_SparseNames<true> {
  using Starts = dsc_Name<"rowStarts">;
  using Indices = dsc_Name<"colIndices">;
};

/// A sequence that is stored as a list of numbers; a std::vector of bytes would be a blob.
template <class Number>
using dsc_NumberList =
    std::conditional_t<dsc_IsBytes<std::vector<Number>>, std::deque<Number>, std::vector<Number>>;

/// A compressed matrix as a value.
template <class T> struct dsc_Compressed {
  using kvl_Self = dsc_Compressed;
  using kvl_Value = void;
  using Names = dsc_SparseNames<T::IsRowMajor != 0>;
  static constexpr void Describe(auto& field) {
    field(dsc_Name<"rows">(), &dsc_Compressed::m_Rows);
    field(dsc_Name<"cols">(), &dsc_Compressed::m_Cols);
    field(typename Names::Starts(), &dsc_Compressed::m_Starts);
    field(typename Names::Indices(), &dsc_Compressed::m_Indices);
    field(dsc_Name<"values">(), &dsc_Compressed::m_Values);
  }
  int m_Rows = 0;
  int m_Cols = 0;
  std::vector<typename T::StorageIndex> m_Starts;
  std::vector<typename T::StorageIndex> m_Indices;
  dsc_NumberList<typename T::Scalar> m_Values;
};
/// Only the values have a unit.
template <class T> inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, dsc_Name<"rows">> = true;
template <class T> inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, dsc_Name<"cols">> = true;
template <class T>
inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, typename dsc_SparseNames<false>::Starts> = true;
template <class T>
inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, typename dsc_SparseNames<false>::Indices> = true;
template <class T>
inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, typename dsc_SparseNames<true>::Starts> = true;
template <class T>
inline constexpr bool dsc_IsKeyOf<dsc_Compressed<T>, typename dsc_SparseNames<true>::Indices> = true;

/// Finds what is wrong in a compressed matrix, and raises.
template <class T> class dsc_SparseCheck {
 public:
  using Index = typename T::StorageIndex;
  using Names = dsc_SparseNames<T::IsRowMajor != 0>;

  explicit dsc_SparseCheck(dsc_Where const& where) : m_Where(where) {}

  /// The starts of a stored matrix, and how many indices and values it has.
  void CheckStarts(dsc_Compressed<T> const& matrix) const {
    long long const outer = T::IsRowMajor ? matrix.m_Rows : matrix.m_Cols;
    if (std::min(matrix.m_Rows, matrix.m_Cols) < 0) dsc_RaiseSizes(m_Where, matrix.m_Rows, matrix.m_Cols);
    auto const& starts = matrix.m_Starts;
    if (static_cast<long long>(starts.size()) != outer + 1)
      Raise<typename Names::Starts>("the stored list has " + std::to_string(starts.size()) +
                                    " numbers, and not " + std::to_string(outer + 1) + ".");
    if (starts.front() != 0 || !std::is_sorted(starts.begin(), starts.end()))
      Raise<typename Names::Starts>("the numbers do not begin with 0, or one is less than that before it.");
    CheckCount<typename Names::Indices>(matrix.m_Indices.size(), starts.back());
    CheckCount<dsc_Name<"values">>(matrix.m_Values.size(), starts.back());
  }
  /// The indices of each column, or row. REQUIRES: the starts are right.
  void CheckIndices(Eigen::Index outer, Eigen::Index inner, Index const* starts, Index const* indices) const {
    for (Eigen::Index i = 0; i < outer; ++i) {
      long long last = -1;
      for (Index at = starts[i]; at < starts[i + 1]; ++at) {
        if (indices[at] <= last || indices[at] >= inner) RaiseIndex(i, indices[at]);
        last = indices[at];
      }
    }
  }

 private:
  template <class Part> void CheckCount(std::size_t count, Index asked) const {
    if (static_cast<long long>(count) != static_cast<long long>(asked))
      Raise<Part>("the list has " + std::to_string(count) + " elements, and not " + std::to_string(asked) +
                  ", as the matrix has numbers.");
  }
  [[noreturn]] void RaiseIndex(Eigen::Index outer, Index index) const {
    Raise<typename Names::Indices>("the index " + std::to_string(index) +
                                   (T::IsRowMajor ? " in row " : " in column ") + std::to_string(outer) +
                                   " is out of range, or not greater than that before it.");
  }
  template <class Part> [[noreturn]] void Raise(std::string_view problem) const {
    std::string const field = std::string(m_Where.m_Field).append(".").append(Part::View());
    dsc_Raise(m_Where.m_Class, field, problem);
  }

  dsc_Where m_Where;
};

template <class T> inline constexpr bool dsc_IsSparseMatrix = false;
template <class S, int Options, class Index>
inline constexpr bool dsc_IsSparseMatrix<Eigen::SparseMatrix<S, Options, Index>> = true;
template <class T>
concept dsc_IsSparse =
    dsc_IsSparseMatrix<T> && dsc_IsElement<typename T::Scalar> && dsc_IsInteger<typename T::StorageIndex>;

template <dsc_IsSparse T> struct dsc_InLists<T> {
  using Value = dsc_Compressed<T>;
  using Index = typename T::StorageIndex;

  /// Calls `act` with the matrix, or with a copy that is compressed.
  template <class Act> static void AsCompressed(T const& value, Act act) {
    if (value.isCompressed()) return act(value);
    T compressed = value;
    compressed.makeCompressed();
    act(compressed);
  }

  /// Refuses what a load would refuse. REQUIRES: the matrix is compressed.
  template <class Name> static void CheckCompressed(dsc_Out const& out, T const& value) {
    dsc_CheckSizes<Name>(out, value.rows(), value.cols());
    dsc_Runs<typename T::Scalar>::template CheckSize<Name>(out, value.nonZeros());
    dsc_Runs<Index>::template CheckSize<Name>(out, std::max(value.nonZeros(), value.outerSize() + 1));
    dsc_SparseCheck<T>({out.m_Class, Name::View()})
        .CheckIndices(value.outerSize(), value.innerSize(), value.outerIndexPtr(), value.innerIndexPtr());
  }
  template <class Name> static void Check(dsc_Out const& out, T const& value) {
    AsCompressed(value, [&out](T const& matrix) { CheckCompressed<Name>(out, matrix); });
  }
  static Value To(T const& value) {
    Value stored;
    AsCompressed(value, [&stored](T const& matrix) {
      stored.m_Rows = static_cast<int>(matrix.rows());
      stored.m_Cols = static_cast<int>(matrix.cols());
      stored.m_Starts.assign(matrix.outerIndexPtr(), matrix.outerIndexPtr() + matrix.outerSize() + 1);
      stored.m_Indices.assign(matrix.innerIndexPtr(), matrix.innerIndexPtr() + matrix.nonZeros());
      stored.m_Values.assign(matrix.valuePtr(), matrix.valuePtr() + matrix.nonZeros());
    });
    return stored;
  }
  static void From(Value const& stored, T& value, dsc_Where const& where) {
    dsc_SparseCheck<T> const check(where);
    check.CheckStarts(stored);
    int const outer = T::IsRowMajor ? stored.m_Rows : stored.m_Cols;
    int const inner = T::IsRowMajor ? stored.m_Cols : stored.m_Rows;
    check.CheckIndices(outer, inner, stored.m_Starts.data(), stored.m_Indices.data());
    value.resize(stored.m_Rows, stored.m_Cols);
    value.resizeNonZeros(static_cast<Eigen::Index>(stored.m_Indices.size()));
    std::copy(stored.m_Starts.begin(), stored.m_Starts.end(), value.outerIndexPtr());
    std::copy(stored.m_Indices.begin(), stored.m_Indices.end(), value.innerIndexPtr());
    std::copy(stored.m_Values.begin(), stored.m_Values.end(), value.valuePtr());
  }
};

/// A matrix alone: its numbers go into the lists from where they are.
template <dsc_IsSparse T> struct dsc_Stored<T> {
  using InLists = dsc_InLists<T>;
  using Like = dsc_Stored<dsc_Compressed<T>>;
  using Names = dsc_SparseNames<T::IsRowMajor != 0>;
  static constexpr int Fields = Like::Fields;
  static constexpr int Collections = Like::Collections;

  template <class Name> static void Declare(dsc_Declaring const& to, dsc_Place at) {
    Like::template Declare<Name>(to, at);
  }
  template <class Name> static void Write(dsc_Out const& out, dsc_Place at, T const& value) {
    InLists::AsCompressed(value, [&](T const& matrix) {
      InLists::template CheckCompressed<Name>(out, matrix);
      WriteSize<dsc_WithSuffix<Name, ".rows">>(out, at, matrix.rows());
      WriteSize<dsc_WithSuffix<Name, ".cols">>(out, at.Plus(1, 0), matrix.cols());
      Eigen::Index const count = matrix.nonZeros();
      WriteList<dsc_Part<Name, typename Names::Starts>>(out, at.Plus(2, 0), matrix.outerIndexPtr(),
                                                        matrix.outerSize() + 1);
      WriteList<dsc_Part<Name, typename Names::Indices>>(out, at.Plus(3, 1), matrix.innerIndexPtr(), count);
      WriteList<dsc_WithSuffix<Name, ".values">>(out, at.Plus(4, 2), matrix.valuePtr(), count);
    });
  }
  template <class Name> static bool IsPresent(dsc_In const& in, dsc_Place at) {
    return Like::template IsPresent<Name>(in, at);
  }
  template <class Name> static void Read(dsc_In const& in, dsc_Place at, T& value) {
    if (!IsPresent<Name>(in, at)) return;
    dsc_Compressed<T> stored;
    Like::template Read<Name>(in, at, stored);
    InLists::From(stored, value, in.Where<Name>());
  }

 private:
  template <class Name> static void WriteSize(dsc_Out const& out, dsc_Place at, Eigen::Index size) {
    dsc_Stored<int>::Write<Name>(out, at, static_cast<int>(size));
  }
  template <class Name, class Number>
  static void WriteList(dsc_Out const& out, dsc_Place at, Number const* numbers, Eigen::Index count) {
    using Runs = dsc_Runs<Number>;
    dsc_WriteList<Name, typename Runs::Plain>(out, at, nullptr, 1,
                                              [&](auto& builder) { Runs::Append(builder, numbers, count); });
  }
};

#pragma once

#include "collections/cls_ArrayPrim.h"

/// Persistent array that is addressed by row and column: element (row, column) is element row * Columns() +
/// column of a cls_ArrayPrim, so rows are contiguous.
///
/// The column count is not stored: every constructor but the copy constructor sets it to 1, also the reading
/// one; the owner then calls SetColumns. Row and column are not checked on their own, only the flat index is.
///
/// Otherwise as cls_ArrayPrim. `T` is float or double.
template <class T> class cls_2dArrayPrim : public cls_ArrayPrim<T> {
 public:
  using Buffer = cls_ArrayPrimBuffer<T>;

  /// An empty array in memory, one column.
  cls_2dArrayPrim() = default;
  /// As cls_ArrayPrim's; also takes the other's column count.
  cls_2dArrayPrim(cls_2dArrayPrim const& other) = default;
  /// Opens a stored array, one column.
  explicit cls_2dArrayPrim(cls_ReadVisitor const& visitor) : cls_ArrayPrim<T>(visitor) {}
  ~cls_2dArrayPrim() override = default;

  /// Shares the other's blocks and agent and takes its identity and column count. Intentional: unlike
  /// cls_ArrayPrim's assignment, it only drops its reference on the old agent (no flush, no deletion, no
  /// change of the ring) and does not register with the new one. Flush first.
  cls_2dArrayPrim& operator=(cls_2dArrayPrim const& other);

  /// As cls_ArrayPrim's, declared as a two-dimensional collection.
  void DBWrite(cls_WriteVisitor const& visitor) const override;

  void Append(T const& value) {
    Buffer const& buffer = *GetBuffer(this->Size());
    buffer.At(this->Size()) = value;
    buffer.SetDirty(true);
    this->SetLength(this->Size() + 1);
  }
  void AppendBlock(T const* values, int count);

  [[nodiscard]] T const& ConstGet(int row, int column) const {
    int const index = IndexOf(row, column);
    Buffer const* const buffer = GetBuffer(index);
    if (buffer == nullptr) [[unlikely]]
      this->ReportRange("ConstGet", Name);
    return buffer->At(index);
  }
  [[nodiscard]] T& Get(int row, int column) {
    int const index = IndexOf(row, column);
    Buffer const* const buffer = GetBuffer(index);
    if (buffer == nullptr) [[unlikely]]
      this->ReportRange("Get", Name);
    buffer->SetDirty(true);
    return buffer->At(index);
  }

  [[nodiscard]] int Columns() const noexcept { return m_Columns; }
  /// Sets the row stride of the index arithmetic. Moves no element. REQUIRES: at least 1.
  void SetColumns(int columns) noexcept { m_Columns = columns; }

 private:
  static constexpr char Name[] = "cls_2dArrayPrim";

  /// 32-bit arithmetic; overflow is not checked and wraps.
  [[nodiscard]] int IndexOf(int row, int column) const noexcept {
    return static_cast<int>(static_cast<unsigned int>(row) * static_cast<unsigned int>(m_Columns) +
                            static_cast<unsigned int>(column));
  }

  Buffer* GetBuffer(int index) const { return this->GetBufferAs(index, Name); }

  int m_Columns = 1;
};

using cls_2dArrayPrimFloat = cls_2dArrayPrim<float>;
using cls_2dArrayPrimDouble = cls_2dArrayPrim<double>;

extern template class KVL_EXPORT cls_2dArrayPrim<float>;
extern template class KVL_EXPORT cls_2dArrayPrim<double>;

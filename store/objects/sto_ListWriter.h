#pragma once

#include <cstdint>
#include <memory>

#include "persist/backend/cls_MoreLists.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_IdCodec.h"
#include "store/objects/sto_RecordInProgress.h"

/// Builder of an object's list. Each full block is written to the store at once, so a long list is never held
/// in memory; a list of one short block is stored in the object's record. The list is complete when the
/// builder is deleted. Misuse if the elements are not a whole number of rows. Internal to the module.
template <class T> class sto_ListWriter final : public cls_WriteListPrim<T> {
 public:
  sto_ListWriter(sto_RecordInProgressRef object, int width);
  ~sto_ListWriter() override;

  [[nodiscard]] int Count() const noexcept { return m_Count; }
  void AppendRun(int count, T const* elements) override;
  void Append(T const& element) override;

 private:
  [[noreturn]] void RaiseFull(char const* what);
  int AppendToBlock(int count, T const* elements);
  void FlushBlock();
  void Complete();

  sto_RecordInProgressRef m_Object;
  int m_Width;
  int m_Count = 0;
  int m_InBlock = 0;
  std::uint64_t m_Hash = sto_ElementCodec<T>::ElementType;
  sto_IdEncoder m_Ids; // of a list of objects
  sto_Bytes m_Elements;
};

extern template class sto_ListWriter<bool>;
extern template class sto_ListWriter<cow_String>;
extern template class sto_ListWriter<float>;
extern template class sto_ListWriter<double>;
extern template class sto_ListWriter<unsigned int>;
extern template class sto_ListWriter<int>;
extern template class sto_ListWriter<signed char>;
extern template class sto_ListWriter<unsigned char>;
extern template class sto_ListWriter<short>;
extern template class sto_ListWriter<unsigned short>;
extern template class sto_ListWriter<long long>;
extern template class sto_ListWriter<unsigned long long>;
extern template class sto_ListWriter<cls_Complex<float>>;
extern template class sto_ListWriter<cls_Complex<double>>;
extern template class sto_ListWriter<sto_ObjectId>;

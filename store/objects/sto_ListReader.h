#pragma once

#include <string>

#include "persist/backend/cls_MoreLists.h"
#include "store/format/sto_ElementCodec.h"
#include "store/session/sto_Session.h"
#include "store/session/sto_StoredBlocks.h"

/// Cursor over an object's list; holds one block at a time. Damaged if the stored bytes do not fit the list's
/// header, or the list is not a whole number of rows. Internal to the module.
template <class T> class sto_ListReader final : public cls_ReadListPrim<T> {
 public:
  /// An empty list, for an absent object.
  explicit sto_ListReader(sto_Session& session) : m_Session(session), m_Blocks(session, 0) {}

  /// The list of object `id`, whose record is `record`.
  sto_ListReader(sto_Session& session, std::int64_t id, sto_RecordRef record);

  int Count() override { return m_List.m_Count; }
  int RowWidth() override { return m_List.m_Width; }
  int More() override { return m_Index < m_List.m_Count ? 1 : 0; }
  int NextRun(int count, T* destination) override;
  T Next() override;

 private:
  int NextInBlock(int count, T* destination);
  void CheckEnd() const;
  void LoadBlock(int block);
  void StartInline();
  [[nodiscard]] std::string Describe() const { return "object " + std::to_string(m_Id); }
  [[noreturn]] void RaiseDamaged() const;

  sto_Session& m_Session;
  std::int64_t m_Id = 0;
  sto_RecordRef m_Record;
  sto_ListHeader m_List;
  sto_StoredBlocks m_Blocks;
  int m_Index = 0;
  sto_ByteReader m_Reader{{}};
};

extern template class sto_ListReader<bool>;
extern template class sto_ListReader<cow_String>;
extern template class sto_ListReader<float>;
extern template class sto_ListReader<double>;
extern template class sto_ListReader<unsigned int>;
extern template class sto_ListReader<int>;
extern template class sto_ListReader<signed char>;
extern template class sto_ListReader<unsigned char>;
extern template class sto_ListReader<short>;
extern template class sto_ListReader<unsigned short>;
extern template class sto_ListReader<long long>;
extern template class sto_ListReader<unsigned long long>;
extern template class sto_ListReader<cls_Complex<float>>;
extern template class sto_ListReader<cls_Complex<double>>;

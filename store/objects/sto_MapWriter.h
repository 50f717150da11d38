#pragma once

#include <memory>
#include <string>
#include <type_traits>

#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteObjects.h"
#include "store/format/sto_MapCodec.h"
#include "store/objects/sto_RecordInProgress.h"

/// Collects the entries of a map or an int table for an object's record, in the order of Add. The map is
/// complete when this is deleted. Internal to the module, as all classes here.
class sto_MapEntries {
 public:
  sto_MapEntries(sto_RecordInProgressRef object, sto_CollectionShape const& shape);
  sto_MapEntries(sto_MapEntries const&) = delete;
  sto_MapEntries& operator=(sto_MapEntries const&) = delete;
  ~sto_MapEntries();

  [[nodiscard]] int Count() const noexcept { return m_Count; }
  [[nodiscard]] sto_RecordInProgress& Object() noexcept { return *m_Object; }

  /// Adds an entry; `write` writes its value. Full if one record cannot hold the entries.
  template <class K, class Write> void Add(K const& key, Write write);

 private:
  [[noreturn]] void RaiseFull(char const* what);
  void Complete();

  sto_RecordInProgressRef m_Object;
  sto_CollectionShape m_Shape;
  int m_Count = 0;
  sto_Bytes m_Entries;
};

/// Builder of an object's map from K (int or cow_String) to values of T.
template <class K, class T> class sto_MapWriter final : public cls_WriteMapOf<K, T> {
 public:
  explicit sto_MapWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_MapShape<K, T>()) {}

  void Insert(K const& key, T const& value) override;

 private:
  sto_MapEntries m_Entries;
};

/// Builder of an object's map from K to objects.
template <class K> class sto_ObjectMapWriter final : public cls_WriteObjectMapOf<K> {
 public:
  explicit sto_ObjectMapWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_MapShape<K, sto_ObjectId>()) {}

  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override {
    return MakeWriteObjWithPtr(key, classId, uid, nullptr);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override;
  int Count() const override { return m_Entries.Count(); }

 private:
  sto_MapEntries m_Entries;
};

/// Builder of an object's int table.
class sto_IntTableWriter final : public cls_WriteIntTableInt {
 public:
  explicit sto_IntTableWriter(sto_RecordInProgressRef object)
      : m_Entries(std::move(object), sto_IntTableShape()) {}

  void Insert(int key, int value) override;

 private:
  sto_MapEntries m_Entries;
};

extern template class sto_ObjectMapWriter<int>;
extern template class sto_MapWriter<int, cow_String>;
extern template class sto_MapWriter<int, float>;
extern template class sto_MapWriter<int, double>;
extern template class sto_MapWriter<int, unsigned int>;
extern template class sto_MapWriter<int, int>;
extern template class sto_ObjectMapWriter<cow_String>;
extern template class sto_MapWriter<cow_String, cow_String>;
extern template class sto_MapWriter<cow_String, float>;
extern template class sto_MapWriter<cow_String, double>;
extern template class sto_MapWriter<cow_String, unsigned int>;
extern template class sto_MapWriter<cow_String, int>;

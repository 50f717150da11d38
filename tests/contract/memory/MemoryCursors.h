#pragma once

#include <algorithm>

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "tests/contract/memory/MemoryStorage.h"

// Builders and cursors. They keep their collection alive, and do not need their memento.

template <class T> class ListWriter : public cls_WriteListPrim<T> {
 public:
  explicit ListWriter(std::shared_ptr<List<T>> list) : m_List(std::move(list)) {}
  void AppendRun(int count, T const* elements) override {
    m_List->m_Elements.insert(m_List->m_Elements.end(), elements, elements + count);
  }
  void Append(T const& element) override { m_List->m_Elements.push_back(element); }

 private:
  std::shared_ptr<List<T>> m_List;
};

template <class K, class T> class MapWriter : public cls_WriteMapOf<K, T> {
 public:
  explicit MapWriter(std::shared_ptr<Map<K, T>> map) : m_Map(std::move(map)) {}
  void Insert(K const& key, T const& value) override { m_Map->m_Entries.emplace_back(key, value); }

 private:
  std::shared_ptr<Map<K, T>> m_Map;
};

class IntTableWriter : public cls_WriteIntTableInt {
 public:
  explicit IntTableWriter(std::shared_ptr<Map<int, int>> table) : m_Table(std::move(table)) {}
  void Insert(int key, int value) override { m_Table->m_Entries.emplace_back(key, value); }

 private:
  std::shared_ptr<Map<int, int>> m_Table;
};

class ObjectListWriter : public cls_WriteListObj {
 public:
  ObjectListWriter(std::shared_ptr<Pass> pass, std::shared_ptr<List<Stored*>> list)
      : m_Pass(std::move(pass)), m_List(std::move(list)) {}
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) override;
  int Count() const override { return static_cast<int>(m_List->m_Elements.size()); }

 private:
  std::shared_ptr<Pass> m_Pass;
  std::shared_ptr<List<Stored*>> m_List;
};

template <class K> class ObjectMapWriter : public cls_WriteObjectMapOf<K> {
 public:
  ObjectMapWriter(std::shared_ptr<Pass> pass, std::shared_ptr<Map<K, Stored*>> map)
      : m_Pass(std::move(pass)), m_Map(std::move(map)) {}
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override;
  int Count() const override { return static_cast<int>(m_Map->m_Entries.size()); }

 private:
  std::shared_ptr<Pass> m_Pass;
  std::shared_ptr<Map<K, Stored*>> m_Map;
};

template <class T> class ListReader : public cls_ReadListPrim<T> {
 public:
  explicit ListReader(std::shared_ptr<List<T>> list) : m_List(std::move(list)) {}
  int Count() override { return static_cast<int>(m_List->m_Elements.size()); }
  int RowWidth() override { return m_List->m_RowWidth; }
  int More() override { return m_Next < m_List->m_Elements.size() ? 1 : 0; }
  int NextRun(int count, T* destination) override {
    int read = 0;
    while (read < count && More() != 0) destination[read++] = Next();
    return read;
  }
  T Next() override { return m_List->m_Elements.at(m_Next++); }

 private:
  std::shared_ptr<List<T>> m_List;
  std::size_t m_Next = 0;
};

// A cursor over a map or an int table of values.
template <class K, class T, class Interface> class MapReader : public Interface {
 public:
  explicit MapReader(std::shared_ptr<Map<K, T>> map) : m_Map(std::move(map)) {}
  int Count() override { return static_cast<int>(m_Map->m_Entries.size()); }
  int More() override { return m_Next < m_Map->m_Entries.size() ? 1 : 0; }
  T Next() override { return m_Map->m_Entries.at(m_Next++).second; }
  void Key(K& key) override { key = m_Map->m_Entries.at(m_Next - 1).first; }

 private:
  std::shared_ptr<Map<K, T>> m_Map;
  std::size_t m_Next = 0;
};

class ObjectListReader : public cls_ReadListObj {
 public:
  ObjectListReader(MemoryStorage& storage, std::shared_ptr<List<Stored*>> list)
      : m_Storage(storage), m_List(std::move(list)) {}
  int Count() override { return static_cast<int>(m_List->m_Elements.size()); }
  int Position() override { return m_Next; }
  int More() override { return m_Next < Count() ? 1 : 0; }
  void Skip(int count) override { m_Next = std::min(Count(), m_Next + count); }
  cls_MementoRead* Next() override { return At(m_Next++); }
  cls_MementoRead* At(int index) override;

 private:
  MemoryStorage& m_Storage;
  std::shared_ptr<List<Stored*>> m_List;
  int m_Next = 0;
};

template <class K> class ObjectMapReader : public cls_ReadObjectMapOf<K> {
 public:
  ObjectMapReader(MemoryStorage& storage, std::shared_ptr<Map<K, Stored*>> map)
      : m_Storage(storage), m_Map(std::move(map)) {}
  int More() override { return m_Next < m_Map->m_Entries.size() ? 1 : 0; }
  void Next() override { ++m_Next; }
  int Count() override { return static_cast<int>(m_Map->m_Entries.size()); }
  cls_MementoRead* Fetch(K& key) override;

 protected:
  MemoryStorage& m_Storage;
  std::shared_ptr<Map<K, Stored*>> m_Map;
  std::size_t m_Next = 0; // after the current entry
};

class IntObjectMapReader : public ObjectMapReader<int> {
 public:
  using ObjectMapReader::ObjectMapReader;
  bool Find(int const& key) override {
    for (std::size_t i = 0; i < m_Map->m_Entries.size(); ++i)
      if (m_Map->m_Entries[i].first == key) {
        m_Next = i + 1;
        return true;
      }
    return false;
  }
};

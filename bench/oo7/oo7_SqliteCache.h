#pragma once

#include <memory>
#include <unordered_map>

#include "bench/oo7/oo7_SqliteObjects.h"
#include "bench/oo7/oo7_SqliteQuery.h"

/// The objects of one table by id.
template <class Object> class oo7_SqliteCache {
 public:
  /// The object of a row, read if it is not here yet. The first columns are id, type and build date.
  Object& Of(objects_SqliteStatement& row) {
    std::unique_ptr<Object>& object = m_Objects[oo7_Column(row, 0)];
    if (!object) {
      object = std::make_unique<Object>();
      Read(row, *object);
    }
    return *object;
  }
  [[nodiscard]] Object* Find(int id) const {
    auto const found = m_Objects.find(id);
    return found == m_Objects.end() ? nullptr : found->second.get();
  }
  /// The object, read by `query`, which gets the id, if it is not here yet. Null if there is none.
  Object* Find(int id, oo7_SqliteQuery& query) {
    Object* object = Find(id);
    if (!object) query.Each([&](objects_SqliteStatement& row) { object = &Of(row); }, id);
    return object;
  }
  void Forget(int id) { m_Objects.erase(id); }
  void Clear() { m_Objects.clear(); }

  static void Read(objects_SqliteStatement& row, Object& object) {
    object.m_Id = oo7_Column(row, 0);
    object.m_Type = oo7_TextColumn(row, 1);
    object.m_BuildDate = oo7_Column(row, 2);
    if constexpr (requires { object.m_X; }) {
      object.m_X = oo7_Column(row, 3);
      object.m_Y = oo7_Column(row, 4);
    }
    if constexpr (requires { object.m_DocId; }) {
      object.m_DocId = oo7_Column(row, 5);
      object.m_PartId = oo7_Column(row, 6);
    }
    if constexpr (requires { object.m_RootId; }) object.m_RootId = oo7_Column(row, 3);
    if constexpr (requires { object.m_SuperId; }) object.m_SuperId = oo7_Column(row, 3);
  }

 private:
  std::unordered_map<int, std::unique_ptr<Object>> m_Objects;
};

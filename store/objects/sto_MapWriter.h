#pragma once

#include <limits>
#include <memory>
#include <string>
#include <type_traits>

#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "store/format/sto_Checksum.h"
#include "store/format/sto_MapCodec.h"
#include "store/objects/sto_MementoWrite.h"

/// The entries of a map or an int table on their way into the record of an object, in the order in which they
/// come. Complete when it is deleted. Internal to the module.
class sto_MapEntries {
 public:
  sto_MapEntries(std::shared_ptr<sto_RecordInProgress> object, sto_CollectionShape const& shape)
      : m_Object(std::move(object)), m_Shape(shape) {
    m_Object->RestartList();
  }
  sto_MapEntries(sto_MapEntries const&) = delete;
  sto_MapEntries& operator=(sto_MapEntries const&) = delete;
  ~sto_MapEntries() {
    if (m_Object->IsUnwinding()) return;
    try {
      Complete();
    } catch (...) {
      m_Object->Session().Keep(std::current_exception());
    }
  }

  [[nodiscard]] int Count() const noexcept { return m_Count; }
  [[nodiscard]] sto_RecordInProgress& Object() noexcept { return *m_Object; }

  /// Adds an entry: `write` writes its value. Full beyond what one record holds.
  template <class K, class Write> void Add(K const& key, Write write) {
    m_Object->PutWhole([&] {
      if (m_Count == std::numeric_limits<int>::max()) RaiseFull("more entries than it can count");
      sto_ByteWriter writer(m_Entries);
      sto_KeyCodec<K>::Encode(writer, key);
      write(writer);
      if (m_Entries.size() > sto_Format::MaxValueBytes) RaiseFull("too many bytes");
      ++m_Count;
    });
  }

 private:
  [[noreturn]] void RaiseFull(char const* what) {
    m_Object->Session().Raise(sto_ErrorKind::Full,
                              "The " + m_Shape.Name() + " of " + m_Object->Describe() + " has " + what + ".");
  }

  void Complete() {
    std::uint64_t const seed = std::uint64_t{m_Shape.m_KeyType} << 8 | m_Shape.m_ElementType |
                               (m_Shape.m_IsTable ? std::uint64_t{1} << 16 : 0);
    m_Object->Session().Save().CheckSameCollection(m_Object->Id(), sto_Checksum(seed, m_Entries),
                                                   m_Shape.m_IsTable ? "int tables" : "maps");
    sto_MapHeader header;
    header.m_IsTable = m_Shape.m_IsTable;
    header.m_KeyType = m_Shape.m_KeyType;
    header.m_ElementType = m_Shape.m_ElementType;
    header.m_Count = m_Count;
    m_Object->Record().SetMap(header, std::move(m_Entries));
  }

  std::shared_ptr<sto_RecordInProgress> m_Object;
  sto_CollectionShape m_Shape;
  int m_Count = 0;
  sto_Bytes m_Entries;
};

/// Builder of an object's map from K (int or cow_String) to values of T.
template <class K, class T>
class sto_MapWriter final
    : public std::conditional_t<std::is_same_v<K, int>, cls_WriteMapInt2Prim<T>, cls_WriteMapString2Prim<T>> {
 public:
  explicit sto_MapWriter(std::shared_ptr<sto_RecordInProgress> object)
      : m_Entries(std::move(object), sto_MapShape<K, T>()) {}

  void Insert(K const& key, T const& value) override {
    m_Entries.Add(key, [&](sto_ByteWriter& writer) { sto_ElementCodec<T>::Encode(writer, value); });
  }

 private:
  sto_MapEntries m_Entries;
};

/// Builder of an object's map from K to objects.
template <class K>
class sto_ObjectMapWriter final
    : public std::conditional_t<std::is_same_v<K, int>, cls_WriteMapInt2Obj, cls_WriteMapString2Obj> {
 public:
  explicit sto_ObjectMapWriter(std::shared_ptr<sto_RecordInProgress> object)
      : m_Entries(std::move(object), sto_MapShape<K, sto_ObjectId>()) {}

  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override {
    return MakeWriteObjWithPtr(key, classId, uid, nullptr);
  }
  cls_MementoWrite* MakeWriteObjWithPtr(K const& key, unsigned int classId, cls_Uid const& uid,
                                        void const* object) override {
    std::int64_t id = 0;
    std::unique_ptr<sto_MementoWrite> element =
        sto_MementoWrite::ForElement(m_Entries.Object(), classId, uid, object, id);
    m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.Varint(static_cast<std::uint64_t>(id)); });
    return element.release();
  }
  int Count() const override { return m_Entries.Count(); }

 private:
  sto_MapEntries m_Entries;
};

/// Builder of an object's int table.
class sto_IntTableWriter final : public cls_WriteIntTableInt {
 public:
  explicit sto_IntTableWriter(std::shared_ptr<sto_RecordInProgress> object)
      : m_Entries(std::move(object), sto_IntTableShape()) {}

  void Insert(int key, int value) override {
    m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.ZigZag(value); });
  }

 private:
  sto_MapEntries m_Entries;
};

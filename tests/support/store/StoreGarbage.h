#pragma once

#include <initializer_list>
#include <memory>
#include <string>
#include <utility>

#include "collections/cls_ArrayPrim.h"
#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/support/store/StoreCollections.h"

/// An object with a bulk array.
struct Bulk {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  static cls_FieldHandle Array() { return Field("m_Ints"); }
  Bulk() = default;
  explicit Bulk(cls_ReadVisitor const& visitor)
      : m_Array(cls_ReadVisitor(visitor, Array())), m_Uid(visitor.GetUid()) {}
  ~Bulk() { Close(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Array.DBWrite(cls_WriteVisitor(visitor, Array(), nullptr, &m_Array));
  }
  void Fill(int count) {
    for (int i = m_Array.Size(); i < count; ++i) m_Array.Append(i);
  }
  void ExpectFilled(int count) const {
    ASSERT_EQ(m_Array.Size(), count);
    for (int i = 0; i < count; ++i) ASSERT_EQ(m_Array.ConstGet(i), i);
  }
  void Close() {
    m_Array.Release();
    m_Array.DropBlocks();
  }
  cls_ArrayPrim<int> m_Array;
  cls_Uid m_Uid;
};

/// An object with a blob; a loaded one keeps the blob open.
struct Picture {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  explicit Picture(int size) : m_Size(size) {}
  explicit Picture(cls_ReadVisitor const& visitor)
      : m_Reader(std::make_unique<cls_BlobReader>(visitor, Field("m_Blob"), m_BlobUid)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    cls_BlobWriter const writer(visitor, Field("m_Blob"), m_BlobUid);
    std::string const bytes(static_cast<std::size_t>(m_Size), 'b');
    writer.Agent().Write(0, m_Size, bytes.data());
  }
  [[nodiscard]] std::string Bytes() const {
    std::string bytes(static_cast<std::size_t>(m_Reader->Agent().Size()), ' ');
    m_Reader->Agent().Read(0, static_cast<long long>(bytes.size()), bytes.data());
    return bytes;
  }
  int m_Size = 0;
  cls_Uid m_BlobUid;
  std::unique_ptr<cls_BlobReader> m_Reader;
  cls_Uid m_Uid;
};

/// Fixture for tests of collecting, with classes for every way in which one object can hold another.
class StoreGarbageTest : public StoreFileTest {
 protected:
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      DeclareCollections(classes);
      DeclareLevels(classes, 4, 7, 2);
      return classes;
    }();
    return registrar;
  }
  sto_Store Create() const { return sto_Store::Open(Path(), sto_Mode::Create, Classes()); }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) const {
    return sto_Store::Open(Path(), mode, Classes());
  }
  [[nodiscard]] std::int64_t Query(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }

  /// Saves only a reference to an identity, under a root.
  static void SaveReference(sto_Store& store, cls_Uid const& uid, std::string_view root) {
    SaveFields(
        store,
        [&](cls_WriteVisitor const& visitor) {
          visitor.Memento()->WriteReference(Field("m_Reference"), uid);
        },
        root);
  }
  static void SaveNodes(sto_Store& store, std::initializer_list<int> values) {
    sto_Transaction transaction(store);
    for (int const value : values) store.Save(std::to_string(value), Node(value));
    transaction.Commit();
  }

  /// The number of rows that hold objects, elements or bytes.
  [[nodiscard]] std::int64_t Rows() const {
    std::int64_t rows = 0;
    for (char const* const table : {"object", "pack", "block", "moved_block", "block_place"})
      rows += Query(std::string("SELECT count(*) FROM ") + table);
    return rows;
  }
  /// Counts and collects, twice: the second time nothing is left to collect.
  void ExpectCollected(sto_Store& store, std::int64_t count) const {
    std::int64_t const before = store.ObjectCount();
    EXPECT_EQ(store.CountGarbage(), count);
    EXPECT_EQ(store.ObjectCount(), before);
    EXPECT_EQ(store.CollectGarbage(), count);
    EXPECT_EQ(store.ObjectCount(), before - count);
    EXPECT_EQ(store.CollectGarbage(), 0);
    EXPECT_EQ(store.CountGarbage(), 0);
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }
  /// Likewise; nothing may remain.
  void ExpectAllCollected(sto_Store& store, std::int64_t count) const {
    ExpectCollected(store, count);
    EXPECT_EQ(Rows(), 0);
  }
};

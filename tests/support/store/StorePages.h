#pragma once

#include <algorithm>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "tests/support/store/StoreTest.h"

/// An object whose record is as long as its text.
struct Page {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  explicit Page(std::size_t length = 0) : m_Text(length, 'p') {}
  explicit Page(cls_ReadVisitor const& visitor)
      : m_Text(visitor.Read(cls_FieldHandle("m_Text"_cow), cow_String()).View()), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle("m_Text"_cow), cow_String(m_Text));
  }
  std::string m_Text;
  cls_Uid m_Uid;
};

/// Saves other pages and then throws.
struct FailingBook {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    for (std::size_t i = 0; i < m_Pages.size(); ++i) {
      cls_FieldHandle const field(cow_String("m_" + std::to_string(i)));
      m_Pages[i]->DBWrite(cls_WriteVisitor(visitor, field, nullptr, m_Pages[i]));
    }
    throw std::runtime_error("the book fails");
  }
  std::vector<Page const*> m_Pages;
  cls_Uid m_Uid;
};

/// Tests of where objects are in the file: records of at most 1000 bytes in packs of 32 ids, longer ones in
/// rows.
class StorePacks : public StoreTest {
 protected:
  static constexpr std::size_t Short = 100; // text length for a record in a pack
  static constexpr std::size_t Long = 2000; // text length for a record in a row

  void SetUp() override {
    m_Store = std::make_unique<sto_Store>(Create());
    SqlFile(Path()).Run("PRAGMA synchronous = OFF");
  }
  void Reopen(sto_Mode mode = sto_Mode::ReadWrite) {
    m_Store.reset();
    m_Store = std::make_unique<sto_Store>(Open(mode));
  }

  static std::string NameOf(std::size_t index) { return "page " + std::to_string(index); }
  /// Saves pages under their own roots, in one transaction.
  void SaveAll(std::vector<Page> const& pages) {
    sto_Transaction transaction(*m_Store);
    for (std::size_t i = 0; i < pages.size(); ++i) m_Store->Save(NameOf(i), pages[i]);
    transaction.Commit();
  }
  static void Compare(sto_Store& store, std::vector<Page> const& pages) {
    for (std::size_t i = 0; i < pages.size(); ++i)
      ASSERT_EQ(store.Load<Page>(NameOf(i))->m_Text, pages[i].m_Text) << i;
  }
  void ExpectAll(std::vector<Page> const& pages) {
    sto_ReadTransaction const reading(*m_Store);
    Compare(*m_Store, pages);
  }
  std::string TextUnder(std::string const& root) { return m_Store->Load<Page>(root)->m_Text; }

  [[nodiscard]] std::int64_t Rows() const { return Query("SELECT count(*) FROM object"); }
  [[nodiscard]] std::int64_t Packs() const { return Query("SELECT count(*) FROM pack"); }
  /// The packs as they are in the file.
  [[nodiscard]] std::vector<std::string> PackBytes() const {
    return SqlFile(Path()).Texts("SELECT key || ' ' || hex(data) FROM pack ORDER BY key");
  }
  /// The number of objects, counted by an independent reader of packs. Throws if an object is in both tables.
  [[nodiscard]] std::int64_t CountedByHand() const {
    std::filesystem::copy_file(Path(), Path("copy"), std::filesystem::copy_options::overwrite_existing);
    SqlFile copy(Path("copy"));
    copy.Run("PRAGMA synchronous = OFF; BEGIN");
    copy.Unpack();
    copy.Run("COMMIT");
    return copy.Integer("SELECT count(*) FROM object");
  }
  void ExpectWhole(std::size_t objects) {
    EXPECT_EQ(m_Store->ObjectCount(), static_cast<std::int64_t>(objects));
    EXPECT_EQ(CountedByHand(), static_cast<std::int64_t>(objects));
    EXPECT_EQ(IntegrityOf(Path()), "ok");
  }

  std::unique_ptr<sto_Store> m_Store;
};

#pragma once

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "collections/cls_SimpleArrayPrim.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

/// An object with a list of int that is written and read in runs, directly in its blocks.
struct Stream {
  static constexpr unsigned int TypeId() noexcept { return 0x740001; }
  static cls_FieldHandle Field() { return {0, "m_List"_cow}; }
  Stream() : m_List(0) {}
  explicit Stream(cls_ReadVisitor const& visitor)
      : m_List(cls_ReadVisitor(visitor, Field()), nullptr), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_List.DBWrite(cls_WriteVisitor(visitor, Field(), nullptr, &m_List));
  }
  void Write(int first, std::vector<int> const& run) {
    m_List.Seek(first);
    m_List.Write(run.data(), static_cast<int>(run.size()));
  }
  /// Reads all elements, in runs of the given length.
  std::vector<int> ReadAll(int run) {
    std::vector<int> all(static_cast<std::size_t>(m_List.Size()));
    m_List.Seek(0);
    for (std::size_t done = 0; done < all.size();) {
      int const part = std::min(run, static_cast<int>(all.size() - done));
      if (m_List.Read(all.data() + done, part) != part) return {};
      done += static_cast<std::size_t>(part);
    }
    return all;
  }
  cls_SimpleArrayPrim<int> m_List;
  cls_Uid m_Uid;
};

/// The same object with its list as a value.
struct Listed {
  static constexpr unsigned int TypeId() noexcept { return Stream::TypeId(); }
  Listed() = default;
  explicit Listed(cls_ReadVisitor const& visitor)
      : m_List(cls_ReadVisitor(visitor, Stream::Field()), nullptr), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_List.DBWrite(cls_WriteVisitor(visitor, Stream::Field(), nullptr, &m_List));
  }
  cls_xp1DArrayListInt m_List;
  cls_Uid m_Uid;
};

/// The same object without a list; it runs a function while it is saved.
struct Acting {
  static constexpr unsigned int TypeId() noexcept { return Stream::TypeId(); }
  explicit Acting(std::function<void()> act) : m_Act(std::move(act)) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) m_Act();
  }
  std::function<void()> m_Act;
  cls_Uid m_Uid;
};

/// Fixture for tests that overwrite blocks of a long list. Its store has that list as root "stream", and
/// another list of three blocks as root "other".
class StoreStreamTest : public StoreFileTest {
 protected:
  static constexpr int BlockSize = 2048; // elements
  static constexpr int Blocks = 100;

  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      classes.CreateClassMD("Stream"_cow, Stream::TypeId(), 1, nullptr, 1)
          .AddAttribute(Stream::Field(), ATTR_INT, 1, COLLECTION_LIST_INT);
      return classes;
    }();
    return registrar;
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) const {
    return sto_Store::Open(Path(), mode, Classes());
  }
  /// Makes the store; the lists hold the numbers from 0.
  void Make(int count, sto_Options const& options = {}) const {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, Classes(), options);
    for (auto const& [root, size] : {std::pair{"stream", count}, std::pair{"other", 3 * BlockSize}}) {
      Listed listed;
      for (int i = 0; i < size; ++i) listed.m_List.Append(i);
      store.Save(root, listed);
    }
  }

  [[nodiscard]] std::int64_t Query(std::string const& sql) const { return SqlFile(Path()).Integer(sql); }
  [[nodiscard]] std::int64_t Moved() const { return Query("SELECT count(*) FROM block_place"); }
  /// The key of the first block of root "stream", whose list was the second object made.
  [[nodiscard]] static constexpr std::int64_t FirstKey() { return std::int64_t{2} << 20; }

  /// Expects each block to be in exactly one row, and no row to be left over.
  void ExpectTables() const {
    SqlFile file(Path());
    EXPECT_EQ(file.Integer("SELECT count(*) FROM stored_block JOIN block_place USING(key)"), 0);
    std::int64_t const moved = file.Integer("SELECT count(*) FROM moved_block");
    EXPECT_EQ(file.Integer("SELECT count(*) FROM block_place JOIN moved_block USING(place)"), moved);
    EXPECT_EQ(file.Integer("SELECT count(DISTINCT place) FROM block_place"), moved);
    EXPECT_EQ(file.Integer("SELECT count(*) FROM block_place"), moved);
    EXPECT_EQ(file.Text("PRAGMA integrity_check"), "ok");
  }
  /// All blocks with their keys and places.
  [[nodiscard]] std::vector<std::string> AllRows() const {
    return SqlFile(Path()).Texts("SELECT key || ' ' || hex(data) FROM stored_block UNION ALL "
                                 "SELECT place || ' ' || hex(data) FROM moved_block UNION ALL "
                                 "SELECT key || ' ' || place FROM block_place");
  }
};

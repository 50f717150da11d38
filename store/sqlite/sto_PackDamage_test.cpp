#include <algorithm>

#include "tests/support/store/StorePages.h"
#include "tests/support/store/StoreRows.h"

namespace {

/// A store with packs damaged through SQLite.
class StorePackDamage : public StorePacks {
 protected:
  StoreBytes Pack(int key) {
    return SqlFile(Path()).Blob("SELECT data FROM pack WHERE key = " + std::to_string(key));
  }
  void SetPack(int key, StoreBytes const& bytes) {
    SqlFile file(Path());
    file.Run("PRAGMA synchronous = OFF");
    file.Run("UPDATE pack SET data = ? WHERE key = " + std::to_string(key), bytes);
  }
};

TEST_F(StorePackDamage, EveryChangeOfAPacksBytesIsNoticed) {
  Node root(1);
  root.m_Left = std::make_shared<Node>(2);
  root.m_Right = std::make_shared<Node>(3);
  m_Store->Save("root", root);
  StoreBytes const whole = Pack(0);
  auto const load = [&] { return m_Store->LoadShared<Node>("root"); };
  auto const expectDamaged = [&](StoreBytes const& changed) {
    SetPack(0, changed);
    std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(load()); });
    EXPECT_TRUE(Contains(message, Path())) << message;
  };
  for (std::size_t at = 0; at < whole.size() && !HasFailure(); ++at)
    for (int const flip : {0x01, 0x02, 0x04, 0x10, 0x80, 0xFF}) {
      SCOPED_TRACE("byte " + std::to_string(at) + " flip " + std::to_string(flip));
      StoreBytes changed = whole;
      changed[at] ^= static_cast<std::byte>(flip);
      expectDamaged(changed);
    }
  for (std::size_t size = 0; size < whole.size() && !HasFailure(); ++size) {
    SCOPED_TRACE("length " + std::to_string(size));
    expectDamaged(StoreBytes(whole.begin(), whole.begin() + static_cast<std::ptrdiff_t>(size)));
  }
  StoreBytes longer = whole;
  longer.push_back(std::byte{0});
  expectDamaged(longer);
  SetPack(0, whole);
  EXPECT_EQ(load()->m_Right->m_Value, 3);
}

TEST_F(StorePackDamage, PackIsNamedWithTheObjectsThatItHas) {
  std::vector<Page> pages(200);
  SaveAll(pages);
  StoreBytes bytes = Pack(4);
  bytes.pop_back();
  SetPack(4, bytes);
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(150)); });
  EXPECT_TRUE(Contains(message, "Pack 4") && Contains(message, "128") && Contains(message, "159")) << message;
}

TEST_F(StorePackDamage, DoesNotKeepTheObjectsOfOtherPacksFromLoading) {
  std::vector<Page> pages(250);
  SaveAll(pages); // ids 1 to 250
  for (int const key : {0, 1, 3, 7}) {
    StoreBytes const whole = Pack(key);
    for (std::size_t at = 0; at < 20; ++at) {
      SCOPED_TRACE("pack " + std::to_string(key) + " byte " + std::to_string(at));
      StoreBytes changed = whole;
      changed[at] ^= std::byte{0xFF};
      SetPack(key, changed);
      for (std::size_t i = 0; i < pages.size(); i += 25) {
        bool const isOther = (static_cast<int>(i) + 1) / 32 != key;
        if (isOther)
          EXPECT_EQ(TextUnder(NameOf(i)), pages[i].m_Text) << i;
        else
          MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(i)); });
      }
      if (HasFailure()) return;
    }
    SetPack(key, whole);
  }
  ExpectAll(pages);
}

TEST_F(StorePackDamage, OfOneRecordLeavesItsNeighboursInThePackWhole) {
  std::vector<Page> pages(60, Page());
  for (Page& page : pages) page = Page(Short);
  SaveAll(pages);
  StoreBytes bytes = Pack(1); // ids 32 to 60
  bytes.back() ^= std::byte{1};
  SetPack(1, bytes);
  MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(59)); });
  for (std::size_t i = 0; i < 59; ++i) EXPECT_EQ(TextUnder(NameOf(i)), pages[i].m_Text);
  m_Store->Save(NameOf(59), pages[59]); // a new record replacing the damaged one
  ExpectAll(pages);
}

TEST_F(StorePackDamage, RecordsThatChangedPlacesInAPackAreNoticed) {
  Page const one(Short);
  Page const two(Short);
  m_Store->Save("one", one);
  m_Store->Save("two", two);
  StoreBytes bytes = Pack(0);
  constexpr std::ptrdiff_t HeaderBytes = 4 + 1 + 1 + 1 + 2 * 2 + 4; // of two records with one shape
  auto const first = bytes.begin() + HeaderBytes;
  ASSERT_EQ((bytes.end() - first) % 2, 0);
  auto const middle = first + (bytes.end() - first) / 2;
  std::rotate(first, middle, bytes.end());
  SetPack(0, bytes);
  MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder("one"); });
  MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder("two"); });
}

TEST_F(StorePackDamage, EveryRecordIsCheckedByItself) {
  std::vector<Page> pages(40);
  for (Page& page : pages) page = Page(Short);
  SaveAll(pages);
  StoreBytes const whole = Pack(0);                  // ids 1 to 31
  constexpr std::size_t RecordBytes = Short + 1 + 4; // with the text's length and the checksum
  std::size_t const headerBytes = whole.size() - 31 * RecordBytes;
  for (std::size_t record = 0; record < 31; ++record) {
    StoreBytes changed = whole;
    changed[headerBytes + record * RecordBytes + record] ^= std::byte{0x10};
    SetPack(0, changed);
    for (std::size_t i = 0; i < pages.size(); ++i)
      if (i == record)
        MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(i)); });
      else
        ASSERT_EQ(TextUnder(NameOf(i)), pages[i].m_Text) << i;
  }
}

TEST_F(StorePackDamage, DamageOfOneRecordStaysWhenItsNeighboursAreWritten) {
  std::vector<Page> pages(10);
  for (Page& page : pages) page = Page(Short);
  SaveAll(pages);
  StoreBytes bytes = Pack(0);
  bytes.back() ^= std::byte{1}; // in the checksum of object 10
  SetPack(0, bytes);
  for (std::size_t i = 0; i < 9; ++i) {
    pages[i].m_Text += "changed";
    m_Store->Save(NameOf(i), pages[i]);
  }
  EXPECT_NE(Pack(0), bytes);
  Reopen();
  std::string const message = MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(9)); });
  EXPECT_TRUE(Contains(message, "Object 10 ")) << message;
  for (std::size_t i = 0; i < 9; ++i) EXPECT_EQ(TextUnder(NameOf(i)), pages[i].m_Text);
}

TEST_F(StorePackDamage, RootsThatNameIdsThatNoObjectCanHaveAreNoticedAndOthersLoad) {
  std::vector<Page> pages(70);
  SaveAll(pages);
  Page const fresh(Short);
  SqlFile file(Path());
  for (char const* const id :
       {"0", "-1", "-31", "-32", "-33", "-9223372036854775808", "72", "95", "96", "8796093022207",
        "8796093022208", "9223372036854775775", "9223372036854775807"}) {
    SCOPED_TRACE(id);
    PutRoot(file, "absurd", id);
    MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder("absurd"); });
    sto_Transaction transaction(*m_Store); // the same when packs are created
    MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder("absurd"); });
    m_Store->Save(NameOf(1), pages[1]);
    m_Store->Save("new", fresh);
    transaction.Commit();
    ExpectAll(pages);
  }
  EXPECT_EQ(CountedByHand(), m_Store->ObjectCount());
}

TEST_F(StorePackDamage, PacksUnderKeysThatNoObjectsHaveAreNoticedBeforeIdsAreGivenOut) {
  SaveAll(std::vector<Page>(1));
  for (char const* const key : {"1", "274877906944", "576460752303423488", "9223372036854775807"}) {
    SCOPED_TRACE(key);
    SqlFile(Path()).Run(std::string("INSERT INTO pack SELECT ") + key + ", data FROM pack WHERE key = 0");
    MessageOf(sto_ErrorKind::Damaged, [&] { m_Store->Save("new", Page()); });
    SqlFile(Path()).Run("DELETE FROM pack WHERE key > 0");
  }
  for (char const* const key : {"-1", "-9223372036854775808"})
    SqlFile(Path()).Run(std::string("INSERT INTO pack SELECT ") + key + ", data FROM pack WHERE key = 0");
  m_Store->Save("new", Page());
  EXPECT_EQ(TextUnder(NameOf(0)), "");
  SqlFile(Path()).Run("DELETE FROM pack WHERE key >= 0"); // now the greatest key belongs to no object
  MessageOf(sto_ErrorKind::Damaged, [&] { TextUnder(NameOf(0)); });
}

} // namespace

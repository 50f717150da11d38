#include "persist/identity/cls_HistoryEntry.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <type_traits>
#include <vector>

#include "tests/support/TracedHistory.h"

namespace {

/// An entry that breaks invariant 2 on purpose: its destructor does not unlink it.
class PlainHistory : public cls_HistoryEntry {
 public:
  using cls_HistoryEntry::Link;
  using cls_HistoryEntry::UnLink;
};

/// The ring from `first` on, once round.
std::vector<cls_HistoryEntry const*> Ring(cls_HistoryEntry const& first) {
  std::vector<cls_HistoryEntry const*> entries;
  cls_HistoryEntry const* entry = &first;
  do {
    entries.push_back(entry);
    entry = entry->Next();
  } while (entry != &first && entries.size() < 100);
  return entries;
}
using Entries = std::vector<cls_HistoryEntry const*>;

TEST(cls_HistoryEntry, NewEntryIsLinkedToItself) {
  PlainHistory entry;
  EXPECT_EQ(entry.Next(), &entry);
  entry.UnLink(); // uses the previous link, which must be the entry itself too
  EXPECT_EQ(entry.Next(), &entry);
}

TEST(cls_HistoryEntry, UnLinkOfASelfLinkedEntryLeavesItSelfLinked) {
  PlainHistory entry;
  PlainHistory anchor;
  entry.Link(&anchor);
  entry.UnLink();
  entry.UnLink();
  EXPECT_EQ(entry.Next(), &entry);
  EXPECT_EQ(anchor.Next(), &anchor);
  entry.Link(&anchor);
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &entry}));
}

TEST(cls_HistoryEntry, LinkInsertsRightAfterTheAnchor) {
  PlainHistory anchor;
  PlainHistory a;
  PlainHistory b;
  PlainHistory c;
  a.Link(&anchor);
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &a}));
  b.Link(&anchor);
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &b, &a}));
  c.Link(&b);
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &b, &c, &a}));
}

TEST(cls_HistoryEntry, UnLinkJoinsTheNeighbours) {
  PlainHistory anchor;
  PlainHistory a;
  PlainHistory b;
  PlainHistory c;
  c.Link(&anchor);
  b.Link(&anchor);
  a.Link(&anchor);
  b.UnLink();
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &a, &c}));
  EXPECT_EQ(Ring(b), Entries{&b});
  c.UnLink(); // the last entry: its previous link must now be a
  EXPECT_EQ(Ring(anchor), (Entries{&anchor, &a}));
  a.UnLink();
  EXPECT_EQ(Ring(anchor), Entries{&anchor});
}

TEST(cls_HistoryEntry, AnchorItselfMayUnLink) {
  PlainHistory anchor;
  PlainHistory a;
  PlainHistory b;
  b.Link(&anchor);
  a.Link(&anchor);
  anchor.UnLink();
  EXPECT_EQ(Ring(a), (Entries{&a, &b}));
  EXPECT_EQ(Ring(anchor), Entries{&anchor});
}

TEST(cls_HistoryEntry, BaseDestructorDoesNotUnlink) {
  PlainHistory anchor;
  alignas(PlainHistory) unsigned char memory[sizeof(PlainHistory)];
  auto* const entry = new (memory) PlainHistory;
  entry->Link(&anchor);
  entry->~PlainHistory();
  EXPECT_EQ(static_cast<void const*>(anchor.Next()), static_cast<void const*>(memory));
}

TEST(cls_HistoryEntry, CannotBeCopied) {
  EXPECT_FALSE(std::is_copy_constructible_v<cls_HistoryEntry>);
  EXPECT_FALSE(std::is_copy_assignable_v<cls_HistoryEntry>);
}

TEST(cls_HistoryEntry, DestructorIsTheOnlyVirtualOperation) {
  struct Derived : cls_HistoryEntry {
    virtual void Appended() {}
  };
  EXPECT_TRUE(std::has_virtual_destructor_v<cls_HistoryEntry>);
  // A pointer to a virtual member holds 1 plus the byte offset in the table; the destructor takes two slots.
  auto const member = &Derived::Appended;
  std::uintptr_t place = 0;
  std::memcpy(&place, &member, sizeof place);
  EXPECT_EQ(place, 1 + 2 * sizeof(void*));
}

TEST(cls_HistoryEntry, NodeIsNextThenPreviousAfterTheTable) {
  EXPECT_EQ(sizeof(cls_HistoryEntry), 3 * sizeof(void*));
  PlainHistory anchor;
  PlainHistory a;
  PlainHistory b;
  b.Link(&anchor);
  a.Link(&anchor);
  void const* words[3] = {};
  std::memcpy(words, static_cast<void const*>(&a), sizeof words);
  EXPECT_EQ(words[1], &b);
  EXPECT_EQ(words[2], &anchor);
}

} // namespace

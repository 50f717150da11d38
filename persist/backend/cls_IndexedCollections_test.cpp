#include "persist/backend/cls_IndexedCollections.h"

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <vector>

namespace {

/// What the elements of a test are: pairs of ints in memory. Objects are not made.
struct Stored {
  std::vector<std::map<int, int>> m_Elements;
  bool m_IsWritable = true;
  int m_Flushes = 0;
  int m_ForeignChanges = 0;
  int m_Refreshes = 0;
  cls_AgentRegistry m_Agents;
  bool m_IsOpen = true;
  bool m_Fails = false;
  int m_Kept = 0;

  // As the session.
  cls_AgentRegistry& Agents() { return m_Agents; }
  void EndFlush() {
    ++m_Flushes;
    if (m_Fails) throw std::runtime_error("the disk is full");
  }
  void KeepFailure() noexcept { ++m_Kept; }
  void Refresh() { ++m_Refreshes; }
};

class Elements {
 public:
  explicit Elements(Stored& stored) : m_Stored(&stored) {}
  int Count() const { return static_cast<int>(m_Stored->m_Elements.size()); }
  template <class T> T Get(int index, int column) const { return static_cast<T>(At(index)[column]); }
  template <class T> void Put(int index, int column, T const& value) {
    if (index == Count()) Resize(index + 1);
    At(index)[column] = value;
  }
  void Resize(int count) { m_Stored->m_Elements.resize(static_cast<std::size_t>(count)); }
  void Erase(int index) {
    if (index >= 0 && index < Count()) m_Stored->m_Elements.erase(m_Stored->m_Elements.begin() + index);
  }
  cls_MementoRead* ReadObject(int, int) const { return nullptr; }
  cls_MementoWrite* WriteObject(int index, int column, unsigned int classId, cls_Uid const&) {
    Put(index, column, static_cast<int>(classId));
    if (m_Stored->m_Fails) throw std::runtime_error("the disk is full");
    return nullptr;
  }
  int RowWidth() const { return 3; }
  int SizeHint() const { return 7; }
  bool IsWritable() const { return m_Stored->m_IsWritable; }
  int ForeignChanges() const { return m_Stored->m_ForeignChanges; }
  [[noreturn]] void Raise(std::string const& text) const { throw std::logic_error(text); }
  template <class T> void Keep(cls_PC&) const { ++m_Stored->m_Kept; }
  Stored* Session() const { return m_Stored->m_IsOpen ? m_Stored : nullptr; }

 private:
  std::map<int, int>& At(int index) const { return m_Stored->m_Elements.at(static_cast<std::size_t>(index)); }
  Stored* m_Stored;
};

/// A container that, like a two-dimensional array that is assigned to, does not delete the agent it drops.
struct Forgetful : cls_PC {
  void Flush() const override { ++m_Flushes; }
  void Detach() override { Unlink(); }
  mutable int m_Flushes = 0;
};

using List = cls_IndexedList<int, Elements>;

} // namespace

TEST(IndexedCollections, AListIsBuiltReadAndWrittenAtAnyPlace) {
  Stored stored;
  List list{Elements(stored)};
  list.Append(1);
  std::vector<int> const more{2, 3};
  list.AppendRun(2, more.data());
  list.WriteRun(5, 2, more.data()); // behind a gap
  EXPECT_EQ(list.Count(), 7);
  EXPECT_EQ(list.RowWidth(), 3);
  EXPECT_EQ(list.SizeHint(), 7);
  std::vector<int> read(10, -1);
  EXPECT_EQ(list.NextRun(10, read.data()), 7);
  EXPECT_EQ(read, (std::vector<int>{1, 2, 3, 0, 0, 2, 3, -1, -1, -1}));
  EXPECT_EQ(list.More(), 0);
  EXPECT_EQ(list.ReadRun(9, 1, read.data()), 0);
  List cursor{Elements(stored)};
  EXPECT_EQ(cursor.Next(), 1);
}

TEST(IndexedCollections, WhatLiesBeforeTheBeginningOrHasNoLengthChangesNothing) {
  Stored stored;
  List list{Elements(stored)};
  int value = 1;
  list.WriteRun(5, 0, &value);
  list.WriteRun(4096, -4086, &value); // of an array that was made shorter while its last block was changed
  EXPECT_EQ(list.Count(), 0);
  list.Append(value);
  EXPECT_THROW(list.WriteRun(-1, 1, &value), std::out_of_range);
  EXPECT_EQ(list.ReadRun(-1, 1, &value), 0);
  cls_IndexedObjectList<Elements> objects{Elements(stored)};
  EXPECT_THROW(static_cast<void>(objects.MakeWriteObj(-1, 1, cls_Uid())), std::out_of_range);
  EXPECT_EQ(objects.MakeWriteObj(1, 1, cls_Uid()), nullptr); // right behind the end
  EXPECT_THROW(static_cast<void>(objects.MakeWriteObj(3, 1, cls_Uid())), std::out_of_range);
  EXPECT_THROW(objects.Remove(2), std::out_of_range);
  EXPECT_THROW(objects.Remove(-1), std::out_of_range);
  objects.Remove(1);
  EXPECT_EQ(list.Count(), 1);
  Stored bytes;
  cls_IndexedBlob<Elements> blob{Elements(bytes)};
  blob.Write(0, 2, "xy");
  blob.Write(9, 0, nullptr);
  blob.Write(9, -1, nullptr);
  EXPECT_THROW(blob.Write(-1, 1, "z"), std::out_of_range);
  char byte = 'z';
  EXPECT_EQ(blob.Read(-1, 1, &byte), 0);
  char both[2];
  EXPECT_EQ(blob.Read(0, 2, both), 2);
  EXPECT_EQ(std::string(both, 2), "xy");
  blob.Truncate(-1);
  EXPECT_EQ(blob.Size(), 0);
}

TEST(IndexedCollections, AMapOfObjectsIsWalkedInTheOrderOfItsKeys) {
  Stored stored;
  cls_IndexedObjectMap<int, Elements> map(Elements(stored), false);
  for (int const key : {30, 10, 20, 10}) static_cast<void>(map.MakeWriteObj(key, 1, cls_Uid()));
  EXPECT_EQ(map.Count(), 3);
  int key = 0;
  std::vector<int> keys;
  for (bool isThere = map.FirstKey(key); isThere; isThere = map.NextKey(key)) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<int>{10, 20, 30}));
  EXPECT_TRUE(map.Remove(20));
  EXPECT_FALSE(map.Remove(20));
  ASSERT_TRUE(map.LastKey(key));
  ASSERT_TRUE(map.PreviousKey(key));
  EXPECT_EQ(key, 10);
  EXPECT_FALSE(map.PreviousKey(key));
  EXPECT_FALSE(map.Find(20));
  EXPECT_TRUE(map.Find(30));
  map.Clear();
  EXPECT_EQ(map.Count(), 0);
}

TEST(IndexedCollections, ABlobFillsGapsWithZerosAndIsCut) {
  Stored stored;
  cls_IndexedBlob<Elements> blob{Elements(stored)};
  blob.Write(2, 2, "x\xFF");
  std::string bytes(5, 'y');
  EXPECT_EQ(blob.Read(0, 5, bytes.data()), 4);
  EXPECT_EQ(bytes, std::string("\0\0x\xFFy", 5));
  blob.Write(9, 0, nullptr);
  EXPECT_EQ(blob.Size(), 4);
  blob.Truncate(2);
  blob.Truncate(9);
  EXPECT_EQ(blob.Size(), 2);
  EXPECT_EQ(blob.Read(5, 1, bytes.data()), 0);
  EXPECT_THROW(blob.Write(1LL << 31, 1, "x"), std::length_error);
  EXPECT_THROW(blob.Write(-1, 1, "x"), std::out_of_range);
  blob.Write(9, -1, nullptr);
  EXPECT_EQ(blob.Read(-1, 1, bytes.data()), 0);
  EXPECT_EQ(blob.Size(), 2);
}

TEST(IndexedCollections, AnAgentSaysOnceThatOthersChangedItAndFlushesOnlyWhatIsWritable) {
  Stored stored;
  List list{Elements(stored)};
  EXPECT_FALSE(list.Changed());
  ++stored.m_ForeignChanges;
  EXPECT_TRUE(list.Changed());
  EXPECT_FALSE(list.Changed());
  EXPECT_GE(stored.m_Refreshes, 3);
  list.EndFlush();
  stored.m_IsWritable = false;
  list.EndFlush();
  EXPECT_EQ(stored.m_Flushes, 1);
  EXPECT_TRUE(list.ReadOnly());
}

TEST(IndexedCollections, AnElementOrEntryWhoseObjectCannotBeWrittenIsNotKept) {
  Stored stored;
  stored.m_Fails = true;
  cls_IndexedObjectMap<int, Elements> map(Elements(stored), false);
  EXPECT_THROW(static_cast<void>(map.MakeWriteObj(3, 1, cls_Uid())), std::runtime_error);
  cls_IndexedObjectList<Elements> list{Elements(stored)};
  EXPECT_THROW(static_cast<void>(list.MakeWriteObj(0, 1, cls_Uid())), std::runtime_error);
  EXPECT_EQ(stored.m_Elements.size(), 0U);
}

TEST(IndexedCollections, ARunIsRefusedWhenAnotherSessionHasChangedTheListUnseen) {
  Stored stored;
  List list{Elements(stored)};
  int const value = 7;
  list.Append(value);
  ++stored.m_ForeignChanges;
  EXPECT_THROW(list.WriteRun(0, 1, &value), std::logic_error);
  EXPECT_TRUE(list.Changed());
  list.WriteRun(1, 1, &value);
  EXPECT_EQ(list.Count(), 2);
}

TEST(IndexedCollections, WhatFailsWhenTheLastContainerLetsGoIsKeptAndNotRaised) {
  Stored stored;
  List list{Elements(stored)};
  list.AddReference();
  stored.m_Fails = true;
  EXPECT_THROW(list.EndFlush(), std::runtime_error);
  EXPECT_EQ(stored.m_Kept, 0);
  list.DropReference();
  list.EndFlush();
  EXPECT_EQ(stored.m_Kept, 1);
  ++stored.m_ForeignChanges;
  int const value = 7;
  list.WriteRun(0, 1, &value);
  EXPECT_EQ(stored.m_Kept, 2);
  EXPECT_EQ(list.Count(), 0);
}

TEST(IndexedCollections, OnlyTheFirstContainerOfAListThatIsSavedIsKept) {
  Stored stored;
  Forgetful first;
  Forgetful second;
  List saved(Elements(stored), true);
  saved.RegisterHolder(&first);
  saved.RegisterHolder(&second);
  List read{Elements(stored)};
  EXPECT_EQ(stored.m_Kept, 1);
}

TEST(IndexedCollections, AnAgentWhoseSessionHasEndedAsksItNothing) {
  Stored stored;
  {
    List list{Elements(stored)};
    stored.m_ForeignChanges = 1;
    stored.m_IsOpen = false;
    stored.m_IsWritable = false;
    Forgetful container;
    list.AddReference();
    list.RegisterHolder(&container);
    EXPECT_EQ(container.Next(), &container);
    EXPECT_FALSE(list.Changed());
    list.EndFlush();
    list.DropReference();
    EXPECT_FALSE(list.StillReferenced());
  }
  EXPECT_EQ(stored.m_Refreshes + stored.m_Flushes, 0);
}

TEST(IndexedCollections, TheRegistryFlushesContainersAndDeletesAgentsThatNobodyHolds) {
  Stored stored;
  Forgetful container;
  auto* const dropped = new List(Elements(stored));
  dropped->AddReference();
  dropped->RegisterHolder(&container);
  stored.m_Agents.Flush();
  EXPECT_EQ(container.m_Flushes, 1);
  dropped->DropReference(); // deleted below; a leak checker reports it otherwise
  List held{Elements(stored)};
  held.AddReference();
  held.RegisterHolder(&container);
  stored.m_Agents.Detach();
  EXPECT_EQ(container.Next(), &container);
  EXPECT_TRUE(held.StillReferenced());
  held.DropReference();
}

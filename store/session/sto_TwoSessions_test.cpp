#include "persist/backend/cls_AgentBlob.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "store/sto_Blob.h"
#include "tests/support/store/StoreArrays.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

// Two sessions that change the same stored collection.

class StoreTwoSessions : public StoreArrayTest {};

/// Stores with one object that has an open list or map of objects.
class StoreTwoSessionsObjects : public StoreFileTest {
 protected:
  static cls_FieldHandle Field(bool isMap) { return {isMap, isMap ? "m_Map"_cow : "m_Objects"_cow}; }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite) const {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      classes.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
          .AddAttribute(Field(false), ATTR_OBJECT, 1, COLLECTION_OBJ)
          .AddAttribute(Field(true), ATTR_OBJECT, 1, COLLECTION_MAP_INT_OBJ);
      DeclareNode(classes);
      return classes;
    }();
    return sto_Store::Open(Path(), mode, registrar);
  }
  static std::unique_ptr<cls_AgentListObj> OpenList(sto_Store& store) {
    std::unique_ptr<cls_AgentListObj> list;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      list.reset(cls_ReadVisitor(visitor, Field(false)).Memento()->MakeAgentListObj());
    }));
    return list;
  }
  static std::unique_ptr<cls_AgentMapKey2Obj<int>> OpenMap(sto_Store& store) {
    std::unique_ptr<cls_AgentMapKey2Obj<int>> map;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      int* const tag = nullptr;
      map.reset(cls_ReadVisitor(visitor, Field(true)).Memento()->MakeAgentMapKey2Obj(tag));
    }));
    return map;
  }
  sto_Store Make() const {
    sto_Store store = Open(sto_Mode::Create);
    SaveFields(store, [](cls_WriteVisitor const& visitor) {
      for (bool const isMap : {false, true}) {
        cls_WriteVisitor const field(visitor, Field(isMap), nullptr, nullptr);
        field.StartWrite(isMap ? cls_InternalMapTypeId : cls_InternalListTypeId, cls_Uid());
        if (isMap)
          delete field.Memento()->MakeWriteMapInt2Obj();
        else
          delete field.Memento()->MakeWriteListObj();
      }
    });
    return store;
  }
};

TEST_F(StoreTwoSessions, LoadedAgainTheArrayHasTheStateOfItsObject) {
  Make(13);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const old = mine.Load<DoubleHolder>("array");
  {
    auto const other = theirs.Load<DoubleHolder>("array");
    Fill(other->m_Array, 26);
    other->m_Number = 1;
    theirs.Save("array", *other);
  }
  auto const again = mine.Load<DoubleHolder>("array");
  EXPECT_EQ(again->m_Number, 1);
  ASSERT_EQ(again->m_Array.Size(), 26);
  Fill(again->m_Array, 39);
  mine.Save("array", *again);
  EXPECT_EQ(Stored(), Numbers(39));
}

TEST_F(StoreTwoSessions, ElementsOfAnotherSessionAreNotOverwrittenByAnOldArray) {
  Make(13);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const old = mine.Load<DoubleHolder>("array");
  {
    auto const other = theirs.Load<DoubleHolder>("array");
    Fill(other->m_Array, 26);
    theirs.Save("array", *other);
  }
  for (int i = 0; i < 13; ++i) old->m_Array.Append(-1);
  std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { mine.Save("array", *old); });
  EXPECT_TRUE(Contains(message, "The list of object 2 was changed by another session")) << message;
  MessageOf(sto_ErrorKind::Conflict, [&] { old->m_Array.Flush(); });
  MessageOf(sto_ErrorKind::Conflict, [&] { old->m_Array.Refresh(); }); // would lose unwritten elements
  EXPECT_EQ(old->m_Array.Size(), 26);
  EXPECT_EQ(old->m_Array.ConstGet(20), -1); // nothing is lost here either
  EXPECT_EQ(Stored(), Numbers(26));
  old->m_Array.Detach(); // the session keeps the failure
  MessageOf(sto_ErrorKind::Conflict, [&] { mine.Save("node", Node(1)); });
}

TEST_F(StoreTwoSessions, RefreshedArrayGoesOnFromTheOthersState) {
  Make(13);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const my = mine.Load<DoubleHolder>("array");
  auto const their = theirs.Load<DoubleHolder>("array");
  for (int count = 26; count < 5000; count += 777) {
    DoubleHolder& writer = count % 2 == 0 ? *my : *their;
    DoubleHolder& reader = count % 2 == 0 ? *their : *my;
    Fill(writer.m_Array, count);
    writer.m_Array.Flush();
    EXPECT_EQ(writer.m_Array.Refresh(), 0);
    EXPECT_EQ(reader.m_Array.Refresh(), 1);
    EXPECT_EQ(reader.m_Array.Refresh(), 0);
    EXPECT_EQ(Elements(reader.m_Array), Numbers(count));
  }
}

TEST_F(StoreTwoSessions, ChangeOfAnotherSessionIsReportedAfterARollback) {
  Make(13);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const my = mine.Load<DoubleHolder>("array");
  for (int round = 0; round < 3; ++round) {
    {
      sto_Transaction transaction(mine);
      my->m_Array.Append(-1);
      my->m_Array.Flush();
    }
    int const count = 20 + 10 * round;
    {
      auto const their = theirs.Load<DoubleHolder>("array");
      Fill(their->m_Array, count);
      theirs.Save("array", *their);
    }
    if (round == 1) { // an append without reading must not overwrite the other's
      my->m_Array.Append(-1);
      MessageOf(sto_ErrorKind::Conflict, [&] { my->m_Array.Flush(); });
      my->m_Array.Detach();
      MessageOf(sto_ErrorKind::Conflict,
                [&] { mine.HasRoot("array") ? mine.Save("node", Node(1)) : void(); });
      break;
    }
    EXPECT_EQ(my->m_Array.Refresh(), 1);
    EXPECT_EQ(Elements(my->m_Array), Numbers(count));
  }
  EXPECT_EQ(Stored(), Numbers(30));
}

TEST_F(StoreTwoSessions, ChangeBehindLaterSavesIsReported) {
  Make(13);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const my = mine.Load<DoubleHolder>("array");
  theirs.Save("one", Node(1));
  {
    auto const their = theirs.Load<DoubleHolder>("array");
    their->m_Array.Append(-2);
    their->m_Array.Flush();
  }
  for (int i = 0; i < 3; ++i) theirs.Save("one", Node(i));
  my->m_Array.Append(-1);
  MessageOf(sto_ErrorKind::Conflict, [&] { my->m_Array.Flush(); });
  my->m_Array.Detach();
  MessageOf(sto_ErrorKind::Conflict, [&] { mine.Save("node", Node(1)); });
}

TEST_F(StoreTwoSessions, SavesOfOtherObjectsAreNoChange) {
  Make(5000);
  sto_Store mine = Open();
  sto_Store theirs = Open();
  auto const my = mine.Load<DoubleHolder>("array");
  for (int round = 0; round < 3; ++round) {
    theirs.Save("one", Node(round));
    EXPECT_EQ(my->m_Array.Refresh(), 0);
    my->m_Array.Get(10 * round) = -round;
    theirs.Save("two", Node(round));
    my->m_Array.Flush();
  }
  EXPECT_EQ(Stored().at(20), -2);
}

TEST_F(StoreTwoSessions, UndoneSaveOfAnotherSessionIsNoChange) {
  for (int const count : {13, 5000}) {
    std::string const name = std::to_string(count);
    Make(count, name);
    sto_Store mine = Open(sto_Mode::ReadWrite, name);
    sto_Store theirs = Open(sto_Mode::ReadWrite, name);
    auto const my = mine.Load<DoubleHolder>("array");
    auto const their = theirs.Load<DoubleHolder>("array");
    {
      sto_Transaction transaction(theirs);
      their->m_Array.Get(5) = 77;
      their->m_After = [] { throw std::runtime_error("full"); };
      EXPECT_THROW(theirs.Save("array", *their), std::runtime_error);
      theirs.Save("node", Node(1));
      their->m_Array.Get(5) = 2.5;
      their->m_After = {};
      transaction.Commit();
    }
    EXPECT_EQ(my->m_Array.Refresh(), 0) << count;
    my->m_Array.Get(7) = -1;
    my->m_Array.Flush();
    EXPECT_EQ(my->m_Array.ConstGet(5), 2.5);
  }
}

TEST_F(StoreTwoSessions, OwnSavesAreNoChange) {
  Make(13);
  sto_Store mine = Open();
  auto const my = mine.Load<DoubleHolder>("array");
  for (int round = 0; round < 3; ++round) {
    my->m_Array.Append(round);
    mine.Save("array", *my);
    {
      sto_Transaction transaction(mine);
      mine.Save("node", Node(round));
      if (round == 1) transaction.Commit();
    }
    EXPECT_EQ(my->m_Array.Refresh(), 0);
  }
  EXPECT_EQ(Stored().size(), 16U);
}

TEST_F(StoreTwoSessions, RewrittenListIsReportedAsChanged) {
  struct Wrapped {
    static constexpr unsigned int TypeId() noexcept { return DoubleHolder::TypeId(); }
    Wrapped() = default;
    explicit Wrapped(cls_ReadVisitor const& visitor)
        : m_List(cls_ReadVisitor(visitor, DoubleHolder::Field()), nullptr), m_Uid(visitor.GetUid()) {}
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_List.DBWrite(cls_WriteVisitor(visitor, DoubleHolder::Field(), nullptr, &m_List));
      visitor.Write(cls_FieldHandle(1, "m_Number"_cow), 0);
    }
    cls_xp1DArrayListDouble m_List;
    cls_Uid m_Uid;
  };
  for (int const count : {5, 5000}) {
    SCOPED_TRACE(count);
    std::string const name = std::to_string(count);
    {
      Wrapped wrapped;
      for (int i = 0; i < count; ++i) wrapped.m_List.Append(i);
      Create(name).Save("array", wrapped); // not made by an agent, so it has no count of changes yet
    }
    sto_Store mine = Open(sto_Mode::ReadWrite, name);
    sto_Store theirs = Open(sto_Mode::ReadWrite, name);
    auto const my = mine.Load<DoubleHolder>("array");
    for (int round = 1; round < 5; ++round) {
      {
        auto const wrapped = theirs.Load<Wrapped>("array");
        wrapped->m_List.Get(0) = -round;
        theirs.Save("array", *wrapped);
      }
      EXPECT_EQ(my->m_Array.Refresh(), 1) << round;
      EXPECT_EQ(my->m_Array.ConstGet(0), -round);
      if (round % 2 == 0) { // as many changes as there were before
        auto const their = theirs.Load<DoubleHolder>("array");
        for (int i = 0; i < round; ++i) {
          their->m_Array.Get(1) = -i;
          their->m_Array.Flush();
        }
        EXPECT_EQ(my->m_Array.Refresh(), 1) << round;
      }
    }
  }
}

TEST_F(StoreTwoSessionsObjects, ChangesOfListsRelyOnWhatWasSeen) {
  sto_Store mine = Make();
  sto_Store theirs = Open();
  auto const my = OpenList(mine);
  auto const their = OpenList(theirs);
  auto const put = [](cls_AgentListObj& list, int index, int value) {
    cls_AgentRequestListObj const request(&list, index);
    Node const node(value);
    node.DBWrite(cls_WriteVisitor(request, &node));
  };
  put(*their, 0, 1);
  MessageOf(sto_ErrorKind::Conflict, [&] { put(*my, 0, 2); }); // would replace elements not seen here
  MessageOf(sto_ErrorKind::Conflict, [&] { my->SetCount(1); });
  EXPECT_EQ(my->Count(), 1);
  put(*my, 1, 2);
  MessageOf(sto_ErrorKind::Conflict, [&] { their->Remove(0); });
  EXPECT_TRUE(their->Changed());
  their->Remove(0);
  EXPECT_EQ(my->Count(), 1);
}

TEST_F(StoreTwoSessionsObjects, KeysOfAMapThatTheOtherDidNotTouchMayBeChanged) {
  sto_Store mine = Make();
  sto_Store theirs = Open();
  auto const my = OpenMap(mine);
  auto const their = OpenMap(theirs);
  auto const put = [](cls_AgentMapKey2Obj<int>& map, int key, int value) {
    cls_AgentRequestMapKey2Obj<int> const request(&map, key);
    Node const node(value);
    node.DBWrite(cls_WriteVisitor(request, &node));
  };
  put(*their, 1, 1);
  put(*my, 2, 2);
  MessageOf(sto_ErrorKind::Conflict, [&] { put(*my, 1, 3); });
  MessageOf(sto_ErrorKind::Conflict, [&] { my->Clear(); });
  EXPECT_EQ(my->Count(), 2);
  my->Clear();
  EXPECT_EQ(their->Count(), 0);
}

/// An object with a blob that is kept, or written anew with `m_Bytes`.
struct Picture {
  static constexpr unsigned int TypeId() noexcept { return DoubleHolder::TypeId(); }
  static cls_FieldHandle Field() { return {2, "m_Image"_cow}; }
  Picture() = default;
  explicit Picture(cls_ReadVisitor const& visitor)
      : m_Reader(std::make_unique<cls_BlobReader>(visitor, Field(), m_ImageUid)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_Keeps) return sto_KeepBlob(visitor, Field(), m_ImageUid);
    cls_BlobWriter const writer(visitor, Field(), m_ImageUid);
    writer.Agent().Write(0, static_cast<long long>(m_Bytes.size()), m_Bytes.data());
  }
  [[nodiscard]] std::string Text() const {
    std::string text(static_cast<std::size_t>(m_Reader->Agent().Size()), ' ');
    m_Reader->Agent().Read(0, static_cast<long long>(text.size()), text.data());
    return text;
  }
  cls_Uid m_ImageUid;
  std::unique_ptr<cls_BlobReader> m_Reader;
  cls_Uid m_Uid;
  bool m_Keeps = false;
  std::string m_Bytes;
};

class StorePictures : public StoreFileTest {
 protected:
  static cls_ClassRegistrar const& Classes() {
    static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
      static cls_ClassRegistrar classes;
      classes.CreateClassMD("Picture"_cow, Picture::TypeId(), 1, nullptr, 1)
          .AddAttribute(Picture::Field(), ATTR_OBJECT, 1, COLLECTION_NONE);
      return classes;
    }();
    return registrar;
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, Classes());
  }
  static void Put(Picture const& picture, std::string_view text) {
    picture.m_Reader->Agent().Write(0, static_cast<long long>(text.size()), text.data());
  }
  /// A new store with a picture.
  sto_Store Make(std::string const& bytes) const {
    sto_Store store = Open(sto_Mode::Create);
    Picture picture;
    picture.m_Bytes = bytes;
    store.Save("picture", picture);
    return store;
  }
};

/// A picture that two sessions have open, one of them twice.
class StoreTwoPictures : public StorePictures {
 protected:
  sto_Store m_Mine = Make("one");
  sto_Store m_Theirs = Open();
  std::unique_ptr<Picture> const m_My = m_Mine.Load<Picture>("picture");
  std::unique_ptr<Picture> const m_MySecond = m_Mine.Load<Picture>("picture");
  std::unique_ptr<Picture> const m_Their = m_Theirs.Load<Picture>("picture");
};

TEST_F(StorePictures, BlobThatIsKeptIsNotEmptied) {
  sto_Store store = Open(sto_Mode::Create);
  Picture picture;
  picture.m_Bytes = "first";
  store.Save("picture", picture);
  picture.m_Keeps = true;
  store.Save("picture", picture);
  store.Save("another root", picture);
  EXPECT_EQ(store.CollectGarbage(), 0);
  auto const loaded = Open(sto_Mode::ReadOnly).Load<Picture>("picture");
  EXPECT_EQ(store.Load<Picture>("picture")->Text(), "first");
  picture.m_Keeps = false;
  picture.m_Bytes = "second";
  store.Save("picture", picture);
  EXPECT_EQ(store.Load<Picture>("another root")->Text(), "second");
}

TEST_F(StorePictures, BlobThatTheStoreDoesNotHaveCannotBeKept) {
  sto_Store store = Open(sto_Mode::Create);
  sto_Store other = Open(sto_Mode::Create, "other");
  Picture picture;
  picture.m_Keeps = true;
  EXPECT_TRUE(Contains(MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("picture", picture); }), "m_Image"));
  picture.m_Keeps = false;
  store.Save("picture", picture);
  picture.m_Keeps = true;
  store.Save("picture", picture);
  MessageOf(sto_ErrorKind::Misuse, [&] { other.Save("picture", picture); });
  EXPECT_EQ(other.ObjectCount(), 0);
}

TEST_F(StorePictures, RewrittenBlobIsReportedAsChanged) {
  sto_Store mine = Open(sto_Mode::Create);
  Picture picture;
  picture.m_Bytes = "0";
  mine.Save("picture", picture);
  sto_Store theirs = Open();
  auto const their = theirs.Load<Picture>("picture");
  for (int round = 1; round < 6; ++round) {
    picture.m_Bytes = std::to_string(round);
    mine.Save("picture", picture);
    EXPECT_TRUE(their->m_Reader->Agent().Changed()) << round;
    EXPECT_FALSE(their->m_Reader->Agent().Changed());
    EXPECT_EQ(their->Text(), picture.m_Bytes);
  }
}

TEST_F(StoreTwoPictures, BlobThatAnotherSessionChangedIsNotOverwritten) {
  Put(*m_Their, "two");
  MessageOf(sto_ErrorKind::Conflict, [&] { Put(*m_My, "mine"); });
  MessageOf(sto_ErrorKind::Conflict, [&] { m_My->m_Reader->Agent().Truncate(0); });
  EXPECT_EQ(m_My->Text(), "two");
  Put(*m_My, "three");
  EXPECT_EQ(m_Their->Text(), "three");
  Put(*m_MySecond, "four!"); // not another session's change
  EXPECT_EQ(m_Their->Text(), "four!");
}

TEST_F(StoreTwoPictures, ChangeOfAnotherSessionIsReportedAfterARollback) {
  {
    sto_Transaction transaction(m_Mine);
    Put(*m_My, "undone");
  }
  Put(*m_Their, "two");
  MessageOf(sto_ErrorKind::Conflict, [&] { Put(*m_My, "mine"); });
  EXPECT_TRUE(m_My->m_Reader->Agent().Changed());
  EXPECT_EQ(m_My->Text(), "two");
}

TEST_F(StoreTwoPictures, ChangeIsReportedWhateverUndoneWorkHasShown) {
  for (int undone = 1; undone < 5; ++undone)
    for (int puts = 1; puts < 5; ++puts) {
      {
        sto_Transaction transaction(m_Mine);
        for (int i = 0; i < undone; ++i) Put(*m_MySecond, "gone");
        EXPECT_TRUE(m_My->m_Reader->Agent().Changed());
      }
      for (int i = 0; i < puts; ++i) Put(*m_Their, std::to_string(10 * undone + i));
      EXPECT_TRUE(m_My->m_Reader->Agent().Changed()) << undone << ' ' << puts;
      EXPECT_FALSE(m_My->m_Reader->Agent().Changed());
      EXPECT_TRUE(m_MySecond->m_Reader->Agent().Changed());
    }
}

} // namespace

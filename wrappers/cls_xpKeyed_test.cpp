#include <gtest/gtest.h>

#include <string_view>

#include "tests/support/wrappers/KeyedWrapperCases.h"

// What the maps and the tree share: how they are written and read, and how they behave as values.

namespace {

template <class Case> class Keyed : public KeyedWrapperTest<Case> {
 protected:
  cls_FieldHandle m_Field{4, "m_Loads"_cow};
};
TYPED_TEST_SUITE(Keyed, KeyedWrapperCases);

} // namespace

// --- Writing.

TYPED_TEST(Keyed, WritesAFieldAsOneMapInKeyOrder) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Recorder.Name(&this->m_Wrapper, "O");
  this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, &this->m_Wrapper));
  Lines expected{R"(write1.MakeFieldWriteObj(field 4 "m_Loads", uint 0x230002, uid W, O) = write2)",
                 std::string("write1.CheckCollectionType(type ") + TypeParam::Code +
                     R"(, string "m_Loads"))"};
  for (std::string const& line : this->WriteLines("write2", "mapWriter1", this->Ordered()))
    expected.push_back(line);
  expected.insert(expected.end(), {"write2.NeedsDeletion() = bool true", "~write2"});
  EXPECT_EQ(this->m_Recorder.TakeLines(), expected);
}

TYPED_TEST(Keyed, WritesThroughAStartedVisitorWithoutStartingIt) {
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->WriteLines("write1", "mapWriter1", this->Ordered()));
}

TYPED_TEST(Keyed, WritesItsEntriesTwiceWhenWrittenTwiceInOnePass) {
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  for (char const* made : {"write2", "write3"}) {
    this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
    Lines const lines = this->m_Recorder.TakeLines();
    EXPECT_EQ(lines.front(),
              std::string(R"(write1.MakeFieldWriteObj(field 4 "m_Loads", uint 0x230002, uid W, null) = )") +
                  made);
    EXPECT_EQ(lines.size(), 11U);
  }
}

TYPED_TEST(Keyed, WritesAnEmptyWrapperAsAMapWithoutEntries) {
  typename TypeParam::Wrapper const empty;
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  empty.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->WriteLines("write1", "mapWriter1", {}));
}

TYPED_TEST(Keyed, LeavesAMapWriterThatTheBackEndKeeps) {
  this->m_Recorder.Keep("mapWriter1");
  {
    cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
    this->m_Wrapper.DBWrite(visitor);
    EXPECT_EQ(this->m_Recorder.Lines().back(), "mapWriter1.NeedsDeletion() = bool false");
  }
  EXPECT_EQ(this->m_Recorder.Live(), Lines({"mapWriter1"}));
}

TYPED_TEST(Keyed, WritesNothingIfTheBackEndDeclinesTheObject) {
  this->m_Recorder.DeclineObjects();
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr));
  EXPECT_EQ(this->m_Recorder.TakeLines().size(), 2U); // the start and the check of the collection type
}

TYPED_TEST(Keyed, FailingWriteStepPassesThroughAndLeaksNothing) {
  struct Step {
    char const* m_Operation;
    int m_Nth;
  };
  for (Step const step : {Step{"MakeFieldWriteObj", 1}, Step{"CheckCollectionType", 1},
                          Step{"MakeWriteMapString2Prim", 1}, Step{"Insert", 1}, Step{"Insert", 4}}) {
    Recorder recorder;
    recorder.FailAt(step.m_Operation, step.m_Nth);
    {
      cls_WriteVisitor const parent(recorder.NewWriter());
      EXPECT_THROW(this->m_Wrapper.DBWrite(cls_WriteVisitor(parent, this->m_Field, nullptr, nullptr)),
                   BackEndFailure)
          << step.m_Operation;
    }
    EXPECT_EQ(recorder.Live(), Lines()) << step.m_Operation;
  }
}

TYPED_TEST(Keyed, WritingDoesNotChangeTheWrapper) {
  auto const copy(this->m_Wrapper);
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  this->m_Wrapper.DBWrite(visitor);
  EXPECT_TRUE(copy.SharesStorageWith(this->m_Wrapper));
  EXPECT_EQ(copy.Uid().Entry(), this->m_Wrapper.Uid().Entry());
}

// --- Reading.

TYPED_TEST(Keyed, ReadsTheIdentityFirstAndEachValueBeforeItsKey) {
  this->m_Recorder.StoreMap(this->Given());
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  typename TypeParam::Wrapper const wrapper(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ReadLines(this->Given()));
  EXPECT_EQ(wrapper.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(Keyed, HasTheReadEntriesInKeyOrder) {
  this->m_Recorder.StoreMap(this->Given());
  auto const wrapper = this->Read();
  EXPECT_EQ(wrapper.Count(), 4);
  EXPECT_EQ(this->Texts(wrapper), this->Texts(this->Ordered()));
}

TYPED_TEST(Keyed, ReadsAnEmptyMapAsAnEmptyWrapper) {
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  typename TypeParam::Wrapper const wrapper(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), this->ReadLines({}));
  EXPECT_EQ(wrapper.Count(), 0);
  EXPECT_EQ(wrapper.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(Keyed, OfTwoStoredEntriesUnderOneKeyOneIsKept) {
  auto const values = TypeParam::Values();
  this->m_Recorder.template StoreMap<cow_String, typename TypeParam::Element>(
      {{cow_String("k"), values[0]}, {cow_String("j"), values[1]}, {cow_String("k"), values[3]}});
  auto const wrapper = this->Read();
  EXPECT_EQ(this->Texts(wrapper),
            this->Texts({{cow_String("j"), values[1]},
                         {cow_String("k"), values[TypeParam::LastOfOneKeyCounts ? 3 : 0]}}));
}

TYPED_TEST(Keyed, DeletesTheReaderWithoutAskingEvenWhenItIsKept) {
  this->m_Recorder.StoreMap(this->Given());
  this->m_Recorder.Keep("mapReader1");
  this->Read();
  EXPECT_EQ(this->m_Recorder.Live(), Lines());
}

TYPED_TEST(Keyed, ReadsNothingWithoutAMemento) {
  cls_ReadVisitor const visitor(nullptr);
  typename TypeParam::Wrapper const first(visitor);
  typename TypeParam::Wrapper const second(visitor);
  EXPECT_EQ(first.Count(), 0);
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TYPED_TEST(Keyed, FailingReadStepPassesThroughAndLeaksNothing) {
  for (char const* operation : {"GetUid", "MakeReadMapString2Prim", "More", "Next", "Key"})
    for (int nth : {1, 2}) {
      if (nth == 2 && operation == std::string_view("GetUid")) break;
      if (nth == 2 && operation == std::string_view("MakeReadMapString2Prim")) break;
      Recorder recorder;
      recorder.StoreMap(this->Given());
      recorder.FailAt(operation, nth);
      {
        cls_ReadVisitor const visitor(recorder.NewReader());
        EXPECT_THROW(typename TypeParam::Wrapper{visitor}, BackEndFailure) << operation;
        EXPECT_EQ(recorder.Live(), Lines({"read1"})) << operation;
      }
    }
}

TYPED_TEST(Keyed, ReadsBackWhatItWrote) {
  using E = typename TypeParam::Element;
  struct StoringMap : RecordingMapWriter<cow_String, E, cls_WriteMapString2Prim<E>> {
    using RecordingMapWriter<cow_String, E, cls_WriteMapString2Prim<E>>::RecordingMapWriter;
    void Insert(cow_String const& key, E const& value) override { m_Stored.emplace_back(key, value); }
    KeyedEntries<E> m_Stored;
  };
  struct StoringMemento : RecordingMementoWrite {
    using RecordingMementoWrite::MakeWriteMapString2Prim;
    StoringMemento(Recorder& recorder, StoringMap& map) : RecordingMementoWrite(recorder), m_Map(map) {}
    cls_WriteMapString2Prim<E>* MakeWriteMapString2Prim(E const*) override { return &m_Map; }
    StoringMap& m_Map;
  };
  this->m_Recorder.KeepAll();
  StoringMap stored(this->m_Recorder);
  StoringMemento memento(this->m_Recorder, stored);
  this->m_Wrapper.DBWrite(cls_WriteVisitor(&memento));
  this->m_Recorder.StoreMap(stored.m_Stored);
  EXPECT_EQ(this->Texts(this->Read()), this->Texts(this->m_Wrapper));
}

// --- As a value. A wrapper that is the only holder of its identity can get the same record again for a new
// identity, so the tests hold the old one while they compare.

TYPED_TEST(Keyed, DefaultWrappersAreEmptyAndHaveTheirOwnIdentities) {
  typename TypeParam::Wrapper const first;
  typename TypeParam::Wrapper const second;
  EXPECT_EQ(first.Count(), 0);
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TYPED_TEST(Keyed, CopyKeepsTheIdentityAndSharesTheEntries) {
  auto const copy(this->m_Wrapper);
  typename TypeParam::Wrapper assigned;
  assigned = copy;
  EXPECT_EQ(copy.Uid().Entry(), this->m_Wrapper.Uid().Entry());
  EXPECT_EQ(assigned.Uid().Entry(), this->m_Wrapper.Uid().Entry());
  EXPECT_TRUE(copy.SharesStorageWith(this->m_Wrapper));
  EXPECT_TRUE(assigned.SharesStorageWith(this->m_Wrapper));
}

TYPED_TEST(Keyed, AssigningAContainerGivesANewIdentityAndSharesTheEntries) {
  auto const copy(this->m_Wrapper);
  auto const source = this->Make({this->Given()[0]});
  EXPECT_EQ(&(this->m_Wrapper = source), &this->m_Wrapper);
  EXPECT_NE(this->m_Wrapper.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(this->m_Wrapper.SharesStorageWith(source));
  EXPECT_EQ(this->Texts(copy), this->Texts(this->Ordered()));
}

TYPED_TEST(Keyed, AssigningItsOwnContainerOrItselfChangesNothing) {
  auto const copy(this->m_Wrapper);
  auto const& self = this->m_Wrapper;
  this->m_Wrapper = static_cast<typename TypeParam::Container const&>(self);
  EXPECT_EQ(this->m_Wrapper.Uid().Entry(), copy.Uid().Entry());
  this->m_Wrapper = self;
  EXPECT_EQ(this->m_Wrapper.Uid().Entry(), copy.Uid().Entry());
  EXPECT_TRUE(this->m_Wrapper.SharesStorageWith(copy));
}

TYPED_TEST(Keyed, WrapperOfAContainerSharesItsEntriesUnderTheGivenIdentity) {
  auto const source = this->Make(this->Given());
  cls_Uid const uid;
  typename TypeParam::Wrapper const wrapper(source, uid);
  EXPECT_EQ(wrapper.Uid().Entry(), uid.Entry());
  EXPECT_TRUE(wrapper.SharesStorageWith(source));
}

TYPED_TEST(Keyed, ChangingEntriesKeepsTheIdentityAndTheCopies) {
  auto copy(this->m_Wrapper);
  EXPECT_TRUE(copy.Remove("b"_cow));
  TypeParam::Add(copy, "z"_cow, TypeParam::Values()[0]);
  *copy.Find("a10"_cow) = TypeParam::Values()[0];
  EXPECT_EQ(copy.Uid().Entry(), this->m_Wrapper.Uid().Entry());
  EXPECT_EQ(this->Texts(this->m_Wrapper), this->Texts(this->Ordered()));
  EXPECT_FALSE(copy.IsMember("b"_cow));
  EXPECT_TRUE(copy.IsMember("z"_cow));
  EXPECT_EQ(ShownScalar(copy.ConstFind("a10"_cow)->second), ShownScalar(TypeParam::Values()[0]));
}

TYPED_TEST(Keyed, DestroyingAWrapperReleasesItsIdentity) {
  cls_Uid uid;
  {
    typename TypeParam::Wrapper const wrapper;
    uid = wrapper.Uid();
    EXPECT_EQ(uid.Entry()->m_RefCount, 2U);
  }
  EXPECT_EQ(uid.Entry()->m_RefCount, 1U);
}

#include <memory>

#include "collections/cls_ArrayPrim.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentRequest.h"
#include "tests/contract/ContractTest.h"

// What must not be lost when a save or a write fails, an array is saved twice, or another session was faster.

namespace {

CONTRACT_SUITE(ContractFailures);

/// A bulk array that frees its blocks, which otherwise is up to its owner.
class Array : public cls_ArrayPrimInt {
 public:
  Array() = default;
  explicit Array(cls_ReadVisitor const& visitor) : cls_ArrayPrimInt(visitor) {}
  Array(Array const&) = delete;
  Array& operator=(Array const&) = delete;
  ~Array() override {
    try {
      Release();
    } catch (...) { // it has changes that are refused
      Detach();
    }
    DropBlocks();
  }
};
constexpr int ArraySize = 5000; // three blocks

void Fill(Array& array) {
  for (int i = 0; i < ArraySize; ++i) array.Append(i);
}
void ExpectFilled(Array const& array) {
  ASSERT_EQ(array.Size(), ArraySize);
  for (int i = 0; i < ArraySize; ++i) ASSERT_EQ(array.ConstGet(i), i);
}
cls_FieldHandle ArrayField() {
  return FieldFor<int>("List");
}
Scripted::WriteFields WithArray(Array const& array) {
  return [&array](cls_WriteVisitor const& visitor) {
    array.DBWrite(cls_WriteVisitor(visitor, ArrayField(), nullptr, &array));
  };
}
Array StoredIn(cls_ReadVisitor const& visitor) {
  return Array(ObjectIn(visitor, ArrayField()));
}
Scripted Object(Scripted::WriteFields write) {
  Scripted object;
  object.m_Write = std::move(write);
  return object;
}
struct Interrupted : std::runtime_error {
  Interrupted() : std::runtime_error("the object's own failure") {}
};
/// An object with an array; while `fails` is set, it fails after it has written the array.
Scripted FailingObject(Array const& array, bool const& fails) {
  return Object([&](cls_WriteVisitor const& visitor) {
    WithArray(array)(visitor);
    if (fails) throw Interrupted();
  });
}

TEST_P(ContractFailures, AnArrayWhoseSaveFailsHasAllElementsAndCanBeSavedAgain) {
  COVERS(cls_AgentListPrim, 5, 11);
  Array array;
  Fill(array);
  bool const fails = true;
  EXPECT_THROW(Session().Save("root", FailingObject(array, fails)), Interrupted);
  ExpectFilled(array);
  EndSession(); // detaches what is tied to the session
  ExpectFilled(array);
}

TEST_P(ContractFailures, AnArrayWhoseSaveFailedIsStoredByTheNext) {
  COVERS(cls_AgentListPrim, 5, 11);
  Array array;
  Fill(array);
  bool fails = true;
  Scripted const object = FailingObject(array, fails);
  EXPECT_THROW(Session().Save("root", object), Interrupted);
  fails = false;
  Save(Session(), object);
  Load(Session(), [](cls_ReadVisitor const& visitor) {
    Array const stored = StoredIn(visitor);
    ExpectFilled(stored);
  });
}

TEST_P(ContractFailures, AnArrayThatLacksElementsBecauseItWasDetachedIsRefused) {
  COVERS(cls_AgentListPrim, 5, 11);
  Array array;
  Fill(array);
  Save(Session(), Object(WithArray(array)));
  static_cast<void>(array.ConstGet(0)); // drops the other blocks
  array.Detach();
  MessageOf(ContractError::Misuse, [&] { Session().Save("other", Object(WithArray(array))); });
  ExpectNoRoot(Session(), "other");
}

TEST_P(ContractFailures, ADetachedArrayThatHasAllElementsIsStoredWholeInAnotherStorage) {
  COVERS(cls_AgentListPrim, 5, 11);
  Array array;
  for (int i = 0; i < 2000; ++i) array.Append(i); // one block, which stays in memory
  Save(Session(), Object(WithArray(array)));
  array.Detach(); // its block is written, and so unchanged
  auto const other = OtherStorage();
  Save(*other, Object(WithArray(array)));
  Load(*other, [](cls_ReadVisitor const& visitor) {
    Array const stored = StoredIn(visitor);
    ASSERT_EQ(stored.Size(), 2000);
    for (int i = 0; i < 2000; ++i) ASSERT_EQ(stored.ConstGet(i), i);
  });
}

TEST_P(ContractFailures, AnArrayOfAnotherStorageIsStoredAsAWholeOrRefused) {
  COVERS(cls_AgentListPrim, 5, 11);
  Array array;
  Fill(array);
  Save(Session(), Object(WithArray(array)));
  auto const other = OtherStorage();
  try {
    Save(*other, Object(WithArray(array)));
  } catch (nex_Exception&) {
    return ExpectNoRoot(*other, "root");
  }
  Load(*other, [](cls_ReadVisitor const& visitor) {
    Array const stored = StoredIn(visitor);
    ExpectFilled(stored);
  });
}

TEST_P(ContractFailures, AStaleBlockOfAnArrayDoesNotOverwriteWhatAnotherSessionChanged) {
  COVERS(cls_AgentListPrim, 5, 11);
  CONTRACT_NEEDS(m_SharesChanges);
  {
    Array array;
    Fill(array);
    Save(Session(), Object(WithArray(array)));
    static_cast<void>(array.ConstGet(0));
    auto const second = SecondSession();
    std::unique_ptr<Array> theirs;
    Load(*second, [&](cls_ReadVisitor const& visitor) {
      theirs = std::make_unique<Array>(ObjectIn(visitor, ArrayField()));
    });
    theirs->Get(1) = -1;
    theirs->Flush();
    array.Get(2) = -2; // in the block that it has in memory
    MessageOf(ContractError::Other, [&] {
      array.Flush();
      Session().Load("root", [](cls_ReadVisitor const&) {});
    });
  }
  auto const third = SecondSession();
  Load(*third, [](cls_ReadVisitor const& visitor) { EXPECT_EQ(StoredIn(visitor).ConstGet(1), -1); });
}

TEST_P(ContractFailures, AnElementWhoseWritingFailsIsAsBefore) {
  COVERS(cls_AgentListObj, 7);
  std::unique_ptr<AgentHolder<cls_AgentListObj>> list;
  cls_Uid const element;
  Save(Session(), Object([&](cls_WriteVisitor const& visitor) {
         WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
           list = std::make_unique<AgentHolder<cls_AgentListObj>>(memento.MakeAgentListObj(1));
           WriteNumber((*list)->MakeWriteObj(0, Scripted::TypeId(), element), 5);
         });
       }));
  auto const write = [&](int index, cls_Uid const& uid) {
    auto const memento = Receive((*list)->MakeWriteObj(index, Scripted::TypeId(), uid));
    memento->Write(FieldFor<int>(), 6);
    throw Interrupted();
  };
  EXPECT_THROW(write(0, element), Interrupted);
  EXPECT_THROW(write(1, cls_Uid()), Interrupted);
  EXPECT_EQ((*list)->Count(), 1);
  EXPECT_EQ(NumberOf((*list)->MakeReadObj(0)), 5);
}

TEST_P(ContractFailures, AListRefusesToWriteBeyondItsEndAndToRemoveWhatIsNotThere) {
  COVERS(cls_AgentListObj, 7, 14);
  std::unique_ptr<AgentHolder<cls_AgentListObj>> list;
  Save(Session(), Object([&](cls_WriteVisitor const& visitor) {
         WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
           list = std::make_unique<AgentHolder<cls_AgentListObj>>(memento.MakeAgentListObj(1));
           WriteNumber((*list)->MakeWriteObj(0, Scripted::TypeId(), cls_Uid()), 5);
         });
       }));
  EXPECT_ANY_THROW(static_cast<void>((*list)->MakeWriteObj(2, Scripted::TypeId(), cls_Uid())));
  EXPECT_ANY_THROW(static_cast<void>((*list)->MakeWriteObj(-1, Scripted::TypeId(), cls_Uid())));
  EXPECT_ANY_THROW((*list)->Remove(1));
  EXPECT_ANY_THROW((*list)->Remove(-1));
  EXPECT_EQ((*list)->Count(), 1);
}

} // namespace

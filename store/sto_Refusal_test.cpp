#include "tests/support/StoreTest.h"

namespace {

/// What the module does not store yet: maps, object lists, tables and agents of objects. None may
/// be lost in silence.
class StoreRefusals : public StoreTest {};

using Act = std::function<void()>;

/// Everything of the writing side that is refused.
std::vector<Act> WritingRefusals(cls_MementoWrite& memento, cls_FieldHandle const& field,
                                 cls_Uid const& uid) {
  static cow_String const text;
  static float const single = 0;
  static double const number = 0;
  static unsigned int const natural = 0;
  static int const integer = 0;
  return {
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Obj()); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Obj()); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Prim(&text)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Prim(&single)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Prim(&number)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Prim(&natural)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapInt2Prim(&integer)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteListObj()); },
      [=, &memento] { static_cast<void>(memento.MakeWriteIntTableInt()); },
      [=, &memento] { static_cast<void>(memento.MakeFieldWriteListObj(field, uid)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldWriteMapInt2Obj(field, uid)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldWriteMapString2Obj(field, uid)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldWriteIntTableInt(field, uid)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Prim(&natural)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Prim(&text)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Prim(&integer)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Prim(&single)); },
      [=, &memento] { static_cast<void>(memento.MakeWriteMapString2Prim(&number)); },
      [=, &memento] { static_cast<void>(memento.MakeAgentListObj(1)); },
      [=, &memento] { static_cast<void>(memento.MakeAgentMapKey2Obj(&integer, 1)); },
      [=, &memento] { static_cast<void>(memento.MakeAgentMapKey2Obj(&text, 1)); },
  };
}

/// The same of the reading side.
std::vector<Act> ReadingRefusals(cls_MementoRead& memento, cls_FieldHandle const& field) {
  static cow_String text;
  static float single = 0;
  static double number = 0;
  static unsigned int natural = 0;
  static int integer = 0;
  return {
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Obj()); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Obj()); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Prim(&text)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Prim(&single)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Prim(&number)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Prim(&natural)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapInt2Prim(&integer)); },
      [=, &memento] { static_cast<void>(memento.MakeReadListObj()); },
      [=, &memento] { static_cast<void>(memento.MakeReadIntTableInt()); },
      [=, &memento] { static_cast<void>(memento.MakeFieldReadListObj(field)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldReadMapInt2Obj(field)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldReadMapString2Obj(field)); },
      [=, &memento] { static_cast<void>(memento.MakeFieldReadIntTableInt(field)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Prim(&natural)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Prim(&text)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Prim(&integer)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Prim(&single)); },
      [=, &memento] { static_cast<void>(memento.MakeReadMapString2Prim(&number)); },
      [=, &memento] { static_cast<void>(memento.MakeAgentListObj()); },
      [=, &memento] { static_cast<void>(memento.MakeAgentMapKey2Obj(&integer)); },
      [=, &memento] { static_cast<void>(memento.MakeAgentMapKey2Obj(&text)); },
  };
}

TEST_F(StoreRefusals, EachUnstoredKindOfCollectionIsRefusedOnTheWayIn) {
  sto_Store store = Create();
  cls_Uid const uid;
  std::size_t count = 1;
  for (std::size_t i = 0; i < count; ++i) {
    SCOPED_TRACE(i);
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
      SaveFields(store, [&](cls_WriteVisitor const& visitor) {
        std::vector<Act> const refusals =
            WritingRefusals(*visitor.Memento(), cls_FieldHandle("m_Field"_cow), uid);
        count = refusals.size();
        refusals[i]();
      });
    });
    EXPECT_TRUE(Contains(message, "does not store") && Contains(message, "Scripted")) << message;
    EXPECT_EQ(store.ObjectCount(), 0);
    EXPECT_TRUE(store.Roots().empty());
  }
  EXPECT_EQ(count, 21U);
}

TEST_F(StoreRefusals, EachUnstoredKindOfCollectionIsRefusedOnTheWayOut) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const&) {});
  static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
    std::vector<Act> const refusals = ReadingRefusals(*visitor.Memento(), cls_FieldHandle("m_Field"_cow));
    EXPECT_EQ(refusals.size(), 21U);
    for (Act const& refusal : refusals) {
      std::string const message = MessageOf(sto_ErrorKind::Misuse, refusal);
      EXPECT_TRUE(Contains(message, "does not read") && Contains(message, "Scripted")) << message;
    }
  }));
}

TEST_F(StoreRefusals, BranchesAreNotCopiedAndSharedPointersNeedNoBracket) {
  sto_Store store = Create();
  SaveFields(store, [](cls_WriteVisitor const& visitor) {
    EXPECT_FALSE(visitor.Memento()->CopyBranch(nullptr, cls_FieldHandle("m_Field"_cow)));
    visitor.Memento()->StartSharedPtrOutput();
    visitor.Memento()->EndSharedPtrOutput();
    EXPECT_TRUE(visitor.Memento()->NeedsDeletion());
  });
  EXPECT_EQ(store.ObjectCount(), 1);
}

} // namespace

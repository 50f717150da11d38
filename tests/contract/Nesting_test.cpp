#include "tests/contract/ContractTest.h"

// Objects that hold objects: as deep as a store takes them, and one step deeper.

namespace {

CONTRACT_SUITE(ContractNesting);

constexpr int Deepest = 1000; ///< so many objects may stand within each other

/// The chain of `depth` objects that begins with `visitor`'s.
void WriteChain(cls_WriteVisitor const& visitor, int depth) {
  visitor.Write(FieldFor<int>(), depth);
  if (depth == 1) return;
  cls_WriteVisitor const child(visitor, FieldOf("Object"), nullptr, nullptr);
  ASSERT_EQ(child.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
  WriteChain(child, depth - 1);
}

/// How many objects the chain has; -1 when their numbers do not count down.
int LengthOfChain(cls_ReadVisitor const& visitor, int expected) {
  if (visitor.Read(FieldFor<int>(), -1) != expected) return -1;
  if (visitor.DataIsPresent(FieldOf("Object")) == 0) return 1;
  int const rest = LengthOfChain(cls_ReadVisitor(visitor, FieldOf("Object")), expected - 1);
  return rest < 0 ? rest : rest + 1;
}

TEST_P(ContractNesting, ADeepChainComesBack) {
  COVERS(cls_MementoWrite, 3);
  COVERS(cls_MementoRead, 7);
  for (int const depth : {1, 2, 500, Deepest}) {
    Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); });
    Read([=](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, depth), depth); });
  }
}

TEST_P(ContractNesting, AChainBeyondTheLimitIsRefusedAndLeavesNothing) {
  COVERS(cls_MementoWrite, 3);
  for (int const depth : {Deepest + 1, Deepest + 500}) {
    std::string const message = MessageOf(sto_ErrorKind::Full, [&] {
      Write([=](cls_WriteVisitor const& visitor) { WriteChain(visitor, depth); });
    });
    EXPECT_TRUE(Contains(message, "1000")) << message;
    EXPECT_FALSE(Store().HasRoot("root"));
    EXPECT_EQ(Store().ObjectCount(), 0);
  }
  Write([](cls_WriteVisitor const& visitor) { WriteChain(visitor, 3); });
  Read([](cls_ReadVisitor const& visitor) { EXPECT_EQ(LengthOfChain(visitor, 3), 3); });
}

TEST_P(ContractNesting, ADeepGraphLoadsThroughItsPointers) {
  COVERS(cls_MementoRead, 5, 7);
  {
    auto const first = std::make_shared<Node>(Deepest);
    Node* last = first.get();
    for (int i = Deepest - 1; i > 0; --i) {
      last->m_Right = std::make_shared<Node>(i);
      last = last->m_Right.get();
    }
    Store().Save("root", *first);
  }
  Step();
  std::shared_ptr<Node> const first = Store().LoadShared<Node>("root");
  int length = 0;
  for (Node const* node = first.get(); node != nullptr; node = node->m_Right.get())
    ASSERT_EQ(node->m_Value, Deepest - length++);
  EXPECT_EQ(length, Deepest);
}

} // namespace

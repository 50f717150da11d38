#include "store/sto_Proxy.h"
#include "tests/contract/ContractContent.h"
#include "tests/contract/ContractGraph.h"
#include "tests/contract/StoreContract.h"

// What only sto_Store has: copies between stores of different settings, transactions that only read, roots of
// any class, and the explicit Rollback.

namespace {

class StoreOnly : public ContractTest {
 protected:
  sto_Store& Store() { return dynamic_cast<StoreContractSession&>(Session()).Store(); }
};
CONTRACT_FIXTURE(StoreOnly);

TEST_P(StoreOnly, ContentOfEveryKindIsCopiedToAStoreOfEverySetting) {
  COVERS(cls_MementoWrite, 55);
  COVERS(cls_AgentProxy, 0, 1);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 3); });
  for (ContractSetting const& setting : ContractSettings()) {
    SCOPED_TRACE(setting.m_Name);
    std::filesystem::path const folder = Folder() / setting.m_Name;
    std::filesystem::create_directory(folder);
    auto const backEnd = setting.m_Make(folder.string());
    auto const target = backEnd->Open("other", ContractMode::Create, ContractClasses());
    ContractSession::Proxy const proxy = Session().MakeProxy("root");
    Save(*target, Scripted([&](cls_WriteVisitor const& visitor) {
      EXPECT_TRUE(visitor.Memento()->CopyBranch(proxy.Ptr(), FieldOf("Object")));
    }));
    ExpectObjects(*target, 1 + 1 + ContentObjects);
    Load(*target,
         [](cls_ReadVisitor const& visitor) { ExpectContent(ObjectIn(visitor, FieldOf("Object")), 3); });
  }
}

TEST_P(StoreOnly, CollectingIsRefusedInATransactionThatOnlyReads) {
  COVERS(cls_MementoRead, 13);
  Write([](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<int>(), 4); });
  Session().RemoveRoot("root");
  {
    sto_ReadTransaction const transaction(Store());
    MessageOf(ContractError::Misuse, [this] { static_cast<void>(Session().CollectGarbage()); });
  }
  ExpectObjects(1);
  EXPECT_EQ(Session().CollectGarbage(), 1);
}

TEST_P(StoreOnly, ATransactionThatIsExplicitlyRolledBackRestoresEverything) {
  COVERS(cls_MementoRead, 13);
  Write([](cls_WriteVisitor const& visitor) { WriteContent(visitor, 5); });
  {
    sto_Transaction transaction(Store());
    EXPECT_TRUE(Session().RemoveRoot("root"));
    EXPECT_EQ(Session().CollectGarbage(), 1 + ContentObjects);
    transaction.Rollback();
  }
  Read([](cls_ReadVisitor const& visitor) { ExpectContent(visitor, 5); });
}

TEST_P(StoreOnly, PartsOfARootDoNotSeeEachOther) {
  COVERS(cls_MementoWrite, 5);
  COVERS(cls_MementoRead, 8);
  {
    Top top;
    top.m_BottomValue = 1;
    top.m_MiddleValue = "two"_cow;
    top.m_TopValue = 3.5;
    Store().Save("top", top);
  }
  Step();
  std::unique_ptr<Top> const top = Store().Load<Top>("top");
  EXPECT_EQ(top->m_BottomValue, 1);
  EXPECT_EQ(top->m_MiddleValue, "two"_cow);
  EXPECT_EQ(top->m_TopValue, 3.5);
}

} // namespace

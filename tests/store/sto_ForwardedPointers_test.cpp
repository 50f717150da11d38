#include "persist/pointers/cls_RegistrarSource.h"
#include "store/sto_Proxy.h"
#include "store/sto_ReadCow.h"
#include "tests/support/backend/PassingMemento.h"
#include "tests/support/store/StoreTest.h"

// Objects behind pointers in a store, read through the mementos of another back end that pass on.

namespace {

/// Passes on to the store's memento of the root, which its visitor deletes.
class PassingRoot final : public ForwardingMementoRead, public cls_ForwardedObject {
 public:
  explicit PassingRoot(cls_MementoRead* target)
      : ForwardingMementoRead(*target), cls_ForwardedObject(target) {}
  bool NeedsDeletion() const override { return false; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    return new PassingMemento(m_Target.MakeFieldReadObj(field));
  }
};

class StoreForwardedPointers : public StoreTest {
 protected:
  StoreForwardedPointers() {
    auto const shared = std::make_shared<Node>(2);
    auto const below = std::make_shared<Node>(3);
    Node top(1);
    top.m_Left = top.m_Right = shared;
    shared->m_Left = below;
    below->m_Back = shared;
    sto_Store store = Create();
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      for (cls_FieldHandle const& field : {m_One, m_Two})
        top.DBWrite(cls_WriteVisitor(visitor, field, nullptr, &top));
    });
  }

  /// Loads the root, and reads it with `read`: directly, or through passing mementos.
  static void Load(sto_Store& store, bool isPassed, Scripted::ReadFields const& read) {
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      if (!isPassed) return read(visitor);
      PassingRoot passing(visitor.Memento());
      read(cls_ReadVisitor(static_cast<cls_MementoRead*>(&passing)));
    }));
  }
  /// The text of a failure, which must be the same both ways.
  std::string MessageBothWays(sto_ErrorKind kind, Scripted::ReadFields const& read) const {
    sto_Store store = Open();
    std::string const direct = MessageOf(kind, [&] { Load(store, false, read); });
    EXPECT_EQ(MessageOf(kind, [&] { Load(store, true, read); }), direct);
    return direct;
  }

  cls_FieldHandle m_One{"m_One"_cow};
  cls_FieldHandle m_Two{"m_Two"_cow};
};

TEST_F(StoreForwardedPointers, SharedObjectsAndCyclesComeBack) {
  sto_Store store = Open();
  for (bool const isPassed : {false, true})
    Load(store, isPassed, [this](cls_ReadVisitor const& visitor) {
      std::shared_ptr<Node> const node = sto_ReadShared<Node>(visitor, m_One);
      EXPECT_EQ(sto_ReadShared<Node>(visitor, m_Two), node);
      EXPECT_EQ(node->m_Left, node->m_Right);
      EXPECT_EQ(node->m_Left->m_Left->m_Back.lock(), node->m_Left);
      EXPECT_EQ(sto_ReadOwned<Node>(visitor, cls_FieldHandle("m_Absent"_cow)), nullptr);
    });
}

TEST_F(StoreForwardedPointers, WrongClassHasTheTextOfTheStore) {
  std::string const message =
      MessageBothWays(sto_ErrorKind::WrongClass, [this](cls_ReadVisitor const& visitor) {
        static_cast<void>(sto_ReadOwned<Top>(visitor, m_One));
      });
  EXPECT_TRUE(message.starts_with(Path() + ": Object ") && message.ends_with(" is of class Node, not Top."))
      << message;
}

TEST_F(StoreForwardedPointers, OneObjectAsTwoTypesIsRefused) {
  std::string const message = MessageBothWays(sto_ErrorKind::Misuse, [this](cls_ReadVisitor const& visitor) {
    std::shared_ptr<Node> const node = sto_ReadShared<Node>(visitor, m_One);
    static_cast<void>(sto_ReadCow<Node, cow_Direct<Node>>(visitor, m_Two));
  });
  EXPECT_TRUE(Contains(message, "is loaded as two different types.")) << message;
}

TEST_F(StoreForwardedPointers, ProxyIsOfTheObjectThatThePassingMementosLeadTo) {
  sto_Store store = Open();
  cow_CountedHld<cls_AgentProxy> proxy;
  Load(store, true, [&](cls_ReadVisitor const& visitor) {
    proxy = sto_MakeProxy(cls_ReadVisitor(visitor, m_One));
    EXPECT_NE(sto_MakeProxy(visitor).Ptr(), nullptr);
    EXPECT_EQ(sto_MakeProxy(cls_ReadVisitor(visitor, cls_FieldHandle("m_Absent"_cow))).Ptr(), nullptr);
  });
  SaveFields(
      store,
      [&](cls_WriteVisitor const& visitor) {
        EXPECT_TRUE(visitor.Memento()->CopyBranch(proxy.Ptr(), m_One));
      },
      "copy");
  static_cast<void>(LoadFields(
      store,
      [this](cls_ReadVisitor const& visitor) {
        std::shared_ptr<Node> const copy = sto_ReadShared<Node>(visitor, m_One);
        EXPECT_EQ(copy->m_Value, 1);
        EXPECT_EQ(copy->m_Left, copy->m_Right);
      },
      "copy"));
}

/// A memento that says nothing of pointers.
struct SilentRoot : ForwardingMementoRead {
  using ForwardingMementoRead::ForwardingMementoRead;
  bool NeedsDeletion() const override { return false; }
};

/// A memento of another back end.
struct ForeignSource : cls_RegistrarSource {
  using cls_RegistrarSource::cls_RegistrarSource;
  void RaiseNotBuilt(cls_BuildFailure const&) const override { std::abort(); }
};
struct ForeignRoot : SilentRoot, cls_StoredObject {
  ForeignRoot(cls_MementoRead& target, ForeignSource& source) : SilentRoot(target), m_Source(source) {}
  Place StoredAt() noexcept override { return {&m_Source, 1}; }
  ForeignSource& m_Source;
};

TEST_F(StoreForwardedPointers, ProxyOfAnObjectOfAnotherBackEndIsRefused) {
  sto_Store store = Open();
  Load(store, false, [&](cls_ReadVisitor const& visitor) {
    cls_ClassRegistrar const noClasses;
    ForeignSource source(noClasses);
    SilentRoot silent(*visitor.Memento());
    ForeignRoot foreign(*visitor.Memento(), source);
    for (cls_MementoRead* const memento :
         {static_cast<cls_MementoRead*>(&silent), static_cast<cls_MementoRead*>(&foreign)}) {
      std::string const message = MessageOf(
          sto_ErrorKind::Misuse, [&] { static_cast<void>(sto_MakeProxy(cls_ReadVisitor(memento))); });
      EXPECT_TRUE(Contains(message, "A proxy is made of an object of a store only. This object, of class 0x"))
          << message;
    }
  });
}

} // namespace

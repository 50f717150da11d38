#include "persist/pointers/cls_StoredObject.h"

#include <gtest/gtest.h>

#include <atomic>
#include <memory>
#include <thread>
#include <tuple>
#include <utility>

#include "tests/support/backend/PointerBackEnd.h"

namespace {

/// Memento types that differ in nothing but their type.
template <int Number> class NumberedMemento final : public PointerMemento {
  using PointerMemento::PointerMemento;
};

class StoredObject : public ::testing::Test {
 protected:
  StoredObject() { m_BackEnd.m_Objects[1] = {}; }

  template <int Number> void ExpectFound() {
    NumberedMemento<Number> memento(m_BackEnd, 1);
    EXPECT_EQ(cls_StoredObject::Of(&memento), static_cast<cls_StoredObject*>(&memento)) << Number;
  }
  /// Declares NumberedMemento<0> and so on, and expects that each is found.
  template <int... Numbers> void ExpectDeclared(std::integer_sequence<int, Numbers...>) {
    {
      std::tuple<cls_StoredMementoType<NumberedMemento<Numbers>>...> const declared;
      (ExpectFound<Numbers>(), ...);
    }
    (ExpectFound<Numbers>(), ...);
  }

  cls_ClassRegistrar m_Classes;
  PointerBackEnd m_BackEnd{m_Classes};
};

} // namespace

TEST_F(StoredObject, IsFoundBehindAMementoThatHasIt) {
  EXPECT_EQ(cls_StoredObject::Of(nullptr), nullptr);
  PointerMemento memento(m_BackEnd, 1);
  cls_StoredObject* const found = cls_StoredObject::Of(&memento);
  ASSERT_EQ(found, static_cast<cls_StoredObject*>(&memento));
  EXPECT_EQ(found->StoredAt().m_Source, &m_BackEnd);
  EXPECT_EQ(found->StoredAt().m_Id, 1);
  SilentMemento silent(m_BackEnd.NewMemento(1));
  EXPECT_EQ(cls_StoredObject::Of(&silent), nullptr);
}

TEST_F(StoredObject, DeclarationHoldsForItsTypeAloneAndWhileItLives) {
  auto declared = std::make_unique<cls_StoredMementoType<PointerMemento>>();
  SilentMemento silent(m_BackEnd.NewMemento(1));
  for (int i = 0; i < 2; ++i) {
    ExpectFound<1>(); // of a derived class
    PointerMemento memento(m_BackEnd, 1);
    EXPECT_EQ(cls_StoredObject::Of(&memento), static_cast<cls_StoredObject*>(&memento));
    EXPECT_EQ(cls_StoredObject::Of(&silent), nullptr);
    declared.reset();
  }
}

TEST_F(StoredObject, MoreDeclarationsThanTheTableHoldsHaveNoEffect) {
  ExpectDeclared(std::make_integer_sequence<int, 20>());
  ExpectDeclared(std::make_integer_sequence<int, 3>());
}

TEST_F(StoredObject, IsFoundWhileOtherThreadsDeclareTypes) {
  cls_StoredMementoType<PointerMemento> const declared;
  PointerMemento memento(m_BackEnd, 1);
  NumberedMemento<2> undeclared(m_BackEnd, 1);
  std::atomic<bool> isOver = false;
  std::thread other([&isOver] {
    while (!isOver) {
      cls_StoredMementoType<NumberedMemento<1>> const one;
      cls_StoredMementoType<NumberedMemento<3>> const three;
    }
  });
  for (int i = 0; i < 2000; ++i) {
    EXPECT_EQ(cls_StoredObject::Of(&memento), static_cast<cls_StoredObject*>(&memento));
    EXPECT_EQ(cls_StoredObject::Of(&undeclared), static_cast<cls_StoredObject*>(&undeclared));
  }
  isOver = true;
  other.join();
}

TEST_F(StoredObject, ForwardedObjectSaysWhatItsTargetSays) {
  PassingMemento memento(m_BackEnd.NewMemento(1));
  cls_StoredObject* const found = cls_StoredObject::Of(&memento);
  ASSERT_EQ(found, static_cast<cls_StoredObject*>(&memento));
  EXPECT_EQ(found->StoredAt().m_Source, &m_BackEnd);
  EXPECT_EQ(found->StoredAt().m_Id, 1);
  found->NoteBuiltByMetadata();
  EXPECT_EQ(m_BackEnd.m_BuiltByMetadata, 1);
}

TEST_F(StoredObject, ForwardedObjectOfASilentTargetIsNotStored) {
  PassingMemento memento(new SilentMemento(m_BackEnd.NewMemento(1)));
  cls_StoredObject* const found = cls_StoredObject::Of(&memento);
  ASSERT_NE(found, nullptr);
  EXPECT_EQ(found->StoredAt().m_Source, nullptr);
  EXPECT_EQ(found->StoredAt().m_Id, 0);
  found->NoteBuiltByMetadata();
  EXPECT_EQ(m_BackEnd.m_BuiltByMetadata, 0);
}

#include <gtest/gtest.h>

#include <memory>
#include <new>
#include <string>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "store/sto_CheckClasses.h"
#include "tests/support/store/StoreNewFault.h"

// What a registrar notes about dropped declarations when memory runs out: all or nothing.

namespace {

class StoreDroppedClasses : public ::testing::Test {
 protected:
  StoreDroppedClasses() {
    Bolt().AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_INT, 1, COLLECTION_NONE);
  }

  cls_ClassMetadata& Bolt() { return m_Registrar.CreateClassMD("Bolt"_cow, 100, 1, nullptr, 1); }

  /// Fails each allocation of `act` in turn, until none is left.
  template <class Act> void FailEachStep(Act act) {
    int step = 1;
    for (; step < 1000; ++step) {
      StoreNewFault::FailAt(step);
      try {
        act();
        bool const hasFailed = StoreNewFault::HasFailed();
        StoreNewFault::FailAt(0);
        ASSERT_FALSE(hasFailed) << "a failure was swallowed at step " << step;
        break;
      } catch (std::bad_alloc const&) {
        StoreNewFault::FailAt(0);
      }
      cls_ClassMetadata const& bolt = m_Registrar.ConstGet(100);
      ASSERT_TRUE(bolt.DroppedClasses().empty()) << step;
      ASSERT_TRUE(bolt.DroppedAttributes().empty()) << step;
      ASSERT_EQ(bolt.GetAttributes().Count(), 1U);
      ASSERT_EQ(m_Registrar.GetVersions().Count(), 1U);
    }
    EXPECT_GT(step, 1);
    EXPECT_LT(step, 1000);
  }

  cls_ClassRegistrar m_Registrar;
};

} // namespace

TEST_F(StoreDroppedClasses, AttributeThatCannotBeNotedChangesNothing) {
  cls_ClassMetadata& bolt = Bolt();
  FailEachStep(
      [&] { bolt.AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_FLOAT, 1, COLLECTION_NONE); });
  EXPECT_EQ(bolt.DroppedAttributes().size(), 1U);
}

TEST_F(StoreDroppedClasses, RegistrationThatCannotBeNotedChangesNothing) {
  FailEachStep([&] {
    auto metadata = std::make_unique<cls_ClassMetadata>("Nut"_cow, 100U, 1, nullptr, 2U);
    for (int number = 0; number < 5; ++number)
      metadata->AddAttribute(cls_FieldHandle(number, cow_String(std::to_string(number))), ATTR_INT, 1,
                             COLLECTION_NONE);
    m_Registrar.AddClassMD(metadata.release());
  });
  EXPECT_EQ(m_Registrar.ConstGet(100).DroppedClasses().size(), 1U);
  EXPECT_EQ(m_Registrar.ConstGet(100).DroppedAttributes().size(), 5U);
}

TEST_F(StoreDroppedClasses, EqualRepeatNeedsNoMemoryForNotes) {
  cls_ClassMetadata& bolt = Bolt();
  StoreNewFault::FailAt(1);
  bolt.AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_INT, 1, COLLECTION_NONE);
  bool const hasFailed = StoreNewFault::HasFailed();
  StoreNewFault::FailAt(0);
  EXPECT_FALSE(hasFailed);
}

TEST_F(StoreDroppedClasses, CheckThatRunsOutOfMemoryRaisesIt) {
  Bolt().AddAttribute(cls_FieldHandle(1, "m_Length"_cow), ATTR_INT, 1, COLLECTION_NONE);
  std::vector<std::string> const expected = sto_CheckClasses(m_Registrar);
  ASSERT_EQ(expected.size(), 1U);
  for (int step = 1;; step += 7) {
    StoreNewFault::FailAt(step);
    try {
      std::vector<std::string> const found = sto_CheckClasses(m_Registrar);
      bool const hasFailed = StoreNewFault::HasFailed();
      StoreNewFault::FailAt(0);
      EXPECT_FALSE(hasFailed);
      EXPECT_EQ(found, expected);
      break;
    } catch (std::bad_alloc const&) {
      StoreNewFault::FailAt(0);
    }
  }
}

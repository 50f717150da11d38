#include <gtest/gtest.h>

#include <typeinfo>

#include "tests/support/ExceptionCases.h"

namespace {

template <class Exception> class EachThrown : public ::testing::Test {
 protected:
  Exception m_Exception = ExceptionCase<Exception>::Make();
};
TYPED_TEST_SUITE(EachThrown, ThrownExceptions);

} // namespace

TYPED_TEST(EachThrown, IsCaughtAsItsMostDerivedClass) {
  bool caught = false;
  try {
    this->m_Exception.Throw("nex_Place", 46);
  } catch (TypeParam const& thrown) {
    caught = true;
    EXPECT_EQ(typeid(thrown), typeid(TypeParam));
    EXPECT_NE(&thrown, &this->m_Exception);
  }
  EXPECT_TRUE(caught);
}

TYPED_TEST(EachThrown, ThrowThroughTheRootThrowsTheMostDerivedClass) {
  nex_Exception& root = this->m_Exception;
  bool caught = false;
  try {
    root.Throw("nex_Place", 46);
  } catch (nex_Exception const& thrown) {
    caught = true;
    EXPECT_EQ(typeid(thrown), typeid(TypeParam));
    EXPECT_EQ(thrown.DynTypeId(), ExceptionCase<TypeParam>::TypeId);
  }
  EXPECT_TRUE(caught);
}

TYPED_TEST(EachThrown, PropagateThrowsTheMostDerivedClassWithoutChangingThePlace) {
  nex_Exception const& root = this->m_Exception;
  bool caught = false;
  try {
    root.Propagate();
  } catch (TypeParam const& thrown) {
    caught = true;
    EXPECT_EQ(typeid(thrown), typeid(TypeParam));
    EXPECT_EQ(thrown.FromFile(), "");
    EXPECT_EQ(thrown.FromLine(), 0);
  }
  EXPECT_TRUE(caught);
}

TYPED_TEST(EachThrown, CarriesFileAndLine) {
  std::string const text = ExceptionCase<TypeParam>::Text;
  try {
    this->m_Exception.Throw("nex_Place", 46);
  } catch (nex_Exception const& thrown) {
    EXPECT_EQ(thrown.FromFile(), "nex_Place");
    EXPECT_EQ(thrown.FromLine(), 46);
    EXPECT_EQ(thrown.UserReport(), text);
    EXPECT_EQ(thrown.DeveloperReport(), "Exception: " + text + " in file nex_Place at line 46");
  }
  EXPECT_EQ(this->m_Exception.FromFile(), "nex_Place"); // also recorded in the original
  EXPECT_EQ(this->m_Exception.FromLine(), 46);
}

TYPED_TEST(EachThrown, CarriesTheIdentitiesOfTheThrownObject) {
  try {
    this->m_Exception.Throw("nex_Place", 46);
  } catch (TypeParam const& thrown) {
    EXPECT_EQ(thrown.RootUid().Entry(), this->m_Exception.RootUid().Entry());
    EXPECT_EQ(thrown.Uid().Entry(), this->m_Exception.Uid().Entry());
  }
  EXPECT_EQ(this->m_Exception.RootUid().Entry()->m_RefCount, 1U);
  EXPECT_EQ(this->m_Exception.Uid().Entry()->m_RefCount, 1U);
}

TYPED_TEST(EachThrown, CanBeThrownAgainFromAnotherPlace) {
  try {
    try {
      this->m_Exception.Throw("nex_First", 1);
    } catch (nex_Exception& thrown) {
      thrown.Throw("nex_Second", 2);
    }
  } catch (TypeParam const& thrown) {
    EXPECT_EQ(thrown.FromFile(), "nex_Second");
    EXPECT_EQ(thrown.FromLine(), 2);
    EXPECT_EQ(typeid(thrown), typeid(TypeParam));
  }
  EXPECT_EQ(this->m_Exception.FromFile(), "nex_First");
}

TEST(nex_ExceptionThrow, CopiesTheFileName) {
  char name[] = "nex_Place";
  try {
    nex_TextException(atr_String("x")).Throw(name, 1);
  } catch (nex_Exception const& thrown) {
    name[0] = 'X';
    EXPECT_EQ(thrown.FromFile(), "nex_Place");
  }
}

TEST(nex_ExceptionThrow, NullFileNameIsReportedAsEmpty) {
  try {
    nex_TextException(atr_String("x")).Throw(nullptr, -7);
  } catch (nex_Exception const& thrown) {
    EXPECT_FALSE(thrown.FromFile().HasText());
    EXPECT_EQ(thrown.DeveloperReport(), "Exception: x in file  at line -7");
  }
}

TEST(nex_ExceptionThrow, HandlersOfOtherClassesDoNotCatchIt) {
  bool passed = false;
  try {
    try {
      nex_TextException(atr_String("x")).Throw("f", 1);
    } catch (nex_BadCastException const&) {
      ADD_FAILURE() << "caught as another class";
    }
  } catch (nex_TextException const&) {
    passed = true;
  }
  EXPECT_TRUE(passed);
}

TEST(nex_ExceptionThrow, ApplicationsCommandIsCaughtAsCommandException) {
  bool caught = false;
  try {
    FailedMeshCommand("Mesh", "no elements").Throw("mesh", 9);
  } catch (nex_CommandException const& thrown) {
    caught = true;
    EXPECT_EQ(thrown.CommandName(), "Mesh");
    EXPECT_EQ(thrown.CommandMessage(), "no elements");
    EXPECT_EQ(thrown.DeveloperReport(), "Exception: Mesh: no elements in file mesh at line 9");
  }
  EXPECT_TRUE(caught);
}

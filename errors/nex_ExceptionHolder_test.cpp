#include <gtest/gtest.h>

#include <memory>
#include <typeinfo>

#include "tests/support/ExceptionCases.h"

namespace {

/// Counts its clones and its destructions.
class ClonedException : public nex_TextException {
 public:
  using nex_TextException::nex_TextException;
  ~ClonedException() override { ++s_Ended; }
  nex_Exception* Copy() const override {
    ++s_Clones;
    return new ClonedException(*this);
  }

  static inline int s_Clones = 0;
  static inline int s_Ended = 0;
};

class ExceptionHolder : public ::testing::Test {
 protected:
  void SetUp() override { ClonedException::s_Clones = ClonedException::s_Ended = 0; }

  nex_ExceptionHolder m_Holder{new ClonedException(atr_String("held"))};
};

template <class Exception> class EachHeldException : public ::testing::Test {};
TYPED_TEST_SUITE(EachHeldException, ThrownExceptions);

} // namespace

TEST_F(ExceptionHolder, CopiesShareTheException) {
  nex_ExceptionHolder const copy(m_Holder);
  EXPECT_EQ(copy.ConstPtr(), m_Holder.ConstPtr());
  EXPECT_EQ(copy.UseCount(), 2);
  EXPECT_EQ(copy.ConstGet().UserReport(), "held");
  EXPECT_EQ(ClonedException::s_Clones, 0);
}

TEST_F(ExceptionHolder, SoleHolderChangesItsExceptionInPlace) {
  nex_Exception const* const before = m_Holder.ConstPtr();
  EXPECT_EQ(&m_Holder.Get(), before);
  EXPECT_EQ(ClonedException::s_Clones, 0);
}

TEST_F(ExceptionHolder, SharingHolderClonesOnceBeforeAChange) {
  nex_ExceptionHolder copy(m_Holder);
  EXPECT_THROW(copy.Get().Throw("nex_Place", 3), nex_TextException);
  (void)copy.Get();
  EXPECT_EQ(ClonedException::s_Clones, 1);
  EXPECT_EQ(copy.ConstGet().FromLine(), 3);
  EXPECT_EQ(m_Holder.ConstGet().FromLine(), 0);
  EXPECT_EQ(copy.UseCount(), 1);
  EXPECT_EQ(m_Holder.UseCount(), 1);
}

TEST_F(ExceptionHolder, CloneKeepsTheIdentity) {
  nex_ExceptionHolder copy(m_Holder);
  EXPECT_EQ(copy.Get().RootUid().Entry(), m_Holder.ConstGet().RootUid().Entry());
}

TEST_F(ExceptionHolder, LastHolderDeletesTheExceptionThroughItsVirtualDestructor) {
  {
    nex_ExceptionHolder const copy(m_Holder);
    m_Holder = nex_ExceptionHolder();
    EXPECT_EQ(ClonedException::s_Ended, 0);
  }
  EXPECT_EQ(ClonedException::s_Ended, 1);
}

TEST_F(ExceptionHolder, DeleteDestroysTheHeldExceptionAtOnce) {
  cow_CountedHld<nex_Exception> holder(new ClonedException(atr_String("held")));
  holder.Delete();
  EXPECT_EQ(ClonedException::s_Ended, 1);
  EXPECT_EQ(holder.Ptr(), nullptr);
}

TEST_F(ExceptionHolder, OutOfMemoryExceptionsHaveTheirOwnHolder) {
  nex_OutOfMemoryHolder const holder(new nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT));
  nex_OutOfMemoryHolder copy(holder);
  EXPECT_EQ(copy.Get().Error(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_NE(copy.ConstPtr(), holder.ConstPtr());
  EXPECT_EQ(copy.ConstGet().ErrorName(), "OutOfMemory");
}

TYPED_TEST(EachHeldException, CloneHasTheMostDerivedClass) {
  nex_ExceptionHolder const holder(ExceptionCase<TypeParam>::Make().Copy());
  nex_ExceptionHolder copy(holder);
  nex_Exception& cloned = copy.Get();
  EXPECT_NE(&cloned, holder.ConstPtr());
  EXPECT_EQ(typeid(cloned), typeid(TypeParam));
  EXPECT_EQ(cloned.UserReport(), ExceptionCase<TypeParam>::Text);
}

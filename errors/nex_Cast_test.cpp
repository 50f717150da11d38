#include "errors/nex_Cast.h"

#include <gtest/gtest.h>

#include "platform/typ/typ_ArchCompTable.h"
#include "tests/support/ExceptionCases.h"
#include "tests/support/InitialisedModule.h"

namespace {

class Cast : public ::testing::Test {
 protected:
  /// The report of the failed cast; empty if the cast succeeded.
  static std::string Failure(unsigned int to, unsigned int from) {
    try {
      nex_canDynamicCastRef(to, from, "mesh_Node", 17);
    } catch (nex_BadCastException const& thrown) {
      return std::string(thrown.DeveloperReport().View());
    }
    return {};
  }

  InitialisedModule m_Module;
};

constexpr unsigned int Root = 0x1F0001;
constexpr unsigned int Text = 0x1F0002;
constexpr unsigned int Exit = 0x1F0006;
constexpr unsigned int Unknown = 0x7B0003;

} // namespace

TEST_F(Cast, SameTypeCanAlwaysBeCast) {
  for (unsigned int type : {0U, 1U, Root, Text, Unknown, 0xFFFFFFFFU}) {
    EXPECT_TRUE(nex_canDynamicCastPtr(type, type)) << type;
    EXPECT_TRUE(nex_canDynamicCastRef(type, type, "f", 1)) << type;
  }
}

TEST_F(Cast, EveryExceptionCanBeCastToTheRoot) {
  for (unsigned int type = Root + 1; type <= 0x1F0009; ++type) {
    EXPECT_TRUE(nex_canDynamicCastPtr(Root, type)) << type;
    EXPECT_TRUE(nex_canDynamicCastRef(Root, type, "f", 1)) << type;
  }
}

TEST_F(Cast, RootCannotBeCastDown) {
  for (unsigned int type = Root + 1; type <= 0x1F0009; ++type)
    EXPECT_FALSE(nex_canDynamicCastPtr(type, Root));
}

TEST_F(Cast, SiblingsCannotBeCastToEachOther) {
  EXPECT_FALSE(nex_canDynamicCastPtr(Text, Exit));
  EXPECT_FALSE(nex_canDynamicCastPtr(Exit, Text));
}

TEST_F(Cast, UnknownTypeCanOnlyBeCastToItself) {
  EXPECT_FALSE(nex_canDynamicCastPtr(Root, Unknown));
  EXPECT_FALSE(nex_canDynamicCastPtr(Unknown, Root));
}

TEST_F(Cast, NothingCanBeCastToTheNoParentMark) {
  EXPECT_FALSE(nex_canDynamicCastPtr(typ_ArchCompTable::NoParent, Root));
  EXPECT_FALSE(nex_canDynamicCastPtr(typ_ArchCompTable::NoParent, Text));
}

TEST_F(Cast, PointerCheckNeverThrows) {
  EXPECT_TRUE(noexcept(nex_canDynamicCastPtr(Root, Text)));
}

TEST_F(Cast, FailedReferenceCastNamesBothTypesAndThePlace) {
  EXPECT_EQ(Failure(Exit, Text), "Exception: Bad Cast: From `nex_TextException' To 'nex_ExitException'. "
                                 "in file mesh_Node at line 17");
}

TEST_F(Cast, FailedReferenceCastDownNamesTheRoot) {
  EXPECT_EQ(Failure(Text, Root), "Exception: Bad Cast: From `nex_Exception' To 'nex_TextException'. "
                                 "in file mesh_Node at line 17");
}

TEST_F(Cast, FailedReferenceCastNamesUnknownTypesAsTheTypeTableDoes) {
  std::string const name(typ_ArchCompTable::GetName(Unknown).View());
  EXPECT_EQ(Failure(Unknown, Text),
            "Exception: Bad Cast: From `nex_TextException' To '" + name + "'. in file mesh_Node at line 17");
}

TEST_F(Cast, MessageQuotesWithABackquoteAndAnApostrophe) {
  try {
    nex_canDynamicCastRef(Exit, Text, "f", 1);
    ADD_FAILURE() << "no exception";
  } catch (nex_BadCastException const& thrown) {
    EXPECT_EQ(thrown.Value(), "Bad Cast: From `nex_TextException' To 'nex_ExitException'.");
    EXPECT_EQ(thrown.DynTypeId(), 0x1F0005U);
  }
}

TEST_F(Cast, DynamicTypesOfObjectsCanBeChecked) {
  nex_TextException const exception(atr_String("x"));
  nex_Exception const& root = exception;
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_TextException::TypeId(), root.DynTypeId()));
  EXPECT_TRUE(nex_canDynamicCastPtr(nex_Exception::TypeId(), root.DynTypeId()));
  EXPECT_FALSE(nex_canDynamicCastPtr(nex_ExitException::TypeId(), root.DynTypeId()));
}

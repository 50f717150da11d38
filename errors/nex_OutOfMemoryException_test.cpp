#include "errors/nex_OutOfMemoryException.h"

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <utility>

#include "tests/support/ExceptionCases.h"
#include "tests/support/InitialisedModule.h"

namespace {

// The exact texts are part of the interface.
constexpr std::string_view DetailedText =
    "*** Error: An out of memory error occurred, or the KORVEL/CAE memory limit was reached.\n"
    " \n"
    "If the application ran out of memory, please create backup copies of your KORVEL/CAE "
    "databases and then try to save them.\n"
    "Database corruption may occur if an out of memory error occurs during the save "
    "operation.\n"
    " \n"
    "To change the KORVEL/CAE memory limit now, issue the following command in the "
    "KORVEL/CAE CLI: \n"
    " session.setValues(kernelMemoryLimit=valueInMBytes) \n"
    " \n"
    "To change the value for future KORVEL/CAE sessions, refer to the KORVEL Installation "
    "and Licensing Guide for details on how to modify this value in your korvel_v6.env file.\n"
    " \n"
    "It is recommended that you exit KORVEL/CAE and then restart it.\n"
    " \n"
    "On 32-bit versions of Windows, you can use the boot option /3GB /userva=SizeInMBytes to "
    "increase the amount of memory that can be used by KORVEL/CAE. Please refer to "
    "Microsoft's documentation for more detailed information.\n"
    "Alternatively, if you have access to a 64-bit operating system, you can try running "
    "KORVEL/CAE there, where the memory is not limited to 2 or 3GB. \n";
constexpr std::string_view GenericText =
    "*** Error: An out of memory error occurred. On 32-bit versions of Windows, you can use "
    "the boot option /3GB /userva=SizeInMBytes to increase the amount of memory that can be "
    "used by the application. Please refer to Microsoft's documentation for more detailed "
    "information. Alternatively, if you have access to a 64-bit operating system, you can "
    "try running the application there, where the memory is not limited to 2 or 3GB. \n";

class OutOfMemory : public ::testing::Test {
 protected:
  static std::string Detailed() {
    return std::string(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().View());
  }
  static std::string Generic() {
    return std::string(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->View());
  }
  static nex_OutOfMemoryException WithMessage(char const* message) {
    return {atr_String(message), NEX_OUTOFMEMORY_SYSTEM};
  }

  InitialisedModule m_Module;
};

template <class Exception>
concept AsksDetailed = requires {
  Exception::GetOutOfMemoryMsgDetailed();
};

} // namespace

TEST_F(OutOfMemory, DetailedMessageIsTheFixedText) {
  EXPECT_EQ(Detailed(), DetailedText);
  EXPECT_EQ(Detailed().size(), 1066U);
}

TEST_F(OutOfMemory, GenericMessageIsTheFixedText) {
  EXPECT_EQ(Generic(), GenericText);
  EXPECT_EQ(Generic().size(), 425U);
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric()->Length(), 425);
}

TEST_F(OutOfMemory, MessagesAreTheSameObjectsAtEveryCall) {
  nex_OutOfMemoryException const exception(NEX_OUTOFMEMORY_LIMIT);
  EXPECT_TRUE(exception.JournalMessage().AsCow().SharesBufferWith(exception.JournalMessage().AsCow()));
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(),
            nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric());
}

TEST_F(OutOfMemory, TextIsTheDetailedMessage) {
  nex_OutOfMemoryException const exception(NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(exception.AsString(), DetailedText);
  EXPECT_EQ(exception.JournalMessage(), DetailedText);
  EXPECT_EQ(exception.UserReport(), DetailedText);
}

TEST_F(OutOfMemory, DeveloperReportContainsTheDetailedMessage) {
  try {
    nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).Throw("mem_Pool", 12);
  } catch (nex_Exception const& thrown) {
    EXPECT_EQ(thrown.DeveloperReport(),
              "Exception: " + std::string(DetailedText) + " in file mem_Pool at line 12");
  }
}

TEST_F(OutOfMemory, ConstructionWithoutMessageKeepsTheMessages) {
  nex_OutOfMemoryException const exception(NEX_OUTOFMEMORY_LIMIT);
  EXPECT_FALSE(exception.Message().HasText());
  EXPECT_EQ(exception.Error(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(Detailed(), DetailedText);
  EXPECT_EQ(Generic(), GenericText);
}

TEST_F(OutOfMemory, ConstructionWithAMessageAppendsItToBothMessages) {
  nex_OutOfMemoryException const exception = WithMessage("While meshing.");
  EXPECT_EQ(exception.Message(), "While meshing.");
  EXPECT_EQ(exception.Error(), NEX_OUTOFMEMORY_SYSTEM);
  EXPECT_EQ(Detailed(), std::string(DetailedText) + "While meshing.");
  EXPECT_EQ(Generic(), std::string(GenericText) + "While meshing.");
}

TEST_F(OutOfMemory, TwoConstructionsLengthenTheTextOfBoth) {
  nex_OutOfMemoryException const first = WithMessage("A");
  EXPECT_EQ(first.AsString(), std::string(DetailedText) + "A");
  nex_OutOfMemoryException const second = WithMessage("A");
  EXPECT_EQ(first.AsString(), std::string(DetailedText) + "AA");
  EXPECT_EQ(second.AsString(), std::string(DetailedText) + "AA");
  EXPECT_EQ(Generic(), std::string(GenericText) + "AA");
}

TEST_F(OutOfMemory, CopiesAndThrowsAddNothing) {
  nex_OutOfMemoryException exception = WithMessage("A");
  delete exception.Copy();
  EXPECT_THROW(exception.Throw("f", 1), nex_OutOfMemoryException);
  nex_OutOfMemoryException const copy(exception);
  EXPECT_EQ(copy.Message(), "A");
  EXPECT_EQ(Detailed(), std::string(DetailedText) + "A");
}

TEST_F(OutOfMemory, MessagesStayGrownAfterTheExceptionsAreDestroyed) {
  for (int i = 0; i < 100; ++i) WithMessage("x");
  EXPECT_EQ(Detailed(), std::string(DetailedText) + std::string(100, 'x'));
  EXPECT_EQ(Generic(), std::string(GenericText) + std::string(100, 'x'));
}

TEST_F(OutOfMemory, MessageWithoutTextAddsNothing) {
  nex_OutOfMemoryException const exception(atr_String(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(Detailed(), DetailedText);
  EXPECT_EQ(Generic(), GenericText);
}

TEST_F(OutOfMemory, TextTakenEarlierDoesNotGrow) {
  atr_String const before = nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).AsString();
  WithMessage("A");
  EXPECT_EQ(before, DetailedText);
}

TEST_F(OutOfMemory, ProcessWideMessagesMayThemselvesBeTheMessage) {
  nex_OutOfMemoryException const generic(*nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(),
                                         NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(Generic(), std::string(GenericText) + std::string(GenericText));
  std::string const text = std::string(DetailedText) + std::string(GenericText);
  EXPECT_EQ(Detailed(), text);
  nex_OutOfMemoryException const detailed(generic.JournalMessage(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(detailed.Message(), text);
  EXPECT_EQ(Detailed(), text + text);
  EXPECT_EQ(Generic(), std::string(GenericText) + std::string(GenericText) + text);
}

TEST_F(OutOfMemory, JournalMessageCanBeOverridden) {
  struct Short : nex_OutOfMemoryException {
    using nex_OutOfMemoryException::nex_OutOfMemoryException;
    atr_String JournalMessage() override { return atr_String("short"); }
  };
  Short const exception(NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(exception.AsString(), "short");
  EXPECT_EQ(exception.DeveloperReport(), "Exception: short in file  at line 0");
}

TEST_F(OutOfMemory, CopyReturnsTheRootType) {
  static_assert(
      std::is_same_v<decltype(std::declval<nex_OutOfMemoryException const&>().Copy()), nex_Exception*>);
  std::unique_ptr<nex_Exception> const copy(WithMessage("A").Copy());
  nex_Exception const& copied = *copy;
  EXPECT_EQ(typeid(copied), typeid(nex_OutOfMemoryException));
}

TEST_F(OutOfMemory, DetailedMessageIsHiddenInTheLibrary) {
  static_assert(!AsksDetailed<nex_OutOfMemoryException>);
  char const* const generic = "_ZN24nex_OutOfMemoryException24GetOutOfMemoryMsgGenericEv";
  char const* const detailed = "_ZN24nex_OutOfMemoryException25GetOutOfMemoryMsgDetailedEv";
  EXPECT_NE(dlsym(RTLD_DEFAULT, generic), nullptr);
  EXPECT_EQ(dlsym(RTLD_DEFAULT, detailed), nullptr);
}

TEST_F(OutOfMemory, ErrorNameIsFixed) {
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).ErrorName(), "OutOfMemory");
  EXPECT_EQ(WithMessage("A").ErrorName(), "OutOfMemory");
}

TEST_F(OutOfMemory, EveryCodeIsKeptUnchanged) {
  EXPECT_EQ(sizeof(nex_OutOfMemoryErrEnm), 4U);
  for (int code : {-2147483647 - 1, -1, 0, 1, 77, 2147483647}) {
    nex_OutOfMemoryException const exception(static_cast<nex_OutOfMemoryErrEnm>(code));
    EXPECT_EQ(static_cast<int>(exception.Error()), code);
    std::unique_ptr<nex_OutOfMemoryException> const copy(
        static_cast<nex_OutOfMemoryException*>(exception.Copy()));
    EXPECT_EQ(static_cast<int>(copy->Error()), code);
    EXPECT_EQ(exception.AsString(), DetailedText);
  }
}

TEST(OutOfMemoryWithoutModule, ThereAreNoMessages) {
  EXPECT_EQ(nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), nullptr);
  nex_OutOfMemoryException const exception(atr_String("A"), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(exception.Message(), "A");
  EXPECT_EQ(exception.AsString(), "");
}

TEST(OutOfMemoryWithoutModule, NextStartRebuildsTheMessages) {
  std::optional<InitialisedModule> module(std::in_place);
  nex_OutOfMemoryException(atr_String("A"), NEX_OUTOFMEMORY_LIMIT).AsString();
  module.reset();
  module.emplace();
  EXPECT_EQ(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage(), DetailedText);
  EXPECT_EQ(*nex_OutOfMemoryException::GetOutOfMemoryMsgGeneric(), GenericText);
}

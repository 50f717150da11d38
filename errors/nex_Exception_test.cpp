#include "errors/nex_Exception.h"

#include <gtest/gtest.h>

#include <concepts>
#include <memory>
#include <string>
#include <type_traits>
#include <typeinfo>

#include "tests/support/ExceptionCases.h"

namespace {

template <class Exception> class EachException : public ::testing::Test {
 protected:
  Exception m_Exception = ExceptionCase<Exception>::Make();
};
TYPED_TEST_SUITE(EachException, ThrownExceptions);

/// The identity's record of the class level right below the root.
template <class Exception> cls_UidCatalogEntry* OwnEntry(Exception const& exception) {
  return exception.Uid().Entry();
}

} // namespace

TYPED_TEST(EachException, HasNoPlaceUntilThrown) {
  EXPECT_EQ(this->m_Exception.FromFile(), "");
  EXPECT_EQ(this->m_Exception.FromLine(), 0);
}

TYPED_TEST(EachException, HasItsDynamicTypeThroughTheRoot) {
  nex_Exception const& root = this->m_Exception;
  EXPECT_EQ(root.DynTypeId(), ExceptionCase<TypeParam>::TypeId);
}

TYPED_TEST(EachException, DerivesFromTheRootAtItsStart) {
  nex_Exception const* const root = &this->m_Exception;
  EXPECT_EQ(static_cast<void const*>(root), static_cast<void const*>(&this->m_Exception));
  EXPECT_FALSE((std::is_base_of_v<std::exception, TypeParam>));
}

TYPED_TEST(EachException, ReportsItsTextToUsers) {
  EXPECT_EQ(this->m_Exception.AsString(), ExceptionCase<TypeParam>::Text);
  EXPECT_EQ(this->m_Exception.UserReport(), ExceptionCase<TypeParam>::Text);
}

TYPED_TEST(EachException, ReportsAnEmptyPlaceToDevelopersUntilThrown) {
  std::string const text = ExceptionCase<TypeParam>::Text;
  EXPECT_EQ(this->m_Exception.DeveloperReport(), "Exception: " + text + " in file  at line 0");
}

TYPED_TEST(EachException, HasAnIdentityForEachLevel) {
  EXPECT_NE(this->m_Exception.RootUid().Entry(), OwnEntry(this->m_Exception));
  TypeParam const other = ExceptionCase<TypeParam>::Make();
  EXPECT_NE(other.RootUid().Entry(), this->m_Exception.RootUid().Entry());
  EXPECT_NE(OwnEntry(other), OwnEntry(this->m_Exception));
}

TYPED_TEST(EachException, CopyConstructorCopiesBothIdentities) {
  TypeParam const copy(this->m_Exception);
  EXPECT_EQ(copy.RootUid().Entry(), this->m_Exception.RootUid().Entry());
  EXPECT_EQ(OwnEntry(copy), OwnEntry(this->m_Exception));
  EXPECT_EQ(copy.RootUid().Entry()->m_RefCount, 2U);
  EXPECT_EQ(OwnEntry(copy)->m_RefCount, 2U);
}

TYPED_TEST(EachException, CopyIsANewObjectOfTheMostDerivedClass) {
  nex_Exception const& root = this->m_Exception;
  std::unique_ptr<nex_Exception> const copy(root.Copy());
  EXPECT_NE(copy.get(), &root);
  nex_Exception const& object = *copy;
  EXPECT_EQ(typeid(object), typeid(TypeParam));
  EXPECT_EQ(copy->AsString(), ExceptionCase<TypeParam>::Text);
  EXPECT_EQ(copy->RootUid().Entry(), root.RootUid().Entry());
  EXPECT_EQ(OwnEntry(static_cast<TypeParam const&>(*copy)), OwnEntry(this->m_Exception));
}

TYPED_TEST(EachException, CopyKeepsThePlaceAndSharesItsCharacters) {
  try {
    this->m_Exception.Throw("nex_Place", 12);
  } catch (nex_Exception const& thrown) {
    std::unique_ptr<nex_Exception> const copy(thrown.Copy());
    EXPECT_EQ(copy->FromFile(), "nex_Place");
    EXPECT_EQ(copy->FromLine(), 12);
    EXPECT_TRUE(copy->FromFile().SharesBufferWith(thrown.FromFile()));
  }
}

TYPED_TEST(EachException, CopyOutlivesTheOriginal) {
  auto original = std::make_unique<TypeParam>(ExceptionCase<TypeParam>::Make());
  std::unique_ptr<nex_Exception> const copy(original->Copy());
  original.reset();
  EXPECT_EQ(copy->UserReport(), ExceptionCase<TypeParam>::Text);
  EXPECT_EQ(copy->RootUid().Entry()->m_RefCount, 1U);
}

TYPED_TEST(EachException, DestructionThroughTheRootReleasesBothIdentities) {
  cls_Uid const root(this->m_Exception.RootUid());
  cls_Uid const own(OwnEntry(this->m_Exception));
  std::unique_ptr<nex_Exception> copy(this->m_Exception.Copy());
  EXPECT_EQ(root.Entry()->m_RefCount, 3U);
  copy.reset();
  EXPECT_EQ(root.Entry()->m_RefCount, 2U);
  EXPECT_EQ(own.Entry()->m_RefCount, 2U);
}

TEST(nex_Exception, TypeIdsAreComponent31AndTheOrdinal) {
  EXPECT_EQ(nex_Exception::TypeId(), 0x1F0001U);
  EXPECT_EQ(nex_TextException::TypeId(), 0x1F0002U);
  EXPECT_EQ(nex_CommandException::TypeId(), 0x1F0003U);
  EXPECT_EQ(nex_AssertException::TypeId(), 0x1F0004U);
  EXPECT_EQ(nex_BadCastException::TypeId(), 0x1F0005U);
  EXPECT_EQ(nex_ExitException::TypeId(), 0x1F0006U);
  EXPECT_EQ(nex_InvalidObjException::TypeId(), 0x1F0007U);
  EXPECT_EQ(nex_SystemErrorException::TypeId(), 0x1F0008U);
  EXPECT_EQ(nex_OutOfMemoryException::TypeId(), 0x1F0009U);
}

TEST(nex_Exception, RootAndCommandExceptionAreAbstract) {
  EXPECT_TRUE(std::is_abstract_v<nex_Exception>);
  EXPECT_TRUE(std::is_abstract_v<nex_CommandException>);
  EXPECT_FALSE(std::is_default_constructible_v<nex_Exception>);
}

TEST(nex_Exception, TextMessagesAreReportedVerbatim) {
  for (char const* text : {"", "plain", "100% of %s\n", "\xC3\xA4\xC3\xB6"}) {
    EXPECT_EQ(nex_TextException(atr_String(text)).AsString(), text);
    EXPECT_EQ(nex_BadCastException(atr_String(text)).AsString(), text);
    EXPECT_EQ(nex_InvalidObjException(atr_String(text)).AsString(), text);
    EXPECT_EQ(nex_AssertException(cow_String(text)).AsString(), text);
  }
  EXPECT_FALSE(nex_TextException(atr_String()).AsString().HasText());
}

TEST(nex_Exception, MessageIsSharedNotCopied) {
  atr_String const text("shared");
  nex_TextException const exception(text);
  EXPECT_TRUE(exception.AsString().AsCow().SharesBufferWith(text.AsCow()));
  EXPECT_TRUE(exception.Value().AsCow().SharesBufferWith(text.AsCow()));
  EXPECT_TRUE(nex_InvalidObjException(text).Value().AsCow().SharesBufferWith(text.AsCow()));
  EXPECT_TRUE(nex_BadCastException(text).Value().AsCow().SharesBufferWith(text.AsCow()));
}

TEST(nex_Exception, AssertionWithoutTextReportsEmptyText) {
  atr_String const text = nex_AssertException(cow_String()).AsString();
  EXPECT_EQ(text, "");
  EXPECT_TRUE(text.HasText());
}

TEST(nex_Exception, ExitWithEmptyMessageReportsItsCode) {
  EXPECT_EQ(nex_ExitException(nex_ExitStatus{atr_String(), 3}).AsString(), "Exit code: 3");
  EXPECT_EQ(nex_ExitException(nex_ExitStatus{atr_String(""), 3}).AsString(), "Exit code: 3");
  EXPECT_EQ(nex_ExitException(nex_ExitStatus{atr_String(), 0}).AsString(), "Exit code: 0");
  EXPECT_EQ(nex_ExitException(nex_ExitStatus{atr_String(), -1}).AsString(), "Exit code: -1");
  EXPECT_EQ(nex_ExitException(nex_ExitStatus{atr_String(), -2147483647 - 1}).AsString(),
            "Exit code: -2147483648");
}

TEST(nex_Exception, ExitWithMessageReportsOnlyTheMessage) {
  nex_ExitException const exception(nex_ExitStatus{atr_String("stopped by the user"), 3});
  EXPECT_EQ(exception.AsString(), "stopped by the user");
  EXPECT_EQ(exception.Value().m_Err, 3);
}

TEST(nex_Exception, SystemErrorKeepsBothCodes) {
  nex_SystemErrorException const exception(cow_SystemErrorCode(0xFFFFFFFFU, -1));
  EXPECT_EQ(exception.Value().m_NativeErrorCode, 0xFFFFFFFFU);
  EXPECT_EQ(exception.Value().m_CRTErrorCode, -1);
  EXPECT_EQ(exception.AsString(), exception.Value().GetText().View());
}

TEST(nex_Exception, CommandReportsItsNameAndItsMessage) {
  EXPECT_EQ(FailedCommand("Mesh", "no elements").AsString(), "Mesh: no elements");
  EXPECT_EQ(FailedCommand("", "").AsString(), ": ");
  EXPECT_EQ(FailedCommand("50%s", "100%d %%").AsString(), "50%s: 100%d %%");
}

TEST(nex_Exception, CommandWithoutTextsReportsOnlyTheColon) {
  EXPECT_EQ(FailedCommand(nullptr, nullptr).AsString(), ": ");
}

TEST(nex_Exception, ReportsCallTheVirtualOperations) {
  struct Polite : nex_TextException {
    using nex_TextException::nex_TextException;
    atr_String UserReport() override {
      atr_String text("Sorry: ");
      text.Append(nex_TextException::UserReport());
      return text;
    }
  };
  struct Loud : nex_TextException {
    using nex_TextException::nex_TextException;
    atr_String AsString() override { return atr_String("LOUD"); }
  };
  EXPECT_EQ(Polite(atr_String("x")).DeveloperReport(), "Exception: Sorry: x in file  at line 0");
  EXPECT_EQ(Loud(atr_String("x")).UserReport(), "LOUD");
  EXPECT_EQ(Loud(atr_String("x")).DeveloperReport(), "Exception: LOUD in file  at line 0");
}

namespace {

/// A class of an application that knows only that the operations return an atr_String.
class WithOverrides : public nex_Exception {
 public:
  atr_String DeveloperReport() override { return atr_String("developer"); }
  atr_String UserReport() override { return atr_String("user"); }
  atr_String AsString() override { return atr_String(cow_String("text " + std::to_string(++m_Asked))); }
  [[noreturn]] void Propagate() const override { throw WithOverrides(*this); }
  nex_Exception* Copy() const override { return new WithOverrides(*this); }

 private:
  int m_Asked = 0; // the operations may change the object
};

class CommandWithOverrides : public nex_CommandException {
 public:
  atr_String CommandMessage() override { return atr_String("message"); }
  atr_String CommandName() override { return atr_String("name"); }
  [[noreturn]] void Propagate() const override { throw CommandWithOverrides(*this); }
  nex_Exception* Copy() const override { return new CommandWithOverrides(*this); }
};

class OutOfMemoryWithOverrides : public nex_OutOfMemoryException {
 public:
  using nex_OutOfMemoryException::nex_OutOfMemoryException;
  atr_String JournalMessage() override { return atr_String("journal"); }
  atr_String ErrorName() override { return atr_String("error"); }
  [[noreturn]] void Propagate() const override { throw OutOfMemoryWithOverrides(*this); }
  nex_Exception* Copy() const override { return new OutOfMemoryWithOverrides(*this); }
};

/// Whether the three texts of a const object can be read.
template <class Exception> constexpr bool HasConstTexts = requires(Exception const& exception) {
  { exception.DeveloperReport() } -> std::same_as<atr_String>;
  { exception.UserReport() } -> std::same_as<atr_String>;
  { exception.AsString() } -> std::same_as<atr_String>;
};

static_assert(HasConstTexts<nex_Exception> && HasConstTexts<nex_TextException> &&
              HasConstTexts<nex_CommandException> && HasConstTexts<nex_AssertException> &&
              HasConstTexts<nex_BadCastException> && HasConstTexts<nex_ExitException> &&
              HasConstTexts<nex_InvalidObjException> && HasConstTexts<nex_SystemErrorException> &&
              HasConstTexts<nex_OutOfMemoryException>);

} // namespace

TEST(nex_Exception, ConstReferencesCallNonConstOverrides) {
  WithOverrides exception;
  nex_Exception const& root = exception;
  EXPECT_EQ(root.DeveloperReport(), "developer");
  EXPECT_EQ(root.UserReport(), "user");
  EXPECT_EQ(root.AsString(), "text 1");
  EXPECT_EQ(root.AsString(), "text 2");
  CommandWithOverrides command;
  nex_CommandException const& asCommand = command;
  EXPECT_EQ(asCommand.CommandMessage(), "message");
  EXPECT_EQ(asCommand.CommandName(), "name");
  EXPECT_EQ(asCommand.AsString(), "name: message");
  OutOfMemoryWithOverrides outOfMemory(NEX_OUTOFMEMORY_LIMIT);
  nex_OutOfMemoryException const& asOutOfMemory = outOfMemory;
  EXPECT_EQ(asOutOfMemory.JournalMessage(), "journal");
  EXPECT_EQ(asOutOfMemory.ErrorName(), "error");
  EXPECT_EQ(asOutOfMemory.UserReport(), "journal");
}

TEST(nex_Exception, DeveloperReportKeepsPerCentSigns) {
  try {
    nex_TextException(atr_String("%d%s%%")).Throw("100%s", 5);
  } catch (nex_Exception const& thrown) {
    EXPECT_EQ(thrown.DeveloperReport(), "Exception: %d%s%% in file 100%s at line 5");
  }
}

#include "store/base/sto_Exception.h"

#include <exception>
#include <type_traits>
#include <utility>

#include "errors/nex_AssertException.h"
#include "errors/nex_BadCastException.h"
#include "errors/nex_ClassMetadata.h"
#include "errors/nex_ExitException.h"
#include "errors/nex_InvalidObjException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "module/nex_initialize.h"
#include "tests/support/store/StoreTest.h"

namespace {

/// Exceptions as stored objects. Their classes need no declaration, because the library declares its own.
class StoreExceptions : public StoreFileTest {
 protected:
  StoreExceptions() { nex_initialize(m_Callers); }
  ~StoreExceptions() override {
    m_Store.reset();
    nex_finalize(m_Callers);
  }

  /// Throws it, saves what was caught, loads it in a new session, and checks the part common to all.
  template <class T> std::unique_ptr<T> RoundTrip(T exception) {
    Save(std::move(exception));
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(Path(), sto_Mode::ReadOnly, m_Classes));
    std::unique_ptr<T> loaded = m_Store->Load<T>("error");
    EXPECT_EQ(loaded->FromFile().View(), "some_File");
    EXPECT_EQ(loaded->FromLine(), 123);
    EXPECT_EQ(loaded->DynTypeId(), T::TypeId());
    EXPECT_NE(loaded->RootUid().Entry(), loaded->Uid().Entry());
    EXPECT_EQ(m_Store->ObjectCount(), 1);
    return loaded;
  }
  template <class T> void Save(T exception) {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, m_Classes);
    try {
      exception.Throw("some_File", 123);
    } catch (T const& caught) {
      store.Save("error", caught);
    }
  }

  int m_Callers = 0;
  cls_ClassRegistrar m_Classes; // stays empty: no class is declared
  std::unique_ptr<sto_Store> m_Store;
};

TEST_F(StoreExceptions, TextExceptionComesBack) {
  EXPECT_EQ(RoundTrip(nex_TextException(atr_String("50 % of \xC3\xA4 %s"_cow)))->Value().View(),
            "50 % of \xC3\xA4 %s");
}

TEST_F(StoreExceptions, TextExceptionWithoutTextComesBackWithEmptyText) {
  std::unique_ptr<nex_TextException> const loaded = RoundTrip(nex_TextException(atr_String()));
  EXPECT_TRUE(loaded->Value().HasText());
  EXPECT_EQ(loaded->Value().Length(), 0);
}

TEST_F(StoreExceptions, AssertExceptionComesBack) {
  EXPECT_EQ(RoundTrip(nex_AssertException("a == b"_cow))->Value().View(), "a == b");
}

TEST_F(StoreExceptions, BadCastExceptionComesBack) {
  EXPECT_EQ(RoundTrip(nex_BadCastException(atr_String("cast"_cow)))->Value().View(), "cast");
}

TEST_F(StoreExceptions, InvalidObjExceptionComesBack) {
  EXPECT_EQ(RoundTrip(nex_InvalidObjException(atr_String("object"_cow)))->Value().View(), "object");
}

TEST_F(StoreExceptions, ExitExceptionComesBack) {
  std::unique_ptr<nex_ExitException> const loaded =
      RoundTrip(nex_ExitException(nex_ExitStatus{atr_String("bye"_cow), -7}));
  EXPECT_EQ(loaded->Value().m_Msg.View(), "bye");
  EXPECT_EQ(loaded->Value().m_Err, -7);
}

TEST_F(StoreExceptions, SystemErrorExceptionComesBackWithItsBits) {
  std::unique_ptr<nex_SystemErrorException> const loaded =
      RoundTrip(nex_SystemErrorException(cow_SystemErrorCode(0xFFFFFFFF, -1)));
  EXPECT_EQ(loaded->Value().m_NativeErrorCode, 0xFFFFFFFF);
  EXPECT_EQ(loaded->Value().m_CRTErrorCode, -1);
}

TEST_F(StoreExceptions, OutOfMemoryExceptionComesBackWithTheDetailedMessage) {
  nex_OutOfMemoryException const raised(atr_String("no room"_cow), NEX_OUTOFMEMORY_LIMIT);
  std::string const detailed(nex_OutOfMemoryException(NEX_OUTOFMEMORY_LIMIT).JournalMessage().View());
  ASSERT_TRUE(Contains(detailed, "no room"));
  std::unique_ptr<nex_OutOfMemoryException> const loaded = RoundTrip(raised);
  EXPECT_EQ(loaded->Error(), NEX_OUTOFMEMORY_LIMIT);
  EXPECT_EQ(loaded->Message().View(), detailed);
}

TEST_F(StoreExceptions, ExceptionOfTheStoreComesBack) {
  std::unique_ptr<sto_Exception> const loaded =
      RoundTrip(sto_Exception(sto_ErrorKind::Busy, atr_String("wait"_cow)));
  EXPECT_EQ(loaded->Kind(), sto_ErrorKind::Busy);
  EXPECT_EQ(loaded->AsString().View(), "wait");
}

/// An exception's object with all its parts, but without fields.
template <class T> struct Bare {
  static constexpr unsigned int TypeId() noexcept { return T::TypeId(); }
  Bare() {
    for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) declare(m_Library);
    m_Library.CreateClassMD("sto_Exception"_cow, sto_Exception::TypeId(), 1, nullptr,
                            nex_Exception::TypeId());
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    visitor.StartWrite(TypeId(), m_Uid);
    WriteBase(visitor, TypeId());
  }
  void WriteBase(cls_WriteVisitor const& visitor, unsigned int classId) const {
    unsigned int const base = m_Library.ConstGet(classId).BaseClassId();
    if (base == cls_ClassMetadata::RootClassId) return;
    cls_WriteVisitor const part(visitor, base);
    part.StartWrite(base, cls_Uid());
    WriteBase(part, base);
  }
  cls_ClassRegistrar m_Library;
  cls_Uid m_Uid;
};

TEST_F(StoreExceptions, AbsentFieldsTakeTheirDefaults) {
  auto const load = [this]<class T>(std::type_identity<T>) {
    std::string const path = Path(std::to_string(T::TypeId()));
    { sto_Store::Open(path, sto_Mode::Create, m_Classes).Save("error", Bare<T>()); }
    m_Store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::ReadOnly, m_Classes));
    std::unique_ptr<T> loaded = m_Store->Load<T>("error");
    EXPECT_EQ(loaded->FromFile().View(), "");
    EXPECT_EQ(loaded->FromLine(), 0);
    EXPECT_NE(loaded->RootUid().Entry(), loaded->Uid().Entry());
    return loaded;
  };
  EXPECT_EQ(load(std::type_identity<nex_TextException>())->Value().View(), "");
  EXPECT_EQ(load(std::type_identity<nex_BadCastException>())->Value().View(), "");
  EXPECT_EQ(load(std::type_identity<nex_InvalidObjException>())->Value().View(), "");
  EXPECT_EQ(load(std::type_identity<nex_AssertException>())->Value().View(), "");
  EXPECT_EQ(load(std::type_identity<nex_ExitException>())->AsString().View(), "Exit code: 0");
  auto const failed = load(std::type_identity<nex_SystemErrorException>());
  EXPECT_EQ(failed->Value().m_NativeErrorCode, 0U);
  EXPECT_EQ(failed->Value().m_CRTErrorCode, 0);
  auto const memory = load(std::type_identity<nex_OutOfMemoryException>());
  EXPECT_EQ(memory->Message().View(), "");
  EXPECT_EQ(static_cast<int>(memory->Error()), 0);
}

TEST_F(StoreExceptions, ExceptionOfAnotherClassIsRefused) {
  Save(nex_TextException(atr_String("text"_cow)));
  m_Store = std::make_unique<sto_Store>(sto_Store::Open(Path(), sto_Mode::ReadOnly, m_Classes));
  std::string const message = MessageOf(
      sto_ErrorKind::WrongClass, [&] { static_cast<void>(m_Store->Load<nex_AssertException>("error")); });
  EXPECT_TRUE(Contains(message, "nex_TextException") && Contains(message, "nex_AssertException")) << message;
}

TEST_F(StoreExceptions, StoredExceptionsHaveTheirRecordedVersions) {
  Save(nex_OutOfMemoryException(NEX_OUTOFMEMORY_SYSTEM));
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT name || ' ' || version FROM class ORDER BY class_id"),
            (std::vector<std::string>{"nex_Exception 800", "nex_OutOfMemoryException 871"}));
}

TEST_F(StoreExceptions, ExceptionOfTheStoreIsThrownAsItself) {
  sto_Exception exception(sto_ErrorKind::Full, atr_String("full"_cow));
  EXPECT_THROW(exception.Throw("file", 5), sto_Exception);
  try {
    exception.Throw("file", 5);
  } catch (nex_Exception const& caught) {
    EXPECT_EQ(caught.FromFile().View(), "file");
    EXPECT_EQ(caught.FromLine(), 5);
    EXPECT_EQ(caught.DynTypeId(), 0x600001U);
    EXPECT_EQ(caught.UserReport().View(), "full");
    EXPECT_EQ(caught.DeveloperReport().View(), "Exception: full in file file at line 5");
  }
}

TEST_F(StoreExceptions, ExceptionOfTheStoreIsCaughtAsOneOfTheStandardLibraryWithItsMessage) {
  for (bool const isThrownByName : {false, true}) try {
      sto_Exception exception(sto_ErrorKind::Full, atr_String("no room for \xC3\xA4"_cow));
      if (isThrownByName) exception.Throw("file", 5);
      exception.Propagate();
    } catch (std::exception const& caught) {
      EXPECT_STREQ(caught.what(), "no room for \xC3\xA4");
      auto const* const same = dynamic_cast<sto_Exception const*>(&caught);
      ASSERT_NE(same, nullptr);
      EXPECT_EQ(same->Kind(), sto_ErrorKind::Full);
      EXPECT_EQ(same->FromLine(), isThrownByName ? 5 : 0);
    }
}

TEST_F(StoreExceptions, MessageOfWhatIsThatOfTheReportAndStaysValid) {
  try {
    static_cast<void>(sto_Store::Open(Path("nowhere"), sto_Mode::ReadOnly, m_Classes));
    FAIL();
  } catch (sto_Exception const& caught) {
    char const* const what = caught.what();
    EXPECT_EQ(caught.UserReport().View(), what);
    EXPECT_TRUE(Contains(what, Path("nowhere") + ": There is no such file.")) << what;
    static_cast<void>(caught.DeveloperReport());
    sto_Exception copy(caught);
    EXPECT_STREQ(copy.what(), what);
    copy = sto_Exception(sto_ErrorKind::Busy, atr_String("other"_cow));
    EXPECT_STREQ(copy.what(), "other");
    EXPECT_EQ(caught.what(), what);
  }
}

TEST_F(StoreExceptions, ExceptionWithoutMessageSaysSo) {
  for (sto_Exception const& exception : {sto_Exception(sto_ErrorKind::Busy, atr_String()),
                                         sto_Exception(sto_ErrorKind::Busy, atr_String(""_cow))})
    EXPECT_STREQ(exception.what(), "A failure of the store, which has no message.");
  static_assert(noexcept(std::declval<sto_Exception const&>().what()));
}

TEST_F(StoreExceptions, BaseOfThisLibraryStaysTheFirst) {
  sto_Exception const exception(sto_ErrorKind::Busy, atr_String("wait"_cow));
  void const* const base = static_cast<nex_Exception const*>(&exception);
  EXPECT_EQ(base, static_cast<void const*>(&exception));
}

TEST_F(StoreExceptions, LoadedExceptionOfTheStoreHasItsMessage) {
  EXPECT_STREQ(RoundTrip(sto_Exception(sto_ErrorKind::Busy, atr_String("wait"_cow)))->what(), "wait");
}

TEST_F(StoreExceptions, CopyOfAnExceptionOfTheStoreKeepsItAll) {
  sto_Exception const exception(sto_ErrorKind::Damaged, atr_String("bad"_cow));
  std::unique_ptr<nex_Exception> const copy(exception.Copy());
  auto const* const same = dynamic_cast<sto_Exception const*>(copy.get());
  ASSERT_NE(same, nullptr);
  EXPECT_EQ(same->Kind(), sto_ErrorKind::Damaged);
  EXPECT_EQ(same->AsString().View(), "bad");
  EXPECT_EQ(same->Uid().Entry(), exception.Uid().Entry());
  EXPECT_EQ(same->RootUid().Entry(), exception.RootUid().Entry());
}

TEST_F(StoreExceptions, ConflictNamesWhatIsInConflict) {
  sto_Conflicts const conflicts{{5, 8796093022207}, {"plain", "", "two\nlines \\ and more", "\\"}};
  try {
    sto_RaiseConflict("both", conflicts);
  } catch (sto_Exception const& exception) {
    EXPECT_EQ(exception.Kind(), sto_ErrorKind::Conflict);
    EXPECT_EQ(exception.AsString().View(), "both");
    EXPECT_EQ(exception.Conflicts(), conflicts);
    sto_Exception const copy(exception);
    EXPECT_EQ(copy.Conflicts(), conflicts);
    std::unique_ptr<nex_Exception> const other(exception.Copy());
    EXPECT_EQ(dynamic_cast<sto_Exception const&>(*other).Conflicts(), conflicts);
    EXPECT_THROW(
        try { exception.Propagate(); } catch (sto_Exception const& again) {
          EXPECT_EQ(again.Conflicts(), conflicts);
          throw;
        },
        sto_Exception);
  }
  std::unique_ptr<sto_Exception> const loaded = RoundTrip(sto_Exception(atr_String("both"_cow), conflicts));
  EXPECT_EQ(loaded->Conflicts(), conflicts);
  EXPECT_EQ(loaded->Kind(), sto_ErrorKind::Conflict);
}

TEST_F(StoreExceptions, OtherFailuresNameNothingInConflict) {
  EXPECT_EQ(sto_Exception(sto_ErrorKind::Conflict, atr_String("other"_cow)).Conflicts(), sto_Conflicts());
  EXPECT_EQ(RoundTrip(sto_Exception(sto_ErrorKind::Busy, atr_String("wait"_cow)))->Conflicts(),
            sto_Conflicts());
}

TEST_F(StoreExceptions, RaisedExceptionNamesTheSourceFileWithoutFolderAndEnding) {
  try {
    sto_Raise(sto_ErrorKind::Misuse, "here");
  } catch (sto_Exception const& exception) {
    EXPECT_EQ(exception.FromFile().View(), "sto_Exception_test");
    EXPECT_GT(exception.FromLine(), 0);
    EXPECT_EQ(exception.AsString().View(), "here");
  }
}

} // namespace

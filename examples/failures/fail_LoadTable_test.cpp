#include "examples/failures/fail_LoadTable.h"

#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_Fixture.h"

#include <cerrno>

namespace {

class LoadTable : public fail_Fixture {
 protected:
  static std::unique_ptr<nex_Exception> ReadingFailure(std::string const& path) {
    return FailureOf([&] { (void)fail_LoadTable::Read(path); });
  }
};

} // namespace

TEST_F(LoadTable, HasOneLoadFactorPerLine) {
  EXPECT_EQ(fail_LoadTable::Read(Write("t", "0.25\n-1e-3\n 2 \n")), (std::vector<double>{0.25, -1e-3, 2}));
}

TEST_F(LoadTable, MayHaveCommentsEmptyLinesAndLineEndsOfOtherSystems) {
  EXPECT_EQ(fail_LoadTable::Read(Write("t", "# gusts\r\n\r\n0.5\r\n\n1")), (std::vector<double>{0.5, 1}));
}

TEST_F(LoadTable, MayBeLong) {
  std::string text;
  for (int i = 0; i < 5000; ++i) text += std::to_string(i) + "\n";
  std::vector<double> const factors = fail_LoadTable::Read(Write("t", text));
  ASSERT_EQ(factors.size(), 5000U);
  EXPECT_EQ(factors.back(), 4999);
}

TEST_F(LoadTable, MissingIsASystemError) {
  auto const failure = ReadingFailure(Path("none"));
  EXPECT_EQ(As<nex_SystemErrorException>(failure).Value().m_NativeErrorCode, static_cast<unsigned>(ENOENT));
  EXPECT_EQ(As<nex_SystemErrorException>(failure).Value().m_CRTErrorCode, ENOENT);
  EXPECT_EQ(failure->FromFile(), "fail_LoadTable");
}

TEST_F(LoadTable, FolderIsASystemError) {
  std::filesystem::create_directory(Path("folder"));
  auto const failure = ReadingFailure(Path("folder"));
  EXPECT_EQ(As<nex_SystemErrorException>(failure).Value().m_NativeErrorCode, static_cast<unsigned>(EISDIR));
  EXPECT_EQ(As<nex_SystemErrorException>(failure).Value().m_CRTErrorCode, EISDIR);
}

TEST_F(LoadTable, NamesTheLineThatIsNoLoadFactor) {
  for (char const* wrong : {"one", "0.5 0.6", "1,5", "nan", "1e999"}) {
    auto const failure = ReadingFailure(Write("t", std::string("0.5\n") + wrong + "\n1\n"));
    EXPECT_EQ(As<nex_TextException>(failure).Value(), Path("t") + ":2: this is not a load factor.") << wrong;
  }
}

TEST_F(LoadTable, WithoutLoadStepsIsRefused) {
  for (char const* text : {"", "\n", "# nothing yet\n"})
    EXPECT_EQ(As<nex_TextException>(ReadingFailure(Write("t", text))).Value(),
              Path("t") + ": the table has no load steps.");
}

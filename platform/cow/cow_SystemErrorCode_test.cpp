#include "platform/cow/cow_SystemErrorCode.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>
#include <thread>

namespace {

TEST(cow_SystemErrorCode, TypeZeroIsNoError) {
  errno = ENOENT;
  cow_SystemErrorCode const code(COW_ERRORCODE_NONE);
  EXPECT_EQ(static_cast<int>(COW_ERRORCODE_NONE), 0);
  EXPECT_EQ(code.m_NativeErrorCode, 0U);
  EXPECT_EQ(code.m_CRTErrorCode, 0);
}

TEST(cow_SystemErrorCode, BothCodesAreTheThreadsLastError) {
  errno = EACCES;
  cow_SystemErrorCode const code(COW_ERRORCODE_CURRENT);
  EXPECT_EQ(code.m_NativeErrorCode, static_cast<unsigned int>(EACCES));
  EXPECT_EQ(code.m_CRTErrorCode, EACCES);
}

TEST(cow_SystemErrorCode, DoesNotUseAnotherThreadsError) {
  errno = ENOENT;
  std::thread([] { errno = EACCES; }).join();
  EXPECT_EQ(cow_SystemErrorCode(COW_ERRORCODE_CURRENT).m_CRTErrorCode, ENOENT);
}

TEST(cow_SystemErrorCode, KeepsTwoGivenCodes) {
  cow_SystemErrorCode const code(0xFFFFFFFFU, -1);
  EXPECT_EQ(code.m_NativeErrorCode, 0xFFFFFFFFU);
  EXPECT_EQ(code.m_CRTErrorCode, -1);
}

TEST(cow_SystemErrorCode, TextHasBothCodesWithTheSystemsTexts) {
  EXPECT_EQ(cow_SystemErrorCode(2, 13).GetText(),
            "No such file or directory (system error 2); Permission denied (errno 13)");
}

TEST(cow_SystemErrorCode, TextHasTheSystemsOwnTextForEachKnownCode) {
  for (int code = 0; code <= 133; ++code) {
    std::string const text = std::strerror(code);
    std::string const number = std::to_string(code);
    ASSERT_EQ(cow_SystemErrorCode(static_cast<unsigned int>(code), code).GetText(),
              text + " (system error " + number + "); " + text + " (errno " + number + ")");
  }
}

TEST(cow_SystemErrorCode, TextHasUnknownAndNegativeCodes) {
  EXPECT_EQ(cow_SystemErrorCode(99999, -1).GetText(),
            "Unknown error 99999 (system error 99999); Unknown error -1 (errno -1)");
}

} // namespace

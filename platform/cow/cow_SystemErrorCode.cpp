#include "platform/cow/cow_SystemErrorCode.h"

#include <cerrno>
#include <string>
#include <system_error>

cow_SystemErrorCode::cow_SystemErrorCode(cow_ErrorCodeType type) noexcept
    : m_NativeErrorCode(type == COW_ERRORCODE_CURRENT ? static_cast<unsigned int>(errno) : 0),
      m_CRTErrorCode(static_cast<int>(m_NativeErrorCode)) {}

cow_String cow_SystemErrorCode::GetText() const {
  // The system category is used because std::strerror is not safe between threads.
  std::string text = std::system_category().message(static_cast<int>(m_NativeErrorCode));
  text += " (system error " + std::to_string(m_NativeErrorCode) + "); ";
  text += std::generic_category().message(m_CRTErrorCode);
  text += " (errno " + std::to_string(m_CRTErrorCode) + ")";
  return cow_String(text);
}

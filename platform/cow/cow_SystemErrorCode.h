#pragma once

#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// Where a cow_SystemErrorCode takes its two codes from.
enum cow_ErrorCodeType : int {
  COW_ERRORCODE_NONE = 0,    ///< no error: both codes 0
  COW_ERRORCODE_CURRENT = 1, ///< the calling thread's last error, in both codes
};

/// An error of the operating system, and the run-time library's error of the same moment.
class KVL_EXPORT cow_SystemErrorCode {
 public:
  explicit cow_SystemErrorCode(cow_ErrorCodeType type) noexcept;
  cow_SystemErrorCode(unsigned int nativeErrorCode, int crtErrorCode) noexcept
      : m_NativeErrorCode(nativeErrorCode), m_CRTErrorCode(crtErrorCode) {}

  /// The operating system's texts for both codes, as
  /// "No such file or directory (system error 2); No such file or directory (errno 2)".
  [[nodiscard]] cow_String GetText() const;

  unsigned int m_NativeErrorCode; ///< the operating system's error number
  int m_CRTErrorCode;             ///< the run-time library's error number (errno)
};

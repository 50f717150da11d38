#pragma once

#include "platform/kvl_Export.h"

/// Makes and destroys the two process-wide out-of-memory messages. For the module's start-up and end only.
struct nex_OutOfMemoryMessages {
  /// Builds the detailed message, then the generic one.
  static void Build();
  /// Destroys the generic message, then the detailed one.
  static void Destroy() noexcept;
};

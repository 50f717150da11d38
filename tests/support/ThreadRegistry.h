#pragma once

#include "platform/thr/thr_ThrSingletonRegistry.h"

/// The registry of the process for its per-thread services.
inline thr_ThrSingletonRegistry& Registry() {
  return thr_GlobalSingleton<thr_ThrSingletonRegistry>::Instance();
}

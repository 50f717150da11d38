#include "tools/kvlstore/base/kvs_Interrupt.h"

#include <csignal>

#include "tools/kvlstore/base/kvs_Error.h"

namespace {

volatile std::sig_atomic_t g_IsInterrupted = 0;

extern "C" void kvs_NoteSignal(int signal) {
  g_IsInterrupted = 1;
  std::signal(signal, SIG_DFL);
}

} // namespace

void kvs_CatchInterrupts() {
  for (int const signal : {SIGINT, SIGTERM})
    if (std::signal(signal, kvs_NoteSignal) == SIG_IGN) std::signal(signal, SIG_IGN); // as nohup and `&` want
}

bool kvs_IsInterrupted() noexcept {
  return g_IsInterrupted != 0;
}

void kvs_CheckInterrupt() {
  if (kvs_IsInterrupted()) throw kvs_Interrupted();
}

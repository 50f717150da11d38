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
  std::signal(SIGINT, kvs_NoteSignal);
  std::signal(SIGTERM, kvs_NoteSignal);
}

bool kvs_IsInterrupted() noexcept {
  return g_IsInterrupted != 0;
}

void kvs_CheckInterrupt() {
  if (kvs_IsInterrupted()) throw kvs_Interrupted();
}

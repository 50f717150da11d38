// kvlstore: looks into stores without the programs that wrote them. See docs/kvlstore.md.

#include <csignal>
#include <cstdio>
#include <exception>
#include <new>
#include <string>

#include "errors/nex_Exception.h"
#include "module/nex_initialize.h"
#include "store/base/sto_Exception.h"
#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/program/kvs_CommandLine.h"

namespace {

int Complain(std::string const& message, kvs_Status status = kvs_Status::Failed) {
  std::fprintf(stderr, "kvlstore: %s\n", kvs_Printable(message).c_str());
  return static_cast<int>(status);
}

int Run(int count, char const* const* arguments) {
  try {
    return static_cast<int>(kvs_RunCommandLine(count, arguments));
  } catch (kvs_Interrupted const&) {
    return Complain("interrupted", kvs_Status::Interrupted);
  } catch (sto_Exception const& failure) {
    if (failure.Kind() == sto_ErrorKind::Cancelled) return Complain("interrupted", kvs_Status::Interrupted);
    return Complain(failure.UserReport().CharsOrEmpty());
  } catch (nex_Exception const& failure) {
    return Complain(failure.UserReport().CharsOrEmpty());
  } catch (std::bad_alloc const&) {
    return Complain("There is not enough memory.");
  } catch (kvs_Error const& failure) { // what comes from the store is printable already
    std::fprintf(stderr, "kvlstore: %s\n", failure.what());
    return static_cast<int>(kvs_Status::Failed);
  } catch (std::exception const& failure) {
    return Complain(failure.what());
  }
}

} // namespace

int main(int count, char** arguments) {
  kvs_CatchInterrupts();
  std::signal(SIGPIPE, SIG_DFL); // `kvlstore ls | head` ends in silence, as other tools do
  int started = 0;
  nex_initialize(started);
  int const status = Run(count, arguments);
  nex_finalize(started);
  return status;
}

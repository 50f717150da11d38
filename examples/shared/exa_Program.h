#pragma once

#include "errors/nex_Exception.h"
#include "store/base/sto_Exception.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

// What the example programs have in common: their exit statuses, and that nothing which fails is passed over.

// Done: the command was carried out, and what it printed has arrived.
// Failed: something is wrong with what a file contains, or with the system.
// CalledWrongly: something is wrong with how the program was called: bad arguments, a file that is not there,
// or one that is to be made and is there already.
enum class exa_Status { Done = 0, Failed = 1, CalledWrongly = 2 };

// A wrong call that the program has noticed itself; what() is one line for a person.
class exa_CallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Prints the one line that a person gets of a failure to the standard error stream. Returns the status as the
// system takes it.
inline int exa_Complain(std::string const& program, char const* message, exa_Status status) {
  std::fprintf(stderr, "%s: %s\n", program.c_str(), message);
  return static_cast<int>(status);
}

// Throws std::runtime_error unless all that was printed to standard output has arrived there. A program that
// does not ask says that all is well while its result is lost, on a full disk for instance.
inline void exa_FinishOutput() {
  errno = 0;
  bool const flushed = std::fflush(stdout) == 0;
  int const reason = errno;
  if (flushed && std::ferror(stdout) == 0) return;
  throw std::runtime_error("standard output cannot be written" +
                           (reason == 0 ? std::string() : ": " + std::generic_category().message(reason)));
}

inline exa_Status exa_StatusOf(sto_Exception const& failure) {
  bool const isAboutTheCall =
      failure.Kind() == sto_ErrorKind::NotFound || failure.Kind() == sto_ErrorKind::Conflict;
  return isAboutTheCall ? exa_Status::CalledWrongly : exa_Status::Failed;
}

// Carries out a command. Returns the exit status of the program, after a complaint unless that is 0.
template <class Command> int exa_Run(std::string const& program, Command command) {
  try {
    command();
    exa_FinishOutput();
    return static_cast<int>(exa_Status::Done);
  } catch (sto_Exception const& failure) {
    return exa_Complain(program, failure.UserReport().CharsOrEmpty(), exa_StatusOf(failure));
  } catch (nex_Exception const& failure) {
    return exa_Complain(program, failure.UserReport().CharsOrEmpty(), exa_Status::Failed);
  } catch (exa_CallError const& failure) {
    return exa_Complain(program, failure.what(), exa_Status::CalledWrongly);
  } catch (std::exception const& failure) {
    return exa_Complain(program, failure.what(), exa_Status::Failed);
  }
}

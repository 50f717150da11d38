#pragma once

#include "errors/nex_Exception.h"
#include "store/base/sto_Exception.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <system_error>

// Shared by the example programs: exit statuses, and error handling that lets no failure pass unnoticed.

// Done: the command was carried out, and its output was written.
// Failed: a problem with the contents of a file, or with the system.
// CalledWrongly: a problem with the call: bad arguments, a file that is missing, or one to be made that
// already exists.
enum class exa_Status { Done = 0, Failed = 1, CalledWrongly = 2 };

// A wrong call that the program itself has noticed; what() is one line for the user.
class exa_CallError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Prints the one-line error message of a failure to standard error. Returns the exit status as an int.
inline int exa_Complain(std::string const& program, char const* message, exa_Status status) {
  std::fprintf(stderr, "%s: %s\n", program.c_str(), message);
  return static_cast<int>(status);
}

// Throws std::runtime_error unless everything printed to standard output was written. Without this check a
// program would report success even if its output was lost, for instance on a full disk.
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

// Carries out a command. Returns the program's exit status; prints an error message unless it is 0.
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

#include "tools/kvlstore/base/kvs_Output.h"

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

#include "tools/kvlstore/base/kvs_Error.h"
#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_Text.h"

namespace {

/// A variable of the environment; empty if it is not set.
std::string_view Variable(char const* name) {
  char const* const value =
      std::getenv(name); // NOLINT(concurrency-mt-unsafe): nothing in the program changes it
  return value == nullptr ? std::string_view() : std::string_view(value);
}

} // namespace

kvs_Output::kvs_Output()
    : m_Name("standard output"), m_File(stdout), m_IsTerminal(isatty(STDOUT_FILENO) == 1) {
  std::string_view const terminal = Variable("TERM");
  m_HasColour = m_IsTerminal && Variable("NO_COLOR").empty() && !terminal.empty() && terminal != "dumb";
}

kvs_Output::kvs_Output(std::string const& path) : m_Name(path), m_File(nullptr) {
  int const file = open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
  if (file < 0 && errno == EEXIST) throw kvs_Error(kvs_Printable(path) + ": The file exists already.");
  if (file < 0) RaiseFailed(errno);
  m_Path = path;
  m_File = fdopen(file, "wb");
  if (m_File == nullptr) RaiseFailed(errno);
}

kvs_Output::~kvs_Output() {
  if (m_File == stdout) {
    std::fwrite(m_Buffer.data(), 1, m_Buffer.size(), m_File); // what was printed before a failure
    std::fflush(m_File);
  } else if (m_File != nullptr) {
    std::fclose(m_File);
  }
  if (!m_Path.empty()) unlink(m_Path.c_str());
}

void kvs_Output::Write(std::string_view text) {
  if (text.size() >= FlushBytes) {
    Flush();
    if (std::fwrite(text.data(), 1, text.size(), m_File) != text.size()) RaiseFailed(errno);
    return;
  }
  m_Buffer.append(text.data(), text.data() + text.size());
  if (m_Buffer.size() >= FlushBytes) Flush();
}

void kvs_Output::Flush() {
  kvs_CheckInterrupt();
  std::size_t const count = m_Buffer.size();
  bool const isWritten = std::fwrite(m_Buffer.data(), 1, count, m_File) == count && std::fflush(m_File) == 0;
  int const reason = errno;
  m_Buffer.clear();
  if (!isWritten) RaiseFailed(reason);
}

void kvs_Output::Finish() {
  Flush();
  if (m_File == stdout) return;
  std::FILE* const file = m_File;
  m_File = nullptr;
  if (std::fclose(file) != 0) RaiseFailed(errno);
  m_Path.clear();
}

std::string kvs_Output::Styled(std::string_view code, std::string_view text) const {
  return m_HasColour ? fmt::format("\x1b[{}m{}\x1b[0m", code, text) : std::string(text);
}

void kvs_Output::RaiseFailed(int reason) const {
  throw kvs_Error(kvs_Printable(m_Name) +
                  ": It cannot be written: " + std::generic_category().message(reason) + ".");
}

#include "examples/failures/fail_LoadTable.h"

#include "errors/nex_SystemErrorException.h"
#include "errors/nex_TextException.h"
#include "examples/failures/fail_Message.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <sstream>

namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};

// Both read the calling thread's last error immediately: closing the file would overwrite it.
std::string TextOf(std::string const& path) {
  std::unique_ptr<std::FILE, Closer> const file(std::fopen(path.c_str(), "rb"));
  if (file == nullptr)
    nex_SystemErrorException(cow_SystemErrorCode(COW_ERRORCODE_CURRENT)).Throw("fail_LoadTable", __LINE__);
  std::string text;
  char chunk[4096];
  while (std::size_t const count = std::fread(chunk, 1, sizeof chunk, file.get())) text.append(chunk, count);
  if (std::ferror(file.get()) != 0)
    nex_SystemErrorException(cow_SystemErrorCode(COW_ERRORCODE_CURRENT)).Throw("fail_LoadTable", __LINE__);
  return text;
}

bool IsBlank(std::string const& text) {
  return text.find_first_not_of(" \t\r") == std::string::npos;
}

} // namespace

std::vector<double> fail_LoadTable::Read(std::string const& path) {
  std::vector<double> factors;
  std::istringstream lines(TextOf(path));
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (IsBlank(line) || line.front() == '#') continue;
    char* end = nullptr;
    factors.push_back(std::strtod(line.c_str(), &end));
    if (end == line.c_str() || !IsBlank(end) || !std::isfinite(factors.back()))
      nex_TextException(fail_Message("%s:%s: this is not a load factor.", {path, fail_Text(number)}))
          .Throw("fail_LoadTable", __LINE__);
  }
  if (factors.empty())
    nex_TextException(fail_Message("%s: the table has no load steps.", {path}))
        .Throw("fail_LoadTable", __LINE__);
  return factors;
}

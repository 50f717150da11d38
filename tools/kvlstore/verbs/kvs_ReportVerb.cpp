#include <ostream>
#include <streambuf>

#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/report/kvs_Report.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// Passes what a stream gets on to the output. A failure is raised to who writes.
class OutputBuffer : public std::streambuf {
 public:
  explicit OutputBuffer(kvs_Output& out) : m_Out(out) {}

 protected:
  std::streamsize xsputn(char const* text, std::streamsize count) override {
    m_Out.Write({text, static_cast<std::size_t>(count)});
    return count;
  }
  int_type overflow(int_type character) override {
    if (character != traits_type::eof()) {
      char const one = traits_type::to_char_type(character);
      m_Out.Write({&one, 1});
    }
    return traits_type::not_eof(character);
  }

 private:
  kvs_Output& m_Out;
};

} // namespace

kvs_Status kvs_Report(kvs_ReportVerbOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  kvs_ReportOptions limits;
  limits.m_MaxObjects = options.m_MaxObjects;
  OutputBuffer buffer(out);
  std::ostream stream(&buffer);
  stream.exceptions(std::ios::badbit); // so that failures of the output get through
  kvs_Bar bar("reporting");
  kvs_WriteReport(store, stream, limits, bar.Progress());
  return kvs_Status::Same;
}

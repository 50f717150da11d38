#include "examples/heat/mesh/heat_MshScanner.h"

#include "examples/heat/mesh/heat_InputError.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <system_error>
#include <utility>

namespace {

constexpr int linesPerTick = 1 << 14;

bool IsBlank(char c) {
  return c == ' ' || c == '\t' || c == '\r';
}

std::string_view Trimmed(std::string_view line) {
  while (!line.empty() && IsBlank(line.front())) line.remove_prefix(1);
  while (!line.empty() && IsBlank(line.back())) line.remove_suffix(1);
  return line;
}

// std::from_chars rejects a leading plus.
std::string_view WithoutPlus(std::string_view token) {
  if (token.size() > 1 && token.front() == '+' && token[1] != '-') token.remove_prefix(1);
  return token;
}

template <typename Number> std::errc Convert(std::string_view token, Number& value) {
  auto const digits = WithoutPlus(token);
  auto const end = digits.data() + digits.size();
  auto const [stop, code] = std::from_chars(digits.data(), end, value);
  if (code != std::errc()) return code;
  return stop == end ? std::errc() : std::errc::invalid_argument;
}

} // namespace

heat_MshScanner::heat_MshScanner(std::string_view text, std::string file, heat_ProgressCall progress)
    : m_Text(text), m_File(std::move(file)), m_Progress(std::move(progress)) {}

bool heat_MshScanner::TryLine() {
  while (m_Next < m_Text.size()) {
    auto const end = std::min(m_Text.find('\n', m_Next), m_Text.size());
    m_Line = Trimmed(m_Text.substr(m_Next, end - m_Next));
    m_Next = end + 1;
    m_Token = 0;
    ++m_LineNumber;
    if (m_Progress && m_LineNumber % linesPerTick == 0) {
      m_Progress(static_cast<double>(m_Next) / static_cast<double>(m_Text.size()));
    }
    if (!m_Line.empty()) return true;
  }
  m_Line = {};
  m_Token = 0;
  return false;
}

void heat_MshScanner::NextLine(char const* section) {
  if (!TryLine()) Fail(std::string("the file ends inside section ") + section);
}

std::string_view heat_MshScanner::Token(char const* what) {
  if (!HasMore()) Fail(std::string("the line ends where ") + what + " is expected");
  auto const start = m_Token;
  while (m_Token < m_Line.size() && !IsBlank(m_Line[m_Token])) ++m_Token;
  auto const token = m_Line.substr(start, m_Token - start);
  while (m_Token < m_Line.size() && IsBlank(m_Line[m_Token])) ++m_Token;
  return token;
}

std::int64_t heat_MshScanner::Integer(char const* what) {
  auto const token = Token(what);
  std::int64_t value = 0;
  auto const code = Convert(token, value);
  if (code == std::errc::result_out_of_range) {
    Fail(std::string("the integer ") + Quoted(token) + " for " + what + " is out of range");
  }
  if (code != std::errc()) Fail(std::string("expected ") + what + ", an integer, found " + Quoted(token));
  return value;
}

std::int64_t heat_MshScanner::Integer(char const* what, std::int64_t low, std::int64_t high) {
  auto const value = Integer(what);
  if (value < low || value > high) {
    Fail(std::string(what) + " " + std::to_string(value) + " is outside the range from " +
         std::to_string(low) + " to " + std::to_string(high));
  }
  return value;
}

double heat_MshScanner::Real(char const* what) {
  auto const token = Token(what);
  double value = 0;
  auto const code = Convert(token, value);
  if (code == std::errc::result_out_of_range) {
    Fail(std::string("the number ") + Quoted(token) + " for " + what + " is out of range");
  }
  if (code != std::errc()) Fail(std::string("expected ") + what + ", a number, found " + Quoted(token));
  if (!std::isfinite(value)) Fail(std::string(what) + " is not a finite number: " + Quoted(token));
  return value;
}

std::size_t heat_MshScanner::Count(char const* what, std::size_t bytesEach) {
  auto const value = Integer(what);
  if (value < 0) Fail(std::string(what) + " is negative: " + std::to_string(value));
  auto const left = m_Text.size() - std::min(m_Next, m_Text.size());
  // The last line of a text may lack its newline.
  if (static_cast<std::uint64_t>(value) > (left + 1) / bytesEach) {
    Fail(std::string(what) + " is " + std::to_string(value) + ", more than the rest of the file can hold");
  }
  return static_cast<std::size_t>(value);
}

void heat_MshScanner::EndLine() const {
  if (HasMore()) Fail("unexpected " + Quoted(m_Line.substr(m_Token)) + " at the end of the line");
}

void heat_MshScanner::Fail(std::string const& message) const {
  FailAt(m_LineNumber, message);
}

void heat_MshScanner::FailAt(int line, std::string const& message) const {
  throw heat_InputError(m_File, line, message);
}

std::string heat_MshScanner::Quoted(std::string_view piece) {
  constexpr std::size_t longest = 32;
  std::string text;
  for (auto const c : piece.substr(0, longest)) {
    bool const printable = c >= ' ' && c <= '~' && c != '"';
    text += printable ? c : '?';
  }
  return '"' + text + (piece.size() > longest ? "...\"" : "\"");
}

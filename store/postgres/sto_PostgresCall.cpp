#include "store/postgres/sto_PostgresCall.h"

#include "store/postgres/sto_PostgresSum.h"

namespace {

void AppendDigits(std::string& text, sto_ByteView bytes) {
  constexpr char Digits[] = "0123456789abcdef";
  for (std::byte const byte : bytes) {
    text += Digits[std::to_integer<unsigned>(byte) >> 4];
    text += Digits[std::to_integer<unsigned>(byte) & 15];
  }
}

} // namespace

sto_PostgresCall& sto_PostgresCall::Add(std::string const& argument) {
  if (m_HasArguments) m_Text += ", ";
  m_HasArguments = true;
  m_Text += argument;
  return *this;
}

sto_PostgresCall& sto_PostgresCall::Bytes(sto_ByteView bytes) {
  std::string text = "decode('"; // and not '\x...', whose meaning a setting of the server changes
  text.reserve(text.size() + 2 * bytes.size() + 8);
  AppendDigits(text, bytes);
  return Add(text + "', 'hex')");
}

sto_PostgresCall& sto_PostgresCall::Sum(sto_ContentSum const& sum) {
  auto const [high, low] = sto_HalvesOf(sum);
  return Add(high + "::numeric * 18446744073709551616 + " + low + "::numeric");
}

sto_PostgresCall& sto_PostgresCall::Array(std::vector<std::int64_t> const& values) {
  std::string elements;
  for (std::int64_t const value : values) {
    if (!elements.empty()) elements += ',';
    elements += std::to_string(value);
  }
  return Array(elements);
}

sto_PostgresCall& sto_PostgresCall::Array(std::vector<std::string> const& values) {
  std::string text = "ARRAY[";
  for (std::string const& value : values) {
    text += text.back() == '[' ? "decode('" : ", decode('";
    AppendDigits(text, sto_AsBytes(value));
    text += "', 'hex')";
  }
  return Add(text + "]::bytea[]");
}

#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "store/format/sto_Codec.h"
#include "store/format/sto_ContentSum.h"

/// The text of a call of a function in PostgreSQL, with its arguments. No argument can end it: those that are not
/// numbers are written as hexadecimal digits. A plain value.
class sto_PostgresCall {
 public:
  explicit sto_PostgresCall(std::string_view function) : m_Text(std::string(function) + '(') {}

  sto_PostgresCall& Integer(std::int64_t value) { return Add(std::to_string(value)); }
  sto_PostgresCall& Boolean(bool value) { return Add(value ? "true" : "false"); }
  sto_PostgresCall& Bytes(sto_ByteView bytes);
  sto_PostgresCall& Sum(sto_ContentSum const& sum);
  sto_PostgresCall& Array(std::vector<std::int64_t> const& values);
  /// Of byte strings.
  sto_PostgresCall& Array(std::vector<std::string> const& values);
  /// Of texts that need no quotes, or have them: elements with commas in between.
  sto_PostgresCall& Array(std::string const& elements) { return Add("'{" + elements + "}'"); }

  [[nodiscard]] std::string Text() const { return m_Text + ')'; }

 private:
  sto_PostgresCall& Add(std::string const& argument);

  std::string m_Text;
  bool m_HasArguments = false;
};

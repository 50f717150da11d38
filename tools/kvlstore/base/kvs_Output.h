#pragma once

#include <cstdio>
#include <string>
#include <string_view>

#include <fmt/format.h>

/// What a verb prints: text or JSON, buffered, to standard output or a file. Notices interrupts while it writes. Not
/// copied; one thread. Errors: kvs_Error, naming the output, if something cannot be written.
class kvs_Output {
 public:
  /// Writes to standard output.
  kvs_Output();
  /// Makes a file that does not exist yet. A file that is not finished is removed again.
  explicit kvs_Output(std::string const& path);
  kvs_Output(kvs_Output const&) = delete;
  kvs_Output& operator=(kvs_Output const&) = delete;
  ~kvs_Output();

  void Write(std::string_view text);
  template <class... Arguments>
  void Print(fmt::format_string<Arguments...> format, Arguments&&... arguments) {
    fmt::format_to(fmt::appender(m_Buffer), format, std::forward<Arguments>(arguments)...);
    if (m_Buffer.size() >= FlushBytes) Flush();
  }
  /// A row "label   text".
  void Row(std::string_view label, std::string_view text) { Print("{:<10}{}\n", label, text); }
  /// Hands on what was printed to who reads it.
  void Flush();
  /// Writes everything. Call at the end.
  void Finish();

  /// Whether what is printed is read on a terminal by a person who may like colour (NO_COLOR is not set).
  [[nodiscard]] bool HasColour() const noexcept { return m_HasColour; }
  /// A text in bold, dim and so on if there is colour: code "1", "2" ...
  [[nodiscard]] std::string Styled(std::string_view code, std::string_view text) const;
  [[nodiscard]] bool IsTerminal() const noexcept { return m_IsTerminal; }

 private:
  static constexpr std::size_t FlushBytes = 1 << 16;

  [[noreturn]] void RaiseFailed(int reason) const;

  std::string m_Name; // for messages
  std::string m_Path; // of the file while it is not finished
  std::FILE* m_File;
  bool m_IsTerminal = false;
  bool m_HasColour = false;
  fmt::basic_memory_buffer<char, FlushBytes * 2> m_Buffer;
};

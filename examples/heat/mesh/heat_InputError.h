#pragma once

#include <stdexcept>
#include <string>
#include <utility>

// An input file that cannot be used. what() is one line for the user: "bracket.msh:57: node tag 12 is ...",
// or "bracket.msh: ..." if the error is not on a particular line.
class heat_InputError : public std::runtime_error {
 public:
  // file: the name as the caller gave it; line: counted from 1, or 0 for the whole file.
  heat_InputError(std::string file, int line, std::string const& message)
      : std::runtime_error(Text(file, line, message)), m_File(std::move(file)), m_Line(line) {}

  std::string const& File() const { return m_File; }
  int Line() const { return m_Line; }

 private:
  static std::string Text(std::string const& file, int line, std::string const& message) {
    return file + (line > 0 ? ":" + std::to_string(line) : std::string()) + ": " + message;
  }

  std::string m_File;
  int m_Line;
};

#pragma once

#include "examples/heat/mesh/heat_ProgressCall.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Walks over the text of a mesh file, line by line and number by number.
//
// Blank lines are skipped but counted. Nothing is copied: the text must outlive the scanner. Every error is a
// heat_InputError with the file's name and the line number.
class heat_MshScanner {
 public:
  heat_MshScanner(std::string_view text, std::string file, heat_ProgressCall progress);

  // Moves to the next line that is not blank. False at the end of the text.
  bool TryLine();

  // Moves to the next line that is not blank. The end of the text is an error that names the section.
  void NextLine(char const* section);

  // The current line, trimmed.
  std::string_view Line() const { return m_Line; }
  int LineNumber() const { return m_LineNumber; }

  // Takes the next number of the current line. `what` names the number in errors. A real number must be
  // finite.
  std::int64_t Integer(char const* what);
  double Real(char const* what);

  // Takes an integer in the given range, such as a count or an index.
  std::int64_t Integer(char const* what, std::int64_t low, std::int64_t high);

  // Takes a count of records. It is an error if the rest of the text cannot hold that many of bytesEach
  // bytes.
  std::size_t Count(char const* what, std::size_t bytesEach);

  // Whether anything is left on the current line; for EndLine that is an error.
  bool HasMore() const { return m_Token < m_Line.size(); }
  void EndLine() const;

  [[noreturn]] void Fail(std::string const& message) const;
  [[noreturn]] void FailAt(int line, std::string const& message) const;

  // Part of the text in a form fit for a message: quoted, shortened, without control characters.
  static std::string Quoted(std::string_view piece);

 private:
  std::string_view Token(char const* what);

  std::string_view m_Text;
  std::string m_File;
  heat_ProgressCall m_Progress;
  std::size_t m_Next = 0;  // where the next line starts in m_Text
  std::string_view m_Line; // the current line
  std::size_t m_Token = 0; // where the next number starts in m_Line
  int m_LineNumber = 0;
};

#pragma once

#include "examples/heat/program/heat_Progress.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

// Walks over the text of a mesh file, line by line and number by number.
//
// Blank lines are passed over and counted. Nothing is copied: the text must outlive the scanner. Every
// complaint is a heat_InputError with the file's name and the number of the line.
class heat_MshScanner {
 public:
  heat_MshScanner(std::string_view text, std::string file, heat_ProgressCall progress);

  // Moves to the next line that is not blank. False at the end of the text.
  bool TryLine();

  // Moves to the next line that is not blank; the end of the text is an error that names the section.
  void NextLine(char const* section);

  // The current line without blanks at its ends.
  std::string_view Line() const { return m_Line; }
  int LineNumber() const { return m_LineNumber; }

  // Takes the next number of the current line. what names the number in the complaint. A real number must be
  // finite.
  std::int64_t Integer(char const* what);
  double Real(char const* what);

  // A count or an index: an integer in the given range.
  std::int64_t Integer(char const* what, std::int64_t low, std::int64_t high);

  // A count of records that the rest of the text can hold if each takes at least bytesEach.
  std::size_t Count(char const* what, std::size_t bytesEach);

  // Whether the current line has something left; and the claim that it has not.
  bool HasMore() const { return m_Token < m_Line.size(); }
  void EndLine() const;

  [[noreturn]] void Fail(std::string const& message) const;
  [[noreturn]] void FailAt(int line, std::string const& message) const;

  // A piece of the text as a message may show it: quoted, shortened, without control characters.
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

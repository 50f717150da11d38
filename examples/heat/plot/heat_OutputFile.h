#pragma once

#include <stdexcept>
#include <string>

// A file that cannot be written; what() is one line for a person, with the path as it was given.
class heat_OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The file that is written when a person names this path: where its symbolic links lead, and the path itself
// where it is no link. The file need not be there, but its folder must. heat_OutputError if it cannot be
// written, or is no regular file: a device or a pipe would swallow what is written, and replacing it would
// take it away from all other programs.
std::string heat_OutputTarget(std::string const& path);

// Writes a file as a whole: first to another file beside it, which is then renamed. What was there before
// stays, untouched, until then, and when it cannot be replaced. Links stay links, and a file keeps its
// permissions. heat_OutputError if it cannot be written.
void heat_WriteOutput(std::string const& path, std::string const& contents);

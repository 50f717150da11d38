#pragma once

#include <stdexcept>
#include <string>

// A file that cannot be written; what() is one line for the user, with the path as the caller gave it.
class heat_OutputError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// The file that is written for a path given by the user: the target of its symbolic links, or the path itself
// if it is not a link. The file need not exist, but its folder must. Throws heat_OutputError if it cannot be
// written or is not a regular file: a device or pipe would swallow the output, and replacing it would break
// it for all other programs.
std::string heat_OutputTarget(std::string const& path);

// Writes a file as a whole: first to another file beside it, which is then renamed. Until then, or if
// replacing fails, the previous content remains untouched. Links stay links, and a file keeps its
// permissions. Throws heat_OutputError if it cannot be written.
void heat_WriteOutput(std::string const& path, std::string const& contents);

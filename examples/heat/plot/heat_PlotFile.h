#pragma once

#include <stdexcept>
#include <string>

// A plot that could not be made or written; what() is one line for the user.
class heat_PlotError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

// Writes a document to a file, which is replaced only when the document is complete; see heat_OutputFile.h.
// Throws heat_PlotError if it cannot be written.
void heat_WritePlot(std::string const& path, std::string const& document);

// The text shortened to at most count characters, with an ellipsis at the cut. UTF-8.
std::string heat_Shortened(std::string const& text, std::size_t count);

#pragma once

#include <stdexcept>

// A stored analysis whose parts do not fit together; what() is one line for a person.
class heat_ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

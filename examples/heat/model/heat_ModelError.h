#pragma once

#include <stdexcept>

// A stored analysis whose parts contradict each other; what() is one line for the user.
class heat_ModelError : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

#pragma once

#include <string>
#include <vector>

#include "bench/objects_Contender.h"

/// What a save of unchanged objects costs, beside the save that stored them first.
struct objects_SaveAgain {
  std::vector<double> m_First, m_Again; // seconds, one value per round
  double m_WrittenBytes = 0;            // by the program, into any file, in the last round
  bool m_IsTouched = false;             // whether the second save changed the file or made a journal, ever

  /// Measures one round; makes the file and removes it. No other file of the folder may change meanwhile.
  void Measure(objects_Contender& contender, std::string const& path);
};

#pragma once

#include <functional>
#include <string>
#include <vector>

/// What a save costs that finds nothing changed, beside the save that stored the same first.
class bench_SaveAgain {
 public:
  /// Measures one round: calls `save` twice, on the open store in file `path`. Nothing else may change the
  /// folder of the file meanwhile.
  void Measure(std::string const& path, std::function<void()> const& save);

  /// Prints the results: to people, and as figures `NAME.time`, `NAME.written` and `NAME.touched`.
  void Print(char const* what, std::string const& figure) const;

 private:
  std::vector<double> m_Ratios; // the time of the second save as a multiple of the first's
  double m_WrittenBytes = 0;    // by the second save, into any file; the most
  bool m_IsTouched = false;     // whether a second save changed the file or made a journal
};

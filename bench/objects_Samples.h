#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

/// The data of one small object: a base part with a name and a number, and a message.
struct objects_Sample {
  std::string m_Name;
  int m_Number;
  std::string m_Message; // 20 to 40 characters
};

/// Varied data, the same in every run.
std::vector<objects_Sample> objects_MakeSamples(int count);

/// The numbers 0 to count - 1 in a random order, the same in every run.
std::vector<int> objects_ShuffledOrder(int count);

/// Sums up objects in any order, to compare what was loaded with what was saved.
struct objects_Tally {
  void Add(std::string_view name, int number, std::string_view message) noexcept;
  friend bool operator==(objects_Tally const&, objects_Tally const&) = default;

  std::int64_t m_Count = 0;
  std::uint64_t m_Sum = 0;
};

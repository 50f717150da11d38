#pragma once

/// What an operation has met. Two systems with the same tally have visited the same objects, in the same state.
struct oo7_Tally {
  long long m_Count = 0; // what the operation counts
  long long m_Sum = 0;   // of the id, x and y of all that was visited
  long long m_State = 0; // of what updates change: swapped coordinates and dates

  friend bool operator==(oo7_Tally const&, oo7_Tally const&) = default;

  void Add(oo7_Tally const& other) {
    m_Count += other.m_Count;
    m_Sum += other.m_Sum;
    m_State += other.m_State;
  }
};

/// What each operation does to each object that it is after.
template <class Object> void oo7_Visit(oo7_Tally& tally, Object const& object) {
  tally.m_Sum += object.m_Id;
  if constexpr (requires { object.m_X; }) {
    tally.m_Sum += object.m_X + object.m_Y;
    tally.m_State += 3LL * object.m_X + 5LL * object.m_BuildDate;
  }
}

#pragma once

#include <cstdint>
#include <string>
#include <vector>

/// An entry in a store's log of saves: one committed transaction that has changed something. A plain value. See
/// sto_Store::Saves.
struct sto_SaveEntry {
  std::int64_t m_Number = 0;       ///< 1 is the creation of the store, or its upgrade to the present format
  std::int64_t m_Milliseconds = 0; ///< when it was committed, since the beginning of 1970, UTC
  std::string m_Program;           ///< sto_Options::m_Program of who wrote it
  std::string m_Note;              ///< see sto_Transaction::SetNote
  std::int64_t m_NextObjectId = 0; ///< object ids from this one on are given out by later saves

  // What it changed of what was there before it, ascending. Work that was undone before the commit may be in it.
  // Objects that are new are not: their ids are those from m_NextObjectId of the entry before up to this one's.
  std::vector<std::int64_t> m_Objects; ///< ids of objects that were written again or deleted
  std::vector<std::int64_t> m_Lists;   ///< ids of arrays and blobs whose stored elements or bytes changed
  std::vector<std::string> m_Roots;    ///< root names that are new, lead to another object, or were removed
};

#include "store/arrays/sto_ArrayErrors.h"

#include <atomic>
#include <limits>

#include "store/base/sto_Exception.h"
#include "store/objects/sto_MementoRead.h"

namespace {

std::atomic<int> s_ListSize = 1 << 30;

std::string Name(sto_ArrayHome const* home) {
  return home == nullptr ? "The array" : home->Describe();
}

/// "2 x 3", "one element".
std::string Extents(std::vector<long long> const& row) {
  if (row.empty()) return "one element";
  std::string text;
  for (long long const extent : row) {
    if (!text.empty()) text += " x ";
    text += std::to_string(extent);
  }
  return text;
}

} // namespace

void sto_RaiseArrayRange(sto_ArrayHome const* home, long long first, long long count, long long size) {
  std::string text = Name(home) + " has " + std::to_string(size) + " elements, and ";
  if (count == 1)
    text += "no element " + std::to_string(first) + ".";
  else
    text += "not " + std::to_string(count) + " from " + std::to_string(first) + " on.";
  sto_Raise(sto_ErrorKind::Misuse, text);
}

void sto_RaiseArrayRows(sto_ArrayHome const* home, long long count, long long rowSize) {
  sto_Raise(sto_ErrorKind::Misuse, Name(home) + " has rows of " + std::to_string(rowSize) +
                                       " elements, and " + std::to_string(count) +
                                       " are no whole number of rows.");
}

void sto_RaiseArrayShrunk(sto_ArrayHome const& home, long long size) {
  sto_Raise(sto_ErrorKind::Unavailable,
            home.Describe() + " has only " + std::to_string(size) +
                " elements any more: another session has stored it anew. Load it again.");
}

void sto_RaiseArrayRow(sto_ArrayHome const* home, long long row, long long rows) {
  sto_Raise(sto_ErrorKind::Misuse,
            Name(home) + " has " + std::to_string(rows) + " rows, and no row " + std::to_string(row) + ".");
}

void sto_RaiseArrayReadOnly(sto_ArrayHome const& home) {
  sto_Raise(sto_ErrorKind::ReadOnly, home.Describe() + " cannot be changed: its store cannot be written.");
}

void sto_RaiseArrayGrown(sto_ArrayHome const& home) {
  sto_Raise(sto_ErrorKind::Conflict, home.Describe() +
                                         " has got elements from another session, and maybe further "
                                         "lists of them: load its object again.");
}

void sto_RaiseArrayFull(sto_ArrayHome const& home) {
  sto_Raise(sto_ErrorKind::Full, home.Describe() + " needs a further list for more than " +
                                     std::to_string(sto_ArrayListSize()) +
                                     " elements: save the object that has the array, and go on.");
}

void sto_RaiseArrayMisuse(std::string const& text) {
  sto_Raise(sto_ErrorKind::Misuse, text);
}

void sto_RaiseArrayShape(sto_ArrayHome const& home, std::string_view field,
                         std::vector<long long> const& stored, std::vector<long long> const& asked) {
  sto_Raise(sto_ErrorKind::WrongClass, home.Describe() + (field.empty() ? "" : " " + std::string(field)) +
                                           " has rows of " + Extents(stored) + ", and not of " +
                                           Extents(asked) + ".");
}

long long sto_ArrayRowSize(std::vector<long long> const& row) {
  if (row.size() > 3)
    sto_RaiseArrayMisuse("An array has at most four dimensions, so its rows have at most three extents.");
  long long size = 1;
  for (long long const extent : row) {
    if (extent <= 0) sto_RaiseArrayMisuse("The extents of an array's rows are positive numbers.");
    if (extent > std::numeric_limits<int>::max() / size)
      sto_RaiseArrayMisuse("A row of an array has at most 2147483647 elements.");
    size *= extent;
  }
  return size;
}

int sto_ArrayListSize() noexcept {
  return s_ListSize;
}
void sto_SetArrayListSize(int elements) noexcept {
  s_ListSize = elements;
}

bool sto_IsListOfLists(cls_MementoRead& memento) {
  auto* const stored = dynamic_cast<sto_MementoRead*>(&memento);
  return stored != nullptr && stored->HoldsObjectList();
}

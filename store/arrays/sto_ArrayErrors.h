#pragma once

#include <string>
#include <vector>

#include "platform/kvl_Export.h"
#include "store/arrays/sto_ArrayHome.h"

// What arrays raise. Internal to store/arrays.

/// Misuse: elements from `first` on, `count` of them, of an array that has `size`.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayRange(sto_ArrayHome const* home, long long first, long long count,
                                                 long long size);
/// Misuse: `count` elements are no whole number of rows of `rowSize`.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayRows(sto_ArrayHome const* home, long long count,
                                                long long rowSize);
/// Unavailable: another session has stored the list anew, with fewer elements.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayShrunk(sto_ArrayHome const& home, long long size);
/// Misuse: there is no such row.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayRow(sto_ArrayHome const* home, long long row, long long rows);
[[noreturn]] KVL_EXPORT void sto_RaiseArrayReadOnly(sto_ArrayHome const& home);
/// Conflict: another session has added elements, and maybe lists that this array does not know.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayGrown(sto_ArrayHome const& home);
/// Full: the next list has to be stored before elements can be added to it.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayFull(sto_ArrayHome const& home);
/// Misuse for another text about an array.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayMisuse(std::string const& text);
/// WrongClass: the stored array has rows of other extents than the one that is read.
[[noreturn]] KVL_EXPORT void sto_RaiseArrayShape(sto_ArrayHome const& home, std::string_view field,
                                                 std::vector<long long> const& stored,
                                                 std::vector<long long> const& asked);

/// The number of elements of a row; Misuse for more than three extents, and for one that is not positive.
[[nodiscard]] KVL_EXPORT long long sto_ArrayRowSize(std::vector<long long> const& row);

/// How many elements a list of an array gets before the next list begins: 2^30.
[[nodiscard]] KVL_EXPORT int sto_ArrayListSize() noexcept;
/// For tests.
KVL_EXPORT void sto_SetArrayListSize(int elements) noexcept;

class cls_MementoRead;
/// Whether a stored list has objects.
[[nodiscard]] KVL_EXPORT bool sto_IsListOfLists(cls_MementoRead& memento);

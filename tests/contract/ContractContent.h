#pragma once

#include "tests/contract/ContractTest.h"

// Content of every kind, for tests that move or copy whole objects.

/// Writes content of every kind into an object: scalars, bytes, a reference, an object that several others
/// share and that holds itself, a blob, a list of each element type in blocks and one in the record, a table,
/// a map of each key and element type, lists and maps of objects, and an int table. `seed` selects the
/// values.
void WriteContent(cls_WriteVisitor const& visitor, int seed);

/// The number of objects this makes, not counting the one it is written into.
inline constexpr int ContentObjects = 31;

/// Expects the object to have the content of the given seed.
void ExpectContent(cls_ReadVisitor const& visitor, int seed);

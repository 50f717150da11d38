#pragma once

#include <string>

class cls_ClassRegistrar;

/// The class of the objects below.
constexpr unsigned int RawClass = 0x770002;
void DeclareRaw(cls_ClassRegistrar& registrar);

/// Writes into a store what no persisted class can write yet, below the mementos: the newer tags, nested values,
/// types of elements and keys, extents and units, a record with a shape of its own, and base-class parts whose ids
/// do not follow each other.
void SaveRaw(std::string const& path, cls_ClassRegistrar const& registrar);

#pragma once

#include <memory>
#include <vector>

#include "bench/objects_Contender.h"

// HDF5 files that are closed and then synchronised once. An object is a compound of name, number and message.

/// A table: one data set with a row for each object. Strings have the length of the longest one.
std::unique_ptr<objects_Contender> objects_MakeHdf5Table(std::vector<objects_Sample> const& samples);
/// The same table with strings of variable length, which HDF5 keeps in its global heap.
std::unique_ptr<objects_Contender> objects_MakeHdf5VariableTable(std::vector<objects_Sample> const& samples);
/// A small (compact) data set for each object, all in one group, with the fixed strings of the first table.
std::unique_ptr<objects_Contender> objects_MakeHdf5DataSets(std::vector<objects_Sample> const& samples);

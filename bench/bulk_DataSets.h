#pragma once

#include <string>

/// Measures sto_Array beside a cls_ArrayPrim, the list agent below both, and HDF5: runs of blocks that are appended, and
/// read in order. Files go to the folder.
void bulk_MeasureDataSets(std::string const& folder);

#pragma once

#include <string>

#include "metadata/cls_ClassRegistrar.h"

/// Measures a history of heat conduction: its size, writing it, and scanning it from the disk and from the
/// system's cache. Files go to the folder.
void bulk_MeasureHistory(std::string const& folder, cls_ClassRegistrar const& registrar);

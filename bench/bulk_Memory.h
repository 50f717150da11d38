#pragma once

/// Measures bulk arrays in memory, beside the standard library's containers.
void bulk_MeasureMemory();

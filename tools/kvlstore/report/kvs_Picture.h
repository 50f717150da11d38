#pragma once

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/report/kvs_Json.h"
#include "tools/kvlstore/report/kvs_PictureNotes.h"
#include "tools/kvlstore/report/kvs_Problems.h"
#include "tools/kvlstore/report/kvs_Report.h"

/// The largest mesh that is drawn, in numbers of its lists; a larger one is named only.
inline constexpr std::int64_t kvs_MaxMeshNumbers = 12'000'000;

/// Writes a picture as one object of JSON: places as whole numbers from 0 to 65535 in the mesh's box, elements, values. What does not
/// fit together, or cannot be read, is the picture's problem, which is returned, too.
std::string kvs_WritePicture(kvs_Json& json, sto_Inspection const& inspection, kvs_PictureNotes const& notes,
                             kvs_PictureSource const& source, kvs_ReportOptions const& options,
                             kvs_Problems const& problems);

/// The id of the mesh that a source draws; 0 if there is none. Errors: as sto_Inspection.
[[nodiscard]] std::int64_t kvs_MeshOf(sto_Inspection const& inspection, kvs_PictureSource const& source);

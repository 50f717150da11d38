#pragma once

/// Class ID of every stored list: component 35, ordinal 1.
inline constexpr unsigned int cls_InternalListTypeId = 0x230001;
/// Class ID of every stored map and int table.
inline constexpr unsigned int cls_InternalMapTypeId = 0x230002;
/// Class ID of every blob.
inline constexpr unsigned int cls_BlobTypeId = 0x230005;

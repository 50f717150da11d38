#pragma once

#include "persist/visitors/cls_WriteVisitor.h"

/// Writes a field that holds a blob and leaves the stored blob unchanged. Call it in DBWrite instead of
/// making a cls_BlobWriter:
///
///     void Picture::DBWrite(cls_WriteVisitor const& visitor) const {
///       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///       if (m_HasNewPixels)
///         WritePixels(cls_BlobWriter(visitor, PixelsField(), m_PixelsUid)); // begins with an empty blob
///       else
///         sto_KeepBlob(visitor, PixelsField(), m_PixelsUid);
///     }
///
/// Each save writes the whole object again. A blob opened with a cls_BlobWriter starts empty. A class that
/// does neither loses the field: nothing refers to the blob any more, and sto_Store::CollectGarbage deletes
/// it.
///
/// Effect: the field holds the blob that the store has under `uid`.
/// REQUIRES: `visitor` was started on an object that a store is saving.
/// Errors: Misuse if the store has no blob under `uid` (a blob of another store must be written here), or if
/// the visitor writes to another back end. After an error the save can only be undone.
/// Thread rule: as the store.
KVL_EXPORT void sto_KeepBlob(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                             cls_Uid const& uid);

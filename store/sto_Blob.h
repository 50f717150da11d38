#pragma once

#include "persist/visitors/cls_WriteVisitor.h"

/// Writes a field that holds a blob, and leaves the blob as it is stored. Called in DBWrite instead of making
/// a cls_BlobWriter:
///
///     void Picture::DBWrite(cls_WriteVisitor const& visitor) const {
///       if (!visitor.StartWrite(TypeId(), m_Uid)) return;
///       if (m_HasNewPixels)
///         WritePixels(cls_BlobWriter(visitor, PixelsField(), m_PixelsUid)); // begins with an empty blob
///       else
///         sto_KeepBlob(visitor, PixelsField(), m_PixelsUid);
///     }
///
/// Each save writes an object anew. A blob that a cls_BlobWriter opens begins empty, whatever it had before;
/// a class that does neither loses the blob with the field: nothing leads to it any more, and
/// sto_Store::CollectGarbage deletes it.
///
/// Effect: the field holds the blob that the store has under `uid`. The visitor must be started, on an object
/// of a store. Misuse, and the save can only be undone: the store has no blob under that identity (in another
/// store it has to be written), or the visitor writes to another back end. Thread rule: as the store.
KVL_EXPORT void sto_KeepBlob(cls_WriteVisitor const& visitor, cls_FieldHandle const& field,
                             cls_Uid const& uid);

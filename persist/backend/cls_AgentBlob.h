#pragma once

#include "platform/kvl_Export.h"

/// Open connection to a stored blob: bytes of any length. Offsets and sizes are in bytes.
/// The comment before each operation is its virtual slot. Thread rule: one thread.
class KVL_EXPORT cls_AgentBlob {
 public:
  cls_AgentBlob() = default;
  cls_AgentBlob(cls_AgentBlob const&) = delete;
  cls_AgentBlob& operator=(cls_AgentBlob const&) = delete;

  /* 0 */ virtual ~cls_AgentBlob();

  /// The size of the blob.
  /* 1 */ virtual long long Size() = 0;

  /// Reads up to `sizeBytes` bytes starting at `offset`; returns how many were read.
  /* 2 */ virtual long long Read(long long offset, long long sizeBytes, void* destination) = 0;

  /// Writes bytes starting at `offset`, over the stored ones and beyond the end; a gap reads as zeros.
  /* 3 */ virtual void Write(long long offset, long long sizeBytes, void const* source) = 0;

  /// Cuts the blob down to `sizeBytes`.
  /* 4 */ virtual void Truncate(long long sizeBytes) = 0;

  /// Whether another session changed the stored blob since this agent was opened or last asked.
  /* 5 */ virtual bool Changed() = 0;

  /// Called once, after all parts of a flush are written.
  /* 6 */ virtual void EndFlush() = 0;

  /* 7 */ virtual void AddReference() = 0;
  /* 8 */ virtual void DropReference() = 0;
  /* 9 */ virtual bool StillReferenced() = 0;
  /* 10 */ virtual bool ReadOnly() = 0;

  /// Whether the receiver deletes the agent; true unless the back end keeps it.
  /* 11 */ virtual bool NeedsDeletion() const;
};

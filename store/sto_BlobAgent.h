#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/cls_AgentBlob.h"
#include "store/sto_StoredBlocks.h"

class sto_Session;

/// The open line to a stored blob: a run of bytes in blocks of 16 KiB. Internal to the module.
///
/// Nothing of the blob is kept in memory between two operations, so any number of agents of one blob agree,
/// and a transaction that is undone leaves nothing behind. A blob that was made in undone work is not stored.
/// Each operation is a transaction of its own when none is open. Thread rule: the thread of the session.
class sto_BlobAgent final : public cls_AgentBlob {
 public:
  /// The greatest blob, in bytes: what the blocks of one object can hold.
  static constexpr long long MaxBytes = (1LL << 20) * 16384;

  /// `id` is 0 for a blob that is not stored: it is empty and takes nothing.
  sto_BlobAgent(sto_Session& session, std::int64_t id);
  sto_BlobAgent(sto_BlobAgent const&) = delete;
  sto_BlobAgent& operator=(sto_BlobAgent const&) = delete;
  ~sto_BlobAgent() override;

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  /// The save that made the blob is undone, and its id may be given to another object: it is not stored.
  void ForgetId() noexcept { m_Id = 0; }

  long long Size() override;
  long long Read(long long offset, long long sizeBytes, void* destination) override;
  /// Full beyond MaxBytes.
  void Write(long long offset, long long sizeBytes, void const* source) override;
  void Truncate(long long sizeBytes) override;
  bool Changed() override;
  void EndFlush() override {} // nothing is kept back
  void AddReference() override { ++m_References; }
  void DropReference() override { --m_References; }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override;

 private:
  struct Header {
    long long m_SizeBytes = 0;
    std::int64_t m_Change = 0;
  };

  /// The session; Unavailable when it is closed.
  [[nodiscard]] sto_Session& Session() const;
  [[nodiscard]] std::string Describe() const { return "The blob of object " + std::to_string(m_Id); }
  /// The stored header; of a blob that is not there, none. In a transaction.
  [[nodiscard]] Header ReadHeader();
  void WriteHeader(Header header);
  /// Lets `change` change the blob and its header, and writes the header: also when it fails, if the
  /// transaction outlives that, so that the header fits what was changed till then.
  template <class Change> void ChangeWhole(Header const& header, bool outlivesFailure, Change change);
  /// Misuse, ReadOnly, unless the blob may be written in the open transaction.
  void CheckWriting() const;
  void WriteBytes(Header& header, long long offset, long long sizeBytes, std::byte const* source);
  /// The content of a block that has so many bytes.
  [[nodiscard]] sto_ByteView ReadBlock(int index, long long blobBytes);

  std::shared_ptr<sto_Session*> m_Session;
  std::string m_Location;
  std::int64_t m_Id;
  std::int64_t m_SeenChange = -1;
  int m_References = 0;
  sto_StoredBlocks m_Blocks;
};

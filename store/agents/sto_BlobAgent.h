#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/backend/cls_AgentBlob.h"
#include "store/format/sto_BlockLayout.h"
#include "store/session/sto_OpenBlob.h"
#include "store/session/sto_StoredBlocks.h"

class sto_Session;

/// The open line to a stored blob: a run of bytes in blocks of 16 KiB. Internal to the module.
///
/// Nothing of the blob is kept in memory between two operations, so any number of agents of one blob agree,
/// and a transaction that is undone leaves nothing behind. A blob that was made in undone work is lost: every
/// operation raises Unavailable. One that another session has changed since it was looked at here is not
/// changed: Conflict. Each operation is a transaction of its own when none is open.
/// Thread rule: the thread of the session.
class sto_BlobAgent final : public cls_AgentBlob, public sto_OpenBlob {
 public:
  /// The greatest blob, in bytes: what the blocks of one object can hold.
  static constexpr long long MaxBytes = sto_BlobLayout::MaxCount;

  /// `id` is 0 for a blob that is not stored: it is empty and takes nothing. `isMade`: the open save makes
  /// it.
  sto_BlobAgent(sto_Session& session, std::int64_t id, bool isMade = false);
  sto_BlobAgent(sto_BlobAgent const&) = delete;
  sto_BlobAgent& operator=(sto_BlobAgent const&) = delete;
  ~sto_BlobAgent() override;

  void UndoSave() noexcept override;
  void UndoTransaction() noexcept override;

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
  /// What was seen of the blob, and in which transaction or save that was so at the beginning.
  struct Standing {
    std::int64_t m_SeenChange = -1;
    std::int64_t m_ShownChange = -1;
    std::int64_t m_Of = 0;
  };

  /// The session; Unavailable when it is closed, and for a lost blob.
  [[nodiscard]] sto_Session& Session() const;
  [[nodiscard]] std::string Describe() const { return "The blob of object " + std::to_string(m_Id); }
  /// The stored header; of a blob that is not written yet, an empty one. In a transaction. NotFound for one
  /// that was deleted.
  [[nodiscard]] Header ReadHeader(bool checksBlocks = true);
  /// The same for an operation that shows the blob.
  [[nodiscard]] Header ShowHeader();
  /// The same for one that is about to change it. Conflict.
  [[nodiscard]] Header HeaderToChange();
  void NoteChanged();
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
  std::int64_t m_SeenChange = -1;  // what Changed has told
  std::int64_t m_ShownChange = -1; // what any operation has shown
  Standing m_AtBegin;
  Standing m_AtMark;
  std::int64_t m_MadeInSave = 0; // the number of the save that made it
  std::int64_t m_MadeInTransaction = 0;
  int m_References = 0;
  sto_StoredBlocks m_Blocks;
};

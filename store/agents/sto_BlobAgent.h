#pragma once

#include <cstdint>
#include <memory>
#include <string>

#include "persist/backend/cls_AgentBlob.h"
#include "store/format/sto_BlockLayout.h"
#include "store/session/sto_OpenBlob.h"
#include "store/session/sto_StoredBlocks.h"

class sto_Session;

/// The agent of a stored blob: a sequence of bytes in blocks of 16 KiB. Internal to the module.
///
/// It keeps no bytes of the blob in memory between two operations. So any number of agents of one blob agree,
/// and an undone transaction leaves nothing behind. Each operation runs in the open transaction, or in one of
/// its own.
///
/// Errors: Unavailable for a blob that was made in undone work (it is lost), and after the store was closed.
/// Conflict for changing a blob that another session has changed since an operation here read it. NotFound,
/// Damaged. Thread rule: the thread of the session.
class sto_BlobAgent final : public cls_AgentBlob, public sto_OpenBlob {
 public:
  /// The size of the largest blob in bytes: what the blocks of one object can hold.
  static constexpr long long MaxBytes = sto_BlobLayout::MaxCount;

  /// `id` is 0 for a blob that is not stored: it is empty and cannot be written. `isMade`: the running save
  /// makes the blob.
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
  void EndFlush() override {} // every write goes to the store at once
  void AddReference() override { ++m_References; }
  void DropReference() override { --m_References; }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override;

 private:
  struct Header {
    long long m_SizeBytes = 0;
    std::int64_t m_Change = 0;
  };
  /// Which changes of the blob had been seen when a transaction or save began. Undoing restores it.
  struct State {
    std::int64_t m_SeenChange = -1;
    std::int64_t m_ShownChange = -1;
    std::int64_t m_Of = 0; // the number of that transaction or save
  };

  /// The session. Unavailable if it is closed, and for a lost blob.
  [[nodiscard]] sto_Session& Session() const;
  [[nodiscard]] std::string Describe() const { return "The blob of object " + std::to_string(m_Id); }
  /// The stored header; an empty one for a blob that is not written yet. NotFound if the blob was deleted.
  /// REQUIRES: an open transaction.
  [[nodiscard]] Header ReadHeader(bool checksBlocks = true);
  /// The same for an operation that shows the blob's content or size.
  [[nodiscard]] Header ShowHeader();
  /// The same for an operation that changes the blob. Conflict.
  [[nodiscard]] Header HeaderToChange();
  /// Keeps what undoing must restore. Call it before a change.
  void NoteChanged();
  void WriteHeader(Header header);
  /// Calls `change`, which changes the blob and `header`, and then writes the header. If `change` fails and
  /// the transaction goes on (`outlivesFailure`), writes the header all the same, so that it fits what was
  /// changed by then.
  template <class Change> void ChangeWhole(Header const& header, bool outlivesFailure, Change change);
  /// Misuse or ReadOnly if the blob cannot be written in the open transaction.
  void CheckWriting() const;
  void WriteBytes(Header& header, long long offset, long long sizeBytes, std::byte const* source);
  /// The content of a block of a blob that has `blobBytes` bytes. Damaged if the block has another size.
  [[nodiscard]] sto_ByteView ReadBlock(int index, long long blobBytes);

  std::shared_ptr<sto_Session*> m_Session;
  std::string m_Location;
  std::int64_t m_SeenChange = -1;  // the change that Changed last reported; -1: none yet
  std::int64_t m_ShownChange = -1; // the change that any operation last showed; -1: none yet
  State m_AtBegin;
  State m_AtMark;
  std::int64_t m_MadeInSave = 0;        // the number of the save that made the blob
  std::int64_t m_MadeInTransaction = 0; // the number of the transaction that made it
  int m_References = 0;
  sto_StoredBlocks m_Blocks;
};

#include "store/agents/sto_BlobAgent.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/base/sto_Exception.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_CollectionFields.h"
#include "store/session/sto_OwnTransaction.h"

sto_BlobAgent::sto_BlobAgent(sto_Session& session, std::int64_t id, bool isMade)
    : sto_OpenBlob(id), m_Session(session.Self()), m_Location(session.Location()), m_Blocks(session, id) {
  if (isMade) session.Changes().NoteMade(id, session.Save().Number());
  if (sto_ChangeNotes::ListAtBegin const* const before = session.Changes().FindAtBegin(id);
      before != nullptr) {
    if (before->m_IsMade) m_MadeInTransaction = session.TransactionNumber();
    m_MadeInSave = before->m_MadeInSave;
  }
  if (session.IsNewInTransaction(id)) m_MadeInTransaction = session.TransactionNumber();
  // Damage is reported only when the blob is used, so that its object can still be loaded.
  if (session.InTransaction()) m_SeenChange = m_ShownChange = ReadHeader(false).m_Change;
  session.OpenBlobs().insert(this);
}

sto_BlobAgent::~sto_BlobAgent() {
  if (*m_Session != nullptr) (*m_Session)->OpenBlobs().erase(this);
}

sto_Session& sto_BlobAgent::Session() const {
  if (m_IsLost)
    sto_Raise(sto_ErrorKind::Unavailable, m_Location + ": " + Describe() +
                                              " was made in work that was undone: it is not in the store any "
                                              "more. Make it anew.");
  if (*m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": " + Describe() + " cannot be reached any more: its store was closed.");
  return **m_Session;
}

void sto_BlobAgent::NoteChanged() {
  sto_Session const& session = Session();
  if (m_AtBegin.m_Of != session.TransactionNumber())
    m_AtBegin = {m_SeenChange, m_ShownChange, session.TransactionNumber()};
  if (session.Save().IsGoingOn() && m_AtMark.m_Of != session.Save().Number())
    m_AtMark = {m_SeenChange, m_ShownChange, session.Save().Number()};
}

void sto_BlobAgent::UndoSave() noexcept {
  std::int64_t const save = (*m_Session)->Save().Number();
  if (m_MadeInSave == save) m_IsLost = true;
  if (m_AtMark.m_Of == save) {
    m_SeenChange = m_AtMark.m_SeenChange;
    m_ShownChange = m_AtMark.m_ShownChange;
  }
  m_AtMark.m_Of = 0;
}

void sto_BlobAgent::UndoTransaction() noexcept {
  std::int64_t const transaction = (*m_Session)->TransactionNumber();
  if (m_MadeInTransaction == transaction) m_IsLost = true;
  if (m_AtBegin.m_Of == transaction) {
    m_SeenChange = m_AtBegin.m_SeenChange;
    m_ShownChange = m_AtBegin.m_ShownChange;
  }
  m_AtBegin.m_Of = m_AtMark.m_Of = 0;
}

sto_BlobAgent::Header sto_BlobAgent::ReadHeader(bool checksBlocks) {
  if (m_Id == 0) return {};
  sto_RecordRef const record = Session().Records().Read(m_Id);
  if (record == nullptr) {
    bool const isBeingMade = Session().Save().IsGoingOn() && m_MadeInSave == Session().Save().Number();
    if (!isBeingMade) Session().Raise(sto_ErrorKind::NotFound, Describe() + " is not in the store any more.");
    return {};
  }
  sto_Part const& part = record->Parts().front();
  Header const header{sto_CollectionFields::BlobBytes.Read(part).value_or(0),
                      Session().Changes().Version(m_Id)};
  if (part.m_ClassId != cls_BlobTypeId || header.m_SizeBytes < 0 || header.m_SizeBytes > MaxBytes)
    Session().Raise(sto_ErrorKind::Damaged, Describe() + " is not a blob, or has an impossible size.");
  // The caller may allocate this many bytes, so at least the last block must exist.
  if (checksBlocks && header.m_SizeBytes > 0 &&
      !m_Blocks.Has(sto_BlobLayout::BlockOf(header.m_SizeBytes - 1)))
    Session().Raise(sto_ErrorKind::Damaged, Describe() + " is damaged: it says " +
                                                std::to_string(header.m_SizeBytes) +
                                                " bytes, and its last block is missing.");
  return header;
}

sto_BlobAgent::Header sto_BlobAgent::ShowHeader() {
  Header const header = ReadHeader();
  m_ShownChange = header.m_Change;
  return header;
}

sto_BlobAgent::Header sto_BlobAgent::HeaderToChange() {
  Header const header = ReadHeader();
  if (m_ShownChange != -1 && m_ShownChange != header.m_Change &&
      !Session().Changes().IsOwnBlobChange(m_Id, header.m_Change))
    Session().Raise(sto_ErrorKind::Conflict, Describe() + " was changed by another session since it was "
                                                          "looked at here: look at it again.");
  NoteChanged();
  return header;
}

void sto_BlobAgent::WriteHeader(Header header) {
  sto_ClassInUse& inUse = Session().ClassToWrite(cls_BlobTypeId);
  cls_ClassMetadata const& metadata = inUse.Metadata();
  sto_RecordBuilder builder;
  builder.AddPart(metadata.ClassId(), metadata.Version(), m_Id);
  sto_CollectionFields::BlobBytes.Write(builder, header.m_SizeBytes);
  std::int64_t const change = Session().Changes().NewVersion();
  Session().Changes().NoteBlobChange(m_Id, change, Session().TransactionNumber(), Session().Save().Number());
  auto const [shape, values] = Session().ToWrite(builder, &inUse);
  Session().WriteObject(m_Id, {shape, values});
  Session().Changes().SetVersion(m_Id, change);
  if (m_SeenChange == header.m_Change) m_SeenChange = change; // an earlier unseen change stays unseen
  m_ShownChange = change;
}

void sto_BlobAgent::CheckWriting() const {
  if (m_Id == 0) Session().Raise(sto_ErrorKind::ReadOnly, "A blob that is not stored cannot be written.");
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    Describe() +
                        " is written in a transaction that only reads, or while an object is being loaded.");
}

bool sto_BlobAgent::ReadOnly() {
  return m_IsLost || m_Id == 0 || *m_Session == nullptr || Session().Driver().IsReadOnly();
}

long long sto_BlobAgent::Size() {
  sto_OwnTransaction const transaction(Session(), false);
  return ShowHeader().m_SizeBytes;
}

bool sto_BlobAgent::Changed() {
  sto_OwnTransaction const transaction(Session(), false);
  std::int64_t const change = ShowHeader().m_Change;
  return std::exchange(m_SeenChange, change) != change;
}

sto_ByteView sto_BlobAgent::ReadBlock(int index, long long blobBytes) {
  sto_ByteView const content = m_Blocks.Read(index);
  if (static_cast<std::int64_t>(content.size()) != sto_BlobLayout(blobBytes).CountIn(index))
    Session().Raise(sto_ErrorKind::Damaged, Describe() + " is damaged: block " + std::to_string(index) +
                                                " does not have the bytes that the blob says.");
  return content;
}

long long sto_BlobAgent::Read(long long offset, long long sizeBytes, void* destination) {
  sto_OwnTransaction const transaction(Session(), false);
  if (offset < 0 || sizeBytes <= 0) return 0;
  Header const header = ShowHeader();
  long long const there = std::min(sizeBytes, header.m_SizeBytes - std::min(offset, header.m_SizeBytes));
  auto* const bytes = static_cast<std::byte*>(destination);
  for (long long done = 0; done < there;) {
    sto_BlobLayout::Piece const piece = sto_BlobLayout::FirstPiece(offset + done, there - done);
    std::memcpy(bytes + done, ReadBlock(piece.m_Block, header.m_SizeBytes).data() + piece.m_Offset,
                static_cast<std::size_t>(piece.m_Count));
    done += piece.m_Count;
  }
  return there;
}

void sto_BlobAgent::Write(long long offset, long long sizeBytes, void const* source) {
  if (sizeBytes <= 0) return;
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  if (offset < 0 || offset > MaxBytes - std::min(sizeBytes, MaxBytes))
    Session().Raise(sto_ErrorKind::Full,
                    Describe() + " would get more than " + std::to_string(MaxBytes) + " bytes.");
  Header header = HeaderToChange();
  std::byte const zeros[sto_BlobLayout::BlockSize] = {};
  ChangeWhole(header, !transaction.IsOwn(), [&] {
    while (header.m_SizeBytes < offset)
      WriteBytes(header, header.m_SizeBytes,
                 std::min<long long>(sto_BlobLayout::BlockSize, offset - header.m_SizeBytes), zeros);
    WriteBytes(header, offset, sizeBytes, static_cast<std::byte const*>(source));
  });
  transaction.Commit();
}

template <class Change>
void sto_BlobAgent::ChangeWhole(Header const& header, bool outlivesFailure, Change change) {
  try {
    change();
    WriteHeader(header);
  } catch (...) {
    if (Session().Save().IsGoingOn()) Session().Save().MarkIncomplete();
    try {
      if (outlivesFailure) WriteHeader(header);
    } catch (...) {
      Session().Driver().Rollback(); // a blob whose header has the wrong size must not be committed
    }
    throw;
  }
}

void sto_BlobAgent::WriteBytes(Header& header, long long offset, long long sizeBytes,
                               std::byte const* source) {
  for (long long done = 0; done < sizeBytes;) {
    auto const [index, within, part] = sto_BlobLayout::FirstPiece(offset + done, sizeBytes - done);
    std::int64_t const stored = sto_BlobLayout(header.m_SizeBytes).CountIn(index);
    sto_Bytes content;
    if (stored > 0 && (within > 0 || part < stored)) {
      sto_ByteView const old = ReadBlock(index, header.m_SizeBytes);
      content.assign(old.begin(), old.end());
    }
    content.resize(static_cast<std::size_t>(std::max(stored, within + part)));
    std::memcpy(content.data() + within, source + done, static_cast<std::size_t>(part));
    m_Blocks.Write(index, content, stored > 0);
    done += part;
    header.m_SizeBytes = std::max<long long>(header.m_SizeBytes, offset + done);
  }
}

void sto_BlobAgent::Truncate(long long sizeBytes) {
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  Header header = HeaderToChange();
  long long const kept = std::max(0LL, sizeBytes);
  if (kept >= header.m_SizeBytes) return;
  ChangeWhole(header, !transaction.IsOwn(), [&] {
    if (std::int64_t const within = sto_BlobLayout::OffsetOf(kept); within != 0) {
      int const last = sto_BlobLayout::BlockOf(kept);
      sto_ByteView const old = ReadBlock(last, header.m_SizeBytes).first(static_cast<std::size_t>(within));
      sto_Bytes content(old.begin(), old.end());
      m_Blocks.Write(last, content, true);
    }
    header.m_SizeBytes = kept;
    m_Blocks.DeleteFrom(sto_BlobLayout(kept).BlockCount());
  });
  transaction.Commit();
}

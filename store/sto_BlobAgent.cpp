#include "store/sto_BlobAgent.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/sto_BlockKey.h"
#include "store/sto_Exception.h"
#include "store/sto_OwnTransaction.h"

namespace {

constexpr long long BlockBytes = sto_Format::BlobBlockBytes;

// Fields of a blob's object, by number.
constexpr sto_FieldKey SizeKey{0, 0};
constexpr sto_FieldKey ChangeKey{0, 1};

std::int64_t NumberOf(sto_Part const& part, sto_FieldKey const& key) {
  for (sto_Field const& field : part.m_Fields)
    if (field.m_Key == key && field.m_Tag == sto_Format::Int64)
      return sto_ByteReader(field.m_Payload).Number<std::int64_t>();
  return 0;
}

void PutNumber(sto_RecordBuilder& builder, sto_FieldKey const& key, std::int64_t value) {
  sto_ByteWriter writer(builder.StartField(0, key));
  writer.U8(sto_Format::Int64);
  writer.Number(value);
}

int BlocksOf(long long blobBytes) noexcept {
  return static_cast<int>((blobBytes + BlockBytes - 1) / BlockBytes);
}

long long BytesIn(int index, long long blobBytes) noexcept {
  return std::clamp(blobBytes - index * BlockBytes, 0LL, BlockBytes);
}

} // namespace

sto_BlobAgent::sto_BlobAgent(sto_Session& session, std::int64_t id)
    : m_Session(session.Self()), m_Location(session.Location()), m_Id(id), m_Blocks(session, id) {
  if (session.InTransaction()) m_SeenChange = ReadHeader().m_Change;
  session.OpenBlobs().insert(this);
}

sto_BlobAgent::~sto_BlobAgent() {
  if (*m_Session != nullptr) (*m_Session)->OpenBlobs().erase(this);
}

sto_Session& sto_BlobAgent::Session() const {
  if (*m_Session == nullptr)
    sto_Raise(sto_ErrorKind::Unavailable,
              m_Location + ": " + Describe() + " cannot be reached any more: its store was closed.");
  return **m_Session;
}

sto_BlobAgent::Header sto_BlobAgent::ReadHeader() {
  if (m_Id == 0) return {};
  sto_RecordRef const record = Session().ReadRecord(m_Id);
  if (record == nullptr) return {}; // made in the save that is going on
  sto_Part const& part = record->Parts().front();
  Header const header{NumberOf(part, SizeKey), NumberOf(part, ChangeKey)};
  if (part.m_ClassId != cls_BlobTypeId || header.m_SizeBytes < 0 || header.m_SizeBytes > MaxBytes)
    Session().Raise(sto_ErrorKind::Damaged, Describe() + " is none, or says an impossible size.");
  return header;
}

void sto_BlobAgent::WriteHeader(Header header) {
  cls_ClassMetadata const& metadata = Session().ClassToWrite(cls_BlobTypeId).Metadata();
  sto_RecordBuilder builder;
  builder.AddPart(metadata.ClassId(), metadata.Version(), m_Id);
  PutNumber(builder, SizeKey, header.m_SizeBytes);
  m_SeenChange = header.m_Change + 1;
  PutNumber(builder, ChangeKey, m_SeenChange);
  Session().Driver().WriteObject(m_Id, metadata.ClassId(), builder.Finish(m_Id));
}

void sto_BlobAgent::CheckWriting() const {
  if (m_Id == 0) Session().Raise(sto_ErrorKind::ReadOnly, "A blob that is not stored cannot be written.");
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    Describe() +
                        " is written in a transaction that only reads, or while an object is being loaded.");
}

bool sto_BlobAgent::ReadOnly() {
  return m_Id == 0 || *m_Session == nullptr || Session().Driver().IsReadOnly();
}

long long sto_BlobAgent::Size() {
  sto_OwnTransaction const transaction(Session(), false);
  return ReadHeader().m_SizeBytes;
}

bool sto_BlobAgent::Changed() {
  sto_OwnTransaction const transaction(Session(), false);
  std::int64_t const change = ReadHeader().m_Change;
  return std::exchange(m_SeenChange, change) != change;
}

sto_ByteView sto_BlobAgent::ReadBlock(int index, long long blobBytes) {
  sto_ByteView const content = m_Blocks.Read(index);
  if (static_cast<long long>(content.size()) != BytesIn(index, blobBytes))
    Session().Raise(sto_ErrorKind::Damaged, Describe() + " is damaged: block " + std::to_string(index) +
                                                " does not have the bytes that the blob says.");
  return content;
}

long long sto_BlobAgent::Read(long long offset, long long sizeBytes, void* destination) {
  if (offset < 0 || sizeBytes <= 0) return 0;
  sto_OwnTransaction const transaction(Session(), false);
  Header const header = ReadHeader();
  long long const there = std::min(sizeBytes, header.m_SizeBytes - std::min(offset, header.m_SizeBytes));
  auto* const bytes = static_cast<std::byte*>(destination);
  for (long long done = 0; done < there;) {
    int const index = static_cast<int>((offset + done) / BlockBytes);
    long long const within = (offset + done) % BlockBytes;
    long long const part = std::min(BlockBytes - within, there - done);
    std::memcpy(bytes + done, ReadBlock(index, header.m_SizeBytes).data() + within,
                static_cast<std::size_t>(part));
    done += part;
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
  Header header = ReadHeader();
  std::byte const zeros[BlockBytes] = {};
  ChangeWhole(header, !transaction.IsOwn(), [&] {
    while (header.m_SizeBytes < offset)
      WriteBytes(header, header.m_SizeBytes, std::min(BlockBytes, offset - header.m_SizeBytes), zeros);
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
    if (Session().InSave()) Session().MarkIncomplete();
    try {
      if (outlivesFailure) WriteHeader(header);
    } catch (...) {
      Session().Driver().Rollback(); // a blob that says another size than it has must not be committed
    }
    throw;
  }
}

void sto_BlobAgent::WriteBytes(Header& header, long long offset, long long sizeBytes,
                               std::byte const* source) {
  for (long long done = 0; done < sizeBytes;) {
    int const index = static_cast<int>((offset + done) / BlockBytes);
    long long const within = (offset + done) % BlockBytes;
    long long const part = std::min(BlockBytes - within, sizeBytes - done);
    long long const stored = BytesIn(index, header.m_SizeBytes);
    sto_Bytes content;
    if (stored > 0 && (within > 0 || part < stored)) {
      sto_ByteView const old = ReadBlock(index, header.m_SizeBytes);
      content.assign(old.begin(), old.end());
    }
    content.resize(static_cast<std::size_t>(std::max(stored, within + part)));
    std::memcpy(content.data() + within, source + done, static_cast<std::size_t>(part));
    m_Blocks.Write(index, content, stored > 0);
    done += part;
    header.m_SizeBytes = std::max(header.m_SizeBytes, offset + done);
  }
}

void sto_BlobAgent::Truncate(long long sizeBytes) {
  sto_OwnTransaction transaction(Session(), true);
  CheckWriting();
  Header header = ReadHeader();
  long long const kept = std::max(0LL, sizeBytes);
  if (kept >= header.m_SizeBytes) return;
  int const lastKept = BlocksOf(kept) - 1;
  ChangeWhole(header, !transaction.IsOwn(), [&] {
    if (kept % BlockBytes != 0) {
      sto_ByteView const old =
          ReadBlock(lastKept, header.m_SizeBytes).first(static_cast<std::size_t>(kept % BlockBytes));
      sto_Bytes content(old.begin(), old.end());
      m_Blocks.Write(lastKept, content, true);
    }
    header.m_SizeBytes = kept;
    Session().Driver().DeleteBlocks(sto_BlockKey(m_Id, lastKept + 1), sto_LastBlockKey(m_Id));
  });
  transaction.Commit();
}

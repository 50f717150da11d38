#include "store/session/sto_StoredBlocks.h"

#include <algorithm>
#include <array>
#include <string>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_BlockLayout.h"
#include "store/format/sto_Checksum.h"
#include "store/session/sto_Session.h"

namespace {

/// Checks each block that the storage delivers, and passes its content on.
class Unsealer : public sto_BlockSink {
 public:
  Unsealer(std::int64_t firstKey, int first, void* context,
           void (*take)(void* context, int index, sto_ByteView content)) noexcept
      : m_FirstKey(firstKey), m_Next(first), m_First(first), m_Context(context), m_Take(take) {}

  bool Take(std::int64_t key, sto_ByteView data) override {
    if (key != m_FirstKey + (m_Next - m_First) || !sto_Unseal(static_cast<std::uint64_t>(key), data))
      return false;
    m_Take(m_Context, m_Next++, data);
    return true;
  }

  /// The index after the last good block: the one that is missing or damaged, unless all were good.
  [[nodiscard]] int Next() const noexcept { return m_Next; }

 private:
  std::int64_t m_FirstKey;
  int m_Next;
  int m_First;
  void* m_Context;
  void (*m_Take)(void*, int, sto_ByteView);
};

} // namespace

sto_ByteView sto_StoredBlocks::Kept(int index) const noexcept {
  if (index < m_FirstKept || index >= m_FirstKept + m_KeptCount) return {};
  return m_Kept[static_cast<std::size_t>(index - m_FirstKept)];
}

sto_ByteView sto_StoredBlocks::ReadKept(int index) {
  sto_ByteView const kept = Kept(index);
  if (kept.empty() || m_Session.Driver().ChangeCounter() != m_KeptState) return {};
  m_NextIndex = index + 1;
  return kept;
}

std::optional<sto_ByteView> sto_StoredBlocks::TryRead(int index) {
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  m_NextIndex = index + 1;
  if (!m_Session.Driver().ReadBlock(key, m_Block)) return std::nullopt;
  sto_ByteView content(m_Block);
  if (!sto_Unseal(static_cast<std::uint64_t>(key), content)) return std::nullopt;
  return content;
}

sto_ByteView sto_StoredBlocks::Read(int index) {
  std::optional<sto_ByteView> const content = TryRead(index);
  if (!content) RaiseDamaged(index);
  return *content;
}

bool sto_StoredBlocks::Has(int index) {
  return m_Session.Driver().HasBlock(sto_BlockKey(m_ListId, index));
}

bool sto_StoredBlocks::HasList(int count, std::size_t minBytes) {
  constexpr int UncheckedBlocks = 16; // making room for so few is harmless, even if most are missing
  int const blockCount = sto_ListLayout(count).BlockCount();
  if (blockCount == 0) return true;
  // A list cannot be larger than the whole store.
  if (static_cast<std::size_t>(count) * minBytes >
          static_cast<std::uint64_t>(m_Session.Driver().SizeBytes()) ||
      !Has(blockCount - 1))
    return false;
  if (blockCount <= UncheckedBlocks) return true;
  for (int block = 0; block < blockCount - 1; ++block)
    if (!Has(block)) return false;
  return true;
}

bool sto_StoredBlocks::Holds(int index, sto_ByteView content) {
  std::optional<sto_ByteView> const stored = TryRead(index);
  return stored && std::ranges::equal(*stored, content);
}

void sto_StoredBlocks::ReadInto(int index, std::span<std::byte> content) {
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  m_NextIndex = index + 1;
  std::array<std::byte, sto_Format::ChecksumBytes> end;
  if (!m_Session.Driver().ReadBlockInto(key, content, end) ||
      sto_ByteReader(end).Number<std::uint64_t>() != sto_Checksum(static_cast<std::uint64_t>(key), content))
    RaiseDamaged(index);
}

sto_ByteView sto_StoredBlocks::ReadAhead(int index, int blockCount) {
  if (index != m_NextIndex) return Read(index);
  m_NextIndex = index + 1;
  int const last = std::min(index + ReadAheadBlocks, blockCount) - 1;
  m_FirstKept = index;
  m_KeptCount = 0;
  m_KeptState = m_Session.ChangeCounter();
  if (m_Kept.empty()) m_Kept.resize(ReadAheadBlocks);
  Pass(index, last, this, [](void* untyped, int, sto_ByteView content) {
    auto& self = *static_cast<sto_StoredBlocks*>(untyped);
    self.m_Kept[static_cast<std::size_t>(self.m_KeptCount++)].assign(content.begin(), content.end());
  });
  if (m_KeptCount == 0) RaiseDamaged(index); // damage in later blocks is reported when they are read
  return Kept(index);
}

int sto_StoredBlocks::Pass(int first, int last, void* context, TakeBlock take) {
  std::int64_t const firstKey = sto_BlockKey(m_ListId, first);
  Unsealer sink(firstKey, first, context, take);
  m_Session.Driver().ReadBlocks(firstKey, sto_BlockKey(m_ListId, last), sink);
  return sink.Next();
}

void sto_StoredBlocks::Write(int index, sto_Bytes& content, bool isThere) {
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  sto_Seal(static_cast<std::uint64_t>(key), content);
  Forget();
  if (isThere)
    m_Session.Driver().OverwriteBlock(key, content);
  else
    m_Session.Driver().WriteBlock(key, content);
}

void sto_StoredBlocks::WriteNew(int first, std::span<sto_Bytes> contents) {
  std::int64_t const firstKey = sto_BlockKey(m_ListId, first);
  std::int64_t key = firstKey;
  for (sto_Bytes& content : contents) sto_Seal(static_cast<std::uint64_t>(key++), content);
  Forget();
  m_Session.Driver().WriteBlocks(firstKey, contents);
}

void sto_StoredBlocks::Delete(int first, int last) {
  Forget();
  m_Session.Driver().DeleteBlocks(sto_BlockKey(m_ListId, first), sto_BlockKey(m_ListId, last));
}

void sto_StoredBlocks::DeleteFrom(int first) {
  Forget();
  m_Session.Driver().DeleteBlocks(sto_BlockKey(m_ListId, first), sto_LastBlockKey(m_ListId));
}

void sto_StoredBlocks::DeleteOf(sto_Session& session, std::int64_t firstId, std::int64_t lastId) {
  session.Driver().DeleteBlocks(sto_BlockKey(firstId, 0), sto_LastBlockKey(lastId));
}

void sto_StoredBlocks::Forget() noexcept {
  m_KeptCount = 0;
}

void sto_StoredBlocks::RaiseDamaged(int index) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "Block " + std::to_string(index) + " of object " +
                                              std::to_string(m_ListId) + " is missing or damaged.");
}

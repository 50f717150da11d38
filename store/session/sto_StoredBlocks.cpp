#include "store/session/sto_StoredBlocks.h"

#include <algorithm>
#include <array>
#include <map>
#include <string>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_BlockLayout.h"
#include "store/session/sto_Session.h"

namespace {

/// Passes on the blocks that the storage delivers, until one is missing.
template <class TakeStored> class RunSink final : public sto_BlockSink {
 public:
  RunSink(std::int64_t firstKey, TakeStored take) noexcept : m_NextKey(firstKey), m_Take(take) {}

  bool Take(std::int64_t key, sto_ByteView data) override {
    if (key != m_NextKey || !m_Take(key, data)) return false;
    ++m_NextKey;
    return true;
  }
  /// The key after the last good block.
  [[nodiscard]] std::int64_t NextKey() const noexcept { return m_NextKey; }

 private:
  std::int64_t m_NextKey;
  TakeStored m_Take;
};

} // namespace

sto_StoredBlocks::sto_StoredBlocks(sto_Session& session, std::int64_t listId,
                                   std::size_t elementBytes) noexcept
    : m_Session(session), m_ListId(listId), m_ElementBytes(elementBytes),
      m_Compresses(session.Compresses(listId)) {}

std::optional<sto_ByteView> sto_StoredBlocks::Open(std::int64_t key, sto_ByteView stored) {
  sto_VerifiedBlocks& verified = m_Session.VerifiedBlocks();
  if (!verified.Has(key)) {
    if (!sto_BlockCodec::IsSound(key, stored)) return std::nullopt;
    verified.Add(key);
  }
  return m_Session.BlockCodec().Open(stored, m_Restored);
}

void sto_StoredBlocks::Seal(std::int64_t key, sto_Bytes& content) {
  m_Session.VerifiedBlocks().Forget(key);
  if (m_Compresses)
    m_Session.BlockCodec().SealCompressed(key, content, m_ElementBytes);
  else
    sto_BlockCodec::Seal(key, content);
}

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
  m_Session.RequireTransaction();
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  m_NextIndex = index + 1;
  CountRead();
  if (!m_Session.Driver().ReadBlock(key, m_Block)) return std::nullopt;
  return Open(key, m_Block);
}

sto_ByteView sto_StoredBlocks::Read(int index) {
  std::optional<sto_ByteView> const content = TryRead(index);
  if (!content) RaiseDamaged(index);
  return *content;
}

bool sto_StoredBlocks::Has(int index) {
  return m_Session.Driver().HasBlocks(sto_BlockKey(m_ListId, index), sto_BlockKey(m_ListId, index));
}

bool sto_StoredBlocks::HasList(int count, std::size_t minBytes) {
  constexpr int UncheckedBlocks = 16; // making room for so few is harmless, even if most are missing
  int const blockCount = sto_ListLayout(count).BlockCount();
  if (blockCount == 0) return true;
  // A list cannot be larger than the whole store, compressed as well as can be.
  std::size_t const storeBytes = static_cast<std::uint64_t>(m_Session.Driver().SizeBytes());
  if (static_cast<std::size_t>(count) * minBytes > sto_BlockCodec::MaxContentBytes(storeBytes) ||
      !Has(blockCount - 1))
    return false;
  return blockCount <= UncheckedBlocks ||
         m_Session.Driver().HasBlocks(sto_BlockKey(m_ListId, 0), sto_BlockKey(m_ListId, blockCount - 2));
}

bool sto_StoredBlocks::Holds(int index, sto_ByteView content) {
  std::optional<sto_ByteView> const stored = TryRead(index);
  return stored && std::ranges::equal(*stored, content);
}

bool sto_StoredBlocks::ReadPlain(std::int64_t key, std::span<std::byte> content) {
  std::array<std::byte, sto_BlockCodec::EndBytes> end;
  if (!m_Session.Driver().ReadBlockInto(key, content, end) || !sto_BlockCodec::IsPlain(end)) return false;
  sto_VerifiedBlocks& verified = m_Session.VerifiedBlocks();
  if (verified.Has(key)) return true;
  if (!sto_BlockCodec::IsSound(key, content, end)) return false;
  verified.Add(key);
  return true;
}

void sto_StoredBlocks::ReadInto(int index, std::span<std::byte> content) {
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  m_NextIndex = index + 1;
  CountRead();
  if (!m_WasCompressed && ReadPlain(key, content)) return;
  std::optional<sto_ByteView> const restored = TryRead(index);
  if (!restored || restored->size() != content.size()) RaiseDamaged(index);
  std::ranges::copy(*restored, content.begin());
  m_WasCompressed = restored->data() != m_Block.data();
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
  RunSink sink(firstKey, [&](std::int64_t key, sto_ByteView stored) {
    std::optional<sto_ByteView> const content = Open(key, stored);
    if (content) take(context, first + static_cast<int>(key - firstKey), *content);
    CountRead();
    return content.has_value();
  });
  sto_KeyRange const range{firstKey, sto_BlockKey(m_ListId, last)};
  m_Session.Driver().ReadBlocks({&range, 1}, sink);
  return first + static_cast<int>(sink.NextKey() - firstKey);
}

std::vector<sto_Bytes> sto_StoredBlocks::ReadMany(std::span<int const> indexes) {
  if (indexes.empty()) return {};
  std::vector<sto_KeyRange> ranges;
  for (int const index : indexes)
    ranges.push_back({sto_BlockKey(m_ListId, index), sto_BlockKey(m_ListId, index)});
  std::ranges::sort(ranges, {}, &sto_KeyRange::m_First);
  auto const repeated = std::unique(ranges.begin(), ranges.end(),
                                    [](auto const& a, auto const& b) { return a.m_First == b.m_First; });
  ranges.erase(repeated, ranges.end());
  struct Sink final : sto_BlockSink {
    bool Take(std::int64_t key, sto_ByteView data) override {
      if (std::optional<sto_ByteView> const content = m_Blocks.Open(key, data))
        m_Contents.emplace(key, sto_Bytes(content->begin(), content->end()));
      return true;
    }
    explicit Sink(sto_StoredBlocks& blocks) noexcept : m_Blocks(blocks) {}
    sto_StoredBlocks& m_Blocks;
    std::map<std::int64_t, sto_Bytes> m_Contents;
  } sink(*this);
  m_Session.Driver().ReadBlocks(ranges, sink);
  std::vector<sto_Bytes> contents;
  for (int const index : indexes) contents.push_back(sink.m_Contents[sto_BlockKey(m_ListId, index)]);
  return contents;
}

void sto_StoredBlocks::Write(int index, sto_Bytes& content, bool isThere) {
  std::int64_t const key = sto_BlockKey(m_ListId, index);
  CountWritten(1);
  Seal(key, content);
  Forget();
  if (isThere)
    m_Session.Driver().OverwriteBlock(key, content);
  else
    m_Session.Driver().WriteBlock(key, content);
}

void sto_StoredBlocks::WriteNew(int first, std::span<sto_Bytes> contents) {
  std::int64_t const firstKey = sto_BlockKey(m_ListId, first);
  std::int64_t key = firstKey;
  CountWritten(contents.size());
  for (sto_Bytes& content : contents) Seal(key++, content);
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

void sto_StoredBlocks::CountRead() const {
  if (sto_Meter* const meter = m_Session.Meter()) meter->Tick();
}

void sto_StoredBlocks::CountWritten(std::size_t blocks) const {
  sto_Meter* const meter = m_Session.Meter();
  if (meter == nullptr) return;
  bool const counts = meter->What() == sto_Meter::Counts::Writes;
  if (counts) meter->Found(static_cast<std::int64_t>(blocks));
  for (; blocks > 0; --blocks)
    if (counts)
      meter->Step();
    else
      meter->Tick();
}

void sto_StoredBlocks::Forget() noexcept {
  m_KeptCount = 0;
}

void sto_StoredBlocks::RaiseDamaged(int index) const {
  m_Session.Raise(sto_ErrorKind::Damaged, "Block " + std::to_string(index) + " of object " +
                                              std::to_string(m_ListId) + " is missing or damaged.");
}

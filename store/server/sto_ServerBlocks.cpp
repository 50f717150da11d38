#include "store/server/sto_ServerBlocks.h"

#include <algorithm>
#include <utility>

#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_Format.h"

namespace {

std::int64_t ListOf(std::int64_t key) noexcept {
  return key >> sto_Format::BlockIndexBits;
}

sto_ContentSum TermOf(std::int64_t key, sto_ByteView stored) noexcept {
  return sto_ContentSum::OfHash(sto_ContentKind::Block, static_cast<std::uint64_t>(key),
                                sto_BlockCodec::ContentHash(stored));
}

/// So many blocks are read at once.
constexpr std::size_t BlocksAtOnce = 256;

} // namespace

class sto_ServerBlocks::Sink final : public sto_RowSink {
 public:
  explicit Sink(std::function<bool(std::int64_t, sto_ByteView)> take) : m_Take(std::move(take)) {}
  bool Take(std::int64_t key, std::int64_t /*draft*/, sto_ByteView data) override {
    return m_Take(key, data);
  }

 private:
  std::function<bool(std::int64_t, sto_ByteView)> m_Take;
};

void sto_ServerBlocks::Begin(sto_ServerView const& view, std::function<bool(std::int64_t)> isNew) {
  Drop();
  m_View = &view;
  m_IsNew = std::move(isNew);
}

void sto_ServerBlocks::Drop() noexcept {
  m_Written.Clear();
  m_Deleted.clear();
  ReleaseMark();
}

void sto_ServerBlocks::SetMark() noexcept {
  m_Written.SetMark();
  m_DeletedSince.clear();
  m_HasMark = true;
}
void sto_ServerBlocks::ReleaseMark() noexcept {
  m_Written.ReleaseMark();
  m_DeletedSince.clear();
  m_HasMark = false;
}
void sto_ServerBlocks::GoBackToMark() noexcept {
  m_Written.GoBackToMark();
  for (; !m_DeletedSince.empty(); m_DeletedSince.pop_back()) {
    auto const found = m_Deleted.find(m_DeletedSince.back());
    found->second.pop_back();
    if (found->second.empty()) m_Deleted.erase(found);
  }
  m_HasMark = false;
}

bool sto_ServerBlocks::IsNew(std::int64_t key) const {
  return m_IsNew(ListOf(key));
}

bool sto_ServerBlocks::IsDeleted(std::int64_t key) const {
  auto const found = m_Deleted.find(ListOf(key));
  return found != m_Deleted.end() && std::ranges::any_of(found->second, [key](sto_KeyRange const& range) {
           return range.m_First <= key && key <= range.m_Last;
         });
}

bool sto_ServerBlocks::Read(std::int64_t key, sto_Bytes& data) {
  if (auto const* const written = m_Written.Find(key)) {
    if (*written) data = **written;
    return written->has_value();
  }
  if (IsNew(key) || IsDeleted(key)) return false;
  bool isThere = false;
  Sink sink([&](std::int64_t /*key*/, sto_ByteView row) {
    data.assign(row.begin(), row.end());
    isThere = true;
    return true;
  });
  m_Link.ReadRows(sto_RowTable::Block, {&key, 1}, *m_View, sink);
  return isThere;
}

bool sto_ServerBlocks::ReadRange(std::int64_t first, std::int64_t last, sto_BlockSink& sink) {
  auto next = m_Written.All().lower_bound(first);
  bool goesOn = true;
  auto const takeWritten = [&](std::int64_t upTo) {
    for (; goesOn && next != m_Written.All().end() && next->first <= upTo; ++next)
      if (next->second) goesOn = sink.Take(next->first, *next->second);
  };
  while (goesOn && first <= last) {
    std::int64_t passed = last;
    std::size_t count = 0;
    Sink rows([&](std::int64_t key, sto_ByteView row) {
      if (++count == BlocksAtOnce) passed = key;
      takeWritten(key - 1);
      if (goesOn && m_Written.Find(key) == nullptr && !IsDeleted(key)) goesOn = sink.Take(key, row);
      return goesOn;
    });
    if (!(IsNew(first) && IsNew(last)))
      m_Link.ScanRows(sto_RowTable::Block, first, last, BlocksAtOnce, *m_View, rows);
    takeWritten(passed);
    if (passed == last) break; // there may be no greater number
    first = passed + 1;
  }
  return goesOn;
}

bool sto_ServerBlocks::HasAll(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> stored;
  bool isAsked = false;
  for (std::int64_t key = first; key <= last; ++key) {
    if (auto const* const written = m_Written.Find(key)) {
      if (!*written) return false;
      continue;
    }
    if (IsNew(key) || IsDeleted(key)) return false;
    if (!std::exchange(isAsked, true)) stored = m_Link.ScanKeys(sto_RowTable::Block, first, last, *m_View);
    if (!std::ranges::binary_search(stored, key)) return false;
  }
  return true;
}

void sto_ServerBlocks::Write(std::int64_t key, sto_ByteView data) {
  m_Written.Put(key, sto_Bytes(data.begin(), data.end()));
}

void sto_ServerBlocks::Delete(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> written;
  for (auto at = m_Written.All().lower_bound(first); at != m_Written.All().end() && at->first <= last; ++at)
    written.push_back(at->first);
  for (std::int64_t const key : written) m_Written.Forget(key);
  if (IsNew(first)) return;
  if (m_HasMark) m_DeletedSince.reserve(m_DeletedSince.size() + 1);
  std::vector<sto_KeyRange>& ranges = m_Deleted[ListOf(first)];
  ranges.push_back({first, last});
  if (m_HasMark) m_DeletedSince.push_back(ListOf(first));
}

bool sto_ServerBlocks::HasChanged(std::int64_t list) const {
  auto const at = m_Written.All().lower_bound(list << sto_Format::BlockIndexBits);
  return m_Deleted.contains(list) || (at != m_Written.All().end() && ListOf(at->first) == list);
}

sto_ServerBlocks::Changes sto_ServerBlocks::FindChanges() {
  Changes changes;
  std::vector<std::int64_t> replaced; // what the server may have
  for (auto const& [key, row] : m_Written.All()) {
    if (row) changes.m_Added += TermOf(key, *row);
    if (!IsNew(key)) replaced.push_back(key);
  }
  for (auto const& [list, ranges] : m_Deleted)
    for (sto_KeyRange const& range : ranges)
      for (std::int64_t const key :
           m_Link.ScanKeys(sto_RowTable::Block, range.m_First, range.m_Last, *m_View)) {
        auto const* const written = m_Written.Find(key);
        if (written != nullptr && *written) continue; // replaced
        changes.m_Removed.push_back(key);
        replaced.push_back(key);
      }
  auto const tidy = [](std::vector<std::int64_t>& keys) {
    std::ranges::sort(keys);
    keys.erase(std::unique(keys.begin(), keys.end()), keys.end());
  };
  tidy(changes.m_Removed);
  tidy(replaced);
  Sink sink([&](std::int64_t key, sto_ByteView row) {
    changes.m_Taken += TermOf(key, row);
    return true;
  });
  for (std::size_t i = 0; i < replaced.size(); i += BlocksAtOnce)
    m_Link.ReadRows(sto_RowTable::Block,
                    std::span(replaced).subspan(i, std::min(BlocksAtOnce, replaced.size() - i)), *m_View,
                    sink);
  for (auto const& [key, row] : m_Written.All())
    if (row && !IsNew(key)) changes.m_Lists.push_back(ListOf(key));
  for (std::int64_t const key : changes.m_Removed) changes.m_Lists.push_back(ListOf(key));
  tidy(changes.m_Lists);
  return changes;
}

void sto_ServerBlocks::ForEachRow(Changes const& changes,
                                  std::function<void(sto_NumberedChange const&)> const& send) const {
  for (std::int64_t const key : changes.m_Removed) send({sto_RowTable::Block, key, std::nullopt});
  for (auto const& [key, row] : m_Written.All())
    if (row) send({sto_RowTable::Block, key, *row});
}

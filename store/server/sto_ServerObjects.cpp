#include "store/server/sto_ServerObjects.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <set>
#include <string>

#include "store/base/sto_Exception.h"
#include "store/format/sto_Checksum.h"

namespace {

/// So many packs are read at once by whoever goes over all objects.
constexpr std::size_t PacksAtOnce = 256;

constexpr std::uint32_t BitOf(std::size_t slot) noexcept {
  return std::uint32_t{1} << slot;
}
std::uint64_t HashOf(std::int64_t id, sto_ByteView values) noexcept {
  return sto_Checksum(static_cast<std::uint64_t>(id), values);
}
sto_ContentSum TermOfRecord(std::int64_t id, std::int64_t shape, sto_ByteView values) noexcept {
  return sto_ContentSum::OfHash(sto_ContentKind::Record, static_cast<std::uint64_t>(shape),
                                HashOf(id, values));
}
bool AreEqual(sto_ByteView a, sto_ByteView b) noexcept {
  return a.size() == b.size() && (a.empty() || std::memcmp(a.data(), b.data(), a.size()) == 0);
}
std::int64_t IdOf(std::int64_t key, std::size_t slot) noexcept {
  return key * sto_Format::IdsInPack + static_cast<std::int64_t>(slot);
}

/// The record in a pending row with one of its own.
void TakePending(sto_Bytes const& pending, sto_StoredRecord& record) {
  sto_ByteReader reader(pending);
  record.m_Shape = static_cast<std::int64_t>(reader.Varint());
  sto_ByteView const values = reader.Raw(reader.Remaining());
  record.m_Bytes.assign(values.begin(), values.end());
  record.m_IsSound = true;
}

} // namespace

class sto_ServerObjects::Sink final : public sto_RowSink {
 public:
  explicit Sink(std::function<void(std::int64_t, sto_ByteView)> take) : m_Take(std::move(take)) {}
  bool Take(std::int64_t key, std::int64_t /*draft*/, sto_ByteView data) override {
    m_Take(key, data);
    return true;
  }

 private:
  std::function<void(std::int64_t, sto_ByteView)> m_Take;
};

void sto_ServerObjects::Begin(sto_ServerView const& view) noexcept {
  Drop();
  m_View = &view;
}

void sto_ServerObjects::Drop() noexcept {
  m_Packs.clear();
  m_RoomFor = MaxPacks;
  m_Own.Clear();
  m_NewIds.clear();
  m_LatestKey = -1;
  ReleaseMark();
}

bool sto_ServerObjects::IsNew(std::int64_t id) const noexcept {
  return std::ranges::any_of(
      m_NewIds, [id](sto_IdRange const& range) { return range.m_First <= id && id < range.m_End; });
}

bool sto_ServerObjects::IsWhollyNew(std::int64_t key) const noexcept {
  std::int64_t const first = key * sto_Format::IdsInPack;
  return std::ranges::any_of(m_NewIds, [first](sto_IdRange const& range) {
    return range.m_First <= first && first + sto_Format::IdsInPack <= range.m_End;
  });
}

void sto_ServerObjects::SetMark() noexcept {
  m_Changes.clear();
  m_Own.SetMark();
  m_HasMark = true;
}
void sto_ServerObjects::ReleaseMark() noexcept {
  m_Changes.clear();
  m_Own.ReleaseMark();
  m_HasMark = false;
}
void sto_ServerObjects::GoBackToMark() noexcept {
  for (; !m_Changes.empty(); m_Changes.pop_back()) {
    Noted const& change = m_Changes.back();
    change.m_Pack->m_Now[change.m_Slot] = change.m_Entry;
    change.m_Pack->m_Own = change.m_Own;
  }
  m_Own.GoBackToMark();
  m_HasMark = false;
}

void sto_ServerObjects::MakeRoom() {
  if (m_Packs.size() < m_RoomFor) return;
  std::erase_if(m_Packs, [](auto const& pack) { return !pack.second->m_IsChanged; });
  m_RoomFor = std::max(
      MaxPacks, 2 * m_Packs.size()); // a large save does not look at all its packs again for each new one
  m_LatestKey = -1;
}

sto_ServerObjects::Pack& sto_ServerObjects::Find(std::int64_t key) {
  if (key == m_LatestKey) return *m_Latest;
  auto found = m_Packs.find(key);
  if (found == m_Packs.end()) {
    MakeRoom();
    if (IsWhollyNew(key))
      found = m_Packs.emplace(key, std::make_unique<Pack>()).first;
    else {
      Load({&key, 1});
      found = m_Packs.find(key);
    }
  }
  m_LatestKey = key;
  m_Latest = found->second.get();
  return *m_Latest;
}

void sto_ServerObjects::Load(std::span<std::int64_t const> keys) {
  Sink sink([this](std::int64_t key, sto_ByteView row) {
    auto pack = std::make_unique<Pack>();
    Take(*pack, key, row);
    m_Packs[key] = std::move(pack);
  });
  m_Link.ReadRows(sto_RowTable::Pack, keys, *m_View, sink);
  for (std::int64_t const key : keys)
    if (std::unique_ptr<Pack>& pack = m_Packs[key]; pack == nullptr) pack = std::make_unique<Pack>();
}

void sto_ServerObjects::Take(Pack& pack, std::int64_t key, sto_ByteView row) const {
  sto_ByteReader reader(row);
  sto_ByteView const own = reader.Raw(sizeof pack.m_Own);
  pack.m_Own = pack.m_OwnBase = sto_ByteReader(own).Number<std::uint32_t>();
  if (reader.Number<std::uint32_t>() != sto_PackedChecksum(key, own) || reader.Failed()) RaiseDamaged(key);
  if (reader.Remaining() == 0) return;
  sto_DecodedPack decoded;
  if (!sto_DecodePack(key, reader.Raw(reader.Remaining()), decoded)) RaiseDamaged(key);
  pack.m_Base = pack.m_Now = decoded.m_Entries;
  pack.m_Content.assign(decoded.m_Records.begin(), decoded.m_Records.end());
}

void sto_ServerObjects::RaiseDamaged(std::int64_t key) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Link.Name() + ": Pack " + std::to_string(key) + ", with objects " +
                                        std::to_string(IdOf(key, 0)) + " to " +
                                        std::to_string(IdOf(key, sto_Format::IdsInPack - 1)) +
                                        ", is damaged.");
}

void sto_ServerObjects::Fetch(std::span<std::int64_t const> ids) {
  std::vector<std::int64_t> keys;
  MakeRoom();
  for (std::int64_t const id : ids) {
    std::int64_t const key = sto_PackOf(id);
    if (id > 0 && (keys.empty() || keys.back() != key) && !IsWhollyNew(key) && !m_Packs.contains(key))
      keys.push_back(key);
  }
  if (!keys.empty()) Load(keys);
}

sto_ByteView sto_ServerObjects::ValuesOf(Pack const& pack, sto_PackEntry const& entry) noexcept {
  return sto_ByteView(pack.m_Content)
      .subspan(entry.m_Offset,
               entry.m_SizeBytes - std::min<std::size_t>(entry.m_SizeBytes, sto_Format::PackedChecksumBytes));
}

bool sto_ServerObjects::Read(std::int64_t id, sto_StoredRecord& record) {
  if (id <= 0) return false; // an id from a damaged store may be anything
  Pack& pack = Find(sto_PackOf(id));
  std::size_t const slot = sto_SlotOf(id);
  sto_PackEntry const& entry = pack.m_Now[slot];
  if (entry.m_SizeBytes == 0) return (pack.m_Own & BitOf(slot)) != 0 && ReadOwn(id, record);
  sto_ByteView const values = ValuesOf(pack, entry);
  sto_ByteView const stored = sto_ByteView(pack.m_Content).subspan(entry.m_Offset, entry.m_SizeBytes);
  record.m_Shape = entry.m_Shape;
  record.m_Bytes.assign(values.begin(), values.end());
  record.m_IsSound =
      sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() == sto_PackedChecksum(id, values);
  return true;
}

bool sto_ServerObjects::ReadOwn(std::int64_t id, sto_StoredRecord& record) {
  if (auto const* const pending = m_Own.Find(id)) {
    if (!*pending) return false;
    TakePending(**pending, record);
    return true;
  }
  return ReadServerRow(m_Link, *m_View, id, record);
}

bool sto_ServerObjects::ReadServerRow(sto_ServerLink& link, sto_ServerView const& view, std::int64_t id,
                                      sto_StoredRecord& record) {
  bool isThere = false;
  Sink sink([&](std::int64_t /*key*/, sto_ByteView row) {
    isThere = true;
    record.m_IsSound = sto_Unseal(static_cast<std::uint64_t>(id), row);
    sto_ByteReader reader(row);
    reader.Varint(); // the draft that has written it
    record.m_Shape = static_cast<std::int64_t>(reader.Varint() & std::numeric_limits<std::int64_t>::max());
    record.m_IsSound = record.m_IsSound && !reader.Failed();
    sto_ByteView const values = reader.Raw(reader.Remaining());
    record.m_Bytes.assign(values.begin(), values.end());
  });
  link.ReadRows(sto_RowTable::Record, {&id, 1}, view, sink);
  return isThere;
}

bool sto_ServerObjects::Has(std::int64_t id) {
  if (id <= 0) return false;
  Pack const& pack = Find(sto_PackOf(id));
  return pack.m_Now[sto_SlotOf(id)].m_SizeBytes != 0 || (pack.m_Own & BitOf(sto_SlotOf(id))) != 0;
}

void sto_ServerObjects::Note(Pack& pack, std::size_t slot) {
  if (m_HasMark) m_Changes.push_back({&pack, slot, pack.m_Now[slot], pack.m_Own});
}

void sto_ServerObjects::Replace(Pack& pack, std::size_t slot, sto_PackEntry const& entry, bool isOwn) {
  Note(pack, slot); // first: it may fail
  pack.m_Now[slot] = entry;
  pack.m_Own = isOwn ? pack.m_Own | BitOf(slot) : pack.m_Own & ~BitOf(slot);
  pack.m_IsChanged = true;
}

bool sto_ServerObjects::WriteOwn(Pack& pack, std::int64_t id, std::int64_t shape, sto_ByteView values) {
  if ((pack.m_Own & BitOf(sto_SlotOf(id))) != 0) {
    sto_StoredRecord stored;
    bool const isSame = ReadOwn(id, stored) && stored.m_IsSound && stored.m_Shape == shape &&
                        AreEqual(stored.m_Bytes, values);
    if (isSame) return false;
  }
  sto_Bytes row;
  row.reserve(values.size() + 10);
  sto_ByteWriter writer(row);
  writer.Varint(static_cast<std::uint64_t>(shape));
  writer.Raw(values.data(), values.size());
  m_Own.Put(id, std::move(row));
  Replace(pack, sto_SlotOf(id), {}, true);
  return true;
}

bool sto_ServerObjects::Write(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  Pack& pack = Find(sto_PackOf(id));
  std::size_t const slot = sto_SlotOf(id);
  std::size_t const size = values.size() + sto_Format::PackedChecksumBytes;
  if (size > sto_Format::MaxPackedBytes || shape > std::numeric_limits<std::uint32_t>::max())
    return WriteOwn(pack, id, shape, values);
  sto_PackEntry const& entry = pack.m_Now[slot];
  auto const checksum = static_cast<std::uint32_t>(HashOf(id, values));
  if (entry.m_SizeBytes == size && entry.m_Shape == shape) {
    sto_ByteView const stored = sto_ByteView(pack.m_Content).subspan(entry.m_Offset, size);
    if (AreEqual(stored.first(values.size()), values) &&
        sto_ByteReader(stored.subspan(values.size())).Number<std::uint32_t>() == checksum)
      return false;
  }
  if ((pack.m_Own & BitOf(slot)) != 0) m_Own.Put(id, std::nullopt);
  auto const offset = static_cast<std::uint32_t>(pack.m_Content.size());
  // First what may fail; bytes behind the last record do no harm.
  pack.m_Content.insert(pack.m_Content.end(), values.begin(), values.end());
  sto_ByteWriter(pack.m_Content).Number(checksum);
  Replace(pack, slot, {offset, static_cast<std::uint32_t>(size), static_cast<std::uint32_t>(shape)}, false);
  return true;
}

void sto_ServerObjects::Delete(std::int64_t id) {
  Pack& pack = Find(sto_PackOf(id));
  if ((pack.m_Own & BitOf(sto_SlotOf(id))) != 0) m_Own.Put(id, std::nullopt);
  Replace(pack, sto_SlotOf(id), {}, false);
}

// --- all objects

std::int64_t sto_ServerObjects::From(std::int64_t first, std::vector<sto_ObjectShape>& objects) {
  constexpr std::int64_t LastKey = sto_PackOf(sto_Format::MaxObjectId);
  std::int64_t const firstKey = sto_PackOf(std::max<std::int64_t>(first, 0));
  MakeRoom();
  std::set<std::int64_t> keys;
  std::int64_t last = 0;
  Sink sink([&](std::int64_t key, sto_ByteView row) {
    if (key > LastKey) RaiseDamaged(key);
    last = key;
    keys.insert(key);
    if (std::unique_ptr<Pack>& pack = m_Packs[key]; pack == nullptr) {
      pack = std::make_unique<Pack>();
      Take(*pack, key, row);
    }
  });
  m_Link.ScanRows(sto_RowTable::Pack, firstKey, LastKey, PacksAtOnce, *m_View, sink);
  std::int64_t const end = keys.size() < PacksAtOnce ? LastKey + 1 : last + 1;
  for (auto const& [key, pack] : m_Packs)
    if (pack->m_IsChanged && key >= firstKey && key < end) keys.insert(key);
  sto_StoredRecord record;
  for (std::int64_t const key : keys) {
    Pack const& pack = *m_Packs.find(key)->second;
    for (std::size_t slot = 0; slot < pack.m_Now.size(); ++slot) {
      std::int64_t const id = IdOf(key, slot);
      if (id < first) continue;
      if (pack.m_Now[slot].m_SizeBytes != 0)
        objects.push_back({id, pack.m_Now[slot].m_Shape});
      else if ((pack.m_Own & BitOf(slot)) != 0 && ReadOwn(id, record))
        objects.push_back({id, record.m_Shape});
    }
  }
  return end > LastKey ? 0 : end * sto_Format::IdsInPack;
}

std::vector<std::int64_t> sto_ServerObjects::Ids(std::int64_t first, std::int64_t last) {
  std::vector<std::int64_t> ids;
  std::vector<sto_ObjectShape> objects;
  for (std::int64_t next = std::max<std::int64_t>(first, 1); next != 0 && next <= last;) {
    objects.clear();
    next = From(next, objects);
    for (sto_ObjectShape const& object : objects)
      if (object.m_Id <= last) ids.push_back(object.m_Id);
  }
  return ids;
}

std::int64_t sto_ServerObjects::Count() {
  std::int64_t count = 0;
  auto const countIn = [](Pack const& pack) {
    return std::popcount(pack.m_Own) + std::ranges::count_if(pack.m_Now, [](sto_PackEntry const& entry) {
             return entry.m_SizeBytes != 0;
           });
  };
  Sink sink([&](std::int64_t key, sto_ByteView row) {
    if (auto const changed = m_Packs.find(key); changed != m_Packs.end() && changed->second->m_IsChanged)
      return; // below
    sto_ByteReader reader(row);
    count += std::popcount(reader.Number<std::uint32_t>());
    reader.Number<std::uint32_t>();
    count += std::popcount(sto_PresentIn(reader.Raw(reader.Remaining())));
  });
  m_Link.ScanRows(sto_RowTable::Pack, 0, sto_PackOf(sto_Format::MaxObjectId),
                  std::numeric_limits<std::size_t>::max(), *m_View, sink);
  for (auto const& [key, pack] : m_Packs)
    if (pack->m_IsChanged) count += countIn(*pack);
  return count;
}

// --- the commit

bool sto_ServerObjects::Differs(Pack const& pack, std::int64_t key, std::size_t slot) const {
  bool const isOwn = (pack.m_Own & BitOf(slot)) != 0, wasOwn = (pack.m_OwnBase & BitOf(slot)) != 0;
  if (isOwn != wasOwn) return true;
  if (isOwn) return m_Own.Find(IdOf(key, slot)) != nullptr;
  sto_PackEntry const &now = pack.m_Now[slot], &base = pack.m_Base[slot];
  if (now == base) return false;
  sto_ByteView const content = pack.m_Content;
  return now.m_Shape != base.m_Shape || !AreEqual(content.subspan(now.m_Offset, now.m_SizeBytes),
                                                  content.subspan(base.m_Offset, base.m_SizeBytes));
}

bool sto_ServerObjects::HasChanged(std::int64_t id) {
  if (IsNew(id)) return true;
  auto const found = m_Packs.find(sto_PackOf(id));
  return found != m_Packs.end() && found->second->m_IsChanged &&
         Differs(*found->second, sto_PackOf(id), sto_SlotOf(id));
}

sto_ContentSum sto_ServerObjects::TermOf(Pack const& pack, std::int64_t key, std::size_t slot, bool isBase) {
  std::int64_t const id = IdOf(key, slot);
  sto_PackEntry const& entry = isBase ? pack.m_Base[slot] : pack.m_Now[slot];
  if (entry.m_SizeBytes != 0) return TermOfRecord(id, entry.m_Shape, ValuesOf(pack, entry));
  if (((isBase ? pack.m_OwnBase : pack.m_Own) & BitOf(slot)) == 0) return {};
  sto_StoredRecord record;
  bool const isThere = isBase ? ReadServerRow(m_Link, *m_View, id, record) : ReadOwn(id, record);
  return isThere ? TermOfRecord(id, record.m_Shape, record.m_Bytes) : sto_ContentSum();
}

sto_ServerObjects::Changes sto_ServerObjects::FindChanges() {
  Changes changes;
  for (auto const& [key, pack] : m_Packs) {
    if (!pack->m_IsChanged) continue;
    bool isChanged = false;
    for (std::size_t slot = 0; slot < pack->m_Now.size(); ++slot) {
      if (!Differs(*pack, key, slot)) continue;
      isChanged = true;
      changes.m_Removed += TermOf(*pack, key, slot, true);
      changes.m_Added += TermOf(*pack, key, slot, false);
      if (!IsNew(IdOf(key, slot))) changes.m_Objects.push_back(IdOf(key, slot));
    }
    if (isChanged) changes.m_Packs.push_back(key);
  }
  std::ranges::sort(changes.m_Packs);
  std::ranges::sort(changes.m_Objects);
  return changes;
}

void sto_ServerObjects::ForEachRow(std::vector<std::int64_t> const& packs, std::int64_t draft,
                                   std::function<void(sto_NumberedChange const&)> const& send) {
  sto_Bytes row, encoded;
  for (std::int64_t const key : packs) {
    Pack const& pack = *m_Packs.at(key);
    bool const hasPacked =
        std::ranges::any_of(pack.m_Now, [](sto_PackEntry const& entry) { return entry.m_SizeBytes != 0; });
    if (!hasPacked && pack.m_Own == 0) {
      send({sto_RowTable::Pack, key, std::nullopt});
      continue;
    }
    row.clear();
    sto_ByteWriter writer(row);
    writer.Number(pack.m_Own);
    writer.Number(sto_PackedChecksum(key, row));
    if (hasPacked) {
      sto_EncodePack(key, draft, pack.m_Now, pack.m_Content, encoded);
      row.insert(row.end(), encoded.begin(), encoded.end());
    }
    send({sto_RowTable::Pack, key, row});
  }
  for (auto const& [id, pending] : m_Own.All()) {
    if (!pending) {
      if (!IsNew(id)) send({sto_RowTable::Record, id, std::nullopt});
      continue;
    }
    row.clear();
    sto_ByteWriter writer(row);
    writer.Varint(static_cast<std::uint64_t>(draft));
    writer.Raw(pending->data(), pending->size());
    sto_Seal(static_cast<std::uint64_t>(id), row);
    send({sto_RowTable::Record, id, row});
  }
}

std::vector<std::int64_t> sto_ServerObjects::Merge(std::span<std::int64_t const> packs,
                                                   sto_ServerView const& newest) {
  std::vector<std::int64_t> both, own;
  std::vector<bool> isRead(packs.size());
  auto const merge = [&](std::int64_t key, Pack const& theirs) {
    Pack& ours = *m_Packs.at(key);
    for (std::size_t slot = 0; slot < ours.m_Now.size(); ++slot) {
      std::int64_t const id = IdOf(key, slot);
      sto_PackEntry const &base = ours.m_Base[slot], &their = theirs.m_Now[slot];
      bool const isOwn = (theirs.m_Own & BitOf(slot)) != 0;
      sto_ByteView const theirBytes =
          sto_ByteView(theirs.m_Content).subspan(their.m_Offset, their.m_SizeBytes);
      bool const wasOwn = (ours.m_OwnBase & BitOf(slot)) != 0;
      if (isOwn && wasOwn) { // its row, which the pack does not have, may have changed
        if (Differs(ours, key, slot)) own.push_back(id);
        continue;
      }
      bool const isTheirs =
          isOwn || wasOwn || base.m_Shape != their.m_Shape ||
          !AreEqual(sto_ByteView(ours.m_Content).subspan(base.m_Offset, base.m_SizeBytes), theirBytes);
      if (!isTheirs) continue;
      if (Differs(ours, key, slot)) {
        both.push_back(id);
        continue;
      }
      sto_PackEntry taken = their;
      taken.m_Offset = static_cast<std::uint32_t>(ours.m_Content.size());
      if (taken.m_SizeBytes == 0) taken = {};
      ours.m_Content.insert(ours.m_Content.end(), theirBytes.begin(), theirBytes.end());
      ours.m_Now[slot] = ours.m_Base[slot] = taken;
      ours.m_Own = isOwn ? ours.m_Own | BitOf(slot) : ours.m_Own & ~BitOf(slot);
      ours.m_OwnBase = isOwn ? ours.m_OwnBase | BitOf(slot) : ours.m_OwnBase & ~BitOf(slot);
    }
  };
  Sink sink([&](std::int64_t key, sto_ByteView row) {
    Pack theirs;
    Take(theirs, key, row);
    merge(key, theirs);
    isRead[static_cast<std::size_t>(std::ranges::find(packs, key) - packs.begin())] = true;
  });
  m_Link.ReadRows(sto_RowTable::Pack, packs, newest, sink);
  for (std::size_t i = 0; i < packs.size(); ++i)
    if (!isRead[i]) merge(packs[i], Pack());
  for (std::int64_t const id : ChangedOwn(own, newest)) both.push_back(id);
  std::ranges::sort(both);
  return both;
}

std::vector<std::int64_t> sto_ServerObjects::ChangedOwn(std::span<std::int64_t const> ids,
                                                        sto_ServerView const& newest) {
  class Drafts final : public sto_RowSink {
   public:
    bool Take(std::int64_t key, std::int64_t draft, sto_ByteView /*data*/) override {
      m_Of[key] = draft;
      return true;
    }
    std::unordered_map<std::int64_t, std::int64_t> m_Of;
  } before, now;
  std::vector<std::int64_t> sorted(ids.begin(), ids.end()), changed;
  std::ranges::sort(sorted);
  if (sorted.empty()) return changed;
  m_Link.ReadRows(sto_RowTable::Record, sorted, *m_View, before);
  m_Link.ReadRows(sto_RowTable::Record, sorted, newest, now);
  for (std::int64_t const id : sorted)
    if (before.m_Of[id] != now.m_Of[id]) changed.push_back(id);
  return changed;
}

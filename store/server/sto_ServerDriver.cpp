#include "store/server/sto_ServerDriver.h"

#include <algorithm>
#include <chrono>
#include <cstring>
#include <iterator>
#include <utility>

#include "store/copy/sto_CopyStore.h"
#include "store/server/sto_ServerWalk.h"

namespace {

std::int64_t Now() {
  using namespace std::chrono;
  return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

/// Rows are sent in portions of about so many bytes.
constexpr std::size_t SentAtOnce = std::size_t{4} << 20;

std::string TextOfUuid(std::array<std::byte, 16> const& uuid) {
  constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  for (std::size_t i = 0; i < uuid.size(); ++i) {
    if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
    text += Digits[std::to_integer<unsigned>(uuid[i]) >> 4];
    text += Digits[std::to_integer<unsigned>(uuid[i]) & 15];
  }
  return text;
}

} // namespace

bool sto_ServerDriver::Changes::AreNone() const noexcept {
  return m_Objects.m_Packs.empty() && m_Blocks.m_Removed.empty() && m_Named.m_Names.empty() &&
         m_Blocks.m_Added == sto_ContentSum() && m_Blocks.m_Lists.empty();
}

sto_ServerDriver::sto_ServerDriver(std::unique_ptr<sto_ServerLink> link, bool readOnly,
                                   sto_Options const& options)
    : m_Link(std::move(link)), m_IsReadOnly(readOnly || options.m_AtSave != 0), m_AtSave(options.m_AtSave),
      m_Program(options.m_Program), m_Rows(m_Link->Uuid()), m_Objects(*m_Link), m_Blocks(*m_Link),
      m_Named(*m_Link, m_Rows), m_Ids(*m_Link) {}

sto_ServerDriver::~sto_ServerDriver() {
  Rollback();
}

// --- transactions

sto_Begun sto_ServerDriver::Begin(sto_BeginRequest const& request) {
  if (m_Doubt) static_cast<void>(ResolveDoubt());
  std::optional<std::string> named;
  if (request.m_Root) named = sto_NameOfRoot(*request.m_Root);
  m_State = m_Link->ReadState(named ? std::optional<std::string_view>(*named) : std::nullopt);
  if (m_AtSave != 0 && m_AtSave != m_State.m_View.m_Save)
    sto_Raise(sto_ErrorKind::NotFound, m_Link->Name() + ": The state of save " + std::to_string(m_AtSave) +
                                           " is not there: the store has that of save " +
                                           std::to_string(m_State.m_View.m_Save) + ".");
  m_Objects.Begin(m_State.m_View);
  m_Blocks.Begin(m_State.m_View, [this](std::int64_t id) { return m_Objects.IsNew(id); });
  m_Named.Begin(m_State.m_View);
  if (named) m_Named.SetRead(*named, m_State.m_Named);
  m_Ids.Begin();
  m_Note.clear();
  m_HasIndexes = m_State.m_HasIndexes;
  m_NeedsAll = m_HasUsedIds = false;
  m_Refused = nullptr;
  if (m_State.m_View.m_Save != m_KnownSave) ++m_Counter;
  m_KnownSave = m_NewestSave = m_State.m_View.m_Save;
  m_IsOpen = true;
  m_IsWriting = request.m_ForWriting;
  try {
    return {m_Counter, m_State.m_EndOfIds, request.m_Root ? FindRoot(*request.m_Root) : std::nullopt,
            m_HasIndexes};
  } catch (...) {
    EndTransaction();
    throw;
  }
}

void sto_ServerDriver::BeginWalk() {
  static_cast<void>(Begin({}));
}

void sto_ServerDriver::EndTransaction() noexcept {
  m_IsOpen = m_IsWriting = false;
  m_Objects.Drop();
  m_Blocks.Drop();
  m_Named.Drop();
}

void sto_ServerDriver::Rollback() noexcept {
  EndTransaction();
}

void sto_ServerDriver::RequireOpen() const {
  if (!m_IsOpen)
    sto_Raise(sto_ErrorKind::Unavailable, m_Link->Name() + ": The transaction is over; roll it back.");
}

void sto_ServerDriver::SetMark() {
  RequireOpen();
  m_Objects.SetMark();
  m_Blocks.SetMark();
  m_Named.SetMark();
}
void sto_ServerDriver::ReleaseMark() {
  m_Objects.ReleaseMark();
  m_Blocks.ReleaseMark();
  m_Named.ReleaseMark();
}
void sto_ServerDriver::RollbackToMark() {
  m_Objects.GoBackToMark();
  m_Blocks.GoBackToMark();
  m_Named.GoBackToMark();
}

// --- the commit

sto_ServerDriver::Changes sto_ServerDriver::FindChanges() {
  return {m_Objects.FindChanges(), m_Blocks.FindChanges(), m_Named.FindChanges()};
}

void sto_ServerDriver::Commit() {
  RequireOpen();
  if (m_Refused) std::rethrow_exception(m_Refused);
  if (m_Doubt && ResolveDoubt()) return EndTransaction();
  if (m_IsWriting) CommitChanges();
  EndTransaction();
}

sto_ServerSave sto_ServerDriver::SaveOf(Changes const& changes) const {
  sto_ServerSave save;
  save.m_BaseSave = m_State.m_View.m_Save;
  save.m_NeedsAll = m_NeedsAll;
  sto_ServerSave::Seen seen{m_State.m_View, {}};
  for (std::int64_t const pack : changes.m_Objects.m_Packs)
    seen.m_Units.push_back({sto_ConflictUnit::Kind::Pack, pack});
  for (std::int64_t const list : changes.m_Blocks.m_Lists)
    seen.m_Units.push_back({sto_ConflictUnit::Kind::List, list});
  for (std::string const& name : changes.m_Named.m_Names) seen.m_Units.push_back(sto_UnitOfName(name));
  save.m_Seen.push_back(std::move(seen));
  for (sto_ContentSum const& sum :
       {changes.m_Objects.m_Added, changes.m_Blocks.m_Added, changes.m_Named.m_Added})
    save.m_Added += sum;
  for (sto_ContentSum const& sum :
       {changes.m_Objects.m_Removed, changes.m_Blocks.m_Taken, changes.m_Named.m_Removed})
    save.m_Removed += sum;
  save.m_HasIndexes = m_HasIndexes;
  save.m_Entry.m_Milliseconds = Now();
  save.m_Entry.m_Program = m_Program;
  save.m_Entry.m_Note = m_Note;
  save.m_Entry.m_NextObjectId = m_HasUsedIds ? m_Ids.UsedEnd() : m_State.m_EndOfIds;
  save.m_Entry.m_Objects = changes.m_Objects.m_Objects;
  save.m_Entry.m_Lists = changes.m_Blocks.m_Lists;
  constexpr char Root = static_cast<char>(sto_NamedKind::Root);
  for (std::string const& name : changes.m_Named.m_Names)
    if (name.front() == Root) save.m_Entry.m_Roots.push_back(name.substr(1));
  return save;
}

void sto_ServerDriver::Send(Changes const& changes, sto_ServerDraft const& draft) {
  std::vector<sto_NumberedChange> rows;
  std::vector<sto_Bytes> bytes;
  std::size_t size = 0;
  auto const flush = [&] {
    if (!rows.empty()) m_Link->Send(draft, rows);
    rows.clear();
    bytes.clear();
    size = 0;
  };
  auto const send = [&](sto_NumberedChange const& row) {
    rows.push_back(row);
    if (row.m_Data) {
      bytes.emplace_back(row.m_Data->begin(), row.m_Data->end());
      rows.back().m_Data = bytes.back();
      size += bytes.back().size();
    }
    if (size >= SentAtOnce || rows.size() >= 4096) flush();
  };
  m_Objects.ForEachRow(changes.m_Objects.m_Packs, draft.m_Number, send);
  m_Blocks.ForEachRow(changes.m_Blocks, send);
  flush();
  std::vector<sto_NamedChange> named;
  m_Named.ForEachRow(changes.m_Named, [&](sto_NamedChange const& row) { named.push_back(row); });
  if (!named.empty()) m_Link->SendNamed(draft, named);
}

void sto_ServerDriver::CommitChanges() {
  Changes changes = FindChanges();
  if (changes.AreNone() && !m_HasUsedIds) return;
  sto_ServerSave save = SaveOf(changes);
  save.m_Draft = m_Link->OpenDraft();
  sto_ServerOutcome outcome;
  while (outcome.m_Save == 0) {
    try {
      Send(changes, save.m_Draft);
      outcome = m_Link->Commit(save);
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::Unavailable) {
        static_cast<void>(m_Link->GiveUp(save.m_Draft));
        throw;
      }
      m_Doubt = save.m_Draft;
      if (!ResolveDoubt()) throw;
      return;
    }
    if (outcome.m_Save != 0) break;
    try {
      Merge(save, changes, outcome.m_Conflicts);
    } catch (...) {
      m_Doubt = save.m_Draft;
      try {
        static_cast<void>(ResolveDoubt());
      } catch (sto_Exception const&) { // the next transaction gives it up
      }
      throw;
    }
    changes.m_Objects.m_Packs = m_Objects.FindChanges().m_Packs;
    // Of two rows under one key the one of the greater draft counts: it must be greater than those that were merged.
    static_cast<void>(m_Link->GiveUp(save.m_Draft));
    save.m_Draft = m_Link->OpenDraft();
  }
  Finish(outcome.m_Save);
}

void sto_ServerDriver::Finish(std::int64_t save) {
  m_Ids.Keep();
  m_NewestSave = save;
  if (save == m_KnownSave + 1) m_KnownSave = save; // otherwise others have saved, too
}

bool sto_ServerDriver::ResolveDoubt() {
  std::int64_t const save = m_Link->GiveUp(*m_Doubt);
  m_Doubt.reset();
  if (save != 0) Finish(save);
  return save != 0;
}

void sto_ServerDriver::Merge(sto_ServerSave& save, Changes& changes,
                             std::vector<sto_ConflictUnit> const& conflicts) {
  constexpr char Catalogue[] = "the description of a class, or an index";
  sto_Conflicts named;
  std::vector<std::int64_t> packs;
  std::vector<std::string> names;
  for (sto_ConflictUnit const& unit : conflicts) {
    switch (unit.m_Kind) {
    case sto_ConflictUnit::Kind::Pack:
      packs.push_back(unit.m_Number);
      break;
    case sto_ConflictUnit::Kind::List:
      named.m_Objects.push_back(unit.m_Number);
      break;
    case sto_ConflictUnit::Kind::Name:
      for (std::string const& name : changes.m_Named.m_Names)
        if (sto_UnitOfName(name) == unit) names.push_back(name);
      break;
    case sto_ConflictUnit::Kind::All:
      RaiseConflict({}, "something, and one of the two sessions has looked at or changed everything");
    }
  }
  for (std::string const& name : names)
    if (name.front() == static_cast<char>(sto_NamedKind::Root)) named.m_Roots.push_back(name.substr(1));
  if (!named.m_Objects.empty() || !named.m_Roots.empty() || (packs.empty() && names.empty()))
    RaiseConflict(std::move(named), {});
  std::ranges::sort(packs);
  sto_ServerView const newest = m_Link->ReadState(std::nullopt).m_View;
  named.m_Objects = m_Objects.Merge(packs, newest);
  if (!named.m_Objects.empty()) RaiseConflict(std::move(named), {});
  save.m_Added -= changes.m_Named.m_Added;
  save.m_Removed -= changes.m_Named.m_Removed;
  if (!m_Named.Merge(names, newest, changes.m_Named)) RaiseConflict({}, Catalogue);
  save.m_Added += changes.m_Named.m_Added;
  save.m_Removed += changes.m_Named.m_Removed;
  sto_ServerSave::Seen merged{newest, {}};
  for (sto_ConflictUnit const& unit : conflicts) {
    for (sto_ServerSave::Seen& seen : save.m_Seen) std::erase(seen.m_Units, unit);
    merged.m_Units.push_back(unit);
  }
  save.m_Seen.push_back(std::move(merged));
}

void sto_ServerDriver::RaiseConflict(sto_Conflicts conflicts, std::string const& also) {
  std::string what = also;
  auto const add = [&what](std::string const& each) { what += (what.empty() ? "" : ", ") + each; };
  for (std::string const& root : conflicts.m_Roots) add("root " + root);
  std::size_t named = 0;
  for (std::int64_t const id : conflicts.m_Objects)
    if (++named <= 5) add("object " + std::to_string(id));
  if (named > 5) what += " and " + std::to_string(named - 5) + " more";
  try {
    sto_RaiseConflict(m_Link->Name() + ": Since the transaction began, another session has changed " + what +
                          ", which it has changed, too. Roll it back, load again and repeat the work.",
                      std::move(conflicts));
  } catch (sto_Exception const&) {
    m_Refused = std::current_exception();
    throw;
  }
}

// --- the log

std::vector<sto_SaveEntry> sto_ServerDriver::Saves(std::int64_t first) {
  RequireOpen();
  std::vector<sto_SaveEntry> entries = m_Link->Saves(first);
  std::erase_if(entries,
                [this](sto_SaveEntry const& entry) { return entry.m_Number > m_State.m_View.m_Save; });
  return entries;
}

std::optional<sto_SaveEntry> sto_ServerDriver::LastChange(std::string_view root, std::int64_t id) {
  RequireOpen();
  if (m_IsWriting &&
      (m_Objects.HasChanged(id) || m_Blocks.HasChanged(id) || m_Named.HasChanged(sto_NameOfRoot(root))))
    return std::nullopt;
  std::vector<sto_SaveEntry> const entries = Saves(1);
  std::optional<sto_SaveEntry> later; // the save after the present one
  for (auto entry = entries.rbegin(); entry != entries.rend(); ++entry) {
    if (entry->m_NextObjectId <= id) return later; // it was there before the object
    if (std::ranges::binary_search(entry->m_Objects, id) || std::ranges::binary_search(entry->m_Lists, id) ||
        std::ranges::find(entry->m_Roots, root) != entry->m_Roots.end())
      return *entry;
    later = *entry;
  }
  return later;
}

std::optional<sto_ChangeList> sto_ServerDriver::ChangedSince(std::int64_t save) {
  RequireOpen();
  sto_ChangeList all;
  for (sto_SaveEntry& entry : Saves(save + 1)) {
    if (entry.m_Number != ++save) return std::nullopt;
    std::ranges::move(entry.m_Objects, std::back_inserter(all.m_Objects));
    std::ranges::move(entry.m_Lists, std::back_inserter(all.m_Lists));
    std::ranges::move(entry.m_Roots, std::back_inserter(all.m_Roots));
  }
  if (save != m_State.m_View.m_Save) return std::nullopt;
  sto_SortChanges(all);
  return all;
}

std::int64_t sto_ServerDriver::ChangeCounter() {
  if (m_IsOpen) return m_Counter;
  if (std::int64_t const newest = m_Link->ReadState(std::nullopt).m_View.m_Save; newest != m_KnownSave) {
    ++m_Counter;
    m_KnownSave = newest;
  }
  return m_Counter;
}

// --- ids

sto_IdRange sto_ServerDriver::TakeIds(std::int64_t count) {
  RequireOpen();
  sto_IdRange const range = m_Ids.Take(count, m_State.m_EndOfIds);
  m_Objects.AddNewIds(range);
  return range;
}

void sto_ServerDriver::SetIdsUsed(std::int64_t end) {
  RequireOpen();
  m_Ids.SetUsed(end);
  m_HasUsedIds = true;
}

// --- the catalogue

void sto_ServerDriver::RaiseUnfit(std::string const& what) const {
  sto_Raise(sto_ErrorKind::Damaged, m_Link->Name() + ": " + what + " does not fit its checksum.");
}

template <class Row> std::vector<Row> sto_ServerDriver::AllOf(sto_NamedKind kind, char const* table) {
  RequireOpen();
  std::vector<Row> rows;
  for (sto_NamedRow const& stored : m_Named.Scan(sto_NamesOf(kind)))
    if (!m_Rows.Decode(stored.m_Data, rows.emplace_back()))
      RaiseUnfit(std::string("The store's catalogue is damaged: a ") + table);
  return rows;
}

std::vector<sto_ClassRow> sto_ServerDriver::Classes() {
  return AllOf<sto_ClassRow>(sto_NamedKind::Class, "class");
}
void sto_ServerDriver::WriteClass(sto_ClassRow const& row) {
  RequireOpen();
  WriteNamed(row);
}
std::vector<sto_EnumeratorRow> sto_ServerDriver::Enumerators() {
  return AllOf<sto_EnumeratorRow>(sto_NamedKind::Enumerator, "enumerator");
}
void sto_ServerDriver::AddEnumerator(sto_EnumeratorRow const& row) {
  RequireOpen();
  WriteNamed(row);
}
std::vector<sto_NoteRow> sto_ServerDriver::Notes() {
  return AllOf<sto_NoteRow>(sto_NamedKind::Note, "note");
}
void sto_ServerDriver::WriteNote(sto_NoteRow const& row) {
  RequireOpen();
  WriteNamed(row);
}
std::vector<sto_NameRow> sto_ServerDriver::Names() {
  return AllOf<sto_NameRow>(sto_NamedKind::Name, "name");
}
void sto_ServerDriver::AddName(sto_NameRow const& row) {
  RequireOpen();
  WriteNamed(row);
}
std::vector<sto_ShapeRow> sto_ServerDriver::Shapes() {
  return AllOf<sto_ShapeRow>(sto_NamedKind::Shape, "shape");
}
void sto_ServerDriver::AddShape(sto_ShapeRow const& row) {
  RequireOpen();
  WriteNamed(row);
}

// --- objects

bool sto_ServerDriver::ReadObject(std::int64_t id, sto_StoredRecord& record) {
  RequireOpen();
  return m_Objects.Read(id, record);
}
void sto_ServerDriver::ReadObjects(std::span<std::int64_t const> ids, sto_ObjectSink& sink) {
  RequireOpen();
  m_Objects.Fetch(ids);
  sto_StoredRecord record;
  for (std::int64_t const id : ids)
    if (m_Objects.Read(id, record)) sink.Take(id, record);
}
bool sto_ServerDriver::HasObject(std::int64_t id) {
  RequireOpen();
  return m_Objects.Has(id);
}
bool sto_ServerDriver::WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  RequireOpen();
  return m_Objects.Write(id, shape, values);
}
void sto_ServerDriver::DeleteObject(std::int64_t id) {
  RequireOpen();
  m_NeedsAll = true; // another session may lead to it meanwhile
  m_Objects.Delete(id);
}
std::vector<std::int64_t> sto_ServerDriver::ObjectIds(std::int64_t first, std::int64_t last) {
  RequireOpen();
  return m_Objects.Ids(first, last);
}
std::int64_t sto_ServerDriver::ObjectCount() {
  RequireOpen();
  return m_Objects.Count();
}
std::int64_t sto_ServerDriver::ObjectsFrom(std::int64_t first, std::vector<sto_ObjectShape>& objects) {
  RequireOpen();
  return m_Objects.From(first, objects);
}

// --- indexes

std::vector<sto_IndexRow> sto_ServerDriver::Indexes() {
  if (!m_HasIndexes) return {};
  return AllOf<sto_IndexRow>(sto_NamedKind::Index, "index");
}
void sto_ServerDriver::AddIndex(sto_IndexRow const& row) {
  RequireOpen();
  m_NeedsAll = true; // it has entries of all objects
  m_HasIndexes = true;
  m_Named.Write(sto_NameOfIndex(row.m_Number), m_Rows.Encode(row));
}
void sto_ServerDriver::DropIndex(std::int64_t number) {
  RequireOpen();
  m_NeedsAll = true;
  for (sto_NamedRow const& row : m_Named.Scan(sto_NamesFrom(sto_EntriesOfIndex(number))))
    m_Named.Remove(row.m_Name);
  m_Named.Remove(sto_NameOfIndex(number));
  m_HasIndexes = !m_Named.Scan(sto_NamesOf(sto_NamedKind::Index), 1).empty();
}
void sto_ServerDriver::AddToIndex(std::int64_t number, sto_IndexEntry const& entry) {
  RequireOpen();
  m_Named.Write(sto_NameOfEntry(number, entry), m_Rows.Encode(sto_ServerEntry{number, entry}));
}
void sto_ServerDriver::RemoveFromIndex(std::int64_t number, sto_IndexEntry const& entry) {
  RequireOpen();
  m_Named.Remove(sto_NameOfEntry(number, entry));
}
void sto_ServerDriver::RemoveFromIndexes(std::int64_t id) {
  RequireOpen();
  for (sto_NamedRow const& row : m_Named.Scan(sto_NamesOf(sto_NamedKind::IndexEntry)))
    if (sto_ServerEntry entry; m_Rows.Decode(row.m_Data, entry) && entry.m_Entry.m_Id == id)
      m_Named.Remove(row.m_Name);
}
bool sto_ServerDriver::FindInIndex(sto_IndexRange const& range, std::size_t limit,
                                   std::vector<sto_IndexEntry>& found) {
  RequireOpen();
  sto_NameRange names = sto_NamesFrom(sto_EntriesOfIndex(range.m_Index));
  names.m_First = sto_NameOfEntry(range.m_Index, range.m_After);
  if (range.m_After.m_Id < 0) names.m_First = sto_EntriesWithKey(range.m_Index, range.m_After.m_Key);
  if (range.m_LastKey) names.m_End = sto_NamesFrom(sto_EntriesWithKey(range.m_Index, *range.m_LastKey)).m_End;
  if (names.m_First >= names.m_End) return false;
  for (sto_NamedRow const& row : m_Named.Scan(names, limit + 2)) {
    sto_ServerEntry entry;
    if (!m_Rows.Decode(row.m_Data, entry) || entry.m_Number != range.m_Index)
      RaiseUnfit("An index is damaged: an entry of index " + std::to_string(range.m_Index));
    if (entry.m_Entry == range.m_After) continue;
    if (limit-- == 0) return true;
    found.push_back(std::move(entry.m_Entry));
  }
  return false;
}

// --- blocks

bool sto_ServerDriver::ReadBlock(std::int64_t key, sto_Bytes& data) {
  RequireOpen();
  return m_Blocks.Read(key, data);
}
bool sto_ServerDriver::ReadBlockInto(std::int64_t key, std::span<std::byte> data, std::span<std::byte> end) {
  RequireOpen();
  sto_Bytes block;
  if (!m_Blocks.Read(key, block) || block.size() != data.size() + end.size()) return false;
  std::memcpy(data.data(), block.data(), data.size());
  std::memcpy(end.data(), block.data() + data.size(), end.size());
  return true;
}
void sto_ServerDriver::ReadBlocks(std::span<sto_KeyRange const> ranges, sto_BlockSink& sink) {
  RequireOpen();
  for (sto_KeyRange const& range : ranges)
    if (!m_Blocks.ReadRange(range.m_First, range.m_Last, sink)) return;
}
bool sto_ServerDriver::HasBlocks(std::int64_t first, std::int64_t last) {
  RequireOpen();
  return m_Blocks.HasAll(first, last);
}
void sto_ServerDriver::WriteBlock(std::int64_t key, sto_ByteView data) {
  RequireOpen();
  m_Blocks.Write(key, data);
}
void sto_ServerDriver::WriteBlocks(std::int64_t first, std::span<sto_Bytes const> blocks) {
  for (sto_Bytes const& block : blocks) WriteBlock(first++, block);
}
void sto_ServerDriver::OverwriteBlock(std::int64_t key, sto_ByteView data) {
  WriteBlock(key, data);
}
void sto_ServerDriver::DeleteBlocks(std::int64_t first, std::int64_t last) {
  RequireOpen();
  m_Blocks.Delete(first, last);
}

// --- roots

std::optional<sto_ServerRoot> sto_ServerDriver::RootOf(std::string_view name) {
  RequireOpen();
  std::optional<sto_Bytes> const row = m_Named.Read(sto_NameOfRoot(name));
  if (!row) return std::nullopt;
  sto_ServerRoot root;
  if (!m_Rows.Decode(*row, root) || root.m_Name != name)
    RaiseUnfit("Table root is damaged: the row of root " + std::string(name));
  return root;
}
std::optional<std::int64_t> sto_ServerDriver::FindRoot(std::string_view name) {
  std::optional<sto_ServerRoot> const root = RootOf(name);
  return root ? std::optional(root->m_Id) : std::nullopt;
}
void sto_ServerDriver::SetRoot(std::string_view name, std::int64_t id, unsigned int classId) {
  RequireOpen();
  m_Named.Write(sto_NameOfRoot(name), m_Rows.Encode(sto_ServerRoot{std::string(name), id, classId}));
}
bool sto_ServerDriver::RemoveRoot(std::string_view name) {
  RequireOpen();
  bool const isThere = FindRoot(name).has_value();
  if (isThere) m_Named.Remove(sto_NameOfRoot(name));
  return isThere;
}
bool sto_ServerDriver::RenameRoot(std::string_view from, std::string_view to) {
  RequireOpen();
  std::optional<sto_ServerRoot> const root = RootOf(from);
  if (!root) return false;
  SetRoot(to, root->m_Id, root->m_ClassId);
  m_Named.Remove(sto_NameOfRoot(from));
  return true;
}
std::vector<sto_RootRow> sto_ServerDriver::Roots() {
  return RootsFrom({});
}
std::vector<sto_RootRow> sto_ServerDriver::RootsFrom(std::string_view prefix) {
  RequireOpen();
  std::vector<sto_RootRow> roots;
  for (sto_NamedRow const& row : m_Named.Scan(sto_NamesFrom(sto_NameOfRoot(prefix)))) {
    sto_ServerRoot root;
    if (!m_Rows.Decode(row.m_Data, root) || sto_NameOfRoot(root.m_Name) != row.m_Name)
      RaiseUnfit("Table root is damaged: the row of root " + row.m_Name.substr(1));
    roots.push_back({std::move(root.m_Name), root.m_Id, root.m_ClassId});
  }
  return roots;
}

// --- the whole store

std::int64_t sto_ServerDriver::SizeBytes() {
  RequireOpen();
  return m_Link->SizeBytes();
}

sto_StoreInfo sto_ServerDriver::Info() {
  RequireOpen();
  sto_StoreInfo info;
  info.m_Format = sto_Format::Version;
  info.m_Uuid = TextOfUuid(m_Link->Uuid());
  info.m_Sum = m_State.m_Sum.Hex();
  info.m_ReadersBesideWriter = true;
  info.m_HasIndexes = m_HasIndexes;
  info.m_SizeBytes = m_Link->SizeBytes();
  info.m_EndOfIds = m_State.m_EndOfIds;
  std::vector<sto_SaveEntry> newest = Saves(m_State.m_View.m_Save);
  if (!newest.empty()) info.m_NewestSave = std::move(newest.back());
  return info;
}

std::unique_ptr<sto_StorageWalk> sto_ServerDriver::NewWalk(sto_StorageVisitor& visitor) {
  RequireOpen();
  std::optional<Changes> pending;
  if (m_IsWriting) pending = FindChanges();
  sto_ContentSum sum = m_State.m_Sum;
  if (pending) {
    sto_ServerSave const save = SaveOf(*pending);
    sum += save.m_Added;
    sum -= save.m_Removed;
  }
  return std::make_unique<sto_ServerWalk>(*this, *m_Link, m_Objects, m_Blocks, m_Named, m_Rows, sum, visitor);
}

void sto_ServerDriver::CopyTo(std::string const& location, sto_Meter* meter) {
  RequireOpen();
  sto_CopyStore(*this, m_Link->Name(), location, meter);
}

// Rows that nobody needs are collected by each commit, and the server keeps its tables in order.
void sto_ServerDriver::Compact(sto_Meter* /*meter*/) {}

#include "store/agents/sto_ListAgent.h"

#include <algorithm>
#include <limits>
#include <memory>
#include <optional>

#include "store/agents/sto_AgentOf.h"
#include "store/format/sto_BlockLayout.h"
#include "store/session/sto_OwnTransaction.h"

namespace {

using Layout = sto_ListLayout;

/// How many blocks of a run are written at once: 256 KiB of doubles.
constexpr int RunBlocks = 16;

/// Whether elements have the same bytes in memory as in a block.
template <class T> constexpr bool IsRaw = sto_IsStoredAsItIs<T>;

/// The block of an array that starts at an index, null if it is not in memory. Does not use the trie's own
/// look-up, which may return the last found block although the trie has others.
template <class T> cls_ArrayPrimBuffer<T> const* FindBlock(cls_ArrayPrim<T> const& array, int start) {
  cls_PTrieIter<int, cls_ArrayPrimBuffer<T>, 1> iter(*array.Blocks().Ptr());
  for (iter.First(); iter.IsDone() == 0; iter.Next())
    if (iter.CurrentKey() == start) return &iter.CurrentValue();
  return nullptr;
}

/// Whether an array has unwritten changes.
template <class T> bool HasUnwritten(cls_ArrayPrim<T> const& array) {
  cls_PTrieIter<int, cls_ArrayPrimBuffer<T>, 1> iter(*array.Blocks().Ptr());
  for (iter.First(); iter.IsDone() == 0; iter.Next())
    if (iter.CurrentValue().IsDirty()) return true;
  return false;
}

template <class T> void Encode(sto_Bytes& content, T const* values, int count) {
  sto_ByteWriter writer(content);
  if constexpr (IsRaw<T>)
    writer.Raw(values, static_cast<std::size_t>(count) * sizeof(T));
  else
    for (int i = 0; i < count; ++i) sto_ElementCodec<T>::Encode(writer, values[i]);
}

} // namespace

template <class T> std::string sto_ListAgent<T>::Kind() {
  return std::string("list of ") + sto_ElementTypeName(Codec::ElementType);
}

template <class T>
sto_ListAgent<T>* sto_ListAgent<T>::OfStored(sto_Session& session, std::int64_t id,
                                             sto_RecordRef const& record) {
  auto* const agent = sto_AgentOfStored<sto_ListAgent>(session, id, record);
  agent->m_Purpose = Purpose::Reading;
  return agent;
}

template <class T>
sto_ListAgent<T>* sto_ListAgent<T>::OfSaved(sto_Session& session, std::int64_t id, int sizeHint) {
  auto* const agent = sto_AgentOfSaved<sto_ListAgent>(session, id, sizeHint);
  agent->m_Purpose = Purpose::Saving;
  return agent;
}

template <class T> int sto_ListAgent<T>::Count() {
  if (Id() == 0) return 0;
  sto_Session& session = Session();
  if (IsOutdated()) {
    sto_OwnTransaction const transaction(session, false);
    Synchronise();
  }
  return m_Count;
}

template <class T> int sto_ListAgent<T>::CountIn(int index) const noexcept {
  return Layout(m_Count).CountIn(index);
}

template <class T> void sto_ListAgent<T>::WriteRun(int firstIndex, int count, T const* values) {
  if (count <= 0) return;
  std::optional<sto_Session::KeptAside> aside;
  if (IsLettingGo() && !IsClosed()) aside.emplace(Home());
  try {
    if (Id() == 0)
      Session().Raise(sto_ErrorKind::ReadOnly, Describe() + " is not stored and cannot be written.");
    sto_OwnTransaction transaction(Session(), true);
    CheckWriting();
    Synchronise();
    CheckSeen(firstIndex, values);
    if (firstIndex > m_Count && IsMadeInSave())
      Session().Raise(sto_ErrorKind::Misuse,
                      Describe() + " cannot be stored: elements are not in memory, from " +
                          std::to_string(m_Count) + " to " + std::to_string(firstIndex - 1) + ".");
    NoteChanged();
    Write(firstIndex, count, values);
    transaction.Commit();
  } catch (...) {
    if (!IsLettingGo() || IsClosed()) throw;
    KeepFailure(); // it happened in a destructor
  }
}

template <class T> void sto_ListAgent<T>::Write(int firstIndex, int count, T const* values) {
  if (firstIndex < 0 || firstIndex > std::numeric_limits<int>::max() - count)
    Session().Raise(sto_ErrorKind::Full, Describe() + " would get more elements than a list can count.");
  MoveOutOfRecord();
  if (firstIndex > m_Count) {
    auto const gap = std::make_unique<T[]>(Layout::BlockSize);
    while (m_Count < firstIndex) Write(m_Count, std::min(Layout::BlockSize, firstIndex - m_Count), gap.get());
  }
  for (int done = 0; done < count;) {
    if (int const written = WriteNewBlocks(firstIndex + done, count - done, values + done)) {
      done += written;
      continue;
    }
    Layout::Piece const piece = Layout::FirstPiece(firstIndex + done, count - done);
    WriteIntoBlock(piece.m_Block, piece.m_Offset, piece.m_Count, values + done);
    done += piece.m_Count;
  }
  m_Count = std::max(m_Count, firstIndex + count);
}

template <class T> int sto_ListAgent<T>::WriteNewBlocks(int firstIndex, int count, T const* values) {
  int const blocks = std::min(count / Layout::BlockSize, RunBlocks);
  if (blocks < 2 || firstIndex < m_Count || Layout::OffsetOf(firstIndex) != 0) return 0;
  std::vector<sto_Bytes> contents(static_cast<std::size_t>(blocks));
  for (sto_Bytes& content : contents) {
    content.reserve(static_cast<std::size_t>(Layout::BlockSize) * Codec::MinBytes + sto_BlockCodec::EndBytes);
    Encode(content, values, Layout::BlockSize);
    CheckBlockBytes(content);
    values += Layout::BlockSize;
  }
  Blocks().WriteNew(Layout::BlockOf(firstIndex), contents);
  return blocks * Layout::BlockSize;
}

template <class T> void sto_ListAgent<T>::CheckBlockBytes(sto_Bytes const& content) const {
  if (content.size() > sto_Format::MaxValueBytes)
    Session().Raise(sto_ErrorKind::Full, Describe() + " has too many bytes in one block of elements.");
}

template <class T> void sto_ListAgent<T>::WriteIntoBlock(int index, int offset, int count, T const* values) {
  sto_Bytes content;
  content.reserve(static_cast<std::size_t>(Layout::BlockSize) * Codec::MinBytes + sto_BlockCodec::EndBytes);
  int const stored = CountIn(index);
  if (offset == 0 && count >= stored) {
    Encode(content, values, count);
  } else {
    auto const whole = std::make_unique<T[]>(Layout::BlockSize);
    if (stored > 0) Decode(index, Blocks().Read(index), stored, 0, stored, whole.get());
    std::copy_n(values, count, whole.get() + offset);
    Encode(content, whole.get(), std::max(stored, offset + count));
  }
  CheckBlockBytes(content);
  Blocks().Write(index, content, stored > 0);
}

template <class T> int sto_ListAgent<T>::ReadRun(int firstIndex, int count, T* destination) {
  sto_Session& session = Session();
  if (firstIndex < 0 || count <= 0) return 0;
  int const index = Layout::BlockOf(firstIndex);
  int const offset = Layout::OffsetOf(firstIndex);
  if (!session.InTransaction() && m_InlineRecord == nullptr && firstIndex < m_Count &&
      count <= Layout::BlockSize - offset) {
    if (sto_ByteView const kept = Blocks().ReadKept(index); !kept.empty()) {
      int const there = std::min(count, m_Count - firstIndex);
      Decode(index, kept, CountIn(index), offset, there, destination);
      return there;
    }
  }
  sto_OwnTransaction transaction(session, false);
  Synchronise();
  int const there = std::min(count, m_Count - std::min(firstIndex, m_Count));
  if (there < count && m_References > HolderCount())
    session.Raise(sto_ErrorKind::Unavailable,
                  Describe() + " has " + std::to_string(m_Count) +
                      " elements: an array that was assigned without being registered shows more, which were "
                      "undone.");
  if (there == 0) return 0;
  if (m_InlineRecord != nullptr) {
    Decode(0, m_Inline, m_Count, firstIndex, there, destination);
  } else if (IsRaw<T> && !transaction.IsOwn() && offset == 0 && there == CountIn(index)) {
    Blocks().ReadInto(index, std::as_writable_bytes(std::span(destination, static_cast<std::size_t>(there))));
  } else if (offset + there <= Layout::BlockSize) {
    sto_ByteView const content =
        transaction.IsOwn() ? Blocks().ReadAhead(index, Layout(m_Count).BlockCount()) : Blocks().Read(index);
    Decode(index, content, CountIn(index), offset, there, destination);
  } else {
    int const last = Layout::BlockOf(firstIndex + there - 1);
    Blocks().ReadRun(index, last, [&](int block, sto_ByteView content) {
      int const from = std::max(firstIndex, Layout::FirstOf(block));
      Layout::Piece const piece = Layout::FirstPiece(from, firstIndex + there - from);
      Decode(block, content, CountIn(block), piece.m_Offset, piece.m_Count,
             destination + (from - firstIndex));
    });
  }
  transaction.Commit();
  return there;
}

template <class T>
void sto_ListAgent<T>::Decode(int index, sto_ByteView content, int blockCount, int offset, int count,
                              T* destination) const {
  if constexpr (IsRaw<T>) {
    if (content.size() != static_cast<std::size_t>(blockCount) * sizeof(T)) RaiseDamaged(index);
    std::memcpy(destination, content.data() + static_cast<std::size_t>(offset) * sizeof(T),
                static_cast<std::size_t>(count) * sizeof(T));
  } else {
    sto_ByteReader reader(content);
    for (int i = 0; i < blockCount && !reader.Failed(); ++i) {
      T element = Codec::Decode(reader);
      if (i >= offset && i < offset + count) destination[i - offset] = std::move(element);
    }
    if (reader.Failed() || reader.Remaining() != 0) RaiseDamaged(index);
  }
}

template <class T> void sto_ListAgent<T>::RaiseDamaged(int index) const {
  Session().Raise(sto_ErrorKind::Damaged, Describe() + " is damaged: block " + std::to_string(index) +
                                              " does not have the elements that the list says.");
}

// --- what arrays hold in memory

template <class T> template <class Act> void sto_ListAgent<T>::ForEachArray(Act act) const {
  this->ForEachHolder([&](cls_PC&, sto_HolderSlot& slot) {
    if (slot.m_Array != nullptr) act(*static_cast<cls_ArrayPrim<T>*>(slot.m_Array), slot);
  });
}

template <class T> void* sto_ListAgent<T>::ArrayOf(cls_PC& holder) const noexcept {
  return dynamic_cast<cls_ArrayPrim<T>*>(&holder);
}

template <class T> void sto_ListAgent<T>::NoteHolder(cls_PC&, sto_HolderSlot& slot) {
  Purpose const purpose = std::exchange(m_Purpose, Purpose::Copying);
  if (slot.m_Array == nullptr || !Session().IsWriting()) return;
  auto* const array = static_cast<cls_ArrayPrim<T>*>(slot.m_Array);
  if (purpose == Purpose::Saving) {
    if (!m_KeptAtBegin.Has(*array)) {
      CheckInMemory(*array);
      KeepInMemory(*array);
    }
    array->MarkBlocks(); // the stored list has no elements yet, or others
  }
  slot.m_AtBegin = slot.m_AtMark = BeforeOf(*array, purpose);
  if (purpose == Purpose::Copying)
    ForEachArray([&](cls_ArrayPrim<T> const& other, sto_HolderSlot const& original) {
      if (&other != array && other.Blocks().Ptr() == array->Blocks().Ptr()) slot.m_AtMark = original.m_AtMark;
    });
}

template <class T>
sto_HolderSlot::Before sto_ListAgent<T>::BeforeOf(cls_ArrayPrim<T> const& array, Purpose purpose) const {
  using Before = sto_HolderSlot::Before;
  if (purpose == Purpose::Saving) return {Before::Kind::InMemory, array.Size()};
  if (purpose == Purpose::Copying) { // restored like the array that it is a copy of
    Before before;
    ForEachArray([&](cls_ArrayPrim<T> const& other, sto_HolderSlot const& slot) {
      if (&other != &array && other.Blocks().Ptr() == array.Blocks().Ptr()) before = slot.m_AtBegin;
    });
    return before;
  }
  if (IsMadeInTransaction()) return {};
  sto_ChangeNotes::ListAtBegin const* const before = Session().Changes().FindAtBegin(Id());
  return {Before::Kind::Associated, before == nullptr ? array.Size() : before->m_Count};
}

template <class T> void sto_ListAgent<T>::KeepInMemory(cls_ArrayPrim<T> const& array) {
  using Buffer = cls_ArrayPrimBuffer<T>;
  auto const bytes = static_cast<std::int64_t>(array.Blocks().Ptr()->Count()) *
                     static_cast<std::int64_t>(sizeof(T) * Buffer::ElementCount);
  Session().KeptBytes().Check(bytes, [this] { return Describe(); });
  // The last block stays in memory after the save and may change before the transaction ends.
  int const last = Buffer::StartOf(array.Size());
  m_KeptAtBegin.Keep(array, sto_KeptBlocks<T>::Which::All, [last](int start) { return start == last; });
  m_KeptBytes += bytes;
  Session().KeptBytes().Add(bytes);
}

template <class T> void sto_ListAgent<T>::CheckInMemory(cls_ArrayPrim<T> const& array) const {
  int const missing = array.FirstMissing();
  if (missing < array.Size())
    Session().Raise(sto_ErrorKind::Misuse,
                    Describe() + " cannot be stored: elements are not in memory. Its array has " +
                        std::to_string(array.Size()) + ", and those from " + std::to_string(missing) +
                        " on are missing.");
}

template <class T> bool sto_ListAgent<T>::KeepAtBegin(sto_Keeping keeping) {
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot& slot) {
    if (slot.m_HeldInTransaction == Session().TransactionNumber() && Session().IsWriting()) return;
    slot.m_AtBegin = {sto_HolderSlot::Before::Kind::Associated, array.Size()};
    if (HasUnwritten(array) && !m_KeptAtBegin.Has(array))
      m_KeptAtBegin.Keep(array, sto_KeptBlocks<T>::Which::Changed,
                         [&](int) { return keeping == sto_Keeping::Copies; });
  });
  return !m_KeptAtBegin.IsEmpty();
}

template <class T> void sto_ListAgent<T>::KeepAtMark() {
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot& slot) {
    if (slot.m_HeldInSave == Session().Save().Number()) return;
    slot.m_AtMark = {sto_HolderSlot::Before::Kind::Associated, array.Size()};
    if (HasUnwritten(array) && !m_KeptAtMark.Has(array))
      m_KeptAtMark.Keep(array, sto_KeptBlocks<T>::Which::Changed, [](int) { return false; });
  });
}

template <class T> void sto_ListAgent<T>::ForgetKeptAtBegin() noexcept {
  if (!IsClosed()) Home().KeptBytes().Add(-std::exchange(m_KeptBytes, 0));
  m_KeptAtBegin.Forget();
}

template <class T> void sto_ListAgent<T>::ForgetKeptAtMark() noexcept {
  m_KeptAtMark.Forget();
}

template <class T> void sto_ListAgent<T>::PutBackAtBegin(bool isGone) noexcept {
  PutBack(m_KeptAtBegin, &sto_HolderSlot::m_AtBegin, isGone);
}

template <class T> void sto_ListAgent<T>::PutBackAtMark() noexcept {
  PutBack(m_KeptAtMark, &sto_HolderSlot::m_AtMark, false);
}

template <class T>
void sto_ListAgent<T>::PutBack(KeptBlocks& blocks, sto_HolderSlot::Before sto_HolderSlot::*at,
                               bool isGone) noexcept {
  using Kind = sto_HolderSlot::Before::Kind;
  ++m_References; // so that an array that lets go neither flushes nor gets a new identity
  ForEachArray([&](cls_ArrayPrim<T>& array, sto_HolderSlot& slot) {
    sto_HolderSlot::Before const before = slot.*at;
    KeptBlocks& kept = before.m_Kind == Kind::InMemory ? m_KeptAtBegin : blocks;
    bool const isKnown = before.m_Kind != Kind::Unknown;
    bool const isPaged = !(before.m_Kind == Kind::InMemory && isGone);
    if (isKnown)
      kept.PutBack(array, isPaged);
    else
      array.Blocks().Ptr()->Clear(); // undone elements can no longer be read
    if (isKnown) array.SetLength(before.m_Size);
    if (before.m_Kind == Kind::InMemory) array.Detach();
  });
  m_KeptAtBegin.ForgetUsed();
  --m_References;
}

template <class T> bool sto_ListAgent<T>::RefreshHolders(bool isSeen) {
  if (HolderCount() == 0) return !isSeen;
  bool isStale = false;
  this->ForEachHolder([&](cls_PC&, sto_HolderSlot const& slot) {
    isStale = isStale || slot.m_SeenForeign != this->Foreign();
  });
  if (!isStale) return false;
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const& slot) {
    if (!HasUnwritten(array)) return;
    if (slot.m_SeenForeign != this->Foreign()) this->RaiseStale();
    array.Flush(); // its size is about to be taken from the store
  });
  using Before = sto_HolderSlot::Before;
  sto_ChangeNotes::ListAtBegin const* const before = Session().Changes().FindAtBegin(Id());
  ForEachArray([&](cls_ArrayPrim<T>& array, sto_HolderSlot& slot) {
    if (slot.m_SeenForeign == this->Foreign()) return;
    array.Release(); // it has no unwritten changes
    array.SetLength(m_Count);
    // Undoing this transaction does not undo what the other session committed.
    slot.m_AtMark = {Before::Kind::Associated, m_Count};
    slot.m_AtBegin = {Before::Kind::Associated, before == nullptr ? m_Count : before->m_Count};
  });
  this->ForEachHolder([&](cls_PC&, sto_HolderSlot& slot) { slot.m_SeenForeign = this->Foreign(); });
  return true;
}

template <class T> void sto_ListAgent<T>::CheckSeen(int firstIndex, T const* values) const {
  bool isAnyStale = false;
  this->ForEachHolder([&](cls_PC&, sto_HolderSlot const& slot) {
    isAnyStale = isAnyStale || slot.m_SeenForeign != this->Foreign();
  });
  if (!isAnyStale) return;
  bool isFound = false;
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const& slot) {
    cls_ArrayPrimBuffer<T> const* const block = FindBlock(array, firstIndex);
    if (block != nullptr && block->Values() == values && slot.m_SeenForeign == this->Foreign())
      isFound = true;
  });
  if (!isFound) this->RaiseStale();
}

template <class T> bool sto_ListAgent<T>::HasUnwrittenHolders() const noexcept {
  bool isUnwritten = false;
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const&) {
    isUnwritten = isUnwritten || HasUnwritten(array);
  });
  return isUnwritten;
}

template <class T> void sto_ListAgent<T>::FlushHolders() {
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const&) {
    bool isLongest = true;
    ForEachArray([&](cls_ArrayPrim<T> const& other, sto_HolderSlot const&) {
      if (other.Blocks().Ptr() == array.Blocks().Ptr() && other.Size() > array.Size()) isLongest = false;
    });
    if (isLongest) array.Flush();
  });
  sto_CollectionAgent::FlushHolders();
}

template <class T> void sto_ListAgent<T>::CheckWhole() const {
  if (this->IsLost() || !this->IsMadeInSave()) return;
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const&) {
    if (array.Size() != m_Count)
      this->Session().Raise(sto_ErrorKind::Misuse,
                            Describe() + " cannot be stored: elements are not in memory. Its array has " +
                                std::to_string(array.Size()) + ", and " + std::to_string(m_Count) +
                                " could be written.");
  });
}

template <class T>
void sto_ListAgent<T>::Collect(cls_ArrayPrim<T> const* array, int first, int count, T* destination) {
  if (array != nullptr)
    if (cls_ArrayPrimBuffer<T> const* const block = FindBlock(*array, first)) {
      std::copy_n(block->Values(), count, destination);
      return;
    }
  if (ReadRun(first, count, destination) < count)
    Session().Raise(sto_ErrorKind::Misuse, Describe() +
                                               " cannot be copied: elements are not in memory, from " +
                                               std::to_string(m_Count) + " on.");
}

template <class T> bool sto_ListAgent<T>::CopyInto(sto_ListTarget& target, void const* container) {
  sto_OwnTransaction const transaction(Session(), false);
  Synchronise();
  cls_ArrayPrim<T> const* source = nullptr;
  int count = m_Count;
  ForEachArray([&](cls_ArrayPrim<T> const& array, sto_HolderSlot const&) {
    bool const isIt = static_cast<void const*>(&array) == container;
    if (source == nullptr || isIt) source = &array;
  });
  if (source != nullptr) count = source->Size();
  sto_ListHeader header;
  header.m_ElementType = Codec::ElementType;
  header.m_Width = Width();
  header.m_Count = count;
  header.m_InBlocks = true;
  auto const elements = std::make_unique<T[]>(Layout::BlockSize);
  for (int first = 0; first < count; first += Layout::BlockSize) {
    int const part = std::min(Layout::BlockSize, count - first);
    Collect(source, first, part, elements.get());
    sto_Bytes content;
    content.reserve(static_cast<std::size_t>(part) * Codec::MinBytes + sto_BlockCodec::EndBytes);
    Encode(content, elements.get(), part);
    CheckBlockBytes(content);
    target.WriteBlock(content, Codec::ElementType);
  }
  sto_Bytes extents;
  PutShape(header, extents);
  target.CompleteList(header, Unit());
  return true;
}

template class sto_ListAgent<bool>;
template class sto_ListAgent<cow_String>;
template class sto_ListAgent<float>;
template class sto_ListAgent<double>;
template class sto_ListAgent<unsigned int>;
template class sto_ListAgent<int>;
template class sto_ListAgent<long long>;
template class sto_ListAgent<unsigned long long>;
template class sto_ListAgent<cls_Complex<float>>;
template class sto_ListAgent<cls_Complex<double>>;

#include "store/sto_ListAgent.h"

#include <algorithm>
#include <limits>
#include <memory>

#include "collections/cls_ArrayPrim.h"
#include "store/sto_OwnTransaction.h"

namespace {

constexpr int BlockSize = sto_Format::BlockElementCount;

/// Blocks of a run that are written at once: 256 KiB of doubles.
constexpr int RunBlocks = 16;

/// Elements whose bytes in memory are their bytes in a block.
template <class T>
constexpr bool IsRaw =
    std::is_arithmetic_v<T> && !std::is_same_v<T, bool> && std::endian::native == std::endian::little;

/// Whether cls_ArrayPrim has instances of T.
template <class T> constexpr bool IsArrayElement = !std::is_same_v<T, unsigned int>;

template <class T> void Encode(sto_Bytes& content, T const* values, int count) {
  sto_ByteWriter writer(content);
  if constexpr (IsRaw<T>)
    writer.Raw(values, static_cast<std::size_t>(count) * sizeof(T));
  else
    for (int i = 0; i < count; ++i) sto_ElementCodec<T>::Encode(writer, values[i]);
}

} // namespace

template <class T> sto_ListAgent<T>* sto_ListAgent<T>::Find(sto_Session& session, std::int64_t id) {
  sto_OpenAgent* const found = session.FindAgent(id);
  if (found == nullptr) return nullptr;
  auto* const agent = dynamic_cast<sto_ListAgent*>(found);
  if (agent == nullptr)
    session.Raise(sto_ErrorKind::WrongClass, "The collection of object " + std::to_string(id) +
                                                 " is open as a " + found->What() + ", not as a list of " +
                                                 sto_ElementTypeName(Codec::ElementType) + ".");
  return agent;
}

template <class T>
sto_ListAgent<T>* sto_ListAgent<T>::OfStored(sto_Session& session, std::int64_t id,
                                             sto_RecordRef const& record) {
  if (sto_ListAgent* const found = Find(session, id)) return found;
  auto agent = std::make_unique<sto_ListAgent>(session, id);
  if (record != nullptr) {
    agent->Open(record);
    agent->Register();
  }
  return agent.release();
}

template <class T>
sto_ListAgent<T>* sto_ListAgent<T>::OfSaved(sto_Session& session, std::int64_t id, int sizeHint) {
  if (sto_ListAgent* const found = Find(session, id)) return found;
  auto agent = std::make_unique<sto_ListAgent>(session, id);
  if (sto_RecordRef const record = session.ReadRecord(id))
    agent->Open(record);
  else
    agent->StartNew(sizeHint);
  agent->Register();
  return agent.release();
}

template <class T> int sto_ListAgent<T>::CountIn(int index) const noexcept {
  return std::clamp(m_Count - index * BlockSize, 0, BlockSize);
}

template <class T> int sto_ListAgent<T>::BlockCount() const noexcept {
  return m_Count / BlockSize + (m_Count % BlockSize != 0 ? 1 : 0);
}

template <class T> void sto_ListAgent<T>::WriteRun(int firstIndex, int count, T const* values) {
  if (IsDropping() || count <= 0) return;
  try {
    if (Id() == 0)
      Session().Raise(sto_ErrorKind::ReadOnly, Describe() + " is not stored and cannot be written.");
    sto_OwnTransaction transaction(Session(), true);
    CheckWriting();
    Synchronise();
    Write(firstIndex, count, values);
    transaction.Commit();
  } catch (...) {
    if (!IsLettingGo() || IsClosed()) throw;
    Session().Keep(std::current_exception()); // this happens in a destructor
  }
}

template <class T> void sto_ListAgent<T>::Write(int firstIndex, int count, T const* values) {
  if (firstIndex < 0 || firstIndex > std::numeric_limits<int>::max() - count)
    Session().Raise(sto_ErrorKind::Full, Describe() + " would get more elements than a list can count.");
  MoveOutOfRecord();
  if (firstIndex > m_Count) {
    auto const gap = std::make_unique<T[]>(BlockSize);
    while (m_Count < firstIndex) Write(m_Count, std::min(BlockSize, firstIndex - m_Count), gap.get());
  }
  for (int done = 0; done < count;) {
    if (int const written = WriteNewBlocks(firstIndex + done, count - done, values + done)) {
      done += written;
      continue;
    }
    int const index = (firstIndex + done) / BlockSize;
    int const offset = (firstIndex + done) % BlockSize;
    int const part = std::min(BlockSize - offset, count - done);
    WriteIntoBlock(index, offset, part, values + done);
    done += part;
  }
  NoteWritten(std::max(m_Count, firstIndex + count));
}

template <class T> int sto_ListAgent<T>::WriteNewBlocks(int firstIndex, int count, T const* values) {
  int const blocks = std::min(count / BlockSize, RunBlocks);
  if (blocks < 2 || firstIndex < m_Count || firstIndex % BlockSize != 0) return 0;
  std::vector<sto_Bytes> contents(static_cast<std::size_t>(blocks));
  for (sto_Bytes& content : contents) {
    content.reserve(static_cast<std::size_t>(BlockSize) * Codec::MinBytes + sto_Format::ChecksumBytes);
    Encode(content, values, BlockSize);
    CheckBlockBytes(content);
    values += BlockSize;
  }
  Blocks().WriteNew(firstIndex / BlockSize, contents);
  return blocks * BlockSize;
}

template <class T> void sto_ListAgent<T>::CheckBlockBytes(sto_Bytes const& content) const {
  if (content.size() > sto_Format::MaxValueBytes)
    Session().Raise(sto_ErrorKind::Full, Describe() + " has too many bytes in one block of elements.");
}

template <class T> void sto_ListAgent<T>::WriteIntoBlock(int index, int offset, int count, T const* values) {
  sto_Bytes content;
  content.reserve(static_cast<std::size_t>(BlockSize) * Codec::MinBytes + sto_Format::ChecksumBytes);
  int const stored = CountIn(index);
  if (offset == 0 && count >= stored) {
    Encode(content, values, count);
  } else {
    auto const whole = std::make_unique<T[]>(BlockSize);
    if (stored > 0) Decode(index, Blocks().Read(index), stored, 0, stored, whole.get());
    std::copy_n(values, count, whole.get() + offset);
    Encode(content, whole.get(), std::max(stored, offset + count));
  }
  CheckBlockBytes(content);
  Blocks().Write(index, content, stored > 0);
}

template <class T> int sto_ListAgent<T>::ReadRun(int firstIndex, int count, T* destination) {
  if (IsDropping() || firstIndex < 0 || count <= 0) return 0;
  sto_Session& session = Session();
  int const index = firstIndex / BlockSize;
  int const offset = firstIndex % BlockSize;
  if (!session.InTransaction() && m_InlineRecord == nullptr && firstIndex < m_Count &&
      count <= BlockSize - offset) {
    if (sto_ByteView const kept = Blocks().ReadKept(index); !kept.empty()) {
      int const there = std::min(count, m_Count - firstIndex);
      Decode(index, kept, CountIn(index), offset, there, destination);
      return there;
    }
  }
  sto_OwnTransaction transaction(session, false);
  Synchronise();
  int const there = std::min(count, m_Count - std::min(firstIndex, m_Count));
  if (there == 0) return 0;
  if (m_InlineRecord != nullptr) {
    Decode(0, m_Inline, m_Count, firstIndex, there, destination);
  } else if (IsRaw<T> && !transaction.IsOwn() && offset == 0 && there == CountIn(index)) {
    Blocks().ReadInto(index, std::as_writable_bytes(std::span(destination, static_cast<std::size_t>(there))));
  } else if (offset + there <= BlockSize) {
    sto_ByteView const content =
        transaction.IsOwn() ? Blocks().ReadAhead(index, BlockCount()) : Blocks().Read(index);
    Decode(index, content, CountIn(index), offset, there, destination);
  } else {
    int const last = (firstIndex + there - 1) / BlockSize;
    Blocks().ReadRun(index, last, [&](int block, sto_ByteView content) {
      int const from = std::max(firstIndex, block * BlockSize);
      int const end = std::min(firstIndex + there, block * BlockSize + CountIn(block));
      Decode(block, content, CountIn(block), from - block * BlockSize, end - from,
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

template <class T> void sto_ListAgent<T>::RefreshHolder(cls_PC* holder) {
  if constexpr (IsArrayElement<T>)
    if (auto* const array = dynamic_cast<cls_ArrayPrim<T>*>(holder)) array->Refresh();
}

template class sto_ListAgent<bool>;
template class sto_ListAgent<cow_String>;
template class sto_ListAgent<float>;
template class sto_ListAgent<double>;
template class sto_ListAgent<unsigned int>;
template class sto_ListAgent<int>;

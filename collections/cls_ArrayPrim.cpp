#include "collections/cls_ArrayPrim.h"

#include <algorithm>
#include <cstdio>
#include <vector>

#include "collections/cls_DeleteUnheld.h"
#include "persist/backend/cls_MoreLists.h"

namespace {

void Print(char const* className, char const* text) {
  std::fprintf(stderr, text, className); // intentional: the messages have no line end
}

/// The collection type of a list of T. That of one of 64-bit integers or complex numbers does not say its elements.
template <class T> cls_CollectionType ListCode() noexcept {
  if constexpr (cls_IsListElement<T>)
    return cls_CollectionTypeFix(COLLECTION_LIST, static_cast<T*>(nullptr));
  else
    return COLLECTION_LIST;
}

} // namespace

template <class T> cls_ArrayPrim<T>::cls_ArrayPrim() : m_Blocks(new Trie) {}

template <class T>
cls_ArrayPrim<T>::cls_ArrayPrim(cls_ArrayPrim const& other)
    : m_Blocks(other.m_Blocks), m_Size(other.m_Size), m_Uid(other.m_Uid) {
  if (other.m_Agent != nullptr) Hold(other.m_Agent);
}

template <class T> cls_ArrayPrim<T>::cls_ArrayPrim(cls_ReadVisitor const& visitor) : m_Blocks(new Trie) {
  cls_AgentListPrim<T>* const agent = cls_MakeListAgent<T>(*visitor.Memento());
  try {
    m_Size = agent->Count();
    m_Uid = visitor.GetUid();
  } catch (...) {
    cls_DeleteUnheld(agent);
    throw;
  }
  Hold(agent);
}

template <class T> cls_ArrayPrim<T>::~cls_ArrayPrim() {
  if (m_Agent != nullptr) LetGo();
}

template <class T> cls_ArrayPrim<T>& cls_ArrayPrim<T>::operator=(cls_ArrayPrim const& other) {
  if (this == &other) return *this;
  Reset();
  if (m_Agent != nullptr) LetGo();
  m_Blocks = other.m_Blocks;
  m_Agent = nullptr;
  m_Size = other.m_Size;
  m_Uid = other.m_Uid;
  if (other.m_Agent != nullptr) Hold(other.m_Agent);
  return *this;
}

template <class T> void cls_ArrayPrim<T>::ShareUnregistered(cls_ArrayPrim const& other) {
  if (m_Agent != nullptr) m_Agent->DropReference();
  m_Blocks = other.m_Blocks;
  m_Agent = other.m_Agent;
  m_Size = other.m_Size;
  m_Uid = other.m_Uid;
  if (m_Agent != nullptr) m_Agent->AddReference();
}

template <class T> void cls_ArrayPrim<T>::Hold(cls_AgentListPrim<T>* agent) const {
  m_Agent = agent;
  agent->AddReference();
  try {
    agent->RegisterHolder(const_cast<cls_ArrayPrim*>(this));
  } catch (...) {
    agent->DropReference();
    m_Agent = nullptr;
    cls_DeleteUnheld(agent);
    throw;
  }
  m_Blocks.Ptr()->m_IsPaged = true;
  m_Blocks.Ptr()->ForgetLastFound(); // the last found block may be one of many that were made in memory
}

template <class T> bool cls_ArrayPrim<T>::LetGo() const {
  m_Agent->DropReference();
  if (m_Agent->StillReferenced()) return false;
  this->Flush(); // virtual: a derived class may override it
  delete m_Agent;
  return true;
}

template <class T> void cls_ArrayPrim<T>::Detach() {
  if (m_Agent != nullptr && LetGo()) m_Uid.NewUid();
  m_Agent = nullptr;
  Unlink();
}

template <class T> int cls_ArrayPrim<T>::CountIn(int start) const noexcept {
  return std::min(Buffer::ElementCount, m_Size - start);
}

template <class T> void cls_ArrayPrim<T>::WriteBlock(int start, Buffer const& buffer) const {
  m_Agent->WriteRun(start, CountIn(start), buffer.Values());
}

template <class T> void cls_ArrayPrim<T>::Flush() const {
  if (m_Agent == nullptr || m_Agent->ReadOnly()) return;
  cls_PTrieIter<int, Buffer, 1> iter(*m_Blocks.Ptr());
  for (iter.First(); iter.IsDone() == 0; iter.Next()) {
    Buffer const& buffer = iter.CurrentValue();
    if (!buffer.IsDirty() || CountIn(iter.CurrentKey()) <= 0) continue;
    WriteBlock(iter.CurrentKey(), buffer);
    buffer.SetDirty(false);
  }
  m_Agent->EndFlush();
}

template <class T> void cls_ArrayPrim<T>::EvictBlocks(int keptIndex) const {
  if (m_Agent == nullptr) return;
  Trie& trie = *m_Blocks.Ptr();
  std::vector<int> evicted;
  cls_PTrieIter<int, Buffer, 1> iter(trie);
  for (iter.First(); iter.IsDone() == 0; iter.Next()) {
    int const start = iter.CurrentKey();
    if (keptIndex >= 0 && start == Buffer::StartOf(keptIndex)) continue;
    if (iter.CurrentValue().IsDirty()) WriteBlock(start, iter.CurrentValue());
    evicted.push_back(start);
  }
  for (int const start : evicted) trie.Remove(start);
}

template <class T>
cls_ArrayPrimBuffer<T>* cls_ArrayPrim<T>::FindBuffer(int index, char const* className) const {
  EvictBlocks(index);
  Trie& trie = *m_Blocks.Ptr();
  int const start = Buffer::StartOf(index);
  Buffer const* found = trie.ConstGetPtr(start);
  if (found == nullptr) found = AddBlock(index, start, className);
  // A copy in memory may have left other blocks; the next access through an associated copy evicts them.
  if (trie.m_IsPaged && trie.Count() > 1) trie.ForgetLastFound();
  return const_cast<Buffer*>(found);
}

template <class T>
cls_ArrayPrimBuffer<T> const* cls_ArrayPrim<T>::AddBlock(int index, int start, char const* className) const {
  Trie& trie = *m_Blocks.Ptr();
  Buffer const block = Buffer::Make();
  trie.Insert(start, block);
  if (index == start && index == m_Size) return trie.ConstGetPtr(start); // about to get its first element
  try {
    ReadBlock(start, block, className);
  } catch (...) {
    // A back end that undid its work may have put the array's own block back; keep that one.
    Buffer const* const there = trie.ConstGetPtr(start);
    if (there != nullptr && there->Values() == block.Values()) trie.Remove(start);
    trie.ForgetLastFound(); // other blocks may be in memory now; the next access evicts them
    throw;
  }
  // A back end that found the list changed meanwhile may have dropped all blocks before reading.
  if (trie.Contains(start) == 0) trie.Insert(start, block);
  return trie.ConstGetPtr(start);
}

template <class T>
void cls_ArrayPrim<T>::ReadBlock(int start, Buffer const& block, char const* className) const {
  if (m_Agent == nullptr) Print(className, "In %s::GetBuffer() Missing agent.");
  int const count = CountIn(start);
  int const read = m_Agent->ReadRun(start, count, block.Values());
  // The array may have been made longer than what is stored.
  if (read < count) std::fill(block.Values() + std::max(read, 0), block.Values() + count, T());
}

template <class T> void cls_ArrayPrim<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
  visitor.CheckCollectionType(ListCode<T>());
  DBWriteBody(visitor);
}

template <class T> unsigned int cls_ArrayPrim<T>::DynTypeId() const {
  return TypeId();
}

template <class T> void cls_ArrayPrim<T>::DBWriteBody(cls_WriteVisitor const& visitor) const {
  if (m_Agent != nullptr) return; // the elements are already in storage
  Hold(cls_MakeListAgent<T>(*visitor.Memento(), 1));
  int const stored = m_Agent->Count();
  if (m_Size <= 0) {
    m_Size = stored;
    return;
  }
  if (stored != 0) Print("cls_ArrayPrim", "%s::DBWrite: Index conflicts(s) in list."); // intentional: "(s)"
  // Intentional: only changed blocks are written. A back end that keeps arrays calls MarkBlocks first.
  EvictBlocks(m_Size);
  this->Flush();
}

template <class T> void cls_ArrayPrim<T>::MarkBlocks() const {
  cls_PTrieIter<int, Buffer, 1> iter(*m_Blocks.Ptr());
  for (iter.First(); iter.IsDone() == 0; iter.Next())
    if (CountIn(iter.CurrentKey()) > 0) iter.CurrentValue().SetDirty(true);
}

template <class T> int cls_ArrayPrim<T>::FirstMissing() const {
  long long missing = 0; // blocks come in ascending order
  cls_PTrieIter<int, Buffer, 1> iter(*m_Blocks.Ptr());
  for (iter.First(); iter.IsDone() == 0 && iter.CurrentKey() == missing; iter.Next())
    missing += Buffer::ElementCount;
  return static_cast<int>(std::min<long long>(missing, m_Size));
}

template <class T> void cls_ArrayPrim<T>::Release() const {
  EvictBlocks(-1);
}

template <class T> void cls_ArrayPrim<T>::DropBlocks() {
  if (m_Agent != nullptr) return;
  m_Blocks.Ptr()->Clear();
  m_Size = 0;
}

template <class T> int cls_ArrayPrim<T>::Refresh() {
  if (m_Agent == nullptr || !m_Agent->Changed()) return 0;
  m_Size = m_Agent->Count();
  EvictBlocks(-1);
  return 1;
}

template <class T> void cls_ArrayPrim<T>::AppendBlock(T const* values, int count) {
  AppendBlockAs(values, count, "cls_ArrayPrim");
}

template <class T> void cls_ArrayPrim<T>::AppendBlockAs(T const* values, int count, char const* className) {
  if (m_Agent == nullptr)
    Print(className, "%s::AppendBlock: Collection must be associated with a database for this method.");
  this->Flush();
  m_Agent->WriteRun(m_Size, count, values);
  this->Flush();
  m_Size += count;
}

template <class T> void cls_ArrayPrim<T>::ReportRange(char const* operation, char const* className) {
  std::fprintf(stderr, "In %s::%s() Index out of range.", className, operation);
}

template cls_ArrayPrimBuffer<cow_String>::cls_ArrayPrimBuffer();

template class cls_ArrayPrim<int>;
template class cls_ArrayPrim<float>;
template class cls_ArrayPrim<double>;
template class cls_ArrayPrim<bool>;
template class cls_ArrayPrim<cow_String>;
template class cls_ArrayPrim<unsigned int>;
template class cls_ArrayPrim<long long>;
template class cls_ArrayPrim<unsigned long long>;
template class cls_ArrayPrim<cls_Complex<float>>;
template class cls_ArrayPrim<cls_Complex<double>>;

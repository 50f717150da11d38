#pragma once

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <stdexcept>
#include <string>
#include <type_traits>
#include <utility>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/backend/cls_HolderSlot.h"
#include "persist/backend/cls_MoreLists.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_TypedMementoWrite.h"

// Builders, cursors and agents for a back end that reaches the elements of a collection by index, for
// instance because it has them in memory. The back end writes one class, `Elements`. Each class here is the
// builder, the cursor and the agent of one kind of collection; cls_IndexedMementoWrite and
// cls_IndexedMementoRead make them all. examples/backend-jsonl is such a back end.
//
// An Elements is a copyable handle on the collection of one object. It stays valid when the mementos are
// deleted, when the session ends, and for a collection that is absent. Entries of a map have two columns: 0
// is the key, 1 the value or the object. Elements of a list have column 0; those of a blob are bytes, as
// unsigned char. Its members:
//
//     int Count() const;                            // 0 when absent
//     template <class T> T Get(int index, int column) const;
//     template <class T> void Put(int index, int column, T const& value); // index Count(): adds an element
//                                                   // T: all elements of lists, also those of cls_MoreLists.h
//     void Resize(int count);                       // new elements are empty objects, or zero bytes
//     void Erase(int index);                        // nothing for an index that is not there
//     cls_MementoRead* ReadObject(int index, int column) const; // index -1: of an empty object
//     cls_MementoWrite* WriteObject(int index, int column, unsigned int classId, cls_Uid const& uid);
//     int RowWidth() const;                         // 1 when absent
//     int SizeHint() const;
//     bool IsWritable() const; // false when absent, undone, and when the session has ended
//     int ForeignChanges() const;                   // by other sessions, so far
//     MySession* Session() const; // null when it has ended; then ForeignChanges is not called
//     [[noreturn]] void Raise(std::string const& text) const; // an exception that names storage and object
//     // The first container of a list that is being saved. Refuses one that lacks elements, and keeps the
//     // others until the save has succeeded. Marks their blocks as changed if the list is empty, so that
//     // they are written. cls_KeepArray (collections/cls_KeptArray.h) does all three.
//     template <class T> void Keep(cls_PC& holder) const;
//
// and those of the session, which may be a cls_BackEndSession:
//
//     cls_AgentRegistry& Agents();
//     void EndFlush(); // called only when the collection is writable
//     void Refresh();  // looks for what other sessions have changed; nothing while this one writes
//     void KeepFailure() noexcept; // called in a catch block: the next commit raises the exception again
//
// Members that change the collection raise an exception when it is not writable. The last container that lets
// go of a list writes its elements back in its destructor: what fails then goes to KeepFailure. A run is refused
// if another session has changed the list since this agent's container saw it, because a block also has elements
// that its own program did not change. Maps of objects find a key by a linear search. Errors: whatever Elements
// raises; std::out_of_range for an index outside. Thread rule: one thread.

/// The agents of a session that containers hold, and those containers. The session calls Flush before a
/// commit and before stored data is read by other means; Flush and then Detach before it ends.
class cls_AgentRegistry {
 public:
  /// What an agent derives from to be registered.
  class Agent {
   public:
    virtual ~Agent() = default;
    [[nodiscard]] virtual bool IsHeld() const = 0;
    /// Adds references that no container has, or removes them if the number is negative. Deletes nothing.
    virtual void Grip(int references) noexcept = 0;
  };

  void Hold(cls_PC* holder, Agent* agent) {
    m_Agents.insert(agent);
    Slot& slot = m_Holders.FreeSlot();
    slot.m_Agent = agent;
    slot.Link(holder);
  }
  void Prune() noexcept { m_Holders.Prune(); }
  void Forget(Agent* agent) noexcept { m_Agents.erase(agent); }

  /// As in cls_Holders.
  [[nodiscard]] int Count() const noexcept { return m_Holders.Count(); }
  template <class Act> void ForEach(Act act) const { m_Holders.ForEach(act); }

  /// Flushes all containers, or those of one agent.
  void Flush(Agent const* only = nullptr) const {
    m_Holders.ForEach([only](cls_PC const& holder, Slot const& slot) {
      if (only == nullptr || slot.m_Agent == only) holder.Flush();
    });
  }
  /// Detaches all containers, and deletes the agents that none holds any more. Intentional: a two-dimensional
  /// array that is assigned to drops its agent and does not delete it.
  void Detach() {
    m_Holders.Detach();
    DeleteUnheld();
  }
  /// Detaches the containers for which `isIt` returns true, without writing anything back: what they are tied
  /// to is undone. They keep their identities.
  template <class IsIt> void DetachUnwritten(IsIt isIt) {
    for (Agent* const agent : m_Agents) agent->Grip(1);
    m_Holders.ForEach([&isIt](cls_PC& holder, Slot const&) {
      if (isIt(holder)) holder.Detach();
    });
    for (Agent* const agent : m_Agents) agent->Grip(-1);
    DeleteUnheld();
  }

 private:
  struct Slot : cls_HolderSlot {
    Agent* m_Agent = nullptr;
  };
  void DeleteUnheld() {
    for (auto next = m_Agents.begin(); next != m_Agents.end();) {
      Agent* const agent = *next++; // its destructor removes it
      if (!agent->IsHeld()) delete agent;
    }
  }

  cls_Holders<Slot> m_Holders;
  std::set<Agent*> m_Agents;
};

/// What all agents share: counted references, registered containers, changes by other sessions.
template <class Interface, class Elements>
class cls_IndexedAgent : public Interface, private cls_AgentRegistry::Agent {
 public:
  explicit cls_IndexedAgent(Elements elements)
      : m_Elements(std::move(elements)), m_Seen(IsOpen() ? m_Elements.ForeignChanges() : 0) {}
  ~cls_IndexedAgent() override {
    if (IsOpen()) m_Elements.Session()->Agents().Forget(this);
  }

  /// Raises an exception at every call while a container has changes that it can no longer write.
  bool Changed() override {
    if (!IsOpen()) return false;
    m_Elements.Session()->Refresh();
    int const now = m_Elements.ForeignChanges();
    if (now == m_Seen) return false;
    m_Elements.Session()->Agents().Flush(this);
    m_Seen = now;
    return true;
  }
  void EndFlush() override {
    if (m_Elements.IsWritable()) Guarded([this] { m_Elements.Session()->EndFlush(); });
  }
  void AddReference() override { ++m_References; }
  void DropReference() override {
    --m_References;
    m_IsLettingGo = m_References == 0;
    if (IsOpen()) m_Elements.Session()->Agents().Prune();
  }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override { return !m_Elements.IsWritable(); }

 protected:
  void Register(cls_PC* holder) {
    if (IsOpen()) m_Elements.Session()->Agents().Hold(holder, this);
  }
  [[nodiscard]] bool IsOpen() const { return m_Elements.Session() != nullptr; }

  /// The elements as the storage has them now, for changing them.
  Elements& ToChange() {
    if (IsOpen()) m_Elements.Session()->Refresh();
    return m_Elements;
  }
  void CheckSeen() const {
    if (IsOpen() && m_Elements.ForeignChanges() != m_Seen)
      m_Elements.Raise("another session has changed it since this array saw it; the array cannot be written");
  }
  /// Keeps a failure for the next commit if the last container lets go: it may be in its destructor.
  template <class Act> void Guarded(Act act) {
    try {
      act();
    } catch (...) {
      if (!m_IsLettingGo) throw;
      if (IsOpen()) m_Elements.Session()->KeepFailure();
    }
  }

  Elements m_Elements;

 private:
  [[nodiscard]] bool IsHeld() const override { return m_References > 0; }
  void Grip(int references) noexcept override { m_References += references; }

  int m_Seen;
  int m_References = 0;
  bool m_IsLettingGo = false;
};

/// A list of bool, cow_String, float, double, unsigned int or int.
template <class T, class Elements>
class cls_IndexedList final : public cls_IndexedAgent<cls_AgentListPrim<T>, Elements>,
                              public cls_WriteListPrim<T>,
                              public cls_ReadListPrim<T> {
 public:
  /// `isSaved`: a container that is being saved will hold the list.
  explicit cls_IndexedList(Elements elements, bool isSaved = false)
      : cls_IndexedAgent<cls_AgentListPrim<T>, Elements>(std::move(elements)), m_IsSaved(isSaved) {}

  int Count() override { return this->m_Elements.Count(); }
  int SizeHint() override { return this->m_Elements.SizeHint(); }
  void RegisterHolder(cls_PC* holder) override {
    if (std::exchange(m_IsSaved, false) && this->IsOpen()) this->m_Elements.template Keep<T>(*holder);
    this->Register(holder);
  }
  void WriteRun(int firstIndex, int count, T const* values) override {
    if (count <= 0) return; // also of an array that was made shorter: fills no gap
    this->Guarded([&] {
      if (firstIndex < 0) throw std::out_of_range("A list has no element with a negative index.");
      Elements& elements = this->ToChange();
      this->CheckSeen();
      for (int i = Count(); i < firstIndex; ++i) elements.Put(i, 0, T());
      for (int i = 0; i < count; ++i) elements.Put(firstIndex + i, 0, values[i]);
    });
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    int const read = firstIndex < 0 ? 0 : std::max(0, std::min(Count() - firstIndex, count));
    for (int i = 0; i < read; ++i) destination[i] = this->m_Elements.template Get<T>(firstIndex + i, 0);
    return read;
  }

  void AppendRun(int count, T const* elements) override { WriteRun(Count(), count, elements); }
  void Append(T const& element) override { WriteRun(Count(), 1, &element); }

  int RowWidth() override { return this->m_Elements.RowWidth(); }
  int More() override { return m_Next < Count() ? 1 : 0; }
  int NextRun(int count, T* destination) override {
    int const read = ReadRun(m_Next, count, destination);
    m_Next += read;
    return read;
  }
  T Next() override { return this->m_Elements.template Get<T>(m_Next++, 0); }

 private:
  bool m_IsSaved;
  int m_Next = 0;
};

/// A list that is written and read as a whole, of elements that no bulk array has (cls_MoreLists.h).
template <class T, class Elements>
class cls_IndexedWholeList final : public cls_WriteListPrim<T>, public cls_ReadListPrim<T> {
 public:
  explicit cls_IndexedWholeList(Elements elements) : m_Elements(std::move(elements)) {}

  void AppendRun(int count, T const* elements) override {
    for (int i = 0; i < count; ++i) Append(elements[i]);
  }
  void Append(T const& element) override { m_Elements.Put(Count(), 0, element); }

  int Count() override { return m_Elements.Count(); }
  int RowWidth() override { return m_Elements.RowWidth(); }
  int More() override { return m_Next < Count() ? 1 : 0; }
  int NextRun(int count, T* destination) override {
    int read = 0;
    for (; read < count && More() != 0; ++read) destination[read] = Next();
    return read;
  }
  T Next() override { return m_Elements.template Get<T>(m_Next++, 0); }

 private:
  Elements m_Elements;
  int m_Next = 0;
};

/// What a memento makes for a list of T.
template <class T, class Elements>
using cls_IndexedListOf =
    std::conditional_t<cls_IsListElement<T>, cls_IndexedList<T, Elements>, cls_IndexedWholeList<T, Elements>>;

/// A map or an int table of values. `K` and `V` are the parameters of the builder's Insert, with references.
template <class Builder, class Cursor, class K, class V, class Elements>
class cls_IndexedEntries final : public Builder, public Cursor {
 public:
  explicit cls_IndexedEntries(Elements elements) : m_Elements(std::move(elements)) {}

  void Insert(K key, V value) override {
    int const index = Count();
    m_Elements.Put(index, 0, key);
    m_Elements.Put(index, 1, value);
  }

  int Count() override { return m_Elements.Count(); }
  int More() override { return m_Next < Count() ? 1 : 0; }
  std::remove_cvref_t<V> Next() override {
    return m_Elements.template Get<std::remove_cvref_t<V>>(m_Next++, 1);
  }
  void Key(std::remove_cvref_t<K>& key) override {
    key = m_Elements.template Get<std::remove_cvref_t<K>>(m_Next - 1, 0);
  }

 private:
  Elements m_Elements;
  int m_Next = 0;
};

template <class K, class T, class Elements>
using cls_IndexedMap =
    cls_IndexedEntries<cls_WriteMapOf<K, T>, cls_ReadMapOf<K, T>, K const&, T const&, Elements>;
template <class Elements>
using cls_IndexedIntTable = cls_IndexedEntries<cls_WriteIntTableInt, cls_ReadIntTableInt, int, int, Elements>;

/// A list of objects.
template <class Elements>
class cls_IndexedObjectList final : public cls_IndexedAgent<cls_AgentListObj, Elements>,
                                    public cls_WriteListObj,
                                    public cls_ReadListObj {
 public:
  using cls_IndexedAgent<cls_AgentListObj, Elements>::cls_IndexedAgent;

  int Count() override { return this->m_Elements.Count(); }
  int Count() const override { return this->m_Elements.Count(); }
  int SizeHint() override { return this->m_Elements.SizeHint(); }
  void RegisterHolder(cls_PC* holder) override { this->Register(holder); }
  void SetCount(int count) override {
    if (count < 0) throw std::out_of_range("A list cannot have a negative number of elements.");
    this->ToChange().Resize(count);
  }
  cls_MementoRead* MakeReadObj(int index) override {
    return this->m_Elements.ReadObject(index >= 0 && index < Count() ? index : -1, 0);
  }
  cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) override {
    this->ToChange();
    CheckIndex(index, Count());
    return WriteAt(index, classId, uid);
  }
  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) override {
    return WriteAt(Count(), classId, uid);
  }
  void Remove(int index) override {
    Elements& elements = this->ToChange();
    CheckIndex(index, Count() - 1);
    elements.Erase(index);
  }

  int Position() override { return m_Next; }
  int More() override { return m_Next < Count() ? 1 : 0; }
  void Skip(int count) override { m_Next = std::min(Count(), m_Next + count); }
  cls_MementoRead* Next() override { return MakeReadObj(m_Next++); }
  cls_MementoRead* At(int index) override { return MakeReadObj(index); }

 private:
  cls_MementoWrite* WriteAt(int index, unsigned int classId, cls_Uid const& uid) {
    int const count = Count();
    try {
      return this->m_Elements.WriteObject(index, 0, classId, uid);
    } catch (...) {
      if (Count() > count) this->m_Elements.Erase(count); // an element without its object
      throw;
    }
  }
  /// An index beyond the end passes if the list is not writable: changing it then raises the better exception.
  void CheckIndex(int index, int last) const {
    if (index < 0 || (index > last && this->m_Elements.IsWritable()))
      throw std::out_of_range("A list of " + std::to_string(Count()) + " objects has no element " +
                              std::to_string(index) + ".");
  }

  int m_Next = 0;
};

/// The cursor over a map from text, with the Find that the cursor over a map from int has.
class cls_FindingMapString2Obj : public cls_ReadMapString2Obj {
 public:
  virtual bool Find(cow_String const& key) = 0;
};

/// A map of objects. A builder adds an entry for each object; an agent replaces the entry of a key that is
/// there.
template <class K, class Elements>
class cls_IndexedObjectMap final
    : public cls_IndexedAgent<cls_AgentMapKey2Obj<K>, Elements>,
      public cls_WriteObjectMapOf<K>,
      public std::conditional_t<std::is_same_v<K, int>, cls_ReadMapInt2Obj, cls_FindingMapString2Obj> {
 public:
  cls_IndexedObjectMap(Elements elements, bool isBuilder)
      : cls_IndexedAgent<cls_AgentMapKey2Obj<K>, Elements>(std::move(elements)), m_IsBuilder(isBuilder) {}

  int Count() override { return this->m_Elements.Count(); }
  int Count() const override { return this->m_Elements.Count(); }
  int SizeHint() override { return this->m_Elements.SizeHint(); }
  void RegisterHolder(cls_PC* holder) override { this->Register(holder); }
  bool Contains(K const& key) override { return IndexOf(key) >= 0; }
  bool Remove(K const& key) override {
    Elements& elements = this->ToChange();
    int const index = IndexOf(key);
    if (index >= 0 || !elements.IsWritable()) elements.Erase(index);
    return index >= 0;
  }
  void Clear() override { this->ToChange().Resize(0); }
  cls_MementoRead* MakeReadObj(K const& key) override { return this->m_Elements.ReadObject(IndexOf(key), 1); }
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override {
    Elements& elements = m_IsBuilder ? this->m_Elements : this->ToChange();
    int const count = Count();
    int const index = m_IsBuilder ? -1 : IndexOf(key);
    try {
      cls_Received<cls_MementoWrite> memento(
          elements.WriteObject(index < 0 ? count : index, 1, classId, uid));
      if (index < 0) elements.Put(count, 0, key); // after what a failure of the object undoes has begun
      return memento.release();
    } catch (...) {
      if (Count() > count) elements.Erase(count); // an entry without its object
      throw;
    }
  }
  bool FirstKey(K& key) override { return Walk(key, false, true); }
  bool NextKey(K& key) override { return Walk(key, true, true); }
  bool LastKey(K& key) override { return Walk(key, false, false); }
  bool PreviousKey(K& key) override { return Walk(key, true, false); }

  int More() override { return m_Next < Count() ? 1 : 0; }
  void Next() override { ++m_Next; }
  cls_MementoRead* Fetch(K& key) override {
    key = KeyAt(m_Next - 1);
    return this->m_Elements.ReadObject(m_Next - 1, 1);
  }
  bool Find(K const& key) override {
    int const index = IndexOf(key);
    if (index >= 0) m_Next = index + 1;
    return index >= 0;
  }

 private:
  [[nodiscard]] K KeyAt(int index) const { return this->m_Elements.template Get<K>(index, 0); }
  [[nodiscard]] int IndexOf(K const& key) const {
    for (int i = 0; i < Count(); ++i)
      if (KeyAt(i) == key) return i;
    return -1;
  }
  /// Sets `key` to the lowest key (or the highest, if not `isUp`) of all keys, or of those beyond `key`. Returns
  /// false, and leaves `key` alone, if there is none.
  bool Walk(K& key, bool isBeyond, bool isUp) const {
    auto const isBefore = [isUp](K const& a, K const& b) { return isUp ? a < b : b < a; };
    std::optional<K> first;
    for (int i = 0; i < Count(); ++i) {
      K const other = KeyAt(i);
      if ((!isBeyond || isBefore(key, other)) && (!first || isBefore(other, *first))) first = other;
    }
    if (first) key = *first;
    return first.has_value();
  }

  bool m_IsBuilder;
  int m_Next = 0;
};

/// A blob: a list of bytes, at most 2^31 - 1 of them. Writing more throws std::length_error, writing before the
/// beginning std::out_of_range.
template <class Elements> class cls_IndexedBlob final : public cls_IndexedAgent<cls_AgentBlob, Elements> {
 public:
  using cls_IndexedAgent<cls_AgentBlob, Elements>::cls_IndexedAgent;

  long long Size() override { return this->m_Elements.Count(); }
  long long Read(long long offset, long long sizeBytes, void* destination) override {
    long long const read = offset < 0 ? 0 : std::max(0LL, std::min(Size() - offset, sizeBytes));
    for (long long i = 0; i < read; ++i)
      static_cast<unsigned char*>(destination)[i] =
          this->m_Elements.template Get<unsigned char>(static_cast<int>(offset + i), 0);
    return read;
  }
  void Write(long long offset, long long sizeBytes, void const* source) override {
    if (sizeBytes <= 0) return;
    if (offset < 0) throw std::out_of_range("A blob has no byte at a negative offset.");
    Elements& elements = this->ToChange();
    long long const size = std::max(Size(), offset + sizeBytes);
    if (size > std::numeric_limits<int>::max()) throw std::length_error("a blob of more than 2^31 - 1 bytes");
    elements.Resize(static_cast<int>(size)); // a gap is zeros
    for (long long i = 0; i < sizeBytes; ++i)
      elements.Put(static_cast<int>(offset + i), 0, static_cast<unsigned char const*>(source)[i]);
  }
  void Truncate(long long sizeBytes) override {
    this->ToChange().Resize(static_cast<int>(std::max(0LL, std::min(Size(), sizeBytes))));
  }
};

/// What a collection is made of.
enum class cls_ElementKind { Values, Entries, Objects, ObjectEntries, Bytes };

/// Base of a writing memento: cls_TypedMementoWrite with all collections, and enumerations. `Self` has two more
/// members:
///
///     Elements Restart(cls_ElementKind kind, int width);    // makes the object's collection empty
///     Elements GoOn(cls_ElementKind kind, int sizeHint);    // with the elements that it has
template <class Self, class Elements>
class cls_IndexedMementoWrite : public cls_TypedMementoWrite<Self>, public cls_TypedWritesMoreLists<Self> {
 public:
  using Kind = cls_ElementKind;

  /// As an int.
  void WriteEnum(cls_FieldHandle const& field, int const& value) override { this->Write(field, value); }
  /// As an object that is not held copy-on-write.
  cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                         cls_Uid const& uid, cow_COW<int, cow_Direct<int>> const*) override {
    return this->MakeFieldWriteObj(field, classId, uid, nullptr);
  }
  cls_WriteListObj* MakeWriteListObj() override {
    return new cls_IndexedObjectList<Elements>(IndexedSelf().Restart(Kind::Objects, 1));
  }
  cls_WriteIntTableInt* MakeWriteIntTableInt() override {
    return new cls_IndexedIntTable<Elements>(IndexedSelf().Restart(Kind::Entries, 1));
  }
  cls_AgentListObj* MakeAgentListObj(int sizeHint) override {
    return new cls_IndexedObjectList<Elements>(IndexedSelf().GoOn(Kind::Objects, sizeHint));
  }
  cls_AgentBlob* MakeAgentBlob() override {
    return new cls_IndexedBlob<Elements>(IndexedSelf().Restart(Kind::Bytes, 1));
  }

  // For cls_TypedMementoWrite.
  template <class T> cls_WriteListPrim<T>* MakeListOf(T const*, int width) {
    return new cls_IndexedListOf<T, Elements>(IndexedSelf().Restart(Kind::Values, width));
  }
  template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const*) {
    return new cls_IndexedMap<K, T, Elements>(IndexedSelf().Restart(Kind::Entries, 1));
  }
  template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf() {
    return new cls_IndexedObjectMap<K, Elements>(IndexedSelf().Restart(Kind::ObjectEntries, 1), true);
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const*, int sizeHint) {
    return new cls_IndexedList<T, Elements>(IndexedSelf().GoOn(Kind::Values, sizeHint), true);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const*, int sizeHint) {
    return new cls_IndexedObjectMap<K, Elements>(IndexedSelf().GoOn(Kind::ObjectEntries, sizeHint), false);
  }

 private:
  [[nodiscard]] Self& IndexedSelf() noexcept { return static_cast<Self&>(*this); }
};

/// Base of a reading memento: cls_TypedMementoRead with all collections, and enumerations. `Self` has one more
/// member:
///
///     Elements ElementsOf(cls_ElementKind kind); // may be absent
template <class Self, class Elements>
class cls_IndexedMementoRead : public cls_TypedMementoRead<Self>, public cls_TypedReadsMoreLists<Self> {
 public:
  using Kind = cls_ElementKind;

  /// As an int; 0 if the field is absent.
  int ReadEnum(cls_FieldHandle const& field) override { return this->Read(field, 0); }
  cls_ReadListObj* MakeReadListObj() override {
    return new cls_IndexedObjectList<Elements>(IndexedSelf().ElementsOf(Kind::Objects));
  }
  cls_ReadIntTableInt* MakeReadIntTableInt() override {
    return new cls_IndexedIntTable<Elements>(IndexedSelf().ElementsOf(Kind::Entries));
  }
  cls_AgentListObj* MakeAgentListObj() override {
    return new cls_IndexedObjectList<Elements>(IndexedSelf().ElementsOf(Kind::Objects));
  }
  cls_AgentBlob* MakeAgentBlob() override {
    return new cls_IndexedBlob<Elements>(IndexedSelf().ElementsOf(Kind::Bytes));
  }

  // For cls_TypedMementoRead.
  template <class T> cls_ReadListPrim<T>* MakeListOf(T*) {
    return new cls_IndexedListOf<T, Elements>(IndexedSelf().ElementsOf(Kind::Values));
  }
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T*) {
    return new cls_IndexedMap<K, T, Elements>(IndexedSelf().ElementsOf(Kind::Entries));
  }
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf() {
    return new cls_IndexedObjectMap<K, Elements>(IndexedSelf().ElementsOf(Kind::ObjectEntries), false);
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T*) {
    return new cls_IndexedList<T, Elements>(IndexedSelf().ElementsOf(Kind::Values));
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K*) {
    return new cls_IndexedObjectMap<K, Elements>(IndexedSelf().ElementsOf(Kind::ObjectEntries), false);
  }

 private:
  [[nodiscard]] Self& IndexedSelf() noexcept { return static_cast<Self&>(*this); }
};

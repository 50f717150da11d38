#pragma once

#include <memory>
#include <new>
#include <utility>
#include <vector>

#include "store/format/sto_CollectionShape.h"
#include "store/session/sto_Session.h"

/// The record of an object that is being saved: collects the object's parts and its list. The mementos and
/// builders of the object own it together; its destructor, after the last of them, writes the record. If an
/// exception is passing through then, it writes nothing and marks the save as incomplete. The session keeps a
/// failure of the destructor. Internal to the module. Thread rule: the thread of the session.
class sto_RecordInProgress final : public sto_ListTarget {
 public:
  /// `depth` is the number of objects that hold this one, one inside another (Full if too many);
  /// `occurrence` and `meeting` say where the save reached it.
  sto_RecordInProgress(sto_Session& session, std::int64_t id, sto_ClassInUse& inUse, int depth,
                       cls_Reach::Occurrence const& occurrence, cls_Reach::Meeting const& meeting);
  sto_RecordInProgress(sto_RecordInProgress const&) = delete;
  sto_RecordInProgress& operator=(sto_RecordInProgress const&) = delete;
  ~sto_RecordInProgress();

  /// Records are made with `new (session)`, in the session's memory for mementos. Throws std::bad_alloc.
  static void* operator new(std::size_t size, sto_Session& session) { return session.Mementos().Give(size); }
  static void operator delete(void* memory, sto_Session& session) noexcept { // if the constructor throws
    session.Mementos().TakeBack(memory, sizeof(sto_RecordInProgress));
  }
  static void operator delete(sto_RecordInProgress* record, std::destroying_delete_t) noexcept {
    sto_MementoPool& pool = record->m_Session.Mementos();
    record->~sto_RecordInProgress();
    pool.TakeBack(record, sizeof(sto_RecordInProgress));
  }

  [[nodiscard]] sto_Session& Session() noexcept { return m_Session; }
  [[nodiscard]] sto_RecordBuilder& Record() noexcept { return *m_Record; }
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  [[nodiscard]] sto_ClassInUse& Class() noexcept { return m_Class; }
  [[nodiscard]] int Depth() const noexcept { return m_Depth; }
  /// Whether so many objects are being written, one inside another, that the next one is left for later.
  [[nodiscard]] bool IsDeep() const noexcept { return m_Session.Save().Later().IsDeep(m_Depth); }

  /// "object 7 (heat_Mesh)", for messages.
  [[nodiscard]] std::string Describe() const;

  /// Notes the attribute that holds this collection, and its class. REQUIRES: both outlive this object.
  void HeldBy(cls_ClassMetadata const& holder, cls_AttributeMetadata const& attribute) noexcept {
    m_Holder = &holder;
    m_Attribute = &attribute;
  }
  /// Adds the part of the next base class up, and returns its index.
  [[nodiscard]] std::size_t AddBasePart(sto_ClassInUse& inUse, std::int64_t id);

  /// Misuse if the attribute that holds this object is known and not declared for such a collection.
  void CheckShape(sto_CollectionShape const& shape);

  /// Keeps `scope` alive until the record is written.
  void KeepUntilWritten(std::shared_ptr<sto_ElementSave> scope) noexcept { m_Scope = std::move(scope); }

  void WriteBlock(sto_Bytes& elements, std::uint8_t elementType) override;
  /// Writes a block of a map in chunks, unless the store has it. Full if there are too many.
  void WriteChunk(int number, sto_Bytes& content);
  /// Sets the numbers of all blocks of a map in chunks, ascending; others are deleted with the object's
  /// previous content.
  void SetChunks(std::vector<int> numbers) { m_Chunks = std::move(numbers); }
  /// Whether the object must be written as it is stored, because it is compared with that.
  [[nodiscard]] bool IsCompared() const noexcept { return m_Meeting.m_Comparing != cls_Comparing::Nothing; }
  /// The stored record of the object, decoded; null if there is none or it cannot be decoded. The next user of
  /// the session's scratch record overwrites it.
  [[nodiscard]] sto_Record const* ReadStored();
  void CompleteList(sto_ListHeader header, std::string_view unit) override;

  /// How many blocks have been written.
  [[nodiscard]] int BlockCount() const noexcept { return m_BlockCount; }

  /// Starts the list again: a later list of the object replaces the first.
  void RestartList() noexcept {
    m_WasRestarted = m_WasRestarted || m_BlockCount > 0 || !m_Chunks.empty();
    m_BlockCount = 0;
    m_Chunks.clear();
  }

  /// Notes that an agent was made for the object's collection; the agent then writes the record.
  void NoteAgent() noexcept { m_HadAgent = true; }

  /// Calls `put`, which writes to the record. If it fails, the record may contain half a value, so the save
  /// can only be undone, even if the failure is swallowed.
  template <class Put> void PutWhole(Put put) {
    try {
      put();
    } catch (...) {
      m_Session.Save().MarkIncomplete();
      throw;
    }
  }

  /// Puts a field into a part; `put` writes the value.
  template <class Put>
  void PutField(std::size_t part, sto_FieldKey const& key, sto_Format::ValueTag tag, Put put) {
    PutWhole([&] {
      sto_ValueWriter writer(m_Record->StartField(part, key, tag));
      put(writer);
    });
  }

  /// Whether an exception began after this object did.
  [[nodiscard]] bool IsUnwinding() const noexcept { return std::uncaught_exceptions() > m_Exceptions; }

 private:
  /// "list" or "map" for a collection whose attribute is declared for a single value; otherwise null.
  [[nodiscard]] char const* SingleValueName() const;
  [[noreturn]] void RaiseAttribute(std::string const& problem) const;
  /// For a list or a map without written elements: if it is open in this session, returns true, and its agent
  /// writes the record. If it is open in another session, copies it from there and returns false.
  [[nodiscard]] bool LeaveToAgent();
  /// The agents in other open stores that have the object's collection open.
  [[nodiscard]] std::vector<sto_OpenCollection*> ForeignAgents() const;
  void CopyFrom(sto_OpenCollection& foreign);
  /// Unavailable if a lost collection had the object's identity.
  void CheckLost() const;
  [[noreturn]] void RaiseNothingWritten() const;
  /// If the collection replaces a stored one that differs, gives it a new version.
  void CarryChanges();
  /// Writes the field that the stored collection has.
  void KeepFields(sto_Part const& stored);
  /// Misuse if a base class declares attributes and its part was not written.
  void CheckBaseParts() const;
  /// Compares the finished record with the stored one. Returns whether it must be written, that is whether
  /// they differ; if not, marks the visit as written. Conflict if they differ and must not.
  [[nodiscard]] bool CompareRecord(sto_Session::RecordToWrite const& record);
  /// Writes a block, unless the store has it.
  void WriteBlockAt(int index, sto_Bytes& elements, std::size_t elementBytes);
  /// Deletes the blocks that the object's previous content had and this one has not.
  void DeleteOtherBlocks();
  /// Called if the object differs from what it is compared with: raises Conflict, or notes it for the end of
  /// the save.
  void NoteDifference() const;
  /// What holds the object at this place, for messages.
  [[nodiscard]] std::string HolderText() const;
  /// Raises Conflict for two objects in memory that have one identity and differ.
  [[noreturn]] void RaiseTwoObjects() const;
  /// Checks the object and writes its record.
  void Finish();

  friend class sto_RecordInProgressRef;

  int m_Owners = 0;                         // counted by sto_RecordInProgressRef
  std::shared_ptr<sto_ElementSave> m_Scope; // declared first, destroyed last: it ends the record's save
  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_ClassInUse& m_Class;
  int m_Depth;
  cls_ClassMetadata const* m_Holder = nullptr;
  cls_AttributeMetadata const* m_Attribute = nullptr;
  cls_Reach::Occurrence m_Occurrence; // its address tells the containers of one identity apart
  cls_Reach::Meeting m_Meeting;
  sto_ClassInUse const* m_LastClass; // of the part that was added last
  int m_BlockCount = 0;
  std::vector<int> m_Chunks;   // the numbers of the blocks of a map in chunks
  bool m_WasRestarted = false; // blocks of an earlier content were written in this save
  bool m_HasNewBlocks = false; // a block was written: the store did not have it
  bool m_HadAgent = false;
  int m_Exceptions = std::uncaught_exceptions();
  std::unique_ptr<sto_RecordBuilder> m_Record; // from the session's spare builders; given back at the end
};
static_assert(sizeof(sto_RecordInProgress) <= sto_MementoPool::PieceBytes);

/// A counted handle on a record in progress. The count is a plain integer: all handles belong to the thread of
/// the session. The last one deletes the record, which writes it.
class sto_RecordInProgressRef {
 public:
  explicit sto_RecordInProgressRef(sto_RecordInProgress* record) noexcept : m_Record(record) {
    ++m_Record->m_Owners;
  }
  sto_RecordInProgressRef(sto_RecordInProgressRef const& other) noexcept : m_Record(other.m_Record) {
    if (m_Record != nullptr) ++m_Record->m_Owners;
  }
  sto_RecordInProgressRef(sto_RecordInProgressRef&& other) noexcept
      : m_Record(std::exchange(other.m_Record, nullptr)) {}
  sto_RecordInProgressRef& operator=(sto_RecordInProgressRef other) noexcept {
    std::swap(m_Record, other.m_Record);
    return *this;
  }
  ~sto_RecordInProgressRef() {
    if (m_Record != nullptr && --m_Record->m_Owners == 0) delete m_Record;
  }

  [[nodiscard]] sto_RecordInProgress& operator*() const noexcept { return *m_Record; }
  [[nodiscard]] sto_RecordInProgress* operator->() const noexcept { return m_Record; }

 private:
  sto_RecordInProgress* m_Record;
};

#pragma once

#include <memory>
#include <vector>

#include "store/format/sto_CollectionShape.h"
#include "store/session/sto_Session.h"

/// One object on its way into the store: collects its parts and its list, and writes the record when the last
/// memento or builder of the object is deleted. Internal to the module.
///
/// When an exception is passing through at that moment, nothing is written: the save is being undone.
class sto_RecordInProgress final : public sto_ListTarget {
 public:
  /// `depth` is how many objects hold this one; `occurrence` and `meeting` say where the save has met it.
  sto_RecordInProgress(sto_Session& session, std::int64_t id, sto_ClassInUse& inUse, int depth,
                       sto_Reach::Occurrence const& occurrence, sto_Reach::Meeting const& meeting);
  sto_RecordInProgress(sto_RecordInProgress const&) = delete;
  sto_RecordInProgress& operator=(sto_RecordInProgress const&) = delete;
  ~sto_RecordInProgress();

  [[nodiscard]] sto_Session& Session() noexcept { return m_Session; }
  [[nodiscard]] sto_RecordBuilder& Record() noexcept { return *m_Record; }
  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }
  [[nodiscard]] sto_ClassInUse& Class() noexcept { return m_Class; }
  [[nodiscard]] int Depth() const noexcept { return m_Depth; }

  /// "object 7 (heat_Mesh)", for messages.
  [[nodiscard]] std::string Describe() const;

  /// Notes the attribute of another class that holds this collection; both outlive the writer.
  void HeldBy(cls_ClassMetadata const& holder, cls_AttributeMetadata const& attribute) noexcept {
    m_Holder = &holder;
    m_Attribute = &attribute;
  }
  /// Adds the part of the next base class up, and returns its index.
  [[nodiscard]] std::size_t AddBasePart(sto_ClassInUse& inUse, std::int64_t id);

  /// Misuse unless the attribute that holds this object, where that is known, is declared for such a
  /// collection.
  void CheckShape(sto_CollectionShape const& shape);

  /// Keeps `scope` until the record is written.
  void KeepUntilWritten(std::shared_ptr<sto_ElementSave> scope) noexcept { m_Scope = std::move(scope); }

  void WriteBlock(sto_Bytes& elements) override;
  void CompleteList(sto_ListHeader const& header) override { m_Record->SetList(header, {}); }

  /// How many blocks have been written.
  [[nodiscard]] int BlockCount() const noexcept { return m_BlockCount; }

  /// Starts the list over: a later list of the object replaces the first.
  void RestartList() noexcept { m_BlockCount = 0; }

  /// An agent was made for the object's collection: it writes the record.
  void NoteAgent() noexcept { m_HadAgent = true; }

  /// Calls `put`, which writes to the object. When it fails, half of a value may stand there: the save can
  /// only be undone, even when nobody passes the failure on.
  template <class Put> void PutWhole(Put put) {
    try {
      put();
    } catch (...) {
      m_Session.Save().MarkIncomplete();
      throw;
    }
  }

  /// Puts a field into a part: its tag, and what `put` writes behind it.
  template <class Put>
  void PutField(std::size_t part, sto_FieldKey const& key, sto_Format::ValueTag tag, Put put) {
    PutWhole([&] {
      sto_ByteWriter writer(m_Record->StartField(part, key));
      writer.U8(tag);
      put(writer);
    });
  }

  /// Whether an exception began after this object did.
  [[nodiscard]] bool IsUnwinding() const noexcept { return std::uncaught_exceptions() > m_Exceptions; }

 private:
  /// "list" or "map" for one whose attribute is declared for a single value; null for all else.
  [[nodiscard]] char const* SingleValueName() const;
  [[noreturn]] void RaiseAttribute(std::string const& problem) const;
  /// A list or a map that nothing was written of, because it is open: in this session, whose agent writes the
  /// record, or in another one, from which it is copied. Returns whether the record is not this writer's to
  /// write.
  [[nodiscard]] bool LeaveToAgent();
  /// The agents of other open stores that have the object's collection open.
  [[nodiscard]] std::vector<sto_OpenCollection*> ForeignAgents() const;
  void CopyFrom(sto_OpenCollection& foreign);
  /// Unavailable when a collection was lost under the object's identity.
  void CheckLost() const;
  [[noreturn]] void RaiseNothingWritten() const;
  /// Carries on the number of changes of a collection that is written over a stored one.
  void CarryChanges();
  /// Misuse when a base class declares attributes and its part was not written.
  void CheckBaseParts() const;
  /// Compares the finished record with the stored one, and returns whether it is to be written: not when it is
  /// the same, which is noted. Conflict when it must not differ, and does.
  [[nodiscard]] bool CompareRecord(sto_Bytes const& record);
  /// What is there under the object's identity, decoded; null when nothing is, or it cannot be read.
  [[nodiscard]] sto_Record const* ReadStored();
  /// The object differs from what it is compared with: Conflict, or noted until the save ends.
  void NoteDifference() const;
  /// What holds the object here, for messages.
  [[nodiscard]] std::string HolderText() const;
  /// Conflict for two objects in memory that have one identity and differ.
  [[noreturn]] void RaiseTwoObjects() const;
  void Finish();

  std::shared_ptr<sto_ElementSave> m_Scope; // goes last: it ends the save that the record belongs to
  sto_Session& m_Session;
  std::int64_t m_Id;
  sto_ClassInUse& m_Class;
  int m_Depth;
  cls_ClassMetadata const* m_Holder = nullptr;
  cls_AttributeMetadata const* m_Attribute = nullptr;
  sto_Reach::Occurrence m_Occurrence; // its address tells the containers of one identity apart
  sto_Reach::Meeting m_Meeting;
  sto_ClassInUse const* m_LastClass; // of the part that was added last
  int m_BlockCount = 0;
  bool m_HadAgent = false;
  int m_Exceptions = std::uncaught_exceptions();
  std::unique_ptr<sto_RecordBuilder> m_Record; // the session's, for the time of the writing
};

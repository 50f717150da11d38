#pragma once

#include <limits>
#include <optional>
#include <vector>

#include "persist/backend/cls_AgentListObj.h"
#include "store/agents/sto_ObjectAgentBase.h"
#include "store/session/sto_StoredBlocks.h"

/// The agent of a stored list of objects. Internal to the module; see sto_ObjectAgentBase.
class sto_ListAgentObj final : public cls_AgentListObj, public sto_ObjectAgentBase {
 public:
  sto_ListAgentObj(sto_Session& session, std::int64_t id, int depth)
      : sto_ObjectAgentBase(session, id, depth), m_Blocks(session, id) {}
  ~sto_ListAgentObj() override { WriteLastRecord(); }

  [[nodiscard]] static std::string Kind() { return "list of objects"; }
  [[nodiscard]] std::string What() const override { return Kind(); }

  int Count() override;
  int SizeHint() override { return m_SizeHint; }
  bool Changed() override { return AskChanged(); }
  void EndFlush() override { EndOfFlush(); }
  /// Misuse for a negative count.
  void SetCount(int count) override;
  cls_MementoRead* MakeReadObj(int index) override;
  /// With index Count() the list grows by one. Misuse beyond that.
  cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) override;
  void AddReference() override { ++m_References; }
  void DropReference() override { Release(); }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override { return IsReadOnly(); }
  void RegisterHolder(cls_PC* holder) override { Hold(holder); }
  /// Misuse if there is no such element.
  void Remove(int index) override;

 protected:
  [[nodiscard]] std::string Describe() const override { return "The list of object " + std::to_string(Id()); }
  [[nodiscard]] unsigned int StoredClassId() const override;
  int TakeContent(sto_RecordRef const& record) override;
  void PutContent(sto_RecordBuilder& builder) override;
  void ForgetBlocks() noexcept override { m_Blocks.Forget(); }
  void UndoInMemory() noexcept override;
  void KeepAtMark() override { ForgetKeptAtMark(); }
  void ForgetKeptAtMark() noexcept override {
    m_Changes.clear();
    m_UnwrittenAtMark.reset();
  }

 private:
  /// What the store lacks of the list.
  struct Unwritten {
    int m_StoredBlocks = 0; // how many blocks the store has of this list
    // The blocks with changed elements: single ones, and all from one on. They may be more than have changed.
    // Extended by Touch and TouchFrom, emptied when the content is read or written.
    std::vector<bool> m_Touched;
    int m_TouchedFrom = std::numeric_limits<int>::max();
  };
  /// A change by the running save.
  struct Noted {
    enum class Kind { Replaced, Appended, Other };
    Kind m_Kind;
    int m_Index = 0;                 // of the element that was replaced
    std::int64_t m_Before = 0;       // its id
    std::vector<std::int64_t> m_Ids; // all ids, before any other change
  };

  /// Notes a change that moves elements, or their number.
  void NoteOther();
  void Empty() noexcept;
  [[nodiscard]] int Size() const noexcept { return static_cast<int>(m_Ids.size()); }
  [[nodiscard]] bool Has(int index) const noexcept { return index >= 0 && index < Size(); }
  [[noreturn]] void RaiseIndex(int index) const;
  /// Notes that an element changes. May fail: call it first.
  void Touch(int index);
  /// Notes that all elements from `first` on may change.
  void TouchFrom(int first) noexcept;
  [[nodiscard]] bool IsTouched(int block) const noexcept;
  void Read(sto_ListHeader const& list);
  /// The stored form of elements that share a record or a block.
  [[nodiscard]] sto_Bytes Encoded(int first, int count) const;
  /// Replaces an element, or appends one.
  void Put(int index, std::int64_t id);

  std::vector<std::int64_t> m_Ids;
  sto_StoredBlocks m_Blocks;
  Unwritten m_Unwritten;
  std::vector<Noted> m_Changes;               // by the running save, in the order in which they were made
  std::optional<Unwritten> m_UnwrittenAtMark; // if the running save has written the list
};

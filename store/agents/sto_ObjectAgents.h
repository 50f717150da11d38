#pragma once

#include <limits>
#include <map>
#include <set>
#include <vector>

#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "store/agents/sto_ObjectAgentBase.h"
#include "store/format/sto_MapCodec.h"
#include "store/session/sto_StoredBlocks.h"

/// The open line to a stored list of objects. Internal to the module; see sto_ObjectAgentBase.
class sto_ListAgentObj final : public cls_AgentListObj, public sto_ObjectAgentBase {
 public:
  sto_ListAgentObj(sto_Session& session, std::int64_t id, int depth)
      : sto_ObjectAgentBase(session, id, depth), m_Blocks(session, id) {}
  ~sto_ListAgentObj() override { WriteLastRecord(); }

  [[nodiscard]] std::string What() const override { return "list of objects"; }

  int Count() override;
  int SizeHint() override { return m_SizeHint; }
  bool Changed() override { return AskChanged(); }
  void EndFlush() override { EndOfFlush(); }
  /// Misuse for a negative count.
  void SetCount(int count) override;
  cls_MementoRead* MakeReadObj(int index) override;
  /// The index may be Count(): the list grows by one. Misuse beyond that.
  cls_MementoWrite* MakeWriteObj(int index, unsigned int classId, cls_Uid const& uid) override;
  void AddReference() override { ++m_References; }
  void DropReference() override { Release(); }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override { return IsReadOnly(); }
  void RegisterHolder(cls_PC* holder) override { Hold(holder); }
  /// Misuse when there is no such element.
  void Remove(int index) override;

 protected:
  [[nodiscard]] std::string Describe() const override { return "The list of object " + std::to_string(Id()); }
  [[nodiscard]] unsigned int StoredClassId() const override;
  int TakeContent(sto_RecordRef const& record) override;
  void PutContent(sto_RecordBuilder& builder) override;
  void ForgetBlocks() noexcept override { m_Blocks.Forget(); }

 private:
  void Empty() noexcept;
  [[nodiscard]] int Size() const noexcept { return static_cast<int>(m_Ids.size()); }
  [[nodiscard]] bool Has(int index) const noexcept { return index >= 0 && index < Size(); }
  [[noreturn]] void RaiseIndex(int index) const;
  /// Notes that elements from one index to another changed, both included.
  void Touch(int first, int last) noexcept;
  void Read(sto_ListHeader const& list);

  std::vector<std::int64_t> m_Ids;
  sto_StoredBlocks m_Blocks;
  int m_StoredBlocks = 0; // that the store has of this list
  int m_FirstTouched = std::numeric_limits<int>::max();
  int m_LastTouched = -1;
};

/// The open line to a stored map of objects. Internal to the module; see sto_ObjectAgentBase.
///
/// The keys ascend by int, or by the bytes of the text, where no text and the empty text are one key. Of
/// several stored entries of one key the first counts; the others are gone once the agent has written the
/// map.
template <class K> class sto_MapAgentObj final : public cls_AgentMapKey2Obj<K>, public sto_ObjectAgentBase {
 public:
  sto_MapAgentObj(sto_Session& session, std::int64_t id, int depth)
      : sto_ObjectAgentBase(session, id, depth) {}
  ~sto_MapAgentObj() override { WriteLastRecord(); }

  [[nodiscard]] std::string What() const override { return sto_MapShape<K, sto_ObjectId>().Name(); }

  int Count() override;
  int SizeHint() override { return m_SizeHint; }
  bool Changed() override { return AskChanged(); }
  void EndFlush() override { EndOfFlush(); }
  bool Remove(K const& key) override;
  cls_MementoRead* MakeReadObj(K const& key) override;
  void AddReference() override { ++m_References; }
  void DropReference() override { Release(); }
  bool StillReferenced() override { return m_References > 0; }
  bool ReadOnly() override { return IsReadOnly(); }
  cls_MementoWrite* MakeWriteObj(K const& key, unsigned int classId, cls_Uid const& uid) override;
  void RegisterHolder(cls_PC* holder) override { Hold(holder); }
  bool Contains(K const& key) override;
  bool FirstKey(K& key) override;
  bool NextKey(K& key) override;
  bool LastKey(K& key) override;
  bool PreviousKey(K& key) override;
  void Clear() override;

 protected:
  [[nodiscard]] std::string Describe() const override { return "The map of object " + std::to_string(Id()); }
  [[nodiscard]] unsigned int StoredClassId() const override;
  int TakeContent(sto_RecordRef const& record) override;
  void PutContent(sto_RecordBuilder& builder) override;
  void NoteShown() noexcept override {
    sto_ObjectAgentBase::NoteShown();
    m_Unseen.clear();
  }

 private:
  /// Notes the keys that another session has changed.
  void NoteUnseen(std::map<K, std::int64_t> const& before);
  /// The id of a key's element, 0 when the key is not there.
  [[nodiscard]] std::int64_t IdOf(K const& key) const {
    auto const found = m_Ids.find(key);
    return found == m_Ids.end() ? 0 : found->second;
  }

  std::map<K, std::int64_t> m_Ids;
  std::set<K> m_Unseen; // keys that another session has changed, and no operation has shown since
};

extern template class sto_MapAgentObj<int>;
extern template class sto_MapAgentObj<cow_String>;

/// The session's agent of a collection that is stored, made when there is none. `record` is null for one that
/// is not stored. WrongClass.
template <class Agent>
[[nodiscard]] Agent* sto_AgentOfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                       int depth);
/// The session's agent of a collection that is being saved.
template <class Agent>
[[nodiscard]] Agent* sto_AgentOfSaved(sto_Session& session, std::int64_t id, int sizeHint, int depth);

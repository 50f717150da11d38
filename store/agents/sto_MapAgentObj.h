#pragma once

#include <map>
#include <set>
#include <vector>

#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "store/agents/sto_ObjectAgentBase.h"
#include "store/format/sto_MapCodec.h"

/// The agent of a stored map of objects. Internal to the module; see sto_ObjectAgentBase.
///
/// Keys ascend by number, or by the bytes of the text; no text and the empty text are the same key. If the
/// store has several entries with one key, the first one counts, and the others are dropped when the agent
/// writes the map.
template <class K> class sto_MapAgentObj final : public cls_AgentMapKey2Obj<K>, public sto_ObjectAgentBase {
 public:
  sto_MapAgentObj(sto_Session& session, std::int64_t id, int depth)
      : sto_ObjectAgentBase(session, id, depth) {}
  ~sto_MapAgentObj() override { WriteLastRecord(); }

  [[nodiscard]] static std::string Kind() { return sto_MapShape<K, sto_ObjectId>().Name(); }
  [[nodiscard]] std::string What() const override { return Kind(); }

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
  void UndoInMemory() noexcept override;
  void KeepAtMark() override { m_Changes.clear(); }
  void ForgetKeptAtMark() noexcept override { m_Changes.clear(); }

 private:
  using Ids = std::map<K, std::int64_t>;
  /// A change by the running save.
  struct Noted {
    K m_Key;
    std::int64_t m_Before;             // the id of the element that was replaced; 0: there was none
    typename Ids::node_type m_Removed; // the entry that was removed; empty: none was
  };

  void Put(K const& key, std::int64_t id);
  /// Removes an entry.
  void Take(typename Ids::iterator entry);
  /// Adds to m_Unseen the keys that differ from `before`: another session has changed them.
  void NoteUnseen(std::map<K, std::int64_t> const& before);
  /// The id of a key's element, 0 if the key does not exist.
  [[nodiscard]] std::int64_t IdOf(K const& key) const {
    auto const found = m_Ids.find(key);
    return found == m_Ids.end() ? 0 : found->second;
  }

  Ids m_Ids;
  std::vector<Noted> m_Changes; // by the running save, in the order in which they were made
  std::set<K> m_Unseen;         // keys that another session has changed and no operation here has shown since
};

extern template class sto_MapAgentObj<int>;
extern template class sto_MapAgentObj<cow_String>;

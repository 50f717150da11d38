#pragma once

#include <memory>
#include <optional>
#include <vector>

#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "store/agents/sto_ObjectAgentBase.h"
#include "store/agents/sto_StoredMap.h"

/// The agent of a stored map of objects. Internal to the module; see sto_ObjectAgentBase.
///
/// Keys ascend by number, or by the bytes of the text; no text and the empty text are the same key. If the
/// store has several entries with one key, the first one counts, and the others are dropped when the agent
/// writes the map.
///
/// The entries stay in the store, and are read where they are asked for (sto_StoredMap). In memory are those
/// that this session has changed and not yet written.
template <class K> class sto_MapAgentObj final : public cls_AgentMapKey2Obj<K>, public sto_ObjectAgentBase {
 public:
  sto_MapAgentObj(sto_Session& session, std::int64_t id, int depth)
      : sto_ObjectAgentBase(session, id, depth), m_Stored(session, id) {}
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
    m_BeforeForeign.reset();
    m_Unseen = {};
  }
  void UndoInMemory() noexcept override;
  void KeepAtMark() override { ForgetKeptAtMark(); }
  void ForgetKeptAtMark() noexcept override {
    m_Undo.clear();
    m_AtMark.reset();
  }

 private:
  using State = typename sto_StoredMap<K>::State;
  using Changes = typename sto_StoredMap<K>::Changes;

  /// What the store has, and what it lacks.
  struct Content {
    State m_State;
    Changes m_Changes;        // by key; an id of 0: the entry is removed
    bool m_IsCleared = false; // none of the stored entries is in the map
    int m_Count = 0;          // with the changes
  };
  /// How to undo a change by the running save.
  struct Noted {
    K m_Key;
    bool m_WasChanged; // whether m_Changes had the key, and with which id
    std::int64_t m_Before;
    int m_Count;                        // of the map, before
    std::unique_ptr<Content> m_Cleared; // the map was cleared: its changes; not its state
  };
  /// What a save had when it wrote the map.
  struct AtMark {
    Content m_Content;
    std::vector<Noted> m_Undo;
  };

  /// Puts an element under a key, or removes it (0).
  void Put(K const& key, std::int64_t id);
  /// The id of a key's element, 0 if the key does not exist.
  [[nodiscard]] std::int64_t IdOf(K const& key);
  /// The first key after `key`, the last one before it; the first or last of all if `key` is null.
  [[nodiscard]] std::optional<K> After(K const* key);
  [[nodiscard]] std::optional<K> Before(K const* key);
  /// Whether another session has changed a key's element, and no operation here has shown it since.
  [[nodiscard]] bool IsUnseen(K const& key);
  void ForgetEnds() noexcept {
    m_First.reset();
    m_Last.reset();
  }

  sto_StoredMap<K> m_Stored;
  Content m_Content;
  std::vector<Noted> m_Undo;        // by the running save, in the order of the changes
  std::unique_ptr<AtMark> m_AtMark; // if the running save has written the map
  // No key is before the one, or after the other. Without them, who removes one end after the other would pass
  // over all removed entries each time.
  std::optional<K> m_First;
  std::optional<K> m_Last;
  // What operations here have shown last, if another session has changed the map since. IsUnseen turns it into
  // the keys that differ.
  std::unique_ptr<State> m_BeforeForeign;
  typename sto_StoredMap<K>::Differences m_Unseen;
};

extern template class sto_MapAgentObj<int>;
extern template class sto_MapAgentObj<cow_String>;

#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/session/sto_Session.h"

/// Copies stored objects from one session to another (or the same), with everything they lead to. It replaces
/// only ids, numbers of attribute names, and checksums; it does not decode anything else. Internal to the
/// module; see sto_Proxy.h.
///
/// REQUIRES: both sessions have an open transaction, and the target is saving. Memory: one record, one block,
/// and an entry for each object. Thread rule: the thread of both sessions.
class sto_BranchCopy {
 public:
  sto_BranchCopy(sto_Session& source, sto_Session& target);

  /// Copies object `id`; returns the copy's id and sets `classId` to its class. NotFound if the source does
  /// not have the object; for other errors see sto_AgentProxy::Transfer. After a failure undo the save.
  std::int64_t Copy(std::int64_t id, unsigned int& classId);

 private:
  /// The id of an object's copy. The first call for an object schedules it for copying.
  std::int64_t MapId(std::int64_t id);
  /// The same for an object that another one holds. Damaged if it is missing.
  std::int64_t MapHeldId(std::int64_t id);
  /// The same for a base-class part, which is copied with its object and not scheduled.
  std::int64_t MapPartId(std::int64_t id);
  void CopyObject(std::int64_t id, sto_Record const& record);
  void CopyField(sto_Field const& field, sto_RecordBuilder& builder, std::size_t part);
  void CopyNested(std::int64_t id, sto_Field const& field, sto_RecordBuilder& builder, std::size_t part);
  void CopyList(std::int64_t id, sto_ListHeader list, sto_RecordBuilder& builder);
  void CopyMap(std::int64_t id, sto_MapHeader const& map, sto_RecordBuilder& builder);
  void CopyChunks(std::int64_t id, sto_MapHeader map, sto_RecordBuilder& builder);
  /// The entries of a map, or of one of its chunks, as they are in the target.
  [[nodiscard]] sto_Bytes MapEntries(sto_MapHeader const& map);
  void CopyBlob(std::int64_t id, sto_Part const& part);
  /// Copies `blockCount` blocks. `list`: the header of the list, whose ids are replaced if it is one of objects;
  /// null for a blob.
  void CopyBlocks(std::int64_t id, int blockCount, sto_ListHeader const* list);
  /// Appends the ids of a list of objects, or of one of its blocks, as they are in the target; false if the
  /// bytes are no ids.
  [[nodiscard]] bool MapIds(std::int64_t list, sto_ListHeader const& header, sto_ByteView content, int count,
                            sto_Bytes& mapped);
  [[noreturn]] void RaiseDamagedBlock(std::int64_t list, int block) const;
  [[nodiscard]] sto_FieldKey MapKey(sto_FieldKey const& key);
  /// Makes the target describe the class version of a part as the source does. Misuse or NewerFormat if the
  /// target's registrar does not have it; Conflict if the target describes it differently.
  void RequireClass(sto_Part const& part);
  /// Conflict if the fields of a part do not fit the target's description of its class version.
  void RequireFields(sto_Part const& part);

  sto_Session& m_Source;
  sto_Session& m_Target;
  std::unordered_map<std::int64_t, std::string> m_SourceNames;
  std::unordered_map<std::int64_t, std::int64_t> m_TargetNames; // by the source's number
  std::set<std::pair<unsigned int, int>> m_KnownClasses;        // class versions that RequireClass has seen
  std::unordered_map<std::int64_t, std::int64_t> m_Ids;         // from the source's ids to the copies' ids
  std::vector<std::int64_t> m_ToCopy;                           // scheduled by MapId, not yet copied by Copy
  std::deque<sto_NestedType> m_Types; // of the nested values in the copy that is being built
};

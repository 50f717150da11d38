#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <unordered_map>
#include <utility>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/session/sto_Session.h"

/// Copies stored objects from one session to another (or the same), with all they lead to: new ids, the
/// target's numbers for attribute names, new checksums; nothing else is decoded. Internal to the module.
///
/// Both sessions are in a transaction, the target in a save. Memory: one record, one block, and an entry for
/// each object.
class sto_BranchCopy {
 public:
  sto_BranchCopy(sto_Session& source, sto_Session& target);

  /// Copies object `id` and returns the copy's id; its class is `classId` then.
  std::int64_t Copy(std::int64_t id, unsigned int& classId);

 private:
  /// The id of the copy of an object, which is to be copied when it is met first.
  std::int64_t MapId(std::int64_t id);
  /// The same for one that an object holds; Damaged when it is missing.
  std::int64_t MapHeldId(std::int64_t id);
  /// The same for one that is copied with its object.
  std::int64_t MapPartId(std::int64_t id);
  void CopyObject(std::int64_t id, sto_Record const& record);
  void CopyField(sto_Field const& field, sto_RecordBuilder& builder, std::size_t part);
  void CopyList(std::int64_t id, sto_ListHeader list, sto_RecordBuilder& builder);
  void CopyMap(sto_MapHeader const& map, sto_RecordBuilder& builder);
  void CopyBlob(std::int64_t id, sto_Part const& part);
  /// Copies `blockCount` blocks of a list or blob; of a list of objects with `count` elements the ids too.
  void CopyBlocks(std::int64_t id, int blockCount, int objectCount);
  [[nodiscard]] sto_Bytes MapIds(sto_ByteView ids);
  [[nodiscard]] sto_FieldKey MapKey(sto_FieldKey const& key);
  /// Makes sure that the target knows the class version of a part, and describes it as the source does.
  void RequireClass(sto_Part const& part);
  /// Makes sure that the target's description of a class version takes the fields of a part.
  void RequireFields(sto_Part const& part);

  sto_Session& m_Source;
  sto_Session& m_Target;
  std::unordered_map<std::int64_t, std::string> m_SourceNames;
  std::unordered_map<std::int64_t, std::int64_t> m_TargetNames; // by the source's number
  std::set<std::pair<unsigned int, int>> m_KnownClasses;
  std::unordered_map<std::int64_t, std::int64_t> m_Ids;
  std::vector<std::int64_t> m_ToCopy; // met, not yet copied
};

#pragma once

#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_BlockCodec.h"
#include "store/format/sto_ChunkDirectory.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_RecordBuilder.h"
#include "store/format/sto_ShapeTable.h"
#include "store/recover/sto_RecoverResults.h"
#include "store/sto_CheckReport.h"

/// Makes a store sound from which rows are missing: checks it, and takes out of each object what leads nowhere. Where
/// elements are lost, it puts defaults. Each step that does not help is followed by a harder one: at last the object is
/// deleted. Memory: that of a check, and some bytes for each object that is mended. Thread rule: one thread.
class sto_RecoverMender {
 public:
  /// REQUIRES: an open write transaction; the arguments live as long as this object.
  sto_RecoverMender(sto_Driver& driver, sto_RecoverResults& results);

  /// Damaged if the store cannot be made sound.
  void Mend(std::size_t maxItems);
  /// Looks for what the check does not see: objects in nested values. Says who held what was lost, and gives names to
  /// objects that nothing leads to.
  void MendLinks(bool namesUnreachable);

 private:
  class Links;

  void NoticeEarlierStates(sto_CheckReport const& report);
  void Act(sto_CheckFinding const& finding);
  void LoseRoot(sto_CheckFinding const& finding);
  void LoseObject(std::int64_t id, std::string const& why);
  void MendObject(std::int64_t id);
  [[nodiscard]] bool Read(std::int64_t id);
  [[nodiscard]] bool IsThere(std::int64_t id) { return m_Driver.HasObject(id); }
  /// The same; counts the object as lost otherwise.
  [[nodiscard]] bool IsThereOrLost(std::int64_t id) {
    bool const isThere = IsThere(id);
    if (!isThere) Lose(id);
    return isThere;
  }
  void Lose(std::int64_t id);
  [[nodiscard]] bool IsFieldWhole(std::int64_t id, sto_Field const& field);
  /// Builds the record that was read without the fields that hold lost objects; true if it is another one.
  [[nodiscard]] bool BuildFields(std::int64_t id);
  [[nodiscard]] bool BuildList(std::int64_t id, sto_ListHeader const& list);
  [[nodiscard]] bool BuildMap(std::int64_t id, sto_MapHeader const& map);
  void MendBlocks(std::int64_t id, sto_ListHeader const& list);
  void MendBlob(std::int64_t id);
  [[nodiscard]] bool BuildChunks(std::int64_t id, sto_MapHeader const& map);
  /// The content of a block; false if it cannot be read.
  [[nodiscard]] bool ReadContent(std::int64_t key, sto_Bytes& content);
  void WriteContent(std::int64_t key, sto_Bytes content);
  void DeleteBlocksFrom(std::int64_t id, int block);
  void Write(std::int64_t id);
  /// Reports blocks of elements, entries or bytes that were lost, neighbours in one item.
  void LoseElements(std::int64_t id, sto_LostKind kind, int block, std::int64_t first, std::int64_t count);
  void FlushElements();
  [[nodiscard]] std::string ClassOf(unsigned int classId) const;
  [[nodiscard]] std::string NameOf(sto_FieldKey const& key) const;
  [[nodiscard]] std::string Describe(std::int64_t id, std::string const& className) const;
  void LoadCatalogue();

  sto_Driver& m_Driver;
  sto_RecoverResults& m_Results;
  sto_ShapeTable m_Shapes;
  std::map<unsigned int, std::string> m_Classes;
  std::map<std::int64_t, std::string> m_Names;
  bool m_HasLooked = false;            // at the whole, in the first round
  std::map<std::int64_t, int> m_Tries; // by object
  sto_Record m_Record;
  sto_RecordBuilder m_Builder;
  sto_BlockCodec m_Codec;
  sto_LostItem m_Elements; // not reported yet
  std::vector<std::int64_t> m_Ids;
  sto_Bytes m_Stored, m_Restored;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "store/check/sto_CheckBlocks.h"
#include "store/check/sto_CheckCatalogue.h"
#include "store/check/sto_CheckIndexes.h"
#include "store/check/sto_CheckLinks.h"
#include "store/check/sto_CheckObjects.h"
#include "store/check/sto_CheckResults.h"
#include "store/driver/sto_StorageWalk.h"
#include "store/driver/sto_WalkMeter.h"
#include "store/format/sto_Record.h"

/// Checks a store: compares all that a walk over its storage shows. See sto_Store::Check.
///
/// REQUIRES: the driver has a transaction, of BeginWalk or another. Memory: four bytes an object, 24 bytes for each
/// list in blocks and each blob, the catalogue, the roots' names. Thread rule: one thread.
class sto_Checker final : private sto_StorageVisitor {
 public:
  /// `meter`: of the operation, if it has a progress function; null otherwise. REQUIRES: the arguments live as long as
  /// this object.
  sto_Checker(sto_Driver& driver, sto_CheckReport& report, std::size_t limit, sto_Meter* meter = nullptr);

  /// `nextId`: the id that is given out next in the open transaction; 0: the newest save says it.
  void Check(sto_CheckDepth depth, std::int64_t nextId);

 private:
  struct Root {
    std::string m_Name;
    std::int64_t m_Id;
    unsigned int m_ClassId;
  };

  void Find(sto_CheckFinding&& finding) override;
  void TakeSave(sto_SaveEntry const& save) override;
  void TakeClass(sto_ClassRow const& row, bool isSound) override { m_Catalogue.TakeClass(row, isSound); }
  void TakeName(sto_NameRow const& row, bool isSound) override { m_Catalogue.TakeName(row, isSound); }
  void TakeShape(sto_ShapeRow const& row, bool isSound) override { m_Catalogue.TakeShape(row, isSound); }
  void TakeIndex(sto_IndexRow const& row, bool isSound) override { m_Indexes.TakeIndex(row, isSound); }
  void TakeIndexEntry(std::int64_t number, sto_IndexEntry const& entry, bool isSound) override {
    m_Indexes.TakeEntry(number, entry, isSound);
  }
  void TakeRoot(std::string_view name, std::int64_t id, unsigned int classId) override;
  void TakeObject(sto_ObjectRow const& object) override;
  void TakeUnreadable(std::int64_t first, std::int64_t last) override;
  void TakeRecord(std::int64_t id, sto_StoredRecord& record) override;
  void TakeBlock(std::int64_t key, sto_ByteView data) override;

  /// The first call of the progress function, if there is one.
  void BeginWork(sto_StorageWalk& walk, bool isFull);
  void CheckRecords(sto_StorageWalk& walk);
  void CheckIndexes(sto_StorageWalk& walk);
  /// Decodes the record that was taken; false if that was reported to be impossible.
  [[nodiscard]] bool Decode(std::int64_t id);
  void CheckParts(std::int64_t id);
  void CheckFields(std::int64_t id);
  void CheckContent(std::int64_t id);
  void CheckList(std::int64_t id, sto_ListHeader const& list);
  void CheckMap(std::int64_t id, sto_MapHeader const& map);
  /// Adds the chunks that a page of a map's directory lists; false if it cannot be read.
  [[nodiscard]] bool ReadPage(std::int64_t id, sto_Chunk const& page, sto_ChunkDirectory& directory);
  void CheckBlob(std::int64_t id);
  void HoldElement(std::int64_t holder, std::int64_t element);
  void ReportObject(std::int64_t id, unsigned int classId, std::string const& problem,
                    sto_CheckKind kind = sto_CheckKind::DamagedObject);

  sto_Driver& m_Driver;
  sto_CheckReport& m_Report;
  sto_CheckResults m_Results;
  sto_CheckCatalogue m_Catalogue;
  sto_CheckObjects m_Objects;
  sto_CheckLinks m_Links;
  sto_CheckBlocks m_Blocks;
  sto_CheckIndexes m_Indexes;
  std::vector<Root> m_Roots;
  sto_WalkMeter m_Work;
  std::int64_t m_ObjectCount = 0, m_BlockRows = 0; // expected; 0 if nobody counts the work
  sto_IdSet m_Damaged;                             // objects whose records cannot be read
  std::int64_t m_NextId = 0;                       // of the newest save
  sto_Record m_Record;                             // the one that is checked
  sto_BlockCodec m_Codec;
  sto_Bytes m_Page, m_Restored;    // scratch: a page of a map's directory
  std::vector<std::int64_t> m_Ids; // scratch
};

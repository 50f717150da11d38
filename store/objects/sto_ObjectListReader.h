#pragma once

#include <vector>

#include "persist/backend/cls_ReadObjects.h"
#include "store/session/sto_Session.h"
#include "store/session/sto_StoredBlocks.h"

/// Cursor over an object's list of objects; holds the ids of one block at a time. Damaged if the stored bytes
/// do not fit the list's header, or name a missing object. Internal to the module.
class sto_ObjectListReader final : public cls_ReadListObj, public cls_NamesElements {
 public:
  /// The list in `record`, which `depth` objects hold, one inside another; an empty list if `record` is null.
  sto_ObjectListReader(sto_Session& session, sto_RecordRef record, int depth);

  int Count() override { return m_List.m_Count; }
  int Position() override { return m_Next; }
  int More() override { return m_Next < m_List.m_Count ? 1 : 0; }
  /// Stops after the last element if there are fewer; a negative count does nothing.
  void Skip(int count) override;
  cls_MementoRead* Next() override;
  cls_MementoRead* At(int index) override;
  cls_HeldObject NextHeld() override;

 private:
  [[nodiscard]] std::int64_t IdAt(int index);
  /// Says which objects are next, so that the session can read them ahead.
  void WantNext();
  /// Loads the block of an element.
  void LoadBlock(int block);
  [[noreturn]] void RaiseDamaged(int index) const;

  sto_Session& m_Session;
  sto_RecordRef m_Record;
  std::int64_t m_Id = 0;
  int m_Depth;
  sto_ListHeader m_List;
  sto_StoredBlocks m_Blocks;
  int m_Next = 0;
  int m_Block = -1;                // the block whose ids are m_Ids
  int m_WantedBlock = -1;          // the block whose objects WantNext has named
  std::vector<std::int64_t> m_Ids; // of the block, or of the whole list if it is in the record
};

/// Decodes the ids of a list of objects: those in its record, or those of one block. False if the bytes do not
/// fit the list, or name an object that the store has never had.
[[nodiscard]] bool sto_ReadIds(sto_Session const& session, std::int64_t list, sto_ListHeader const& header,
                               sto_ByteView content, int count, std::vector<std::int64_t>& ids);

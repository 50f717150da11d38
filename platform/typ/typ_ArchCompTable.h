#pragma once

#include "platform/cow/cow_String.h"
#include "platform/kvl_Export.h"

/// One class of a component: its kind, the type ID of its parent (1: no parent) and its name (null: no name).
struct typ_ArchCompEntry {
  unsigned int m_Kind;
  unsigned int m_Parent;
  char const* m_Name;
};

/// The process-wide table of type IDs. A type ID is a component number in the high 16 bits and the class's
/// ordinal in that component in the low 16 bits.
///
/// Thread rule: filled during single-threaded start-up and only read after that.
class KVL_EXPORT typ_ArchCompTable {
 public:
  /// The parent ID of a class without parent.
  static constexpr unsigned int NoParent = 1;

  /// Registers the `count` entries of a component, indexed by ordinal, replacing an earlier registration. The
  /// table copies them, so they may be those of a plug-in that is unloaded.
  static void InsertEntry(unsigned int component, typ_ArchCompEntry const* entries, unsigned int count);

  /// The name of a type; for an ID that is not in the table, or has no name, its number as "0x001F0002".
  static cow_String GetName(unsigned int typeId);

  /// Whether `ancestor` is the parent of `typeId`, or of one of its ancestors. A type is not its own parent,
  /// and an unknown one has none.
  static bool IsParent(unsigned int typeId, unsigned int ancestor);

  /// Forgets every component.
  static void Clear();
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "platform/kvl_Export.h"

/// How thoroughly sto_Store::Check looks.
enum class sto_CheckDepth {
  Quick, ///< the header, the catalogue, the log, the roots and their objects, where each object is
  Full,  ///< everything: also each record, each block, each link, and the sum over the store
};

/// What a finding is about. docs/checking-a-store.md says for each what to do.
enum class sto_CheckKind {
  Structure,         ///< SQLite finds the pages, the trees or the types of the columns wrong
  Header,            ///< the header or the tables are not those of a store
  Log,               ///< a row of the log of saves is damaged, missing or not in order
  Catalogue,         ///< a class, an attribute, a name or a shape is damaged, missing or contradicts another
  DamagedRow,        ///< a row of roots, objects, blocks or indexes does not fit its checksum
  DamagedObject,     ///< an object's record cannot be read, or contradicts the catalogue
  MissingObject,     ///< an object that another one holds is not there
  DanglingReference, ///< an object that another one refers to is not there
  DanglingRoot,      ///< a root's object is not there
  WrongClass,        ///< an object is not of the kind that its holder or its root says
  MissingBlock,      ///< a list or a blob lacks a block
  WrongBlock,        ///< a block has not the elements or bytes that its list or blob needs
  OrphanBlock,       ///< a block belongs to no list or blob
  OrphanRow,         ///< a row belongs to nothing, or what it holds is there twice
  Sum,               ///< the sum over all rows is not that of the newest save
  Index,             ///< an index lacks an object, or has an entry that is not of its object's value
};

/// The name of a kind: "MissingBlock". Thread rule: any thread.
[[nodiscard]] KVL_EXPORT char const* sto_CheckKindName(sto_CheckKind kind) noexcept;

/// One thing that Check has found. What is not known is empty or 0.
struct sto_CheckFinding {
  sto_CheckKind m_Kind{};
  std::string m_Table;         ///< of the file, such as "pack"
  std::int64_t m_Key = 0;      ///< of the row in that table
  std::int64_t m_ObjectId = 0; ///< of the object, list or blob
  int m_Block = -1;            ///< the number of the block in it; -1: it is about no block
  std::string m_Class;         ///< name of the object's class
  std::string m_Root;          ///< name of the root
  std::string m_Attribute;     ///< name of the attribute
  std::string m_Text;          ///< one sentence in plain English, with all of this in it
};

/// What Check has read.
struct sto_CheckCounts {
  std::int64_t m_Objects = 0;
  std::int64_t m_Blocks = 0;    ///< of lists and blobs; Quick does not read them
  std::int64_t m_BytesRead = 0; ///< of records and blocks
  std::int64_t m_Classes = 0;   ///< class versions
  std::int64_t m_Shapes = 0;
  std::int64_t m_Roots = 0;
  std::int64_t m_Saves = 0; ///< rows of the log
};

/// The result of sto_Store::Check. A plain value.
struct sto_CheckReport {
  /// Nothing is damaged.
  [[nodiscard]] bool IsSound() const noexcept { return m_Findings.empty() && m_FurtherFindings == 0; }

  std::vector<sto_CheckFinding> m_Findings; ///< damage
  std::int64_t m_FurtherFindings = 0;       ///< how many more there are than the limit

  /// What is unusual and no damage: a reference to an object that is not in the store, because it was never
  /// saved or has been collected; whatever leads to an object that was deleted (sto_Ref::Delete); and a root whose
  /// object has changed its class.
  std::vector<sto_CheckFinding> m_Notes;
  std::int64_t m_FurtherNotes = 0;

  sto_CheckCounts m_Counts;
  /// Whether the sum over all rows is that of the newest save. Empty: not compared, because Check was Quick, the
  /// store has an older format, or rows could not be read.
  std::optional<bool> m_IsSumRight;
  /// Objects that no root leads to: CollectGarbage would delete them. Empty: not counted, because Check was
  /// Quick or has found damage, or the program does not know a class that newer programs have written.
  std::optional<std::int64_t> m_Unreachable;
};

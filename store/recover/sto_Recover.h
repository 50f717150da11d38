#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "platform/kvl_Export.h"
#include "store/base/sto_Progress.h"

/// How sto_Recover works. A plain value.
struct sto_RecoverOptions {
  /// Gives a root name to each object that nothing leads to, if objects or roots were lost: "recovered/Node-17" for
  /// object 17 of class Node. What it holds has none of its own. Objects that were garbage before cannot be told from
  /// those whose root or holder was lost, so they get names too. Objects of a ring that only lead to each other get none.
  bool m_KeepUnreachable = true;

  /// The most items in sto_RecoverReport::m_Lost.
  std::size_t m_MaxItems = 10'000;

  /// In the log's entry of the recovery; see sto_Options::m_Program.
  std::string m_Program = {};
};

/// What was lost.
enum class sto_LostKind {
  Object,   ///< an object; what led to it leads to nothing now
  Objects,  ///< the objects with ids in a range; some of these ids may have had none
  Field,    ///< an attribute held a lost object, or had lost its name: the object is stored without it
  Elements, ///< elements of a list or array: they have a default now
  Entries,  ///< entries of a map
  Bytes,    ///< bytes of a blob: they are zero now
  Root,     ///< a root name whose object is lost
  Name,     ///< the name of an attribute; its values have another name now
  Class, ///< the description of a class version: its objects are there, and the next program that saves one describes it
  Shape, ///< what a kind of records has in common; its objects are lost
  Note,  ///< an enumerator or a note on a class or an attribute
  Index, ///< an index; a program that declares it makes it again
  Save,  ///< entries of the log of saves
  Header, ///< what tells a store from others: the rows of the catalogue could not all be verified
  Stale,  ///< nothing is missing, but some of what was read is of an earlier save; which cannot be told
  Rows,   ///< a part of the file, of which only the table or nothing is known
};

/// The name of a kind: "Elements". Thread rule: any thread.
[[nodiscard]] KVL_EXPORT char const* sto_LostKindName(sto_LostKind kind) noexcept;

/// One thing that was lost. What is not known is empty or 0.
struct sto_LostItem {
  sto_LostKind m_Kind{};
  std::int64_t m_ObjectId = 0; ///< the object that was lost, or the list, map or blob that has lost something
  std::int64_t m_LastId = 0;   ///< of Objects: the last id of the range, which begins with m_ObjectId
  std::string m_Class;         ///< name of the object's class
  std::int64_t m_HolderId = 0; ///< the object that held it, which is still there
  std::string m_Holder;        ///< name of the holder's class
  std::string m_Attribute;     ///< the holder's attribute
  std::string m_Root;          ///< name of a root
  int m_Block = -1;            ///< number of the first block that was lost
  std::int64_t m_First = 0;    ///< the first element or byte that was lost
  std::int64_t m_Count = 0;    ///< how many elements, entries, bytes or rows
  std::string m_Text;          ///< one sentence in plain English, with all of this in it
};

/// How much of something was read, and lost.
struct sto_RecoverCount {
  std::int64_t m_Read = 0;
  std::int64_t m_Lost = 0; ///< those that the recovery knows of; there may be more
};

/// The result of sto_Recover. A plain value.
struct sto_RecoverReport {
  /// Nothing was lost: the new store has all that was in the old one.
  [[nodiscard]] bool IsComplete() const noexcept { return m_Lost.empty() && m_FurtherLost == 0; }

  int m_FormatVersion = 0; ///< of the store that was read
  sto_RecoverCount m_Objects;
  sto_RecoverCount m_Blocks; ///< of lists, maps and blobs
  sto_RecoverCount m_Roots;
  sto_RecoverCount m_Saves; ///< entries of the log
  sto_RecoverCount m_Pages; ///< of the file

  std::vector<sto_LostItem> m_Lost;
  std::int64_t m_FurtherLost = 0; ///< how many more there are than the limit
  /// Names that were given to objects that nothing leads to.
  std::vector<std::string> m_NewRoots;
};

/// Takes what is readable in the file of a store, damaged or not, into a new store, and says what was lost.
///
///     sto_RecoverReport const report = sto_Recover("plate.kvs", "plate-recovered.kvs");
///     for (sto_LostItem const& item : report.m_Lost) std::cout << item.m_Text << '\n';
///
/// The new store is sound: Check finds nothing, and every root loads. Objects keep their ids; classes, units, notes,
/// enumerators and the log of saves are kept. It has the present format, whatever the old one has. Only what fits its
/// checksum is taken. Where something is lost,
/// - a field that held a lost object is not there: a null pointer, an empty collection. A list has no object there,
///   and a map no entry;
/// - a list or array keeps its length: lost elements are NaN for floating point and complex numbers, otherwise 0, false or
///   no text. Lost bytes of a blob are 0;
/// - a root whose object is lost is not there;
/// - indexes are left out: a program that declares them makes them again when it opens the store for writing.
/// docs/recovering.md has all of this. If nothing was lost, indexes are kept too.
///
/// `from` is read only; neither it nor a file beside it is changed. If a writer was killed, and its journal or log is
/// there, copies of the file and of the journal are made beside `to`, and are removed at the end. REQUIRES: no program
/// has the store open.
///
/// The new store is made in a file beside `to`, and gets its name when it is complete and durable. A process that is
/// killed leaves at most that file, which no program opens as a store.
///
/// `progress`: as with operations of sto_Store. The units are pages of the file, each three times.
///
/// Errors; there is nothing at `to` then:
/// - NotFound: there is no file, or nothing of a store in it;
/// - Conflict: something exists at `to`, also if it is `from`;
/// - NewerFormat: the store was written by a newer version of this module;
/// - Damaged: what is left contradicts itself; Cancelled, Full, Unavailable, Misuse (a location with a NUL character).
///
/// Memory: a few bytes for each object, the catalogue, the names of roots and the log, one row at a time. Room on the
/// medium: that of the new store, and that of the old one if it has a journal or a log. Thread rule: any thread.
KVL_EXPORT sto_RecoverReport sto_Recover(std::string const& from, std::string const& to,
                                         sto_RecoverOptions const& options = {},
                                         sto_Progress const& progress = {});

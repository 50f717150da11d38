#pragma once

#include <cstdint>
#include <string>

/// How a store is created and opened. An existing store keeps the settings it was created with.
struct sto_Options {
  // Used by sto_Mode::Create only; the other modes ignore them.

  /// Page size of the file in bytes, a power of two from 512 to 65536. 16384 suits blocks of numbers; a store
  /// that holds only small objects may be smaller with less. Create raises Misuse for any other number.
  int m_PageBytes = 16384;

  /// Lets readers in other sessions continue while a writer works; they see the previous state. This takes a
  /// write-ahead log beside the file, which writes every page twice: bulk writing takes two to three times as
  /// long. Without the log a writer waits for readers to end before it writes to the file, and readers wait
  /// for the writer. Create raises Unavailable where SQLite cannot use such a log.
  bool m_ReadersBesideWriter = false;

  // Used each time a store is opened, in all modes, until it is closed.

  /// How long an operation waits for other sessions before it raises Busy, in milliseconds; 0: not at all.
  /// Open raises Misuse for a negative number.
  int m_BusyMilliseconds = 5000;

  /// How long a server may keep silent while it is asked something, in milliseconds; 0: for ever. After that the
  /// connection counts as broken, and the operation raises Unavailable. A store in a file has no server. Open raises
  /// Misuse for a negative number.
  int m_AnswerMilliseconds = 120000;

  /// How many bytes of bulk arrays the session may keep in memory for a rollback. If an array is in memory
  /// when it is saved, its blocks are kept until the transaction ends, because after a failure nothing can be
  /// read back. They are the array's own blocks, not copies. A save that would exceed the limit raises Full
  /// before it writes anything of the array.
  std::int64_t m_MaxKeptBytes = std::int64_t{4} << 30;

  /// Looks for mistakes in the program's classes that declarations cannot rule out. It costs time: use it in
  /// development and tests. With it,
  /// - a save raises Misuse if an object does not write a scalar or a collection that its class declares
  ///   (objects and references may be missing: that is how null pointers are written);
  /// - a load raises Misuse if a reading constructor reads an attribute, or asks DataIsPresent for one, that
  ///   no version of the class declares, in the store or in the program: probably a misspelt name. To ask for
  ///   an attribute of an older version, use FieldIsPresent;
  /// - a load raises Misuse if an object was read but its identity was not: saved again, it would become a
  ///   new object.
  bool m_Strict = false;

  /// Compresses the blocks that this session writes of lists, arrays and blobs, each with what makes it smallest:
  /// LZ4, LZ4 of the shuffled bytes, or nothing if neither saves a sixteenth. Nothing is lost, and every session
  /// reads such blocks whatever its options. Smooth results of a simulation take a quarter to a third of the room.
  /// A block that is overwritten takes a new place if its size changes. cls_ClassNotes::Compress says it for a single
  /// attribute, whatever this option is.
  bool m_Compress = false;

  /// The name and version of the program, such as "solver 4.2". It is in the log's entry of each save that this
  /// session commits; see sto_Store::Saves.
  std::string m_Program = {};

  /// Used by sto_Mode::ReadWrite only: brings a store of an older format to the present one, which older
  /// programs cannot read, in one transaction, before anything else is done with it. Without it, opening such
  /// a store for writing raises ReadOnly. The file grows by its size once; the room is used again.
  bool m_Upgrade = false;

  /// The number of a save (sto_Store::Saves); 0: the newest. With it the session only reads, whatever the mode, and
  /// each operation and transaction sees the state that this save has left, or raises NotFound, which says which
  /// save the store has. A store in an SQLite file keeps only the newest state: operations succeed exactly while
  /// the save is the newest one. A store of an older format has no saves. Open raises Misuse for a negative number,
  /// and for sto_Mode::Create.
  std::int64_t m_AtSave = 0;
};

#pragma once

#include <cstdint>

/// How a store is made, and how it is opened. A store that is there keeps what it was made with.
struct sto_Options {
  // These matter for sto_Mode::Create only; the other modes ignore them.

  /// Bytes of a page of the file, a power of two from 512 to 65536. 16384 suits blocks of numbers; a store of
  /// small objects only may be smaller with less. Create raises Misuse for another number.
  int m_PageBytes = 16384;

  /// Readers in other sessions go on while a writer works, seeing the state of before, by means of a
  /// write-ahead log beside the file. Every page is then written twice: bulk writing takes two to three times
  /// as long. Without it, a writer waits for readers to end before it writes to the file, and they for it.
  /// Create raises Unavailable where SQLite cannot have such a log.
  bool m_ReadersBesideWriter = false;

  // These matter each time a store is opened, in all modes, and hold until it is closed.

  /// How long an operation waits for what other sessions hold before it raises Busy, in milliseconds. With 0
  /// it does not wait. Open raises Misuse for a negative number.
  int m_BusyMilliseconds = 5000;

  /// How many bytes of bulk arrays the session may keep in memory for a rollback. The blocks of an array that
  /// is in memory when it is saved are kept until the transaction ends, because after a failure nothing can
  /// be read back. They are the array's own blocks, not copies. A save that would go beyond raises Full
  /// before it writes anything of the array.
  std::int64_t m_MaxKeptBytes = std::int64_t{4} << 30;

  /// Looks for slips of the program's own classes that no declaration can forbid, at some cost of time: for
  /// development and tests. With it,
  /// - a save raises Misuse when an object does not write a scalar or a collection that its class declares
  ///   (objects and references may be left out: a null pointer is);
  /// - a load raises Misuse when a reading constructor reads, or asks with DataIsPresent for, an attribute
  /// that
  ///   no version of the class declares, neither in the store nor in the program: a name with a slip. To ask
  ///   for an attribute of an older version use FieldIsPresent;
  /// - a load raises Misuse when an object was read and its identity was not: saved again, it would be a new
  ///   object.
  bool m_Strict = false;
};

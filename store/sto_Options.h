#pragma once

#include <cstdint>

/// How a store is opened. Page size and log matter to Create only: a store that is there keeps what it was
/// made with. The other members hold for the session, in every mode.
struct sto_Options {
  /// Bytes of a page of the file, a power of two from 512 to 65536. 16384 suits blocks of numbers; a store of
  /// small objects only may be smaller with less.
  int m_PageBytes = 16384;

  /// Readers in other sessions go on while a writer works, seeing the state of before, by means of a
  /// write-ahead log beside the file. Every page is then written twice: bulk writing takes two to three times
  /// as long. Without it, a writer waits for readers to end before it writes to the file, and they for it.
  /// Create raises Unavailable where SQLite cannot have such a log.
  bool m_ReadersBesideWriter = false;

  /// How many bytes of bulk arrays the session may keep in memory for a rollback. The blocks of an array that
  /// is in memory when it is saved are kept until the transaction ends, because after a failure nothing can
  /// be read back. They are the array's own blocks, not copies. A save that would go beyond raises Full
  /// before it writes anything of the array.
  std::int64_t m_MaxKeptBytes = std::int64_t{4} << 30;
};

#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

/// Stands between SQLite and the operating system while it lives, for every connection that is opened then,
/// in both journal modes. It fails or kills at a chosen operation on files, as StoreFaultVfs does, and it can
/// write down all operations, so that the files after a loss of power can be made from them.
///
/// Only the thread that made it may use SQLite meanwhile.
class StorePowerVfs {
 public:
  enum class Fault { None, IoError, Full, Kill };

  /// What was done to a file, in the order in which it was done.
  struct Operation {
    enum class Kind { Create, Write, Truncate, Sync, Delete, SyncFolder };
    Kind m_Kind;
    std::string m_Path;
    std::int64_t m_Offset = 0; ///< of a write; the size of a truncation
    std::string m_Bytes;
  };

  StorePowerVfs();
  ~StorePowerVfs();
  StorePowerVfs(StorePowerVfs const&) = delete;
  StorePowerVfs& operator=(StorePowerVfs const&) = delete;

  /// Strikes at the `step`-th operation that changes a file or opens one, from now on (1 is the next).
  static void StrikeAt(std::int64_t step, Fault fault);
  [[nodiscard]] static bool HasStruck();
  static void Disarm();
  /// How many operations there were since the last StrikeAt.
  [[nodiscard]] static std::int64_t Steps();

  /// From now on operations are written down; forgets those of before.
  static void Record();
  static std::vector<Operation> const& Recorded();
};

/// The files that a loss of power may leave behind: of what was written and not synchronised, each part may
/// be there or not. A file's content is synchronised by itself, names (creations and deletions) by the
/// folder.
class StorePowerCut {
 public:
  /// `files` are there before the first operation, durable.
  explicit StorePowerCut(std::map<std::string, std::string> files);

  /// One more operation takes place.
  void Apply(StorePowerVfs::Operation const& operation);

  /// The files after a cut here. Each unsynchronised write is kept, dropped, or torn at boundaries of
  /// `sector` bytes; each name is in one of the states that it had since the folder was synchronised.
  [[nodiscard]] std::map<std::string, std::string> Cut(std::mt19937& random, int sector) const;

 private:
  struct Inode {
    std::string m_Durable;
    std::vector<StorePowerVfs::Operation> m_Pending;
  };
  static void Do(std::string& content, StorePowerVfs::Operation const& operation);
  static std::string ContentAfter(Inode const& inode, std::mt19937& random, int sector);

  std::vector<Inode> m_Inodes;
  /// Of each name the inodes that it had since the folder was synchronised, the newest last; -1 for none.
  std::map<std::string, std::vector<int>> m_Names;
};

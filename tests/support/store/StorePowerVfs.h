#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>
#include <vector>

/// While it lives, sits between SQLite and the operating system for every newly opened connection, in both
/// journal modes. It fails or kills at a chosen file operation, like StoreFaultVfs, and it can record all
/// operations, to reconstruct the files after a power failure.
///
/// Meanwhile only the thread that made it may use SQLite.
class StorePowerVfs {
 public:
  enum class Fault { None, IoError, Full, Kill };

  /// An operation on a file; recorded in order.
  struct Operation {
    enum class Kind { Create, Write, Truncate, Sync, Delete, SyncFolder };
    Kind m_Kind;
    std::string m_Path;
    std::int64_t m_Offset = 0; ///< for a write; for a truncation, the size
    std::string m_Bytes;
  };

  StorePowerVfs();
  ~StorePowerVfs();
  StorePowerVfs(StorePowerVfs const&) = delete;
  StorePowerVfs& operator=(StorePowerVfs const&) = delete;

  /// Injects the fault into the `step`-th operation from now that changes or opens a file (1 is the next).
  static void StrikeAt(std::int64_t step, Fault fault);
  [[nodiscard]] static bool HasStruck();
  static void Disarm();
  /// The number of operations since the last StrikeAt.
  [[nodiscard]] static std::int64_t Steps();

  /// Starts recording operations; forgets earlier ones.
  static void Record();
  static std::vector<Operation> const& Recorded();
};

/// The files that a power failure may leave behind: any part written but not synchronised may or may not be
/// there. A file's content is synchronised with the file, names (creations and deletions) with the folder.
class StorePowerCut {
 public:
  /// `files` exist durably before the first operation.
  explicit StorePowerCut(std::map<std::string, std::string> files);

  /// Applies the next operation.
  void Apply(StorePowerVfs::Operation const& operation);

  /// The files after a cut here. Each unsynchronised write is kept, dropped, or torn at boundaries of
  /// `sector` bytes; each name is in one of its states since the folder was last synchronised.
  [[nodiscard]] std::map<std::string, std::string> Cut(std::mt19937& random, int sector) const;

 private:
  struct Inode {
    std::string m_Durable;
    std::vector<StorePowerVfs::Operation> m_Pending;
  };
  static void Do(std::string& content, StorePowerVfs::Operation const& operation);
  static std::string ContentAfter(Inode const& inode, std::mt19937& random, int sector);

  std::vector<Inode> m_Inodes;
  /// For each name, the inodes it had since the folder was last synchronised, newest last; -1 after a deletion.
  std::map<std::string, std::vector<int>> m_Names;
};

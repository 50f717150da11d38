#pragma once

#include <array>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/FaultsClasses.h"
#include "tests/faults/FaultsFrame.h"

/// What the objects of a session should be.
struct MemoryModel {
  using Arrays = std::array<std::vector<int>, Carrier::ArrayCount>;
  Arrays m_Carrier; ///< in memory, with changes that are not written
  Arrays m_Stored;  ///< the carrier's, as they are committed
  Arrays m_Fresh;
  int m_Number = 1;
  std::string m_Bytes;
  std::vector<int> m_Items;
  std::map<int, int> m_Keyed;
  std::set<std::string> m_Roots;
};

/// A session with a carrier that has changes of its arrays in memory, an object that was never saved, an open
/// blob and open collections of objects; and the model of all that.
class MemoryWorld {
 public:
  /// Makes the file that every world begins with.
  static void MakeBase(std::string const& path);
  /// A session of a copy of it.
  MemoryWorld(std::string const& base, std::string path);
  MemoryWorld(MemoryWorld const&) = delete;
  MemoryWorld& operator=(MemoryWorld const&) = delete;

  void Begin();
  void Commit(); ///< without failures
  void Rollback();
  /// Changes the arrays in memory.
  void ChangeArrays();

  /// Raises std::runtime_error when an object in memory is not as the model says. An array may say
  /// Unavailable instead, which is taken down.
  void CheckMemory();
  /// Saves something, which works at the second attempt at the latest.
  void CheckUse();
  /// Closes the session and compares what a new one loads. What was not written when the session was closed
  /// by an operation that failed may be there or not.
  void CheckStored(bool mayLackPending);

  /// Whether the carrier begins with changes that are not written.
  static inline bool s_HasPending = true;

  std::string m_Path;
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<sto_Transaction> m_Transaction;
  std::unique_ptr<Carrier> m_Carrier;
  std::unique_ptr<Carrier> m_Fresh;
  std::unique_ptr<Carrier> m_Loaded;
  std::unique_ptr<Picture> m_Picture;
  std::unique_ptr<Folder> m_Folder;
  std::unique_ptr<Leaf> m_Leaf;
  std::unique_ptr<sto_Store> m_Second;
  MemoryModel m_Model;
  MemoryModel m_AtBegin;

 private:
  void CheckArrays(Carrier& carrier, MemoryModel::Arrays& expected, MemoryModel::Arrays const& stored,
                   char const* what);
  bool m_IsUnavailable = false;
};

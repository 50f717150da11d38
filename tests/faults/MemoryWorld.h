#pragma once

#include <array>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "tests/faults/FaultsClasses.h"
#include "tests/faults/FaultsFrame.h"

/// The expected content of a session's objects.
struct MemoryModel {
  using Arrays = std::array<std::vector<int>, Carrier::ArrayCount>;
  Arrays m_Carrier; ///< in memory, including unwritten changes
  Arrays m_Stored;  ///< the carrier's arrays as committed
  Arrays m_Fresh;
  int m_Number = 1;
  std::string m_Bytes;
  std::vector<int> m_Items;
  std::map<int, int> m_Keyed;
  std::set<std::string> m_Roots;
};

/// A session with a carrier whose arrays have unwritten changes, an unsaved object, an open blob and open
/// collections of objects; and the model of all these.
class MemoryWorld {
 public:
  /// Makes the file that every world starts with.
  static void MakeBase(std::string const& path);
  /// Opens a session with a copy of it.
  MemoryWorld(std::string const& base, std::string path);
  MemoryWorld(MemoryWorld const&) = delete;
  MemoryWorld& operator=(MemoryWorld const&) = delete;

  void Begin();
  void Commit(); ///< without failures
  void Rollback();
  /// Changes the arrays in memory.
  void ChangeArrays();

  /// Raises std::runtime_error if an object in memory differs from the model. An array may report Unavailable
  /// instead, which is noted.
  void CheckMemory();
  /// Saves something; must succeed by the second attempt.
  void CheckUse();
  /// Closes the session and compares what a new one loads. If the operation that closed the session failed,
  /// unwritten changes may or may not be there.
  void CheckStored(bool mayLackPending);

  /// Whether the carrier starts with unwritten changes.
  static inline bool s_HasPending = true;

  std::string m_Path;
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<sto_Transaction> m_Transaction;
  std::unique_ptr<Carrier> m_Carrier;
  std::unique_ptr<Carrier> m_Fresh;
  std::unique_ptr<Carrier> m_Loaded;
  std::unique_ptr<FaultsPicture> m_Picture;
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

#pragma once

#include <array>
#include <map>
#include <memory>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "tests/faults/FaultsClasses.h"

// The model's state: each stored object, and each object in memory.

enum class ModelKind { Carrier, Picture, Folder, Stream };

/// Numbers shared by copies until one changes.
class ModelNumbers {
 public:
  ModelNumbers() : m_Numbers(std::make_shared<std::vector<int>>()) {}
  ModelNumbers& operator=(std::vector<int> numbers) {
    m_Numbers = std::make_shared<std::vector<int>>(std::move(numbers));
    return *this;
  }
  std::vector<int> const& operator*() const { return *m_Numbers; }
  std::vector<int> const* operator->() const { return m_Numbers.get(); }
  std::vector<int>& Edit() {
    if (m_Numbers.use_count() > 1) m_Numbers = std::make_shared<std::vector<int>>(*m_Numbers);
    return *m_Numbers;
  }
  [[nodiscard]] int Size() const { return static_cast<int>(m_Numbers->size()); }
  friend bool operator==(ModelNumbers const& a, ModelNumbers const& b) {
    return a.m_Numbers == b.m_Numbers || *a.m_Numbers == *b.m_Numbers;
  }

 private:
  std::shared_ptr<std::vector<int>> m_Numbers;
};

/// An object's content.
struct ModelObject {
  ModelKind m_Kind = ModelKind::Carrier;
  int m_Number = 0;
  int m_BaseNumber = 0;
  int m_Leaf = -1; ///< -1 if there is none
  std::string m_Text;
  std::vector<int> m_List;
  std::array<ModelNumbers, Carrier::ArrayCount> m_Arrays; ///< for a stream, the first is its list
  std::string m_Bytes;                                    ///< for a picture
  std::vector<int> m_Items;                               ///< for a folder
  std::map<int, int> m_Keyed;
};

/// The content of a store: the object number of each root, and each object.
struct ModelStore {
  std::map<std::string, int> m_Roots;
  std::map<int, ModelObject> m_Objects;
};

/// Whether another session has committed a change that this one has not noticed
enum class ModelStale { No, Maybe, Must };

/// An array in memory and its stored state.
struct ModelArray {
  bool m_IsPending = false;    ///< memory may differ from the committed store
  std::set<int> m_Touched;     ///< while pending: elements that may be stored in either state
  bool m_WasSeenEarly = false; ///< another session has read it while it was pending
  ModelStale m_Stale = ModelStale::No;
  bool m_MayReport = false; ///< a change may be reported without reason: its own work was undone
  ModelNumbers m_AtSave;    ///< its elements when first saved in the open transaction
  ModelNumbers m_AtBegin;   ///< its elements at the start of that transaction
  bool m_WasPendingAtBegin = false;
  std::set<int> m_TouchedAtBegin;
};

/// A place in a session for one object in memory.
struct ModelSlot {
  [[nodiscard]] bool IsEmpty() const {
    return m_Carrier == nullptr && m_Picture == nullptr && m_Folder == nullptr && m_Stream == nullptr;
  }
  [[nodiscard]] bool IsPending() const {
    for (ModelArray const& array : m_Arrays)
      if (array.m_IsPending) return true;
    return false;
  }

  std::unique_ptr<Carrier> m_Carrier;
  std::unique_ptr<FaultsPicture> m_Picture;
  std::unique_ptr<Folder> m_Folder;
  std::unique_ptr<Stream> m_Stream;

  ModelObject m_View;    ///< what memory must show; for open collections, the store's content
  int m_Id = -1;         ///< the stored object, or -1
  bool m_IsDead = false; ///< its agent was made in work that was undone
  bool m_IsNewInTransaction = false;
  bool m_IsLoadedInTransaction = false;
  std::array<ModelArray, Carrier::ArrayCount> m_Arrays; ///< for others, the first two are their collections
  bool m_IsPastDead = false; ///< the array assigned without the store noticing is of undone work
  bool m_CopiesInMemory = false;
  std::array<int, Carrier::ArrayCount> m_CopySizes{};
};

struct ModelSession {
  static constexpr int SlotCount = 5;
  // Destroy objects before the transaction and the store, unless a step says otherwise.
  std::unique_ptr<sto_Store> m_Store;
  std::unique_ptr<sto_Transaction> m_Transaction;
  ModelStore m_InTransaction;              ///< the store within the open transaction
  std::set<std::pair<int, int>> m_Changed; ///< in that transaction: objects and which of their collections
  std::array<ModelSlot, SlotCount> m_Slots;
};

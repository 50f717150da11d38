#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "store/driver/sto_Driver.h"
#include "store/format/sto_Shape.h"
#include "store/session/sto_IndexPlan.h"

class sto_Session;

/// The indexes of a session's store. Every record that is written or deleted passes here, if the store has any, and
/// its entries change with it: also those of classes that the program does not know or does not index.
///
/// An entry follows from the stored record: an object whose part lacks the attribute, because an older version of its
/// class has written it, has none. Names that the attribute had in earlier versions (cls_ClassChanges::Was) count.
///
/// Internal to the module. Thread rule: the thread of the session.
class sto_Indexes {
 public:
  explicit sto_Indexes(sto_Session& session) noexcept : m_Session(session) {}
  sto_Indexes(sto_Indexes const&) = delete;
  sto_Indexes& operator=(sto_Indexes const&) = delete;

  /// Whether the store has any. Constant in a transaction, but for Prepare and Drop.
  [[nodiscard]] bool AreThere() const noexcept { return m_AreThere; }

  /// Call when a transaction begins, with what the driver says.
  void Begin(bool areThere) noexcept { m_AreThere = areThere; }
  /// Forgets what is known, because another session may have changed it, or it is undone.
  void Forget() noexcept {
    m_IsLoaded = false;
    m_Rows.clear();
    ForgetPlans();
  }

  /// As sto_Driver::WriteObject, with the entries of the object. REQUIRES: AreThere.
  bool WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values);
  /// As sto_Driver::DeleteObject, with the entries of the object. If it raises, go back to a mark. REQUIRES: AreThere.
  void DeleteObject(std::int64_t id);

  /// All indexes of the store, ascending by number. Valid until Forget. Damaged. REQUIRES: an open transaction.
  [[nodiscard]] std::vector<sto_IndexRow> const& All();
  /// The index of an attribute; null if the store has none. As All.
  [[nodiscard]] sto_IndexRow const* Find(unsigned int classId, std::string_view attribute);

  /// The same, but null also if it lacks earlier names of the attribute that the program says.
  [[nodiscard]] sto_IndexRow const* Serving(unsigned int classId, std::string_view attribute);

  /// Makes the indexes that the program declares and the store does not have, from the stored objects, in one
  /// transaction of its own. Objects whose records are damaged have no entry. Memory: bounded. Busy; Damaged, naming
  /// a pack that cannot be read. REQUIRES: no open transaction; the store may be written.
  void Prepare();
  /// Removes an index; false if there is none. REQUIRES: an open write transaction without a save.
  bool Drop(unsigned int classId, std::string_view attribute);

  /// What the program declares an index of: number 0, the attribute's names.
  [[nodiscard]] sto_IndexRow Declared(unsigned int classId, std::string_view attribute) const;
  /// Whether the program declares one.
  [[nodiscard]] bool IsDeclared(unsigned int classId, std::string_view attribute) const;

 private:
  /// The key of an object in the index at a position of m_Rows.
  struct Key {
    std::size_t m_Index;
    std::string m_Key;
  };
  /// What is known of a shape.
  struct Planned {
    bool m_IsKnown = false;
    sto_IndexPlan m_Plan;
  };

  [[nodiscard]] bool DeclaresAny() const;
  void Load();
  void ForgetPlans() noexcept { m_Plans.clear(); }
  [[nodiscard]] std::vector<sto_IndexRow> Missing();
  void Build(std::vector<sto_IndexRow> const& missing);
  /// Adds the entries of one object.
  void AddObject(std::int64_t id);
  /// The plan of a numbered shape; null if the store does not have the shape.
  [[nodiscard]] sto_IndexPlan const* PlanOf(std::int64_t number);
  /// The keys of a record; false if it cannot be read.
  [[nodiscard]] bool ReadKeys(std::int64_t id, std::int64_t shape, sto_ByteView values,
                              std::vector<Key>& keys);
  /// Reads the keys of the stored record; false if there is one and it cannot be read.
  [[nodiscard]] bool ReadStoredKeys(std::int64_t id);
  /// Changes the entries of an object from m_Before to m_After.
  void Replace(std::int64_t id);
  /// An object was written, and its entries were not all changed: nobody may commit that.
  void Undo() noexcept;

  sto_Session& m_Session;
  bool m_AreThere = false;
  bool m_IsLoaded = false;
  std::vector<sto_IndexRow> m_Rows;
  std::vector<Planned> m_Plans;       // by the number of the shape
  std::int64_t m_PlansOf = 0;         // the catalogue's generation for which they were made
  sto_StoredRecord m_Stored;          // scratch
  sto_Shape m_OwnShape;               // scratch: of a record that begins with it
  std::vector<Key> m_Before, m_After; // scratch
};

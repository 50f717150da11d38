#pragma once

#include <cstdint>
#include <string>
#include <unordered_map>
#include <vector>

#include "store/check/sto_CheckCatalogue.h"
#include "store/check/sto_CheckResults.h"
#include "store/driver/sto_StorageWalk.h"
#include "store/session/sto_IndexPlan.h"

/// Compares the indexes of a store that is checked with its records: each object must have its entries, and each entry
/// its object. Entries and records pass once, in any order, and only sums over them are compared. If these differ,
/// Explain looks for each difference.
///
/// Memory: a few bytes for each shape. Thread rule: one thread.
class sto_CheckIndexes {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_CheckIndexes(sto_CheckResults& results, sto_CheckCatalogue const& catalogue) noexcept
      : m_Results(results), m_Catalogue(catalogue) {}

  void TakeIndex(sto_IndexRow const& row, bool isSound);
  /// Whether there is nothing to compare.
  [[nodiscard]] bool IsEmpty() const noexcept { return m_Rows.empty(); }

  /// A record that can be read. Call it after all indexes.
  void TakeRecord(std::int64_t id, sto_StoredRecord const& record);
  void TakeEntry(std::int64_t number, sto_IndexEntry const& entry, bool isSound);

  /// Whether the entries that were taken are those of the records that were taken.
  [[nodiscard]] bool AreAlike() const noexcept { return m_Expected == m_Found; }
  /// Reports each entry whose object has another value or is missing, and each object that lacks its entry. `isReadable`
  /// says whether an object's record can be read; others are passed over. Reads everything again, the objects in the
  /// order of the entries.
  template <class IsReadable> void Explain(sto_Driver& driver, IsReadable isReadable);

 private:
  using Keys = std::vector<std::pair<std::size_t, std::string>>; // the position of the index, the key

  /// The keys of a record in the indexes.
  [[nodiscard]] Keys const& KeysOf(std::int64_t id, sto_StoredRecord const& record);
  [[nodiscard]] sto_IndexPlan PlanOf(sto_Shape const& shape) const;
  [[nodiscard]] sto_IndexRow const* Find(std::int64_t number) const noexcept;
  [[nodiscard]] static std::uint64_t HashOf(std::int64_t number, sto_IndexEntry const& entry);
  /// Looks for the object of an entry, and for the entries of a record.
  void ExplainEntry(sto_Driver& driver, std::int64_t number, sto_IndexEntry const& entry);
  void ExplainRecord(sto_Driver& driver, std::int64_t id, sto_StoredRecord const& record);
  void Add(sto_CheckKind kind, std::int64_t number, std::int64_t id, std::string const& problem);
  /// "index 1, of attribute m_Id of class Part"
  [[nodiscard]] std::string Describe(std::int64_t number) const;

  sto_CheckResults& m_Results;
  sto_CheckCatalogue const& m_Catalogue;
  std::vector<sto_IndexRow> m_Rows;
  std::unordered_map<std::int64_t, sto_IndexPlan> m_Plans; // by the number of the shape
  std::uint64_t m_Expected = 0, m_Found = 0;
  sto_StoredRecord m_Stored; // scratch
  sto_Shape m_OwnShape;      // scratch: of a record that begins with it
  Keys m_Keys;               // scratch
};

template <class IsReadable> void sto_CheckIndexes::Explain(sto_Driver& driver, IsReadable isReadable) {
  struct Visitor final : sto_StorageVisitor {
    Visitor(sto_CheckIndexes& check, sto_Driver& driver, IsReadable const& isReadable)
        : m_Check(check), m_Driver(driver), m_IsReadable(isReadable) {}
    void Find(sto_CheckFinding&&) override {} // it was found before
    void TakeRecord(std::int64_t id, sto_StoredRecord& record) override {
      if (m_IsReadable(id)) m_Check.ExplainRecord(m_Driver, id, record);
    }
    void TakeIndexEntry(std::int64_t number, sto_IndexEntry const& entry, bool isSound) override {
      if (isSound && m_IsReadable(entry.m_Id)) m_Check.ExplainEntry(m_Driver, number, entry);
    }
    sto_CheckIndexes& m_Check;
    sto_Driver& m_Driver;
    IsReadable const& m_IsReadable;
  } visitor(*this, driver, isReadable);
  std::unique_ptr<sto_StorageWalk> const walk = driver.NewWalk(visitor);
  walk->IndexEntries();
  walk->Records();
}

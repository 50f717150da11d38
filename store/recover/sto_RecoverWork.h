#pragma once

#include <array>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>

#include "store/recover/sto_RecoverHarvest.h"
#include "store/sqlite/sto_NewFile.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// The new store while it is made: a file beside its place, which no program opens as a store. Thread rule: one thread.
class sto_RecoverWork {
 public:
  /// Conflict, Misuse, Unavailable: see sto_NewFile.
  explicit sto_RecoverWork(std::string const& location);

  [[nodiscard]] std::string const& Path() const noexcept { return m_File.Temporary(); }

  /// Makes the tables, and fills them with what a harvest takes.
  void Fill(sto_RecoverFile const& file, sto_RecoverHarvest& harvest, sto_RecoverResults& results);
  /// Gives class versions and names that shapes need and the catalogue lacks. Call it when the store has the present
  /// format.
  void CompleteCatalogue(sto_RecoverHarvest& harvest, sto_RecoverResults& results);
  /// Writes the entry of the recovery in the log, with the sum over the store, and makes the file a store.
  void Finish(sto_RecoverFile const& file, sto_RecoverHarvest& harvest, sto_RecoverResults& results,
              std::string const& program);
  /// Gives the file its name.
  void Publish() { m_File.Publish(); }

 private:
  [[nodiscard]] std::unique_ptr<sto_SqliteConnection> Connect() const;
  void WriteCatalogue(sto_SqliteConnection& work, sto_RecoverHarvest& harvest, sto_RecoverResults& results);
  void WriteOldCatalogue(sto_SqliteConnection& work, sto_RecoverHarvest& harvest);
  void WriteLog(sto_SqliteConnection& work, sto_RecoverHarvest& harvest, sto_RecoverResults& results);

  std::string m_Location;
  sto_NewFile m_File;
  std::array<std::byte, 16> m_Uuid{};
  std::int64_t m_Saves = 0; // in the log, before that of the recovery
  bool m_IsNextIdKnown = true;
  std::int64_t m_KnownNextId = 1; // at least
};

#include "store/recover/sto_Recover.h"

#include <memory>

#include "store/base/sto_Exception.h"
#include "store/recover/sto_RecoverFile.h"
#include "store/recover/sto_RecoverHarvest.h"
#include "store/recover/sto_RecoverMender.h"
#include "store/recover/sto_RecoverResults.h"
#include "store/recover/sto_RecoverWork.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sqlite/sto_SqliteErrors.h"

char const* sto_LostKindName(sto_LostKind kind) noexcept {
  switch (kind) {
  case sto_LostKind::Object:
    return "Object";
  case sto_LostKind::Objects:
    return "Objects";
  case sto_LostKind::Field:
    return "Field";
  case sto_LostKind::Elements:
    return "Elements";
  case sto_LostKind::Entries:
    return "Entries";
  case sto_LostKind::Bytes:
    return "Bytes";
  case sto_LostKind::Root:
    return "Root";
  case sto_LostKind::Name:
    return "Name";
  case sto_LostKind::Class:
    return "Class";
  case sto_LostKind::Shape:
    return "Shape";
  case sto_LostKind::Note:
    return "Note";
  case sto_LostKind::Index:
    return "Index";
  case sto_LostKind::Save:
    return "Save";
  case sto_LostKind::Header:
    return "Header";
  case sto_LostKind::Stale:
    return "Stale";
  case sto_LostKind::Rows:
    return "Rows";
  }
  return "unknown";
}

namespace {

/// Says which tables of the catalogue have lost rows of which nothing is known.
void ReportMissed(sto_RecoverHarvest const& harvest, sto_RecoverResults& results) {
  using enum sto_RecoverTable;
  for (sto_RecoverTable const table : {Root, Shape, Enumerator, Note})
    if (harvest.HasMissed(table)) {
      std::string const name(sto_RecoverTables::Name(table));
      results.Add(table == Shape                         ? sto_LostKind::Shape
                  : table == Enumerator || table == Note ? sto_LostKind::Note
                                                         : sto_LostKind::Rows,
                  "A part of table " + name + " cannot be read.");
    }
}

void Mend(std::string const& path, sto_RecoverOptions const& options, sto_RecoverResults& results) {
  constexpr std::size_t MaxFindings = 100'000; // in a round
  std::unique_ptr<sto_Driver> const driver = sto_SqliteDriver::OpenUnfinished(path, options.m_Program);
  driver->Begin({true});
  sto_RecoverMender mender(*driver, results);
  mender.Mend(MaxFindings);
  if (!results.Report().IsComplete()) {
    mender.MendLinks(options.m_KeepUnreachable);
    mender.Mend(MaxFindings);
  }
  driver->Commit();
}

} // namespace

sto_RecoverReport sto_Recover(std::string const& from, std::string const& to,
                              sto_RecoverOptions const& options, sto_Progress const& progress) {
  sto_RecoverReport report;
  sto_RecoverResults results(report, options.m_MaxItems, progress, from);
  sto_RecoverWork work(to);
  sto_RecoverFile const file(from, to);
  results.Begin(file.PageCount());
  report.m_Pages.m_Read = file.PageCount();
  report.m_Pages.m_Lost = file.ExpectedPages() - file.PageCount();
  sto_RecoverHarvest harvest(file, results);
  report.m_FormatVersion = harvest.Version();
  work.Fill(file, harvest, results);
  if (!harvest.HasAnything()) sto_RaiseNoStore(from);
  ReportMissed(harvest, results);
  if (harvest.IsOld()) static_cast<void>(sto_SqliteDriver::OpenUnfinished(work.Path(), options.m_Program));
  work.CompleteCatalogue(harvest, results);
  Mend(work.Path(), options, results);
  work.Finish(file, harvest, results, options.m_Program);
  work.Publish();
  return report;
}

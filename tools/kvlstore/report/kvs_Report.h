#pragma once

#include <cstdint>
#include <iosfwd>
#include <string>

#include "store/base/sto_Progress.h"

class sto_Store;

/// How much a report shows. What is left out is counted in the report. Each limit is at least 0.
struct kvs_ReportOptions {
  std::int64_t m_MaxObjects = 100000;   ///< objects in the tree
  std::int64_t m_MaxBytes = 32'000'000; ///< of objects, values and plots; a picture is not counted
  std::int64_t m_MaxPoints = 600;       ///< of one plot
  std::int64_t m_MaxElements =
      2'000'000'000;               ///< of arrays that are read for statistics and plots, all together
  std::int64_t m_MaxText = 1000;   ///< bytes of one text
  std::int64_t m_MaxPictures = 12; ///< of meshes
  std::int64_t m_MaxCells = 20000; ///< triangles or lines of one picture; a finer mesh is drawn coarser
  std::int64_t m_MaxSaves = 100;   ///< entries of the log, the newest ones
  std::string m_Name = {};         ///< of the store in the title; empty: that of its file
};

/// Writes one self-contained HTML file about a store: what it is, its objects, arrays with plots, pictures of meshes, classes
/// with their attributes, the log of saves, and what takes room. It needs no network. docs/report.md describes it.
///
/// The same store and options give the same bytes. All that comes from the store is escaped. Damage raises nothing: the report
/// says what could not be read. The caller looks whether `out` has failed; nothing is written to it after it has.
///
/// `progress` counts objects; an object with a large array takes longer than others.
///
/// Memory: the names of the roots, a few dozen bytes for each object that is shown, one record, one block, and the mesh of one
/// picture. Errors: Misuse if the store has an open transaction; Cancelled; Busy, Unavailable. Thread rule: as the store.
void kvs_WriteReport(sto_Store& store, std::ostream& out, kvs_ReportOptions const& options = {},
                     sto_Progress const& progress = sto_Progress());

#pragma once

#include <cstdint>
#include <functional>

/// How much of an operation is done. A plain value. See sto_Progress.
struct sto_ProgressStep {
  std::int64_t m_Done = 0;  ///< from 0 to m_Total; never less than in the call before
  std::int64_t m_Total = 0; ///< never less than in the call before
  /// Whether m_Total stays as it is. Otherwise it is what the operation has found so far, and m_Done / m_Total is no
  /// share of the whole: show m_Done alone.
  bool m_IsTotalKnown = true;
};

/// What a long operation of sto_Store calls now and then: return true to go on, false to cancel.
///
///     store.CollectGarbage([&](sto_ProgressStep const& step) {
///       bar.Show(step.m_Done, step.m_Total);
///       return !window.IsClosed();
///     });
///
/// The first call comes before the operation changes anything, with m_Done 0; the last one before it becomes durable,
/// with m_Done == m_Total. In between there is at most one call for each 256 units of work, and the units are:
///
/// - Save: objects and blocks of arrays that are written. How many there are is not known before; the total is what the
///   save has reached.
/// - Load, LoadShared: objects that are read. The total is the objects that those that were read hold; it grows.
/// - CollectGarbage, CountGarbage: twice the store's objects: reading what roots lead to, and then looking at each.
///   RemoveRootAndContent: three times.
/// - CopyTo: pages of the file.
/// - Compact: objects and rows of blocks, verified before and after, and between that the rows that SQLite copies.
/// - Check: objects and rows of blocks, once for each time that the check passes them; part of it is SQLite's own check,
///   which the count only estimates.
///
/// A part of the work that turns out shorter than was counted for it ends with a jump.
///
/// Canceling: the operation raises Cancelled, and the store, the file and the arrays of the program are as before the
/// call, as after any other failure of it (docs/errors.md). In a sto_Transaction only this operation is undone. CopyTo and
/// Compact may have written the unwritten changes of arrays, and Compact may have put blocks back in their places: the
/// content is the same. Once the file is written anew, Compact is no longer cancelled, and what the function returns is
/// not looked at. An exception that the function throws cancels too, and passes through the operation.
///
/// The function must not use the store: every operation of it, and of its transactions and arrays, raises Misuse in
/// the function. A transaction that it rolls back or destroys ends with the operation, which raises Misuse. REQUIRES:
/// it does not close or destroy the store.
///
/// Without a function an operation pays one comparison for each object. Called in the thread of the store.
using sto_Progress = std::function<bool(sto_ProgressStep const& step)>;

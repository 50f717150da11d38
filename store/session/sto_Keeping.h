#pragma once

/// How a transaction, when it begins, keeps the unwritten elements of bulk arrays so that a rollback can
/// restore them. It depends on what can happen to them until the transaction ends.
enum class sto_Keeping {
  Nothing, ///< for a single operation: no block changes in memory before it ends
  Handles, ///< for a save: blocks are written and evicted, but no element changes
  Copies,  ///< for a transaction of the program, in which anything can happen
};

#pragma once

/// What a transaction keeps at its beginning of the elements that bulk arrays have in memory and have not
/// written, so that a rollback can put them back. Each value says how much can happen to them meanwhile.
enum class sto_Keeping {
  Nothing, ///< a single operation: no block is changed in memory before it ends
  Handles, ///< a save: blocks are written and evicted, but nobody is to change elements
  Copies,  ///< a transaction of the program's, in which everything can happen
};

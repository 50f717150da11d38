#pragma once

// The example's component of the process-wide type table: the names of its classes and who derives from whom.
struct fail_TypeTable {
  static constexpr unsigned int Component = 0x66;

  // Registers the classes; to be called after nex_initialize, because the last nex_finalize empties the
  // table.
  static void InsertEntries();
};

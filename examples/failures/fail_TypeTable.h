#pragma once

// The example's entries in the process-wide type table: the names of its classes and their base classes.
struct fail_TypeTable {
  static constexpr unsigned int Component = 0x66;

  // Registers the classes. Call it after nex_initialize, because the last nex_finalize empties the table.
  static void InsertEntries();
};

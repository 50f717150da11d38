#pragma once

/// What went wrong with a store, by what a catcher can do about it.
/// The values stand in stored exceptions: never renumber them.
enum class sto_ErrorKind : int {
  NotFound = 1,    ///< no such store, root or object: look elsewhere, or create it
  WrongClass = 2,  ///< the stored object or value is of another class or type than asked for
  NewerFormat = 3, ///< written by a newer program: use that one
  Damaged = 4,     ///< the stored bytes are not what was written: restore a copy
  ReadOnly = 5,    ///< the store was opened for reading, or may not be written
  Full = 6,        ///< no room on the medium, or beyond a limit of the format
  Busy = 7,        ///< another session holds the store: try again
  Conflict = 8,    ///< what is asked contradicts what is there: decide which one holds
  Unavailable = 9, ///< the system refused (permission, input or output error): see the message
  Misuse = 10,     ///< the calling program is wrong
};

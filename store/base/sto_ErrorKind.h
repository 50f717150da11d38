#pragma once

/// What went wrong with a store, sorted by what the catcher can do about it.
/// The values are stored with exceptions: never renumber them.
enum class sto_ErrorKind : int {
  NotFound = 1,    ///< no such store, root or object: look elsewhere, or create it
  WrongClass = 2,  ///< the stored object or value has another class or type than the requested one
  NewerFormat = 3, ///< written by a newer program: use that one
  Damaged = 4,     ///< the stored bytes are not what was written: restore a copy
  ReadOnly = 5,    ///< the store was opened for reading, or may not be written
  Full = 6,        ///< no room on the medium, or a limit of the format is exceeded
  Busy = 7,        ///< another session is using the store: try again
  Conflict = 8,    ///< the request contradicts what is stored: decide which of the two is right
  Unavailable = 9, ///< the system refused (permission, input or output error): see the message
  Misuse = 10,     ///< the calling program is wrong
  Cancelled = 11,  ///< the operation's progress function has cancelled it
};

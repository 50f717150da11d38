#pragma once

// Ends long work when the user presses Ctrl-C: what is being written is undone, not left half done.

/// From now on an interrupt or a request to terminate is noted, and a second one ends the process at once. One that the
/// process was started to ignore stays ignored.
void kvs_CatchInterrupts();
[[nodiscard]] bool kvs_IsInterrupted() noexcept;
/// Throws kvs_Interrupted if there was one.
void kvs_CheckInterrupt();

#pragma once

#include <functional>
#include <string>

// A loop of commits whose states can be checked by number, for programs that end it at any moment.

/// Makes the store, with commit 0.
void FaultsMakeLoop(std::string const& path, bool readersBesideWriter);

/// Opens the store and makes `count` more commits. Each saves an object anew, appends to a bulk array and
/// changes one of its elements, writes to a blob and to a list of objects, and makes and removes roots; some
/// collect. `committed` is called with the number of each commit when it is done.
void FaultsRunLoop(std::string const& path, int count, std::function<void(int number)> const& committed);

/// The number of the commit whose state the store has. Raises std::runtime_error, or the store's error,
/// unless the store has exactly the state of one commit.
int FaultsStateOf(std::string const& path);

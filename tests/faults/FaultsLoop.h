#pragma once

#include <functional>
#include <string>

// A loop of commits whose every state can be told from its number, for programs that end it at any moment.

/// Makes the store, with commit 0.
void FaultsMakeLoop(std::string const& path, bool readersBesideWriter);

/// Opens the store and makes so many more commits: each saves an object anew, appends to a bulk array and
/// changes an element of it, writes to a blob and to a list of objects, makes and removes roots; some
/// collect. `committed` hears the number of each as soon as it is done.
void FaultsRunLoop(std::string const& path, int count, std::function<void(int number)> const& committed);

/// The number of the commit whose state the store has. Raises std::runtime_error, or what the store raises,
/// when it does not have exactly the state of one.
int FaultsStateOf(std::string const& path);

#pragma once

/// How often the program has called operator new so far, in all threads. Programs that use this compile
/// HeapCount.cpp, which replaces the operators.
long long HeapCount();

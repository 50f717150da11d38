#pragma once

/// How often the program has called the language's operator new so far, in all threads.
/// A test program that uses this compiles HeapCount.cpp, which replaces the operators.
long long HeapCount();

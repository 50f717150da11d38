// The program of README.md as a reader puts it together: its blocks in order and nothing else.

#include <blocks/README/a-persisted-class-1>

#include <blocks/README/a-persisted-class-2>

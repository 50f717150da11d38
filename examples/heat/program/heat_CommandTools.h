#pragma once

#include "examples/heat/mesh/heat_LeftOut.h"
#include "examples/heat/program/heat_Progress.h"
#include "examples/shared/exa_StoreProgress.h"
#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"

#include <chrono>
#include <string>

// Shared by the program's commands.

// The program's classes, as declared in heat_main.cpp.
cls_ClassRegistrar const& heat_Classes();

class heat_Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  }

 private:
  std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
};

// A new store, made on a server or at the target of symbolic links. It is deleted again unless everything succeeded.
class heat_NewStore {
 public:
  explicit heat_NewStore(std::string const& path);
  heat_NewStore(heat_NewStore const&) = delete;
  heat_NewStore& operator=(heat_NewStore const&) = delete;
  ~heat_NewStore();

  sto_Store& Store() { return m_Store; }
  void Keep() { m_IsKept = true; }

 private:
  std::string m_Path;
  sto_Store m_Store;
  bool m_IsKept = false;
};

// How the program opens what it writes to.
sto_Options heat_WriteOptions();

// Opens a store for reading. If a run was killed in the middle of a transaction, rolls that back first.
sto_Store heat_OpenToRead(std::string const& path);

// Runs a long operation of a store, with a bar on the terminal: `act` gets its progress function.
template <class Act> auto heat_WithStoreProgress(std::string const& label, Act act) {
  heat_Progress progress(label);
  return act(exa_ShowOn(progress));
}

// The last part of a path.
std::string heat_FileName(std::string const& path);

// Throws heat_CallError if the mesh does not exist, or the store already exists or cannot be made.
void heat_CheckPaths(std::string const& meshPath, std::string const& storePath);

// Throws heat_CallError if the plot cannot be written or would overwrite the store that it is made from. An
// empty path means no plot.
void heat_CheckPlotPath(std::string const& plotPath, std::string const& storePath);

// Prints a line about what of a mesh file is left out; nothing if it is used as a whole.
void heat_PrintLeftOut(std::string const& meshPath, heat_LeftOut const& leftOut);

// Prints a row of a table to standard output.
void heat_PrintRow(char const* label, std::string const& value);

// A number formatted as by printf.
std::string heat_Text(char const* format, double value);

// "12.3 ms"
std::string heat_Milliseconds(double seconds);

#pragma once

#include "examples/heat/plot/heat_LeftOut.h"
#include "metadata/cls_ClassRegistrar.h"
#include "store/sto_Store.h"

#include <chrono>
#include <string>

// What the program's commands have in common.

// The program's classes, as heat_main.cpp declared them.
cls_ClassRegistrar const& heat_Classes();

class heat_Stopwatch {
 public:
  double Seconds() const {
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  }

 private:
  std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
};

// A new store, made where symbolic links lead. It is taken away again unless everything has worked.
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

// Opens a store to read it. Where a run was killed in the middle of a transaction, that is undone first.
sto_Store heat_OpenToRead(std::string const& path);

// The last part of a path.
std::string heat_FileName(std::string const& path);

// Refuses, as heat_CallError, a mesh that is not there, and a store that is there already or cannot be made.
void heat_CheckPaths(std::string const& meshPath, std::string const& storePath);

// Refuses, as heat_CallError, a plot that cannot be written or would overwrite the store that it is
// made of. An empty path is no plot.
void heat_CheckPlotPath(std::string const& plotPath, std::string const& storePath);

// Says what of a mesh file is left out, on a line of standard output; nothing when nothing is.
void heat_PrintLeftOut(std::string const& meshPath, heat_LeftOut const& leftOut);

// A row of a table on standard output.
void heat_PrintRow(char const* label, std::string const& value);

// A number as printf formats it.
std::string heat_Text(char const* format, double value);

// "12.3 ms"
std::string heat_Milliseconds(double seconds);

#pragma once

#include <chrono>
#include <cstdint>
#include <filesystem>
#include <functional>
#include <map>
#include <string>
#include <string_view>

#include "store/base/sto_ErrorKind.h"

// Shared by the programs of the fault campaign.

/// A folder for one program, in memory if the system has such a place: these programs test what reaches the
/// system, not the speed of a disk.
class FaultsFolder {
 public:
  FaultsFolder();
  ~FaultsFolder();
  FaultsFolder(FaultsFolder const&) = delete;
  FaultsFolder& operator=(FaultsFolder const&) = delete;
  [[nodiscard]] std::string Path(std::string_view name = "test.kvs") const {
    return (m_Folder / name).string();
  }
  /// Removes all files.
  void Clear() const;

 private:
  std::filesystem::path m_Folder;
};

/// The options of a program: `--name value`, or `--name` alone. All programs accept `--show N`: print at most
/// N findings of each kind.
class FaultsOptions {
 public:
  FaultsOptions(int argc, char** argv);
  [[nodiscard]] bool Has(std::string const& name) const { return m_Values.count(name) != 0; }
  [[nodiscard]] std::string Text(std::string const& name, std::string const& otherwise) const;
  [[nodiscard]] int Number(std::string const& name, int otherwise) const;
  /// The short form, run for each commit.
  [[nodiscard]] bool IsShort() const { return Has("short"); }

 private:
  std::map<std::string, std::string> m_Values;
};

/// One line of the campaign's result: what was tried, how often, and what was lost or silently wrong.
/// Findings go to standard error as they are found.
class FaultsRow {
 public:
  explicit FaultsRow(std::string what) : m_What(std::move(what)) {}
  void Count(std::int64_t count = 1) noexcept { m_Count += count; }
  /// Something committed is missing, or the program ended in a way that it must not.
  void Lost(std::string const& finding) { Found("LOST", finding, m_Lost); }
  /// Something differs from what was written, and no error reports it.
  void Wrong(std::string const& finding) { Found("WRONG", finding, m_Wrong); }
  /// An extra column with its own count.
  void Besides(std::string const& name, std::int64_t count = 1) { m_Besides[name] += count; }
  /// Prints the line; returns the program's exit code.
  int Print() const;
  /// The number of findings to print.
  static inline int s_Shown = 20;
  [[nodiscard]] std::int64_t Findings() const noexcept { return m_Lost + m_Wrong; }

 private:
  void Found(char const* kind, std::string const& finding, std::int64_t& counter);
  std::string m_What;
  std::int64_t m_Count = 0, m_Lost = 0, m_Wrong = 0;
  std::map<std::string, std::int64_t> m_Besides;
  std::chrono::steady_clock::time_point m_Start = std::chrono::steady_clock::now();
};

/// How a child process ended, and what it wrote to its pipe.
struct FaultsEnd {
  int m_ExitCode = -1; ///< -1 if a signal ended it
  int m_Signal = 0;
  std::string m_Output;
  /// As text, for a finding.
  [[nodiscard]] std::string AsText() const;
};

/// Runs `work` in a child process. `work` gets the writing end of a pipe; its result is the exit code. An
/// exception ends the child with exit code 3 and its text in the pipe; after the given number of seconds
/// SIGALRM ends it. The child's standard error is switched off. Meanwhile, `meanwhile` runs in the parent
/// with the child's id.
FaultsEnd FaultsChild(std::function<int(int pipe)> const& work, unsigned int seconds,
                      std::function<void(int child)> const& meanwhile = {});

/// Writes all of a text into a pipe.
void FaultsTell(int pipe, std::string_view text);

/// How an operation ended.
struct FaultsOutcome {
  enum class Way { Done, Store, NoMemory, Other }; ///< Store: a sto_Exception; Other: another exception
  Way m_Way = Way::Done;
  sto_ErrorKind m_Kind{}; ///< of a sto_Exception
  std::string m_Text;
  [[nodiscard]] bool IsDone() const noexcept { return m_Way == Way::Done; }
  [[nodiscard]] bool Is(sto_ErrorKind kind) const noexcept { return m_Way == Way::Store && m_Kind == kind; }
};
/// Runs an operation and returns how it ended.
FaultsOutcome FaultsTry(std::function<void()> const& act);

/// The result of "PRAGMA integrity_check".
std::string FaultsIntegrityOf(std::string const& path);

std::string FaultsBytesOf(std::string const& path);
void FaultsPutBytes(std::string const& path, std::string_view bytes);

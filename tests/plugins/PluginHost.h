#pragma once

#include <dlfcn.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <functional>
#include <semaphore>
#include <string>
#include <thread>
#include <utility>

#include "tests/plugins/PluginApi.h"
#include "tests/support/ChildProcess.h"

// A host that is not linked to the library. Its plug-ins bring the library along, start and stop it, and are
// unloaded again. Every scenario is a process of its own, so that it begins without the library.

[[noreturn]] inline void Fail(std::string const& what) {
  Say((what + "\n").c_str());
  std::_Exit(1);
}

inline void Expect(bool condition, char const* what) {
  if (!condition) Fail(what);
}

/// A loaded plug-in.
class Plugin {
 public:
  explicit Plugin(char const* file, int mode = RTLD_NOW | RTLD_LOCAL) : m_Library(dlopen(file, mode)) {
    if (m_Library == nullptr) Fail(dlerror());
    void* const entry = dlsym(m_Library, PluginEntry);
    Expect(entry != nullptr, "the plug-in has no entry");
    m_Api = reinterpret_cast<PluginApi const* (*)()>(entry)();
  }
  Plugin(Plugin&& other) noexcept : m_Library(std::exchange(other.m_Library, nullptr)), m_Api(other.m_Api) {}
  Plugin& operator=(Plugin&&) = delete;
  ~Plugin() { Unload(); }

  PluginApi const* operator->() const { return m_Api; }

  void Use() const { Expect(m_Api->m_Use(), "the plug-in got wrong values"); }

  void Unload() {
    if (m_Library != nullptr) Expect(dlclose(std::exchange(m_Library, nullptr)) == 0, "dlclose failed");
  }

 private:
  void* m_Library;
  PluginApi const* m_Api = nullptr;
};

/// A thread that runs what it is handed, and ends when this object is destroyed.
class Worker {
 public:
  Worker() : m_Thread(&Worker::Run, this) {}
  Worker(Worker const&) = delete;
  Worker& operator=(Worker const&) = delete;
  ~Worker() { End(); }

  /// Runs `step` on the thread and waits for it.
  void Do(std::function<void()> const& step) {
    m_Step = &step;
    m_Go.release();
    m_Done.acquire();
  }

  void End() {
    if (!m_Thread.joinable()) return;
    Do([this] { m_Ended = true; });
    m_Thread.join();
  }

 private:
  void Run() {
    while (!m_Ended) {
      m_Go.acquire();
      (*m_Step)();
      m_Done.release();
    }
  }

  std::function<void()> const* m_Step = nullptr;
  bool m_Ended = false;
  std::binary_semaphore m_Go{0};
  std::binary_semaphore m_Done{0};
  std::thread m_Thread;
};

/// Runs a scenario in a process in which freed memory is overwritten, so that reading it is noticed.
inline void ExpectSuccess(char const* scenario) {
  setenv("MALLOC_PERTURB_", "165", 1); // NOLINT(concurrency-mt-unsafe): only one thread runs
  ChildResult const result = RunChild(scenario);
  EXPECT_EQ(result.m_Signal, 0);
  EXPECT_EQ(result.m_ExitCode, 0);
  EXPECT_EQ(result.m_Output, "done\n");
}

inline void Done() {
  Say("done\n");
}

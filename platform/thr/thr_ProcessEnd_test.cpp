#include <gtest/gtest.h>

#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "platform/thr/thr_ThrSingletonRegistry.h"
#include "tests/support/ChildProcess.h"
#include "tests/support/ThreadRegistry.h"

// What happens to per-thread services in each way in which the process can end.
namespace {

/// A per-thread service that prints the thread's name and its level when it is destroyed.
template <int Level> struct PrintedService {
  static void Use(char const* thread) {
    Registry().Register(&Finalize);
    Registry().SetDestructLevel(&Finalize, Level);
    t_Thread = thread;
  }
  static bool Finalize() {
    if (t_Thread == nullptr) return false;
    Say((std::string(std::exchange(t_Thread, nullptr)) + std::to_string(Level) + " ").c_str());
    s_Finalised = true;
    return true;
  }
  static inline thread_local char const* t_Thread = nullptr;
  static inline std::atomic<bool> s_Finalised = false;
};

void UseAll(char const* thread) {
  PrintedService<4>::Use(thread);
  PrintedService<2>::Use(thread);
  PrintedService<5>::Use(thread);
}

struct TellsItsEnd {
  explicit TellsItsEnd(char const* text) : m_Text(text) {}
  ~TellsItsEnd() { Say(m_Text); }
  char const* m_Text;
};

ChildScenario const s_Return("return from main", [] { UseAll("main"); });

ChildScenario const s_Exit("exit from main", [] {
  UseAll("main");
  std::exit(3);
});

ChildScenario const s_ExitElsewhere("exit from another thread", [] {
  UseAll("main");
  std::thread([] {
    UseAll("other");
    std::exit(4);
  }).join();
});

void LeaveMainThreadFirst(void (*end)()) {
  UseAll("main");
  std::thread([end] {
    std::thread([] {
      UseAll("other");
      while (!PrintedService<2>::s_Finalised) std::this_thread::yield();
      Say("between ");
    }).join();
    end();
  }).detach();
  pthread_exit(nullptr);
}

ChildScenario const s_MainThreadLeaves("main thread leaves first",
                                       [] { LeaveMainThreadFirst([] { std::_Exit(6); }); });

ChildScenario const s_MainThreadAlone("main thread leaves alone", [] {
  UseAll("main");
  pthread_exit(nullptr);
});

// The thread sanitizer has a thread of its own, so with it a process without a main thread never ends by
// itself.
#if !defined(__SANITIZE_THREAD__)
ChildScenario const s_LastThread("last thread ends the process", [] { LeaveMainThreadFirst([] {}); });
#endif

ChildScenario const s_ThreadLocal("thread-local objects at exit", [] {
  thread_local TellsItsEnd const before("before ");
  (void)&before;
  UseAll("main");
  std::exit(0);
});

ChildScenario const s_Static("static objects at exit", [] {
  UseAll("main");
  static TellsItsEnd const later("later ");
  (void)&later;
});

TellsItsEnd s_Earlier(""); // built before main, and so before the first service of any thread

ChildScenario const s_StaticEarlier("earlier static objects at exit", [] {
  s_Earlier.m_Text = "earlier ";
  UseAll("main");
});

ChildScenario const s_QuickEnd("abrupt end", [] {
  UseAll("main");
  std::_Exit(5);
});

void ExpectEnd(char const* scenario, int exitCode, char const* output) {
  ChildResult const result = RunChild(scenario);
  EXPECT_EQ(result.m_ExitCode, exitCode);
  EXPECT_EQ(result.m_Signal, 0);
  EXPECT_EQ(result.m_Output, output);
}

TEST(ProcessEnd, ReturnFromMainFinalisesTheMainThread) {
  ExpectEnd("return from main", 0, "main5 main4 main2 ");
}

TEST(ProcessEnd, ExitFinalisesOnlyTheCallingThread) {
  ExpectEnd("exit from main", 3, "main5 main4 main2 ");
  ExpectEnd("exit from another thread", 4, "other5 other4 other2 ");
}

TEST(ProcessEnd, MainThreadThatExitsFirstIsFinalisedBeforeTheOthersEnd) {
  ExpectEnd("main thread leaves first", 6, "main5 main4 main2 between other5 other4 other2 ");
}

#if !defined(__SANITIZE_THREAD__)
TEST(ProcessEnd, LastThreadEndsTheProcessWithNothingLeftToFinalise) {
  ExpectEnd("last thread ends the process", 0, "main5 main4 main2 between other5 other4 other2 ");
}
#endif

TEST(ProcessEnd, MainThreadThatExitsAloneIsFinalised) {
  ExpectEnd("main thread leaves alone", 0, "main5 main4 main2 ");
}

TEST(ProcessEnd, ThreadLocalObjectsAreDestroyedBeforeTheServices) {
  ExpectEnd("thread-local objects at exit", 0, "before main5 main4 main2 ");
}

TEST(ProcessEnd, StaticObjectsMadeLaterAreDestroyedBeforeTheServices) {
  ExpectEnd("static objects at exit", 0, "later main5 main4 main2 ");
}

TEST(ProcessEnd, StaticObjectsMadeEarlierAreDestroyedBeforeTheServices) {
  ExpectEnd("earlier static objects at exit", 0, "earlier main5 main4 main2 ");
}

TEST(ProcessEnd, AbruptEndFinalisesNothing) {
  ExpectEnd("abrupt end", 5, "");
}

} // namespace

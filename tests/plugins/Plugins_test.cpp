#include <dlfcn.h>
#include <gtest/gtest.h>
#include <pthread.h>

#include <atomic>
#include <cstdlib>
#include <thread>
#include <vector>

#include "tests/plugins/PluginHost.h"
#include "tests/support/OnThread.h"

namespace {

Plugin First() {
  return Plugin(PLUGIN_FIRST);
}
Plugin Second() {
  return Plugin(PLUGIN_SECOND);
}

bool IsLoaded(char const* file) {
  void* const library = dlopen(file, RTLD_LAZY | RTLD_NOLOAD);
  if (library != nullptr) dlclose(library);
  return library != nullptr;
}

int FreeThreadKeys() {
  std::vector<pthread_key_t> keys;
  for (pthread_key_t key{}; pthread_key_create(&key, nullptr) == 0;) keys.push_back(key);
  for (pthread_key_t const key : keys) pthread_key_delete(key);
  return static_cast<int>(keys.size());
}

// --- Starting and stopping.

ChildScenario const s_OtherThread("stop on another thread", [] {
  for (bool const unload : {false, true}) {
    Plugin plugin = First();
    Worker starter;
    starter.Do([&] {
      plugin->m_Start();
      plugin.Use();
    });
    OnThread([&] {
      plugin.Use();
      plugin->m_Stop();
    });
    starter.Do([&] { plugin.Use(); }); // the stop was that of another thread's identities
    if (unload) plugin.Unload();
  }
  Done();
});

ChildScenario const s_PairsInTurn("pairs one after the other", [] {
  Plugin const first = First();
  Plugin const second = Second();
  Worker one;
  Worker two;
  for (int round = 0; round < 200; ++round) {
    one.Do([&] { first->m_Start(); });
    two.Do([&] { second->m_Start(); });
    one.Do([&] { first.Use(); });
    two.Do([&] { second.Use(); });
    if (round % 2 == 0) one.Do([&] { first->m_Stop(); });
    two.Do([&] {
      second.Use();
      second->m_Stop();
    });
    if (round % 2 != 0) one.Do([&] { first->m_Stop(); });
  }
  Done();
});

ChildScenario const s_PairsAtOnce("pairs at once", [] {
  Plugin const plugins[] = {First(), Second()};
  std::vector<std::thread> threads;
  for (Plugin const& plugin : plugins)
    threads.emplace_back([&plugin] {
      for (int round = 0; round < 200; ++round) {
        plugin->m_Start();
        plugin.Use();
        plugin->m_Stop();
      }
    });
  for (std::thread& thread : threads) thread.join();
  Done();
});

ChildScenario const s_Order("every order of stops", [] {
  for (int order = 0; order < 8; ++order) {
    Plugin first = First();
    Plugin second = Second();
    first->m_Start();
    second->m_Start();
    second->m_Start();
    first.Use();
    for (int stop = 0; stop < 3; ++stop) {
      bool const ofFirst = (order & 1 << stop) != 0;
      OnThread([&] { (ofFirst ? first : second)->m_Stop(); });
      second.Use();
    }
    if ((order & 1) != 0) first.Unload();
    second.Use();
  }
  Done();
});

ChildScenario const s_Again("start again on a new thread", [] {
  Plugin const plugin = First();
  for (int round = 0; round < 50; ++round)
    OnThread([&] {
      plugin->m_Start();
      plugin.Use();
      plugin->m_Declare();
      Expect(plugin->m_KnowsClass(1), "the class is not known");
      plugin->m_Stop();
    });
  Done();
});

ChildScenario const s_WorkerLast("worker ends last", [] {
  for (bool const unload : {false, true}) {
    Plugin plugin = First();
    plugin->m_Start();
    Worker worker;
    worker.Do([&] {
      plugin.Use();
      plugin->m_HoldInThread();
    });
    plugin->m_Stop();
    if (unload) plugin.Unload();
    worker.End();
  }
  Done();
});

// --- Unloading.

ChildScenario const s_Loads("two thousand loads", [] {
  int const keys = FreeThreadKeys();
  for (int round = 0; round < 2000; ++round) {
    Plugin plugin = round % 2 == 0 ? First() : Second();
    if (round % 50 == 0) {
      Worker worker;
      worker.Do([&] {
        plugin->m_Start();
        plugin.Use();
        plugin->m_Stop();
      });
      plugin.Unload(); // before the worker ends
    } else {
      plugin->m_Start();
      plugin->m_Stop();
    }
  }
  Expect(FreeThreadKeys() >= keys - 1, "thread keys are used up"); // the library has one
  Expect(!IsLoaded(PLUGIN_FIRST) && !IsLoaded(PLUGIN_SECOND), "a plug-in that left nothing is still loaded");
  Done();
});

ChildScenario const s_Service("service of an unloaded plug-in", [] {
  Plugin first = First();
  Plugin const second = Second();
  Worker worker;
  worker.Do([&] {
    first->m_UseService();
    second.Use();
  });
  OnThread([&] { first->m_UseService(); });
  int (*const ended)() = first->m_ServicesEnded;
  Expect(ended() == 1, "the service did not end with its thread");
  first.Unload();
  worker.End();
  Expect(ended() == 2, "the service did not end with its thread after the unloading");
  Done();
});

ChildScenario const s_Declarations("declarations of an unloaded plug-in", [] {
  Plugin first = First();
  Plugin second = Second();
  first->m_Start();
  second->m_Start();
  first->m_Declare();
  second->m_Declare();
  first->m_Stop();
  first.Unload();
  Expect(second->m_KnowsClass(1) && second->m_KnowsClass(2), "a class is not known any more");
  second->m_Stop(); // destroys the declarations
  Done();
});

ChildScenario const s_Mixed("two plug-ins, one unloaded, threads alive", [] {
  Worker worker;
  Plugin second = Second();
  {
    Plugin const first = First();
    worker.Do([&] {
      first->m_Start();
      first->m_HoldInThread();
      second->m_Start();
    });
    first->m_Stop();
  }
  worker.Do([&] { second.Use(); });
  second->m_Stop();
  second.Unload();
  worker.End();
  Done();
});

// --- The end of the process, and static objects.

ChildScenario const s_ExitBusy("exit while threads are busy", [] {
  static Plugin const& plugin = *new Plugin(First());
  plugin->m_Start();
  static std::atomic<int> busy = 0;
  for (int t = 0; t < 4; ++t)
    std::thread([] {
      plugin->m_HoldInThread();
      ++busy;
      for (;;) plugin.Use();
    }).detach();
  while (busy < 4) std::this_thread::yield();
  Done();
  std::exit(0);
});

ChildScenario const s_ExitElsewhere("exit on another thread", [] {
  static Plugin const& plugin = *new Plugin(First());
  plugin->m_Start();
  plugin->m_HoldInThread();
  std::thread([] {
    plugin.Use();
    plugin->m_HoldInThread();
    Done();
    std::exit(0);
  }).join();
});

ChildScenario const s_StaticAtExit("static object at exit", [] {
  static Plugin const& plugin = *new Plugin(First());
  plugin->m_Start();
  plugin->m_HoldInStatic();
  Done();
  std::exit(0);
});

ChildScenario const s_StaticAtUnload("static object at unload", [] {
  Plugin plugin = First();
  plugin->m_Start();
  plugin->m_HoldInStatic();
  plugin.Unload();
  Done();
});

ChildScenario const s_LateStop("stop in a static object", [] {
  for (int round = 0; round < 3; ++round) {
    Plugin plugin(PLUGIN_STATIC);
    plugin->m_Start();
    plugin.Use();
  }
  Done();
});

ChildScenario const s_LateStopAtExit("stop in a static object at exit", [] {
  static Plugin const& plugin = *new Plugin(PLUGIN_STATIC);
  plugin->m_Start();
  plugin.Use();
  Done();
  std::exit(0);
});

// --- What crosses plug-ins.

ChildScenario const s_Exceptions("exceptions of another plug-in", [] {
  for (int const mode : {RTLD_LOCAL, RTLD_GLOBAL}) {
    Plugin const first(PLUGIN_FIRST, RTLD_NOW | mode);
    Plugin const second(PLUGIN_SECOND, RTLD_NOW | mode);
    Expect(first->m_Catches(second->m_Throw), "the first does not catch what the second throws");
    Expect(second->m_Catches(first->m_Throw), "the second does not catch what the first throws");
  }
  Done();
});

// --- The tests.

TEST(Plugins, StopMayRunOnAnotherThread) {
  ExpectSuccess("stop on another thread");
}

TEST(Plugins, PairsOnTwoThreadsOneAfterTheOther) {
  ExpectSuccess("pairs one after the other");
}

TEST(Plugins, PairsOnTwoThreadsAtOnce) {
  ExpectSuccess("pairs at once");
}

TEST(Plugins, StopsInAnyOrder) {
  ExpectSuccess("every order of stops");
}

TEST(Plugins, StartsAgainOnANewThread) {
  ExpectSuccess("start again on a new thread");
}

TEST(Plugins, ThreadMayEndAfterTheLastStopAndAfterUnloading) {
  ExpectSuccess("worker ends last");
}

TEST(Plugins, TwoThousandLoadsUseUpNoThreadKeys) {
  ExpectSuccess("two thousand loads");
}

TEST(Plugins, ServiceOfAnUnloadedPlugInEndsWithItsThread) {
  ExpectSuccess("service of an unloaded plug-in");
}

TEST(Plugins, DeclarationsOutliveThePlugIn) {
  ExpectSuccess("declarations of an unloaded plug-in");
}

TEST(Plugins, IdentitiesOutliveThePlugInThatMadeThem) {
  ExpectSuccess("two plug-ins, one unloaded, threads alive");
}

TEST(Plugins, ProcessMayExitWhileThreadsAreBusy) {
  ExpectSuccess("exit while threads are busy");
  ExpectSuccess("exit on another thread");
}

TEST(Plugins, StaticObjectMayHoldIdentities) {
  ExpectSuccess("static object at exit");
  ExpectSuccess("static object at unload");
}

TEST(Plugins, StaticObjectMayStopTheLibrary) {
  ExpectSuccess("stop in a static object");
  ExpectSuccess("stop in a static object at exit");
}

TEST(Plugins, ExceptionsAndCastsCrossPlugIns) {
  ExpectSuccess("exceptions of another plug-in");
}

} // namespace

#include <gtest/gtest.h>

#include <thread>
#include <vector>

#include "tests/plugins/PluginHost.h"
#include "tests/support/OnThread.h"

namespace {

ChildScenario const s_InTurn("stores in turn", [] {
  for (int round = 0; round < 30; ++round) {
    Plugin plugin(PLUGIN_STORE);
    Worker worker;
    worker.Do([&] {
      plugin->m_Start();
      plugin.Use();
    });
    OnThread([&] { plugin.Use(); });
    plugin.Use();
    plugin->m_Stop();
    plugin.Unload();
  }
  Done();
});

ChildScenario const s_AtOnce("stores at once", [] {
  Plugin const plugin(PLUGIN_STORE);
  std::vector<std::thread> threads;
  for (int t = 0; t < 4; ++t)
    threads.emplace_back([&plugin] {
      for (int round = 0; round < 10; ++round) {
        plugin->m_Start();
        plugin.Use();
        plugin->m_Stop();
      }
    });
  for (std::thread& thread : threads) thread.join();
  Done();
});

TEST(StorePlugin, KeepsObjectsAtEachLoad) {
  ExpectSuccess("stores in turn");
}

TEST(StorePlugin, KeepsObjectsOnManyThreads) {
  ExpectSuccess("stores at once");
}

} // namespace

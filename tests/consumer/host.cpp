/// Loads plug-ins, uses them on threads of its own, and unloads them before the threads end.
///     host plugin ...

#include <dlfcn.h>

#include <cstdio>
#include <cstdlib>
#include <future>
#include <thread>
#include <vector>

namespace {

class Plugin {
 public:
  explicit Plugin(char const* file) : m_Library(dlopen(file, RTLD_NOW | RTLD_LOCAL)) {
    if (m_Library != nullptr) return;
    std::fprintf(stderr, "%s\n", dlerror());
    std::exit(1);
  }

  void Start() const { Function<void>("plugin_Start")(); }
  [[nodiscard]] bool Use() const { return Function<bool>("plugin_Use")(); }
  void Stop() const { Function<void>("plugin_Stop")(); }
  void Unload() const { dlclose(m_Library); }

 private:
  template <class Result> auto Function(char const* name) const -> Result (*)() {
    return reinterpret_cast<Result (*)()>(dlsym(m_Library, name));
  }

  void* m_Library;
};

} // namespace

int main(int count, char** files) {
  bool works = true;
  std::promise<void> unloaded;
  std::shared_future<void> const wait(unloaded.get_future());
  std::vector<Plugin> plugins;
  std::vector<std::thread> threads;
  for (int i = 1; i < count; ++i) {
    Plugin const& plugin = plugins.emplace_back(files[i]);
    plugin.Start();
    std::promise<bool> used;
    std::future<bool> result = used.get_future();
    threads.emplace_back([plugin, wait, used = std::move(used)]() mutable {
      used.set_value(plugin.Use());
      wait.wait();
    });
    works = result.get() && plugin.Use() && works;
  }
  for (Plugin const& plugin : plugins) {
    plugin.Stop();
    plugin.Unload();
  }
  unloaded.set_value();
  for (std::thread& thread : threads) thread.join();
  std::printf("plug-ins: %s\n", works ? "used and unloaded" : "WRONG");
  return works ? 0 : 1;
}

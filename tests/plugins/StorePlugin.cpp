#include <unistd.h>

#include <atomic>
#include <filesystem>
#include <string>
#include <vector>

#include "errors/nex_Exception.h"
#include "module/nex_initialize.h"
#include "persist/identity/cls_OwnUid.h"
#include "store/sto_Store.h"
#include "tests/plugins/PluginApi.h"

// A plug-in that keeps its objects in a store.

namespace {

constexpr unsigned int Component = 0x703;

class Bolt {
 public:
  explicit Bolt(int length) : m_Length(length) {}
  explicit Bolt(cls_ReadVisitor const& visitor)
      : m_Length(visitor.Read(cls_FieldHandle(0, "m_Length"_cow), 0)), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(cls_FieldHandle(0, "m_Length"_cow), m_Length);
  }
  static constexpr unsigned int TypeId() noexcept { return Component << 16 | 1; }
  int Length() const { return m_Length; }

 private:
  int m_Length;
  cls_OwnUid m_Uid;
};

int s_Modules = 0;

void Start() {
  nex_initialize(s_Modules);
}

void Stop() {
  nex_finalize(s_Modules);
}

/// Saves an object and loads it, and catches what a missing root raises.
bool SaveAndLoad(std::string const& file) {
  cls_ClassRegistrar registrar;
  registrar.AddClassMD(new cls_TypeAdapter<Bolt>("Bolt"_cow, 1, 1))
      .AddAttribute(cls_FieldHandle(0, "m_Length"_cow), ATTR_INT, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open(file, sto_Mode::Create, registrar);
  store.Save("bolt", Bolt(80));
  try {
    (void)store.Load<Bolt>("no such bolt");
    return false;
  } catch (nex_Exception const&) {
    return store.Load<Bolt>("bolt")->Length() == 80;
  }
}

bool Use() {
  static std::atomic<int> files = 0;
  std::filesystem::path const folder = std::filesystem::temp_directory_path() /
                                       ("plugin-" + std::to_string(getpid()) + "-" + std::to_string(++files));
  std::filesystem::create_directory(folder);
  bool const works = SaveAndLoad((folder / "bolts.kvs").string());
  std::filesystem::remove_all(folder);
  return works;
}

constexpr PluginApi Api{.m_Start = Start, .m_Stop = Stop, .m_Use = Use};

} // namespace

extern "C" KVL_EXPORT PluginApi const* plugin_Api() {
  return &Api;
}

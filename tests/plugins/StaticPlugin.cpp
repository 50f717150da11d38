#include <vector>

#include "module/nex_initialize.h"
#include "persist/identity/cls_Uid.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "tests/plugins/PluginApi.h"

// A plug-in that stops the library in the destructor of a static object, when it is unloaded or the process
// exits. The object was built before the library started, so it is destroyed later than what the start made.

namespace {

struct LateStop {
  LateStop() = default;
  LateStop(LateStop const&) = delete;
  LateStop& operator=(LateStop const&) = delete;
  ~LateStop() {
    if (m_Modules != 0) nex_finalize(m_Modules);
  }
  int m_Modules = 0;
};

LateStop s_Library;

void Start() {
  nex_initialize(s_Library.m_Modules);
}

bool Use() {
  std::vector<cls_Uid> const uids(3000);
  return typ_ArchCompTable::GetName(0x1F0002) == "nex_TextException";
}

constexpr PluginApi Api{.m_Start = Start, .m_Use = Use};

} // namespace

extern "C" KVL_EXPORT PluginApi const* plugin_Api() {
  return &Api;
}

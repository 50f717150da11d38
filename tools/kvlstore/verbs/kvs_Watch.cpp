#include <algorithm>
#include <chrono>
#include <thread>

#include "store/base/sto_Exception.h"
#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_SaveText.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// Waits, but not longer than a tenth of a second after an interrupt.
void Wait(double seconds) {
  using Clock = std::chrono::steady_clock;
  auto const end =
      Clock::now() + std::chrono::duration_cast<Clock::duration>(std::chrono::duration<double>(seconds));
  while (Clock::now() < end) {
    kvs_CheckInterrupt();
    std::this_thread::sleep_for(
        std::min<Clock::duration>(std::chrono::milliseconds(100), end - Clock::now()));
  }
}

} // namespace

kvs_Status kvs_Watch(kvs_WatchOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  sto_StoreInfo const info = store.Info();
  if (!info.m_NewestSave)
    throw kvs_Error(kvs_Printable(options.m_Store) + ": The store has format " +
                    std::to_string(info.m_Format) + ", which has no log to watch.");
  std::int64_t last = info.m_NewestSave->m_Number;
  if (!options.m_Json)
    out.Print("{}: {}, {}; watching for more\n", kvs_Printable(options.m_Store), kvs_Count(last, "save"),
              kvs_Bytes(info.m_SizeBytes));
  out.Flush();
  for (std::int64_t seen = 0; options.m_Saves == 0 || seen < options.m_Saves;) {
    Wait(options.m_Seconds);
    std::vector<sto_SaveEntry> saves;
    try {
      saves = store.Saves(last + 1);
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::Busy) throw;
    }
    for (sto_SaveEntry const& save : saves) {
      kvs_PrintSave(save, true, options.m_Json, out);
      last = save.m_Number;
      if (++seen == options.m_Saves) break;
    }
    out.Flush();
  }
  return kvs_Status::Same;
}

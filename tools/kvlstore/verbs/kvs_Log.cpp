#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_SaveText.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

void kvs_PrintSave(sto_SaveEntry const& save, bool isLong, bool json, kvs_Output& out) {
  if (json) return kvs_PrintJson(out, kvs_SaveJson(save, isLong), true);
  std::string const number = fmt::format("{:>6}", save.m_Number);
  out.Print("{}  {}  {}", out.Styled("1", number), kvs_Time(save.m_Milliseconds),
            save.m_Program.empty() ? "-" : kvs_Printable(save.m_Program));
  if (!save.m_Note.empty()) out.Print("  {}", kvs_Quoted(save.m_Note));
  out.Write("\n");
  if (!isLong) return;
  if (!save.m_Objects.empty())
    out.Print("        {} written again or deleted\n", kvs_Count(std::ssize(save.m_Objects), "object"));
  if (!save.m_Lists.empty())
    out.Print("        {} changed\n", kvs_Count(std::ssize(save.m_Lists), "array or blob"));
  for (std::string const& root : save.m_Roots) out.Print("        root {}\n", kvs_Quoted(root));
}

kvs_Status kvs_Log(kvs_LogOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  sto_StoreInfo const info = store.Info();
  if (!info.m_NewestSave) {
    if (!options.m_Json) out.Print("This store has format {}, which has no log.\n", info.m_Format);
    return kvs_Status::Same;
  }
  std::int64_t const newest = info.m_NewestSave->m_Number;
  std::int64_t const first = options.m_Last > 0 ? std::max<std::int64_t>(1, newest - options.m_Last + 1) : 1;
  for (sto_SaveEntry const& save : store.Saves(first))
    kvs_PrintSave(save, options.m_Long, options.m_Json, out);
  return kvs_Status::Same;
}

#include <nlohmann/json.hpp>

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

kvs_Status kvs_Info(std::string const& location, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(location);
  sto_StoreInfo const info = store.Info();
  auto const roots = static_cast<std::int64_t>(store.Roots().size());
  auto const classes = static_cast<std::int64_t>(sto_Inspection(store).Classes().size());
  std::optional<sto_SaveEntry> const& save = info.m_NewestSave;
  if (json) {
    nlohmann::ordered_json result{{"store", location},
                                  {"format", info.m_Format},
                                  {"uuid", kvs_TextOrNull(info.m_Uuid)},
                                  {"sum", kvs_TextOrNull(info.m_Sum)},
                                  {"bytes", info.m_SizeBytes},
                                  {"pageBytes", info.m_PageBytes},
                                  {"readersBesideWriter", info.m_ReadersBesideWriter},
                                  {"indexes", info.m_HasIndexes},
                                  {"roots", roots},
                                  {"classVersions", classes},
                                  {"endOfIds", info.m_EndOfIds},
                                  {"newestSave", nullptr}};
    if (save) result["newestSave"] = kvs_SaveJson(*save, false);
    kvs_PrintJson(out, result);
    return kvs_Status::Same;
  }
  out.Row("store", kvs_Printable(location));
  out.Row("format", std::to_string(info.m_Format));
  out.Row("uuid", info.m_Uuid.empty() ? "none (stores of older formats have none)" : info.m_Uuid);
  std::string const pages = info.m_PageBytes == 0 // on a server
                                ? ""
                                : fmt::format(", in pages of {}{}", kvs_Bytes(info.m_PageBytes),
                                              info.m_ReadersBesideWriter ? ", with a write-ahead log" : "");
  out.Row("size", kvs_Bytes(info.m_SizeBytes) + pages);
  out.Row("roots", kvs_Count(roots));
  out.Row("classes", kvs_Count(classes, "version"));
  out.Row("ids", "up to " + kvs_Count(info.m_EndOfIds - 1));
  if (info.m_HasIndexes) out.Row("indexes", "yes");
  if (!save) {
    out.Row("saves", "none (stores of older formats have no log)");
    return kvs_Status::Same;
  }
  out.Row("saves", kvs_Count(save->m_Number));
  out.Row("newest", kvs_Time(save->m_Milliseconds));
  if (!save->m_Program.empty()) out.Row("program", kvs_Printable(save->m_Program));
  if (!save->m_Note.empty()) out.Row("note", kvs_Printable(save->m_Note));
  out.Row("sum", info.m_Sum);
  return kvs_Status::Same;
}

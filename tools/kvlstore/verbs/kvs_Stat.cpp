#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

nlohmann::ordered_json JsonOf(sto_Stat const& stat) {
  nlohmann::ordered_json classes = nlohmann::ordered_json::array();
  for (sto_ClassStat const& each : stat.m_Classes)
    classes.push_back({{"class", kvs_TextOrNull(each.m_Name)},
                       {"id", kvs_ClassId(each.m_ClassId)},
                       {"version", each.m_Version},
                       {"objects", each.m_Objects},
                       {"recordBytes", each.m_RecordBytes}});
  nlohmann::ordered_json arrays = nlohmann::ordered_json::array();
  for (sto_ArrayStat const& each : stat.m_Arrays)
    arrays.push_back({{"object", each.m_ObjectId},
                      {"name", kvs_TextOrNull(each.m_Name)},
                      {"type", each.m_ElementType},
                      {"count", each.m_Count},
                      {"rows", each.m_Rows},
                      {"storedBytes", each.m_StoredBytes},
                      {"contentBytes", each.m_ContentBytes}});
  return {{"classes", classes},
          {"arrays", arrays},
          {"arrayCount", stat.m_ArrayCount},
          {"arrayBytes", stat.m_ArrayBytes},
          {"blobCount", stat.m_BlobCount},
          {"blobBytes", stat.m_BlobBytes},
          {"roots", stat.m_Roots},
          {"saves", stat.m_Saves},
          {"logBytes", stat.m_LogBytes},
          {"catalogueBytes", stat.m_CatalogueBytes},
          {"indexBytes", stat.m_IndexBytes},
          {"fileBytes", stat.m_FileBytes},
          {"liveBytes", stat.LiveBytes()},
          {"freeBytes", stat.m_FreeBytes}};
}

/// "3.2 of 8.0", or empty where it does not apply.
std::string Compression(sto_ArrayStat const& each) {
  if (each.m_ContentBytes <= 0) return {};
  return fmt::format("{:.0f} %", 100.0 * static_cast<double>(each.m_StoredBytes) /
                                     static_cast<double>(each.m_ContentBytes));
}

} // namespace

kvs_Status kvs_Stat(std::string const& location, std::int64_t maxArrays, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(location);
  sto_Stat const stat = store.Stat(static_cast<std::size_t>(maxArrays));
  if (json) {
    kvs_PrintJson(out, JsonOf(stat));
    return kvs_Status::Same;
  }
  out.Print("{}\n", out.Styled("1", fmt::format("{:<36}{:>8}{:>14}{:>14}", "class", "version", "objects",
                                                "records")));
  for (sto_ClassStat const& each : stat.m_Classes)
    out.Print("{:<36}{:>8}{:>14}{:>14}\n",
              each.m_Name.empty() ? "class " + kvs_ClassId(each.m_ClassId) : kvs_Printable(each.m_Name),
              each.m_Version, kvs_Count(each.m_Objects), kvs_Bytes(each.m_RecordBytes));
  if (!stat.m_Arrays.empty())
    out.Print("\n{}\n", out.Styled("1", fmt::format("{:<36}{:<20}{:>14}{:>12}{:>8}", "array or blob", "of",
                                                    "count", "in file", "of it")));
  for (sto_ArrayStat const& each : stat.m_Arrays)
    out.Print("{:<36}{:<20}{:>14}{:>12}{:>8}\n",
              each.m_Name.empty() ? "#" + std::to_string(each.m_ObjectId) : kvs_Printable(each.m_Name),
              each.m_ElementType, kvs_Count(each.m_Count), kvs_Bytes(each.m_StoredBytes), Compression(each));
  out.Write("\n");
  out.Row("arrays", fmt::format("{}, {}", kvs_Count(stat.m_ArrayCount), kvs_Bytes(stat.m_ArrayBytes)));
  out.Row("blobs", fmt::format("{}, {}", kvs_Count(stat.m_BlobCount), kvs_Bytes(stat.m_BlobBytes)));
  out.Row("catalogue", kvs_Bytes(stat.m_CatalogueBytes));
  out.Row("log", fmt::format("{}, {}", kvs_Count(stat.m_Saves, "save"), kvs_Bytes(stat.m_LogBytes)));
  if (stat.m_IndexBytes > 0) out.Row("indexes", kvs_Bytes(stat.m_IndexBytes));
  out.Row("file", fmt::format("{}: {} live, {} free", kvs_Bytes(stat.m_FileBytes),
                              kvs_Bytes(stat.LiveBytes()), kvs_Bytes(stat.m_FreeBytes)));
  return kvs_Status::Same;
}

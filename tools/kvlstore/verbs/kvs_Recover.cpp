#include <nlohmann/json.hpp>

#include "store/recover/sto_Recover.h"
#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

nlohmann::ordered_json CountJson(sto_RecoverCount const& count) {
  return {{"read", count.m_Read}, {"lost", count.m_Lost}};
}

nlohmann::ordered_json ItemJson(sto_LostItem const& item) {
  nlohmann::ordered_json json{{"kind", sto_LostKindName(item.m_Kind)}, {"text", item.m_Text}};
  auto const number = [&](char const* name, std::int64_t value) {
    if (value != 0) json[name] = value;
  };
  auto const text = [&](char const* name, std::string const& value) {
    if (!value.empty()) json[name] = value;
  };
  number("object", item.m_ObjectId);
  number("lastObject", item.m_LastId);
  text("class", item.m_Class);
  number("holder", item.m_HolderId);
  text("holderClass", item.m_Holder);
  text("attribute", item.m_Attribute);
  text("root", item.m_Root);
  if (item.m_Block >= 0) json["block"] = item.m_Block;
  if (item.m_Count > 0) json["first"] = item.m_First;
  number("count", item.m_Count);
  return json;
}

nlohmann::ordered_json ReportJson(sto_RecoverReport const& report) {
  nlohmann::ordered_json lost = nlohmann::ordered_json::array();
  for (sto_LostItem const& item : report.m_Lost) lost.push_back(ItemJson(item));
  return {{"complete", report.IsComplete()},        {"format", report.m_FormatVersion},
          {"objects", CountJson(report.m_Objects)}, {"blocks", CountJson(report.m_Blocks)},
          {"roots", CountJson(report.m_Roots)},     {"saves", CountJson(report.m_Saves)},
          {"pages", CountJson(report.m_Pages)},     {"lost", std::move(lost)},
          {"furtherLost", report.m_FurtherLost},    {"newRoots", report.m_NewRoots}};
}

void PrintCount(char const* noun, sto_RecoverCount const& count, kvs_Output& out) {
  if (count.m_Lost > 0)
    out.Print("{:<8} {:>12} {:>12}\n", noun, kvs_Count(count.m_Read), kvs_Count(count.m_Lost));
  else
    out.Print("{:<8} {:>12} {:>12}\n", noun, kvs_Count(count.m_Read), "-");
}

void PrintReport(sto_RecoverReport const& report, std::string const& to, kvs_Output& out) {
  for (sto_LostItem const& item : report.m_Lost) out.Print("lost  {}\n", kvs_Printable(item.m_Text));
  if (report.m_FurtherLost > 0) out.Print("lost  and {} more\n", kvs_Count(report.m_FurtherLost));
  for (std::string const& root : report.m_NewRoots) out.Print("root  {}\n", kvs_Printable(root));
  out.Print("{:<8} {:>12} {:>12}\n", "", "read", "lost");
  PrintCount("objects", report.m_Objects, out);
  PrintCount("blocks", report.m_Blocks, out);
  PrintCount("roots", report.m_Roots, out);
  PrintCount("saves", report.m_Saves, out);
  PrintCount("pages", report.m_Pages, out);
  out.Print("{}: {}\n", kvs_Printable(to), report.IsComplete() ? "complete" : "not complete");
}

} // namespace

kvs_Status kvs_Recover(std::string const& from, std::string const& to, bool json, kvs_Output& out) {
  sto_RecoverOptions options;
  options.m_Program = "kvlstore";
  sto_RecoverReport report;
  {
    kvs_Bar bar("recovering");
    report = sto_Recover(from, to, options, bar.Progress());
  }
  if (json)
    kvs_PrintJson(out, ReportJson(report));
  else
    PrintReport(report, to, out);
  return report.IsComplete() ? kvs_Status::Same : kvs_Status::Found;
}

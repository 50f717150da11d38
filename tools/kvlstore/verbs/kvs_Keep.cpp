#include <nlohmann/json.hpp>

#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_PrintJson.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

// The verbs that look after a store as a whole.

namespace {

nlohmann::ordered_json FindingJson(sto_CheckFinding const& finding) {
  nlohmann::ordered_json json{{"kind", sto_CheckKindName(finding.m_Kind)}, {"text", finding.m_Text}};
  if (finding.m_ObjectId != 0) json["object"] = finding.m_ObjectId;
  if (finding.m_Block >= 0) json["block"] = finding.m_Block;
  if (!finding.m_Class.empty()) json["class"] = finding.m_Class;
  if (!finding.m_Root.empty()) json["root"] = finding.m_Root;
  if (!finding.m_Attribute.empty()) json["attribute"] = finding.m_Attribute;
  return json;
}

nlohmann::ordered_json FindingsJson(std::vector<sto_CheckFinding> const& findings) {
  nlohmann::ordered_json json = nlohmann::ordered_json::array();
  for (sto_CheckFinding const& finding : findings) json.push_back(FindingJson(finding));
  return json;
}

void PrintFindings(char const* label, std::vector<sto_CheckFinding> const& findings, std::int64_t further,
                   kvs_Output& out) {
  for (sto_CheckFinding const& finding : findings)
    out.Print("{}  {}: {}\n", label, sto_CheckKindName(finding.m_Kind), kvs_Printable(finding.m_Text));
  if (further > 0) out.Print("{}  and {} more\n", label, kvs_Count(further));
}

void PrintReport(sto_CheckReport const& report, bool full, kvs_Output& out) {
  PrintFindings("damage", report.m_Findings, report.m_FurtherFindings, out);
  PrintFindings("note  ", report.m_Notes, report.m_FurtherNotes, out);
  sto_CheckCounts const& counts = report.m_Counts;
  out.Print("{}: {}, {}, {}, {} looked at{}\n", report.IsSound() ? "sound" : "damaged",
            kvs_Count(counts.m_Objects, "object"), kvs_Count(counts.m_Blocks, "block"),
            kvs_Count(counts.m_Roots, "root"), kvs_Count(counts.m_Saves, "save"),
            full ? "" : " (quick: data was not read; --full reads everything)");
  if (report.m_Unreachable.value_or(0) > 0)
    out.Print("{} that no root leads to\n", kvs_Count(*report.m_Unreachable, "object"));
}

} // namespace

kvs_Status kvs_Check(std::string const& location, bool full, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(location);
  kvs_Bar bar("checking");
  sto_CheckReport const report =
      store.Check(full ? sto_CheckDepth::Full : sto_CheckDepth::Quick, 1000, bar.Progress());
  if (json) {
    sto_CheckCounts const& counts = report.m_Counts;
    nlohmann::ordered_json result{{"store", location},
                                  {"depth", full ? "full" : "quick"},
                                  {"sound", report.IsSound()},
                                  {"findings", FindingsJson(report.m_Findings)},
                                  {"furtherFindings", report.m_FurtherFindings},
                                  {"notes", FindingsJson(report.m_Notes)},
                                  {"furtherNotes", report.m_FurtherNotes},
                                  {"objects", counts.m_Objects},
                                  {"blocks", counts.m_Blocks},
                                  {"bytesRead", counts.m_BytesRead},
                                  {"unreachable", nullptr}};
    if (report.m_Unreachable) result["unreachable"] = *report.m_Unreachable;
    kvs_PrintJson(out, result);
  } else {
    PrintReport(report, full, out);
  }
  return report.IsSound() ? kvs_Status::Same : kvs_Status::Found;
}

kvs_Status kvs_Copy(std::string const& from, std::string const& to, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(from);
  {
    kvs_Bar bar("copying");
    store.CopyTo(to, bar.Progress());
  }
  std::int64_t const bytes = kvs_OpenToRead(to).SizeBytes();
  if (json)
    kvs_PrintJson(out, {{"from", from}, {"to", to}, {"bytes", bytes}});
  else
    out.Print("{}: {}\n", kvs_Printable(to), kvs_Bytes(bytes));
  return kvs_Status::Same;
}

kvs_Status kvs_Compact(std::string const& location, bool json, kvs_Output& out) {
  sto_Store store = kvs_OpenToWrite(location);
  std::int64_t const before = store.SizeBytes();
  {
    kvs_Bar bar("compacting");
    store.Compact(bar.Progress());
  }
  std::int64_t const after = store.SizeBytes();
  if (json)
    kvs_PrintJson(out, {{"store", location}, {"bytesBefore", before}, {"bytesAfter", after}});
  else
    out.Print("{}: {}, it was {}\n", kvs_Printable(location), kvs_Bytes(after), kvs_Bytes(before));
  return kvs_Status::Same;
}

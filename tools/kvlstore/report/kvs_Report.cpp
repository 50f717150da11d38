#include "tools/kvlstore/report/kvs_Report.h"

#include <algorithm>
#include <optional>
#include <ostream>
#include <set>
#include <vector>

#include "tools/kvlstore/report/kvs_Facts.h"
#include "tools/kvlstore/report/kvs_ObjectWalk.h"
#include "tools/kvlstore/report/kvs_Page.h"
#include "tools/kvlstore/report/kvs_Picture.h"

namespace {

/// One report.
class Report {
 public:
  Report(sto_Store& store, std::ostream& out, kvs_ReportOptions const& options, sto_Progress const& progress)
      : m_Out(out), m_Options(options), m_Progress(progress), m_Problems(store.Location()) {
    m_Facts.m_Name = kvs_NameOf(store, options);
    m_Problems.Try("the store", [&] { m_Inspection.emplace(store); });
    if (m_Inspection) m_Facts = kvs_ReadFacts(store, *m_Inspection, options, m_Problems);
  }

  void Write() {
    kvs_BeginPage(m_Out, m_Facts);
    if (m_Inspection) WriteContent(*m_Inspection);
    WriteData("report", [this](kvs_Json& json) { WriteSummary(json); });
    kvs_EndPage(m_Out);
  }

 private:
  template <class Write> void WriteData(std::string_view name, Write write) {
    kvs_BeginData(m_Out, name);
    {
      kvs_Json json(m_Out);
      write(json);
    }
    kvs_EndData(m_Out);
  }

  void WriteContent(sto_Inspection const& inspection) {
    kvs_PictureNotes const notes(m_Facts.m_Classes);
    kvs_BeginData(m_Out, "objects");
    kvs_Json json(m_Out);
    kvs_ObjectWalk walk(inspection, json, m_Options, m_Problems, notes, m_Progress);
    WriteObjects(json, walk);
    json.Flush();
    kvs_EndData(m_Out);
    WriteData("shapes", [&](kvs_Json& shapes) { walk.Shapes().Write(shapes); });
    WriteData("pictures",
              [&](kvs_Json& pictures) { WritePictures(pictures, inspection, notes, walk.Pictures()); });
  }

  void WriteObjects(kvs_Json& json, kvs_ObjectWalk& walk) {
    json.Begin('[');
    for (sto_InspectedRoot const& root : m_Facts.m_Roots) walk.AddRoot(root.m_Id);
    walk.Run(m_Facts.m_Objects.value_or(0));
    if (m_Facts.m_Stat)
      for (sto_ArrayStat const& array : m_Facts.m_Stat->m_Arrays) walk.AddLargest(array.m_ObjectId);
    json.End(']');
    m_Rows = walk.Rows();
    m_Missing = walk.Missing();
    m_OfNoRoot = walk.OfNoRoot();
    m_IsCut = walk.IsCut();
  }

  void WritePictures(kvs_Json& json, sto_Inspection const& inspection, kvs_PictureNotes const& notes,
                     std::vector<kvs_PictureSource> const& sources) {
    std::vector<kvs_PictureSource> const chosen = Chosen(inspection, sources);
    json.Begin('[');
    for (kvs_PictureSource const& source : chosen) {
      if (m_Pictures >= m_Options.m_MaxPictures) break;
      std::string const problem = kvs_WritePicture(json, inspection, notes, source, m_Options, m_Problems);
      if (!problem.empty())
        m_Problems.Add("the picture of object " + std::to_string(source.m_Object), problem);
      ++m_Pictures;
    }
    json.End(']');
    m_PicturesLeftOut = static_cast<std::int64_t>(chosen.size()) - m_Pictures;
  }

  /// Those with values first; a mesh alone only if no other picture draws it.
  std::vector<kvs_PictureSource> Chosen(sto_Inspection const& inspection,
                                        std::vector<kvs_PictureSource> const& sources) {
    std::vector<kvs_PictureSource> chosen;
    std::set<std::int64_t> drawn;
    for (kvs_PictureSource const& source : sources) {
      if (source.m_Values.empty()) continue;
      m_Problems.Try("object " + std::to_string(source.m_Object),
                     [&] { drawn.insert(kvs_MeshOf(inspection, source)); });
      chosen.push_back(source);
    }
    for (kvs_PictureSource const& source : sources)
      if (source.m_Values.empty() && drawn.insert(source.m_Object).second) chosen.push_back(source);
    return chosen;
  }

  void WriteSummary(kvs_Json& json) {
    json.Begin('{');
    kvs_WriteFacts(json, m_Facts, m_Options);
    json.Key("shown").Begin('{').Key("rows").Int(m_Rows).Key("missing").Int(m_Missing);
    json.Key("ofNoRoot").Int(m_OfNoRoot).Key("cut").Bool(m_IsCut);
    json.Key("picturesLeftOut").Int(m_PicturesLeftOut).End('}');
    json.Key("problems").Begin('[');
    for (kvs_Problems::Problem const& problem : m_Problems.Listed())
      json.Begin('[').Text(problem.m_Where).Text(problem.m_Text).End(']');
    json.End(']').Key("furtherProblems").Int(m_Problems.Further());
    json.End('}');
  }

  std::ostream& m_Out;
  kvs_ReportOptions const& m_Options;
  sto_Progress const& m_Progress;
  kvs_Problems m_Problems;
  std::optional<sto_Inspection> m_Inspection;
  kvs_Facts m_Facts;
  std::int64_t m_Rows = 0;
  std::int64_t m_Missing = 0;
  std::int64_t m_OfNoRoot = 0;
  std::int64_t m_Pictures = 0;
  std::int64_t m_PicturesLeftOut = 0;
  bool m_IsCut = false;
};

} // namespace

void kvs_WriteReport(sto_Store& store, std::ostream& out, kvs_ReportOptions const& options,
                     sto_Progress const& progress) {
  Report(store, out, options, progress).Write();
}

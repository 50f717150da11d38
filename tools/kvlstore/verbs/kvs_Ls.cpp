#include <charconv>
#include <map>

#include "store/inspect/sto_Inspection.h"
#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// The ID of a class that is given by name or ID.
unsigned int FindClass(std::vector<sto_ClassDescription> const& classes, std::string const& text) {
  for (sto_ClassDescription const& each : classes)
    if (each.m_Name == text || kvs_ClassId(each.m_ClassId) == text || std::to_string(each.m_ClassId) == text)
      return each.m_ClassId;
  throw kvs_Error("The store has no class " + kvs_Quoted(text) + ". `kvlstore classes` lists them.");
}

/// Whether a class is another one, or derived from it.
bool IsA(std::map<unsigned int, unsigned int> const& bases, unsigned int classId, unsigned int wanted) {
  for (std::size_t steps = 0; steps <= bases.size(); ++steps) { // a damaged catalogue may go in a circle
    if (classId == wanted) return true;
    auto const base = bases.find(classId);
    if (base == bases.end()) return false;
    classId = base->second;
  }
  return false;
}

/// Prints one listing.
class Listing {
 public:
  Listing(kvs_LsOptions const& options, kvs_Output& out)
      : m_Options(options), m_Out(out), m_Store(kvs_OpenToRead(options.m_Store)), m_Inspection(m_Store) {
    if (options.m_Class.empty()) return;
    std::vector<sto_ClassDescription> const classes = m_Inspection.Classes();
    m_Class = FindClass(classes, options.m_Class);
    for (sto_ClassDescription const& each : classes) m_Bases[each.m_ClassId] = each.m_BaseClassId;
  }

  void PrintRoots() {
    std::string const prefix = m_Options.m_Pattern.substr(0, m_Options.m_Pattern.find_first_of("*?["));
    for (sto_InspectedRoot const& root : m_Inspection.Roots(prefix)) {
      if (!kvs_Matches(root.m_Name, m_Options.m_Pattern)) continue;
      if (!m_Options.m_Class.empty() && !IsA(m_Bases, root.m_ClassId, m_Class)) continue;
      m_Options.m_Json ? PrintRootJson(root) : PrintRoot(root);
    }
  }

  void PrintObjects() {
    std::map<std::int64_t, std::string> names;
    for (sto_InspectedRoot const& root : m_Inspection.Roots()) names.emplace(root.m_Id, root.m_Name);
    sto_InspectedWalk walk =
        m_Options.m_Class.empty() ? m_Inspection.Objects() : m_Inspection.ObjectsOf(m_Class);
    bool const isFiltered = m_Options.m_Pattern != "*";
    auto name = names.cbegin(); // both ascend by id
    while (walk.Next()) {
      while (name != names.cend() && name->first < walk.Id()) ++name;
      bool const isRoot = name != names.cend() && name->first == walk.Id();
      if (isFiltered && !(isRoot && kvs_Matches(name->second, m_Options.m_Pattern))) continue;
      m_Options.m_Json ? PrintObjectJson(walk, isRoot ? &name->second : nullptr)
                       : PrintObject(walk, isRoot ? &name->second : nullptr);
    }
  }

 private:
  void PrintRoot(sto_InspectedRoot const& root) {
    std::string const className =
        root.m_ClassId == 0 ? "(missing or damaged)" : kvs_Printable(root.m_ClassName);
    if (!m_Options.m_Long) return m_Out.Print("{}\n", kvs_Printable(root.m_Name));
    std::optional<sto_RootDescription> const about =
        root.m_ClassId == 0 ? std::nullopt : m_Store.DescribeRoot(root.m_Name);
    m_Out.Print("{:>8}  {:<24}{:>10}  {:<28}{}\n", "#" + std::to_string(root.m_Id), className,
                about ? kvs_Bytes(about->m_Bytes) : "-",
                about && about->m_Milliseconds ? kvs_Time(*about->m_Milliseconds) : "-",
                kvs_Printable(root.m_Name));
  }

  void PrintRootJson(sto_InspectedRoot const& root) {
    std::string line = "{\"root\":";
    kvs_AppendJson(line, std::string_view(root.m_Name));
    fmt::format_to(std::back_inserter(line), ",\"id\":{},\"class\":", root.m_Id);
    kvs_AppendJson(line, std::string_view(root.m_ClassName));
    if (m_Options.m_Long && root.m_ClassId != 0)
      if (std::optional<sto_RootDescription> const about = m_Store.DescribeRoot(root.m_Name)) {
        fmt::format_to(std::back_inserter(line), ",\"version\":{},\"bytes\":{}", about->m_Version,
                       about->m_Bytes);
        if (about->m_Save) fmt::format_to(std::back_inserter(line), ",\"save\":{}", *about->m_Save);
        if (about->m_Milliseconds)
          fmt::format_to(std::back_inserter(line), ",\"milliseconds\":{}", *about->m_Milliseconds);
      }
    m_Out.Write(line + "}\n");
  }

  void PrintObject(sto_InspectedWalk const& walk, std::string const* root) {
    if (walk.ClassName() != m_ShownClass) { // most neighbours are of one class
      m_ShownClass = walk.ClassName();
      m_ShownText = kvs_Printable(m_ShownClass);
    }
    m_Out.Print("#{}  {}", walk.Id(), m_ShownText);
    if (m_Options.m_Long) {
      sto_InspectedObject const object = m_Inspection.Object(walk.Id());
      m_Out.Print(" version {}", object.Version());
      if (object.m_Content != sto_InspectedContent::None)
        m_Out.Print(
            ", {}, {}", object.m_Kind,
            kvs_Count(object.m_Count, object.m_Content == sto_InspectedContent::Blob ? "byte" : "element"));
    }
    if (root != nullptr) m_Out.Print("  root {}", kvs_Quoted(*root));
    m_Out.Write("\n");
  }

  void PrintObjectJson(sto_InspectedWalk const& walk, std::string const* root) {
    m_Line.clear();
    fmt::format_to(std::back_inserter(m_Line), "{{\"id\":{},\"class\":", walk.Id());
    if (walk.ClassName() != m_ShownClass) {
      m_ShownClass = walk.ClassName();
      m_ShownText.clear();
      kvs_AppendJson(m_ShownText, std::string_view(m_ShownClass));
    }
    m_Line += m_ShownText;
    if (m_Options.m_Long) {
      sto_InspectedObject const object = m_Inspection.Object(walk.Id());
      fmt::format_to(std::back_inserter(m_Line), ",\"version\":{}", object.Version());
      if (object.m_Content != sto_InspectedContent::None)
        fmt::format_to(std::back_inserter(m_Line), ",\"type\":\"{}\",\"count\":{}", object.m_Kind,
                       object.m_Count);
    }
    if (root != nullptr) {
      m_Line += ",\"root\":";
      kvs_AppendJson(m_Line, std::string_view(*root));
    }
    m_Out.Write(m_Line += "}\n");
  }

  kvs_LsOptions const& m_Options;
  kvs_Output& m_Out;
  sto_Store m_Store;
  sto_Inspection m_Inspection;
  unsigned int m_Class = 0;                      // the wanted one
  std::map<unsigned int, unsigned int> m_Bases;  // of the classes of the store
  std::string m_ShownClass, m_ShownText, m_Line; // reused
};

} // namespace

kvs_Status kvs_Ls(kvs_LsOptions const& options, kvs_Output& out) {
  Listing listing(options, out);
  options.m_All ? listing.PrintObjects() : listing.PrintRoots();
  return kvs_Status::Same;
}

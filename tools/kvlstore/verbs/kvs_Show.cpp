#include <map>

#include "store/base/sto_Exception.h"
#include "tools/kvlstore/base/kvs_Address.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

/// What both ways of showing do: each object is shown in full once, and by the name that it was shown under afterwards.
class Shower {
 public:
  Shower(kvs_ShowOptions const& options, sto_Inspection const& inspection)
      : m_Options(options), m_Inspection(inspection) {}

 protected:
  /// The object that a value leads to, if its kind says that there is one.
  [[nodiscard]] static std::int64_t HeldId(sto_InspectedValue const& value, std::string const& kind) {
    sto_InspectedId const* const id = std::get_if<sto_InspectedId>(&value);
    return id == nullptr || kind == "missing object" || kind == "deleted object" ? 0 : id->m_Id;
  }
  /// The object with an id, if there is one.
  [[nodiscard]] std::optional<sto_InspectedObject> Fetch(std::int64_t id) const {
    try {
      return m_Inspection.Object(id);
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::NotFound) throw;
      return std::nullopt;
    }
  }
  /// The name that an object was shown under before; empty if it was not, and then it gets this one.
  [[nodiscard]] std::string ShownBefore(std::int64_t id, std::string const& name) {
    auto const [found, isNew] = m_Names.emplace(id, name);
    return isNew ? std::string() : found->second;
  }

  kvs_ShowOptions const& m_Options;
  sto_Inspection const& m_Inspection;

 private:
  std::map<std::int64_t, std::string> m_Names; // of the objects that were shown
};

std::string HeadText(sto_InspectedObject const& object) {
  std::string text =
      fmt::format("{} #{}, version {}", kvs_Printable(object.ClassName()), object.m_Id, object.Version());
  if (object.m_IsDeleted) text = fmt::format("#{}, which was deleted", object.m_Id);
  if (object.m_Content == sto_InspectedContent::Blob)
    text += ", " + kvs_Count(object.m_Count, "byte");
  else if (object.m_Content != sto_InspectedContent::None)
    text += fmt::format(", {}, {}", object.m_Kind, kvs_Count(object.m_Count, "element"));
  return text;
}

/// As an indented tree.
class TextShower : Shower {
 public:
  TextShower(kvs_ShowOptions const& options, sto_Inspection const& inspection, kvs_Output& out)
      : Shower(options, inspection), m_Out(out) {}

  void Show(kvs_Found const& found) {
    if (!found.m_Object) {
      m_Out.Print("{}  {}  {}{}{}\n", kvs_Printable(found.m_Name), found.m_Kind,
                  kvs_ValueText(found.m_Value, 100'000), found.m_Unit.empty() ? "" : " ",
                  kvs_Printable(found.m_Unit));
      return;
    }
    m_Out.Print("{}  {}\n", m_Out.Styled("1", kvs_Printable(found.m_Name)), HeadText(*found.m_Object));
    static_cast<void>(ShownBefore(found.m_Object->m_Id, found.m_Name));
    ShowContent(*found.m_Object, found.m_Name, 1);
  }

 private:
  void ShowContent(sto_InspectedObject const& object, std::string const& name, int depth) {
    for (std::size_t i = 0; i < object.m_Parts.size(); ++i) {
      sto_InspectedPart const& part = object.m_Parts[i];
      if (i > 0 && !part.m_Fields.empty())
        m_Out.Print("{:{}}{}\n", "", depth * 2,
                    m_Out.Styled("2", "from " + kvs_Printable(part.m_ClassName) + ":"));
      for (sto_InspectedField const& field : part.m_Fields) {
        std::string const fieldName = kvs_NameOf(field);
        ShowValue(kvs_Printable(fieldName), kvs_Join(name, fieldName), field.m_Value, field.m_Kind,
                  kvs_FieldText(field), depth);
      }
    }
    if (object.m_Content == sto_InspectedContent::List) ShowList(object, name, depth);
    if (object.m_Content == sto_InspectedContent::Map) ShowMap(object, name, depth);
  }

  void ShowValue(std::string const& label, std::string const& name, sto_InspectedValue const& value,
                 std::string const& kind, std::string const& text, int depth) {
    std::int64_t const id = HeldId(value, kind);
    if (id == 0) {
      m_Out.Print("{:{}}{:<20} {:<16} {}\n", "", depth * 2, label, m_Out.Styled("2", kind), text);
      return;
    }
    std::optional<sto_InspectedObject> const object = Fetch(id);
    if (!object) {
      m_Out.Print("{:{}}{:<20} {:<16} #{}, which is missing\n", "", depth * 2, label, m_Out.Styled("2", kind),
                  id);
      return;
    }
    std::string const before = ShownBefore(id, name);
    m_Out.Print("{:{}}{:<20} {}{}\n", "", depth * 2, label, HeadText(*object),
                before.empty() ? "" : ", shown above as " + kvs_Printable(before));
    if (!before.empty()) return;
    if (depth < m_Options.m_Depth)
      ShowContent(*object, name, depth + 1);
    else if (object->m_Content == sto_InspectedContent::List)
      ShowList(*object, name, depth + 1);
  }

  void ShowList(sto_InspectedObject const& object, std::string const& name, int depth) {
    sto_InspectedList list = m_Inspection.List(object.m_Id);
    std::int64_t const shown = std::min(list.Count(), m_Options.m_Elements);
    std::vector<std::int64_t> const row = list.Row();
    if (!row.empty()) m_Out.Print("{:{}}rows of {}\n", "", depth * 2, fmt::join(row, " x "));
    if (shown == 0) return;
    sto_InspectedElements const elements = list.Read(0, shown);
    if (list.Type() == sto_InspectedType::Object) {
      for (std::int64_t i = 0; i < shown && depth <= m_Options.m_Depth; ++i)
        ShowElement(fmt::format("[{}]", i), name, kvs_ElementOf(elements, static_cast<std::size_t>(i)),
                    depth);
      if (depth > m_Options.m_Depth) return;
    } else {
      m_Out.Print("{:{}}", "", depth * 2);
      for (std::int64_t i = 0; i < shown; ++i)
        m_Out.Print("{}{}", i == 0 ? "" : "  ",
                    kvs_ValueText(kvs_ElementOf(elements, static_cast<std::size_t>(i))));
      m_Out.Print("{}\n", list.Unit().empty() ? "" : " " + kvs_Printable(list.Unit()));
    }
    if (shown < list.Count())
      m_Out.Print("{:{}}... and {} more\n", "", depth * 2, kvs_Count(list.Count() - shown));
  }

  void ShowMap(sto_InspectedObject const& object, std::string const& name, int depth) {
    if (depth > m_Options.m_Depth) return;
    std::int64_t shown = 0;
    for (sto_InspectedMap map = m_Inspection.Map(object.m_Id); map.Next(); ++shown) {
      if (shown == m_Options.m_Elements) {
        m_Out.Print("{:{}}... and {} more\n", "", depth * 2, kvs_Count(map.Count() - shown));
        return;
      }
      ShowElement("[" + kvs_ValueText(kvs_ValueOf(map.Key())) + "]", name, map.Value(), depth);
    }
  }

  void ShowElement(std::string const& label, std::string const& name, sto_InspectedValue const& value,
                   int depth) {
    ShowValue(label, name + label, value, std::holds_alternative<sto_InspectedId>(value) ? "object" : "",
              kvs_ValueText(value), depth);
  }

  kvs_Output& m_Out;
};

/// As one JSON value.
class JsonShower : Shower {
 public:
  using Shower::Shower;

  std::string Show(kvs_Found const& found) {
    if (found.m_Object) {
      static_cast<void>(ShownBefore(found.m_Object->m_Id, found.m_Name));
      Append(*found.m_Object, found.m_Name, 1);
    } else {
      kvs_AppendJson(m_Json, found.m_Value, found.m_Kind);
    }
    return m_Json + "\n";
  }

 private:
  void AppendText(std::string_view text) { kvs_AppendJson(m_Json, text); }

  void Append(sto_InspectedObject const& object, std::string const& name, int depth) {
    m_Json += "{\"name\":";
    AppendText(name);
    fmt::format_to(std::back_inserter(m_Json), ",\"id\":{},\"class\":", object.m_Id);
    AppendText(object.ClassName());
    fmt::format_to(std::back_inserter(m_Json), ",\"version\":{}", object.Version());
    if (object.m_IsDeleted) m_Json += ",\"deleted\":true";
    if (object.m_Content != sto_InspectedContent::None)
      fmt::format_to(std::back_inserter(m_Json), ",\"type\":\"{}\",\"count\":{}", object.m_Kind,
                     object.m_Count);
    m_Json += ",\"fields\":[";
    bool isFirst = true;
    for (sto_InspectedPart const& part : object.m_Parts)
      for (sto_InspectedField const& field : part.m_Fields) {
        if (!isFirst) m_Json += ',';
        isFirst = false;
        AppendField(field, name, depth);
      }
    m_Json += ']';
    if (object.m_Content == sto_InspectedContent::List) AppendList(object, name, depth);
    if (object.m_Content == sto_InspectedContent::Map) AppendMap(object, name, depth);
    m_Json += '}';
  }

  void AppendField(sto_InspectedField const& field, std::string const& name, int depth) {
    std::string const fieldName = kvs_NameOf(field);
    m_Json += "{\"name\":";
    AppendText(fieldName);
    m_Json += ",\"type\":";
    AppendText(field.m_Kind);
    if (!field.m_Unit.empty()) {
      m_Json += ",\"unit\":";
      AppendText(field.m_Unit);
    }
    if (field.m_Enumerator) {
      m_Json += ",\"enumerator\":";
      AppendText(*field.m_Enumerator);
    }
    m_Json += ",\"value\":";
    AppendValue(field.m_Value, field.m_Kind, kvs_Join(name, fieldName), depth);
    m_Json += '}';
  }

  void AppendValue(sto_InspectedValue const& value, std::string const& kind, std::string const& name,
                   int depth) {
    std::int64_t const id = HeldId(value, kind);
    std::optional<sto_InspectedObject> const object =
        id == 0 || depth >= m_Options.m_Depth ? std::nullopt : Fetch(id);
    if (!object) return kvs_AppendJson(m_Json, value, kind);
    std::string const before = ShownBefore(id, name);
    if (before.empty()) return Append(*object, name, depth + 1);
    fmt::format_to(std::back_inserter(m_Json), "{{\"object\":{},\"shownAs\":", id);
    AppendText(before);
    m_Json += '}';
  }

  void AppendList(sto_InspectedObject const& object, std::string const& name, int depth) {
    sto_InspectedList list = m_Inspection.List(object.m_Id);
    std::int64_t const shown = std::min(list.Count(), m_Options.m_Elements);
    if (std::vector<std::int64_t> const row = list.Row(); !row.empty())
      fmt::format_to(std::back_inserter(m_Json), ",\"row\":[{}]", fmt::join(row, ","));
    m_Json += ",\"elements\":[";
    sto_InspectedElements const elements = list.Read(0, shown);
    for (std::int64_t i = 0; i < shown; ++i) {
      if (i > 0) m_Json += ',';
      AppendValue(kvs_ElementOf(elements, static_cast<std::size_t>(i)), {}, fmt::format("{}[{}]", name, i),
                  depth);
    }
    m_Json += ']';
  }

  void AppendMap(sto_InspectedObject const& object, std::string const& name, int depth) {
    m_Json += ",\"entries\":[";
    std::int64_t shown = 0;
    for (sto_InspectedMap map = m_Inspection.Map(object.m_Id); shown < m_Options.m_Elements && map.Next();
         ++shown) {
      if (shown > 0) m_Json += ',';
      sto_InspectedValue const key = kvs_ValueOf(map.Key());
      m_Json += '[';
      kvs_AppendJson(m_Json, key);
      m_Json += ',';
      AppendValue(map.Value(), {}, name + "[" + kvs_ValueText(key) + "]", depth);
      m_Json += ']';
    }
    m_Json += ']';
  }

  std::string m_Json;
};

} // namespace

kvs_Status kvs_Show(kvs_ShowOptions const& options, kvs_Output& out) {
  sto_Store store = kvs_OpenToRead(options.m_Store);
  sto_Inspection const inspection(store);
  kvs_Found const found = kvs_Find(store, inspection, options.m_Object);
  if (options.m_Json)
    out.Write(JsonShower(options, inspection).Show(found));
  else
    TextShower(options, inspection, out).Show(found);
  return kvs_Status::Same;
}

#include <array>
#include <cmath>
#include <cstring>
#include <map>

#include "store/base/sto_Exception.h"
#include "tools/kvlstore/base/kvs_Address.h"
#include "tools/kvlstore/base/kvs_Bar.h"
#include "tools/kvlstore/base/kvs_Interrupt.h"
#include "tools/kvlstore/base/kvs_OpenStore.h"
#include "tools/kvlstore/base/kvs_Output.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"
#include "tools/kvlstore/verbs/kvs_Verbs.h"

namespace {

template <class T> constexpr bool HasNan = std::is_floating_point_v<T>;
template <class T> constexpr bool HasNan<std::complex<T>> = true;

/// Compares what two addresses lead to. Objects are compared as a graph: an object of the first store belongs to one of
/// the second from where they first meet, so that shared objects are compared once and circles end.
class Comparison {
 public:
  Comparison(kvs_DiffOptions const& options, sto_Inspection const& first, sto_Inspection const& second,
             kvs_Output& out)
      : m_Options(options), m_First(first), m_Second(second), m_Out(out) {}

  [[nodiscard]] std::int64_t Differences() const noexcept { return m_Differences; }

  void Roots() {
    std::map<std::string, std::pair<std::int64_t, std::int64_t>> names;
    for (sto_InspectedRoot const& root : m_First.Roots()) names[root.m_Name].first = root.m_Id;
    for (sto_InspectedRoot const& root : m_Second.Roots()) names[root.m_Name].second = root.m_Id;
    for (auto const& [name, ids] : names) {
      if (IsExcluded(name)) continue;
      if (ids.first == 0 || ids.second == 0)
        Note(name, ids.first == 0 ? "no such root" : "a root", ids.second == 0 ? "no such root" : "a root");
      else
        Push(name, ids.first, ids.second);
      Work();
    }
  }

  void Found(std::string const& name, kvs_Found const& first, kvs_Found const& second) {
    if (first.m_Object && second.m_Object)
      Push(name, first.m_Object->m_Id, second.m_Object->m_Id);
    else
      Values(name, first.m_Value, second.m_Value);
    Work();
  }

 private:
  struct Pair {
    std::string m_Name;
    std::int64_t m_First;
    std::int64_t m_Second;
  };

  [[nodiscard]] bool IsExcluded(std::string const& name) const {
    for (std::string const& pattern : m_Options.m_Excluded)
      if (kvs_Matches(name, pattern)) return true;
    return false;
  }

  /// Members of a value are fields with points in their names.
  [[nodiscard]] bool IsFieldExcluded(std::string const& name, std::string const& field) const {
    std::string const full = name + "." + field;
    for (std::size_t end = full.find('.', name.size() + 1); end != std::string::npos;
         end = full.find('.', end + 1))
      if (IsExcluded(full.substr(0, end))) return true;
    return IsExcluded(full);
  }

  void Note(std::string const& name, std::string const& first, std::string const& second) {
    if (IsExcluded(name)) return;
    if (++m_Differences > m_Options.m_MaxListed) return;
    if (m_Options.m_Json) {
      std::string line = "{\"where\":";
      kvs_AppendJson(line, std::string_view(name));
      line += ",\"first\":";
      kvs_AppendJson(line, std::string_view(first));
      line += ",\"second\":";
      kvs_AppendJson(line, std::string_view(second));
      m_Out.Write(line + "}\n");
    } else {
      m_Out.Print("{}: {} -> {}\n", kvs_Printable(name), first, second);
    }
  }

  /// Compares two objects later, unless they belong together already.
  void Push(std::string const& name, std::int64_t first, std::int64_t second) {
    if ((first == 0 && second == 0) || IsExcluded(name)) return;
    if (first == 0 || second == 0)
      return Note(name, first == 0 ? "none" : "an object", second == 0 ? "none" : "an object");
    auto const [pair, isNew] = m_Partner.emplace(first, second);
    auto const [back, isNewBack] = m_PartnerBack.emplace(second, first);
    if (pair->second != second || back->second != first)
      return Note(name, "an object that is shared elsewhere", "an object that is shared differently");
    if (isNew) m_Later.push_back({name, first, second});
  }

  void Work() {
    while (!m_Later.empty()) {
      kvs_CheckInterrupt();
      Pair const pair = std::move(m_Later.back());
      m_Later.pop_back();
      Objects(pair);
      if (++m_Compared % 256 == 0) m_Bar.Show({m_Compared, 0, false});
    }
  }

  static std::optional<sto_InspectedObject> Fetch(sto_Inspection const& inspection, std::int64_t id) {
    try {
      return inspection.Object(id);
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::NotFound) throw;
      return std::nullopt;
    }
  }

  void Objects(Pair const& pair) {
    std::optional<sto_InspectedObject> const first = Fetch(m_First, pair.m_First);
    std::optional<sto_InspectedObject> const second = Fetch(m_Second, pair.m_Second);
    if (!first && !second) return;
    if (!first || !second)
      return Note(pair.m_Name, first ? "an object" : "a missing object",
                  second ? "an object" : "a missing object");
    if (first->m_IsDeleted && second->m_IsDeleted) return;
    if (first->ClassId() != second->ClassId() || first->m_Kind != second->m_Kind)
      return Note(pair.m_Name, kvs_Printable(first->ClassName()) + ", " + first->m_Kind,
                  kvs_Printable(second->ClassName()) + ", " + second->m_Kind);
    Parts(pair.m_Name, *first, *second);
    if (first->m_Content != second->m_Content) return;
    if (first->m_Content == sto_InspectedContent::List) Lists(pair);
    if (first->m_Content == sto_InspectedContent::Map) Maps(pair);
    if (first->m_Content == sto_InspectedContent::Blob) Blobs(pair);
  }

  void Parts(std::string const& name, sto_InspectedObject const& first, sto_InspectedObject const& second) {
    for (std::size_t i = 0; i < std::max(first.m_Parts.size(), second.m_Parts.size()); ++i) {
      static std::vector<sto_InspectedField> const none;
      Fields(name, i < first.m_Parts.size() ? first.m_Parts[i].m_Fields : none,
             i < second.m_Parts.size() ? second.m_Parts[i].m_Fields : none);
    }
  }

  void Fields(std::string const& name, std::vector<sto_InspectedField> const& first,
              std::vector<sto_InspectedField> const& second) {
    std::map<std::string, sto_InspectedField const*> others;
    for (sto_InspectedField const& field : second) others.emplace(kvs_NameOf(field), &field);
    for (sto_InspectedField const& field : first) {
      std::string const fieldName = kvs_Join(name, kvs_NameOf(field));
      auto const other = others.find(kvs_NameOf(field));
      if (IsFieldExcluded(name, kvs_NameOf(field))) {
        if (other != others.end()) others.erase(other);
        continue;
      }
      if (other == others.end()) {
        Note(fieldName, kvs_FieldText(field), "no such attribute");
        continue;
      }
      if (field.m_Unit != other->second->m_Unit)
        Note(fieldName, "in " + (field.m_Unit.empty() ? "no unit" : kvs_Printable(field.m_Unit)),
             "in " + (other->second->m_Unit.empty() ? "no unit" : kvs_Printable(other->second->m_Unit)));
      Values(fieldName, field.m_Value, other->second->m_Value);
      others.erase(other);
    }
    for (auto const& [key, field] : others)
      if (!IsFieldExcluded(name, key)) Note(kvs_Join(name, key), "no such attribute", kvs_FieldText(*field));
  }

  static std::string TypedText(sto_InspectedValue const& value) {
    static constexpr std::array Types{"bool", "signed", "unsigned", "number", "complex",
                                      "text", "bytes",  "object",   "values"};
    return kvs_ValueText(value) + " (" + Types[value.index()] + ")";
  }

  [[nodiscard]] bool IsSame(double first, double second) const {
    if (first == second) return true;
    if (std::isnan(first) || std::isnan(second))
      return m_Options.m_IsNanEqual && std::isnan(first) && std::isnan(second);
    if (std::isinf(first) || std::isinf(second)) return false;
    double const difference = std::fabs(first - second);
    return difference <= m_Options.m_Absolute ||
           difference <= m_Options.m_Relative * std::max(std::fabs(first), std::fabs(second));
  }

  void Values(std::string const& name, sto_InspectedValue const& first, sto_InspectedValue const& second) {
    if (IsExcluded(name)) return;
    if (first.index() != second.index())
      return Note(name, TypedText(first), TypedText(second)); // 1 and 1 of another type
    if (auto const* const id = std::get_if<sto_InspectedId>(&first))
      return Push(name, id->m_Id, std::get<sto_InspectedId>(second).m_Id);
    if (auto const* const tree = std::get_if<sto_InspectedTree>(&first))
      return Trees(name, *tree, std::get<sto_InspectedTree>(second));
    if (!IsSameValue(first, second)) Note(name, kvs_ValueText(first), kvs_ValueText(second));
  }

  [[nodiscard]] bool IsSameValue(sto_InspectedValue const& first, sto_InspectedValue const& second) const {
    return std::visit(
        [&](auto const& value) {
          using Value = std::decay_t<decltype(value)>;
          auto const& other = std::get<Value>(second);
          if constexpr (std::is_same_v<Value, double>)
            return IsSame(value, other);
          else if constexpr (std::is_same_v<Value, std::complex<double>>)
            return IsSame(value.real(), other.real()) && IsSame(value.imag(), other.imag());
          else if constexpr (std::is_same_v<Value, sto_InspectedTree>)
            return false; // compared by its members
          else
            return value == other;
        },
        first);
  }

  void Trees(std::string const& name, sto_InspectedTree const& first, sto_InspectedTree const& second) {
    if (first.m_Members.size() != second.m_Members.size() || first.m_Alternative != second.m_Alternative)
      return Note(name, kvs_ValueText(first), kvs_ValueText(second));
    for (std::size_t i = 0; i < first.m_Members.size(); ++i) {
      sto_InspectedMember const& member = first.m_Members[i];
      Values(name + (member.m_Name.empty() ? fmt::format("[{}]", i) : "." + member.m_Name), member.m_Value,
             second.m_Members[i].m_Value);
    }
  }

  void Lists(Pair const& pair) {
    sto_InspectedList first = m_First.List(pair.m_First);
    sto_InspectedList second = m_Second.List(pair.m_Second);
    if (first.Type() != second.Type() || first.Count() != second.Count() || first.Row() != second.Row()) {
      auto const shape = [](sto_InspectedList const& list) {
        std::string text = kvs_Count(list.Count(), "element") + " of " + list.TypeName();
        if (!list.Row().empty()) text += fmt::format(" in rows of {}", fmt::join(list.Row(), " x "));
        return text;
      };
      return Note(pair.m_Name, shape(first), shape(second));
    }
    if (first.Unit() != second.Unit())
      Note(pair.m_Name, "in " + kvs_Printable(first.Unit()), "in " + kvs_Printable(second.Unit()));
    for (std::int64_t at = 0; at < first.Count(); at += kvs_ElementsAtOnce) {
      std::int64_t const count = std::min(kvs_ElementsAtOnce, first.Count() - at);
      Elements(pair.m_Name, at, first.Read(at, count), second.Read(at, count));
      kvs_CheckInterrupt();
    }
  }

  void Elements(std::string const& name, std::int64_t at, sto_InspectedElements const& first,
                sto_InspectedElements const& second) {
    std::visit(
        [&](auto const& values) {
          using List = std::decay_t<decltype(values)>;
          using Value = typename List::value_type;
          List const& others = std::get<List>(second);
          if constexpr (std::is_trivially_copyable_v<Value> && !std::is_same_v<Value, bool> &&
                        !std::is_same_v<Value, sto_InspectedId>)
            if (!HasNan<Value> || m_Options.m_IsNanEqual) // otherwise a NaN differs from itself
              if (std::memcmp(values.data(), others.data(), values.size() * sizeof(Value)) == 0) return;
          for (std::size_t i = 0; i < values.size(); ++i) {
            if constexpr (std::is_same_v<Value, sto_InspectedId>) {
              Push(fmt::format("{}[{}]", name, at + static_cast<std::int64_t>(i)), values[i].m_Id,
                   others[i].m_Id);
            } else {
              if constexpr (!std::is_same_v<Value, bool>)
                if (values[i] == others[i]) continue;
              sto_InspectedValue const one = kvs_ElementOf(first, i);
              sto_InspectedValue const other = kvs_ElementOf(second, i);
              if (!IsSameValue(one, other))
                Note(fmt::format("{}[{}]", name, at + static_cast<std::int64_t>(i)), kvs_ValueText(one),
                     kvs_ValueText(other));
            }
          }
        },
        first);
  }

  void Maps(Pair const& pair) {
    using Entries = std::map<std::string, sto_InspectedValue>;
    auto const entries = [](sto_InspectedMap map) {
      Entries read;
      while (map.Next()) read[kvs_ValueText(kvs_ValueOf(map.Key()), std::string::npos)] = map.Value();
      return read;
    };
    Entries const first = entries(m_First.Map(pair.m_First));
    Entries const second = entries(m_Second.Map(pair.m_Second));
    for (auto const& [key, value] : first) {
      std::string const name = pair.m_Name + "[" + key + "]";
      if (IsExcluded(name)) continue;
      auto const other = second.find(key);
      if (other == second.end())
        Note(name, kvs_ValueText(value), "no such entry");
      else
        Values(name, value, other->second);
    }
    for (auto const& [key, value] : second)
      if (std::string const name = pair.m_Name + "[" + key + "]"; !first.contains(key) && !IsExcluded(name))
        Note(name, "no such entry", kvs_ValueText(value));
  }

  void Blobs(Pair const& pair) {
    sto_InspectedBlob first = m_First.Blob(pair.m_First);
    sto_InspectedBlob second = m_Second.Blob(pair.m_Second);
    if (first.Size() != second.Size())
      return Note(pair.m_Name, kvs_Count(first.Size(), "byte"), kvs_Count(second.Size(), "byte"));
    std::vector<std::byte> one, other;
    for (std::int64_t at = 0; at < first.Size(); at += std::ssize(one)) {
      one.resize(static_cast<std::size_t>(std::min<std::int64_t>(1 << 20, first.Size() - at)));
      other.resize(one.size());
      first.Read(at, one);
      second.Read(at, other);
      for (std::size_t i = 0; i < one.size(); ++i)
        if (one[i] != other[i])
          return Note(fmt::format("{}, byte {}", pair.m_Name, at + static_cast<std::int64_t>(i)),
                      fmt::format("{:02x}", std::to_integer<unsigned>(one[i])),
                      fmt::format("{:02x}", std::to_integer<unsigned>(other[i])));
    }
  }

  kvs_DiffOptions const& m_Options;
  sto_Inspection const& m_First;
  sto_Inspection const& m_Second;
  kvs_Output& m_Out;
  kvs_Bar m_Bar{"comparing"};
  std::int64_t m_Differences = 0, m_Compared = 0;
  std::vector<Pair> m_Later;
  std::map<std::int64_t, std::int64_t> m_Partner,
      m_PartnerBack; // by id in the first store, and in the second
};

/// Whether the sums say that the stores have the same content.
bool HaveOneSum(sto_Store& first, sto_Store& second) {
  std::string const sum = first.Info().m_Sum;
  return !sum.empty() && sum == second.Info().m_Sum;
}

} // namespace

kvs_Status kvs_Diff(kvs_DiffOptions const& options, kvs_Output& out) {
  sto_Store first = kvs_OpenToRead(options.m_First);
  sto_Store second = kvs_OpenToRead(options.m_Second);
  bool const isWhole = options.m_FirstObject.empty();
  if (isWhole && options.m_IsNanEqual && !options.m_Full && HaveOneSum(first, second))
    return kvs_Status::Same;
  sto_Inspection const firstInspection(first);
  sto_Inspection const secondInspection(second);
  Comparison comparison(options, firstInspection, secondInspection, out);
  if (isWhole) {
    comparison.Roots();
  } else {
    std::string const& other =
        options.m_SecondObject.empty() ? options.m_FirstObject : options.m_SecondObject;
    comparison.Found(options.m_FirstObject, kvs_Find(first, firstInspection, options.m_FirstObject),
                     kvs_Find(second, secondInspection, other));
  }
  std::int64_t const count = comparison.Differences();
  if (!options.m_Json && count > options.m_MaxListed)
    out.Print("... and {} more\n", kvs_Count(count - options.m_MaxListed));
  return count == 0 ? kvs_Status::Same : kvs_Status::Found;
}

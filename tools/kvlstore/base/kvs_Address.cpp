#include "tools/kvlstore/base/kvs_Address.h"

#include <algorithm>
#include <charconv>

#include <fmt/format.h>

#include "store/base/sto_Exception.h"
#include "store/sto_Store.h"
#include "tools/kvlstore/base/kvs_Error.h"
#include "tools/kvlstore/base/kvs_Text.h"
#include "tools/kvlstore/base/kvs_Values.h"

namespace {

bool EndsName(std::string_view rest) {
  return rest.empty() || rest.front() == '.' || rest.front() == '[';
}

std::optional<std::int64_t> Number(std::string_view text) {
  std::int64_t number = 0;
  auto const [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
  if (error != std::errc() || end != text.data() + text.size()) return std::nullopt;
  return number;
}

/// Follows one address.
class Walk {
 public:
  Walk(sto_Store& store, sto_Inspection const& inspection, std::string const& address)
      : m_Store(store), m_Inspection(inspection), m_Address(address), m_Rest(m_Address) {}

  kvs_Found Follow() {
    Start();
    while (!m_Rest.empty()) m_Rest.front() == '.' ? StepToField() : StepToElement();
    m_Found.m_Name = m_Address;
    return std::move(m_Found);
  }

 private:
  [[noreturn]] void Raise(std::string const& problem) const {
    std::string done(m_Address.substr(0, m_Address.size() - m_Rest.size()));
    if (done.ends_with('.')) done.pop_back();
    throw kvs_Error(kvs_Printable(m_Store.Location()) + ": " +
                    kvs_Printable(done.empty() ? m_Address : done) + ": " + problem);
  }

  void Start() {
    if (m_Rest.starts_with('#')) {
      std::size_t const end = std::min(m_Rest.find_first_of(".["), m_Rest.size());
      if (std::optional<std::int64_t> const id = Number(m_Rest.substr(1, end - 1))) {
        m_Rest.remove_prefix(end);
        return Take(m_Inspection.Object(*id));
      }
    }
    for (std::size_t end = m_Rest.size(); end > 0 && end != std::string_view::npos;
         end = end == 1 ? 0 : m_Rest.find_last_of(".[", end - 1)) {
      if (!m_Store.HasRoot(m_Rest.substr(0, end))) continue;
      std::string const root(m_Rest.substr(0, end));
      m_Rest.remove_prefix(end);
      return Take(m_Inspection.Root(root));
    }
    Raise(m_Rest.starts_with('#') ? "After # comes the number of an object."
                                  : "There is no such root. `kvlstore ls` lists them.");
  }

  void Take(sto_InspectedObject object) {
    m_Found.m_Kind = object.m_Kind;
    m_Found.m_Value = sto_InspectedId{object.m_Id};
    m_Found.m_Object = std::move(object);
  }

  /// Goes on to the object, if the value is the id of one that is there.
  void TakeObjectOfValue() {
    m_Found.m_Object.reset();
    sto_InspectedId const* const id = std::get_if<sto_InspectedId>(&m_Found.m_Value);
    if (id == nullptr || id->m_Id == 0) return;
    try {
      Take(m_Inspection.Object(id->m_Id));
    } catch (sto_Exception const& failure) {
      if (failure.Kind() != sto_ErrorKind::NotFound || !m_Rest.empty()) throw;
    }
  }

  void StepToField() {
    m_Rest.remove_prefix(1);
    if (m_Found.m_Object) return StepToFieldOf(*m_Found.m_Object);
    if (auto const* const tree = std::get_if<sto_InspectedTree>(&m_Found.m_Value))
      for (sto_InspectedMember const& member : tree->m_Members)
        if (!member.m_Name.empty() && m_Rest.starts_with(member.m_Name) &&
            EndsName(m_Rest.substr(member.m_Name.size()))) {
          m_Rest.remove_prefix(member.m_Name.size());
          return TakeMember(member);
        }
    Raise("It has no attribute " + kvs_Printable(m_Rest) + ".");
  }

  void StepToFieldOf(sto_InspectedObject const& object) {
    sto_InspectedField const* best = nullptr;
    std::size_t length = 0;
    for (sto_InspectedPart const& part : object.m_Parts)
      for (sto_InspectedField const& field : part.m_Fields) {
        std::string const name = kvs_NameOf(field);
        if (name.size() < length || !m_Rest.starts_with(name) || !EndsName(m_Rest.substr(name.size())))
          continue;
        if (best != nullptr && name.size() == length) continue; // a derived class comes first
        best = &field;
        length = name.size();
      }
    if (best == nullptr)
      Raise(kvs_Printable(object.ClassName()) + " has no attribute " + kvs_Printable(m_Rest) + " here.");
    m_Rest.remove_prefix(length);
    sto_InspectedField const field = *best;
    m_Found.m_Kind = field.m_Kind;
    m_Found.m_Unit = field.m_Unit;
    m_Found.m_Value = field.m_Value;
    TakeObjectOfValue();
  }

  void StepToElement() {
    std::size_t const end = m_Rest.find(']');
    if (m_Rest.front() != '[' || end == std::string_view::npos)
      Raise("A number or key in brackets is missing.");
    std::string const key(m_Rest.substr(1, end - 1));
    if (!m_Found.m_Object) {
      auto const* const tree = std::get_if<sto_InspectedTree>(&m_Found.m_Value);
      std::optional<std::int64_t> const index = Number(key);
      if (tree == nullptr || !index || *index < 0 ||
          *index >= static_cast<std::int64_t>(tree->m_Members.size()))
        Raise("It has no element [" + kvs_Printable(key) + "].");
      m_Rest.remove_prefix(end + 1);
      return TakeMember(tree->m_Members[static_cast<std::size_t>(*index)]);
    }
    std::int64_t const id = m_Found.m_Object->m_Id;
    if (m_Found.m_Object->m_Content == sto_InspectedContent::Map) {
      TakeEntry(id, key);
    } else if (m_Found.m_Object->m_Content == sto_InspectedContent::List) {
      TakeElement(id, key);
      m_Rest.remove_prefix(end + 1);
    } else {
      Raise("It has no elements.");
    }
    TakeObjectOfValue();
  }

  void TakeElement(std::int64_t id, std::string const& key) {
    sto_InspectedList list = m_Inspection.List(id);
    std::optional<std::int64_t> const index = Number(key);
    if (!index || *index < 0 || *index >= list.Count())
      Raise("It has no element [" + kvs_Printable(key) + "]: it has " + kvs_Count(list.Count(), "element") +
            ".");
    m_Found.m_Value = kvs_ElementOf(list.Read(*index, 1), 0);
    m_Found.m_Kind = list.TypeName();
    m_Found.m_Unit = list.Unit();
  }

  /// Whether what is not followed yet goes on with a key in brackets.
  [[nodiscard]] bool HasKey(std::string_view key) const {
    return m_Rest.substr(1).starts_with(key) && m_Rest.substr(1 + key.size()).starts_with(']') &&
           EndsName(m_Rest.substr(key.size() + 2));
  }

  /// Goes on to the entry with the longest key that fits.
  void TakeEntry(std::int64_t id, std::string const& key) {
    std::size_t length = 0; // with the brackets
    for (sto_InspectedMap map = m_Inspection.Map(id); map.Next();) {
      sto_InspectedValue const stored = kvs_ValueOf(map.Key());
      auto const* const text = std::get_if<sto_InspectedText>(&stored);
      std::string shown = kvs_ValueText(stored, std::string::npos);
      if (text != nullptr && *text && HasKey(**text)) shown = **text;
      if (shown.size() + 2 <= length || !HasKey(shown)) continue;
      length = shown.size() + 2;
      m_Found.m_Value = map.Value();
    }
    if (length == 0) Raise("It has no entry with the key " + kvs_Quoted(key) + ".");
    m_Rest.remove_prefix(length);
    m_Found.m_Kind = "value";
    m_Found.m_Unit.clear();
  }

  void TakeMember(sto_InspectedMember const& from) {
    sto_InspectedMember const member = from; // the value that it is in is replaced
    m_Found.m_Kind = member.m_Kind;
    m_Found.m_Unit.clear();
    m_Found.m_Value = member.m_Value;
    TakeObjectOfValue();
  }

  sto_Store& m_Store;
  sto_Inspection const& m_Inspection;
  std::string m_Address;
  std::string_view m_Rest; // what is not followed yet
  kvs_Found m_Found;
};

} // namespace

kvs_Found kvs_Find(sto_Store& store, sto_Inspection const& inspection, std::string const& address) {
  return Walk(store, inspection, address).Follow();
}

sto_InspectedList kvs_ListOf(sto_Inspection const& inspection, kvs_Found const& found) {
  if (!found.m_Object || found.m_Object->m_Content != sto_InspectedContent::List)
    throw kvs_Error(kvs_Printable(found.m_Name) + ": It is no array or list, but: " + found.m_Kind + ".");
  return inspection.List(found.m_Object->m_Id);
}

std::string kvs_NameOf(std::int64_t id) {
  return "#" + std::to_string(id);
}

std::string kvs_NameOf(sto_InspectedField const& field) {
  return field.m_Name.empty() ? std::to_string(field.m_Number) : field.m_Name;
}

std::string kvs_Join(std::string const& object, std::string const& field) {
  return fmt::format("{}.{}", object, field);
}

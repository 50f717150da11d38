#include "tools/kvlstore/emit/kvs_EmitSurvey.h"

#include <algorithm>
#include <map>
#include <utility>

#include "store/base/sto_Exception.h"

namespace {

/// The classes of all objects, by their ids.
class ClassIndex {
 public:
  explicit ClassIndex(sto_Inspection const& inspection) {
    for (sto_InspectedWalk walk = inspection.Objects(); walk.Next();)
      m_Classes.emplace_back(walk.Id(), walk.ClassId());
  }
  /// 0 for an id that no object has.
  [[nodiscard]] unsigned int Of(std::int64_t id) const noexcept {
    auto const found =
        std::ranges::lower_bound(m_Classes, id, {}, &std::pair<std::int64_t, unsigned int>::first);
    return found == m_Classes.end() || found->first != id ? 0 : found->second;
  }
  [[nodiscard]] std::vector<std::pair<std::int64_t, unsigned int>> const& All() const noexcept {
    return m_Classes;
  }
  /// A reference may name the part of a base class: its object.
  void AddPart(std::int64_t part, unsigned int classId) { m_Parts.emplace(part, classId); }
  [[nodiscard]] unsigned int OfPart(std::int64_t id) const noexcept {
    auto const found = m_Parts.find(id);
    return found == m_Parts.end() ? 0 : found->second;
  }

 private:
  std::vector<std::pair<std::int64_t, unsigned int>> m_Classes; // ascending
  std::map<std::int64_t, unsigned int> m_Parts;
};

class Survey {
 public:
  Survey(sto_Inspection const& inspection, kvs_EmitModel& model)
      : m_Inspection(inspection), m_Model(model), m_Index(inspection) {}

  void Run() {
    for (auto const& [id, classId] : m_Index.All())
      if (!kvs_IsLibraryClass(classId)) LookAt(m_Inspection.Object(id));
    for (auto const& [seen, id] : m_PartsSought)
      if (unsigned int const classId = m_Index.OfPart(id)) m_Seen[seen].m_Classes.insert(classId);
    for (auto& [key, seen] : m_Seen) Attribute(key).m_Seen = std::move(seen);
  }

 private:
  struct Key {
    unsigned int m_ClassId;
    int m_Version;
    std::string m_Name;
    friend bool operator<(Key const& a, Key const& b) {
      return std::tie(a.m_ClassId, a.m_Version, a.m_Name) < std::tie(b.m_ClassId, b.m_Version, b.m_Name);
    }
  };

  void LookAt(sto_InspectedObject const& object) {
    if (kvs_EmitClass* const found = Class(object.ClassId())) ++found->m_Objects;
    for (sto_InspectedPart const& part : object.m_Parts) {
      if (part.m_Id != object.m_Id) m_Index.AddPart(part.m_Id, object.ClassId());
      if (kvs_IsLibraryClass(part.m_ClassId)) continue;
      ++Version(part.m_ClassId, part.m_Version).m_Objects;
      for (sto_InspectedField const& field : part.m_Fields)
        if (!field.m_Name.empty()) LookAt({part.m_ClassId, part.m_Version, field.m_Name}, field);
    }
  }

  void LookAt(Key const& key, sto_InspectedField const& field) {
    Order(key);
    kvs_Seen& seen = m_Seen[key];
    seen.m_Kinds.insert(field.m_Kind);
    ++seen.m_Objects;
    auto const* const id = std::get_if<sto_InspectedId>(&field.m_Value);
    if (id == nullptr || id->m_Id == 0) return;
    if (field.m_Kind.starts_with("list of "))
      LookAtList(key, seen, id->m_Id);
    else if (field.m_Kind.starts_with("map from ") && field.m_Kind.ends_with(" to objects"))
      LookAtMap(key, seen, id->m_Id);
    else
      AddTarget(key, seen, id->m_Id);
  }

  void LookAtList(Key const& key, kvs_Seen& seen, std::int64_t id) {
    constexpr std::int64_t Slice = 2048;
    sto_InspectedList list = m_Inspection.List(id);
    if (list.Count() != 0) {
      std::int64_t rowSize = 1;
      for (std::int64_t const extent : list.Row()) rowSize *= extent;
      seen.m_RowSizes.insert(rowSize);
    }
    seen.m_MostElements = std::max(seen.m_MostElements, list.Count());
    if (list.Type() != sto_InspectedType::Object) return;
    for (std::int64_t first = 0; first < list.Count(); first += Slice) {
      auto const elements = list.Read(first, std::min(Slice, list.Count() - first));
      for (sto_InspectedId const& element : std::get<std::vector<sto_InspectedId>>(elements))
        if (element.m_Id != 0) AddTarget(key, seen, element.m_Id);
    }
  }

  void LookAtMap(Key const& key, kvs_Seen& seen, std::int64_t id) {
    for (sto_InspectedMap map = m_Inspection.Map(id); map.Next();)
      if (auto const value = map.Value(); auto const* const element = std::get_if<sto_InspectedId>(&value))
        AddTarget(key, seen, element->m_Id);
  }

  void AddTarget(Key const& key, kvs_Seen& seen, std::int64_t id) {
    if (unsigned int const classId = m_Index.Of(id))
      seen.m_Classes.insert(classId);
    else
      m_PartsSought.emplace(key, id);
  }

  /// Null for a class that the store does not describe.
  [[nodiscard]] kvs_EmitClass* Class(unsigned int classId) {
    return const_cast<kvs_EmitClass*>(m_Model.Find(classId)); // the model is not const
  }

  [[nodiscard]] kvs_ClassVersion& Version(unsigned int classId, int version) {
    auto& versions = Class(classId)->m_Versions;
    return *std::ranges::find(versions, version, &kvs_ClassVersion::m_Version);
  }
  /// Attributes that the store does not describe are in the order in which they were met.
  void Order(Key const& key) {
    if (!m_Seen.contains(key)) static_cast<void>(Attribute(key));
  }
  kvs_Attribute& Attribute(Key const& key) {
    auto& attributes = Version(key.m_ClassId, key.m_Version).m_Attributes;
    auto const found = std::ranges::find(attributes, key.m_Name, &kvs_Attribute::m_Name);
    return found != attributes.end() ? *found : attributes.emplace_back(kvs_Attribute{key.m_Name});
  }

  sto_Inspection const& m_Inspection;
  kvs_EmitModel& m_Model;
  ClassIndex m_Index;
  std::map<Key, kvs_Seen> m_Seen;
  std::set<std::pair<Key, std::int64_t>> m_PartsSought;
};

kvs_ClassVersion VersionOf(sto_ClassDescription const& described) {
  kvs_ClassVersion version;
  version.m_Version = described.m_Version;
  version.m_Name = described.m_Name;
  version.m_BaseId = described.m_BaseClassId;
  version.m_IsDescribed = !described.m_Attributes.empty();
  version.m_Notes = described.m_Notes;
  version.m_Attributes.reserve(described.m_Attributes.size());
  for (sto_AttributeDescription const& each : described.m_Attributes)
    version.m_Attributes.push_back({each.m_Name,
                                    each.m_FieldId,
                                    each.m_Type,
                                    each.m_TypeArg,
                                    each.m_CollectionType,
                                    each.m_Unit,
                                    each.m_Default,
                                    each.m_Enumerators,
                                    each.m_Notes,
                                    {}});
  std::ranges::stable_sort(version.m_Attributes, {}, &kvs_Attribute::m_Number);
  return version;
}

} // namespace

kvs_EmitModel kvs_SurveyClasses(sto_Inspection const& inspection, std::string store) {
  kvs_EmitModel model{std::move(store), {}, inspection.Roots()};
  for (sto_ClassDescription const& described : inspection.Classes()) { // ascending by class ID and version
    if (kvs_IsLibraryClass(described.m_ClassId)) continue;
    if (model.m_Classes.empty() || model.m_Classes.back().m_Id != described.m_ClassId)
      model.m_Classes.push_back({described.m_ClassId, {}});
    model.m_Classes.back().m_Versions.push_back(VersionOf(described));
  }
  Survey(inspection, model).Run();
  return model;
}

#include "platform/typ/typ_ArchCompTable.h"

#include <cstdio>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace {

struct Type {
  unsigned int m_Parent;
  std::optional<std::string> m_Name;
};

using Component = std::vector<Type>;

std::map<unsigned int, Component>& Components() {
  // Never destroyed: threads may look types up while the process exits.
  static std::map<unsigned int, Component>& components = *new std::map<unsigned int, Component>;
  return components;
}

Type const* Find(unsigned int typeId) {
  auto const found = Components().find(typeId >> 16);
  unsigned int const ordinal = typeId & 0xFFFF;
  if (found == Components().end() || ordinal >= found->second.size()) return nullptr;
  return &found->second[ordinal];
}

/// No hierarchy is deeper. It also ends the walk if the parents form a circle.
constexpr int MaxDepth = 1000;

} // namespace

void typ_ArchCompTable::InsertEntry(unsigned int component, typ_ArchCompEntry const* entries,
                                    unsigned int count) {
  Component types;
  types.reserve(count);
  for (typ_ArchCompEntry const& entry : std::span(entries, count)) {
    Type& type = types.emplace_back(Type{entry.m_Parent, std::nullopt});
    if (entry.m_Name != nullptr) type.m_Name = entry.m_Name;
  }
  Components()[component] = std::move(types);
}

cow_String typ_ArchCompTable::GetName(unsigned int typeId) {
  Type const* const type = Find(typeId);
  if (type != nullptr && type->m_Name) return cow_String(std::string_view(*type->m_Name));
  char number[16];
  std::snprintf(number, sizeof number, "0x%08X", typeId);
  return cow_String(number);
}

bool typ_ArchCompTable::IsParent(unsigned int typeId, unsigned int ancestor) {
  Type const* type = Find(typeId);
  for (int depth = 0; type != nullptr && depth < MaxDepth; ++depth) {
    if (type->m_Parent == NoParent) return false;
    if (type->m_Parent == ancestor) return true;
    type = Find(type->m_Parent);
  }
  return false;
}

void typ_ArchCompTable::Clear() {
  Components().clear();
}

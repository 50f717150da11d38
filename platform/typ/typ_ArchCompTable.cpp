#include "platform/typ/typ_ArchCompTable.h"

#include <cstdio>
#include <map>

namespace {

struct Component {
  typ_ArchCompEntry const* m_Entries;
  unsigned int m_Count;
};

std::map<unsigned int, Component>& Components() {
  static std::map<unsigned int, Component> components;
  return components;
}

typ_ArchCompEntry const* Find(unsigned int typeId) {
  auto const found = Components().find(typeId >> 16);
  unsigned int const ordinal = typeId & 0xFFFF;
  if (found == Components().end() || ordinal >= found->second.m_Count) return nullptr;
  return found->second.m_Entries + ordinal;
}

/// No hierarchy is deeper. It also ends the walk if the parents form a circle.
constexpr int MaxDepth = 1000;

} // namespace

void typ_ArchCompTable::InsertEntry(unsigned int component, typ_ArchCompEntry const* entries,
                                    unsigned int count) {
  Components()[component] = {entries, count};
}

cow_String typ_ArchCompTable::GetName(unsigned int typeId) {
  typ_ArchCompEntry const* const entry = Find(typeId);
  if (entry != nullptr && entry->m_Name != nullptr) return cow_String(entry->m_Name);
  char number[16];
  std::snprintf(number, sizeof number, "0x%08X", typeId);
  return cow_String(number);
}

bool typ_ArchCompTable::IsParent(unsigned int typeId, unsigned int ancestor) {
  typ_ArchCompEntry const* entry = Find(typeId);
  for (int depth = 0; entry != nullptr && depth < MaxDepth; ++depth) {
    if (entry->m_Parent == NoParent) return false;
    if (entry->m_Parent == ancestor) return true;
    entry = Find(entry->m_Parent);
  }
  return false;
}

void typ_ArchCompTable::Clear() {
  Components().clear();
}

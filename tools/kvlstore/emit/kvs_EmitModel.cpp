#include "tools/kvlstore/emit/kvs_EmitModel.h"

#include <algorithm>
#include <array>
#include <cstdio>

kvs_EmitClass const* kvs_EmitModel::Find(unsigned int classId) const noexcept {
  auto const found = std::ranges::lower_bound(m_Classes, classId, {}, &kvs_EmitClass::m_Id);
  return found == m_Classes.end() || found->m_Id != classId ? nullptr : &*found;
}

bool kvs_IsLibraryClass(unsigned int classId) noexcept {
  unsigned int const component = classId >> 16U;
  return component == 0 || component == 0x1A || component == 0x1F || component == 0x23 || component == 0x60;
}

std::string kvs_ClassIdText(unsigned int classId) {
  std::array<char, 16> text{};
  std::snprintf(text.data(), text.size(), "0x%X", classId);
  return text.data();
}

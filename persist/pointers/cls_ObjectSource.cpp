#include "persist/pointers/cls_ObjectSource.h"

#include <cstdio>

cls_ObjectSource::cls_ObjectSource() : m_Loaded(std::make_shared<cls_LoadedObjects>()) {}

cls_ObjectSource::~cls_ObjectSource() = default;

std::string cls_ObjectSource::NameOf(unsigned int classId) const {
  char text[16];
  std::snprintf(text, sizeof text, "0x%X", classId);
  return text;
}

std::string cls_ObjectSource::Describe(unsigned int classId) const {
  return NameOf(classId);
}

bool cls_ObjectSource::HasIdentity(std::int64_t) noexcept {
  return true;
}

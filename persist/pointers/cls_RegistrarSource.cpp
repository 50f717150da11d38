#include "persist/pointers/cls_RegistrarSource.h"

cls_ClassMetadata const* cls_RegistrarSource::FindVersion(cls_ClassRegistrar const& classes,
                                                          unsigned int classId, int version) {
  if (classes.ClassVersionIsPresent(classId, version)) return &classes.GetClassMetadata(classId, version);
  int const above = classes.GetFirstClassVersionNumberGREQ(classId, version);
  return above == -1 ? nullptr : &classes.GetClassMetadata(classId, above);
}

std::string cls_RegistrarSource::NameOf(unsigned int classId) const {
  if (!m_Classes.ClassIsPresent(classId)) return cls_ObjectSource::NameOf(classId);
  return std::string(m_Classes.ConstGet(classId).Name().View());
}

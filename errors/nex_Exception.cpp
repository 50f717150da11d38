#include "errors/nex_Exception.h"

#include <cstdlib>

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/atr/atr_translate.h"

nex_Exception::nex_Exception(cls_ReadVisitor const& visitor)
    : m_FromFile(visitor.Read(cls_FieldHandle(0, "m_FromFile"_cow), ""_cow)),
      m_FromLine(visitor.Read(cls_FieldHandle(1, "m_FromLine"_cow), 0)), m_RootUid(visitor.GetUid()) {}

nex_Exception::~nex_Exception() = default;

atr_String nex_Exception::DeveloperReport() {
  atr_translate report("Exception: %s in file %s at line %d");
  atr_SubstituteFormat(report, 1, UserReport());
  atr_SubstituteFormat(report, 2, atr_StringBase(m_FromFile.CharsOrEmpty()));
  atr_SubstituteFormat(report, 3, atr_StringBase(m_FromLine));
  return report.Result();
}

atr_String nex_Exception::UserReport() {
  return AsString();
}

unsigned int nex_Exception::DynTypeId() const {
  return TypeId();
}

void nex_Exception::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_RootUid)) return;
  visitor.Write(cls_FieldHandle(0, "m_FromFile"_cow), m_FromFile);
  visitor.Write(cls_FieldHandle(1, "m_FromLine"_cow), m_FromLine);
}

void nex_Exception::Throw(char const* file, int line) {
  m_FromFile = cow_String(file);
  m_FromLine = line;
  Propagate();
  std::abort(); // Propagate must throw: a class whose Propagate returns is wrong
}

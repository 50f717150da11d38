#include "store/base/sto_Exception.h"

#include <filesystem>

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

sto_Exception::sto_Exception(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Kind(static_cast<sto_ErrorKind>(visitor.ReadEnum(cls_FieldHandle(0, "m_Kind"_cow)))),
      m_Value(visitor.Read(cls_FieldHandle(1, "m_Value"_cow), atr_String(""_cow))), m_Uid(visitor.GetUid()) {}

atr_String sto_Exception::AsString() {
  return m_Value;
}

void sto_Exception::Propagate() const {
  throw sto_Exception(*this);
}

nex_Exception* sto_Exception::Copy() const {
  return new sto_Exception(*this);
}

unsigned int sto_Exception::DynTypeId() const {
  return TypeId();
}

char const* sto_Exception::what() const noexcept {
  return m_Value.Length() == 0 ? "A failure of the store, which has no message." : m_Value.Chars();
}

void sto_Exception::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  int const kind = static_cast<int>(m_Kind);
  visitor.WriteEnum(cls_FieldHandle(0, "m_Kind"_cow), kind);
  visitor.Write(cls_FieldHandle(1, "m_Value"_cow), m_Value);
}

void sto_Raise(sto_ErrorKind kind, std::string const& message, sto_SourceLine line) {
  std::string const file = std::filesystem::path(line.m_File).stem().string();
  sto_Exception(kind, atr_String(cow_String(message))).Throw(file.c_str(), line.m_Line);
}

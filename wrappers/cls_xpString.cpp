#include "wrappers/cls_xpString.h"

cls_xpString::cls_xpString(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  m_Text = visitor.Read(cls_FieldHandle("STRING"_cow), ""_cow); // intentional: after the identity
}

void cls_xpString::DBWrite(cls_WriteVisitor const& visitor) const {
  visitor.Write(cls_FieldHandle("STRING"_cow), cow_String(m_Text.View()));
}

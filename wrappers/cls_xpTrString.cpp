#include "wrappers/cls_xpTrString.h"

cls_xpTrString::cls_xpTrString(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  m_Text = visitor.Read(cls_FieldHandle("TRSTRING"_cow), ""_cow); // intentional: after the identity
}

void cls_xpTrString::DBWrite(cls_WriteVisitor const& visitor) const {
  visitor.Write(cls_FieldHandle("TRSTRING"_cow), cow_String(m_Text.View()));
}

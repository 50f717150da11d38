#include "wrappers/cls_xpBtree.h"

#include "wrappers/cls_xpMapCode.h"

cls_xpBtreeString2Uint::cls_xpBtreeString2Uint(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  cls_xpReadMap<unsigned int>(
      visitor, [this](cow_String const& key, unsigned int value) { InsertUnlessMember(key, value); });
}

void cls_xpBtreeString2Uint::DBWrite(cls_WriteVisitor const& visitor) const {
  cls_xpWriteMap<unsigned int, cow_BtreeIterator<cow_String, unsigned int>>(visitor, m_Uid, *this);
}

cls_xpBtreeString2Uint& cls_xpBtreeString2Uint::operator=(cow_Btree<cow_String, unsigned int> const& source) {
  if (&source == static_cast<cow_Btree*>(this)) return *this;
  cow_Btree::operator=(source);
  m_Uid.NewUid();
  return *this;
}

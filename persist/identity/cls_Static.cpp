#include "persist/identity/cls_Static.h"

template class thr_ThreadSingletonBase<cls_Static>;
template class thr_ThreadSingleton<cls_Static>;

cls_Static::cls_Static() : m_NullInteger(nullptr), m_Uid(cls_Uid::AllocateUid()) {
  m_NullInteger = new cow_COW<int, cow_Direct<int>>(static_cast<int*>(nullptr));
  SetDestructLevel();
}

cls_Static::~cls_Static() {
  delete m_NullInteger;
}

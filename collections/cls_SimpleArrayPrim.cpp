#include "collections/cls_SimpleArrayPrim.h"

#include <algorithm>
#include <cstdio>

#include "collections/cls_DeleteUnheld.h"

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(cls_SimpleArrayPrim const& other)
    : m_Position(other.m_Position), m_SizeHint(other.m_SizeHint) {
  if (other.m_Agent != nullptr) Hold(other.m_Agent);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(cls_Uid const& uid, int sizeHint)
    : m_SizeHint(sizeHint), m_Uid(uid), m_UidOut(const_cast<cls_Uid*>(&uid)) {}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(cls_Uid const& uid, cls_SimpleArrayPrim const& other)
    : m_Position(other.m_Position), m_SizeHint(other.m_SizeHint), m_Uid(uid),
      m_UidOut(const_cast<cls_Uid*>(&uid)) {
  if (other.m_Agent != nullptr) Hold(other.m_Agent);
}

template <class T>
cls_SimpleArrayPrim<T>::cls_SimpleArrayPrim(cls_ReadVisitor const& visitor, cls_Uid* uidOut)
    : m_UidOut(uidOut) {
  T* const tag = nullptr;
  cls_AgentListPrim<T>* const agent = visitor.Memento()->MakeAgentListPrim(tag);
  try {
    m_SizeHint = agent->SizeHint();
    m_Uid = visitor.GetUid();
  } catch (...) {
    cls_DeleteUnheld(agent);
    throw;
  }
  Hold(agent);
}

template <class T> cls_SimpleArrayPrim<T>::~cls_SimpleArrayPrim() {
  if (m_Agent != nullptr) LetGo();
  Unlink();
  if (m_UidOut != nullptr) *m_UidOut = m_Uid;
}

template <class T>
cls_SimpleArrayPrim<T>& cls_SimpleArrayPrim<T>::operator=(cls_SimpleArrayPrim const& other) {
  if (this == &other) return *this;
  Reset();
  if (m_Agent != nullptr) LetGo();
  m_Agent = nullptr;
  m_Position = other.m_Position;
  m_SizeHint = other.m_SizeHint;
  m_Uid = other.m_Uid;
  m_UidOut = other.m_UidOut;
  if (other.m_Agent != nullptr) Hold(other.m_Agent);
  return *this;
}

template <class T> void cls_SimpleArrayPrim<T>::Hold(cls_AgentListPrim<T>* agent) const {
  m_Agent = agent;
  agent->AddReference();
  try {
    agent->RegisterHolder(const_cast<cls_SimpleArrayPrim*>(this));
  } catch (...) {
    agent->DropReference();
    m_Agent = nullptr;
    cls_DeleteUnheld(agent);
    throw;
  }
}

template <class T> bool cls_SimpleArrayPrim<T>::LetGo() const {
  m_Agent->DropReference();
  if (m_Agent->StillReferenced()) return false;
  this->Flush();
  delete m_Agent;
  return true;
}

template <class T> void cls_SimpleArrayPrim<T>::Flush() const {
  if (m_Agent != nullptr && !m_Agent->ReadOnly()) m_Agent->EndFlush();
}

template <class T> void cls_SimpleArrayPrim<T>::Detach() {
  if (m_Agent != nullptr && LetGo()) m_Uid.NewUid();
  m_Agent = nullptr;
  Unlink();
}

template <class T> void cls_SimpleArrayPrim<T>::DBWrite(cls_WriteVisitor const& visitor) const {
  if (visitor.StartWrite(TypeId(), m_Uid) == 0) return;
  T* const selector = nullptr;
  visitor.CheckCollectionType(cls_CollectionTypeFix(COLLECTION_LIST, selector));
  if (m_Agent != nullptr) return;
  T const* const tag = nullptr;
  Hold(visitor.Memento()->MakeAgentListPrim(tag, m_SizeHint));
  this->Flush();
}

template <class T> unsigned int cls_SimpleArrayPrim<T>::DynTypeId() const {
  return TypeId();
}

template <class T> int cls_SimpleArrayPrim<T>::Size() const {
  return m_Agent == nullptr ? 0 : m_Agent->Count();
}

template <class T> void cls_SimpleArrayPrim<T>::Seek(int position) {
  m_Position = std::clamp(position, 0, Size());
}

template <class T> bool cls_SimpleArrayPrim<T>::IsChanged() const {
  return m_Agent != nullptr && m_Agent->Changed();
}

template <class T> void cls_SimpleArrayPrim<T>::Write(T const* values, int count) {
  if (m_Agent == nullptr) // intentional: the fixed text names AppendBlock
    std::fputs(
        "cls_SimpleArrayPrim::AppendBlock: Collection must be associated with a database for this method.",
        stderr);
  if (count <= 0) return;
  m_Agent->WriteRun(m_Position, count, values);
  m_Position += count;
}

template <class T> int cls_SimpleArrayPrim<T>::Read(T* destination, int count) {
  if (m_Agent == nullptr)
    std::fputs(
        "cls_SimpleArrayPrim::ReadBlock: Collection must be associated with a database for this method.",
        stderr);
  if (count < 1) return 0;
  int const read = m_Agent->ReadRun(m_Position, count, destination);
  m_Position += read;
  return read;
}

template class cls_SimpleArrayPrim<int>;
template class cls_SimpleArrayPrim<float>;

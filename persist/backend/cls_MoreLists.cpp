#include "persist/backend/cls_MoreLists.h"

cls_WritesMoreLists* cls_WritesMoreLists::Of(cls_MementoWrite* memento) noexcept {
  return dynamic_cast<cls_WritesMoreLists*>(memento);
}

cls_ReadsMoreLists* cls_ReadsMoreLists::Of(cls_MementoRead* memento) noexcept {
  return dynamic_cast<cls_ReadsMoreLists*>(memento);
}

cls_AgentListPrim<long long>* cls_WritesMoreLists::MakeMoreListAgent(long long const*, int) {
  return nullptr;
}
cls_AgentListPrim<unsigned long long>* cls_WritesMoreLists::MakeMoreListAgent(unsigned long long const*,
                                                                              int) {
  return nullptr;
}
cls_AgentListPrim<cls_Complex<float>>* cls_WritesMoreLists::MakeMoreListAgent(cls_Complex<float> const*,
                                                                              int) {
  return nullptr;
}
cls_AgentListPrim<cls_Complex<double>>* cls_WritesMoreLists::MakeMoreListAgent(cls_Complex<double> const*,
                                                                               int) {
  return nullptr;
}
cls_AgentListPrim<long long>* cls_ReadsMoreLists::MakeMoreListAgent(long long*) {
  return nullptr;
}
cls_AgentListPrim<unsigned long long>* cls_ReadsMoreLists::MakeMoreListAgent(unsigned long long*) {
  return nullptr;
}
cls_AgentListPrim<cls_Complex<float>>* cls_ReadsMoreLists::MakeMoreListAgent(cls_Complex<float>*) {
  return nullptr;
}
cls_AgentListPrim<cls_Complex<double>>* cls_ReadsMoreLists::MakeMoreListAgent(cls_Complex<double>*) {
  return nullptr;
}

template class cls_WriteListPrim<signed char>;
template class cls_WriteListPrim<unsigned char>;
template class cls_WriteListPrim<short>;
template class cls_WriteListPrim<unsigned short>;
template class cls_WriteListPrim<long long>;
template class cls_WriteListPrim<unsigned long long>;
template class cls_WriteListPrim<cls_Complex<float>>;
template class cls_WriteListPrim<cls_Complex<double>>;
template class cls_ReadListPrim<signed char>;
template class cls_ReadListPrim<unsigned char>;
template class cls_ReadListPrim<short>;
template class cls_ReadListPrim<unsigned short>;
template class cls_ReadListPrim<long long>;
template class cls_ReadListPrim<unsigned long long>;
template class cls_ReadListPrim<cls_Complex<float>>;
template class cls_ReadListPrim<cls_Complex<double>>;

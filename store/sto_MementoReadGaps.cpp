#include "store/sto_MementoReadGaps.h"

#include <cstdlib>

void sto_MementoReadGaps::Refuse(char const* what) const {
  RaiseRefusal(what);
  std::abort();
}

cls_ReadMapInt2Obj* sto_MementoReadGaps::MakeReadMapInt2Obj() {
  Refuse("int-keyed maps of objects");
}
cls_ReadMapString2Obj* sto_MementoReadGaps::MakeReadMapString2Obj() {
  Refuse("string-keyed maps of objects");
}
cls_ReadMapInt2Prim<cow_String>* sto_MementoReadGaps::MakeReadMapInt2Prim(cow_String*) {
  Refuse("int-keyed maps");
}
cls_ReadMapInt2Prim<float>* sto_MementoReadGaps::MakeReadMapInt2Prim(float*) {
  Refuse("int-keyed maps");
}
cls_ReadMapInt2Prim<double>* sto_MementoReadGaps::MakeReadMapInt2Prim(double*) {
  Refuse("int-keyed maps");
}
cls_ReadMapInt2Prim<unsigned int>* sto_MementoReadGaps::MakeReadMapInt2Prim(unsigned int*) {
  Refuse("int-keyed maps");
}
cls_ReadMapInt2Prim<int>* sto_MementoReadGaps::MakeReadMapInt2Prim(int*) {
  Refuse("int-keyed maps");
}
cls_ReadListObj* sto_MementoReadGaps::MakeReadListObj() {
  Refuse("lists of objects");
}
cls_ReadIntTableInt* sto_MementoReadGaps::MakeReadIntTableInt() {
  Refuse("int tables");
}
cls_ReadListObj* sto_MementoReadGaps::MakeFieldReadListObj(cls_FieldHandle const&) {
  Refuse("lists of objects");
}
cls_ReadMapInt2Obj* sto_MementoReadGaps::MakeFieldReadMapInt2Obj(cls_FieldHandle const&) {
  Refuse("int-keyed maps of objects");
}
cls_ReadMapString2Obj* sto_MementoReadGaps::MakeFieldReadMapString2Obj(cls_FieldHandle const&) {
  Refuse("string-keyed maps of objects");
}
cls_ReadIntTableInt* sto_MementoReadGaps::MakeFieldReadIntTableInt(cls_FieldHandle const&) {
  Refuse("int tables");
}
cls_ReadMapString2Prim<unsigned int>* sto_MementoReadGaps::MakeReadMapString2Prim(unsigned int*) {
  Refuse("string-keyed maps");
}
cls_ReadMapString2Prim<cow_String>* sto_MementoReadGaps::MakeReadMapString2Prim(cow_String*) {
  Refuse("string-keyed maps");
}
cls_ReadMapString2Prim<int>* sto_MementoReadGaps::MakeReadMapString2Prim(int*) {
  Refuse("string-keyed maps");
}
cls_ReadMapString2Prim<float>* sto_MementoReadGaps::MakeReadMapString2Prim(float*) {
  Refuse("string-keyed maps");
}
cls_ReadMapString2Prim<double>* sto_MementoReadGaps::MakeReadMapString2Prim(double*) {
  Refuse("string-keyed maps");
}
cls_AgentListObj* sto_MementoReadGaps::MakeAgentListObj() {
  Refuse("agents of object lists");
}
cls_AgentMapKey2Obj<int>* sto_MementoReadGaps::MakeAgentMapKey2Obj(int*) {
  Refuse("agents of object maps");
}
cls_AgentMapKey2Obj<cow_String>* sto_MementoReadGaps::MakeAgentMapKey2Obj(cow_String*) {
  Refuse("agents of object maps");
}

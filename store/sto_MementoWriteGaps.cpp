#include "store/sto_MementoWriteGaps.h"

#include <cstdlib>

void sto_MementoWriteGaps::Refuse(char const* what) const {
  RaiseRefusal(what);
  std::abort();
}

cls_WriteMapInt2Obj* sto_MementoWriteGaps::MakeWriteMapInt2Obj() {
  Refuse("int-keyed maps of objects");
}
cls_WriteMapString2Obj* sto_MementoWriteGaps::MakeWriteMapString2Obj() {
  Refuse("string-keyed maps of objects");
}
cls_WriteMapInt2Prim<cow_String>* sto_MementoWriteGaps::MakeWriteMapInt2Prim(cow_String const*) {
  Refuse("int-keyed maps");
}
cls_WriteMapInt2Prim<float>* sto_MementoWriteGaps::MakeWriteMapInt2Prim(float const*) {
  Refuse("int-keyed maps");
}
cls_WriteMapInt2Prim<double>* sto_MementoWriteGaps::MakeWriteMapInt2Prim(double const*) {
  Refuse("int-keyed maps");
}
cls_WriteMapInt2Prim<unsigned int>* sto_MementoWriteGaps::MakeWriteMapInt2Prim(unsigned int const*) {
  Refuse("int-keyed maps");
}
cls_WriteMapInt2Prim<int>* sto_MementoWriteGaps::MakeWriteMapInt2Prim(int const*) {
  Refuse("int-keyed maps");
}
cls_WriteListObj* sto_MementoWriteGaps::MakeWriteListObj() {
  Refuse("lists of objects");
}
cls_WriteIntTableInt* sto_MementoWriteGaps::MakeWriteIntTableInt() {
  Refuse("int tables");
}
cls_WriteListObj* sto_MementoWriteGaps::MakeFieldWriteListObj(cls_FieldHandle const&, cls_Uid const&) {
  Refuse("lists of objects");
}
cls_WriteMapInt2Obj* sto_MementoWriteGaps::MakeFieldWriteMapInt2Obj(cls_FieldHandle const&, cls_Uid const&) {
  Refuse("int-keyed maps of objects");
}
cls_WriteMapString2Obj* sto_MementoWriteGaps::MakeFieldWriteMapString2Obj(cls_FieldHandle const&,
                                                                          cls_Uid const&) {
  Refuse("string-keyed maps of objects");
}
cls_WriteIntTableInt* sto_MementoWriteGaps::MakeFieldWriteIntTableInt(cls_FieldHandle const&,
                                                                      cls_Uid const&) {
  Refuse("int tables");
}
cls_WriteMapString2Prim<unsigned int>* sto_MementoWriteGaps::MakeWriteMapString2Prim(unsigned int const*) {
  Refuse("string-keyed maps");
}
cls_WriteMapString2Prim<cow_String>* sto_MementoWriteGaps::MakeWriteMapString2Prim(cow_String const*) {
  Refuse("string-keyed maps");
}
cls_WriteMapString2Prim<int>* sto_MementoWriteGaps::MakeWriteMapString2Prim(int const*) {
  Refuse("string-keyed maps");
}
cls_WriteMapString2Prim<float>* sto_MementoWriteGaps::MakeWriteMapString2Prim(float const*) {
  Refuse("string-keyed maps");
}
cls_WriteMapString2Prim<double>* sto_MementoWriteGaps::MakeWriteMapString2Prim(double const*) {
  Refuse("string-keyed maps");
}
cls_AgentListObj* sto_MementoWriteGaps::MakeAgentListObj(int) {
  Refuse("agents of object lists");
}
cls_AgentMapKey2Obj<int>* sto_MementoWriteGaps::MakeAgentMapKey2Obj(int const*, int) {
  Refuse("agents of object maps");
}
cls_AgentMapKey2Obj<cow_String>* sto_MementoWriteGaps::MakeAgentMapKey2Obj(cow_String const*, int) {
  Refuse("agents of object maps");
}

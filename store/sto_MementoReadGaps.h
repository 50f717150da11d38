#pragma once

#include "persist/cls_MementoRead.h"

/// The slots of the reading side that this version of the module does not store yet, as sto_MementoWriteGaps.
class sto_MementoReadGaps : public cls_MementoRead {
 public:
  cls_ReadMapInt2Obj* MakeReadMapInt2Obj() override;
  cls_ReadMapString2Obj* MakeReadMapString2Obj() override;
  cls_ReadMapInt2Prim<cow_String>* MakeReadMapInt2Prim(cow_String* tag) override;
  cls_ReadMapInt2Prim<float>* MakeReadMapInt2Prim(float* tag) override;
  cls_ReadMapInt2Prim<double>* MakeReadMapInt2Prim(double* tag) override;
  cls_ReadMapInt2Prim<unsigned int>* MakeReadMapInt2Prim(unsigned int* tag) override;
  cls_ReadMapInt2Prim<int>* MakeReadMapInt2Prim(int* tag) override;
  cls_ReadListObj* MakeReadListObj() override;
  cls_ReadIntTableInt* MakeReadIntTableInt() override;
  cls_ReadListObj* MakeFieldReadListObj(cls_FieldHandle const& field) override;
  cls_ReadMapInt2Obj* MakeFieldReadMapInt2Obj(cls_FieldHandle const& field) override;
  cls_ReadMapString2Obj* MakeFieldReadMapString2Obj(cls_FieldHandle const& field) override;
  cls_ReadIntTableInt* MakeFieldReadIntTableInt(cls_FieldHandle const& field) override;
  cls_ReadMapString2Prim<unsigned int>* MakeReadMapString2Prim(unsigned int* tag) override;
  cls_ReadMapString2Prim<cow_String>* MakeReadMapString2Prim(cow_String* tag) override;
  cls_ReadMapString2Prim<int>* MakeReadMapString2Prim(int* tag) override;
  cls_ReadMapString2Prim<float>* MakeReadMapString2Prim(float* tag) override;
  cls_ReadMapString2Prim<double>* MakeReadMapString2Prim(double* tag) override;
  cls_AgentListObj* MakeAgentListObj() override;
  cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int* tag) override;
  cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String* tag) override;

 protected:
  /// Raises Misuse: `what` cannot be read. Does not return.
  virtual void RaiseRefusal(char const* what) const = 0;

 private:
  [[noreturn]] void Refuse(char const* what) const;
};

#pragma once

#include "persist/cls_MementoWrite.h"

/// The slots of the writing side that this version of the module does not store yet: maps, object lists, int
/// tables, agents of objects. Each raises Misuse and says so; nothing is lost in silence.
class sto_MementoWriteGaps : public cls_MementoWrite {
 public:
  cls_WriteMapInt2Obj* MakeWriteMapInt2Obj() override;
  cls_WriteMapString2Obj* MakeWriteMapString2Obj() override;
  cls_WriteMapInt2Prim<cow_String>* MakeWriteMapInt2Prim(cow_String const* tag) override;
  cls_WriteMapInt2Prim<float>* MakeWriteMapInt2Prim(float const* tag) override;
  cls_WriteMapInt2Prim<double>* MakeWriteMapInt2Prim(double const* tag) override;
  cls_WriteMapInt2Prim<unsigned int>* MakeWriteMapInt2Prim(unsigned int const* tag) override;
  cls_WriteMapInt2Prim<int>* MakeWriteMapInt2Prim(int const* tag) override;
  cls_WriteListObj* MakeWriteListObj() override;
  cls_WriteIntTableInt* MakeWriteIntTableInt() override;
  cls_WriteListObj* MakeFieldWriteListObj(cls_FieldHandle const& field, cls_Uid const& uid) override;
  cls_WriteMapInt2Obj* MakeFieldWriteMapInt2Obj(cls_FieldHandle const& field, cls_Uid const& uid) override;
  cls_WriteMapString2Obj* MakeFieldWriteMapString2Obj(cls_FieldHandle const& field,
                                                      cls_Uid const& uid) override;
  cls_WriteIntTableInt* MakeFieldWriteIntTableInt(cls_FieldHandle const& field, cls_Uid const& uid) override;
  cls_WriteMapString2Prim<unsigned int>* MakeWriteMapString2Prim(unsigned int const* tag) override;
  cls_WriteMapString2Prim<cow_String>* MakeWriteMapString2Prim(cow_String const* tag) override;
  cls_WriteMapString2Prim<int>* MakeWriteMapString2Prim(int const* tag) override;
  cls_WriteMapString2Prim<float>* MakeWriteMapString2Prim(float const* tag) override;
  cls_WriteMapString2Prim<double>* MakeWriteMapString2Prim(double const* tag) override;
  cls_AgentListObj* MakeAgentListObj(int sizeHint) override;
  cls_AgentMapKey2Obj<int>* MakeAgentMapKey2Obj(int const* tag, int sizeHint) override;
  cls_AgentMapKey2Obj<cow_String>* MakeAgentMapKey2Obj(cow_String const* tag, int sizeHint) override;

 protected:
  /// Raises Misuse: `what` cannot be stored. Does not return.
  virtual void RaiseRefusal(char const* what) const = 0;

 private:
  [[noreturn]] void Refuse(char const* what) const;
};

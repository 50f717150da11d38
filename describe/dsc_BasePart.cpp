#include "describe/dsc_BasePart.h"

#include <utility>

#include "metadata/cls_ClassMetadata.h"
#include "persist/backend/cls_MoreLists.h"
#include "persist/backend/cls_TypedMementoRead.h"

namespace {

using Received = cls_Received<cls_MementoRead>;

/// A part that the stored object does not have. Reads as the absent part at its end, except that the part below it
/// is one that is there.
class AbsentPart : public cls_TypedMementoRead<AbsentPart>, public cls_TypedReadsMoreLists<AbsentPart> {
 public:
  AbsentPart(Received absent, Received below) : m_Absent(std::move(absent)), m_Below(std::move(below)) {}

  cls_MementoRead* Clone() override { return m_Below != nullptr ? m_Below.release() : m_Absent->Clone(); }
  cls_Uid const& GetUid() override { return m_Uid; }

  cow_String DbId() override { return m_Absent->DbId(); }
  int FieldIsPresent(cls_FieldHandle const&) const override { return 0; }
  int DataIsPresent(cls_FieldHandle const&) const override { return 0; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    return m_Absent->MakeFieldReadObj(field);
  }
  int ReadEnum(cls_FieldHandle const& field) override { return m_Absent->ReadEnum(field); }
  cls_Uid ReadReference(cls_FieldHandle const& field) override { return m_Absent->ReadReference(field); }
  int ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) override {
    return m_Absent->ReadBytes(field, bytes, capacityBytes);
  }
  unsigned int ClassId() const override { return m_Absent->ClassId(); }
  int ClassVersion() const override { return m_Absent->ClassVersion(); }
  cls_ReadListObj* MakeReadListObj() override { return m_Absent->MakeReadListObj(); }
  cls_ReadIntTableInt* MakeReadIntTableInt() override { return m_Absent->MakeReadIntTableInt(); }
  cls_AgentListObj* MakeAgentListObj() override { return m_Absent->MakeAgentListObj(); }
  cls_AgentBlob* MakeAgentBlob() override { return m_Absent->MakeAgentBlob(); }
  void CheckCollectionType(cls_CollectionType type, cow_String const& name) override {
    m_Absent->CheckCollectionType(type, name);
  }

  template <class T> T ReadScalar(cls_FieldHandle const&, T const& defaultValue) { return defaultValue; }
  template <class T> cls_ReadListPrim<T>* MakeListOf(T*) { return cls_MakeReadList<T>(*m_Absent); }
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag) {
    if constexpr (std::is_same_v<K, int>)
      return m_Absent->MakeReadMapInt2Prim(tag);
    else
      return m_Absent->MakeReadMapString2Prim(tag);
  }
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf() {
    if constexpr (std::is_same_v<K, int>)
      return m_Absent->MakeReadMapInt2Obj();
    else
      return m_Absent->MakeReadMapString2Obj();
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag) {
    return m_Absent->MakeAgentListPrim(tag);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag) {
    return m_Absent->MakeAgentMapKey2Obj(tag);
  }

 private:
  Received m_Absent;
  Received m_Below; // until it is handed out
  cls_Uid m_Uid;    // of a part that is new
};

} // namespace

cls_MementoRead* dsc_ReadOtherBase(cls_MementoRead* next, unsigned int baseClassId) {
  Received below(next);
  if (below->ClassId() == cls_ClassMetadata::RootClassId) return below.release();
  Received part(below->Clone());
  while (part->ClassId() != baseClassId && part->ClassId() != cls_ClassMetadata::RootClassId)
    part = Received(part->Clone());
  if (part->ClassId() == baseClassId) return part.release();
  return new AbsentPart(std::move(part), std::move(below));
}

#include "bench/objects_Holding.h"

#include <iterator>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"

namespace {

cls_FieldHandle ObjectsField() {
  return {0, "m_Objects"_cow};
}

} // namespace

void objects_Holding::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<objects_Holding>("Holding"_cow, 1, cls_ClassMetadata::RootClassId))
      .AddAttribute(ObjectsField(), ATTR_OBJECT, 1, COLLECTION_OBJ);
}

objects_Holding::objects_Holding(Objects objects)
    : m_Objects(std::make_move_iterator(objects.begin()), std::make_move_iterator(objects.end())) {}

objects_Holding::objects_Holding(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
  std::unique_ptr<cls_ReadListObj> const list(visitor.Memento()->MakeFieldReadListObj(ObjectsField()));
  m_Objects.reserve(static_cast<std::size_t>(list->Count()));
  while (list->More() != 0) m_Objects.push_back(sto_Construct<objects_Part>(cls_ReadVisitor(list->Next())));
}

void objects_Holding::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  std::unique_ptr<cls_WriteListObj> const list(
      visitor.Memento()->MakeFieldWriteListObj(ObjectsField(), m_ListUid));
  for (std::unique_ptr<objects_Part> const& object : m_Objects)
    object->DBWrite(cls_WriteVisitor(cls_WriteRequestListObj(list.get()), object.get()));
}

void objects_Holding::AddTo(objects_Tally& tally) const {
  for (auto const& object : m_Objects) object->AddTo(tally);
}

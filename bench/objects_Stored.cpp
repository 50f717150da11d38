#include "bench/objects_Stored.h"

#include "persist/adapters/cls_TypeAdapter.h"

namespace {

cls_FieldHandle NameField() {
  return {0, "m_Name"_cow};
}
cls_FieldHandle NumberField() {
  return {1, "m_Number"_cow};
}
cls_FieldHandle MessageField() {
  return {0, "m_Message"_cow};
}

} // namespace

void objects_Part::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<objects_Part>("Part"_cow, 1, cls_ClassMetadata::RootClassId))
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(NumberField(), ATTR_INT, 1, COLLECTION_NONE);
}

objects_Part::objects_Part(objects_Sample const& sample) : m_Name(sample.m_Name), m_Number(sample.m_Number) {}

objects_Part::objects_Part(cls_ReadVisitor const& visitor)
    : m_Name(visitor.Read(NameField(), cow_String())), m_Number(visitor.Read(NumberField(), 0)),
      m_Uid(visitor.GetUid()) {}

void objects_Part::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  visitor.Write(NameField(), m_Name);
  visitor.Write(NumberField(), m_Number);
}

void objects_Part::AddTo(objects_Tally& tally) const {
  tally.Add(m_Name.View(), m_Number, {});
}

void objects_Note::Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<objects_Note>("Note"_cow, 1, objects_Part::TypeId()))
      .AddAttribute(MessageField(), ATTR_STRING, 1, COLLECTION_NONE);
}

objects_Note::objects_Note(objects_Sample const& sample)
    : objects_Part(sample), m_Message(sample.m_Message) {}

objects_Note::objects_Note(cls_ReadVisitor const& visitor)
    : objects_Part(cls_ReadVisitor(visitor)), m_Message(visitor.Read(MessageField(), cow_String())),
      m_Uid(visitor.GetUid()) {}

void objects_Note::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  objects_Part::DBWrite(cls_WriteVisitor(visitor, objects_Part::TypeId()));
  visitor.Write(MessageField(), m_Message);
}

void objects_Note::AddTo(objects_Tally& tally) const {
  tally.Add(m_Name.View(), m_Number, m_Message.View());
}

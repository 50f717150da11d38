#include "store/objects/sto_MementoWrite.h"

#include <algorithm>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentProxy.h"
#include "persist/backend/cls_RootRequest.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "store/base/sto_StorageType.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_TagFits.h"
#include "store/format/sto_TypeNames.h"
#include "store/objects/sto_AgentFactory.h"
#include "store/objects/sto_ListWriter.h"
#include "store/objects/sto_MapWriter.h"
#include "store/objects/sto_ObjectListWriter.h"

namespace {

/// The tag of a field that holds a number.
template <class T> constexpr sto_Format::ValueTag TagOf = sto_Format::ValueTag();
template <> constexpr sto_Format::ValueTag TagOf<float> = sto_Format::Float;
template <> constexpr sto_Format::ValueTag TagOf<double> = sto_Format::Double;
template <> constexpr sto_Format::ValueTag TagOf<signed char> = sto_Format::Int8;
template <> constexpr sto_Format::ValueTag TagOf<short> = sto_Format::Int16;
template <> constexpr sto_Format::ValueTag TagOf<unsigned short> = sto_Format::UInt16;
template <> constexpr sto_Format::ValueTag TagOf<int> = sto_Format::Int32;
template <> constexpr sto_Format::ValueTag TagOf<unsigned int> = sto_Format::UInt32;
template <> constexpr sto_Format::ValueTag TagOf<long long> = sto_Format::Int64;
template <> constexpr sto_Format::ValueTag TagOf<unsigned long long> = sto_Format::UInt64;

/// Finds the interface without a search.
cls_LaterMementoType<sto_MementoWrite> const s_Declared;

} // namespace

std::unique_ptr<sto_MementoWrite> sto_MementoWrite::ForObject(sto_Session& session, unsigned int classId,
                                                              cls_Uid const& uid, int depth,
                                                              cls_Reach::Occurrence const& occurrence,
                                                              std::int64_t& id) {
  session.RaiseKept();
  session.Save().Check();
  try {
    cls_IdentityMap::Tie const& tie = session.TieOf(uid);
    id = tie.Id();
    bool const isNew = session.Save().IsNew(id);
    cls_Reach::Meeting const meeting = sto_IsCollectionClass(classId)
                                           ? session.Save().Reach().MeetCollection(tie, occurrence, isNew)
                                           : session.Save().Reach().Meet(tie, occurrence, isNew);
    if (!meeting.m_IsWritten) return nullptr;
    session.Residents().CheckSaved(id, occurrence.m_Address);
    sto_ClassInUse& inUse = session.ClassToWrite(classId);
    sto_RecordInProgressRef object(new (session)
                                       sto_RecordInProgress(session, id, inUse, depth, occurrence, meeting));
    return std::unique_ptr<sto_MementoWrite>(new (session) sto_MementoWrite(std::move(object), 0, inUse));
  } catch (...) {
    session.Save().MarkIncomplete();
    throw;
  }
}

std::unique_ptr<sto_MementoWrite> sto_MementoWrite::ForElement(sto_RecordInProgress& collection,
                                                               unsigned int classId, cls_Uid const& uid,
                                                               void const* object, std::int64_t& id) {
  return ForObject(collection.Session(), classId, uid, collection.Depth() + 1, {object, collection.Id()}, id);
}

sto_ClassInUse::Attribute const& sto_MementoWrite::NewAttribute(cls_FieldHandle const& field) {
  cls_AttributeMetadata const* const declared = sto_FindDeclaration(m_Class.Metadata(), field);
  if (declared == nullptr) RaiseAttribute(field, "is not declared in the class's metadata");
  Session().Save().Check();
  sto_ClassInUse::Attribute const* added = nullptr;
  m_Object->PutWhole([&] { added = &m_Class.Add(field, Session().KeyToWrite(field), *declared); });
  m_NextAttribute = m_Class.AttributeCount();
  return *added;
}

void sto_MementoWrite::RaiseAttribute(cls_FieldHandle const& field, std::string const& problem) const {
  Session().Save().MarkIncomplete();
  cls_ClassMetadata const& metadata = m_Class.Metadata();
  std::string const name =
      field.Name().IsEmpty() ? "number " + std::to_string(field.FieldId()) : std::string(field.Name().View());
  Session().Raise(sto_ErrorKind::Misuse, "Attribute " + name + " of class " +
                                             std::string(metadata.Name().View()) + " version " +
                                             std::to_string(metadata.Version()) + " " + problem +
                                             " (writing " + m_Object->Describe() + ").");
}

void sto_MementoWrite::CheckNewTag(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                                   sto_Format::ValueTag tag) const {
  bool const isCollection = attribute.m_Declared->m_CollectionType != COLLECTION_NONE;
  if (isCollection ? tag != sto_Format::Object : !sto_TagFits(tag, attribute.m_Declared->m_Type))
    RaiseAttribute(field, sto_MisdeclaredText(*attribute.m_Declared, sto_Written::Value(tag)));
  attribute.m_FittingTags |= std::uint32_t{1} << tag;
}

template <class T>
void sto_MementoWrite::WriteNumber(cls_FieldHandle const& field, sto_Format::ValueTag tag, T value) {
  PutValue(field, tag, [value](sto_ValueWriter& writer) { writer.Number(value); });
}

int sto_MementoWrite::FieldIsPresent(cls_FieldHandle const& field) const {
  std::optional<sto_FieldKey> const key = Session().KeyToRead(field); // does not add the name to the store
  return key && m_Object->Record().HasField(m_Part, *key) ? 1 : 0;
}

cls_MementoWrite* sto_MementoWrite::MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId,
                                                      cls_Uid const& uid, void const* object) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  bool const isSingle = attribute.m_Declared->m_CollectionType == COLLECTION_NONE;
  // A list or a map in an attribute that is declared for a single value is refused later, when the message
  // can name its element type.
  bool const isRefusedLater = isSingle && sto_IsCollectionClass(classId) && classId != cls_BlobTypeId;
  if (isRefusedLater)
    Session().Save().MarkIncomplete(); // even if no element follows
  else
    CheckHeldClass(attribute, classId);
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> child =
      ForObject(Session(), classId, uid, m_Object->Depth() + 1, {object, m_Object->Id()}, id);
  if (child != nullptr) {
    child->m_Object->HeldBy(m_Class.Metadata(), *attribute.m_Declared);
    if (sto_IsCollectionClass(classId))
      Session().NoteHolder(id, m_Class.Metadata().ClassId(), attribute.m_Declared->m_Name.View());
  }
  if (!isRefusedLater) PutObject(field, attribute, id);
  return child.release();
}

void sto_MementoWrite::PutObject(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                                 std::int64_t id) {
  m_Object->PutWhole([&] { CheckTag(field, attribute, sto_Format::Object); });
  m_Object->PutWhole([&] {
    m_Object->Record().AddObject(m_Part, attribute.m_Key, sto_Format::Object, id, COLLECTION_NONE);
  });
}

void sto_MementoWrite::HoldObject(cls_FieldHandle const& field, unsigned int classId, std::int64_t id) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  CheckHeldClass(attribute, classId);
  PutObject(field, attribute, id);
}

bool sto_MementoWrite::HoldLater(cls_FieldHandle const& field, cls_LaterWrite object) {
  if (sto_IsCollectionClass(object.m_ClassId)) return false; // its field says which kind of collection it is
  Session().RaiseKept();
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  CheckHeldClass(attribute, object.m_ClassId);
  cls_IdentityMap::Tie const* tie = nullptr;
  m_Object->PutWhole([&] { tie = &Session().TieOf(object.m_Uid); });
  PutObject(field, attribute, tie->Id());
  m_Object->PutWhole([&] {
    Session().Save().AddLater({std::move(object), m_Object->Id(), &m_Class.Metadata(), attribute.m_Declared},
                              *tie);
  });
  return true;
}

void sto_WriteLaterObject(sto_Session& session, sto_LaterWrite const& object) {
  void const* const address = object.m_Object.m_Object.get();
  cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const* at) {
    std::int64_t id = 0;
    std::unique_ptr<sto_MementoWrite> memento =
        sto_MementoWrite::ForObject(session, classId, uid, 1, {at, object.m_Holder}, id);
    if (memento != nullptr && object.m_Attribute != nullptr)
      memento->HeldBy(*object.m_HolderClass, *object.m_Attribute);
    return memento.release();
  });
  cls_WriteVisitor const visitor(request, address);
  object.m_Object.m_Write(address, visitor);
}

void sto_WriteObjectAgain(sto_Session& session, std::int64_t id, void const* object,
                          void (*write)(void const* object, cls_WriteVisitor const& visitor)) {
  cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const* at) {
    cls_IdentityMap::Tie const* const tie = session.Identities().Find(uid);
    if (tie == nullptr || tie->Id() != id)
      session.Raise(sto_ErrorKind::Misuse,
                    "Object " + std::to_string(id) +
                        " was assigned a temporary or moved object, and so became that object. Assign a "
                        "copy: one that has a name.");
    std::int64_t written = 0;
    return sto_MementoWrite::ForObject(session, classId, uid, 1, {at, 0}, written).release();
  });
  cls_WriteVisitor const visitor(request, object);
  write(object, visitor);
}

cls_MementoWrite* sto_MementoWrite::MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                                         cls_Uid const& uid,
                                                         cow_COW<int, cow_Direct<int>> const* cow) {
  // Holders of one payload hold one object; a cloned payload is another object.
  return MakeFieldWriteObj(field, classId, uid, cow == nullptr ? nullptr : cow->ConstPtr());
}

void sto_MementoWrite::CheckHeldClass(sto_ClassInUse::Attribute const& attribute,
                                      unsigned int classId) const {
  if (classId == cls_BlobTypeId) return;
  bool const isDeclaredCollection = attribute.m_Declared->m_CollectionType != COLLECTION_NONE;
  if (isDeclaredCollection == sto_IsCollectionClass(classId)) return;
  cls_FieldHandle const field(attribute.m_FieldId, attribute.m_Name);
  if (!isDeclaredCollection)
    RaiseAttribute(field, sto_MisdeclaredText(*attribute.m_Declared,
                                              classId == cls_InternalListTypeId ? "list" : "map"));
  sto_Written const written{"an object of class " + Session().Catalogue().ClassName(classId), ATTR_OBJECT,
                            COLLECTION_NONE};
  RaiseAttribute(field, sto_MisdeclaredText(*attribute.m_Declared, written));
}

cls_MementoWrite* sto_MementoWrite::MakeBaseWriteObj(unsigned int classId, cls_Uid const& uid) {
  if (m_HasBase)
    Session().Raise(sto_ErrorKind::Misuse, "A second base-class part is written for " + m_Object->Describe() +
                                               ": " + Session().Catalogue().DescribeClass(classId) + ".");
  cls_ClassMetadata const& derived = m_Class.Metadata();
  if (classId != derived.BaseClassId())
    Session().Raise(sto_ErrorKind::Misuse,
                    m_Object->Describe() + ": Class " + std::string(derived.Name().View()) +
                        " writes a base-class part of class " + Session().Catalogue().ClassName(classId) +
                        ", which is not the base class of its metadata.");
  m_HasBase = true;
  std::unique_ptr<sto_MementoWrite> base;
  m_Object->PutWhole([&] {
    std::int64_t const id = Session().TieOf(uid).Id();
    sto_ClassInUse& inUse = Session().BaseToWrite(m_Class);
    std::size_t const part = m_Object->AddBasePart(inUse, id);
    base.reset(new (Session()) sto_MementoWrite(m_Object, part, inUse));
  });
  return base.release();
}

template <class Text>
inline void sto_MementoWrite::PutText(cls_FieldHandle const& field, sto_Format::ValueTag tag, Text text) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  m_Object->PutWhole([&] {
    CheckTag(field, attribute, tag);
    m_Object->Record().AddText(m_Part, attribute.m_Key, text);
  });
}

template <class T> void sto_MementoWrite::WriteScalar(cls_FieldHandle const& field, T const& value) {
  if constexpr (std::is_same_v<T, cow_String>) {
    if (value.HasText())
      PutText(field, sto_Format::Text, sto_AsBytes(value.View()));
    else
      PutText(field, sto_Format::NoText, std::nullopt);
  } else if constexpr (std::is_same_v<T, bool>) {
    PutValue(field, sto_Format::Bool, [value](sto_ValueWriter& writer) { writer.U8(value ? 1 : 0); });
  } else {
    WriteNumber(field, TagOf<T>, value);
  }
}

void sto_MementoWrite::WriteEnum(cls_FieldHandle const& field, int const& value) {
  WriteNumber(field, sto_Format::Enum, value);
}
void sto_MementoWrite::WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) {
  std::int64_t id = 0;
  m_Object->PutWhole([&] { id = Session().TieOf(uid).Id(); });
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  m_Object->PutWhole([&] {
    CheckTag(field, attribute, sto_Format::Reference);
    m_Object->Record().AddObject(m_Part, attribute.m_Key, sto_Format::Reference, id);
  });
}
void sto_MementoWrite::WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  auto const size = static_cast<std::size_t>(std::max(0, sizeBytes));
  m_Object->PutWhole([&] {
    CheckTag(field, attribute, sto_Format::Bytes);
    m_Object->Record().AddBytes(m_Part, attribute.m_Key, {static_cast<std::byte const*>(bytes), size});
  });
}

void sto_MementoWrite::CheckBuilder(sto_CollectionShape const& shape) const {
  Session().RaiseKept();
  if (Session().Collections().Find(m_Object->Id()) != nullptr)
    Session().Raise(sto_ErrorKind::Conflict, std::string("The ") + (shape.IsMap() ? "map" : "list") + " of " +
                                                 m_Object->Describe() +
                                                 " is open as a bulk array and cannot "
                                                 "be replaced.");
  m_Object->CheckShape(shape);
}

template <class T> cls_WriteListPrim<T>* sto_MementoWrite::MakeListOf(T const*, int width) {
  CheckBuilder(sto_CollectionShape::List(sto_ElementCodec<T>::ElementType));
  return new sto_ListWriter<T>(m_Object, width);
}

template <class K, class T> cls_WriteMapOf<K, T>* sto_MementoWrite::MakeMapOf(T const*) {
  CheckBuilder(sto_MapShape<K, T>());
  return new sto_MapWriter<K, T>(m_Object);
}

template <class K> cls_WriteObjectMapOf<K>* sto_MementoWrite::MakeObjectMapOf() {
  CheckBuilder(sto_MapShape<K, sto_ObjectId>());
  return new sto_ObjectMapWriter<K>(m_Object);
}

cls_WriteListObj* sto_MementoWrite::MakeWriteListObj() {
  CheckBuilder(sto_CollectionShape::List(sto_Format::ElementObject));
  return new sto_ObjectListWriter(m_Object);
}
cls_WriteIntTableInt* sto_MementoWrite::MakeWriteIntTableInt() {
  CheckBuilder(sto_IntTableShape());
  return new sto_IntTableWriter(m_Object);
}

template <class T> cls_AgentListPrim<T>* sto_MementoWrite::MakeListAgentOf(T const*, int sizeHint) {
  Session().RaiseKept();
  Session().Save().Check();
  if (m_Class.Metadata().ClassId() != cls_InternalListTypeId)
    Session().Raise(sto_ErrorKind::Misuse, "A bulk array is written into " + m_Object->Describe() +
                                               ", which is no list: give it a field of its own.");
  m_Object->NoteAgent();
  return sto_AgentFactory::SavedList<T>(Session(), m_Object->Id(), sizeHint);
}

cls_AgentListPrim<long long>* sto_MementoWrite::MakeMoreListAgent(long long const* tag, int sizeHint) {
  return MakeListAgentOf(tag, sizeHint);
}
cls_AgentListPrim<unsigned long long>* sto_MementoWrite::MakeMoreListAgent(unsigned long long const* tag,
                                                                           int sizeHint) {
  return MakeListAgentOf(tag, sizeHint);
}
cls_AgentListPrim<cls_Complex<float>>* sto_MementoWrite::MakeMoreListAgent(cls_Complex<float> const* tag,
                                                                           int sizeHint) {
  return MakeListAgentOf(tag, sizeHint);
}
cls_AgentListPrim<cls_Complex<double>>* sto_MementoWrite::MakeMoreListAgent(cls_Complex<double> const* tag,
                                                                            int sizeHint) {
  return MakeListAgentOf(tag, sizeHint);
}

void sto_MementoWrite::PrepareObjectAgent(sto_CollectionShape const& shape, unsigned int classId) {
  Session().RaiseKept();
  Session().Save().Check();
  if (m_Class.Metadata().ClassId() != classId)
    Session().Raise(sto_ErrorKind::Misuse, "A " + shape.Name() + " is written into " + m_Object->Describe() +
                                               ", which is none: give it a field of its own.");
  m_Object->CheckShape(shape);
  m_Object->NoteAgent();
}

cls_AgentListObj* sto_MementoWrite::MakeAgentListObj(int sizeHint) {
  PrepareObjectAgent(sto_CollectionShape::List(sto_Format::ElementObject), cls_InternalListTypeId);
  return sto_AgentFactory::SavedObjectList(Session(), m_Object->Id(), sizeHint, m_Object->Depth());
}
template <class K> cls_AgentMapKey2Obj<K>* sto_MementoWrite::MakeObjectMapAgentOf(K const*, int sizeHint) {
  PrepareObjectAgent(sto_MapShape<K, sto_ObjectId>(), cls_InternalMapTypeId);
  return sto_AgentFactory::SavedObjectMap<K>(Session(), m_Object->Id(), sizeHint, m_Object->Depth());
}

cls_AgentBlob* sto_MementoWrite::MakeAgentBlob() {
  Session().RaiseKept();
  Session().Save().Check();
  if (m_Class.Metadata().ClassId() != cls_BlobTypeId)
    Session().Raise(sto_ErrorKind::Misuse, "A blob is written into " + m_Object->Describe() +
                                               ", which is none: give it a field of its own.");
  return sto_AgentFactory::SavedBlob(Session(), m_Object->Id());
}

void sto_MementoWrite::CheckCollectionType(cls_CollectionType type, cow_String const& name) {
  sto_ClassInUse::Attribute const& attribute = Attribute(cls_FieldHandle(name));
  if (!cls_CollectionsMatch(type, attribute.m_Declared->m_CollectionType))
    RaiseAttribute(cls_FieldHandle(name),
                   sto_MisdeclaredText(*attribute.m_Declared, sto_Written::Collection(type)));
  sto_FieldKey const key = attribute.m_Key;
  if (!m_Object->Record().HasField(m_Part, key))
    return; // no field to record it with; the declaration was checked above
  bool const fits = type >= 0 && type <= 0xFF;
  if (!fits || !m_Object->Record().SetCollectionCode(m_Part, key, static_cast<std::uint8_t>(type)))
    Session().Raise(sto_ErrorKind::Misuse,
                    "Attribute " + std::string(name.View()) + " of " + m_Object->Describe() +
                        " is no collection that could be of type " + sto_CollectionTypeName(type) + ".");
}

bool sto_MementoWrite::CopyBranch(cls_AgentProxy* proxy, cls_FieldHandle const& field) {
  return proxy != nullptr && proxy->Transfer(sto_StorageType(), this, field);
}

template class cls_TypedMementoWrite<sto_MementoWrite>;
template class cls_TypedWritesMoreLists<sto_MementoWrite>;

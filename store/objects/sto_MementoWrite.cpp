#include "store/objects/sto_MementoWrite.h"

#include <algorithm>

#include "metadata/cls_CollectionType.h"
#include "persist/backend/cls_AgentProxy.h"
#include "store/base/sto_StorageType.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_TagFits.h"
#include "store/format/sto_TypeNames.h"
#include "store/objects/sto_AgentFactory.h"
#include "store/objects/sto_ListWriter.h"
#include "store/objects/sto_MapWriter.h"
#include "store/objects/sto_ObjectListWriter.h"

std::unique_ptr<sto_MementoWrite> sto_MementoWrite::ForObject(sto_Session& session, unsigned int classId,
                                                              cls_Uid const& uid, int depth,
                                                              sto_Reach::Occurrence const& occurrence,
                                                              std::int64_t& id) {
  session.RaiseKept();
  session.Save().Check();
  try {
    sto_IdentityMap::Tie const& tie = session.TieOf(uid);
    id = tie.Id();
    bool const isNew = session.Save().IsNew(id);
    sto_Reach::Meeting const meeting = sto_IsCollectionClass(classId)
                                           ? session.Save().Reach().MeetCollection(tie, occurrence, isNew)
                                           : session.Save().Reach().Meet(tie, occurrence, isNew);
    if (!meeting.m_IsWritten) return nullptr;
    sto_ClassInUse& inUse = session.ClassToWrite(classId);
    return std::make_unique<sto_MementoWrite>(
        std::make_shared<sto_RecordInProgress>(session, id, inUse, depth, occurrence, meeting), 0, inUse);
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

sto_ClassInUse::Attribute const& sto_MementoWrite::Attribute(cls_FieldHandle const& field) {
  if (sto_ClassInUse::Attribute const* const known = m_Class.Find(field)) return *known;
  cls_AttributeMetadata const* const declared = sto_FindDeclaration(m_Class.Metadata(), field);
  if (declared == nullptr) RaiseAttribute(field, "is not declared in the class's metadata");
  Session().Save().Check();
  sto_ClassInUse::Attribute const* added = nullptr;
  m_Object->PutWhole([&] { added = &m_Class.Add(field, Session().KeyToWrite(field), *declared); });
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

void sto_MementoWrite::CheckTag(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                                sto_Format::ValueTag tag) const {
  bool const isCollection = attribute.m_Declared->m_CollectionType != COLLECTION_NONE;
  if (isCollection ? tag != sto_Format::Object : !sto_TagFits(tag, attribute.m_Declared->m_Type))
    RaiseAttribute(field, sto_MisdeclaredText(*attribute.m_Declared, sto_Written::Value(tag)));
}

template <class T>
void sto_MementoWrite::WriteNumber(cls_FieldHandle const& field, sto_Format::ValueTag tag, T value) {
  PutValue(field, tag, [value](sto_ByteWriter& writer) { writer.Number(value); });
}

int sto_MementoWrite::FieldIsPresent(cls_FieldHandle const& field) const {
  std::optional<sto_FieldKey> const key = Session().KeyToRead(field); // a name is not added for a question
  return key && m_Object->Record().HasField(m_Part, *key) ? 1 : 0;
}

cls_MementoWrite* sto_MementoWrite::MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId,
                                                      cls_Uid const& uid, void const* object) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  bool const isSingle = attribute.m_Declared->m_CollectionType == COLLECTION_NONE;
  // A list or a map in an attribute that is declared for a single value is refused when it is known what its
  // elements are, for the message.
  bool const isRefusedLater = isSingle && sto_IsCollectionClass(classId) && classId != cls_BlobTypeId;
  if (isRefusedLater)
    Session().Save().MarkIncomplete(); // whatever is written after it
  else
    CheckHeldClass(attribute, classId);
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> child =
      ForObject(Session(), classId, uid, m_Object->Depth() + 1, {object, m_Object->Id()}, id);
  if (child != nullptr) child->m_Object->HeldBy(m_Class.Metadata(), *attribute.m_Declared);
  if (!isRefusedLater) PutObject(field, attribute, id);
  return child.release();
}

void sto_MementoWrite::PutObject(cls_FieldHandle const& field, sto_ClassInUse::Attribute const& attribute,
                                 std::int64_t id) {
  CheckTag(field, attribute, sto_Format::Object);
  m_Object->PutField(m_Part, attribute.m_Key, sto_Format::Object, [id](sto_ByteWriter& writer) {
    writer.Number(id);
    writer.U8(COLLECTION_NONE);
  });
}

void sto_MementoWrite::HoldObject(cls_FieldHandle const& field, unsigned int classId, std::int64_t id) {
  sto_ClassInUse::Attribute const& attribute = Attribute(field);
  CheckHeldClass(attribute, classId);
  PutObject(field, attribute, id);
}

cls_MementoWrite* sto_MementoWrite::MakeFieldWriteObjCow(cls_FieldHandle const& field, unsigned int classId,
                                                         cls_Uid const& uid,
                                                         cow_COW<int, cow_Direct<int>> const* cow) {
  // Holders of one payload hold one object; a payload that was cloned is another one.
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
    sto_ClassInUse& inUse = Session().ClassToWrite(classId);
    std::size_t const part = m_Object->AddBasePart(inUse, id);
    base = std::make_unique<sto_MementoWrite>(m_Object, part, inUse);
  });
  return base.release();
}

void sto_MementoWrite::Write(cls_FieldHandle const& field, bool const& value) {
  PutValue(field, sto_Format::Bool, [value](sto_ByteWriter& writer) { writer.U8(value ? 1 : 0); });
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, cow_String const& value) {
  if (!value.HasText()) {
    PutValue(field, sto_Format::NoText, [](sto_ByteWriter&) {});
    return;
  }
  WriteBytesAs(field, sto_Format::Text, value.Chars(), value.Length());
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, float const& value) {
  WriteNumber(field, sto_Format::Float, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, double const& value) {
  WriteNumber(field, sto_Format::Double, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, unsigned int const& value) {
  WriteNumber(field, sto_Format::UInt32, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, int const& value) {
  WriteNumber(field, sto_Format::Int32, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, signed char const& value) {
  WriteNumber(field, sto_Format::Int8, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, short const& value) {
  WriteNumber(field, sto_Format::Int16, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, unsigned short const& value) {
  WriteNumber(field, sto_Format::UInt16, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, long long const& value) {
  WriteNumber(field, sto_Format::Int64, value);
}
void sto_MementoWrite::Write(cls_FieldHandle const& field, unsigned long long const& value) {
  WriteNumber(field, sto_Format::UInt64, value);
}
void sto_MementoWrite::WriteEnum(cls_FieldHandle const& field, int const& value) {
  WriteNumber(field, sto_Format::Enum, value);
}
void sto_MementoWrite::WriteReference(cls_FieldHandle const& field, cls_Uid const& uid) {
  std::int64_t id = 0;
  m_Object->PutWhole([&] { id = Session().TieOf(uid).Id(); });
  WriteNumber(field, sto_Format::Reference, id);
}
void sto_MementoWrite::WriteBytes(cls_FieldHandle const& field, void const* bytes, int sizeBytes) {
  WriteBytesAs(field, sto_Format::Bytes, bytes, sizeBytes);
}

void sto_MementoWrite::WriteBytesAs(cls_FieldHandle const& field, sto_Format::ValueTag tag, void const* bytes,
                                    int sizeBytes) {
  auto const size = static_cast<std::size_t>(std::max(0, sizeBytes));
  PutValue(field, tag, [&](sto_ByteWriter& writer) {
    writer.Varint(size);
    writer.Raw(bytes, size);
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

template <class T> cls_WriteListPrim<T>* sto_MementoWrite::MakeList(int width) {
  CheckBuilder(sto_CollectionShape::List(sto_ElementCodec<T>::ElementType));
  return new sto_ListWriter<T>(m_Object, width);
}

template <class K, class T> auto sto_MementoWrite::MakeMap() const {
  CheckBuilder(sto_MapShape<K, T>());
  return new sto_MapWriter<K, T>(m_Object);
}

template <class K> auto sto_MementoWrite::MakeObjectMap() const {
  CheckBuilder(sto_MapShape<K, sto_ObjectId>());
  return new sto_ObjectMapWriter<K>(m_Object);
}

cls_WriteListObj* sto_MementoWrite::MakeWriteListObj() {
  CheckBuilder(sto_CollectionShape::List(sto_Format::ElementObject));
  return new sto_ObjectListWriter(m_Object);
}
cls_WriteMapInt2Obj* sto_MementoWrite::MakeWriteMapInt2Obj() {
  return MakeObjectMap<int>();
}
cls_WriteMapString2Obj* sto_MementoWrite::MakeWriteMapString2Obj() {
  return MakeObjectMap<cow_String>();
}
cls_WriteIntTableInt* sto_MementoWrite::MakeWriteIntTableInt() {
  CheckBuilder(sto_IntTableShape());
  return new sto_IntTableWriter(m_Object);
}

cls_WriteMapInt2Prim<cow_String>* sto_MementoWrite::MakeWriteMapInt2Prim(cow_String const*) {
  return MakeMap<int, cow_String>();
}
cls_WriteMapInt2Prim<float>* sto_MementoWrite::MakeWriteMapInt2Prim(float const*) {
  return MakeMap<int, float>();
}
cls_WriteMapInt2Prim<double>* sto_MementoWrite::MakeWriteMapInt2Prim(double const*) {
  return MakeMap<int, double>();
}
cls_WriteMapInt2Prim<unsigned int>* sto_MementoWrite::MakeWriteMapInt2Prim(unsigned int const*) {
  return MakeMap<int, unsigned int>();
}
cls_WriteMapInt2Prim<int>* sto_MementoWrite::MakeWriteMapInt2Prim(int const*) {
  return MakeMap<int, int>();
}
cls_WriteMapString2Prim<unsigned int>* sto_MementoWrite::MakeWriteMapString2Prim(unsigned int const*) {
  return MakeMap<cow_String, unsigned int>();
}
cls_WriteMapString2Prim<cow_String>* sto_MementoWrite::MakeWriteMapString2Prim(cow_String const*) {
  return MakeMap<cow_String, cow_String>();
}
cls_WriteMapString2Prim<int>* sto_MementoWrite::MakeWriteMapString2Prim(int const*) {
  return MakeMap<cow_String, int>();
}
cls_WriteMapString2Prim<float>* sto_MementoWrite::MakeWriteMapString2Prim(float const*) {
  return MakeMap<cow_String, float>();
}
cls_WriteMapString2Prim<double>* sto_MementoWrite::MakeWriteMapString2Prim(double const*) {
  return MakeMap<cow_String, double>();
}

template <class Make>
auto sto_MementoWrite::MakeInField(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                   Make make) {
  // The builder keeps the collection's record until it is deleted itself.
  std::unique_ptr<cls_MementoWrite> const child(MakeFieldWriteObj(field, classId, uid, nullptr));
  return make(*child);
}

cls_WriteListObj* sto_MementoWrite::MakeFieldWriteListObj(cls_FieldHandle const& field, cls_Uid const& uid) {
  return MakeInField(field, cls_InternalListTypeId, uid,
                     [](cls_MementoWrite& list) { return list.MakeWriteListObj(); });
}
cls_WriteMapInt2Obj* sto_MementoWrite::MakeFieldWriteMapInt2Obj(cls_FieldHandle const& field,
                                                                cls_Uid const& uid) {
  return MakeInField(field, cls_InternalMapTypeId, uid,
                     [](cls_MementoWrite& map) { return map.MakeWriteMapInt2Obj(); });
}
cls_WriteMapString2Obj* sto_MementoWrite::MakeFieldWriteMapString2Obj(cls_FieldHandle const& field,
                                                                      cls_Uid const& uid) {
  return MakeInField(field, cls_InternalMapTypeId, uid,
                     [](cls_MementoWrite& map) { return map.MakeWriteMapString2Obj(); });
}
cls_WriteIntTableInt* sto_MementoWrite::MakeFieldWriteIntTableInt(cls_FieldHandle const& field,
                                                                  cls_Uid const& uid) {
  return MakeInField(field, cls_InternalMapTypeId, uid,
                     [](cls_MementoWrite& table) { return table.MakeWriteIntTableInt(); });
}

template <class T> cls_AgentListPrim<T>* sto_MementoWrite::MakeAgent(int sizeHint) {
  Session().RaiseKept();
  Session().Save().Check();
  if (m_Class.Metadata().ClassId() != cls_InternalListTypeId)
    Session().Raise(sto_ErrorKind::Misuse, "A bulk array is written into " + m_Object->Describe() +
                                               ", which is no list: give it a field of its own.");
  m_Object->NoteAgent();
  return sto_AgentFactory::SavedList<T>(Session(), m_Object->Id(), sizeHint);
}

cls_AgentListPrim<bool>* sto_MementoWrite::MakeAgentListPrim(bool const*, int sizeHint) {
  return MakeAgent<bool>(sizeHint);
}
cls_AgentListPrim<double>* sto_MementoWrite::MakeAgentListPrim(double const*, int sizeHint) {
  return MakeAgent<double>(sizeHint);
}
cls_AgentListPrim<float>* sto_MementoWrite::MakeAgentListPrim(float const*, int sizeHint) {
  return MakeAgent<float>(sizeHint);
}
cls_AgentListPrim<int>* sto_MementoWrite::MakeAgentListPrim(int const*, int sizeHint) {
  return MakeAgent<int>(sizeHint);
}
cls_AgentListPrim<cow_String>* sto_MementoWrite::MakeAgentListPrim(cow_String const*, int sizeHint) {
  return MakeAgent<cow_String>(sizeHint);
}
cls_AgentListPrim<unsigned int>* sto_MementoWrite::MakeAgentListPrim(unsigned int const*, int sizeHint) {
  return MakeAgent<unsigned int>(sizeHint);
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

template <class K> cls_AgentMapKey2Obj<K>* sto_MementoWrite::MakeObjectMapAgent(int sizeHint) {
  PrepareObjectAgent(sto_MapShape<K, sto_ObjectId>(), cls_InternalMapTypeId);
  return sto_AgentFactory::SavedObjectMap<K>(Session(), m_Object->Id(), sizeHint, m_Object->Depth());
}

cls_AgentListObj* sto_MementoWrite::MakeAgentListObj(int sizeHint) {
  PrepareObjectAgent(sto_CollectionShape::List(sto_Format::ElementObject), cls_InternalListTypeId);
  return sto_AgentFactory::SavedObjectList(Session(), m_Object->Id(), sizeHint, m_Object->Depth());
}
cls_AgentMapKey2Obj<int>* sto_MementoWrite::MakeAgentMapKey2Obj(int const*, int sizeHint) {
  return MakeObjectMapAgent<int>(sizeHint);
}
cls_AgentMapKey2Obj<cow_String>* sto_MementoWrite::MakeAgentMapKey2Obj(cow_String const*, int sizeHint) {
  return MakeObjectMapAgent<cow_String>(sizeHint);
}

cls_AgentBlob* sto_MementoWrite::MakeAgentBlob() {
  Session().RaiseKept();
  Session().Save().Check();
  if (m_Class.Metadata().ClassId() != cls_BlobTypeId)
    Session().Raise(sto_ErrorKind::Misuse, "A blob is written into " + m_Object->Describe() +
                                               ", which is none: give it a field of its own.");
  return sto_AgentFactory::SavedBlob(Session(), m_Object->Id());
}

cls_WriteListPrim<bool>* sto_MementoWrite::MakeWriteListPrim(bool const*, int width) {
  return MakeList<bool>(width);
}
cls_WriteListPrim<cow_String>* sto_MementoWrite::MakeWriteListPrim(cow_String const*, int width) {
  return MakeList<cow_String>(width);
}
cls_WriteListPrim<float>* sto_MementoWrite::MakeWriteListPrim(float const*, int width) {
  return MakeList<float>(width);
}
cls_WriteListPrim<double>* sto_MementoWrite::MakeWriteListPrim(double const*, int width) {
  return MakeList<double>(width);
}
cls_WriteListPrim<unsigned int>* sto_MementoWrite::MakeWriteListPrim(unsigned int const*, int width) {
  return MakeList<unsigned int>(width);
}
cls_WriteListPrim<int>* sto_MementoWrite::MakeWriteListPrim(int const*, int width) {
  return MakeList<int>(width);
}

void sto_MementoWrite::CheckCollectionType(cls_CollectionType type, cow_String const& name) {
  sto_ClassInUse::Attribute const& attribute = Attribute(cls_FieldHandle(name));
  if (!cls_CollectionsMatch(type, attribute.m_Declared->m_CollectionType))
    RaiseAttribute(cls_FieldHandle(name),
                   sto_MisdeclaredText(*attribute.m_Declared, sto_Written::Collection(type)));
  sto_FieldKey const key = attribute.m_Key;
  if (!m_Object->Record().HasField(m_Part, key))
    return; // the declaration was all that there is to compare with
  bool const fits = type >= 0 && type <= 0xFF;
  if (!fits || !m_Object->Record().SetCollectionCode(m_Part, key, static_cast<std::uint8_t>(type)))
    Session().Raise(sto_ErrorKind::Misuse,
                    "Attribute " + std::string(name.View()) + " of " + m_Object->Describe() +
                        " is no collection that could be of type " + sto_CollectionTypeName(type) + ".");
}

bool sto_MementoWrite::CopyBranch(cls_AgentProxy* proxy, cls_FieldHandle const& field) {
  return proxy != nullptr && proxy->Transfer(sto_StorageType(), this, field);
}

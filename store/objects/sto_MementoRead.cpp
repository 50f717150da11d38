#include "store/objects/sto_MementoRead.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_TypeNames.h"
#include "store/objects/sto_AgentFactory.h"
#include "store/objects/sto_IntegerListReader.h"
#include "store/objects/sto_ListReader.h"
#include "store/objects/sto_MapReader.h"
#include "store/objects/sto_ObjectListReader.h"
#include "store/session/sto_DeletedObjects.h"
#include "store/session/sto_HolderText.h"

namespace {

/// Whether a record is what remains of a deleted object.
bool IsDeleted(sto_RecordRef const& record) {
  return record != nullptr && record->ClassId() == sto_DeletedClassId;
}

/// NotFound for a deleted object, Damaged for one that is missing; `what` leads to it.
[[noreturn]] void RaiseNotThere(sto_Session const& session, std::int64_t id, std::string const& what,
                                sto_RecordRef const& record) {
  session.Raise(IsDeleted(record) ? sto_ErrorKind::NotFound : sto_ErrorKind::Damaged,
                "Object " + std::to_string(id) + ", " + what +
                    (IsDeleted(record) ? ", was deleted." : ", is missing."));
}

cls_StoredMementoType<sto_MementoRead> const s_DeclaredType;

std::string NameOf(cls_FieldHandle const& field) {
  return field.Name().IsEmpty() ? "number " + std::to_string(field.FieldId())
                                : std::string(field.Name().View());
}

bool IsAnyInt32(std::uint8_t tag) {
  return tag == sto_Format::Int32 || tag == sto_Format::UInt32 || tag == sto_Format::Enum;
}

/// Calls `use` with the stored integer in its own type; false if the field is not an integer.
template <class Use> bool WithInteger(sto_Field const& field, Use use) {
  sto_ByteReader reader(field.m_Payload);
  switch (field.m_Tag) {
  case sto_Format::Int8:
    use(reader.Number<std::int8_t>());
    return true;
  case sto_Format::Int16:
    use(reader.Number<std::int16_t>());
    return true;
  case sto_Format::UInt16:
    use(reader.Number<std::uint16_t>());
    return true;
  case sto_Format::Int32:
  case sto_Format::Enum:
    use(reader.Number<std::int32_t>());
    return true;
  case sto_Format::UInt32:
    use(reader.Number<std::uint32_t>());
    return true;
  case sto_Format::Int64:
    use(reader.Number<std::int64_t>());
    return true;
  case sto_Format::UInt64:
    use(reader.Number<std::uint64_t>());
    return true;
  default:
    return false;
  }
}

/// The identity of a stored object, made in the place where it is kept.
struct StoredIdentity {
  cls_IdentityMap& m_Identities;
  std::int64_t m_Id;
  operator cls_Uid() const { return m_Identities.IdentityOf(m_Id); } // NOLINT(google-explicit-constructor)
};

/// The name of the requested integer type in messages.
template <class T> constexpr char const* IntegerName = nullptr;
template <> constexpr char const* IntegerName<signed char> = "8-bit integer";
template <> constexpr char const* IntegerName<short> = "16-bit integer";
template <> constexpr char const* IntegerName<unsigned short> = "unsigned 16-bit integer";
template <> constexpr char const* IntegerName<int> = "32-bit integer";
template <> constexpr char const* IntegerName<unsigned int> = "unsigned 32-bit integer";
template <> constexpr char const* IntegerName<long long> = "64-bit integer";
template <> constexpr char const* IntegerName<unsigned long long> = "unsigned 64-bit integer";

} // namespace

sto_Field const* sto_MementoRead::Search(cls_FieldHandle const& field) const {
  if (m_Part == nullptr) return nullptr;
  CheckBases();
  std::span<sto_Field const> const fields = m_Part->m_Fields;
  // Most objects read their attributes in the order of writing; some ask twice for one attribute.
  for (std::size_t const likely : {m_NextField, m_NextField - 1})
    if (likely < fields.size() && m_Session.Catalogue().IsKey(fields[likely].m_Key, field)) {
      m_NextField = likely + 1;
      return &fields[likely];
    }
  std::optional<sto_FieldKey> const key = m_Session.KeyToRead(field);
  if (!key) return nullptr;
  for (std::size_t index = 0; index < fields.size(); ++index) {
    if (!(fields[index].m_Key == *key)) continue;
    m_NextField = index + 1;
    return &fields[index];
  }
  return nullptr;
}

std::string sto_MementoRead::Describe() const {
  if (m_Record == nullptr) return "an object that is not stored";
  std::string text = "object " + std::to_string(Id());
  if (m_Part != nullptr)
    text += " (" + m_Session.Catalogue().DescribeClass(m_Part->m_ClassId) + " version " +
            std::to_string(m_Part->m_Version) + ")";
  return text;
}

void sto_MementoRead::CheckName(cls_FieldHandle const& field) const {
  unsigned int const classId = m_Part->m_ClassId;
  if (sto_IsCollectionClass(classId) || m_Session.Catalogue().IsDeclared(classId, field)) return;
  m_Session.Raise(sto_ErrorKind::Misuse, "Attribute " + NameOf(field) + " is read of " + Describe() +
                                             ", and no version of class " +
                                             m_Session.Catalogue().ClassName(classId) +
                                             " declares it, neither in the store nor in the program.");
}

void sto_MementoRead::CheckIdentity() const noexcept {
  bool const isObject = m_Record != nullptr && m_Part == m_Record->Parts().data();
  if (!isObject || m_Record->IsIdentityTaken() || std::uncaught_exceptions() > 0 ||
      !m_Session.Catalogue().Classes().IsOfProgram(m_Part->m_ClassId))
    return;
  try {
    m_Session.Raise(sto_ErrorKind::Misuse,
                    "A reading constructor of class " + m_Session.Catalogue().ClassName(m_Part->m_ClassId) +
                        " has read " + Describe() +
                        " and has not taken its identity (GetUid): saved again, it would be a new object.");
  } catch (...) {
    m_Session.Keep(std::current_exception());
  }
}

void sto_MementoRead::RaiseType(cls_FieldHandle const& field, std::uint8_t tag, char const* asked) const {
  m_Session.Raise(sto_ErrorKind::WrongClass, "Attribute " + NameOf(field) + " of " + Describe() +
                                                 " is stored as " + sto_ValueName(tag) +
                                                 " and cannot be read as " + asked + ".");
}

cow_String sto_MementoRead::DbId() {
  return cow_String(m_Session.Location());
}

void sto_MementoRead::NoteBuiltByMetadata() {
  if (m_IsRefused) m_IsRefused = !sto_MetadataKnowsBases(m_Session.Catalogue(), *m_Record);
}

cls_Uid const& sto_MementoRead::GetUid() {
  CheckBases();
  if (m_Part != nullptr && m_Part->m_Id == Id()) m_Record.Fill().NoteIdentityTaken();
  if (!m_Uid) {
    if (m_Part == nullptr)
      m_Uid.emplace();
    else
      m_Uid.emplace(StoredIdentity{m_Session.Identities(), m_Part->m_Id});
  }
  return *m_Uid;
}

int sto_MementoRead::FieldIsPresent(cls_FieldHandle const& field) const {
  return Find(field) == nullptr ? 0 : 1;
}

int sto_MementoRead::DataIsPresent(cls_FieldHandle const& field) const {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return 0;
  if (found->m_Tag != sto_Format::Reference) return 1;
  return m_Session.IsThere(found->m_ObjectId) ? 1 : 0;
}

void sto_MementoRead::RaiseNesting(sto_Session const& session, std::string const& holder) {
  session.Raise(sto_ErrorKind::Full, "Objects hold objects more than " +
                                         std::to_string(sto_Format::MaxNesting) + " deep (at " + holder +
                                         ").");
}

cls_MementoRead* sto_MementoRead::MakeFieldReadObj(cls_FieldHandle const& field) {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return new (m_Session) sto_MementoRead(m_Session, nullptr, m_Depth + 1);
  if (found->m_Tag != sto_Format::Object && found->m_Tag != sto_Format::Reference)
    RaiseType(field, found->m_Tag, "object");
  if (m_Depth + 1 > sto_Format::MaxNesting) RaiseNesting(m_Session, Describe());
  std::int64_t const id = found->m_ObjectId;
  sto_RecordRef record = m_Session.Records().ReadAny(id);
  if (IsDeleted(record) || (record == nullptr && found->m_Tag == sto_Format::Object))
    RaiseNotThere(m_Session, id, "which attribute " + NameOf(field) + " of " + Describe() + " holds", record);
  if (record != nullptr && sto_IsCollectionClass(record->ClassId()))
    m_Session.NoteHolder(id, m_Part->m_ClassId, field.Name().View());
  return new (m_Session) sto_MementoRead(m_Session, std::move(record), m_Depth + 1);
}

sto_RecordRef sto_MementoRead::ReadElement(sto_Session& session, std::int64_t id, int depth,
                                           Collection const& collection) {
  if (id == 0) return nullptr;
  if (depth > sto_Format::MaxNesting) RaiseNesting(session, collection.Describe());
  sto_RecordRef record = session.Records().ReadAny(id);
  if (IsDeleted(record) || record == nullptr)
    RaiseNotThere(session, id, "an element of " + collection.Describe(), record);
  return record;
}

cls_HeldObject sto_MementoRead::HeldIn(cls_FieldHandle const& field) const {
  sto_Field const* const found = FindToRead(field);
  bool const isObject =
      found != nullptr && (found->m_Tag == sto_Format::Object || found->m_Tag == sto_Format::Reference);
  if (!isObject) return {};
  return {&m_Session, found->m_ObjectId, Id(), field, m_Depth, 0, found->m_Tag == sto_Format::Reference};
}

std::int64_t sto_MementoRead::ObjectIn(cls_FieldHandle const& field) const {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return 0;
  if (found->m_Tag == sto_Format::Object) return found->m_ObjectId;
  if (found->m_Tag != sto_Format::Reference) RaiseType(field, found->m_Tag, "object");
  return m_Session.IsThere(found->m_ObjectId) ? found->m_ObjectId : 0;
}

cls_HeldObject sto_Session::HeldIn(cls_MementoRead& memento, cls_FieldHandle const& field) {
  if (typeid(memento) != typeid(sto_MementoRead)) return {}; // it passes on to one of ours, and may change it
  return static_cast<sto_MementoRead&>(memento).HeldIn(field);
}

cls_MementoRead* sto_MementoRead::AtPart(sto_Session& session, sto_RecordRef record, int depth, int part) {
  bool const has =
      static_cast<std::size_t>(part) < record->Parts().size(); // it may have been saved anew meanwhile
  sto_Part const* const at = has ? record->Parts().data() + part : nullptr;
  return new (session) sto_MementoRead(session, std::move(record), depth, at);
}

cls_HeldObject sto_MementoRead::Self() const {
  if (m_Part == nullptr) return {};
  return {&m_Session, Id(), Id(), {}, m_Depth, static_cast<int>(m_Part - m_Record->Parts().data())};
}

cls_HeldObject sto_Session::Self(cls_MementoRead& memento) {
  if (typeid(memento) != typeid(sto_MementoRead)) return {};
  return static_cast<sto_MementoRead&>(memento).Self();
}

cls_MementoRead* sto_Session::MakeReadObj(cls_HeldObject const& held) {
  sto_RecordRef record = m_Records.ReadAny(held.m_Id);
  bool const isThere = record != nullptr && !IsDeleted(record);
  if (!isThere && held.m_IsReference) return nullptr;
  if (!isThere) {
    std::string const holder = sto_HolderText(*this, held.m_Holder, held.m_Id);
    bool const isField = !held.m_Field.Name().IsEmpty() || held.m_Field.FieldId() >= 0;
    RaiseNotThere(*this, held.m_Id, isField ? "which " + holder + " holds" : holder, record);
  }
  if (held.m_Part == 0) return new (*this) sto_MementoRead(*this, std::move(record), held.m_Depth + 1);
  return sto_MementoRead::AtPart(*this, std::move(record), held.m_Depth + 1, held.m_Part);
}

cls_MementoRead* sto_MementoRead::Clone() {
  CheckBases();
  // A missing base part reads as an absent object; it must not expose the derived object's collections.
  sto_Part const* const base = m_Part == nullptr ? nullptr : m_Part + 1;
  if (base == nullptr || base == m_Record->Parts().data() + m_Record->Parts().size())
    return new (m_Session) sto_MementoRead(m_Session, nullptr, m_Depth);
  return new (m_Session) sto_MementoRead(*this, base);
}

template <class T>
T sto_MementoRead::ReadInteger(cls_FieldHandle const& field, T defaultValue, char const* asked) const {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return defaultValue;
  T value{};
  bool fits = false;
  bool const isInteger = WithInteger(*found, [&](auto stored) {
    fits = std::in_range<T>(stored) || (sizeof(T) == 4 && IsAnyInt32(found->m_Tag));
    value = static_cast<T>(stored); // NOLINT(bugprone-signed-char-misuse): the number, with its sign
  });
  if (!isInteger || !fits) RaiseType(field, found->m_Tag, asked);
  return value;
}

template <class T> T sto_MementoRead::ReadScalar(cls_FieldHandle const& field, T const& defaultValue) {
  if constexpr (std::is_integral_v<T> && !std::is_same_v<T, bool>) {
    return ReadInteger(field, defaultValue, IntegerName<T>);
  } else {
    sto_Field const* const found = FindToRead(field);
    return found == nullptr ? defaultValue : Decode<T>(field, *found);
  }
}

template <> bool sto_MementoRead::Decode<bool>(cls_FieldHandle const& field, sto_Field const& found) const {
  if (found.m_Tag != sto_Format::Bool) RaiseType(field, found.m_Tag, "bool");
  return sto_ByteReader(found.m_Payload).U8() != 0;
}
template <>
cow_String sto_MementoRead::Decode<cow_String>(cls_FieldHandle const& field, sto_Field const& found) const {
  if (found.m_Tag == sto_Format::NoText) return cow_String();
  if (found.m_Tag != sto_Format::Text) RaiseType(field, found.m_Tag, "string");
  return cow_String(sto_AsText(found.m_Payload));
}
template <> float sto_MementoRead::Decode<float>(cls_FieldHandle const& field, sto_Field const& found) const {
  if (found.m_Tag != sto_Format::Float) RaiseType(field, found.m_Tag, "float");
  return sto_ByteReader(found.m_Payload).Number<float>();
}
template <>
double sto_MementoRead::Decode<double>(cls_FieldHandle const& field, sto_Field const& found) const {
  sto_ByteReader reader(found.m_Payload);
  if (found.m_Tag == sto_Format::Float) return static_cast<double>(reader.Number<float>());
  if (found.m_Tag != sto_Format::Double) RaiseType(field, found.m_Tag, "double");
  return reader.Number<double>();
}

cls_StoredSigns::Sign sto_MementoRead::SignOf(cls_FieldHandle const& field) const noexcept {
  sto_Field const* const found = Search(field);
  if (found == nullptr) return Sign::Unknown;
  switch (found->m_Tag) {
  case sto_Format::Int8:
  case sto_Format::Int16:
  case sto_Format::Int32:
  case sto_Format::Int64:
    return Sign::Signed;
  case sto_Format::UInt8:
  case sto_Format::UInt16:
  case sto_Format::UInt32:
  case sto_Format::UInt64:
    return Sign::Unsigned;
  default:
    return Sign::Unknown;
  }
}

int sto_MementoRead::ReadEnum(cls_FieldHandle const& field) {
  return ReadInteger(field, 0, "enumeration");
}

cls_Uid sto_MementoRead::ReadReference(cls_FieldHandle const& field) {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return cls_Uid::AllocateUid();
  if (found->m_Tag != sto_Format::Object && found->m_Tag != sto_Format::Reference)
    RaiseType(field, found->m_Tag, "reference");
  return m_Session.Identities().IdentityOf(found->m_ObjectId);
}

int sto_MementoRead::ReadBytes(cls_FieldHandle const& field, void* bytes, int capacityBytes) {
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return -1;
  if (found->m_Tag != sto_Format::Bytes) RaiseType(field, found->m_Tag, "byte string");
  std::size_t const size =
      std::min(found->m_Payload.size(), static_cast<std::size_t>(std::max(0, capacityBytes)));
  if (size > 0) std::memcpy(bytes, found->m_Payload.data(), size);
  return static_cast<int>(found->m_Payload.size());
}

unsigned int sto_MementoRead::ClassId() const {
  return m_Part == nullptr ? 1 : m_Part->m_ClassId;
}

int sto_MementoRead::ClassVersion() const {
  return m_Part == nullptr ? -1 : m_Part->m_Version;
}

template <class T> cls_ReadListPrim<T>* sto_MementoRead::MakeListOf(T*) {
  if (m_Record == nullptr) return new sto_ListReader<T>(m_Session);
  char const* const asked = sto_ElementTypeName(sto_ElementCodec<T>::ElementType);
  if (!m_Record->List())
    m_Session.Raise(sto_ErrorKind::WrongClass,
                    "There is no list of " + std::string(asked) + " in " + Describe() + ".");
  if constexpr (std::integral<T> && !std::is_same_v<T, bool>)
    if (sto_AreIntegersConverted(m_Record->List()->m_ElementType, sto_ElementCodec<T>::ElementType))
      return new sto_IntegerListReader<T>(m_Session, Id(), m_Record);
  if (m_Record->List()->m_ElementType != sto_ElementCodec<T>::ElementType)
    m_Session.Raise(sto_ErrorKind::WrongClass, "The list of " + Describe() + " is stored as a list of " +
                                                   sto_ElementTypeName(m_Record->List()->m_ElementType) +
                                                   " and cannot be read as one of " + asked + ".");
  return new sto_ListReader<T>(m_Session, Id(), m_Record);
}

void sto_MementoRead::CheckShape(sto_CollectionShape const& asked) const {
  if (m_Record == nullptr) return;
  if (!m_Record->List() && !m_Record->Map())
    m_Session.Raise(sto_ErrorKind::WrongClass, "There is no " + asked.Name() + " in " + Describe() + ".");
  sto_CollectionShape const stored = m_Record->Map()
                                         ? sto_CollectionShape::Of(*m_Record->Map())
                                         : sto_CollectionShape::List(m_Record->List()->m_ElementType);
  if (stored == asked) return;
  m_Session.Raise(sto_ErrorKind::WrongClass, "The collection of " + Describe() + " is stored as a " +
                                                 stored.Name() + " and cannot be read as a " + asked.Name() +
                                                 ".");
}

template <class K, class T> cls_ReadMapOf<K, T>* sto_MementoRead::MakeMapOf(T*) {
  CheckShape(sto_MapShape<K, T>());
  return new sto_MapReader<K, T>(m_Session, m_Record);
}

template <class K> cls_ReadObjectMapOf<K>* sto_MementoRead::MakeObjectMapOf() {
  using Reader =
      std::conditional_t<std::is_same_v<K, int>, sto_ObjectMapReaderInt, sto_ObjectMapReaderString>;
  CheckShape(sto_MapShape<K, sto_ObjectId>());
  return new Reader(m_Session, m_Record, m_Depth);
}

cls_ReadListObj* sto_MementoRead::MakeReadListObj() {
  CheckShape(sto_CollectionShape::List(sto_Format::ElementObject));
  return new sto_ObjectListReader(m_Session, m_Record, m_Depth);
}
cls_ReadIntTableInt* sto_MementoRead::MakeReadIntTableInt() {
  CheckShape(sto_IntTableShape());
  return new sto_IntTableReader(m_Session, m_Record);
}

template <class T> cls_AgentListPrim<T>* sto_MementoRead::MakeListAgentOf(T*) {
  return sto_AgentFactory::StoredList<T>(m_Session, Id(), m_Record);
}

cls_AgentListPrim<long long>* sto_MementoRead::MakeMoreListAgent(long long* tag) {
  return MakeListAgentOf(tag);
}
cls_AgentListPrim<unsigned long long>* sto_MementoRead::MakeMoreListAgent(unsigned long long* tag) {
  return MakeListAgentOf(tag);
}
cls_AgentListPrim<cls_Complex<float>>* sto_MementoRead::MakeMoreListAgent(cls_Complex<float>* tag) {
  return MakeListAgentOf(tag);
}
cls_AgentListPrim<cls_Complex<double>>* sto_MementoRead::MakeMoreListAgent(cls_Complex<double>* tag) {
  return MakeListAgentOf(tag);
}

cls_AgentListObj* sto_MementoRead::MakeAgentListObj() {
  return sto_AgentFactory::StoredObjectList(m_Session, Id(), m_Record, m_Depth);
}
template <class K> cls_AgentMapKey2Obj<K>* sto_MementoRead::MakeObjectMapAgentOf(K*) {
  return sto_AgentFactory::StoredObjectMap<K>(m_Session, Id(), m_Record, m_Depth);
}

cls_AgentBlob* sto_MementoRead::MakeAgentBlob() {
  if (m_Record != nullptr && ClassId() != cls_BlobTypeId)
    m_Session.Raise(sto_ErrorKind::WrongClass, "There is no blob in " + Describe() + ".");
  return sto_AgentFactory::StoredBlob(m_Session, Id());
}

void sto_MementoRead::CheckCollectionType(cls_CollectionType type, cow_String const& name) {
  cls_FieldHandle const field(name);
  sto_Field const* const found = FindToRead(field);
  if (found == nullptr) return;
  if (found->m_Tag != sto_Format::Object) RaiseType(field, found->m_Tag, "collection");
  auto const stored = static_cast<cls_CollectionType>(found->m_Code);
  if (!cls_CollectionsMatch(stored, type))
    RaiseCollection(stored, name,
                    " and cannot be read as " + sto_CollectionTypeName(type) +
                        (stored == COLLECTION_NONE
                             ? "."
                             : ": read it as " + sto_Written::Collection(stored).m_What + "."));
  cls_ClassMetadata const* const metadata =
      m_Session.Catalogue().Classes().ForVersion(m_Part->m_ClassId, m_Part->m_Version);
  if (metadata == nullptr || metadata->Version() != m_Part->m_Version) return;
  cls_AttributeMetadata const* const declared = metadata->FindAttribute(name);
  if (declared == nullptr || cls_CollectionsMatch(stored, declared->m_CollectionType)) return;
  sto_Written const held = sto_Written::Collection(stored);
  int const elements = held.m_Type == sto_Written::AnyType ? declared->m_Type : held.m_Type;
  RaiseCollection(stored, name,
                  ", but its class is declared with " +
                      sto_DeclarationText(declared->m_Type, declared->m_CollectionType) + ": declare it as " +
                      sto_DeclarationText(elements, stored) + ".");
}

void sto_MementoRead::RaiseCollection(cls_CollectionType stored, cow_String const& name,
                                      std::string const& problem) const {
  m_Session.Raise(sto_ErrorKind::WrongClass, "Attribute " + std::string(name.View()) + " of " + Describe() +
                                                 " is stored as " + sto_CollectionTypeName(stored) + problem);
}

template class cls_TypedMementoRead<sto_MementoRead>;
template class cls_TypedReadsMoreLists<sto_MementoRead>;

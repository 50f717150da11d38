#include "store/inspect/sto_FieldInspector.h"

#include <algorithm>
#include <tuple>
#include <utility>

#include "persist/backend/cls_CollectionTypeIds.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_CollectionShape.h"
#include "store/format/sto_TypeNames.h"
#include "store/session/sto_DeletedObjects.h"

namespace {

/// The value of a field, with the functions that sto_NestedValue has for its leaves.
class FieldLeaf {
 public:
  explicit FieldLeaf(sto_Field const& field) noexcept : m_Field(field) {}

  template <class T> [[nodiscard]] T Number() const noexcept {
    return sto_ByteReader(m_Field.m_Payload).template Number<T>();
  }
  template <class T> [[nodiscard]] std::complex<T> Complex() const noexcept {
    sto_ByteReader reader(m_Field.m_Payload);
    T const real = reader.template Number<T>();
    return {real, reader.template Number<T>()};
  }
  [[nodiscard]] std::optional<std::string_view> Text() const noexcept {
    if (m_Field.m_Tag == sto_Format::NoText) return std::nullopt;
    return sto_AsText(m_Field.m_Payload);
  }
  [[nodiscard]] sto_ByteView Bytes() const noexcept { return m_Field.m_Payload; }
  [[nodiscard]] std::int64_t ObjectId() const noexcept { return m_Field.m_ObjectId; }

 private:
  sto_Field const& m_Field;
};

template <class T, class Leaf> sto_InspectedValue Signed(Leaf const& leaf) {
  return static_cast<std::int64_t>(leaf.template Number<T>());
}
template <class T, class Leaf> sto_InspectedValue Unsigned(Leaf const& leaf) {
  return static_cast<std::uint64_t>(leaf.template Number<T>());
}

template <class Leaf> sto_InspectedValue TextOf(Leaf const& leaf) {
  std::optional<std::string_view> const text = leaf.Text();
  return text ? sto_InspectedText(*text) : sto_InspectedText();
}

template <class Leaf> sto_InspectedValue ValueOf(std::uint8_t tag, Leaf const& leaf) {
  switch (tag) {
  case sto_Format::NoText:
  case sto_Format::Text:
    return TextOf(leaf);
  case sto_Format::Bool:
    return leaf.template Number<std::uint8_t>() != 0;
  case sto_Format::Int8:
    return Signed<std::int8_t>(leaf);
  case sto_Format::UInt8:
    return Unsigned<std::uint8_t>(leaf);
  case sto_Format::Int16:
    return Signed<std::int16_t>(leaf);
  case sto_Format::UInt16:
    return Unsigned<std::uint16_t>(leaf);
  case sto_Format::Int32:
  case sto_Format::Enum:
    return Signed<std::int32_t>(leaf);
  case sto_Format::UInt32:
    return Unsigned<std::uint32_t>(leaf);
  case sto_Format::Int64:
    return leaf.template Number<std::int64_t>();
  case sto_Format::UInt64:
    return leaf.template Number<std::uint64_t>();
  case sto_Format::Float:
    return static_cast<double>(leaf.template Number<float>());
  case sto_Format::Double:
    return leaf.template Number<double>();
  case sto_Format::ComplexFloat:
    return std::complex<double>(leaf.template Complex<float>());
  case sto_Format::ComplexDouble:
    return leaf.template Complex<double>();
  case sto_Format::Bytes:
    return std::vector<std::byte>(leaf.Bytes().begin(), leaf.Bytes().end());
  default:
    return sto_InspectedId{leaf.ObjectId()};
  }
}

/// A sto_Format::NestedKind in words.
char const* NameOfNode(std::uint8_t kind) noexcept {
  switch (kind) {
  case sto_Format::NestedStruct:
    return "struct";
  case sto_Format::NestedTuple:
    return "tuple";
  case sto_Format::NestedVariant:
    return "variant";
  case sto_Format::NestedOptional:
    return "optional";
  case sto_Format::NestedSequence:
    return "sequence";
  case sto_Format::NestedArray:
    return "array";
  default:
    return "map";
  }
}

/// What an object has beside its fields, and how much of it.
std::pair<sto_InspectedContent, std::int64_t> ContentOf(sto_Record const& record) noexcept {
  if (record.ClassId() == cls_BlobTypeId)
    return {sto_InspectedContent::Blob,
            sto_CollectionFields::BlobBytes.Read(record.Parts().front()).value_or(0)};
  if (record.List()) return {sto_InspectedContent::List, record.List()->m_Count};
  if (record.Map()) return {sto_InspectedContent::Map, record.Map()->m_Count};
  return {sto_InspectedContent::None, 0};
}

/// The description of a field's attribute; null if there is none.
sto_AttributeDescription const* Find(sto_ClassDescription const& described, std::string_view name,
                                     int number) {
  auto const& all = described.m_Attributes;
  auto const found = std::ranges::find_if(all, [&](sto_AttributeDescription const& attribute) {
    return name.empty() ? attribute.m_FieldId == number : attribute.m_Name == name;
  });
  return found == all.end() ? nullptr : &*found;
}

} // namespace

std::string sto_FieldInspector::KindOf(sto_Record const& record) {
  if (record.ClassId() == sto_DeletedClassId) return "deleted object";
  if (record.ClassId() == cls_BlobTypeId) return "blob";
  if (record.List()) return sto_CollectionShape::List(record.List()->m_ElementType).Name();
  if (record.Map()) return sto_CollectionShape::Of(*record.Map()).Name();
  return "object";
}

sto_InspectedObject sto_FieldInspector::Object(sto_Record const& record) {
  sto_InspectedObject object;
  object.m_Id = record.Parts().front().m_Id;
  object.m_Kind = KindOf(record);
  object.m_IsDeleted = record.ClassId() == sto_DeletedClassId;
  std::tie(object.m_Content, object.m_Count) = ContentOf(record);
  object.m_Parts.reserve(record.Parts().size());
  for (sto_Part const& part : record.Parts()) object.m_Parts.push_back(Part(part, object.m_Id));
  return object;
}

sto_InspectedPart sto_FieldInspector::Part(sto_Part const& part, std::int64_t object) {
  sto_InspectedPart inspected;
  inspected.m_ClassId = part.m_ClassId;
  inspected.m_ClassName = m_State.ClassName(part.m_ClassId, part.m_Version);
  inspected.m_Version = part.m_Version;
  inspected.m_Id = part.m_Id;
  // Collections and blobs have fields of this module, which are no attributes.
  if (sto_IsCollectionClass(part.m_ClassId)) return inspected;
  inspected.m_Fields.reserve(part.m_Fields.size());
  for (sto_Field const& field : part.m_Fields) inspected.m_Fields.push_back(Field(part, field, object));
  return inspected;
}

sto_InspectedField sto_FieldInspector::Field(sto_Part const& part, sto_Field const& field,
                                             std::int64_t object) {
  sto_InspectedField inspected;
  if (field.m_Tag == sto_Format::Nested) {
    sto_InspectedMember nested = Nested(sto_NestedValue(*field.m_Type, field.m_Payload, object));
    inspected.m_Kind = std::move(nested.m_Kind);
    inspected.m_Value = std::move(nested.m_Value);
  } else {
    inspected.m_Kind = KindOfLeaf(field.m_Tag, field.m_ObjectId);
    inspected.m_Value = ValueOf(field.m_Tag, FieldLeaf(field));
  }
  Describe(part, field, inspected);
  return inspected;
}

void sto_FieldInspector::Describe(sto_Part const& part, sto_Field const& field,
                                  sto_InspectedField& inspected) {
  std::string_view const name = m_Session.Catalogue().FieldName(part.m_ClassId, part.m_Version, field.m_Key);
  inspected.m_Name = name;
  inspected.m_Number = field.m_Key.m_NameId == 0 ? field.m_Key.m_FieldId : -1;
  sto_ClassDescription const* const described = m_State.Class(part.m_ClassId, part.m_Version);
  sto_AttributeDescription const* const attribute =
      described == nullptr ? nullptr : Find(*described, name, inspected.m_Number);
  if (attribute == nullptr) return;
  inspected.m_Number = attribute->m_FieldId;
  inspected.m_Unit = attribute->m_Unit;
  inspected.m_Default = attribute->m_Default;
  std::int64_t const* const value = std::get_if<std::int64_t>(&inspected.m_Value);
  if (value == nullptr) return;
  auto const enumerator =
      std::ranges::find(attribute->m_Enumerators, *value, &sto_EnumeratorDescription::m_Value);
  if (enumerator != attribute->m_Enumerators.end()) inspected.m_Enumerator = enumerator->m_Name;
}

std::string sto_FieldInspector::KindOfHeld(std::int64_t id) {
  std::string problem;
  if (!m_Session.Records().Fetch(id, m_Held, problem)) return "missing object";
  return problem.empty() ? KindOf(m_Held) : "object"; // whoever looks at it learns what is wrong
}

std::string sto_FieldInspector::KindOfLeaf(std::uint8_t tag, std::int64_t id) {
  return tag == sto_Format::Object ? KindOfHeld(id) : sto_ValueName(tag);
}

sto_InspectedMember sto_FieldInspector::Nested(sto_NestedValue const& value) {
  sto_InspectedMember member;
  std::uint8_t const kind = value.Kind();
  if (kind >= sto_Format::NestedStruct) {
    member.m_Kind = NameOfNode(kind);
    member.m_Value = Tree(value);
  } else {
    member.m_Kind = KindOfLeaf(kind, kind == sto_Format::Object ? value.ObjectId() : 0);
    member.m_Value = ValueOf(kind, value);
  }
  return member;
}

sto_InspectedTree sto_FieldInspector::Tree(sto_NestedValue const& value) {
  sto_InspectedTree tree;
  if (value.Kind() == sto_Format::NestedVariant) tree.m_Alternative = value.Alternative();
  tree.m_Members.reserve(value.Count());
  for (sto_NestedItems items = value.Items(); items.Next();) {
    sto_InspectedMember& member = tree.m_Members.emplace_back(Nested(items.Value()));
    if (value.Kind() != sto_Format::NestedStruct) continue;
    member.m_Name = m_Session.Catalogue().NameOf(items.Key().m_NameId);
    member.m_Number = items.Key().m_NameId == 0 ? items.Key().m_FieldId : -1;
  }
  return tree;
}

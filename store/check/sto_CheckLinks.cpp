#include "store/check/sto_CheckLinks.h"

#include <optional>
#include <utility>

#include "metadata/cls_AttributeMetadata.h"
#include "store/format/sto_CollectionShape.h"
#include "store/session/sto_DeletedObjects.h"

namespace {

/// What a shape says about the collection of its objects; empty if they have none.
std::optional<sto_CollectionShape> CollectionOf(sto_Shape const& shape) {
  switch (shape.m_Content.m_Kind) {
  case sto_Format::ContentNone:
    return std::nullopt;
  case sto_Format::ContentIntTable:
  case sto_Format::ContentTableInChunks:
    return sto_CollectionShape{sto_Format::ElementInt, sto_Format::KeyInt, true};
  case sto_Format::ContentMap:
  case sto_Format::ContentMapInChunks:
    return sto_CollectionShape{shape.m_Content.m_ElementType, shape.m_Content.m_KeyType};
  default:
    return sto_CollectionShape::List(shape.m_Content.m_ElementType);
  }
}

std::string ObjectText(std::int64_t id, std::string const& className) {
  return "bject " + std::to_string(id) + (className.empty() ? "" : " (" + className + ")");
}

} // namespace

unsigned int sto_CheckLinks::ClassIdOf(std::int64_t id) const {
  sto_Shape const* const shape = m_Catalogue.FindShape(m_Objects.ShapeOf(id));
  return shape == nullptr ? 0 : shape->m_Parts.front().m_ClassId;
}

std::string sto_CheckLinks::ClassOf(std::int64_t id) const {
  unsigned int const classId = ClassIdOf(id);
  return classId == 0 ? std::string() : m_Catalogue.ClassName(classId);
}

sto_CheckFinding sto_CheckLinks::Finding(sto_CheckKind kind, sto_CheckLink const& link,
                                         std::string const& end) const {
  sto_CheckFinding finding;
  finding.m_Kind = kind;
  finding.m_ObjectId = link.m_Holder;
  finding.m_Class =
      link.m_HolderClass != 0 ? m_Catalogue.ClassName(link.m_HolderClass) : ClassOf(link.m_Holder);
  if (link.m_Field != nullptr) finding.m_Attribute = m_Catalogue.AttributeName(*link.m_Field);
  std::string const where =
      link.m_Field == nullptr ? "among its elements" : "in attribute " + finding.m_Attribute;
  finding.m_Text = "O" + ObjectText(link.m_Holder, finding.m_Class) + " names o" +
                   ObjectText(link.m_Target, ClassOf(link.m_Target)) + " " + where + ", " + end + ".";
  return finding;
}

void sto_CheckLinks::Root(std::string const& name, std::int64_t id, unsigned int classId) {
  std::uint32_t const state = m_Objects.StateOf(id);
  if (state == sto_CheckObjects::Unreadable) return;
  unsigned int const now = ClassIdOf(id);
  bool const isMissing = state == sto_CheckObjects::Absent;
  if (!isMissing && (classId == 0 || now == 0 || classId == now)) return;
  sto_CheckFinding finding;
  finding.m_Kind = isMissing ? sto_CheckKind::DanglingRoot : sto_CheckKind::WrongClass;
  finding.m_Table = "root";
  finding.m_ObjectId = id;
  finding.m_Root = name;
  finding.m_Class = ClassOf(id);
  finding.m_Text = "Root " + name + " names o" + ObjectText(id, finding.m_Class);
  if (isMissing) {
    finding.m_Text += ", which is missing.";
    return m_Results.Add(std::move(finding));
  }
  finding.m_Text += ", which was a " + m_Catalogue.ClassName(classId) + " when it got the name.";
  m_Results.Note(std::move(finding));
}

void sto_CheckLinks::NoteDeleted(sto_CheckLink const& link) {
  if (ClassIdOf(link.m_Target) == sto_DeletedClassId)
    m_Results.Note(Finding(sto_CheckKind::DanglingReference, link, "which was deleted"));
}

void sto_CheckLinks::Hold(sto_CheckLink const& link) {
  if (m_Objects.StateOf(link.m_Target) != sto_CheckObjects::Absent) return NoteDeleted(link);
  m_Results.Add(Finding(sto_CheckKind::MissingObject, link, "which is missing"));
}

void sto_CheckLinks::Refer(sto_CheckLink const& link) {
  if (m_Objects.StateOf(link.m_Target) != sto_CheckObjects::Absent) return NoteDeleted(link);
  if (link.m_Target >= m_NextId)
    return m_Results.Add(Finding(sto_CheckKind::DanglingReference, link, "which the store never had"));
  m_Dangling.push_back({link.m_Holder, link.m_HolderClass, *link.m_Field, link.m_Target});
}

void sto_CheckLinks::HoldCollection(sto_CheckLink const& link, sto_AttributeRow const& declared) {
  Hold(link);
  sto_Shape const* const shape = m_Catalogue.FindShape(m_Objects.ShapeOf(link.m_Target));
  if (shape == nullptr) return;
  std::optional<sto_CollectionShape> const stored = CollectionOf(*shape);
  cls_AttributeMetadata attribute;
  attribute.m_Type = static_cast<cls_AttributeType>(declared.m_Type);
  attribute.m_CollectionType = static_cast<cls_CollectionType>(declared.m_CollectionType);
  if (!stored || sto_ShapeFits(*stored, attribute)) return; // without content it was never filled
  m_Results.Add(Finding(sto_CheckKind::WrongClass, link,
                        "which is a " + stored->Name() + " and does not fit the attribute's declaration"));
}

void sto_CheckLinks::End() {
  for (Reference const& reference : m_Dangling)
    if (!m_Parts.Has(reference.m_Target))
      m_Results.Note(
          Finding(sto_CheckKind::DanglingReference,
                  {reference.m_Holder, reference.m_HolderClass, &reference.m_Field, reference.m_Target},
                  "which is not in the store"));
}

#include "metadata/cls_ClassMetadata.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>

#include "persist/visitors/cls_FieldHandle.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "platform/omni/omi_BtreeIterator.h"

namespace {

/// Adds a note unless it is already there: declarations are replayed, and the notes must not grow.
template <class T> void Note(std::vector<T>& notes, T const& note) {
  if (std::ranges::find(notes, note) == notes.end()) notes.push_back(note);
}

} // namespace

cls_ClassMetadata::cls_ClassMetadata(cow_String const& name, unsigned int classId, int version, CtorFn ctor,
                                     unsigned int baseClassId)
    : m_Name(name), m_ClassId(classId), m_BaseClassId(baseClassId), m_CtorFn(ctor), m_Version(version) {
  if (m_ClassId != m_BaseClassId) return;
  // Intentional: "metadat" is part of the text, and each line is written by its own call.
  std::fprintf(stderr, "ODB metadat for class: %s\n", m_Name.CharsOrEmpty());
  std::fprintf(stderr, "  Is incorrectly defined.  The base class ID is\n");
  std::fprintf(stderr, "  the same as the class ID.  Please correct this.\n");
  std::abort();
}

cls_ClassMetadata::~cls_ClassMetadata() = default;

void cls_ClassMetadata::DBWrite(void const*, cls_WriteVisitor const&) const {}

void cls_ClassMetadata::Delete(void*) const {}

void cls_ClassMetadata::DeleteCow(cow_COW<int, cow_Direct<int>>* data) const {
  if (m_DtorFn != nullptr) m_DtorFn(data);
}

void* cls_ClassMetadata::Ctor(cls_ReadVisitor const& reader) const {
  // The constructor functions take a non-const reader, although they only read.
  return m_CtorFn == nullptr ? nullptr : m_CtorFn(const_cast<cls_ReadVisitor&>(reader));
}

cls_ClassMetadata& cls_ClassMetadata::AddAttribute(cls_FieldHandle const& field, cls_AttributeType type,
                                                   unsigned int typeArg, cls_CollectionType collection) {
  cls_AttributeMetadata const attribute{field.FieldId(), field.Name(), type, typeArg, collection};
  if (m_Attributes.Insert(field.Name(), attribute))
    NoteNumber(attribute.m_FieldId);
  else if (*FindAttribute(field.Name()) != attribute)
    Note(m_DroppedAttributes, attribute);
  return *this;
}

void cls_ClassMetadata::NoteNumber(int number) noexcept {
  if (number == -1) return;
  std::uint64_t const bit = std::uint64_t{1} << (static_cast<unsigned int>(number) % 64);
  m_MayShareNumbers = m_MayShareNumbers || (m_NumbersSeen & bit) != 0;
  m_NumbersSeen |= bit;
}

void cls_ClassMetadata::NoteDropped(cls_ClassMetadata const& later) {
  std::vector<DroppedClass> classes = m_DroppedClasses;
  std::vector<cls_AttributeMetadata> attributes = m_DroppedAttributes;
  if (later.m_Name != m_Name || later.m_BaseClassId != m_BaseClassId)
    Note(classes, {later.m_Name, later.m_BaseClassId});
  for (omi_BtreeIterator i(later.m_Attributes); !i.IsDone(); i.Next()) {
    cls_AttributeMetadata const* const here = FindAttribute(i.Key());
    if (here == nullptr || *here != i.Value()) Note(attributes, i.Value());
  }
  for (cls_AttributeMetadata const& dropped : later.m_DroppedAttributes) Note(attributes, dropped);
  m_DroppedClasses.swap(classes);
  m_DroppedAttributes.swap(attributes);
}

cls_ClassMetadata& cls_ClassMetadata::AddDtor(DtorFn dtor) {
  m_DtorFn = dtor;
  return *this;
}

cls_ClassMetadata& cls_ClassMetadata::AddTableExtentQuantum(int quantum) {
  m_TableExtentQuantum = quantum;
  return *this;
}

int cls_ClassMetadata::MaxFieldID() const {
  omi_BtreeIterator i(m_Attributes);
  if (i.IsDone()) return -1;
  int greatest = i.Value().m_FieldId;
  for (i.Next(); !i.IsDone(); i.Next()) greatest = std::max(greatest, i.Value().m_FieldId);
  return greatest;
}

cls_AttributeMetadata const* cls_ClassMetadata::FindAttribute(cow_String const& name) const noexcept {
  Attributes::Node const* const node = m_Attributes.ConstFind(name);
  return node == nullptr ? nullptr : &node->Value();
}

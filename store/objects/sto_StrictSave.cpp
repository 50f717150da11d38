#include "store/objects/sto_StrictSave.h"

#include "platform/omni/omi_BtreeIterator.h"
#include "store/session/sto_Session.h"

namespace {

/// Whether an attribute always has a value.
bool IsRequired(cls_AttributeMetadata const& attribute) noexcept {
  if (attribute.m_CollectionType != COLLECTION_NONE) return true;
  switch (attribute.m_Type) {
  case ATTR_INT:
  case ATTR_UINT:
  case ATTR_STRING:
  case ATTR_TRSTRING:
  case ATTR_BOOL:
  case ATTR_FLOAT:
  case ATTR_DOUBLE:
  case ATTR_SCHAR:
  case ATTR_SHORT:
  case ATTR_USHORT:
  case ATTR_LONGLONG:
  case ATTR_ULONGLONG:
  case ATTR_BYTES:
  case ATTR_UCHAR:
  case ATTR_COMPLEX_FLOAT:
  case ATTR_COMPLEX_DOUBLE:
  case ATTR_NESTED:
    return true;
  default:
    return false; // an object, a reference, or a host type
  }
}

bool IsWritten(sto_Session& session, sto_RecordBuilder const& record, std::size_t part,
               cls_AttributeMetadata const& attribute) {
  std::optional<sto_FieldKey> const key = session.KeyToRead(cls_FieldHandle(attribute.m_Name));
  return (key && record.HasField(part, *key)) || record.HasField(part, {0, attribute.m_FieldId});
}

bool MayBeAbsent(cls_ClassNotes const* notes, cls_AttributeMetadata const& attribute) {
  cls_ClassNotes::Attribute const* const said =
      notes == nullptr ? nullptr : notes->Find(attribute.m_Name.View());
  return said != nullptr && said->m_MayBeAbsent;
}

} // namespace

void sto_CheckWritten(sto_Session& session, sto_RecordBuilder const& record, std::string const& describe) {
  for (std::size_t part = 0; part < record.PartCount(); ++part) {
    cls_ClassMetadata const* const metadata = session.Catalogue().Classes().Newest(record.ClassOfPart(part));
    if (metadata == nullptr || !session.Catalogue().Classes().IsOfProgram(metadata->ClassId())) continue;
    cls_ClassNotes const* const notes =
        session.Catalogue().Classes().Notes(metadata->ClassId(), metadata->Version());
    for (omi_BtreeIterator i(metadata->GetAttributes()); !i.IsDone(); i.Next())
      if (IsRequired(i.Value()) && !MayBeAbsent(notes, i.Value()) &&
          !IsWritten(session, record, part, i.Value()))
        session.Raise(sto_ErrorKind::Misuse, "Attribute " + std::string(i.Key().View()) + " of " + describe +
                                                 " was not written, and class " +
                                                 std::string(metadata->Name().View()) + " version " +
                                                 std::to_string(metadata->Version()) + " declares it.");
  }
}

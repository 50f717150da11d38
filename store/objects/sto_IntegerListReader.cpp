#include "store/objects/sto_IntegerListReader.h"

namespace {

template <class T> sto_AnyInteger NextOf(cls_ReadCollectionBase& cursor) {
  T const value = static_cast<cls_ReadListPrim<T>&>(cursor).Next();
  bool isNegative = false;
  if constexpr (std::is_signed_v<T>) isNegative = value < 0;
  return {isNegative, static_cast<unsigned long long>(static_cast<long long>(value))};
}

} // namespace

template <class T>
void sto_AnyIntegerList::OpenAs(sto_Session& session, std::int64_t id, sto_RecordRef record) {
  auto cursor = std::make_unique<sto_ListReader<T>>(session, id, std::move(record));
  m_Count = cursor->Count();
  m_RowWidth = cursor->RowWidth();
  m_Cursor = std::move(cursor);
  m_Next = &NextOf<T>;
}

sto_AnyIntegerList::sto_AnyIntegerList(sto_Session& session, std::int64_t id, sto_RecordRef record) {
  Open(session, id, std::move(record));
}

void sto_AnyIntegerList::Open(sto_Session& session, std::int64_t id, sto_RecordRef record) {
  switch (record->List()->m_ElementType) {
  case sto_Format::ElementInt8:
    return OpenAs<signed char>(session, id, std::move(record));
  case sto_Format::ElementUInt8:
    return OpenAs<unsigned char>(session, id, std::move(record));
  case sto_Format::ElementInt16:
    return OpenAs<short>(session, id, std::move(record));
  case sto_Format::ElementUInt16:
    return OpenAs<unsigned short>(session, id, std::move(record));
  case sto_Format::ElementInt:
    return OpenAs<int>(session, id, std::move(record));
  case sto_Format::ElementUInt:
    return OpenAs<unsigned int>(session, id, std::move(record));
  case sto_Format::ElementInt64:
    return OpenAs<long long>(session, id, std::move(record));
  default:
    return OpenAs<unsigned long long>(session, id, std::move(record));
  }
}

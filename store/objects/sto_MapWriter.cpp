#include "store/objects/sto_MapWriter.h"

#include <limits>
#include <string>
#include <utility>

#include "store/format/sto_Checksum.h"
#include "store/objects/sto_MementoWrite.h"

sto_MapEntries::sto_MapEntries(sto_RecordInProgressRef object, sto_CollectionShape const& shape)
    : m_Object(std::move(object)), m_Shape(shape) {
  m_Object->RestartList();
}

sto_MapEntries::~sto_MapEntries() {
  if (m_Object->IsUnwinding()) return;
  try {
    Complete();
  } catch (...) {
    m_Object->Session().Keep(std::current_exception());
  }
}

template <class K, class Write> void sto_MapEntries::Add(K const& key, Write write) {
  m_Object->PutWhole([&] {
    if (m_Count == std::numeric_limits<int>::max()) RaiseFull("more entries than it can count");
    sto_ByteWriter writer(m_Entries);
    sto_KeyCodec<K>::Encode(writer, key);
    write(writer);
    if (m_Entries.size() > sto_Format::MaxValueBytes) RaiseFull("too many bytes");
    ++m_Count;
  });
}

void sto_MapEntries::RaiseFull(char const* what) {
  m_Object->Session().Raise(sto_ErrorKind::Full,
                            "The " + m_Shape.Name() + " of " + m_Object->Describe() + " has " + what + ".");
}

void sto_MapEntries::Complete() {
  std::uint64_t const seed = std::uint64_t{m_Shape.m_KeyType} << 8 | m_Shape.m_ElementType |
                             (m_Shape.m_IsTable ? std::uint64_t{1} << 16 : 0);
  m_Object->Session().Save().CheckSameCollection(m_Object->Id(), sto_Checksum(seed, m_Entries),
                                                 m_Shape.m_IsTable ? "int tables" : "maps");
  sto_MapHeader header;
  header.m_IsTable = m_Shape.m_IsTable;
  header.m_KeyType = m_Shape.m_KeyType;
  header.m_ElementType = m_Shape.m_ElementType;
  header.m_Count = m_Count;
  m_Object->Record().SetMap(header, std::move(m_Entries));
}

template <class K, class T> void sto_MapWriter<K, T>::Insert(K const& key, T const& value) {
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { sto_ElementCodec<T>::Encode(writer, value); });
}

template <class K>
cls_MementoWrite* sto_ObjectMapWriter<K>::MakeWriteObjWithPtr(K const& key, unsigned int classId,
                                                              cls_Uid const& uid, void const* object) {
  std::int64_t id = 0;
  std::unique_ptr<sto_MementoWrite> element =
      sto_MementoWrite::ForElement(m_Entries.Object(), classId, uid, object, id);
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.Varint(static_cast<std::uint64_t>(id)); });
  return element.release();
}

void sto_IntTableWriter::Insert(int key, int value) {
  m_Entries.Add(key, [&](sto_ByteWriter& writer) { writer.ZigZag(value); });
}

template class sto_ObjectMapWriter<int>;
template class sto_MapWriter<int, cow_String>;
template class sto_MapWriter<int, float>;
template class sto_MapWriter<int, double>;
template class sto_MapWriter<int, unsigned int>;
template class sto_MapWriter<int, int>;
template class sto_ObjectMapWriter<cow_String>;
template class sto_MapWriter<cow_String, cow_String>;
template class sto_MapWriter<cow_String, float>;
template class sto_MapWriter<cow_String, double>;
template class sto_MapWriter<cow_String, unsigned int>;
template class sto_MapWriter<cow_String, int>;

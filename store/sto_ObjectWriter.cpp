#include "store/sto_ObjectWriter.h"

#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/sto_BlockKey.h"
#include "store/sto_Checksum.h"
#include "store/sto_ElementScope.h"
#include "store/sto_OpenAgent.h"

sto_ObjectWriter::sto_ObjectWriter(sto_Session& session, std::int64_t id, sto_ClassInUse& inUse, int depth)
    : m_Session(session), m_Id(id), m_Class(inUse), m_Depth(depth), m_Record(session.TakeBuilder()) {
  if (depth > sto_Format::MaxNesting)
    session.Raise(sto_ErrorKind::Full, "Objects hold objects more than " +
                                           std::to_string(sto_Format::MaxNesting) + " deep (at " +
                                           Describe() + ").");
  m_Record->AddPart(inUse.Metadata().ClassId(), inUse.Metadata().Version(), id);
}

sto_ObjectWriter::~sto_ObjectWriter() {
  if (IsUnwinding()) {
    m_Session.MarkIncomplete();
  } else {
    try {
      Finish();
    } catch (...) {
      m_Session.Keep(std::current_exception());
    }
  }
  m_Session.ReturnBuilder(std::move(m_Record));
}

std::string sto_ObjectWriter::Describe() const {
  return "object " + std::to_string(m_Id) + " (" + std::string(m_Class.Metadata().Name().View()) + ")";
}

void sto_ObjectWriter::CheckShape(sto_CollectionShape const& shape) {
  if (m_Attribute == nullptr || sto_ShapeFits(shape, *m_Attribute)) return;
  m_Session.MarkIncomplete();
  std::string const name = m_Attribute->m_Name.IsEmpty() ? "number " + std::to_string(m_Attribute->m_FieldId)
                                                         : std::string(m_Attribute->m_Name.View());
  m_Session.Raise(sto_ErrorKind::Misuse,
                  "Attribute " + name + " of class " + std::string(m_Holder->Name().View()) + " version " +
                      std::to_string(m_Holder->Version()) + " is declared with attribute type " +
                      std::to_string(m_Attribute->m_Type) + " and collection type " +
                      std::to_string(m_Attribute->m_CollectionType) + "; that is no " + shape.Name() +
                      " (writing " + Describe() + ").");
}

void sto_ObjectWriter::WriteBlock(sto_Bytes& elements) {
  m_Session.CheckSave();
  std::int64_t const key = sto_BlockKey(m_Id, m_BlockCount);
  sto_Seal(static_cast<std::uint64_t>(key), elements);
  m_Session.Driver().WriteBlock(key, elements);
  ++m_BlockCount;
}

bool sto_ObjectWriter::AgentWritesRecord() {
  if (sto_OpenAgent* const agent = m_Session.FindAgent(m_Id)) {
    agent->Synchronise(); // what is saved now must not hold a collection that another session has deleted
    return true;
  }
  // One that was let go in the same save has written it already.
  return m_HadAgent && m_Session.Driver().HasObject(m_Id);
}

void sto_ObjectWriter::Finish() {
  m_Session.CheckSave();
  unsigned int const classId = m_Class.Metadata().ClassId();
  bool const lacksList = classId == cls_InternalListTypeId && !m_Record->HasList();
  bool const lacksMap = classId == cls_InternalMapTypeId && !m_Record->HasMap();
  if ((lacksList || lacksMap) && AgentWritesRecord()) return;
  if (lacksList)
    m_Session.Raise(sto_ErrorKind::Misuse, "No list was written for " + Describe() +
                                               ": its bulk array belongs to another store; detach it first.");
  sto_Bytes const& record = m_Record->Finish(m_Id);
  if (record.size() > sto_Format::MaxValueBytes)
    m_Session.Raise(sto_ErrorKind::Full, "The fields of " + Describe() + " take " +
                                             std::to_string(record.size()) + " bytes; at most " +
                                             std::to_string(sto_Format::MaxValueBytes) + " can be stored.");
  m_Session.Driver().WriteObject(m_Id, classId, record);
  // What the object had before may have had more blocks.
  if (!m_Session.IsNewInSave(m_Id))
    m_Session.Driver().DeleteBlocks(sto_BlockKey(m_Id, m_BlockCount), sto_LastBlockKey(m_Id));
}

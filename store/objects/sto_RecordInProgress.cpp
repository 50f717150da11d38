#include "store/objects/sto_RecordInProgress.h"

#include <algorithm>
#include <utility>

#include "metadata/cls_CollectionType.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_ElementCodec.h"
#include "store/format/sto_TypeNames.h"
#include "store/objects/sto_StrictSave.h"
#include "store/session/sto_ElementScope.h"
#include "store/session/sto_HolderText.h"
#include "store/session/sto_MapChunks.h"
#include "store/session/sto_StoredBlocks.h"

sto_RecordInProgress::sto_RecordInProgress(sto_Session& session, std::int64_t id, sto_ClassInUse& inUse,
                                           int depth, cls_Reach::Occurrence const& occurrence,
                                           cls_Reach::Meeting const& meeting)
    : m_Session(session), m_Id(id), m_Class(inUse), m_Depth(depth), m_Occurrence(occurrence),
      m_Meeting(meeting), m_LastClass(&inUse), m_Record(session.Save().Builders().Take()) {
  if (depth > sto_Format::MaxNesting)
    session.Raise(sto_ErrorKind::Full, "Objects hold objects more than " +
                                           std::to_string(sto_Format::MaxNesting) + " deep (at " +
                                           Describe() + ").");
  if (sto_Meter* const meter = session.Meter()) {
    meter->Found(1);
    meter->Tick();
  }
  m_Record->Expect(inUse.LatestShape());
  m_Record->AddPart(inUse.Metadata().ClassId(), inUse.Metadata().Version(), id);
}

sto_RecordInProgress::~sto_RecordInProgress() {
  if (IsUnwinding()) {
    m_Session.Save().MarkIncomplete();
  } else {
    try {
      Finish();
    } catch (...) {
      m_Session.Keep(std::current_exception());
    }
  }
  m_Session.Save().Builders().GiveBack(m_Record.release());
  if (sto_Meter* const meter = m_Session.Meter()) meter->Done();
}

std::string sto_RecordInProgress::Describe() const {
  return "object " + std::to_string(m_Id) + " (" + std::string(m_Class.Metadata().Name().View()) + ")";
}

std::size_t sto_RecordInProgress::AddBasePart(sto_ClassInUse& inUse, std::int64_t id) {
  m_LastClass = &inUse;
  return m_Record->AddPart(inUse.Metadata().ClassId(), inUse.Metadata().Version(), id);
}

void sto_RecordInProgress::CheckBaseParts() const {
  cls_ClassMetadata const* const above = m_LastClass->DeclaringBase();
  if (above == nullptr) return;
  auto const name = [&](unsigned int classId) { return m_Session.Catalogue().ClassName(classId); };
  cls_ClassMetadata const& last = m_LastClass->Metadata();
  std::string const base = name(last.BaseClassId());
  m_Session.Raise(sto_ErrorKind::Misuse, "The base-class part " + base + " of " + Describe() +
                                             " was not written, and class " + name(above->ClassId()) +
                                             " declares attributes that would be lost: DBWrite of class " +
                                             name(last.ClassId()) + " calls " + base +
                                             "::DBWrite(cls_WriteVisitor(visitor, " + base + "::TypeId())).");
}

void sto_RecordInProgress::RaiseAttribute(std::string const& problem) const {
  m_Session.Save().MarkIncomplete();
  std::string const name = m_Attribute->m_Name.IsEmpty() ? "number " + std::to_string(m_Attribute->m_FieldId)
                                                         : std::string(m_Attribute->m_Name.View());
  m_Session.Raise(sto_ErrorKind::Misuse,
                  "Attribute " + name + " of class " + std::string(m_Holder->Name().View()) + " version " +
                      std::to_string(m_Holder->Version()) + " " + problem + " (writing " + Describe() + ").");
}

void sto_RecordInProgress::CheckShape(sto_CollectionShape const& shape) {
  if (m_Attribute == nullptr) return;
  // An attribute for a single value may hold an object that has elements of its own.
  if (sto_ShapeFits(shape, *m_Attribute) && SingleValueName() == nullptr) return;
  RaiseAttribute(sto_MisdeclaredText(*m_Attribute, sto_Written::Collection(shape)));
}

char const* sto_RecordInProgress::SingleValueName() const {
  if (m_Attribute == nullptr || m_Attribute->m_CollectionType != COLLECTION_NONE) return nullptr;
  unsigned int const classId = m_Class.Metadata().ClassId();
  if (classId == cls_InternalListTypeId) return "list";
  return classId == cls_InternalMapTypeId ? "map" : nullptr;
}

void sto_RecordInProgress::WriteBlock(sto_Bytes& elements, std::uint8_t elementType) {
  WriteBlockAt(m_BlockCount++, elements, sto_ElementBytes(elementType));
}

void sto_RecordInProgress::CompleteList(sto_ListHeader header, std::string_view unit) {
  if (!unit.empty()) header.m_Extra.SetUnit(m_Session.Catalogue().AddName(m_Session.Driver(), unit));
  m_Record->SetList(header, {});
}

void sto_RecordInProgress::WriteChunk(int number, sto_Bytes& content) {
  sto_MapChunks::CheckNumber(m_Session, m_Id, number);
  WriteBlockAt(number, content, 1);
}

void sto_RecordInProgress::WriteBlockAt(int index, sto_Bytes& elements, std::size_t elementBytes) {
  m_Session.Save().Check();
  sto_StoredBlocks blocks(m_Session, m_Id, elementBytes);
  bool const mayBeThere = IsCompared() || !m_Session.Save().IsNew(m_Id);
  if (mayBeThere && blocks.Holds(index, elements)) return;
  if (IsCompared()) NoteDifference();
  blocks.Write(index, elements, false);
  m_HasNewBlocks = true;
}

void sto_RecordInProgress::DeleteOtherBlocks() {
  sto_StoredBlocks blocks(m_Session, m_Id);
  int next = m_BlockCount;
  for (int const number : m_Chunks) {
    if (number > next) blocks.Delete(next, number - 1);
    next = number + 1;
  }
  blocks.DeleteFrom(next);
}

std::vector<sto_OpenCollection*> sto_RecordInProgress::ForeignAgents() const {
  std::vector<sto_OpenCollection*> agents;
  cls_UidCatalogEntry* const entry = m_Session.Identities().EntryOf(m_Id);
  if (entry == nullptr) return agents;
  m_Session.Identities().ForEachForeignTie(entry, [&](cls_IdentityMap::Tie const& tie) {
    // The map may belong to another kind of back end.
    auto* const other = dynamic_cast<sto_Session*>(tie.Map().Owner());
    if (sto_OpenCollection* const agent = other == nullptr ? nullptr : other->Collections().Find(tie.Id()))
      agents.push_back(agent);
  });
  return agents;
}

bool sto_RecordInProgress::LeaveToAgent() {
  sto_OpenCollection* const own = m_Session.Collections().Find(m_Id);
  if (own != nullptr &&
      (m_HadAgent || (m_Occurrence.m_Address != nullptr && own->IsHeldBy(m_Occurrence.m_Address)))) {
    own->Synchronise(); // raises if another session has deleted the collection
    return true;
  }
  // An agent that was let go in the same save has already written the record.
  if (own == nullptr && m_HadAgent && m_Session.Driver().HasObject(m_Id)) return true;
  std::vector<sto_OpenCollection*> const foreign = ForeignAgents();
  auto const holder = std::ranges::find_if(foreign, [this](sto_OpenCollection const* agent) {
    return m_Occurrence.m_Address != nullptr && agent->IsHeldBy(m_Occurrence.m_Address);
  });
  if (holder == foreign.end() && foreign.size() + (own == nullptr ? 0 : 1) > 1)
    m_Session.Raise(sto_ErrorKind::Conflict, "The collection of " + Describe() +
                                                 " is open in several stores under one identity (" +
                                                 foreign.front()->Where() +
                                                 " among them), and which of them is saved cannot be told.");
  if (own != nullptr && holder == foreign.end()) {
    if (m_Occurrence.m_Address != nullptr) CheckLost(); // this container does not hold the agent
    own->Synchronise();
    return true;
  }
  if (foreign.empty()) return false;
  sto_OpenCollection& source = holder == foreign.end() ? *foreign.front() : **holder;
  if (own != nullptr) // its containers and the copy would overwrite each other
    m_Session.Raise(sto_ErrorKind::Conflict,
                    "The collection of " + Describe() + " belongs to " + source.Where() +
                        " and is open here too: let go of what was loaded here first.");
  CopyFrom(source);
  return false;
}

void sto_RecordInProgress::CopyFrom(sto_OpenCollection& foreign) {
  RestartList();
  if (foreign.CopyInto(*this, m_Occurrence.m_Address)) return;
  m_Session.Raise(sto_ErrorKind::Misuse, "The " + foreign.What() + " of " + Describe() +
                                             " is open in another store, " + foreign.Where() +
                                             ", and is not copied by saving it here: copy its root with "
                                             "sto_CopyRoot.");
}

void sto_RecordInProgress::CheckLost() const {
  if (cls_UidCatalogEntry* const entry = m_Session.Identities().EntryOf(m_Id))
    if (sto_OpenCollection const* const lost = m_Session.Collections().FindLost(entry)) lost->RaiseLost();
}

void sto_RecordInProgress::RaiseNothingWritten() const {
  CheckLost();
  m_Session.Raise(
      sto_ErrorKind::Misuse,
      "No elements were written for " + Describe() +
          ": its array, list or map is open in no store that this one could copy it from. Copy its root from "
          "store to store with sto_CopyRoot, or the whole store with sto_Store::CopyTo; or save it while the "
          "store that it belongs to is open.");
}

sto_Record const* sto_RecordInProgress::ReadStored() {
  sto_Record& stored = m_Session.Records().Scratch();
  if (sto_OpenCollection* const open = m_Session.Collections().Find(m_Id)) open->WriteRecord();
  m_Session.Catalogue().Load(m_Session.Driver());
  std::string problem;
  return m_Session.Records().Fetch(m_Id, stored, problem) && problem.empty() ? &stored : nullptr;
}

void sto_RecordInProgress::NoteDifference() const {
  if (m_Meeting.m_Comparing != cls_Comparing::SecondName) RaiseTwoObjects();
  m_Session.Save().Reach().NoteOtherContent(m_Id);
}

std::string sto_RecordInProgress::HolderText() const {
  if (m_Occurrence.m_Holder == 0) return "root " + m_Session.Save().Reach().RootOf(m_Session.Save().Number());
  std::string const holder = "object " + std::to_string(m_Occurrence.m_Holder);
  if (m_Attribute == nullptr) return "an element of " + holder;
  return "attribute " + std::string(m_Attribute->m_Name.View()) + " of " + holder + " (" +
         std::string(m_Holder->Name().View()) + ")";
}

void sto_RecordInProgress::RaiseTwoObjects() const {
  cls_Visit const& before = m_Meeting.m_Before;
  std::string const& earlierRoot = m_Session.Save().Reach().RootOf(before.m_Save);
  std::string first =
      before.m_Holder == 0 ? "root " + earlierRoot : sto_HolderText(m_Session, before.m_Holder, m_Id);
  if (m_Meeting.m_Comparing == cls_Comparing::OtherRoot && before.m_Holder != 0)
    first += ", under root " + earlierRoot;
  m_Session.Raise(sto_ErrorKind::Conflict,
                  "Two objects in memory with different content have the identity of " + Describe() +
                      ". The one that was saved first is held by " + first + "; the other one by " +
                      HolderText() +
                      ". A copy keeps the identity of its original; an identity of class cls_OwnUid is "
                      "not copied.");
}

bool sto_RecordInProgress::CompareRecord(sto_Session::RecordToWrite const& record) {
  if (sto_IsCollectionClass(m_Class.Metadata().ClassId())) return true; // already compared in CarryChanges
  sto_Record const* const stored = ReadStored();
  bool const isSame = stored != nullptr && stored->Stored().m_Shape == record.m_Shape &&
                      std::ranges::equal(stored->Stored().m_Bytes, record.m_Values);
  if (stored != nullptr && !isSame) {
    // Another version of a class may write the same content differently, so that is no difference.
    if (m_Record->HasClassesOf(*stored)) NoteDifference();
  }
  if (isSame && m_Meeting.m_Visit != nullptr) m_Meeting.m_Visit->m_IsWritten = true;
  return !isSame;
}

void sto_RecordInProgress::KeepFields(sto_Part const& stored) {
  if (auto const hint = sto_CollectionFields::SizeHint.Read(stored))
    sto_CollectionFields::SizeHint.Write(*m_Record, *hint);
}

void sto_RecordInProgress::CarryChanges() {
  if (m_Session.Save().IsNew(m_Id)) return;
  sto_Record const* const stored = ReadStored();
  // A damaged record is replaced; no one can have seen what it had.
  if (stored == nullptr) return;
  if (IsCompared() && !m_Record->HasContentOf(*stored)) NoteDifference();
  sto_Part const& part = stored->Parts().front();
  if (!m_HasNewBlocks && m_Class.Metadata().ClassId() != cls_BlobTypeId && m_Record->HasContentOf(*stored))
    return KeepFields(part);
  std::int64_t const before = m_Session.Changes().Version(m_Id);
  std::int64_t const version = m_Session.Changes().NewVersion();
  m_Session.Changes().NoteAtBegin(m_Id, stored->List() ? stored->List()->m_Count : 0, before);
  if (m_Class.Metadata().ClassId() == cls_BlobTypeId) {
    sto_CollectionFields::BlobBytes.Write(*m_Record, 0);
    m_Session.Changes().NoteBlobChange(m_Id, version, m_Session.TransactionNumber(),
                                       m_Session.Save().Number());
  } else {
    KeepFields(part);
  }
  m_Session.Changes().SetVersion(m_Id, version);
}

void sto_RecordInProgress::Finish() {
  m_Session.Save().Check();
  if (char const* const what = SingleValueName()) // CheckShape already refused it if its elements are known
    RaiseAttribute(sto_MisdeclaredText(*m_Attribute, what));
  unsigned int const classId = m_Class.Metadata().ClassId();
  bool const lacksList = classId == cls_InternalListTypeId && !m_Record->HasList();
  bool const lacksMap = classId == cls_InternalMapTypeId && !m_Record->HasMap();
  if ((lacksList || lacksMap) && LeaveToAgent()) return;
  if ((lacksList && !m_Record->HasList()) || lacksMap) RaiseNothingWritten();
  if (sto_IsCollectionClass(classId)) CarryChanges();
  CheckBaseParts();
  if (m_Session.IsStrict()) sto_CheckWritten(m_Session, *m_Record, Describe());
  sto_Session::RecordToWrite const record = m_Session.ToWrite(*m_Record, &m_Class);
  if (record.m_Values.size() > sto_Format::MaxValueBytes)
    m_Session.Raise(sto_ErrorKind::Full, "The fields of " + Describe() + " take " +
                                             std::to_string(record.m_Values.size()) + " bytes; at most " +
                                             std::to_string(sto_Format::MaxValueBytes) + " can be stored.");
  if (IsCompared() && !CompareRecord(record)) return;
  bool const isChanged = m_Session.WriteObject(m_Id, record);
  if (m_Meeting.m_Visit != nullptr) m_Meeting.m_Visit->m_IsWritten = true;
  // The object's previous content may have had more blocks.
  if (m_WasRestarted || (isChanged && !m_Session.Save().IsNew(m_Id))) DeleteOtherBlocks();
}

#include "store/session/sto_Session.h"

#include <cassert>
#include <utility>

#include "persist/visitors/cls_FieldHandle.h"
#include "store/agents/sto_BlobAgent.h"
#include "store/agents/sto_CollectionAgent.h"
#include "store/base/sto_Exception.h"
#include "store/graph/sto_AgentProxy.h"

namespace {

/// Records and builders that have grown beyond this are not kept for the next object.
constexpr std::size_t MaxSpareBytes = 65536;
/// As many builders as objects hold each other are in use at once; of deeper nesting they are not kept.
constexpr std::size_t MaxSpareBuilders = 16;

} // namespace

sto_Session::sto_Session(std::string location, std::unique_ptr<sto_Driver> driver,
                         cls_ClassRegistrar const& registrar, sto_Options const& options)
    : m_RegistrarLives(registrar.Lifetime()), m_Location(std::move(location)), m_Driver(std::move(driver)),
      m_Catalogue(registrar, m_Location), m_Identities(this), m_IsStrict(options.m_Strict),
      m_MaxKeptBytes(options.m_MaxKeptBytes) {}

sto_Session::~sto_Session() {
  assert(std::this_thread::get_id() == m_Thread && "A store is closed by the thread that opened it.");
  Rollback();
  try {
    if (!m_Driver->IsReadOnly()) Close();
  } catch (...) { // then each container writes by itself what it can
  }
  ForEachAgent([](sto_CollectionAgent& agent) { agent.CloseSession(); });
  *m_Self = nullptr;
}

void sto_Session::Begin(bool forWriting, sto_Keeping keeping) {
  CheckUse();
  if (m_InTransaction) Raise(sto_ErrorKind::Misuse, "A transaction is open already.");
  if (forWriting && m_Driver->IsReadOnly())
    Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  m_Driver->Begin(forWriting);
  m_InTransaction = true;
  try {
    if (std::int64_t const counter = m_Driver->ChangeCounter(); counter != m_ChangeCounter) {
      m_Catalogue.Forget();
      m_ChangeCounter = counter;
    }
    m_FirstIdOfTransaction = m_NextId = m_Driver->NextObjectId();
    if (forWriting && keeping != sto_Keeping::Nothing)
      ForEachAgent([&](sto_CollectionAgent& agent) { agent.KeepForRollback(keeping); });
  } catch (...) {
    Rollback(); // nothing has changed yet that could be put back
    ForEachAgent([](sto_CollectionAgent& agent) { agent.ForgetBegin(); });
    throw;
  }
  m_Keeping = keeping;
  if (forWriting) ++m_TransactionNumber;
  m_IsWriting = forWriting; // from now on a rollback has ids to take back
}

void sto_Session::CheckUse() const {
  if (std::this_thread::get_id() != m_Thread)
    Raise(sto_ErrorKind::Misuse,
          "The store is used in another thread than the one that opened it. Each thread "
          "opens a store of its own.");
  if (!*m_RegistrarLives)
    Raise(sto_ErrorKind::Misuse,
          "The class registrar that the store was opened with is gone: it must outlive the store.");
}

void sto_Session::CheckTransaction() {
  CheckUse();
  if (!m_InTransaction || m_Driver->IsInTransaction()) return;
  RaiseKept();
  Raise(sto_ErrorKind::Unavailable, "The transaction was undone by a failure; roll it back.");
}

void sto_Session::Commit() {
  RaiseKept();
  if (!m_InTransaction) Raise(sto_ErrorKind::Misuse, "There is no transaction to commit.");
  if (m_InSave) Raise(sto_ErrorKind::Misuse, "Committing in the middle of a save.");
  CheckTransaction();
  if (m_IsWriting) WriteAgentRecords();
  if (m_IsWriting && m_NextId != m_FirstIdOfTransaction) m_Driver->SetNextObjectId(m_NextId);
  m_Driver->Commit();
  bool const wasWriting = std::exchange(m_IsWriting, false);
  EndTransaction();
  if (wasWriting) ForEachAgent([](sto_CollectionAgent& agent) { agent.ForgetBegin(); });
}

void sto_Session::EndTransaction() noexcept {
  m_InTransaction = m_IsWriting = m_InSave = false;
  m_ListsAtBegin.clear();
  m_Reach.Reset();
  m_Identities.ForgetVisits();
}

void sto_Session::Rollback() noexcept {
  if (!m_InTransaction) return;
  m_Driver->Rollback();
  bool const wasWriting = m_IsWriting;
  if (wasWriting) {
    ForEachAgent([](sto_CollectionAgent& agent) { agent.NoteIdentity(true); });
    DropNewTies(m_FirstIdOfTransaction);
    m_Catalogue.Forget();
  }
  EndTransaction();
  if (!wasWriting) return;
  if (m_KeptIn == m_TransactionNumber) m_Kept = nullptr; // of work that is undone
  std::erase_if(m_BlobChanges,
                [this](auto const& blob) { return blob.second.m_Transaction == m_TransactionNumber; });
  for (sto_BlobAgent* const blob : m_OpenBlobs) blob->UndoTransaction();
  ForEachAgent([this](sto_CollectionAgent& agent) { agent.UndoTransaction(m_Keeping); });
}

void sto_Session::BeginSave(std::string_view const* root) {
  RaiseKept();
  if (m_InSave) Raise(sto_ErrorKind::Misuse, "A save is going on already.");
  // What the mark keeps must be whole, in the store and in memory.
  ForEachAgent([](sto_CollectionAgent& agent) {
    agent.WriteRecord();
    agent.KeepForUndo();
  });
  m_Reach.BeginSave(m_SaveNumber + 1, root);
  ++m_SaveNumber;
  m_Driver->SetMark();
  m_FirstIdOfSave = m_NextId;
  m_ListsOfSave.clear();
  m_IsIncomplete = false;
  m_InSave = true;
}

void sto_Session::CheckSave() const {
  if (!m_InSave) Raise(sto_ErrorKind::Misuse, "Writing outside a save.");
}

void sto_Session::EndSave() {
  RaiseKept();
  CheckSave();
  if (m_IsIncomplete)
    Raise(sto_ErrorKind::Misuse, "An object could not be saved, and its failure was not passed on.");
  ForEachAgent([](sto_CollectionAgent& agent) {
    agent.CheckWhole();
    agent.WriteRecord();
  });
  m_Driver->ReleaseMark();
  m_InSave = false;
  ForEachAgent([](sto_CollectionAgent& agent) { agent.ForgetMark(); });
}

void sto_Session::UndoSave() noexcept {
  m_InSave = false;
  m_Kept = nullptr;
  try {
    m_Driver->RollbackToMark();
  } catch (...) {
    m_Driver->Rollback(); // half a save must not stay in a transaction that can be committed
  }
  ForEachAgent([](sto_CollectionAgent& agent) { agent.NoteIdentity(false); });
  m_Reach.UndoSave();
  DropNewTies(m_FirstIdOfSave);
  m_Catalogue.Forget();
  std::erase_if(m_ListsAtBegin,
                [this](auto const& list) { return list.second.m_MadeInSave == m_SaveNumber; });
  std::erase_if(m_BlobChanges, [this](auto const& blob) { return blob.second.m_Save == m_SaveNumber; });
  for (sto_BlobAgent* const blob : m_OpenBlobs) blob->UndoSave();
  ForEachAgent([](sto_CollectionAgent& agent) { agent.UndoSave(); });
}

sto_CollectionAgent* sto_Session::FindAgent(std::int64_t collectionId) const noexcept {
  auto const found = m_Agents.find(collectionId);
  return found == m_Agents.end() ? nullptr : found->second;
}

void sto_Session::AddAgent(sto_CollectionAgent& agent) {
  if (agent.Id() != 0) m_Agents.emplace(agent.Id(), &agent);
  agent.m_Next = std::exchange(m_FirstAgent, &agent);
  if (agent.m_Next != nullptr) agent.m_Next->m_Previous = &agent;
}

void sto_Session::RemoveAgent(sto_CollectionAgent& agent) noexcept {
  ForgetAgentId(agent);
  for (Walk* walk = m_Walk; walk != nullptr; walk = walk->m_Outer)
    if (walk->m_Next == &agent) walk->m_Next = agent.m_Next;
  (agent.m_Previous == nullptr ? m_FirstAgent : agent.m_Previous->m_Next) = agent.m_Next;
  if (agent.m_Next != nullptr) agent.m_Next->m_Previous = agent.m_Previous;
  agent.m_Next = agent.m_Previous = nullptr;
}

void sto_Session::ForgetAgentId(sto_CollectionAgent const& agent) noexcept {
  auto const found = m_Agents.find(agent.Id());
  if (found != m_Agents.end() && found->second == &agent) m_Agents.erase(found);
}

template <class Act> void sto_Session::ForEachAgent(Act act) {
  Walk walk{m_FirstAgent, m_Walk};
  struct End { // also when a step raises
    ~End() { m_Session.m_Walk = m_Outer; }
    sto_Session& m_Session;
    Walk* m_Outer;
  } const end{*this, m_Walk};
  m_Walk = &walk;
  while (sto_CollectionAgent* const agent = walk.m_Next) {
    walk.m_Next = agent->m_Next;
    act(*agent);
  }
}

sto_CollectionAgent* sto_Session::FindLost(cls_UidCatalogEntry const* entry) noexcept {
  for (sto_CollectionAgent* agent = m_FirstAgent; agent != nullptr; agent = agent->m_Next)
    if (agent->WasUnder(entry)) return agent;
  return nullptr;
}

void sto_Session::FlushHolders() {
  ForEachAgent([](sto_CollectionAgent& agent) { agent.FlushHolders(); });
}

void sto_Session::Close() {
  RaiseKept();
  if (m_InTransaction)
    Raise(sto_ErrorKind::Misuse, "Closing the store while a transaction is open: commit or roll back first.");
  bool isUnwritten = false;
  ForEachAgent([&](sto_CollectionAgent& agent) { isUnwritten = isUnwritten || agent.HasUnwrittenHolders(); });
  if (!isUnwritten) return;
  Begin(true, sto_Keeping::Handles);
  try {
    FlushHolders();
    Commit();
  } catch (...) {
    Rollback();
    throw;
  }
}

void sto_Session::WriteAgentRecords() {
  ForEachAgent([](sto_CollectionAgent& agent) { agent.WriteRecord(); });
}

std::vector<std::int64_t> sto_Session::OpenCollections() {
  std::vector<std::int64_t> ids;
  ForEachAgent([&](sto_CollectionAgent& agent) {
    if (agent.IsLost()) return;
    agent.WriteRecord(); // of one that was made in this transaction
    ids.push_back(agent.Id());
  });
  return ids;
}

sto_Session::ListAtBegin const* sto_Session::FindAtBegin(std::int64_t id) const noexcept {
  auto const found = m_ListsAtBegin.find(id);
  return found == m_ListsAtBegin.end() ? nullptr : &found->second;
}

void sto_Session::RaiseKeptBytes(std::int64_t more, std::string const& what) const {
  Raise(
      sto_ErrorKind::Full,
      what + " has " + std::to_string(more) +
          " bytes in memory, which must be kept until the transaction ends; with what is kept already that "
          "is more than the " +
          std::to_string(m_MaxKeptBytes) +
          " that sto_Options::m_MaxKeptBytes allows. Commit earlier, save the array before it is filled, or "
          "raise the limit.");
}

void sto_Session::DropNewTies(std::int64_t firstNewId) noexcept {
  m_Identities.DropFrom(firstNewId);
  for (sto_AgentProxy* const proxy : m_OpenProxies)
    if (proxy->Id() >= firstNewId) proxy->End();
  m_Loaded->Undo(firstNewId);
  m_NextId = firstNewId;
}

sto_IdentityMap::Tie& sto_Session::TieOf(cls_Uid const& uid) {
  if (sto_IdentityMap::Tie* const tie = m_Identities.Find(uid)) return *tie;
  std::int64_t const id = TakeId();
  return m_Identities.Add(uid, id);
}

std::int64_t sto_Session::TakeId() {
  if (m_NextId > sto_Format::MaxObjectId) Raise(sto_ErrorKind::Full, "The store has no object ids left.");
  return m_NextId++;
}

void sto_Session::CheckSameCollection(std::int64_t id, std::uint64_t hash, char const* what) {
  auto const [place, isFirst] = m_ListsOfSave.emplace(id, hash);
  if (!isFirst && place->second != hash)
    Raise(sto_ErrorKind::Conflict, "Object " + std::to_string(id) + " is saved as two " + what +
                                       " that differ: copies of a value share its identity until one of them "
                                       "is assigned a new content.");
}

sto_ClassInUse& sto_Session::ClassToWrite(unsigned int classId) {
  sto_ClassInUse* const inUse = m_Catalogue.ToWrite(*m_Driver, classId);
  if (inUse == nullptr)
    Raise(sto_ErrorKind::Misuse, "Class " + m_Catalogue.ClassName(classId) +
                                     " is not declared in the registrar that the store was opened with.");
  return *inUse;
}

sto_FieldKey sto_Session::KeyToWrite(cls_FieldHandle const& field) {
  if (field.Name().IsEmpty()) return {0, field.FieldId()};
  return {m_Catalogue.AddName(*m_Driver, field.Name().View()), field.FieldId()};
}

std::optional<sto_FieldKey> sto_Session::KeyToRead(cls_FieldHandle const& field) {
  if (field.Name().IsEmpty()) return sto_FieldKey{0, field.FieldId()};
  std::int64_t const nameId = m_Catalogue.FindName(*m_Driver, field.Name().View());
  if (nameId == 0) return std::nullopt;
  return sto_FieldKey{nameId, field.FieldId()};
}

std::unique_ptr<sto_RecordBuilder> sto_Session::TakeBuilder() {
  if (m_Builders.empty()) return std::make_unique<sto_RecordBuilder>();
  std::unique_ptr<sto_RecordBuilder> builder = std::move(m_Builders.back());
  m_Builders.pop_back();
  builder->Reset();
  return builder;
}

void sto_Session::ReturnBuilder(std::unique_ptr<sto_RecordBuilder> builder) noexcept {
  if (builder == nullptr || builder->Capacity() > MaxSpareBytes || m_Builders.size() >= MaxSpareBuilders)
    return;
  try {
    m_Builders.push_back(std::move(builder));
  } catch (std::bad_alloc const&) { // then it goes
  }
}

sto_RecordRef& sto_Session::SpareRecord() {
  for (std::size_t i = 0; i < m_Records.size(); ++i) {
    sto_RecordRef& record = m_Records[m_NextRecord];
    if (record == nullptr) record = sto_RecordRef::New();
    if (record.IsOnlyOne()) return record;
    m_NextRecord = (m_NextRecord + 1) % m_Records.size();
  }
  // All are in use: the place of one of them is for a new one.
  sto_RecordRef& place = m_Records[m_NextRecord];
  place = sto_RecordRef::New();
  return place;
}

sto_RecordRef sto_Session::ReadRecord(std::int64_t id) {
  RaiseKept();
  if (!m_Agents.empty())
    if (sto_CollectionAgent* const agent = FindAgent(id)) agent->WriteRecord(); // its newest state
  m_Catalogue.Load(*m_Driver); // messages name the class also when the program does not know it
  sto_RecordRef& place = SpareRecord();
  sto_RecordRef const record = place;
  unsigned int classId = 0;
  if (!m_Driver->ReadObject(id, classId, record.Fill().Bytes())) return nullptr;
  if (record.Fill().Bytes().capacity() > MaxSpareBytes) place = nullptr; // it goes with its last user
  std::string problem;
  if (!record.Fill().Decode(id, classId, problem))
    Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " (" + m_Catalogue.DescribeClass(classId) +
                                      ") is damaged: " + problem + ".");
  if (record->GreatestId() >= m_NextId)
    Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " (" + m_Catalogue.DescribeClass(classId) +
                                      ") names object " + std::to_string(record->GreatestId()) +
                                      ", which the store never had.");
  for (sto_Part const& part : record->Parts()) {
    if (m_Catalogue.IsKnown(part)) continue;
    CheckPart(id, classId, part);
    if (!m_Catalogue.HasNewestBase(part)) record.Fill().NoteChangedBase();
  }
  return record;
}

void sto_Session::CheckPart(std::int64_t id, unsigned int classId, sto_Part const& part) {
  sto_Classes const& classes = m_Catalogue.Classes();
  std::vector<int> known; // a class that the program does not declare can still be read as it is
  bool const isReadable = classes.ForVersion(part.m_ClassId, part.m_Version) != nullptr ||
                          (known = classes.Versions(part.m_ClassId)).empty();
  bool const isRemembered = isReadable && m_Catalogue.HasNewestBase(part); // and not looked at again
  if (std::string const problem = m_Catalogue.Problem(part, isRemembered); !problem.empty())
    Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(id) + " (" + m_Catalogue.DescribeClass(classId) +
                                      ") or the store's catalogue is damaged: " + problem + ".");
  if (isReadable) return;
  std::string list = known.size() == 1 ? "version " : "versions ";
  for (std::size_t i = 0; i < known.size(); ++i)
    list += (i == 0 ? "" : i + 1 == known.size() ? " and " : ", ") + std::to_string(known[i]);
  Raise(sto_ErrorKind::NewerFormat,
        "Object " + std::to_string(id) + " was written by version " + std::to_string(part.m_Version) +
            " of class " + m_Catalogue.ClassName(part.m_ClassId) + "; this program knows " + list + ".");
}

void sto_Session::Raise(sto_ErrorKind kind, std::string const& message, sto_SourceLine line) const {
  sto_Raise(kind, m_Location + ": " + message, line);
}

void sto_Session::Keep(std::exception_ptr failure) noexcept {
  if (m_Kept != nullptr) return;
  m_Kept = std::move(failure);
  m_KeptIn = m_IsWriting ? m_TransactionNumber : 0;
}

void sto_Session::RaiseKept() {
  if (m_Kept != nullptr) std::rethrow_exception(std::exchange(m_Kept, nullptr));
}

#include "store/sto_Store.h"

#include <utility>

#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_Collector.h"
#include "store/sto_MementoRead.h"
#include "store/sto_MementoWrite.h"
#include "store/sto_OwnTransaction.h"
#include "store/sto_Session.h"

namespace {

/// Starts the writing of a root object, whose class and identity are known when it begins to write itself.
class RootRequest : public cls_AgentRequest {
 public:
  explicit RootRequest(sto_Session& session) noexcept : m_Session(session) {}

  cls_MementoWrite* MakeWriteObj(unsigned int classId, cls_Uid const& uid) const override {
    return sto_MementoWrite::ForObject(m_Session, classId, uid, 1, m_Id).release();
  }

  [[nodiscard]] std::int64_t Id() const noexcept { return m_Id; }

 private:
  sto_Session& m_Session;
  mutable std::int64_t m_Id = 0; // learnt through the interface, whose operations are const
};

/// The shared objects of a load go with it.
class LoadScope {
 public:
  explicit LoadScope(sto_LoadedObjects& loaded) noexcept : m_Loaded(loaded) { m_Loaded.Enter(); }
  LoadScope(LoadScope const&) = delete;
  LoadScope& operator=(LoadScope const&) = delete;
  ~LoadScope() { m_Loaded.Leave(); }

 private:
  sto_LoadedObjects& m_Loaded;
};

} // namespace

sto_Store::sto_Store(std::unique_ptr<sto_Session> session) noexcept : m_Session(std::move(session)) {}
sto_Store::sto_Store(sto_Store&&) noexcept = default;
sto_Store& sto_Store::operator=(sto_Store&&) noexcept = default;
sto_Store::~sto_Store() = default;

sto_Store sto_Store::Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const& registrar,
                          sto_Options const& options) {
  std::unique_ptr<sto_Driver> driver =
      mode == sto_Mode::Create ? sto_SqliteDriver::Create(location, options)
                               : sto_SqliteDriver::Open(location, mode == sto_Mode::ReadOnly, options);
  return sto_Store(std::make_unique<sto_Session>(location, std::move(driver), registrar));
}

std::string const& sto_Store::Location() const noexcept {
  return m_Session->Location();
}

bool sto_Store::IsReadOnly() const noexcept {
  return m_Session->Driver().IsReadOnly();
}

void sto_Store::SaveWith(std::string_view root, void const* object, WriteObject write) {
  sto_OwnTransaction transaction(*m_Session, true);
  if (!m_Session->IsWriting())
    m_Session->Raise(sto_ErrorKind::Misuse,
                     "Saving in a transaction that only reads, or while an object is being loaded.");
  m_Session->BeginSave();
  try {
    RootRequest const request(*m_Session);
    {
      cls_WriteVisitor const visitor(request, object);
      write(object, visitor);
    }
    if (request.Id() == 0)
      m_Session->Raise(sto_ErrorKind::Misuse, "The object for root " + std::string(root) + " wrote nothing.");
    m_Session->RaiseKept();
    m_Session->CheckSave();
    m_Session->Driver().SetRoot(root, request.Id());
    m_Session->EndSave();
  } catch (...) {
    m_Session->UndoSave();
    throw;
  }
  if (transaction.IsOwn()) m_Session->FlushHolders();
  transaction.Commit();
}

void sto_Store::LoadErased(std::string_view root, void* read, void (*call)(void*, cls_ReadVisitor const&)) {
  sto_OwnTransaction transaction(*m_Session, false);
  LoadScope const scope(m_Session->Loaded());
  std::optional<std::int64_t> const id = m_Session->Driver().FindRoot(root);
  if (!id) m_Session->Raise(sto_ErrorKind::NotFound, "There is no root " + std::string(root) + ".");
  sto_RecordRef record = m_Session->ReadRecord(*id);
  if (record == nullptr)
    m_Session->Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(*id) + ", which is root " +
                                                 std::string(root) + ", is missing.");
  cls_ReadVisitor const visitor(new sto_MementoRead(*m_Session, std::move(record), 1));
  call(read, visitor);
  transaction.Commit();
}

bool sto_Store::HasRoot(std::string_view root) {
  sto_OwnTransaction transaction(*m_Session, false);
  return m_Session->Driver().FindRoot(root).has_value();
}

std::vector<std::string> sto_Store::Roots() {
  sto_OwnTransaction transaction(*m_Session, false);
  return m_Session->Driver().Roots();
}

bool sto_Store::RemoveRoot(std::string_view root) {
  sto_OwnTransaction transaction(*m_Session, true);
  if (!m_Session->IsWriting())
    m_Session->Raise(sto_ErrorKind::Misuse,
                     "Removing a root in a transaction that only reads, or while an object is being loaded.");
  bool const removed = m_Session->Driver().RemoveRoot(root);
  transaction.Commit();
  return removed;
}

std::int64_t sto_Store::CollectGarbage() {
  if (IsReadOnly()) m_Session->Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  sto_OwnTransaction transaction(*m_Session, true);
  if (!m_Session->IsWriting() || m_Session->InSave() || m_Session->Loaded().InLoad())
    m_Session->Raise(sto_ErrorKind::Misuse, "Collecting in a transaction that only reads, or while an object "
                                            "is being saved or loaded.");
  sto_Collector collector(*m_Session);
  try {
    collector.Mark();
  } catch (...) {
    // Nothing was written; a rollback would make containers drop what they have not written back yet.
    try {
      transaction.Commit();
    } catch (...) { // rolled back then; the first failure is the one to tell
    }
    throw;
  }
  std::int64_t const count = collector.Sweep();
  transaction.Commit();
  return count;
}

std::int64_t sto_Store::ObjectCount() {
  sto_OwnTransaction transaction(*m_Session, false);
  return m_Session->Driver().ObjectCount();
}

std::int64_t sto_Store::SizeBytes() {
  sto_OwnTransaction transaction(*m_Session, false);
  return m_Session->Driver().SizeBytes();
}

sto_Transaction::sto_Transaction(sto_Store& store) : m_Session(store.m_Session.get()) {
  m_Session->Begin(true);
}

sto_Transaction::~sto_Transaction() {
  Rollback();
}

void sto_Transaction::Commit() {
  if (m_Session == nullptr) sto_Raise(sto_ErrorKind::Misuse, "The transaction is over.");
  m_Session->FlushHolders();
  m_Session->Commit();
  m_Session = nullptr;
}

void sto_Transaction::Rollback() noexcept {
  if (m_Session != nullptr) std::exchange(m_Session, nullptr)->Rollback();
}

sto_ReadTransaction::sto_ReadTransaction(sto_Store& store) : m_Session(*store.m_Session) {
  m_Session.Begin(false);
}

sto_ReadTransaction::~sto_ReadTransaction() {
  m_Session.Rollback();
}

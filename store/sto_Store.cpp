#include "store/sto_Store.h"

#include <utility>

#include "persist/backend/cls_RootRequest.h"
#include "store/check/sto_StatMaker.h"
#include "store/check/sto_StoreCheck.h"
#include "store/copy/sto_CopyStore.h"
#include "store/graph/sto_Collector.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/postgres/sto_PostgresStore.h"
#include "store/session/sto_DescribeRoot.h"
#include "store/session/sto_MeterScope.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"
#include "store/sqlite/sto_SqliteDriver.h"
#include "store/sto_CheckClasses.h"
#include "store/sto_Servers.h"

namespace {

/// An object that gets a second root name must not have changed: compares everything the save reaches.
void CheckOtherName(sto_Session& session, std::string_view root, cls_Uid const& uid) {
  cls_IdentityMap::Tie const* const tie = session.Identities().Find(uid);
  if (tie != nullptr && tie->IsRoot() && session.Driver().FindRoot(root) != tie->Id())
    session.Save().Reach().CompareAll();
}

[[noreturn]] void RaiseOtherRoot(sto_Session& session, std::string_view root, std::string const& other,
                                 std::int64_t id, std::int64_t changed) {
  std::string const what =
      changed == id ? "its content" : "that of object " + std::to_string(changed) + " in it";
  session.Raise(sto_ErrorKind::Conflict,
                "What is saved as root " + std::string(root) + " has the identity of root " + other +
                    " (object " + std::to_string(id) + "), and " + what +
                    " has changed: both roots would be the later one. Give a copy an identity of its own "
                    "(cls_OwnUid), or save under " +
                    other + " to change that root.");
}

/// Conflict if the saved object already has another root name and something under it has changed, so that the
/// other root would change too.
void CheckOtherRoots(sto_Session& session, std::string_view root, std::int64_t id) {
  std::int64_t const changed = session.Save().Reach().OtherContent();
  if (changed == 0) return;
  for (sto_RootRow const& other : session.Driver().Roots())
    if (other.m_Name != root && other.m_Id == id) RaiseOtherRoot(session, root, other.m_Name, id, changed);
}

/// Misuse listing all mistakes in the declarations: what is written under them stays in the store.
void RefuseMistakes(std::string const& location, cls_ClassRegistrar const& registrar) {
  std::string message;
  for (std::string const& mistake : sto_CheckClasses(registrar, sto_ClassChecks::Refused))
    message += (message.empty() ? "" : " ") + mistake;
  if (!message.empty()) sto_Raise(sto_ErrorKind::Misuse, location + ": " + message);
}

/// What keeps the store: a file, or a server.
std::unique_ptr<sto_Driver> OpenDriver(std::string const& location, sto_Mode mode,
                                       sto_Options const& options) {
  bool const isReadOnly = mode == sto_Mode::ReadOnly;
  if (sto_IsOnServer(location))
    return mode == sto_Mode::Create ? sto_CreateInPostgres(location, options)
                                    : sto_OpenInPostgres(location, isReadOnly, options);
  if (mode == sto_Mode::Create) return sto_SqliteDriver::Create(location, options);
  return sto_SqliteDriver::Open(location, isReadOnly, options);
}

/// Reads the store's descriptions of classes, which compares them with what the program says.
void CheckChanges(sto_Session& session) {
  sto_OwnTransaction transaction(session, false);
  session.Catalogue().Load(session.Driver());
  transaction.Commit();
}

/// Misuse while an object is being saved or loaded.
void RefuseInObject(sto_Session& session, char const* what) {
  session.CheckTransaction();
  session.RaiseKept();
  if (session.Save().IsGoingOn() || session.Loaded().InLoad())
    session.Raise(sto_ErrorKind::Misuse, std::string(what) + " while an object is being saved or loaded.");
}

/// Misuse in a transaction that only reads, and while an object is being saved or loaded.
void RefuseCollecting(sto_Session& session, char const* what) {
  if (!session.IsWriting() || session.Save().IsGoingOn() || session.Loaded().InLoad())
    session.Raise(sto_ErrorKind::Misuse, std::string(what) +
                                             " in a transaction that only reads, or while an object is being "
                                             "saved or loaded.");
}

/// Begins a search for garbage in `parts` parts, each of which passes the store's objects once, and its first part.
/// Returns the size of each part.
std::int64_t BeginCollecting(sto_Session& session, sto_MeterScope& meter, int parts) {
  if (meter.Meter() == nullptr) return 0;
  session.WriteChanges();
  std::int64_t const objects = session.Driver().ObjectCount();
  meter.Begin(parts * objects);
  meter.BeginPart(objects);
  return objects;
}

/// Raises why a store was not copied, with the names of both.
[[noreturn]] void RaiseNotCopied(sto_Session const& session, std::string const& location,
                                 sto_Exception const& failure) {
  std::string const to = sto_ShownLocation(location.substr(0, location.find('\0')));
  std::string message(failure.AsString().View());
  for (std::string const& name : {session.Location() + ": ", to + ": "})
    if (message.starts_with(name)) message.erase(0, name.size());
  session.Raise(failure.Kind(), "The store cannot be copied to " + to + ": " + message);
}

} // namespace

sto_Store::sto_Store(std::unique_ptr<sto_Session> session) noexcept : m_Session(std::move(session)) {}
sto_Store::sto_Store(sto_Store&&) noexcept = default;
sto_Store& sto_Store::operator=(sto_Store&&) noexcept = default;
sto_Store::~sto_Store() = default;

sto_Store sto_Store::Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const& registrar,
                          sto_Options const& options) {
  std::string const shown = sto_ShownLocation(location);
  RefuseMistakes(shown, registrar);
  if (mode == sto_Mode::Create && options.m_AtSave != 0)
    sto_Raise(sto_ErrorKind::Misuse,
              shown + ": A new store has no save " + std::to_string(options.m_AtSave) + " to open it at.");
  auto session =
      std::make_unique<sto_Session>(shown, OpenDriver(location, mode, options), registrar, options);
  if (mode != sto_Mode::Create && registrar.HasChanges()) CheckChanges(*session);
  if (registrar.HasNotes() && !session->Driver().IsReadOnly()) session->Indexes().Prepare();
  return sto_Store(std::move(session));
}

sto_Session& sto_Store::Session() const {
  if (m_Session == nullptr) sto_Raise(sto_ErrorKind::Misuse, "The store is closed, or was moved from.");
  m_Session->RefuseInProgress();
  return *m_Session;
}

void sto_Store::Close() {
  Session().Close();
  m_Session.reset();
}

std::string const& sto_Store::Location() const {
  return Session().Location();
}

bool sto_Store::IsReadOnly() const {
  return Session().Driver().IsReadOnly();
}

void sto_Store::SaveWith(std::string_view root, void const* object, WriteObject write,
                         sto_Progress const& progress) {
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Writes);
  sto_OwnTransaction transaction(Session(), true, sto_Keeping::Handles);
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    "Saving in a transaction that only reads, or while an object is being loaded.");
  meter.Begin(0);
  Session().Save().Begin(&root);
  try {
    std::int64_t id = 0;
    unsigned int classOfRoot = 0;
    cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const* address) {
      classOfRoot = classId;
      CheckOtherName(Session(), root, uid);
      return sto_MementoWrite::ForObject(Session(), classId, uid, 1, {address, 0}, id).release();
    });
    {
      cls_WriteVisitor const visitor(request, object);
      write(object, visitor);
    }
    if (!request.IsStarted())
      Session().Raise(sto_ErrorKind::Misuse, "The object for root " + std::string(root) + " wrote nothing.");
    Session().RaiseKept();
    Session().Save().WriteLater();
    Session().RaiseKept();
    Session().Save().Check();
    CheckOtherRoots(Session(), root, id);
    Session().Driver().SetRoot(root, id, classOfRoot);
    meter.End();
    Session().Save().End();
    Session().Identities().NoteRoot(id);
  } catch (...) {
    Session().Save().Undo();
    throw;
  }
  if (transaction.IsOwn()) Session().Collections().FlushHolders();
  transaction.Commit();
}

void sto_Store::LoadErased(std::string_view root, void* read, void (*call)(void*, cls_ReadVisitor const&),
                           sto_Progress const& progress) {
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Reads);
  sto_OwnTransaction transaction(Session(), root);
  Session().WriteChangedObjects();
  sto_ReadAhead::Walk const walk(Session().Records().Ahead());
  cls_OneLoad load(Session().Loaded());
  std::optional<std::int64_t> const id = transaction.Root();
  if (!id) Session().Raise(sto_ErrorKind::NotFound, "There is no root " + std::string(root) + ".");
  if (!Session().IsGivenOut(*id))
    Session().Raise(sto_ErrorKind::Damaged, "Root " + std::string(root) + " names object " +
                                                std::to_string(*id) + ", which the store never had.");
  meter.Begin(1);
  sto_RecordRef record = Session().Records().Read(*id);
  if (record == nullptr)
    Session().Raise(sto_ErrorKind::Damaged, "Object " + std::to_string(*id) + ", which is root " +
                                                std::string(root) + ", is missing.");
  {
    cls_ReadVisitor const visitor(new (Session()) sto_MementoRead(Session(), std::move(record), 1));
    call(read, visitor);
  }
  Session().RaiseKept(); // a failure in a destructor during the load
  load.FillPointers();
  Session().RaiseKept();
  meter.End();
  load.Complete();
  Session().Identities().NoteRoot(*id);
  transaction.Commit();
}

sto_Resident& sto_Store::ResidentOf(std::string_view root) {
  sto_OwnTransaction const transaction(Session(), root);
  std::optional<std::int64_t> const id = transaction.Root();
  if (!id) Session().Raise(sto_ErrorKind::NotFound, "There is no root " + std::string(root) + ".");
  return Session().Residents().At(*id);
}

bool sto_Store::HasRoot(std::string_view root) {
  return sto_OwnTransaction(Session(), root).Root().has_value();
}

std::vector<std::string> sto_Store::Roots(std::string_view prefix) {
  sto_OwnTransaction transaction(Session(), false);
  sto_Driver& driver = Session().Driver();
  std::vector<sto_RootRow> roots = prefix.empty() ? driver.Roots() : driver.RootsFrom(prefix);
  std::vector<std::string> names;
  names.reserve(roots.size());
  for (sto_RootRow& root : roots) names.push_back(std::move(root.m_Name));
  return names;
}

std::optional<sto_RootDescription> sto_Store::DescribeRoot(std::string_view root) {
  sto_OwnTransaction const transaction(Session(), root);
  if (!transaction.Root()) return std::nullopt;
  Session().WriteChangedObjects();
  return sto_DescribeRoot(Session(), root, *transaction.Root());
}

bool sto_Store::RemoveRoot(std::string_view root) {
  sto_OwnTransaction transaction(Session(), true);
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    "Removing a root in a transaction that only reads, or while an object is being loaded.");
  bool const removed = Session().Driver().RemoveRoot(root);
  Session().Save().Reach().RemoveRoot(root);
  transaction.Commit();
  return removed;
}

bool sto_Store::RenameRoot(std::string_view from, std::string_view to) {
  sto_OwnTransaction transaction(Session(), true);
  if (!Session().IsWriting())
    Session().Raise(sto_ErrorKind::Misuse,
                    "Renaming a root in a transaction that only reads, or while an object is being loaded.");
  bool const isThere = Session().Driver().FindRoot(from).has_value();
  if (!isThere || from == to) return isThere;
  if (Session().Driver().FindRoot(to))
    Session().Raise(sto_ErrorKind::Conflict,
                    "Root " + std::string(from) + " cannot be renamed to " + std::string(to) +
                        ": there is a root of that name. Remove or rename it first.");
  Session().Save().Reach().RenameRoot(from, to);
  bool const renamed = Session().Driver().RenameRoot(from, to);
  transaction.Commit();
  return renamed;
}

std::optional<std::int64_t> sto_Store::RemoveRootAndContent(std::string_view root,
                                                            sto_Progress const& progress) {
  sto_Session& session = Session();
  if (IsReadOnly()) session.Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  sto_MeterScope meter(session, progress, sto_Meter::Counts::Parts);
  sto_OwnTransaction transaction(session, true);
  RefuseCollecting(session, "Removing a root with its content");
  session.WriteChangedObjects();
  std::optional<std::int64_t> const id = session.Driver().FindRoot(root);
  if (!id) return std::nullopt;
  std::int64_t const part = BeginCollecting(session, meter, 3);
  sto_Collector staying(session);
  staying.Mark(root);
  meter.BeginPart(part);
  sto_Collector content(session, &staying);
  if (!staying.IsMarked(*id)) content.MarkFrom(*id);
  staying.MarkRest(content);
  meter.BeginPart(part);
  std::int64_t const count = staying.Sweep(root);
  session.Save().Reach().RemoveRoot(root);
  transaction.Commit();
  return count;
}

std::int64_t sto_Store::CollectGarbage(sto_Progress const& progress) {
  if (IsReadOnly()) Session().Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Parts);
  sto_OwnTransaction transaction(Session(), true);
  RefuseCollecting(Session(), "Collecting");
  Session().WriteChangedObjects();
  std::int64_t const part = BeginCollecting(Session(), meter, 2);
  sto_Collector collector(Session());
  collector.Mark();
  meter.BeginPart(part);
  std::int64_t const count = collector.Sweep();
  transaction.Commit();
  return count;
}

std::int64_t sto_Store::CountGarbage(sto_Progress const& progress) {
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Parts);
  sto_OwnTransaction const transaction(Session(), false);
  if (Session().Save().IsGoingOn() || Session().Loaded().InLoad())
    Session().Raise(sto_ErrorKind::Misuse, "Counting garbage while an object is being saved or loaded.");
  Session().WriteChangedObjects();
  std::int64_t const part = BeginCollecting(Session(), meter, 2);
  sto_Collector collector(Session());
  collector.Mark();
  meter.BeginPart(part);
  std::int64_t const count = collector.Count();
  meter.End();
  return count;
}

std::vector<sto_SaveEntry> sto_Store::Saves(std::int64_t first) {
  sto_OwnTransaction transaction(Session(), false);
  return Session().Driver().Saves(first);
}

std::vector<sto_ClassDescription> sto_Store::Describe(unsigned int classId) {
  sto_OwnTransaction transaction(Session(), false);
  return Session().Catalogue().Describe(Session().Driver(), classId);
}

std::int64_t sto_Store::ObjectCount() {
  sto_OwnTransaction transaction(Session(), false);
  Session().WriteChanges();
  return Session().Driver().ObjectCount();
}

std::int64_t sto_Store::SizeBytes() {
  sto_OwnTransaction transaction(Session(), false);
  return Session().Driver().SizeBytes();
}

sto_StoreInfo sto_Store::Info() {
  sto_OwnTransaction transaction(Session(), false);
  return Session().Driver().Info();
}

void sto_Store::CopyTo(std::string const& location, sto_Progress const& progress) {
  sto_Session& session = Session();
  sto_MeterScope meter(session, progress, sto_Meter::Counts::Parts);
  session.RaiseKept();
  try {
    if (session.IsWriting() || session.Save().IsGoingOn() || session.Loaded().InLoad())
      session.Raise(sto_ErrorKind::Misuse,
                    "A transaction that writes is open, or an object is being saved or loaded.");
    if (!session.InTransaction() && !IsReadOnly())
      session.Close(); // only writes the unwritten changes of arrays
    sto_OwnTransaction const transaction(session, false);
    if (sto_IsOnServer(location))
      sto_CopyStore(session.Driver(), session.Location(), location, meter.Meter());
    else
      session.Driver().CopyTo(location, meter.Meter());
  } catch (sto_Exception const& failure) {
    if (meter.Meter() != nullptr) meter.Meter()->RaiseStopped(); // as it is
    RaiseNotCopied(session, location, failure);
  }
}

sto_CheckReport sto_Store::Check(sto_CheckDepth depth, std::size_t maxFindings,
                                 sto_Progress const& progress) {
  RefuseInObject(Session(), "Checking the store");
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Parts);
  sto_CheckReport report = sto_CheckStore(Session(), depth, maxFindings);
  meter.End();
  return report;
}

sto_Stat sto_Store::Stat(std::size_t maxArrays) {
  RefuseInObject(Session(), "Asking what takes room in the store");
  sto_OwnTransaction const transaction(Session(), false);
  Session().WriteChanges();
  return sto_StatMaker(Session(), maxArrays).Make();
}

void sto_Store::ReleaseObjects() {
  Session().CheckTransaction();
  if (Session().Save().IsGoingOn() || Session().Loaded().InLoad())
    Session().Raise(sto_ErrorKind::Misuse, "Letting go of objects while an object is being saved or loaded.");
  Session().Residents().Release();
}

bool sto_Store::DropIndex(unsigned int classId, std::string_view attribute) {
  sto_Session& session = Session();
  if (IsReadOnly()) session.Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  if (session.Indexes().IsDeclared(classId, attribute))
    session.Raise(sto_ErrorKind::Misuse, "The index of attribute " + std::string(attribute) + " of class " +
                                             session.Catalogue().ClassName(classId) +
                                             " is declared by this program, and cannot be dropped.");
  RefuseInObject(session, "Dropping an index");
  if (session.InTransaction())
    session.Raise(sto_ErrorKind::Misuse, "Dropping an index while a transaction is open.");
  sto_OwnTransaction transaction(session, true);
  bool const isDropped = session.Indexes().Drop(classId, attribute);
  transaction.Commit();
  return isDropped;
}

void sto_Store::Compact(sto_Progress const& progress) {
  RefuseInObject(Session(), "Compacting the store");
  if (Session().InTransaction())
    Session().Raise(sto_ErrorKind::Misuse, "Compacting the store while a transaction is open.");
  if (IsReadOnly()) Session().Raise(sto_ErrorKind::ReadOnly, "The store is open for reading only.");
  sto_MeterScope meter(Session(), progress, sto_Meter::Counts::Parts);
  Session().Close(); // only writes the unwritten changes of arrays
  Session().Driver().Compact(meter.Meter());
}

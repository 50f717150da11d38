#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <type_traits>
#include <typeinfo>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "store/base/sto_ClassDescription.h"
#include "store/base/sto_Exception.h"
#include "store/base/sto_Progress.h"
#include "store/base/sto_RootDescription.h"
#include "store/base/sto_SaveEntry.h"
#include "store/base/sto_StoreInfo.h"
#include "store/sto_CheckReport.h"
#include "store/sto_LoadScope.h"
#include "store/sto_Options.h"
#include "store/sto_Shared.h"
#include "store/sto_Stat.h"
#include "store/sto_Transaction.h"

class cls_AgentProxy;
class sto_Resident;
class sto_SearchValue;
class sto_Session;
class sto_Store;
template <class T> class sto_Ref;

// A friend of sto_Store; documented in sto_Proxy.h.
KVL_EXPORT void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);

/// How a store is opened.
enum class sto_Mode {
  Create,    ///< creates a new store; Conflict if something exists under the name
  ReadWrite, ///< opens an existing store for reading and writing; one of an older format: sto_Options::m_Upgrade
  ReadOnly, ///< opens an existing store for reading, also one of an older format
};

/// An open store of objects: one session of one program.
///
///     sto_Store store = sto_Store::Open("plate.kvs", sto_Mode::Create, registrar);
///     store.Save("analysis/step-1", model);                           // a transaction of its own
///     ...
///     std::unique_ptr<Model> model = store.Load<Model>("analysis/step-1");
///
/// Any class with `DBWrite(cls_WriteVisitor const&) const` can be saved; a class with a constructor from
/// `cls_ReadVisitor const&` can be loaded. Each class must be in the registrar with every attribute that it
/// writes: the store keeps a description of each class version that wrote to it, taken from the newest
/// version's metadata, and checks writes against it. See sto_Shared.h for how objects are built.
///
/// Invariants:
/// 1. A save is complete, or it leaves the store as it was.
/// 2. An object that is reached several times in one save is written once; cycles end.
/// 3. Saving an object again replaces what was saved under its identity.
/// 4. While an identity lives, it belongs to its stored object: loading the object again gives the same
///    identity. When the identity dies, the tie ends; no later identity is ever mistaken for it.
/// 5. Each load builds a new object. Only if a sto_LoadScope is open, LoadShared returns the existing one.
/// 6. A committed save survives the end of the process and, within what SQLite guarantees, a power loss.
/// 7. An array, a list or map of objects, or a blob shows the latest commit when the store returns it. It
///    never overwrites what another session has committed since: the write raises Conflict.
/// 8. Save refuses two objects in memory with one identity and different content (such as a copy and its
///    original) where it can detect them; docs/copies-and-identity.md says where it cannot.
/// 9. Objects nest at most sto_Format::MaxNesting deep (Full), unless they are left for later (sto_WriteLater).
///
/// Errors: sto_Exception; see sto_ErrorKind. The store stays usable after a failed operation. A failure in a
/// destructor is raised by the store's next operation, or by the commit.
///
/// Thread rule: one thread, which also owns the identities of what is saved and loaded. In another thread
/// every operation raises Misuse, and closing the store is caught by an assertion. In a child process that is
/// forked while the store is open every operation raises Misuse, and closing it leaves the file alone; the child can
/// open the file itself. REQUIRES: the store is closed before its thread ends and before nex_finalize. Several stores
/// may be open at once.
class KVL_EXPORT sto_Store {
 public:
  /// Opens the store at `location` for a program with the classes of `registrar`. The registrar does not
  /// need to contain the library's own classes (exceptions, strings, lists).
  ///
  /// `location`: a file, or "postgresql://user@host:port/database#store", a store in a PostgreSQL database as
  /// docs/server.md describes it: what stands before '#' is what libpq takes. Create makes the tables that it needs, and
  /// several stores can be in one database. Messages show the location without its password.
  ///
  /// REQUIRES: `registrar` is complete and outlives the store (its destructor asserts this; without
  /// assertions the next operation raises Misuse).
  ///
  /// Errors:
  /// - NotFound: no file, or no store in it (the file is not changed); no such database, or no such store in it;
  /// - Conflict: Create, and something exists there;
  /// - NewerFormat: written by a newer version of this module;
  /// - Misuse, before the file is touched: `registrar` has declarations that can only be mistakes, such as
  ///   one name for two classes or two registrations that differ. The message lists all of them; see
  ///   sto_CheckClasses.h. Also for invalid options, and for a location that contains a NUL character, or
  ///   one for Create that ends with -journal, -wal or -shm;
  /// - Misuse: the program says something about changes of a class (cls_ClassChanges, described classes), but not
  ///   about one that the class has gone through since a version that the store has. Conflict: such a class is
  ///   declared differently than the store has it for the same version;
  /// - ReadOnly: ReadWrite, and the file cannot be written, or the store has an older format and the options do
  ///   not say to upgrade it. An old store and its content are not changed;
  /// - Unavailable: the server cannot be reached, or refuses the user; the library was built without servers;
  /// - Damaged, Busy; Unavailable for other reasons; Full while upgrading. An upgrade that fails leaves the old store.
  ///
  /// If the program declares indexes (cls_ClassNotes::Index, kvl::Indexed) that the store does not have, ReadWrite and
  /// Create make them from the stored objects, in one transaction with an entry in the log: Busy if another session
  /// writes, Full, and Damaged if objects cannot be read. Then nothing is changed, and the store can be opened by a
  /// program that does not declare them, or for reading. ReadOnly makes none; searches then look at all objects.
  static sto_Store Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const& registrar,
                        sto_Options const& options = {});
  /// Deleted: a temporary registrar would not outlive the store.
  static sto_Store Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const&& registrar,
                        sto_Options const& options = {}) = delete;

  /// For the module itself: a store over a session with a driver of its choice. Takes over the session.
  explicit sto_Store(std::unique_ptr<sto_Session> session) noexcept;

  sto_Store(sto_Store&&) noexcept;
  sto_Store& operator=(sto_Store&&) noexcept;
  /// Closes the store; an open transaction is rolled back. Writes the unwritten changes of bulk arrays if it
  /// can, but reports no failure: call Close to get it.
  ~sto_Store();

  /// Writes the unwritten changes of bulk arrays in one transaction, detaches the arrays, and closes the
  /// store. After a failure the store is still open, and the arrays have their elements and changes. Misuse
  /// while a transaction is open. ReadOnly if the store cannot be written and one of its arrays has unwritten
  /// changes: destroy that array first. After success every operation raises Misuse.
  void Close();

  /// The file of the store, as given to Open. Valid as long as the store is open.
  [[nodiscard]] std::string const& Location() const;
  [[nodiscard]] bool IsReadOnly() const;

  /// Saves an object, and everything it holds, under a root name. Works in the open transaction, or in one of
  /// its own if none is open. It replaces the object that had the name; that object stays in the store
  /// without a name (see CollectGarbage). Saving an object again, or a collection in a wrapper, replaces what
  /// was saved, even if another session has changed it since.
  ///
  /// A bulk array that belongs to another open store is copied, block by block, each time it is saved here;
  /// it still belongs to the other store. A blob is stored as the class writes it in this save; sto_KeepBlob
  /// leaves it unchanged.
  ///
  /// After any failure the store is as it was, and so is every bulk array: an array that was in memory is
  /// there again, complete and with its identity, and unwritten changes are still unwritten. Saving again
  /// stores everything.
  ///
  /// Errors:
  /// - Misuse, naming the class or attribute: it is not declared, or declared as something else;
  /// - Misuse: an object has no part for a base class, and that class or one above it declares attributes;
  /// - Misuse: a bulk array is not in memory, because its store was closed or it was detached;
  /// - Misuse: the open transaction only reads, or an object is being loaded outside of a sto_Transaction;
  /// - Conflict: the store has a different description of a class version;
  /// - Conflict: another session has changed a bulk array, an open list or map, or a blob since it was read
  ///   here;
  /// - Conflict: two objects at different addresses have one identity and different content. Compared are the
  ///   objects of one save, and those of two saves of one transaction under different root names;
  /// - Conflict: `root` is a second name for an object that is already a root, and something the save reaches
  ///   has changed. docs/copies-and-identity.md says what is compared;
  /// - Cancelled: `progress` has cancelled it; see sto_Progress, also in the operations below;
  /// - Busy, ReadOnly, Full, Unavailable.
  template <class T>
  void Save(std::string_view root, T const& object, sto_Progress const& progress = sto_Progress()) {
    SaveWith(
        root, &object,
        [](void const* untyped, cls_WriteVisitor const& visitor) {
          auto const& typed = *static_cast<T const*>(untyped);
          if constexpr (cls_NeedsStartedVisitor<T>)
            if (visitor.StartWrite(T::TypeId(), typed.Uid()) == 0) return;
          typed.DBWrite(visitor);
        },
        progress);
  }

  /// Builds a new object from what is stored under a root name. The caller owns it; no other object can hold
  /// it. If something in its graph leads back to it, use LoadShared.
  ///
  /// Errors:
  /// - NotFound: there is no such root name;
  /// - WrongClass: T has a TypeId(), and the object is not of that class or one derived from it;
  /// - NewerFormat: a newer version of a class wrote the object than the registrar has;
  /// - Misuse: the object's base classes have changed since it was written, and its stored version has no
  ///   metadata of its own (the message says what to register), or an open sto_LoadScope has the object;
  /// - Damaged, Busy, Unavailable.
  template <class T>
  [[nodiscard]] std::unique_ptr<T> Load(std::string_view root,
                                        sto_Progress const& progress = sto_Progress()) {
    std::unique_ptr<T> object;
    LoadWith(
        root, [&object](cls_ReadVisitor const& visitor) { object = cls_ConstructRoot<T>(visitor); },
        progress);
    return object;
  }

  /// As Load, for an object that others may hold, or that its own graph leads back to, through members read
  /// with sto_ReadShared. In an open sto_LoadScope that has the object, returns that object.
  template <class T>
  [[nodiscard]] std::shared_ptr<T> LoadShared(std::string_view root,
                                              sto_Progress const& progress = sto_Progress()) {
    std::shared_ptr<T> object;
    LoadWith(
        root, [&object](cls_ReadVisitor const& visitor) { object = cls_ConstructShared<T>(visitor); },
        progress);
    return object;
  }

  /// A reference to the object under a root name, which is loaded when it is asked for. Include sto_Ref.h. NotFound if
  /// there is no such root; Busy, Unavailable.
  template <class T> [[nodiscard]] sto_Ref<T> Ref(std::string_view root) {
    return sto_Ref<T>(ResidentOf(root));
  }

  /// Lets go of the objects that references have loaded, unless they are changed or the program owns them, too
  /// (sto_Ref::Get). They are loaded again when they are asked for. What `*reference` has returned before is invalid then.
  /// For long walks, which would otherwise end with the whole model in memory, and to see what other sessions have
  /// changed. Without it, they stay until the store is closed. Misuse while an object is being saved or loaded.
  void ReleaseObjects();

  // Include store/refs/sto_Find.h, which documents them.
  template <class T, class Function> void ForEach(Function function);
  template <class T>
  [[nodiscard]] std::vector<sto_Ref<T>> Find(std::string_view attribute, sto_SearchValue const& value);
  template <class T, class Class, class Member>
  [[nodiscard]] std::vector<sto_Ref<T>> Find(Member Class::*member,
                                             std::type_identity_t<Member> const& value);
  template <class T>
  [[nodiscard]] sto_Ref<T> FindOne(std::string_view attribute, sto_SearchValue const& value);
  template <class T, class Class, class Member>
  [[nodiscard]] sto_Ref<T> FindOne(Member Class::*member, std::type_identity_t<Member> const& value);
  template <class T>
  [[nodiscard]] std::vector<sto_Ref<T>> FindBetween(std::string_view attribute, sto_SearchValue const& first,
                                                    sto_SearchValue const& last);
  template <class T, class Class, class Member>
  [[nodiscard]] std::vector<sto_Ref<T>> FindBetween(Member Class::*member,
                                                    std::type_identity_t<Member> const& first,
                                                    std::type_identity_t<Member> const& last);

  /// Whether there is an object under a root name.
  [[nodiscard]] bool HasRoot(std::string_view root);
  /// All root names, in ascending order of their bytes; only those that begin with `prefix` unless it is empty.
  /// With a prefix no other names are read. Damaged, Busy, Unavailable.
  [[nodiscard]] std::vector<std::string> Roots(std::string_view prefix = {});
  /// What the store knows about a root; empty if there is none. Reads the record of its object, without building the
  /// object, and the log of saves backwards to the save that last changed the root. The program need not know the
  /// class. Damaged, Busy, Unavailable.
  [[nodiscard]] std::optional<sto_RootDescription> DescribeRoot(std::string_view root);
  /// Removes a root name; its object stays in the store without a name. False if there is no such name. Works
  /// in the open transaction, or in one of its own. Misuse if the open transaction only reads; ReadOnly,
  /// Busy, Full, Unavailable.
  bool RemoveRoot(std::string_view root);

  /// Removes a root name, and deletes every object that only it leads to, with its blocks: all or nothing. Returns how
  /// many objects it deleted; empty if there is no such name. Works in the open transaction, or in one of its own.
  /// CollectGarbage says what leads to an object. What other roots, and collections and blobs that this session has
  /// open, lead to stays. Objects that no root leads to even before stay too, with what they lead to, until
  /// CollectGarbage.
  ///
  /// It reads what the roots lead to, and those other objects. Errors and memory: as CollectGarbage; objects that no
  /// root leads to must be sound too, so collect them first if they are damaged.
  std::optional<std::int64_t> RemoveRootAndContent(std::string_view root,
                                                   sto_Progress const& progress = sto_Progress());

  /// Renames a root; its object does not change. False if there is no root `from`. Does nothing if both names
  /// are the same. Works in the open transaction, or in one of its own. Conflict if there is a root `to`:
  /// remove or rename that one first. Misuse if the open transaction only reads; ReadOnly, Busy, Full,
  /// Unavailable.
  bool RenameRoot(std::string_view from, std::string_view to);

  /// Deletes every object that no root leads to, with its blocks, and returns how many it deleted. Works in
  /// the open transaction, or in one of its own.
  ///
  /// A root leads to its object. An object leads to what its fields hold and refer to, and to the elements of
  /// its lists and maps of objects. A reference to a base-class part leads nowhere, because no load can
  /// follow it. Collections and blobs that this session has open are kept, with everything they lead to.
  ///
  /// Objects in memory are not roots. Their identities stay tied to their ids: saving such an object again
  /// writes it under its old id, and no other object ever gets that id. Objects that only another session's
  /// memory leads to are deleted; collections and blobs that are open there then raise NotFound. The file
  /// keeps its size; the free space is reused.
  ///
  /// Errors: Misuse if the open transaction only reads, and while an object is being saved or loaded. Damaged
  /// or NewerFormat if an object cannot be read, if one that a root or another object holds is missing, or if
  /// the catalogue does not fit the objects; then nothing is deleted. ReadOnly, Busy, Full, Unavailable.
  /// Memory: one bit for each object that stays, 16 bytes for each that is found but not yet read.
  std::int64_t CollectGarbage(sto_Progress const& progress = sto_Progress());

  /// How many objects CollectGarbage would delete now. Deletes nothing, so it also works in a read-only store
  /// and in a transaction that only reads. Works in the open transaction, or in one of its own. Errors and
  /// memory: as CollectGarbage.
  [[nodiscard]] std::int64_t CountGarbage(sto_Progress const& progress = sto_Progress());

  /// The log of saves: an entry for each committed transaction that changed something, from number `first` on,
  /// ascending. The last entry is the state that the open transaction, or a new one, sees. Empty for a store
  /// of an older format, which has no log. Damaged, naming the save; Busy, Unavailable.
  ///
  /// What a program changes in memory is in the log once it is committed. Memory: a few bytes for each changed
  /// object; pass the number after the last one that you know to get the new entries only.
  [[nodiscard]] std::vector<sto_SaveEntry> Saves(std::int64_t first = 1);

  /// What the store knows about a class: each version that has written to it, ascending, with what programs have
  /// said about it (cls_ClassNotes). None for a class that has not written. Stores of older formats know no
  /// units, defaults, enumerators and notes, and one of format 1 no attributes. Damaged, Busy, Unavailable.
  [[nodiscard]] std::vector<sto_ClassDescription> Describe(unsigned int classId);

  /// How many objects the store has; base-class parts do not count.
  [[nodiscard]] std::int64_t ObjectCount();
  /// The store's size on its medium, in bytes.
  [[nodiscard]] std::int64_t SizeBytes();

  /// What the store says about itself: its format, its identity, its newest save, its size. Reads no object, so it takes
  /// the same time for every store. Works in the open transaction, or in one of its own. What is not committed yet does
  /// not count, except for the size. Damaged, Busy, Unavailable.
  [[nodiscard]] sto_StoreInfo Info();

  /// Copies the whole store to a new file, which is then a store like any other: all objects, class
  /// descriptions and free pages, the same page size, and a write-ahead log if this store has one. This store
  /// stays open; nothing in memory belongs to the copy. To copy a single root see sto_CopyRoot.
  ///
  /// To and from a server, and from one to another, the content is copied under the same ids, in portions of about
  /// 32 MiB, and in the end the sums of both are compared (Damaged if they differ). Until then it is at
  /// `location`.partial. If such a copy is interrupted, the next call goes on from there, or begins again if this store
  /// has changed. The copy has a uuid and a log of its own.
  ///
  /// The copy is one committed state. Unwritten changes of bulk arrays are written first, as in Close, and so
  /// are in the copy, unless the store is read-only. In an open sto_ReadTransaction the copy is the state
  /// that the transaction sees, without unwritten changes. During the copy other sessions can read; they can
  /// write only if the store has a write-ahead log.
  ///
  /// A file that is copied to a file appears under its name once it is complete and durable. Until then it has a temporary name
  /// (`location`.copying-...). A killed process may leave that file behind; delete it. After a failure there
  /// is no copy. Objects are not checked: damage here is damage in the copy.
  ///
  /// Errors: the message names both stores. Conflict if anything exists under the name: nothing is replaced.
  /// Conflict also if a store that was deleted has left a journal or a log there, which would damage the copy.
  /// Misuse in a transaction that writes, while an object is being saved or loaded, and for a location that
  /// contains a NUL character or ends with -journal, -wal or -shm. Full, Busy, Unavailable (also on a network
  /// file system), and the errors of Close for writing the arrays.
  void CopyTo(std::string const& location, sto_Progress const& progress = sto_Progress());

  /// Looks for damage, and returns what it finds; docs/checking-a-store.md says what each finding means. Damage in
  /// the content raises nothing: it is a finding, and the check goes on with the rest where it can. Works in the
  /// open transaction, in which it sees what is not committed yet, or in a read transaction of its own, and in a
  /// read-only store. Changes of arrays that are not written yet are not looked at.
  ///
  /// Quick compares the header, the catalogue, the log, the roots and the headers of packs with their checksums, and
  /// looks whether the roots' objects are there. A file of at most 64 MiB also gets SQLite's quick_check. Full reads
  /// everything, and the objects that roots lead to once more: each record and block is verified and decoded against
  /// the catalogue, everything that an object holds must be there, each list and blob has its blocks and no others,
  /// and the sum over all rows must be that of the newest save. The values of attributes are not judged.
  ///
  /// A store of the formats 1 to 3 has no log, no sum, and no checksums over the rows of its catalogue and its
  /// roots; nor is a collection compared with the attribute that holds it. The rest is checked.
  ///
  /// `maxFindings`: the report counts further findings and does not list them. Memory: four bytes for each object,
  /// 24 for each list in blocks and each blob, the catalogue, the names of the roots.
  ///
  /// Errors: Misuse while an object is being saved or loaded. Busy, Unavailable. Other sessions cannot commit until
  /// it is done, unless the store has a write-ahead log.
  [[nodiscard]] sto_CheckReport Check(sto_CheckDepth depth, std::size_t maxFindings = 1000,
                                      sto_Progress const& progress = sto_Progress());

  /// What takes room in the store: objects by class, the `maxArrays` largest arrays and blobs, the log, the
  /// catalogue, free pages. Works in the open transaction, or in a read transaction of its own, and in a read-only
  /// store. It reads where objects and blocks are, and the content only of the listed arrays of strings or objects.
  /// Memory: a few bytes for each class and each listed array. Misuse while an object is being saved or loaded.
  /// Damaged, Busy, Unavailable.
  [[nodiscard]] sto_Stat Stat(std::size_t maxArrays = 100);

  /// Removes the index of an attribute that this program does not declare (cls_ClassNotes::Index), in a transaction of
  /// its own; false if there is none. The store keeps an index until then, also if no program declares it any more.
  /// Without any index, programs that know no indexes can write the store again. Misuse for an index that the program
  /// declares, and while a transaction is open. ReadOnly, Busy, Full, Unavailable.
  bool DropIndex(unsigned int classId, std::string_view attribute);

  /// Gives the room that nothing uses back to the file system, and puts the rows in order: blocks that were moved
  /// when they were overwritten return to their places, and SQLite writes the file anew. Unwritten changes of bulk
  /// arrays are written first, as in Close. The log gets no entry: the content stays the same. That is verified:
  /// before and after, all rows are read, and the sum over them must be that of the newest save.
  ///
  /// A crash at any moment, or a failure, leaves a whole store with the same content. After a failure its file may
  /// have grown; a later Compact shrinks it. Room that is needed until it is done: for the moved blocks in the file;
  /// for the whole new content in the system's folder for temporary files (SQLite's; the environment variable
  /// SQLITE_TMPDIR names another one); for the old content in a journal beside the store, or in its write-ahead log. Readers beside a write-ahead log may
  /// keep the file from shrinking until the last session closes.
  ///
  /// Errors: Misuse while a transaction is open, or an object is being saved or loaded. Busy if another session
  /// writes, or reads in a store without a write-ahead log. Damaged, naming what, and nothing is changed. ReadOnly,
  /// Full, Unavailable, and the errors of Close.
  void Compact(sto_Progress const& progress = sto_Progress());

 private:
  friend class sto_InspectState;
  friend class sto_LoadScope;
  friend class sto_ReadTransaction;
  friend class sto_Transaction;
  friend cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store, std::string_view root);
  friend void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);

  /// Misuse for a store that is closed or moved from, and in a progress function.
  [[nodiscard]] sto_Session& Session() const;

  [[nodiscard]] sto_Resident& ResidentOf(std::string_view root);
  /// Calls `visit` with each object of a class, until it returns false; see ForEach.
  void VisitObjects(unsigned int classId, void* context,
                    bool (*visit)(void* context, sto_Resident& resident));
  /// Calls `take` with the objects that have a value in a range, until it returns false; see FindBetween.
  void SearchObjects(unsigned int classId, std::string_view attribute, sto_SearchValue const& first,
                     sto_SearchValue const& last, void* context,
                     bool (*take)(void* context, sto_Resident& resident));

  using WriteObject = void (*)(void const* object, cls_WriteVisitor const& visitor);
  void SaveWith(std::string_view root, void const* object, WriteObject write, sto_Progress const& progress);

  /// Calls `read` with a visitor for the root's object, in a transaction.
  template <class Read>
  void LoadWith(std::string_view root, Read read, sto_Progress const& progress = sto_Progress()) {
    LoadErased(
        root, &read,
        [](void* untyped, cls_ReadVisitor const& visitor) { (*static_cast<Read*>(untyped))(visitor); },
        progress);
  }
  void LoadErased(std::string_view root, void* read, void (*call)(void* read, cls_ReadVisitor const& visitor),
                  sto_Progress const& progress);

  std::unique_ptr<sto_Session> m_Session; // null once the store is closed or moved from
};

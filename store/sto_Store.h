#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>
#include <typeinfo>
#include <vector>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "store/base/sto_Exception.h"
#include "store/sto_LoadScope.h"
#include "store/sto_Options.h"
#include "store/sto_Shared.h"
#include "store/sto_Transaction.h"

class cls_AgentProxy;
class sto_Session;
class sto_Store;

// See sto_Proxy.h.
KVL_EXPORT void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);

/// How a store is opened.
enum class sto_Mode {
  Create,    ///< a new store; Conflict when there is something under the name already
  ReadWrite, ///< a store that is there, to read and write
  ReadOnly,  ///< a store that is there, to read
};

/// An open store: one session of one program with one store of objects.
///
///     sto_Store store = sto_Store::Open("plate.kvs", sto_Mode::Create, registrar);
///     store.Save("analysis/step-1", model);                           // a transaction of its own
///     ...
///     std::unique_ptr<Model> model = store.Load<Model>("analysis/step-1");
///
/// A saved object is any class with `DBWrite(cls_WriteVisitor const&) const`; a loaded one has a constructor
/// from `cls_ReadVisitor const&`. Each class is in the registrar, with every attribute that it writes:
/// the store describes each class version that wrote to it, by the newest version's metadata, and checks what
/// is written against it. See sto_Shared.h for how objects are built.
///
/// Invariants:
/// 1. A save is complete or leaves the store as it was. An object that is reached several times in one save
/// is written once, and cycles end. Saving an object again replaces what its identity was saved as before.
///
/// 2. While an identity lives, it and its stored object belong together: loading the object again gives the
/// same identity. When it dies, the tie between them ends; a later identity is never taken for it. Each load
/// builds a new object with that identity, unless a sto_LoadScope is open: then LoadShared gives the one that
/// is there.
///
/// 3. A committed save survives the end of the process and, within what SQLite promises, the loss of power.
///
/// 4. What an array, a list or a map of objects, or a blob shows when it is handed out is the latest commit.
/// What another session has committed since is not overwritten: the write raises Conflict.
///
/// 5. Two objects in memory with one identity and different content, as a copy and its original, are refused
/// where Save can tell; docs/copies-and-identity.md says where it cannot.
///
/// Failures are sto_Exception; see sto_ErrorKind. After a failed operation the store can be used on. What
/// fails in a destructor is raised by the next operation of the store, or by the commit.
/// Objects nest at most sto_Format::MaxNesting deep.
///
/// Thread rule: one thread, which also owns the identities of what is saved and loaded. In another thread
/// operations raise Misuse, and closing is an assertion. The store must be closed before its thread ends and
/// before nex_finalize. Several stores may be open at once.
class KVL_EXPORT sto_Store {
 public:
  /// Opens the store in file `location` for a program with the classes of `registrar`, which is complete and
  /// outlives the store (an assertion of the registrar; without assertions the next operation is Misuse). It
  /// need not hold the library's own classes (exceptions, strings, lists).
  /// NotFound: no file there, or no store in it (the file is left as it is). Conflict: Create and something
  /// is there. NewerFormat: written by a newer version of this module. Damaged, ReadOnly, Busy, Unavailable.
  /// Misuse, before the file is touched: the registrar has declarations that can only be slips, as one name
  /// for two classes, one number for two attributes, a repeated registration that differs, or a circle of
  /// base classes. The message has all of them; sto_CheckClasses.h has the list.
  /// Misuse for invalid options (some are used by Create only, some each time), and for a location with a NUL
  /// character.
  static sto_Store Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const& registrar,
                        sto_Options const& options = {});
  /// A registrar that would go before the store does.
  static sto_Store Open(std::string const& location, sto_Mode mode, cls_ClassRegistrar const&& registrar,
                        sto_Options const& options = {}) = delete;

  /// The store of a session that the module itself has made, over a driver of its choice.
  explicit sto_Store(std::unique_ptr<sto_Session> session) noexcept;

  sto_Store(sto_Store&&) noexcept;
  sto_Store& operator=(sto_Store&&) noexcept;
  /// Closes the store; an open transaction is rolled back. What bulk arrays have not written is written, if
  /// that succeeds: a failure is not reported here. Close reports it.
  ~sto_Store();

  /// Writes what bulk arrays have changed and not written, in one transaction, and closes the store; its
  /// arrays are detached. When it raises, the store is still open, and the arrays have what they had. Misuse
  /// while a transaction is open, and in every operation after it. ReadOnly for a store that cannot be
  /// written while an array of it is changed: drop the array first.
  void Close();

  /// The file of the store.
  [[nodiscard]] std::string const& Location() const;
  [[nodiscard]] bool IsReadOnly() const;

  /// Saves an object, and all that it holds, under a root name, replacing what had that name (which stays in
  /// the store without name; see CollectGarbage). In the open transaction, or else in one of its own. Busy,
  /// ReadOnly, Full, Unavailable. Misuse, naming it, for an undeclared class or attribute, or one that is
  /// declared as something else. Conflict, for a class version that the store knows under another
  /// description, and for a bulk array, an open list or map, or a blob that another session has changed since
  /// it was read here. An object, or a collection in a wrapper, is replaced by the later save.
  ///
  /// Misuse for an object without a base-class part whose class, or one above it, declares attributes.
  ///
  /// Conflict for two objects with one identity and different content: in one save, where the second one is
  /// met at another address; in another save of the transaction under another root name, at another address;
  /// and when `root` is a new name for an object that is a root already and something that the save reaches
  /// has changed. docs/copies-and-identity.md says what is compared. Saving under the same name replaces.
  ///
  /// When it raises, whatever the reason, the store is as it was and so is every bulk array: one that was in
  /// memory is in memory, whole, with its identity, and what an array had not written is still not written.
  /// Saving again stores everything. A bulk array that belongs to another open store is copied, block by
  /// block, each time that it is saved here, and stays with the store that it belongs to. Misuse for one
  /// whose elements are not in memory, because its store was closed or it was detached. A blob is stored as
  /// the class writes it in this save; see sto_KeepBlob for leaving it as it is.
  template <class T> void Save(std::string_view root, T const& object) {
    SaveWith(root, &object, [](void const* untyped, cls_WriteVisitor const& visitor) {
      auto const& typed = *static_cast<T const*>(untyped);
      if constexpr (cls_NeedsStartedVisitor<T>)
        if (visitor.StartWrite(T::TypeId(), typed.Uid()) == 0) return;
      typed.DBWrite(visitor);
    });
  }

  /// Builds a new object of what is stored under a root name. No other object can hold it; where something in
  /// its own graph leads back to it, use LoadShared.
  /// NotFound for an unknown name; WrongClass when T has a TypeId() and the object is not of its class or one
  /// derived from it; NewerFormat when a newer version of a class wrote it than the registrar has; Damaged.
  /// Misuse for an object whose base classes have changed since it was written, unless its stored version has
  /// metadata of its own; the message says what to register. Misuse in a sto_LoadScope that has the object.
  template <class T> [[nodiscard]] std::unique_ptr<T> Load(std::string_view root) {
    std::unique_ptr<T> object;
    LoadWith(root, [&object](cls_ReadVisitor const& visitor) {
      sto_HoldUnshared(visitor, typeid(T));
      object = sto_Construct<T>(visitor);
    });
    return object;
  }

  /// The same for an object that its graph may lead back to, through members read with sto_ReadShared.
  template <class T> [[nodiscard]] std::shared_ptr<T> LoadShared(std::string_view root) {
    std::shared_ptr<T> object;
    LoadWith(root, [&object](cls_ReadVisitor const& visitor) { object = sto_ConstructShared<T>(visitor); });
    return object;
  }

  /// Whether there is an object under a root name.
  [[nodiscard]] bool HasRoot(std::string_view root);
  /// All root names, in ascending order of their bytes.
  [[nodiscard]] std::vector<std::string> Roots();
  /// Takes a root name away; its object stays in the store without name. False when there is no such name.
  bool RemoveRoot(std::string_view root);

  /// Gives what is under a root name another name; its object stays as it is. False when there is no root
  /// `from`. Nothing happens when the two are the same name. In the open transaction, or else in one of its
  /// own. Conflict when there is a root `to`: remove or rename that first. Misuse, ReadOnly, Busy, Full,
  /// Unavailable.
  bool RenameRoot(std::string_view from, std::string_view to);

  /// Deletes every object that no root leads to, with its blocks, and returns how many went. A root leads to
  /// its object, and an object to what its fields hold and refer to and to the elements of its lists and maps
  /// of objects. A reference to a base-class part leads nowhere, because no load can follow it. Collections
  /// that an agent of this session has open (bulk arrays, lists and maps of objects, blobs) are kept, with
  /// what they lead to. In the open transaction, or else in one of its own.
  ///
  /// Objects in memory are no roots. Their identities stay tied, so that saving them again writes them under
  /// the ids that they had; no other object ever gets these. What only another session's memory leads to is
  /// deleted: collections and blobs that it has open raise NotFound there. The file keeps its size; the room
  /// is used again.
  ///
  /// Misuse in a transaction that only reads, and while something is saved or loaded. Damaged, NewerFormat
  /// for an object that cannot be read, or that a root or another object holds and that is missing, or for a
  /// catalogue that does not fit the objects: then nothing is deleted. ReadOnly, Busy,
  /// Full, Unavailable. Memory: one bit for each object that stays, 16 bytes for each that is met and not yet
  /// read.
  std::int64_t CollectGarbage();

  /// How many objects CollectGarbage would delete now. Deletes nothing, so it works in a store that is open
  /// for reading only, and in a transaction that only reads. In the open transaction, or else in one of its
  /// own. Errors and memory: as CollectGarbage.
  [[nodiscard]] std::int64_t CountGarbage();

  /// How many objects the store has (base-class parts are not counted on their own).
  [[nodiscard]] std::int64_t ObjectCount();
  /// The store's size on its medium, in bytes.
  [[nodiscard]] std::int64_t SizeBytes();

  /// Copies the whole store to a new file, which is a store like any other then: with all objects, class
  /// descriptions and free pages, the same size of pages, and a write-ahead log if this one has it. This
  /// store stays open, and nothing in memory belongs to the copy. To copy a single root see sto_CopyRoot.
  ///
  /// The copy is one committed state. What bulk arrays have changed and not written is written first, as
  /// Close does it, and so is in the copy; not so in a store that is open for reading only. In an open
  /// sto_ReadTransaction the copy is the state that it sees, without what arrays have not written.
  /// While it is copied, other sessions can read; they can write only beside a write-ahead log.
  ///
  /// The file appears under its name when it is whole, and durable: until then it has a name of its own
  /// beside it (`location`.copying-..., to be deleted when a killed process has left it; it is no store, or
  /// in the last moment a whole one). When this raises, there is no copy. Objects are not looked at, so what
  /// is damaged here is damaged in the copy.
  ///
  /// Messages name both stores. Conflict when there is anything under the name: nothing is replaced. Misuse
  /// in a transaction that writes, and while something is saved or loaded; for a location with a NUL
  /// character. Full, Busy, Unavailable, also on a network file system. What writing arrays raises: see
  /// Close.
  void CopyTo(std::string const& location);

 private:
  friend class sto_LoadScope;
  friend class sto_ReadTransaction;
  friend class sto_Transaction;
  friend cow_CountedHld<cls_AgentProxy> sto_MakeProxy(sto_Store& store, std::string_view root);
  friend void sto_CopyRoot(sto_Store& from, std::string_view name, sto_Store& to, std::string_view newName);

  /// Misuse for a store that is closed, or was moved from.
  [[nodiscard]] sto_Session& Session() const;

  using WriteObject = void (*)(void const* object, cls_WriteVisitor const& visitor);
  void SaveWith(std::string_view root, void const* object, WriteObject write);

  /// Calls `read` with a visitor on the root's object, in a transaction.
  template <class Read> void LoadWith(std::string_view root, Read read) {
    LoadErased(root, &read, [](void* untyped, cls_ReadVisitor const& visitor) {
      (*static_cast<Read*>(untyped))(visitor);
    });
  }
  void LoadErased(std::string_view root, void* read,
                  void (*call)(void* read, cls_ReadVisitor const& visitor));

  std::unique_ptr<sto_Session> m_Session;
};

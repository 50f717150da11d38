#pragma once

#include <memory>
#include <string_view>

#include "platform/kvl_Export.h"

class sto_Session;
class sto_Store;

/// A transaction on a store. Commit makes everything saved in it durable and visible to others, all or
/// nothing. Without Commit the destructor rolls back. A store has one transaction at a time (Misuse).
///
///     sto_Transaction transaction(store);
///     store.Save("mesh", mesh);
///     store.Save("result", result);
///     transaction.Commit();
///
/// REQUIRES: the store outlives it (otherwise Commit raises Misuse). Thread rule: as the store.
class KVL_EXPORT sto_Transaction {
 public:
  /// Begins a transaction. Waits for another writer as long as sto_Options::m_BusyMilliseconds says, then
  /// raises Busy. ReadOnly if the store is open for reading only; Misuse if a transaction is open.
  explicit sto_Transaction(sto_Store& store);
  ~sto_Transaction();
  sto_Transaction(sto_Transaction const&) = delete;
  sto_Transaction& operator=(sto_Transaction const&) = delete;

  /// Sets what the log says about this transaction once it is committed, such as "step 12, load case B";
  /// replaces an earlier note. A transaction that changes nothing has no entry, and its note is lost. See
  /// sto_Store::Saves. Misuse if the transaction is over; Unavailable if a failure has undone it.
  void SetNote(std::string_view note);

  /// Makes everything durable, including unwritten changes of bulk arrays. The transaction is then over.
  ///
  /// After Busy (another program is reading or writing) or Conflict the transaction is still open: commit
  /// again, or roll back. A Conflict that names objects or roots (sto_Exception::Conflicts) is raised by each
  /// further attempt: roll back. After any other failure the database may have undone the transaction. Then it can
  /// only be rolled back; every other operation, Commit included, raises Unavailable. Misuse if the
  /// transaction is over.
  void Commit();

  /// Undoes everything. Does nothing if the transaction is over. Afterwards:
  /// - the store no longer knows identities that were first saved in the transaction;
  /// - a bulk array that was first saved in it is in memory again, with its identity and the elements it had
  ///   when that save began;
  /// - a bulk array that the store had before is as it was when the transaction began: the committed
  ///   elements, and the changes that were unwritten then;
  /// - references to elements are invalid;
  /// - what cannot be restored raises Unavailable at every use and every save: a cls_SimpleArrayPrim, an
  ///   agent of a list or map of objects, or an agent of a blob that was made in the undone work; an array
  ///   that was loaded from it; a cls_2dArrayPrim that was assigned from such an array.
  void Rollback() noexcept;

 private:
  /// Misuse if the transaction is over.
  [[nodiscard]] sto_Session& Session() const;

  // Null when the transaction is over; points to null when the store is closed.
  std::shared_ptr<sto_Session*> m_Session;
};

/// A transaction that only reads: everything in it sees one state of the store. Reading many objects, or many
/// blocks of a bulk array, is several times faster in one transaction than in one each. While it is open,
/// other sessions cannot commit (unless the store has a write-ahead log): keep it short.
///
///     sto_ReadTransaction const transaction(store);
///     for (int i = 0; i < history.Size(); ++i) sum += history.ConstGet(i);
///
/// Writing inside it raises Misuse. The destructor ends it. REQUIRES: the store outlives it. Thread rule: as
/// the store.
class KVL_EXPORT sto_ReadTransaction {
 public:
  /// Begins a transaction. Misuse if a transaction is open; Busy, Unavailable.
  explicit sto_ReadTransaction(sto_Store& store);
  ~sto_ReadTransaction();
  sto_ReadTransaction(sto_ReadTransaction const&) = delete;
  sto_ReadTransaction& operator=(sto_ReadTransaction const&) = delete;

 private:
  std::shared_ptr<sto_Session*> m_Session; // points to null when the store is closed
};

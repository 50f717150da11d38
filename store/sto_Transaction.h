#pragma once

#include <memory>

#include "platform/kvl_Export.h"

class sto_Session;
class sto_Store;

/// A transaction on a store: what is saved in it becomes durable and visible to others with Commit, all or
/// nothing. Without Commit the destructor rolls back. One transaction a store at a time (Misuse).
///
///     sto_Transaction transaction(store);
///     store.Save("mesh", mesh);
///     store.Save("result", result);
///     transaction.Commit();
///
/// The store must outlive it. Thread rule: as the store.
class KVL_EXPORT sto_Transaction {
 public:
  /// Begins; waits up to some seconds for another writer, then raises Busy. ReadOnly for a store that is.
  explicit sto_Transaction(sto_Store& store);
  ~sto_Transaction();
  sto_Transaction(sto_Transaction const&) = delete;
  sto_Transaction& operator=(sto_Transaction const&) = delete;

  /// Makes everything durable, with what bulk arrays have changed. When it raises Busy (another program is
  /// reading or writing), or Conflict, the transaction is still open: commit again, or roll back. After any
  /// other failure the database may have undone the transaction; then all that is left is to roll back, and
  /// every operation until then, Commit too, raises Unavailable.
  void Commit();

  /// Undoes everything; identities that were first saved in the transaction are unknown to the store again.
  /// A bulk array that was first saved in it is in memory again, with its identity and the elements that it
  /// had when that save began. One that the store had before is as it was when the transaction began:
  /// committed elements, and those that had been changed before and not written. References to elements are
  /// not valid any more. What cannot be brought back raises Unavailable at every use and at every save: a
  /// cls_SimpleArrayPrim, an agent of a list or map of objects, and a blob's agent that were made in the
  /// undone work; an array that was loaded from it; a cls_2dArrayPrim that was assigned from one.
  void Rollback() noexcept;

 private:
  // Null when the transaction is over; points to null when the store is closed.
  std::shared_ptr<sto_Session*> m_Session;
};

/// A transaction on a store that only reads: everything in it sees one state of the store. Reading many
/// objects, or many blocks of a bulk array, is several times faster in one than each by itself. While it is
/// open, other sessions cannot commit: keep it short.
///
///     sto_ReadTransaction const transaction(store);
///     for (int i = 0; i < history.Size(); ++i) sum += history.ConstGet(i);
///
/// Writing inside it raises Misuse. The store must outlive it. Thread rule: as the store.
class KVL_EXPORT sto_ReadTransaction {
 public:
  /// Begins; Misuse when a transaction is open.
  explicit sto_ReadTransaction(sto_Store& store);
  ~sto_ReadTransaction();
  sto_ReadTransaction(sto_ReadTransaction const&) = delete;
  sto_ReadTransaction& operator=(sto_ReadTransaction const&) = delete;

 private:
  std::shared_ptr<sto_Session*> m_Session; // points to null when the store is closed
};

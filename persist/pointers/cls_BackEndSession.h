#pragma once

#include <cstdint>
#include <exception>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <set>
#include <stdexcept>
#include <string>
#include <utility>

#include "persist/backend/cls_AgentRequest.h"
#include "persist/backend/cls_IndexedCollections.h"
#include "persist/backend/cls_RootRequest.h"
#include "persist/identity/cls_IdentityMap.h"
#include "persist/pointers/cls_Pointers.h"
#include "persist/pointers/cls_RegistrarSource.h"
#include "persist/visitors/cls_WriteVisitor.h"

/// Base of a back end's session: what is the same whatever the objects are kept in. It numbers objects, builds
/// what is behind pointers, and knows which agents are in use and which objects a save has written.
/// examples/backend-jsonl is made with it. `Self`, which derives from it, has three members:
///
///     // Saves a root object: makes a request (cls_RootRequest) and calls `write` with it.
///     void SaveWith(std::string const& root, std::function<void(cls_AgentRequest const&)> const& write);
///     cls_MementoRead* ReaderOf(std::string const& root); // of a root object; the receiver deletes it
///     void Commit(); // stores what has changed, all or nothing
///     void ReadIfReplaced(); // reads what other sessions have committed, all or nothing
///
/// and overrides RaiseNotBuilt. `Self` calls Change for all that it changes, and so a save that fails, and an
/// element whose memento an exception destroys, are undone. The registrar outlives the session. Errors: whatever
/// `Self` raises. Thread rule: one thread.
template <class Self> class cls_BackEndSession : public cls_RegistrarSource {
 public:
  explicit cls_BackEndSession(cls_ClassRegistrar const& classes) : cls_RegistrarSource(classes) {}
  ~cls_BackEndSession() override { *m_Link = nullptr; }

  /// Saves an object under a root name, and commits it. After a failure everything is as it was before, and
  /// containers that were tied to new lists are in memory again. Throws std::logic_error inside of another save.
  template <class T> void Save(std::string const& root, T const& object) {
    if (m_IsSaving) throw std::logic_error("An object cannot be saved while the session saves another one.");
    Settle();
    bool const hadChanges = m_HasChanges;
    std::weak_ptr<Writing> const outer = std::exchange(m_Writing, {}); // an element that is being written
    Written const written = WrittenIds();
    m_IsSaving = true;
    try {
      SessionSelf().SaveWith(root, [&object](cls_AgentRequest const& request) {
        object.DBWrite(cls_WriteVisitor(request, &object));
      });
      CommitChanges();
    } catch (...) {
      written->Undo();
      EndSave(outer);
      m_HasChanges = hadChanges;
      throw;
    }
    written->m_Undo.clear();
    EndSave(outer);
  }
  /// Builds the object of a root name anew, with what it leads to: for one owner, or shared.
  template <class T> [[nodiscard]] std::unique_ptr<T> Load(std::string const& root) {
    return cls_LoadOwned<T>(*this, cls_ReadVisitor(MakeReader(root)));
  }
  template <class T> [[nodiscard]] std::shared_ptr<T> LoadShared(std::string const& root) {
    return cls_LoadShared<T>(*this, cls_ReadVisitor(MakeReader(root)));
  }
  /// The memento of a root object, as it is stored now; the receiver deletes it.
  cls_MementoRead* MakeReader(std::string const& root) {
    if (!IsWriting()) Settle();
    return SessionSelf().ReaderOf(root);
  }

  /// Commits what containers have changed, and detaches them: they go on in memory.
  void Close() {
    m_Agents.Flush();
    RaiseKept();
    CommitChanges();
    m_Agents.Detach();
  }
  /// The same without an exception, for the destructor of `Self`: containers are detached in any case.
  void CloseQuietly() noexcept {
    try {
      Close();
    } catch (...) {
      m_Agents.Detach();
    }
  }

  /// What agents call at the end of a flush: commits, unless something is being written.
  void EndFlush() {
    if (!IsWriting()) CommitChanges();
  }
  /// Keeps the exception that is being handled, unless one is kept already: the next Save, Load or Close raises
  /// it, once. For what fails in a destructor.
  void KeepFailure() noexcept {
    if (!m_Failure) m_Failure = std::current_exception();
  }
  /// Reads what other sessions have committed, unless this one has changes of its own.
  void Refresh() {
    if (!m_HasChanges && !IsWriting()) SessionSelf().ReadIfReplaced();
  }

  /// `place`, for changing it. What it is now comes back if the save, or the element, that is being written
  /// fails. REQUIRES: it keeps its address. Throws std::bad_alloc; then nothing has changed.
  template <class T> T& Change(T& place) {
    Written const written = m_Writing.lock();
    if (written && !written->m_Undo.contains(&place)) // copies only once
      written->m_Undo.emplace(&place, [&place, before = place]() mutable { std::swap(place, before); });
    m_HasChanges = true;
    return place;
  }
  /// Calls `act` if what is being written fails; the first one for a place. It must not raise anything.
  template <class Act> void OnUndo(void const* place, Act act) {
    if (Written const written = m_Writing.lock()) written->m_Undo.try_emplace(place, std::move(act));
  }
  [[nodiscard]] bool HasChanges() const noexcept { return m_HasChanges; }
  /// For `Self`, which has read its state anew: nothing has changed any more.
  void ForgetChanges() noexcept { m_HasChanges = false; }

  /// The id of an object or a part of one. A new id is one that no other session gives out: each begins at a
  /// number of its own, and goes on from there.
  [[nodiscard]] std::int64_t IdOf(cls_Uid const& uid) { return m_Identities.IdOf(uid, m_NextId); }
  /// The identity of what has an id; a new one if `id` is not above 0, as no id is.
  [[nodiscard]] cls_Uid IdentityOf(std::int64_t id) {
    return id > 0 ? m_Identities.IdentityOf(id) : cls_Uid();
  }
  [[nodiscard]] bool HasIdentity(std::int64_t id) noexcept override {
    return id > 0 && m_Identities.EntryOf(id) != nullptr;
  }

  /// Leads to the session; to null when it has ended. For what may outlive it, such as agents.
  [[nodiscard]] std::shared_ptr<Self*> const& Link() noexcept {
    *m_Link = &SessionSelf(); // not in the constructor: there is no Self yet
    return m_Link;
  }
  /// The agents that containers hold. REQUIRES: the destructor of `Self` calls CloseQuietly.
  [[nodiscard]] cls_AgentRegistry& Agents() noexcept { return m_Agents; }

  /// What is being written: a save, or an element that is written through an agent. Undone when an exception
  /// destroys its last memento.
  struct Writing {
    Writing() = default;
    Writing(Writing const&) = delete;
    Writing& operator=(Writing const&) = delete;
    ~Writing() {
      if (std::uncaught_exceptions() > m_Exceptions) Undo();
    }
    void Undo() noexcept {
      for (auto const& undo : m_Undo) undo.second();
      m_Undo.clear();
    }

    std::set<std::int64_t> m_Ids; ///< of the objects that are written already
    std::map<void const*, std::function<void()>> m_Undo;
    int m_Exceptions = std::uncaught_exceptions();
  };
  /// Each writing memento keeps a reference: an object is written once until all are deleted, or by each save.
  using Written = std::shared_ptr<Writing>;
  [[nodiscard]] Written WrittenIds() {
    Written written = m_Writing.lock();
    if (written == nullptr) m_Writing = written = std::make_shared<Writing>();
    return written;
  }
  [[nodiscard]] bool IsWriting() const noexcept { return !m_Writing.expired(); }

 private:
  [[nodiscard]] Self& SessionSelf() noexcept { return static_cast<Self&>(*this); }
  /// Before a save or a load: what containers have changed is stored, and what others have stored is here.
  void Settle() {
    m_Agents.Flush();
    RaiseKept();
    CommitChanges();
    Refresh();
  }
  void CommitChanges() {
    if (m_HasChanges) SessionSelf().Commit();
    m_HasChanges = false;
  }
  void RaiseKept() {
    if (m_Failure) std::rethrow_exception(std::exchange(m_Failure, nullptr));
  }
  void EndSave(std::weak_ptr<Writing> const& outer) noexcept {
    m_Writing = outer;
    m_IsSaving = false;
  }
  /// A new number above 2^20, with room for as many ids before the next.
  [[nodiscard]] static std::int64_t FirstId() {
    return (static_cast<std::int64_t>(std::random_device()()) + 1) << 20;
  }

  cls_IdentityMap m_Identities;
  std::int64_t m_NextId = FirstId();
  cls_AgentRegistry m_Agents;
  std::weak_ptr<Writing> m_Writing;
  std::exception_ptr m_Failure;
  bool m_IsSaving = false;
  bool m_HasChanges = false; // that are not committed
  std::shared_ptr<Self*> m_Link = std::make_shared<Self*>(nullptr);
};

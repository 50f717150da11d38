#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <random>
#include <set>
#include <string>

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
///     cls_MementoRead* MakeReader(std::string const& root); // of a root object; the receiver deletes it
///     void Commit(); // what agents have written since the last commit
///
/// and overrides RaiseNotBuilt. The registrar outlives the session. Errors: whatever `Self` raises. Thread rule:
/// one thread.
template <class Self> class cls_BackEndSession : public cls_RegistrarSource {
 public:
  explicit cls_BackEndSession(cls_ClassRegistrar const& classes) : cls_RegistrarSource(classes) {}
  ~cls_BackEndSession() override { *m_Link = nullptr; }

  /// Saves an object under a root name.
  template <class T> void Save(std::string const& root, T const& object) {
    SessionSelf().SaveWith(root, [&object](cls_AgentRequest const& request) {
      object.DBWrite(cls_WriteVisitor(request, &object));
    });
  }
  /// Builds the object of a root name anew, with what it leads to: for one owner, or shared.
  template <class T> [[nodiscard]] std::unique_ptr<T> Load(std::string const& root) {
    return cls_LoadOwned<T>(*this, cls_ReadVisitor(SessionSelf().MakeReader(root)));
  }
  template <class T> [[nodiscard]] std::shared_ptr<T> LoadShared(std::string const& root) {
    return cls_LoadShared<T>(*this, cls_ReadVisitor(SessionSelf().MakeReader(root)));
  }

  /// Commits what containers have changed, and detaches them: they go on in memory.
  void Close() {
    m_Agents.Flush();
    SessionSelf().Commit();
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

  /// What agents call at the end of a flush: commits, unless a save is under way. A failure is not reported,
  /// because an array that is destroyed flushes too: the next commit tries again.
  void EndFlush() noexcept {
    try {
      if (!IsWriting()) SessionSelf().Commit();
    } catch (...) { // what is not committed stays changed
    }
  }

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

  /// The ids of what is written already. Each writing memento that is open keeps a reference: an object is
  /// written once until all are deleted.
  using Written = std::shared_ptr<std::set<std::int64_t>>;
  [[nodiscard]] Written WrittenIds() {
    Written written = m_Written.lock();
    if (written == nullptr) m_Written = written = std::make_shared<std::set<std::int64_t>>();
    return written;
  }
  [[nodiscard]] bool IsWriting() const noexcept { return !m_Written.expired(); }

 private:
  [[nodiscard]] Self& SessionSelf() noexcept { return static_cast<Self&>(*this); }
  /// A new number above 2^20, with room for as many ids before the next.
  [[nodiscard]] static std::int64_t FirstId() {
    return (static_cast<std::int64_t>(std::random_device()()) + 1) << 20;
  }

  cls_IdentityMap m_Identities;
  std::int64_t m_NextId = FirstId();
  cls_AgentRegistry m_Agents;
  std::weak_ptr<std::set<std::int64_t>> m_Written;
  std::shared_ptr<Self*> m_Link = std::make_shared<Self*>(nullptr);
};

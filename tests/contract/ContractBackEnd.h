#pragma once

#include <cstdint>
#include <memory>
#include <ostream>
#include <set>
#include <string>
#include <vector>

#include "errors/nex_Exception.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_AgentProxy.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/PersistedClasses.h"

// What the contract suite needs of a back end. To run the suite, implement ContractSession and
// ContractBackEnd, and define ContractSettings():
//
//     std::vector<ContractSetting> ContractSettings() {
//       return {{.m_Name = "Mine", .m_Make = MakeMyBackEnd}};
//     }
//
// Four operations are needed: Open, Save, Load and Classify. The rest is for what only some back ends can do.
// A test that needs more than ContractAbilities says is skipped, and the program prints how many were.
// Everything runs in one thread, in the order of the test.

/// How a session opens the storage of a test.
enum class ContractMode {
  Create,    ///< the storage is new
  ReadWrite, ///< it exists
  ReadOnly,  ///< it exists, and this session does not write; only with m_ReadsOnly
};

/// The kinds of failure that the suite tells apart.
enum class ContractError {
  Other,       ///< anything else
  NotFound,    ///< nothing is stored under the root's name
  WrongClass,  ///< what is stored has another class or type
  Misuse,      ///< the caller did what is not allowed
  ReadOnly,    ///< written where writing is refused
  Full,        ///< a limit is exceeded, such as that of nesting
  Unavailable, ///< the storage is closed
};

/// What a back end can do beyond saving and loading, and where it may choose. The defaults are those of the
/// smallest back end that the suite accepts.
struct ContractAbilities {
  // What it can do. The operations of ContractSession that a flag names are called only with that flag.

  /// What was saved is there when another session opens the storage, after the first has ended.
  bool m_Reopens = false;
  /// A session can be opened for reading only. Its agents say ReadOnly, and all writes raise an exception.
  bool m_ReadsOnly = false;
  /// A second session can be open at the same time. Each sees what the other has saved or flushed, and
  /// agents answer Changed once when the other session has changed their collection.
  bool m_SharesChanges = false;
  /// HasRoot, Roots, RemoveRoot.
  bool m_NamesRoots = false;
  /// ObjectCount.
  bool m_CountsObjects = false;
  /// CollectGarbage. Needs m_NamesRoots and m_CountsObjects.
  bool m_CollectsGarbage = false;
  /// SizeBytes, and room that is freed is used again. Needs m_CollectsGarbage.
  bool m_ReusesRoom = false;
  /// Begin, Commit, Rollback.
  bool m_HasTransactions = false;
  /// MakeProxy, and CopyBranch copies what such a proxy represents, also from another storage.
  bool m_MakesProxies = false;
  /// Its reading mementos derive from cls_StoredObject, and Load is a cls_OneLoad that builds the root with
  /// cls_ConstructRoot<Scripted>. The error about an object behind a pointer is WrongClass if its class is not
  /// the one that is asked for, and names both; it is Misuse for all other faults.
  bool m_OffersStoredObjects = false;
  /// Lists of bytes, of integers of 16 and 64 bits, and of complex numbers (persist/backend/cls_MoreLists.h).
  bool m_HasMoreLists = false;

  // Where it may choose.

  /// CopyBranch asks proxies of other kinds to transfer themselves; without it, it answers false.
  bool m_AsksProxies = false;
  /// CheckCollectionType of a writing memento raises an exception when the class declares something else.
  bool m_ChecksDeclarations = false;
  /// A list whose number of elements is not a multiple of its row width is refused.
  bool m_RefusesPartialRows = false;
  /// An integer that is read as another type of integers is converted if it fits. Without the flag that
  /// raises an exception, as reading any scalar as a type that cannot hold it always does.
  bool m_ConvertsIntegers = false;
  /// The greatest depth of objects that hold each other; 0 if there is none. Deeper ones raise Full, and the
  /// message has the number.
  int m_NestingLimit = 0;
  /// The kinds that Classify tells apart. A test that expects another kind takes any exception.
  std::set<ContractError> m_TellsApart;
};

/// One session with a storage. Its destructor ends the session: it flushes the holders of agents, unless the
/// storage ends as well, and detaches them. It does not throw.
class ContractSession {
 public:
  using Proxy = cow_CountedHld<cls_AgentProxy>;

  ContractSession() = default;
  ContractSession(ContractSession const&) = delete;
  ContractSession& operator=(ContractSession const&) = delete;
  virtual ~ContractSession() = default;

  /// Saves an object under a root's name:
  ///
  ///     MyRequest const request(...);                      // a cls_AgentRequest
  ///     object.DBWrite(cls_WriteVisitor(request, &object));
  ///
  /// When that raises something, what was stored before is there unchanged, and the exception goes on. The
  /// name may have been another object's; that one loses it.
  virtual void Save(std::string const& root, Scripted const& object) = 0;

  /// Calls `read` with a visitor on the stored object. Raises NotFound, with the name in its text, when there
  /// is none.
  virtual void Load(std::string const& root, Scripted::ReadFields const& read) = 0;

  // For back ends with the flags named above. The defaults fail the test.

  virtual bool HasRoot(std::string const& root);
  /// In ascending order.
  virtual std::vector<std::string> Roots();
  /// False when there is no such name. The object stays until garbage is collected.
  virtual bool RemoveRoot(std::string const& root);
  /// Collections and blobs are objects; base-class parts are not.
  virtual std::int64_t ObjectCount();
  /// Deletes the objects that no root leads to, and returns their number. Collections and blobs that have an
  /// agent stay. ReadOnly in a session that only reads.
  virtual std::int64_t CollectGarbage();
  virtual std::int64_t SizeBytes();
  /// Saves, roots, collecting and what agents write between Begin and Commit are stored together, or not at
  /// all. Commit flushes the holders of agents first.
  virtual void Begin();
  virtual void Commit();
  virtual void Rollback();
  /// The proxy of a root's object, or of the object that a visitor reads; empty for one that is absent. After
  /// its session has ended its transfers raise Unavailable.
  virtual Proxy MakeProxy(std::string const& root);
  virtual Proxy MakeProxy(cls_ReadVisitor const& visitor);
};

/// A back end under test. Each test makes one, and deletes it after its sessions.
class ContractBackEnd {
 public:
  ContractBackEnd() = default;
  ContractBackEnd(ContractBackEnd const&) = delete;
  ContractBackEnd& operator=(ContractBackEnd const&) = delete;
  virtual ~ContractBackEnd() = default;

  [[nodiscard]] virtual ContractAbilities Abilities() const = 0;

  /// Begins a session with the storage of this name. A test has one or two storages. The registrar outlives
  /// the session; it has the classes that the tests write, in the version to write.
  virtual std::unique_ptr<ContractSession> Open(std::string const& storage, ContractMode mode,
                                                cls_ClassRegistrar const& registrar) = 0;

  /// What an exception of this back end says.
  [[nodiscard]] virtual ContractError Classify(nex_Exception const& exception) const = 0;
};

/// A back end, and how the suite uses it.
struct ContractSetting {
  std::string m_Name; ///< letters and digits; part of the tests' names
  /// Makes the back end of a test. The folder is empty, only for this test, and deleted afterwards.
  std::unique_ptr<ContractBackEnd> (*m_Make)(std::string const& folder);
  bool m_IsReopened = false; ///< each step of a test runs in a new session; needs m_Reopens
  bool m_TakesHuge = false;  ///< the tests that take seconds run as well

  friend std::ostream& operator<<(std::ostream& out, ContractSetting const& setting) {
    return out << setting.m_Name;
  }
};

/// The back ends under test. Defined by the program that runs the suite.
std::vector<ContractSetting> ContractSettings();

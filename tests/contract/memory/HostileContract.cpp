#include <csignal>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tests/contract/memory/MemoryContract.h"
#include "tests/support/backend/MementoSlots.h"

// The contract suite over a back end with one fault, which KVL_CONTRACT_FAULT names: "operation:kind". A test of
// the suite itself runs it with each, and expects failed tests and a program that goes on.

namespace {

enum class Fault { None, Nothing, Wrong, Raise };

/// The fault of an operation: "write.MakeBaseWriteObj" and so on.
Fault FaultOf(std::string_view operation) {
  static char const* const variable = std::getenv("KVL_CONTRACT_FAULT"); // NOLINT: one thread
  static std::string const given = variable == nullptr ? "" : variable;
  std::string_view const fault = given;
  std::size_t const colon = fault.find(':');
  if (fault.substr(0, colon) != operation) return Fault::None;
  std::string_view const kind = fault.substr(colon + 1);
  return kind == "nothing" ? Fault::Nothing : kind == "wrong" ? Fault::Wrong : Fault::Raise;
}

template <class T> void MakeWrong(T& value) {
  if constexpr (std::is_same_v<T, bool>)
    value = !value;
  else if constexpr (std::is_arithmetic_v<T>)
    value = static_cast<T>(value + 1);
  else if constexpr (std::is_same_v<T, cow_String>)
    value = "wrong"_cow;
  else if constexpr (std::is_same_v<T, cls_Uid>)
    value = cls_Uid();
  else if constexpr (std::is_pointer_v<T>)
    value = nullptr;
}

/// Does an operation, with its fault.
template <class Act> auto Do(std::string const& operation, Act act) { // NOLINT: a null return leaks
  using Result = decltype(act());
  Fault const fault = FaultOf(operation);
  if (fault == Fault::Raise) Raise("This back end is broken.");
  if constexpr (std::is_void_v<Result>) {
    if (fault == Fault::None) act();
    if (fault == Fault::Wrong) {
      act();
      act();
    }
  } else {
    if (fault == Fault::Nothing) return Result{};
    Result result = act();
    if (fault == Fault::Wrong) MakeWrong(result);
    return result;
  }
}

/// What an object passes its operations on to; not owned if it belongs to the caller.
template <class Interface> class Target {
 public:
  explicit Target(Interface* target, bool isOwned = true) : m_Target(target), m_IsOwned(isOwned) {}
  ~Target() {
    if (m_IsOwned) cls_DeleteWhenNeeded()(m_Target);
  }
  Target(Target const&) = delete;
  Target& operator=(Target const&) = delete;

 protected:
  Interface* m_Target;
  bool m_IsOwned;
};

template <class T> class HostileListCursor : public cls_ReadListPrim<T>, Target<cls_ReadListPrim<T>> {
 public:
  using Target<cls_ReadListPrim<T>>::Target;
  int Count() override {
    return Do("cursor.Count", [&] { return this->m_Target->Count(); });
  }
  int RowWidth() override { return this->m_Target->RowWidth(); }
  int More() override {
    return Do("cursor.More", [&] { return this->m_Target->More(); });
  }
  int NextRun(int count, T* destination) override {
    return Do("cursor.NextRun", [&] { return this->m_Target->NextRun(count, destination); });
  }
  T Next() override {
    return Do("cursor.Next", [&] { return this->m_Target->Next(); });
  }
};

class HostileTable : public cls_ReadIntTableInt, Target<cls_ReadIntTableInt> {
 public:
  using Target::Target;
  int Count() override { return m_Target->Count(); }
  int More() override {
    return Do("table.More", [&] { return m_Target->More(); });
  }
  int Next() override {
    return FaultOf("table.More") == Fault::Wrong && m_Target->More() == 0 ? 0 : m_Target->Next();
  }
  void Key(int& key) override { m_Target->Key(key); }
};

template <class T> class HostileListAgent : public cls_AgentListPrim<T> {
 public:
  explicit HostileListAgent(cls_AgentListPrim<T>* target) : m_Target(target) {}
  int Count() override {
    return Do("agent.Count", [&] { return m_Target->Count(); });
  }
  int SizeHint() override {
    return Do("agent.SizeHint", [&] { return m_Target->SizeHint(); });
  }
  bool Changed() override {
    return Do("agent.Changed", [&] { return m_Target->Changed(); });
  }
  void EndFlush() override {
    Do("agent.EndFlush", [&] { m_Target->EndFlush(); });
  }
  void WriteRun(int firstIndex, int count, T const* values) override {
    Do("agent.WriteRun", [&] { m_Target->WriteRun(firstIndex, count, values); });
  }
  int ReadRun(int firstIndex, int count, T* destination) override {
    return Do("agent.ReadRun", [&] { return m_Target->ReadRun(firstIndex, count, destination); });
  }
  void AddReference() override {
    Do("agent.AddReference", [&] { m_Target->AddReference(); });
  }
  void DropReference() override {
    Do("agent.DropReference", [&] { m_Target->DropReference(); });
  }
  bool StillReferenced() override {
    return Do("agent.StillReferenced", [&] { return m_Target->StillReferenced(); });
  }
  bool ReadOnly() override {
    return Do("agent.ReadOnly", [&] { return m_Target->ReadOnly(); });
  }
  void RegisterHolder(cls_PC* holder) override {
    Do("agent.RegisterHolder", [&] { m_Target->RegisterHolder(holder); });
  }

 private:
  std::unique_ptr<cls_AgentListPrim<T>> m_Target;
};

// What a memento returns is hostile too: mementos, int tables, and cursors and agents of lists of values.
cls_MementoWrite* Wrap(cls_MementoWrite* target);
cls_MementoRead* Wrap(cls_MementoRead* target);
cls_ReadIntTableInt* Wrap(cls_ReadIntTableInt* target) {
  return new HostileTable(target);
}
template <class T> cls_ReadListPrim<T>* Wrap(cls_ReadListPrim<T>* target) {
  return new HostileListCursor<T>(target);
}
template <class T> cls_AgentListPrim<T>* Wrap(cls_AgentListPrim<T>* target) {
  return new HostileListAgent<T>(target);
}
template <class T> T Wrap(T result) {
  return result;
}

template <class Interface> class Handling : protected Target<Interface> {
 public:
  using Target<Interface>::Target;

 protected:
  template <class Operation, class... Args>
  auto Pass(std::string const& operation, Operation member, Args const&... args) const {
    return Do(operation, [&] {
      if constexpr (std::is_void_v<decltype((this->m_Target->*member)(args...))>)
        (this->m_Target->*member)(args...);
      else
        return Wrap((this->m_Target->*member)(args...));
    });
  }
};

class HostileWriter : public MementoWriteSlots<HostileWriter>, Handling<cls_MementoWrite> {
 public:
  using Handling::Handling;
  template <class Operation, class... Args>
  auto Handle(char const* name, Operation operation, Args const&... args) const {
    return Handling::Pass(std::string("write.") + name, operation, args...);
  }
};

class HostileReader : public MementoReadSlots<HostileReader>, Handling<cls_MementoRead> {
 public:
  using Handling::Handling;
  template <class Operation, class... Args>
  auto Handle(char const* name, Operation operation, Args const&... args) const {
    return Handling::Pass(std::string("read.") + name, operation, args...);
  }
  cls_Uid const& HandleGetUid() const {
    if (FaultOf("read.GetUid") == Fault::Raise) Raise("This back end is broken.");
    if (FaultOf("read.GetUid") == Fault::None) return m_Target->GetUid();
    m_Wrong = std::make_unique<cls_Uid>();
    return *m_Wrong;
  }

 private:
  mutable std::unique_ptr<cls_Uid> m_Wrong;
};

cls_MementoWrite* Wrap(cls_MementoWrite* target) {
  return target == nullptr ? nullptr : new HostileWriter(target);
}
cls_MementoRead* Wrap(cls_MementoRead* target) {
  return new HostileReader(target);
}

/// Ends the process in the way that the fault names.
void EndAsTold() {
  if (FaultOf("end.abort") != Fault::None) std::abort();
  if (FaultOf("end.crash") != Fault::None) std::raise(SIGSEGV);
  if (FaultOf("end.exit") != Fault::None) std::exit(0); // NOLINT: one thread
  if (FaultOf("end.hang") != Fault::None)
    for (;;) std::raise(SIGSTOP);
}

class HostileSession : public MemorySession {
 public:
  using MemorySession::MemorySession;
  void Save(std::string const& root, Scripted const& object) override {
    EndAsTold();
    Do("session.Save", [&] {
      Scripted hostile([&](cls_WriteVisitor const& visitor) {
        object.m_Write(cls_WriteVisitor(new HostileWriter(visitor.Memento(), false)));
      });
      hostile.m_Uid = object.m_Uid;
      MemorySession::Save(root, hostile);
    });
  }
  void Load(std::string const& root, Scripted::ReadFields const& read) override {
    Do("session.Load", [&] {
      MemorySession::Load(root, [&](cls_ReadVisitor const& visitor) {
        read(cls_ReadVisitor(new HostileReader(visitor.Memento(), false)));
      });
    });
  }
};

class HostileBackEnd : public MemoryBackEnd {
 public:
  std::unique_ptr<ContractSession> Open(std::string const&, ContractMode,
                                        cls_ClassRegistrar const& registrar) override {
    return Do("session.Open",
              [&] { return std::unique_ptr<ContractSession>(new HostileSession(registrar)); });
  }
};

std::unique_ptr<ContractBackEnd> Make(std::string const&) {
  return std::make_unique<HostileBackEnd>();
}

} // namespace

std::vector<ContractSetting> ContractSettings() {
  return {{.m_Name = "Hostile", .m_Make = Make}};
}

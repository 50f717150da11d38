#include <csignal>
#include <cstdlib>
#include <memory>
#include <string>
#include <tuple>

#include "tests/contract/memory/HostileAgents.h"
#include "tests/contract/memory/HostileCollections.h"
#include "tests/contract/memory/MemoryContract.h"
#include "tests/support/backend/MementoSlots.h"

// The contract suite over a back end with one fault, which KVL_CONTRACT_FAULT names. A test of the suite runs it
// with each fault, and expects that tests fail and that the program goes on.

namespace {

// What a memento returns is hostile too.
cls_MementoWrite* Wrap(cls_MementoWrite* target);
cls_MementoRead* Wrap(cls_MementoRead* target);
template <class T> cls_ReadListPrim<T>* Wrap(cls_ReadListPrim<T>* target) {
  return new HostileListCursor<T>(target);
}
template <class T> cls_ReadMapInt2Prim<T>* Wrap(cls_ReadMapInt2Prim<T>* target) {
  return new HostileMapCursor<int, T>("cls_ReadMapInt2Prim", target);
}
template <class T> cls_ReadMapString2Prim<T>* Wrap(cls_ReadMapString2Prim<T>* target) {
  return new HostileMapCursor<cow_String, T>("cls_ReadMapString2Prim", target);
}
cls_ReadIntTableInt* Wrap(cls_ReadIntTableInt* target) {
  return new HostileTableCursor("cls_ReadIntTableInt", target);
}
cls_ReadListObj* Wrap(cls_ReadListObj* target) {
  return new HostileObjectListCursor(target);
}
cls_ReadMapInt2Obj* Wrap(cls_ReadMapInt2Obj* target) {
  return new HostileIntObjectMapCursor(target);
}
cls_ReadMapString2Obj* Wrap(cls_ReadMapString2Obj* target) {
  return new HostileObjectMapCursor<cow_String>(target);
}
template <class T> cls_WriteListPrim<T>* Wrap(cls_WriteListPrim<T>* target) {
  return new HostileListBuilder<T>(target);
}
template <class T> cls_WriteMapInt2Prim<T>* Wrap(cls_WriteMapInt2Prim<T>* target) {
  return new HostileMapBuilder<int, T>(target);
}
template <class T> cls_WriteMapString2Prim<T>* Wrap(cls_WriteMapString2Prim<T>* target) {
  return new HostileMapBuilder<cow_String, T>(target);
}
cls_WriteIntTableInt* Wrap(cls_WriteIntTableInt* target) {
  return new HostileTableBuilder(target);
}
cls_WriteListObj* Wrap(cls_WriteListObj* target) {
  return new HostileObjectListBuilder(target);
}
cls_WriteMapInt2Obj* Wrap(cls_WriteMapInt2Obj* target) {
  return new HostileObjectMapBuilder<int>(target);
}
cls_WriteMapString2Obj* Wrap(cls_WriteMapString2Obj* target) {
  return new HostileObjectMapBuilder<cow_String>(target);
}
template <class T> cls_AgentListPrim<T>* Wrap(cls_AgentListPrim<T>* target) {
  return new HostileListAgent<T>(target);
}
cls_AgentListObj* Wrap(cls_AgentListObj* target) {
  return new HostileObjectListAgent(target);
}
template <class K> cls_AgentMapKey2Obj<K>* Wrap(cls_AgentMapKey2Obj<K>* target) {
  return new HostileObjectMapAgent<K>(target);
}
cls_AgentBlob* Wrap(cls_AgentBlob* target) {
  return new HostileBlobAgent(target);
}
template <class T> T Wrap(T result) {
  static_assert(!std::is_pointer_v<T>, "what is returned must be hostile too");
  return result;
}

/// The arguments that an operation that writes a field passes on when it is wrong.
template <class T>
std::tuple<cls_FieldHandle, T> WrongArguments(cls_FieldHandle const& field, T const& value) {
  return {field, WrongOf(value)};
}
std::tuple<cls_FieldHandle, void const*, int> WrongArguments(cls_FieldHandle const& field, void const* bytes,
                                                             int sizeBytes) {
  return {field, bytes, sizeBytes - 1};
}

/// Passes the operations of a memento on to another one, which is not owned if it belongs to the caller.
template <class Interface> class Handling {
 public:
  Handling(char const* name, Interface* target, bool isOwned)
      : m_Name(name), m_Target(target), m_Owned(isOwned ? target : nullptr) {}

  template <class Operation, class... Args>
  auto Handle(char const* operation, Operation member, Args const&... args) const {
    constexpr bool IsVoid = std::is_void_v<decltype((m_Target->*member)(args...))>;
    auto const act = [&] {
      if constexpr (IsVoid)
        (m_Target->*member)(args...);
      else
        return Wrap((m_Target->*member)(args...));
    };
    if constexpr (IsVoid && requires { WrongArguments(args...); })
      return Do(m_Name, operation, act, [&] {
        std::apply([&](auto const&... wrong) { (m_Target->*member)(wrong...); }, WrongArguments(args...));
      });
    else
      return Do(m_Name, operation, act);
  }

 protected:
  char const* m_Name;
  Interface* m_Target;

 private:
  cls_Received<Interface> m_Owned;
};

class HostileWriter : public MementoWriteSlots<HostileWriter>, public Handling<cls_MementoWrite> {
 public:
  explicit HostileWriter(cls_MementoWrite* target, bool isOwned = true)
      : Handling("cls_MementoWrite", target, isOwned) {}
};

class HostileReader : public MementoReadSlots<HostileReader>, public Handling<cls_MementoRead> {
 public:
  explicit HostileReader(cls_MementoRead* target, bool isOwned = true)
      : Handling("cls_MementoRead", target, isOwned) {}
  cls_Uid const& HandleGetUid() const {
    Fault const fault = FaultOf("cls_MementoRead", "GetUid");
    if (fault == Fault::Raise) RaiseBroken();
    if (fault == Fault::None) return m_Target->GetUid();
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
  if (FaultOf("end", "abort") != Fault::None) std::abort();
  if (FaultOf("end", "crash") != Fault::None) std::raise(SIGSEGV);
  if (FaultOf("end", "exit") != Fault::None) std::exit(0); // NOLINT: one thread
  if (FaultOf("end", "hang") != Fault::None)
    for (;;) std::raise(SIGSTOP);
}

class HostileSession : public MemorySession {
 public:
  using MemorySession::MemorySession;
  void Save(std::string const& root, Scripted const& object) override {
    EndAsTold();
    Do("session", "Save", [&] {
      Scripted hostile([&](cls_WriteVisitor const& visitor) {
        object.m_Write(cls_WriteVisitor(new HostileWriter(visitor.Memento(), false)));
      });
      hostile.m_Uid = object.m_Uid;
      MemorySession::Save(root, hostile);
    });
  }
  void Load(std::string const& root, Scripted::ReadFields const& read) override {
    Do("session", "Load", [&] {
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
    return Do("session", "Open",
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

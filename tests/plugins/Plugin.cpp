#include <atomic>
#include <memory>
#include <string>
#include <vector>

#include "collections/cls_ArrayPrim.h"
#include "errors/nex_TextException.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "module/nex_initialize.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/identity/cls_Static.h"
#include "platform/typ/typ_ArchCompTable.h"
#include "tests/plugins/PluginApi.h"

// A plug-in that uses most of what the library does for a thread and for a process. It is built twice, as
// plug-in 1 and plug-in 2 (PLUGIN_NUMBER), which differ in what they declare.

namespace {

constexpr unsigned int Component(int plugin) {
  return 0x700U + static_cast<unsigned int>(plugin);
}
constexpr unsigned int ClassId(int plugin) {
  return Component(plugin) << 16 | 1;
}

int s_Modules = 0; // the counter of nex_initialize

/// A persisted class whose code is in the plug-in.
class Bolt {
 public:
  static constexpr unsigned int TypeId() noexcept { return ClassId(PLUGIN_NUMBER); }
  explicit Bolt(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeId(), m_Uid); }

 private:
  cls_Uid m_Uid;
};

std::string BoltName(int plugin) {
  return "Bolt" + std::to_string(plugin);
}

void DeclareBolt(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(
      new cls_TypeAdapter<Bolt>(cow_String(BoltName(PLUGIN_NUMBER)), 1, cls_ClassMetadata::RootClassId));
}

constexpr char TypeName[] = {'B', 'o', 'l', 't', '0' + PLUGIN_NUMBER, '\0'};
constexpr typ_ArchCompEntry Types[] = {{0, typ_ArchCompTable::NoParent, nullptr},
                                       {4, typ_ArchCompTable::NoParent, TypeName}};

/// A per-thread service whose code, finaliser and count are in the plug-in.
class Service : public thr_ThreadSingleton<Service> {
 public:
  static constexpr int DestructLevel = 6;
  static inline std::atomic<int> s_Ended = 0;

 private:
  friend class thr_ThreadSingleton<Service>;
  friend class thr_ThreadSingletonBase<Service>;
  Service() { SetDestructLevel(); }
  ~Service() { ++s_Ended; }

  cls_Uid m_Uid;
};

std::unique_ptr<std::vector<cls_Uid>> s_Held;

void Start() {
  nex_initialize(s_Modules);
}

void Stop() {
  nex_finalize(s_Modules);
}

bool Use() {
  std::vector<cls_Uid> const uids(5000);
  cls_Uid const copy(uids.front());
  cls_ArrayPrim<double> array;
  for (int i = 0; i < 10000; ++i) array.Append(0.5 * i);
  bool const counts = array.ConstGet(9999) == 0.5 * 9999;
  array.DropBlocks();
  nex_TextException const failure(atr_String("a text that is too long for a short string's own room"));
  std::unique_ptr<nex_Exception> const clone(failure.Copy());
  return copy.Entry() == uids.front().Entry() && uids.front().Entry() != uids.back().Entry() && counts &&
         clone->AsString() == failure.AsString() &&
         thr_ThreadSingleton<cls_Static>::Instance().ConstUid().Entry() != copy.Entry();
}

void HoldInThread() {
  thread_local std::vector<cls_Uid> held;
  held.resize(5000);
}

void HoldInStatic() {
  s_Held = std::make_unique<std::vector<cls_Uid>>(5000);
}

void DropStatic() {
  s_Held.reset();
}

void UseService() {
  Service::Instance();
}

int ServicesEnded() {
  return Service::s_Ended;
}

void Declare() {
  omi_Singleton<cls_MetadataRegistrar>::Instance().initClassMetadata(&DeclareBolt, 1);
  typ_ArchCompTable::InsertEntry(Component(PLUGIN_NUMBER), Types, 2);
}

bool KnowsClass(int plugin) {
  cls_MetadataRegistrar& all = omi_Singleton<cls_MetadataRegistrar>::Instance();
  cls_ClassRegistrar replayed;
  all.initMetadata(&replayed, 1);
  for (cls_ClassRegistrar const* const registrar : {&all.Registrar1(), &replayed})
    if (!registrar->ClassIsPresent(ClassId(plugin)) ||
        registrar->ConstGet(ClassId(plugin)).Name().View() != BoltName(plugin))
      return false;
  return typ_ArchCompTable::GetName(ClassId(plugin)).View() == BoltName(plugin);
}

void Throw() {
  nex_TextException(atr_String(cow_String("from plug-in " + std::to_string(PLUGIN_NUMBER))))
      .Throw("Plugin", 1);
}

bool Catches(void (*thrower)()) {
  try {
    thrower();
  } catch (nex_Exception& exception) {
    return dynamic_cast<nex_TextException*>(&exception) != nullptr &&
           exception.AsString().View().starts_with("from plug-in ");
  }
  return false;
}

constexpr PluginApi Api{Start,      Stop,          Use,     HoldInThread, HoldInStatic, DropStatic,
                        UseService, ServicesEnded, Declare, KnowsClass,   Throw,        Catches};

} // namespace

extern "C" KVL_EXPORT PluginApi const* plugin_Api() {
  return &Api;
}

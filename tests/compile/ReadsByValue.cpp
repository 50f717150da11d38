// Compiles as it is. With SLIP defined it must not, and the compiler prints why: 1 in a type adapter, 2 in a
// load, 3 in a shared load, 4 in a load for one owner.
#include "store/sto_Store.h"

#if defined(SLIP)
using Visitor = cls_ReadVisitor;
#else
using Visitor = cls_ReadVisitor const&;
#endif

namespace {

struct Part {
  static constexpr unsigned int TypeId() noexcept { return 0x700001; }
  explicit Part(Visitor) {}
  void DBWrite(cls_WriteVisitor const&) const {}
};

struct Owned {
  Owned(Visitor, int*) {}
};

} // namespace

#if !defined(SLIP) || SLIP == 1
void Declare(cls_ClassRegistrar& registrar) {
  registrar.AddClassMD(new cls_TypeAdapter<Part>("Part"_cow, 1, 1));
}
#endif
#if !defined(SLIP) || SLIP == 2
std::unique_ptr<Part> Load(sto_Store& store) {
  return store.Load<Part>("part");
}
#endif
#if !defined(SLIP) || SLIP == 3
std::shared_ptr<Part> LoadShared(sto_Store& store) {
  return store.LoadShared<Part>("part");
}
#endif
#if !defined(SLIP) || SLIP == 4
std::unique_ptr<Owned> LoadOwned(sto_Store& store) {
  return store.Load<Owned>("owned");
}
#endif

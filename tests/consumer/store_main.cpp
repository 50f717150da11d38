/// Saves and loads with the installed database module, in an application that has a folder store/ of its own.

#include "store/sto_Options.h"

#include <cstdio>
#include <memory>

#include <kvlpersist/errors/nex_Exception.h>
#include <kvlpersist/module/nex_initialize.h>
#include <kvlpersist/persist/adapters/cls_TypeAdapter.h>
#include <kvlpersist/persist/identity/cls_OwnUid.h>
#include <kvlpersist/store/sto_Options.h>
#include <kvlpersist/store/sto_Store.h>

namespace {

cls_FieldHandle PriceField() {
  return {0, "m_Price"_cow};
}

class Ware {
 public:
  explicit Ware(double price) : m_Price(price) {}
  explicit Ware(cls_ReadVisitor const& visitor)
      : m_Price(visitor.Read(PriceField(), 0.0)), m_Uid(visitor.GetUid()) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(PriceField(), m_Price);
  }

  double Price() const { return m_Price; }

  static constexpr unsigned int TypeId() noexcept { return 0x400001; }

 private:
  double m_Price;
  cls_OwnUid m_Uid;
};

bool ComesBack(ShopOptions const& options) {
  cls_ClassRegistrar registrar;
  registrar.AddClassMD(new cls_TypeAdapter<Ware>("Ware"_cow, 1, 1))
      .AddAttribute(PriceField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open(options.m_File, sto_Mode::Create, registrar, {.m_Strict = true});
  store.Save("ware", Ware(options.m_Price));
  bool const works = store.Load<Ware>("ware")->Price() == options.m_Price;
  std::printf("store: %s\n", works ? "what was saved is loaded" : "WRONG");
  return works;
}

} // namespace

int main() {
  int modules = 0;
  bool works = false;
  nex_initialize(modules);
  try {
    works = ComesBack(ReadShopOptions());
  } catch (nex_Exception const& failure) {
    std::fprintf(stderr, "%s\n", failure.UserReport().CharsOrEmpty());
  }
  nex_finalize(modules);
  return works && modules == 0 ? 0 : 1;
}

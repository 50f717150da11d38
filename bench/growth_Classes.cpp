#include "bench/growth_Case.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "store/sto_Store.h"

namespace {

constexpr unsigned int ItemClass = 0x672000;
constexpr int Rounds = 20; // objects of each class

/// An object of any of the classes.
class Item {
 public:
  explicit Item(unsigned int classId) : m_ClassId(classId) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(m_ClassId, m_Uid)) visitor.Write(cls_FieldHandle("m_Value"_cow), 7);
  }

 private:
  unsigned int m_ClassId;
  cls_Uid m_Uid;
};

/// Holds the items in one list, classes in turn.
class Items {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671010; }

  explicit Items(int classes) {
    for (int i = 0; i < classes * Rounds; ++i)
      m_Items.push_back(std::make_unique<Item>(ItemClass + static_cast<unsigned int>(i % classes)));
  }
  explicit Items(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    std::unique_ptr<cls_ReadListObj> const list(
        visitor.Memento()->MakeFieldReadListObj(cls_FieldHandle("m_Items"_cow)));
    while (list->More()) {
      cls_ReadVisitor const item(list->Next());
      m_Read += item.Read(cls_FieldHandle("m_Value"_cow), 0) == 7 ? 1 : 0;
    }
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    std::unique_ptr<cls_WriteListObj> const list(
        visitor.Memento()->MakeFieldWriteListObj(cls_FieldHandle("m_Items"_cow), m_ListUid));
    for (std::unique_ptr<Item> const& item : m_Items) {
      cls_WriteRequestListObj const request(list.get());
      item->DBWrite(cls_WriteVisitor(request, item.get()));
    }
  }

  int m_Read = 0;

 private:
  std::vector<std::unique_ptr<Item>> m_Items;
  cls_Uid m_ListUid;
  cls_Uid m_Uid;
};

std::vector<growth_Figure> MeasureClasses(int size, std::string const& folder) {
  cls_ClassRegistrar registrar;
  registrar.CreateClassMD("Items"_cow, Items::TypeId(), 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle("m_Items"_cow), ATTR_OBJECT, 1, COLLECTION_OBJ);
  auto const declare = [](cls_ClassRegistrar& classes, int count, int version) {
    for (int i = 0; i < count; ++i)
      classes
          .CreateClassMD(cow_String("Item" + std::to_string(i)), ItemClass + static_cast<unsigned int>(i),
                         version, nullptr, 1)
          .AddAttribute(cls_FieldHandle("m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE);
  };
  declare(registrar, size, 1);
  std::string const path = folder + "/classes.kvs";
  double const objects = static_cast<double>(size) * Rounds;
  double saving = 0;
  double again = 0;
  {
    Items const items(size);
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, registrar);
    saving = growth_SecondsOf([&] { store.Save("items", items); });
    again = growth_SecondsOf([&] { store.Save("items", items); });
  }
  auto const load = [&](cls_ClassRegistrar const& classes, double& opening) {
    std::unique_ptr<sto_Store> store;
    opening = growth_SecondsOf([&] {
      store = std::make_unique<sto_Store>(sto_Store::Open(path, sto_Mode::ReadOnly, classes));
      growth_Require(store->HasRoot("items"), "opening the store");
    });
    int read = 0;
    double const loading = growth_SecondsOf([&] { read = store->Load<Items>("items")->m_Read; });
    growth_Require(read == size * Rounds, "loading the items");
    return loading;
  };
  double opening = 0;
  double const loading = load(registrar, opening);
  // A program that knows only newer versions of the classes, or none of them.
  cls_ClassRegistrar newer;
  newer.CreateClassMD("Items"_cow, Items::TypeId(), 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle("m_Items"_cow), ATTR_OBJECT, 1, COLLECTION_OBJ);
  declare(newer, size, 3);
  double ignored = 0;
  double const loadingNewer = load(newer, ignored);
  cls_ClassRegistrar other;
  other.CreateClassMD("Items"_cow, Items::TypeId(), 1, nullptr, 1)
      .AddAttribute(cls_FieldHandle("m_Items"_cow), ATTR_OBJECT, 1, COLLECTION_OBJ);
  double const loadingOther = load(other, ignored);
  return {{"open the store, a class", opening, static_cast<double>(size)},
          {"save an object, classes in turn", saving, objects},
          {"save it again", again, objects},
          {"load it", loading, objects},
          {"load it, by a newer version", loadingNewer, objects},
          {"load it, undeclared", loadingOther, objects}};
}

/// An object with many fields.
class Wide {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671011; }

  explicit Wide(std::vector<cow_String> const& names) : m_Names(names) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    for (cow_String const& name : m_Names) visitor.Write(cls_FieldHandle(name), 7);
  }

 private:
  std::vector<cow_String> const& m_Names;
  cls_Uid m_Uid;
};

/// Reads its fields.
class WideReader {
 public:
  static constexpr unsigned int TypeId() noexcept { return Wide::TypeId(); }
  explicit WideReader(cls_ReadVisitor const& visitor) {
    for (cow_String const& name : *s_Names) m_Sum += visitor.Read(cls_FieldHandle(name), 0);
  }

  static std::vector<cow_String> const* s_Names;
  int m_Sum = 0;
};

std::vector<cow_String> const* WideReader::s_Names = nullptr;

std::vector<growth_Figure> MeasureFields(int size, std::string const& folder) {
  std::vector<cow_String> names;
  cls_ClassRegistrar registrar;
  cls_ClassMetadata& wide = registrar.CreateClassMD("Wide"_cow, Wide::TypeId(), 1, nullptr, 1);
  for (int i = 0; i < size; ++i) {
    names.emplace_back("m_" + std::to_string(i));
    wide.AddAttribute(cls_FieldHandle(names.back()), ATTR_INT, 1, COLLECTION_NONE);
  }
  sto_Store store = sto_Store::Open(folder + "/fields.kvs", sto_Mode::Create, registrar);
  int const objects = std::max(1, 20'000 / size);
  std::vector<std::unique_ptr<Wide>> saved;
  for (int i = 0; i < objects; ++i) saved.push_back(std::make_unique<Wide>(names));
  auto const save = [&](int first, int last) {
    sto_Transaction transaction(store);
    for (int i = first; i < last; ++i)
      store.Save("wide" + std::to_string(i), *saved[static_cast<std::size_t>(i)]);
    transaction.Commit();
  };
  save(0, 1); // describes the class
  double const saving = growth_SecondsOf([&] { save(0, objects); });
  WideReader::s_Names = &names;
  double const loading = growth_SecondsOf([&] {
    for (int i = 0; i < objects; ++i)
      growth_Require(store.Load<WideReader>("wide" + std::to_string(i))->m_Sum == 7 * size, "loading fields");
  });
  double const fields = static_cast<double>(size) * objects;
  return {{"save a field", saving, fields}, {"load it", loading, fields}};
}

} // namespace

growth_Case growth_Classes() {
  return {"classes", {50, 1000, 10'000}, MeasureClasses};
}
growth_Case growth_Fields() {
  return {"fields of one object", {20, 400, 4000}, MeasureFields};
}

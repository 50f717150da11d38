#include "bench/growth_Case.h"
#include "collections/cls_ArrayPrim.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_AgentRequest.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "store/sto_Store.h"

namespace {

constexpr unsigned int ListClass = 0x230001;
constexpr unsigned int MapClass = 0x230002;

using Map = cls_AgentMapKey2Obj<int>;
using List = cls_AgentListObj;

class Element {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671020; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(cls_FieldHandle("m_Value"_cow), m_Value);
  }

  int m_Value = 0;

 private:
  cls_Uid m_Uid;
};

/// Makes the agents of a map and of a list, which the caller owns.
class Owner {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671021; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    auto const in = [&](cow_String const& name, unsigned int classId, cls_Uid const& uid) {
      return std::unique_ptr<cls_MementoWrite>(
          visitor.Memento()->MakeFieldWriteObj(cls_FieldHandle(name), classId, uid, nullptr));
    };
    m_Map.reset(
        in("m_Map"_cow, MapClass, m_MapUid)->MakeAgentMapKey2Obj(static_cast<int const*>(nullptr), 8));
    m_List.reset(in("m_List"_cow, ListClass, m_ListUid)->MakeAgentListObj(8));
  }

  mutable std::unique_ptr<Map> m_Map;
  mutable std::unique_ptr<List> m_List;

 private:
  cls_Uid m_MapUid;
  cls_Uid m_ListUid;
  cls_Uid m_Uid;
};

/// A bulk array.
class Channel {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x671022; }
  Channel() = default;
  explicit Channel(cls_ReadVisitor const& visitor)
      : m_Values(cls_ReadVisitor(visitor, cls_FieldHandle("m_Values"_cow))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid))
      m_Values.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Values"_cow), nullptr, &m_Values));
  }

  cls_ArrayPrim<double> m_Values;

 private:
  cls_Uid m_Uid;
};

cls_ClassRegistrar const& Classes() {
  static cls_ClassRegistrar registrar;
  static bool const isFilled = [] {
    registrar.CreateClassMD("Element"_cow, Element::TypeId(), 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle("m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE);
    registrar.CreateClassMD("Owner"_cow, Owner::TypeId(), 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle("m_Map"_cow), ATTR_OBJECT, 1, COLLECTION_MAP_INT_OBJ)
        .AddAttribute(cls_FieldHandle("m_List"_cow), ATTR_OBJECT, 1, COLLECTION_OBJ);
    registrar.CreateClassMD("Channel"_cow, Channel::TypeId(), 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle("m_Values"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
    return true;
  }();
  static_cast<void>(isFilled);
  return registrar;
}

void Put(Map& map, int key, Element const& element) {
  cls_AgentRequestMapKey2Obj<int> const request(&map, key);
  element.DBWrite(cls_WriteVisitor(request, &element));
}
void Put(List& list, int index, Element const& element) {
  cls_AgentRequestListObj const request(&list, index);
  element.DBWrite(cls_WriteVisitor(request, &element));
}

/// A store with a map and a list that are open.
struct Collections {
  explicit Collections(std::string const& folder)
      : m_Store(sto_Store::Open(folder + "/collections.kvs", sto_Mode::Create, Classes())) {
    m_Store.Save("owner", m_Owner);
  }

  sto_Store m_Store;
  Owner m_Owner; // its agents are deleted first
};

template <class Work> double InTransaction(sto_Store& store, Work work) {
  return growth_SecondsOf([&] {
    sto_Transaction transaction(store);
    work();
    transaction.Commit();
  });
}

std::vector<growth_Figure> MeasureElements(int size, std::string const& folder) {
  Collections open(folder);
  std::vector<Element> elements(static_cast<std::size_t>(size));
  std::vector<Element> others(elements.size());
  auto const each = [&](auto& agent, std::vector<Element>& of) {
    return InTransaction(open.m_Store, [&] {
      for (int i = 0; i < size; ++i) {
        of[static_cast<std::size_t>(i)].m_Value += 1;
        Put(agent, i, of[static_cast<std::size_t>(i)]);
      }
    });
  };
  double const count = size;
  double const insert = each(*open.m_Owner.m_Map, elements);
  double const update = each(*open.m_Owner.m_Map, elements);
  double const replace = each(*open.m_Owner.m_Map, others);
  double const append = each(*open.m_Owner.m_List, others);
  double const again = each(*open.m_Owner.m_List, others);
  double const remove = InTransaction(open.m_Store, [&] {
    for (int i = 0; i < size; i += 2) open.m_Owner.m_Map->Remove(i);
  });
  return {{"insert an element into a map", insert, count}, {"save it again", update, count},
          {"replace it by another", replace, count},       {"append one to a list", append, count},
          {"save it again in the list", again, count},     {"remove one from the map", remove, count / 2}};
}

std::vector<growth_Figure> MeasureMapEntries(int size, std::string const& folder) {
  Collections open(folder);
  std::vector<Element> elements(static_cast<std::size_t>(size));
  double const fill = InTransaction(open.m_Store, [&] {
    for (int i = 0; i < size; ++i) Put(*open.m_Owner.m_Map, i, elements[static_cast<std::size_t>(i)]);
  });
  int const commits = 10;
  Element added[commits];
  double const change = growth_SecondsOf([&] {
    for (int i = 0; i < commits; ++i) Put(*open.m_Owner.m_Map, size / 2, added[i]);
  });
  return {{"fill the map, an entry", fill, static_cast<double>(size)},
          {"commit one changed entry", change, commits}};
}

std::vector<growth_Figure> MeasureArrays(int size, std::string const& folder) {
  sto_Store store = sto_Store::Open(folder + "/arrays.kvs", sto_Mode::Create, Classes());
  std::vector<std::unique_ptr<Channel>> channels;
  double const open = InTransaction(store, [&] {
    for (int i = 0; i < size; ++i) {
      channels.push_back(std::make_unique<Channel>());
      for (int k = 0; k < 10; ++k) channels.back()->m_Values.Append(k);
      store.Save("channel" + std::to_string(i), *channels.back());
    }
  });
  Element element;
  store.Save("element", element);
  int const saves = 2000;
  double const save = InTransaction(store, [&] {
    for (int i = 0; i < saves; ++i) {
      element.m_Value += 1;
      store.Save("element", element);
    }
  });
  int const transactions = 50;
  double const own = growth_SecondsOf([&] {
    for (int i = 0; i < transactions; ++i) {
      element.m_Value += 1;
      store.Save("element", element);
    }
  });
  double const empty = growth_SecondsOf([&] {
    for (int i = 0; i < transactions; ++i) {
      sto_Transaction transaction(store);
      transaction.Commit();
    }
  });
  return {{"make and save an array", open, static_cast<double>(size)},
          {"save an object meanwhile", save, saves},
          {"the same in its own transaction", own, transactions},
          {"an empty transaction", empty, transactions}};
}

} // namespace

growth_Case growth_Elements() {
  return {"elements saved one by one in a transaction", {1000, 10'000, 100'000}, MeasureElements};
}
growth_Case growth_MapEntries() {
  return {"map entries", {10'000, 100'000, 1'000'000}, MeasureMapEntries};
}
growth_Case growth_Arrays() {
  return {"open arrays", {10, 200, 2000}, MeasureArrays};
}

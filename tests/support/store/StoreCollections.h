#pragma once

#include <memory>
#include <string>
#include <vector>

#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/support/store/StoreClasses.h"
#include "tests/support/store/StoreFile.h"

// Shared by the tests of maps, tables and collections of objects: Scripted with attributes for every kind of
// collection, written and read directly through the slots.

inline cls_FieldHandle Field(std::string const& name) {
  return cls_FieldHandle(cow_String(name));
}

/// Declares Scripted with collections, and Node.
inline void DeclareCollections(cls_ClassRegistrar& registrar) {
  cls_ClassMetadata& scripted = registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1);
  auto const declare = [&](std::string const& name, cls_AttributeType type, int collection) {
    scripted.AddAttribute(Field(name), type, 1, static_cast<cls_CollectionType>(collection));
  };
  declare("m_Any", AnyType, COLLECTION_KIND_70);
  declare("m_Second", AnyType, COLLECTION_KIND_70);
  declare("m_Doubles", ATTR_DOUBLE, COLLECTION_KIND_70);
  declare("m_Pairs", ATTR_INT, COLLECTION_KIND_70);
  declare("m_Other", ATTR_OBJECT, COLLECTION_NONE);
  declare("m_Strings", AnyType, COLLECTION_MAP_STRING);
  declare("m_Floats", ATTR_FLOAT, COLLECTION_MAP_STRING_FLOAT);
  declare("m_ByString", ATTR_OBJECT, COLLECTION_MAP_STRING_OBJ);
  declare("m_ByInt", ATTR_OBJECT, COLLECTION_MAP_INT_OBJ);
  declare("m_Objects", ATTR_OBJECT, COLLECTION_OBJ);
  declare("m_Keyed", ATTR_OBJECT, COLLECTION_MAP_OBJ);
  declare("m_List", AnyType, COLLECTION_LIST);
  declare("m_Ints", ATTR_INT, COLLECTION_LIST_INT);
  declare("m_Table", ATTR_DOUBLE, COLLECTION_TABLE_DOUBLE);
  declare("m_Object", ATTR_OBJECT, COLLECTION_NONE);
  declare("m_Reference", ATTR_REFERENCE, COLLECTION_NONE);
  declare("m_Text", ATTR_STRING, COLLECTION_NONE);
  declare("m_Bytes", ATTR_BYTES, COLLECTION_NONE);
  declare("m_Blob", AnyType, COLLECTION_NONE);
  DeclareNode(registrar);
}

inline cls_ClassRegistrar const& CollectionClasses() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareCollections(classes);
    return classes;
  }();
  return registrar;
}

/// Fixture with a store of these classes.
class StoreCollectionTest : public StoreFileTest {
 protected:
  sto_Store Create(std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), sto_Mode::Create, CollectionClasses());
  }
  sto_Store Open(sto_Mode mode = sto_Mode::ReadWrite, std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), mode, CollectionClasses());
  }
  [[nodiscard]] std::int64_t Query(std::string const& sql, std::string_view name = "test.kvs") const {
    return SqlFile(Path(name)).Integer(sql);
  }
};

constexpr unsigned int ListClass = 0x230001;
constexpr unsigned int MapClass = 0x230002;

/// The memento to write the collection in a field.
inline std::unique_ptr<cls_MementoWrite> WriteIn(cls_WriteVisitor const& visitor, std::string const& field,
                                                 unsigned int classId, cls_Uid const& uid = cls_Uid()) {
  return std::unique_ptr<cls_MementoWrite>(
      visitor.Memento()->MakeFieldWriteObj(Field(field), classId, uid, nullptr));
}

/// The memento to read it.
inline std::unique_ptr<cls_MementoRead> ReadIn(cls_ReadVisitor const& visitor, std::string const& field) {
  return std::unique_ptr<cls_MementoRead>(visitor.Memento()->MakeFieldReadObj(Field(field)));
}

/// Owns what a slot returns.
template <class T> std::unique_ptr<T> Own(T* object) {
  return std::unique_ptr<T>(object);
}

/// Writes a node as the next element of a list.
inline void AppendNode(cls_WriteListObj& list, Node const& node) {
  cls_WriteRequestListObj const request(&list);
  node.DBWrite(cls_WriteVisitor(request, &node));
}
inline void InsertNode(cls_WriteMapInt2Obj& map, int key, Node const& node) {
  cls_WriteRequestMapInt2Obj const request(&map, key);
  node.DBWrite(cls_WriteVisitor(request, &node));
}
inline void InsertNode(cls_WriteMapString2Obj& map, cow_String const& key, Node const& node) {
  cls_WriteRequestMapString2Obj const request(&map, key);
  node.DBWrite(cls_WriteVisitor(request, &node));
}

/// The value of the node at a memento, which is deleted; -1 for an empty object.
inline int NodeValue(cls_MementoRead* memento) {
  return Own(memento)->Read(Field("m_Value"), -1);
}

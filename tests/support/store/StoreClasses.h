#pragma once

#include <limits>
#include <memory>
#include <string>
#include <utility>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/adapters/cls_TypeAdapter.h"
#include "store/sto_Store.h"
#include "tests/support/PersistedClasses.h"

// Persisted classes of the store's tests.

/// Options of a store that also checks the tests' own classes strictly.
inline sto_Options Strict(sto_Options options = {}) {
  options.m_Strict = true;
  return options;
}

/// A node of a graph, with three fields for other nodes.
class Node {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700002; }

  explicit Node(int value = 0) : m_Value(value) {}
  explicit Node(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1)),
        m_Left(sto_ReadShared<Node>(visitor, cls_FieldHandle(1, "m_Left"_cow))),
        m_Right(sto_ReadShared<Node>(visitor, cls_FieldHandle(2, "m_Right"_cow))),
        m_Back(sto_ReadShared<Node>(visitor, cls_FieldHandle(3, "m_Back"_cow))), m_Uid(visitor.GetUid()) {}

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
    WriteNode(visitor, cls_FieldHandle(1, "m_Left"_cow), m_Left.get());
    WriteNode(visitor, cls_FieldHandle(2, "m_Right"_cow), m_Right.get());
    WriteNode(visitor, cls_FieldHandle(3, "m_Back"_cow), m_Back.lock().get());
  }

  /// A chain of nodes, each to the left of the one before it.
  static std::shared_ptr<Node> Chain(int length) {
    std::shared_ptr<Node> first;
    for (int i = 0; i < length; ++i) {
      auto next = std::make_shared<Node>(i);
      next->m_Left = std::exchange(first, next);
    }
    return first;
  }

  int m_Value;
  std::shared_ptr<Node> m_Left;
  std::shared_ptr<Node> m_Right;
  std::weak_ptr<Node> m_Back;
  cls_Uid m_Uid;

 private:
  static void WriteNode(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, Node const* node) {
    if (node != nullptr) node->DBWrite(cls_WriteVisitor(visitor, field, nullptr, node));
  }
};

// The declarations do not say how objects are built, because some tests request them as other C++ classes.

inline void DeclareNode(cls_ClassRegistrar& registrar, int version = 1) {
  registrar.CreateClassMD("Node"_cow, Node::TypeId(), version, nullptr, 1)
      .AddAttribute(cls_FieldHandle(0, "m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_Left"_cow), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(2, "m_Right"_cow), ATTR_OBJECT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(3, "m_Back"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
}

/// Declares Scripted, with the given base class and all attribute names that the tests use: lists of int
/// under the names of lists, values of any type under the others. Their numbers cover the fields without a
/// name.
inline void DeclareScripted(cls_ClassRegistrar& registrar,
                            unsigned int base = cls_ClassMetadata::RootClassId) {
  cls_ClassMetadata& scripted = registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, base);
  auto const declare = [&](int number, std::string const& name, cls_CollectionType collection) {
    scripted.AddAttribute(cls_FieldHandle(number, cow_String(name)), AnyType, 1, collection);
  };
  int number = 1000; // above those of the fields without a name
  for (char const* const name :
       {"After",  "Back",      "Bad",      "Before", "Bytes", "Char",      "Child", "Double", "Field",
        "Float",  "Good",      "Greatest", "Held",   "Int",   "Label",     "Late",  "Least",  "Left",
        "Length", "ListLabel", "Long",     "Minus",  "Name",  "Named",     "New",   "Newer",  "Newest",
        "Node",   "None",      "Number",   "One",    "Other", "Reference", "Right", "Text",   "Two",
        "UInt",   "Unsaved",   "Value",    "Within", "Link0", "Link1",     "Link2", "Link3",  "Unknown"})
    declare(number++, std::string("m_") + name, COLLECTION_NONE);
  for (int i = 0; i < 300; ++i) declare(i, "m_" + std::to_string(i), COLLECTION_NONE);
  for (int const extreme : {-1, std::numeric_limits<int>::max()})
    declare(extreme, "m_Extreme" + std::to_string(extreme), COLLECTION_NONE);
  for (char const* const name : {"m_List", "m_First", "m_Second"})
    declare(number++, name, COLLECTION_LIST_INT);
}

/// The classes of the tests, in the versions that the tests write.
inline cls_ClassRegistrar const& TestClasses() {
  static cls_ClassRegistrar const& registrar = [&]() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareScripted(classes);
    DeclareNode(classes);
    DeclareLevels(classes, 4, 7, 2);
    return classes;
  }();
  return registrar;
}

/// Saves an object with the fields that `write` writes.
inline void SaveFields(sto_Store& store, Scripted::WriteFields write, std::string_view root = "root") {
  store.Save(root, Scripted(std::move(write)));
}

/// Loads it; `read` acts as the reading constructor.
inline std::unique_ptr<Scripted> LoadFields(sto_Store& store, Scripted::ReadFields read,
                                            std::string_view root = "root") {
  struct Reset {
    Scripted::ReadFields m_Before;
    ~Reset() { Scripted::s_Read = std::move(m_Before); }
  } const reset{std::exchange(Scripted::s_Read, std::move(read))};
  return store.Load<Scripted>(root);
}

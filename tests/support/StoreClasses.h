#pragma once

#include <functional>
#include <memory>
#include <utility>

#include "metadata/cls_RegistrarHook.h"
#include "store/sto_Store.h"

// Persisted classes of the store's tests.

/// An object whose fields are written and read by the test itself.
class Scripted {
 public:
  using WriteFields = std::function<void(cls_WriteVisitor const&)>;
  using ReadFields = std::function<void(cls_ReadVisitor const&)>;

  static constexpr unsigned int TypeId() noexcept { return 0x700001; }

  Scripted() = default;
  explicit Scripted(WriteFields write) : m_Write(std::move(write)) {}
  explicit Scripted(cls_ReadVisitor const& visitor) : m_Uid(visitor.GetUid()) {
    if (s_Read) s_Read(visitor);
  }

  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_Write) m_Write(visitor);
  }

  WriteFields m_Write;
  cls_Uid m_Uid;
  static inline ReadFields s_Read; ///< what the reading constructor does
};

/// A node of a graph: three fields that hold other nodes.
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

/// Three levels of one class, each with a field of the same name and an identity of its own.
class Bottom {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700003; }
  Bottom() = default;
  explicit Bottom(cls_ReadVisitor const& visitor)
      : m_BottomValue(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1)), m_BottomUid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_BottomUid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_BottomValue);
  }
  int m_BottomValue = 0;
  cls_Uid m_BottomUid;
};

class Middle : public Bottom {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700004; }
  Middle() = default;
  explicit Middle(cls_ReadVisitor const& visitor)
      : Bottom(cls_ReadVisitor(visitor)),
        m_MiddleValue(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), cow_String("absent"))),
        m_MiddleUid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_MiddleUid)) return;
    Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_MiddleValue);
  }
  cow_String m_MiddleValue;
  cls_Uid m_MiddleUid;
};

class Top : public Middle {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700005; }
  Top() = default;
  explicit Top(cls_ReadVisitor const& visitor)
      : Middle(cls_ReadVisitor(visitor)), m_TopValue(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1.0)),
        m_TopUid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_TopUid)) return;
    Middle::DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_TopValue);
  }
  double m_TopValue = 0;
  cls_Uid m_TopUid;
};

inline constexpr cls_ClassDeclaration TestClasses[] = {
    {"Scripted", Scripted::TypeId(), 1, 1},      {"Node", Node::TypeId(), 1, 1},
    {"Bottom", Bottom::TypeId(), 4, 1},          {"Middle", Middle::TypeId(), 7, Bottom::TypeId()},
    {"Top", Top::TypeId(), 2, Middle::TypeId()},
};

/// Saves an object with the fields that `write` writes.
inline void SaveFields(sto_Store& store, Scripted::WriteFields write, std::string_view root = "root") {
  store.Save(root, Scripted(std::move(write)));
}

/// Loads it, with `read` as the reading constructor.
inline std::unique_ptr<Scripted> LoadFields(sto_Store& store, Scripted::ReadFields read,
                                            std::string_view root = "root") {
  struct Reset {
    Scripted::ReadFields m_Before;
    ~Reset() { Scripted::s_Read = std::move(m_Before); }
  } const reset{std::exchange(Scripted::s_Read, std::move(read))};
  return store.Load<Scripted>(root);
}

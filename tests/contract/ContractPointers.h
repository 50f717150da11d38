#pragma once

#include <memory>
#include <stdexcept>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/pointers/cls_Pointers.h"
#include "tests/support/PersistedClasses.h"

// The classes of the contract tests of pointers: a node of a graph, and figures, which derive from an abstract
// class. Their members are read by the functions of persist/pointers.

/// Writes the object behind a pointer into a field, as its own class; null writes nothing.
template <class T>
void WritePointer(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const* object) {
  if (object != nullptr) object->DBWrite(cls_WriteVisitor(visitor, field, nullptr, object));
}

class PointerNode {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700006; }

  explicit PointerNode(int value) : m_Value(value) {}
  explicit PointerNode(cls_ReadVisitor const& visitor)
      : m_Value(visitor.Read(ValueField(), -1)), m_Left(cls_ReadShared<PointerNode>(visitor, LeftField())),
        m_Right(cls_ReadShared<PointerNode>(visitor, RightField())),
        m_Back(cls_ReadShared<PointerNode>(visitor, BackField())),
        m_Own(cls_ReadOwned<PointerNode>(visitor, OwnField())),
        m_Root(cls_ReadShared<Scripted>(visitor, RootField())), m_Uid(visitor.GetUid()) {
    if (m_Value == s_FailsAt) throw std::runtime_error("the constructor fails");
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(ValueField(), m_Value);
    WritePointer(visitor, LeftField(), m_Left.get());
    WritePointer(visitor, RightField(), m_Right.get());
    WritePointer(visitor, BackField(), m_Back.lock().get());
    WritePointer(visitor, OwnField(), m_Own.get());
    WritePointer(visitor, RootField(), m_Root.get());
  }

  static cls_FieldHandle ValueField() { return cls_FieldHandle(0, "m_Value"_cow); }
  static cls_FieldHandle LeftField() { return cls_FieldHandle(1, "m_Left"_cow); }
  static cls_FieldHandle RightField() { return cls_FieldHandle(2, "m_Right"_cow); }
  static cls_FieldHandle BackField() { return cls_FieldHandle(3, "m_Back"_cow); }
  static cls_FieldHandle OwnField() { return cls_FieldHandle(4, "m_Own"_cow); }
  static cls_FieldHandle RootField() { return cls_FieldHandle(5, "m_Root"_cow); }

  int m_Value;
  std::shared_ptr<PointerNode> m_Left;
  std::shared_ptr<PointerNode> m_Right;
  std::weak_ptr<PointerNode> m_Back;
  std::unique_ptr<PointerNode> m_Own;
  std::shared_ptr<Scripted> m_Root;
  cls_Uid m_Uid;
  static constexpr int FailsNowhere = -99;
  static inline int s_FailsAt = FailsNowhere; ///< the value with which the reading constructor raises
};

/// The base of all figures is a part of its own in the stored object.
class PointerFigure {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x700007; }

  explicit PointerFigure(double area) : m_Area(area) {}
  explicit PointerFigure(cls_ReadVisitor const& visitor)
      : m_Area(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1.0)), m_FigureUid(visitor.GetUid()) {}
  PointerFigure(PointerFigure const&) = delete;
  PointerFigure& operator=(PointerFigure const&) = delete;
  virtual ~PointerFigure() = default;
  virtual void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_FigureUid)) return;
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Area);
  }
  [[nodiscard]] virtual int Corners() const = 0;

  double m_Area;

 private:
  cls_Uid m_FigureUid;
};

template <int CornerCount, unsigned int Id> class PointerFigureOf : public PointerFigure {
 public:
  static constexpr unsigned int TypeId() noexcept { return Id; }

  explicit PointerFigureOf(int value, double area = 0) : PointerFigure(area), m_Value(value) {}
  explicit PointerFigureOf(cls_ReadVisitor const& visitor)
      : PointerFigure(cls_ReadVisitor(visitor)), m_Value(visitor.Read(cls_FieldHandle(0, "m_Value"_cow), -1)),
        m_Next(cls_ReadShared<PointerFigure>(visitor, NextField())),
        m_Inner(cls_ReadOwned<PointerFigure>(visitor, InnerField())), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const override {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    PointerFigure::DBWrite(cls_WriteVisitor(visitor, PointerFigure::TypeId()));
    visitor.Write(cls_FieldHandle(0, "m_Value"_cow), m_Value);
    WritePointer(visitor, NextField(), m_Next.lock().get());
    WritePointer(visitor, InnerField(), m_Inner.get());
  }
  [[nodiscard]] int Corners() const override { return CornerCount; }

  static cls_FieldHandle NextField() { return cls_FieldHandle(1, "m_Next"_cow); }
  static cls_FieldHandle InnerField() { return cls_FieldHandle(2, "m_Inner"_cow); }

  int m_Value;
  std::weak_ptr<PointerFigure> m_Next;
  std::unique_ptr<PointerFigure> m_Inner;
  cls_Uid m_Uid;
};
using PointerTriangle = PointerFigureOf<3, 0x700008>;
using PointerSquare = PointerFigureOf<4, 0x700009>;

/// A figure without a constructor function in its metadata.
inline constexpr unsigned int PointerBareId = 0x70000A;

/// Which classes a registrar has.
struct PointerClassVersions {
  bool m_HasTriangle = true;
  int m_Square = 1; ///< the version of the square
};

inline void DeclarePointerClasses(cls_ClassRegistrar& registrar, PointerClassVersions versions = {}) {
  cls_FieldHandle const value(0, "m_Value"_cow);
  cls_ClassMetadata& node = registrar.AddClassMD(new cls_TypeAdapter<PointerNode>("PointerNode"_cow, 1, 1));
  node.AddAttribute(value, ATTR_INT, 1, COLLECTION_NONE);
  for (cls_FieldHandle const& field :
       {PointerNode::LeftField(), PointerNode::RightField(), PointerNode::BackField(),
        PointerNode::OwnField(), PointerNode::RootField()})
    node.AddAttribute(field, ATTR_OBJECT, 1, COLLECTION_NONE);
  registrar.AddClassMD(new cls_AbsTypeAdapter<PointerFigure>("PointerFigure"_cow, 1, 1))
      .AddAttribute(value, ATTR_DOUBLE, 1, COLLECTION_NONE);
  auto const declareFigure = [&](cls_ClassMetadata* metadata) {
    registrar.AddClassMD(metadata)
        .AddAttribute(value, ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(PointerSquare::NextField(), ATTR_OBJECT, 1, COLLECTION_NONE)
        .AddAttribute(PointerSquare::InnerField(), ATTR_OBJECT, 1, COLLECTION_NONE);
  };
  unsigned int const base = PointerFigure::TypeId();
  if (versions.m_HasTriangle)
    declareFigure(new cls_TypeAdapter<PointerTriangle>("PointerTriangle"_cow, 1, base));
  declareFigure(new cls_TypeAdapter<PointerSquare>("PointerSquare"_cow, versions.m_Square, base));
  registrar.CreateClassMD("PointerBare"_cow, PointerBareId, 1, nullptr, base);
}

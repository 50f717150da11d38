#pragma once

#include <utility>

#include "metadata/cls_ClassRegistrar.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/HeldFunction.h"

// Persisted classes of tests, for every back end.

/// An object whose fields the test itself writes and reads.
class Scripted {
 public:
  using WriteFields = HeldFunction<cls_WriteVisitor const&>;
  using ReadFields = HeldFunction<cls_ReadVisitor const&>;

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
  static inline ReadFields s_Read; ///< called by the reading constructor
};

/// Three levels of inheritance, each with a field of the same name and its own identity.
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

/// A type of the host, which accepts every value.
inline constexpr auto AnyType = static_cast<cls_AttributeType>(9000);

/// Declares Bottom, Middle and Top in these versions, with the extra attributes that tests write into the
/// lower two.
inline void DeclareLevels(cls_ClassRegistrar& registrar, int bottom, int middle, int top) {
  cls_FieldHandle const value(0, "m_Value"_cow);
  registrar.CreateClassMD("Bottom"_cow, Bottom::TypeId(), bottom, nullptr, 1)
      .AddAttribute(value, ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle("m_Late"_cow), ATTR_INT, 1, COLLECTION_NONE);
  registrar.CreateClassMD("Middle"_cow, Middle::TypeId(), middle, nullptr, Bottom::TypeId())
      .AddAttribute(value, ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle("m_Text"_cow), ATTR_STRING, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle("m_List"_cow), ATTR_INT, 1, COLLECTION_LIST_INT)
      .AddAttribute(cls_FieldHandle("m_Node"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
  registrar.CreateClassMD("Top"_cow, Top::TypeId(), top, nullptr, Middle::TypeId())
      .AddAttribute(value, ATTR_DOUBLE, 1, COLLECTION_NONE);
}

#pragma once

#include <string>

#include "platform/cow/cow_String.h"

/// Names one field of a persisted class; made on the stack at each access.
///
/// Classes with numbered attributes number them 0, 1, 2 ... in the order of declaration; a field that is
/// known by name only has the number -1. A handle with an empty name identifies the field by number alone.
///
///     visitor.Write(cls_FieldHandle(0, "m_FromFile"_cow), m_FromFile);
///
/// Cost: a handle made from a literal name allocates nothing and counts no references.
class cls_FieldHandle {
 public:
  /// A field known by name only.
  explicit cls_FieldHandle(cow_String name) noexcept : m_Name(std::move(name)) {}

  /// A numbered field; the name may be empty.
  cls_FieldHandle(int fieldId, cow_String name) noexcept : m_FieldId(fieldId), m_Name(std::move(name)) {}

  /// No field: number -1 and no name.
  cls_FieldHandle() noexcept = default;

  [[nodiscard]] int FieldId() const noexcept { return m_FieldId; }
  [[nodiscard]] cow_String const& Name() const noexcept { return m_Name; }

  /// What identifies the field, as one text: its name, or "#" and its number if the name is empty. For back
  /// ends that find fields by text.
  [[nodiscard]] std::string Key() const {
    return m_Name.IsEmpty() ? "#" + std::to_string(m_FieldId) : std::string(m_Name.View());
  }

 private:
  int m_FieldId = -1;
  cow_String m_Name;
};

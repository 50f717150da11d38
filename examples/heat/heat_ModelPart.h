#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "persist/cls_ReadVisitor.h"
#include "persist/cls_WriteVisitor.h"

#include <memory>

// What everything in a stored analysis is: a named object with an identity, and the next one where parts make
// a chain. The base-class part of all others.
class heat_ModelPart {
 public:
  static constexpr unsigned int TypeId() { return 0x640001; }

  explicit heat_ModelPart(cow_String name) : m_Name(std::move(name)) {}
  explicit heat_ModelPart(cls_ReadVisitor const& visitor);
  virtual ~heat_ModelPart() = default;
  heat_ModelPart(heat_ModelPart const&) = delete;
  heat_ModelPart& operator=(heat_ModelPart const&) = delete;

  virtual void DBWrite(cls_WriteVisitor const& visitor) const;

  cow_String const& Name() const { return m_Name; }

  std::shared_ptr<heat_ModelPart> const& Next() const { return m_Next; }
  void SetNext(std::shared_ptr<heat_ModelPart> next) { m_Next = std::move(next); }

  // Declares the class's metadata; so does the operation of each derived class.
  static void Declare(cls_ClassRegistrar& registrar);

 private:
  cow_String m_Name;
  std::shared_ptr<heat_ModelPart> m_Next;
  cls_Uid m_Uid;
};

// Writes an object that a field of the visitor's object holds; nothing for a null pointer.
template <class T>
void heat_WriteField(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const* object) {
  if (object != nullptr) object->DBWrite(cls_WriteVisitor(visitor, field, nullptr, object));
}

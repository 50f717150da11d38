#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

#include <utility>

// The base class of all objects in a stored analysis: a named object with an identity. Version 1 also held
// the next part of a chain; see heat_OldChain.
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

  // Declares the class's metadata. Each derived class has such an operation too.
  static void Declare(cls_ClassRegistrar& registrar);

 private:
  cow_String m_Name;
  cls_OwnUid m_Uid;
};

// Writes the object that a field holds; writes nothing for a null pointer.
template <class T>
void heat_WriteField(cls_WriteVisitor const& visitor, cls_FieldHandle const& field, T const* object) {
  if (object != nullptr) object->DBWrite(cls_WriteVisitor(visitor, field, nullptr, object));
}

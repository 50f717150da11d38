#pragma once

#include "metadata/cls_ClassRegistrar.h"
#include "persist/identity/cls_OwnUid.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

// The base class of everything in a structure: a named object with an identity. It has its own version, which
// stays 1 in all programs, whatever changes in the beam.
class evo_Part {
 public:
  static constexpr unsigned int TypeId() noexcept { return 0x650002; }

  explicit evo_Part(cow_String name) : m_Name(std::move(name)) {}
  explicit evo_Part(cls_ReadVisitor const& visitor);
  virtual ~evo_Part() = default;
  evo_Part(evo_Part const&) = delete;
  evo_Part& operator=(evo_Part const&) = delete;

  virtual void DBWrite(cls_WriteVisitor const& visitor) const;
  static void Declare(cls_ClassRegistrar& registrar);

  cow_String const& Name() const { return m_Name; }

 private:
  cow_String m_Name;
  cls_OwnUid m_Uid;
};

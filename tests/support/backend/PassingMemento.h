#pragma once

#include <memory>

#include "persist/backend/cls_DeleteWhenNeeded.h"
#include "persist/pointers/cls_StoredObject.h"
#include "tests/support/backend/ForwardingMemento.h"

/// The reading memento of a back end that passes everything on to another one: what it reads is read through
/// mementos of its own, down to the last object. It owns the memento that it passes on to, if that needs
/// deletion; unless `isOwner` is false, for a memento that a visitor has.
class PassingMemento final : public ForwardingMementoRead, public cls_ForwardedObject {
 public:
  explicit PassingMemento(cls_MementoRead* target, bool isOwner = true)
      : ForwardingMementoRead(*target), cls_ForwardedObject(target), m_Owned(isOwner ? target : nullptr) {}

  bool NeedsDeletion() const override { return true; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    return new PassingMemento(m_Target.MakeFieldReadObj(field));
  }
  cls_MementoRead* Clone() override { return new PassingMemento(m_Target.Clone()); }

 private:
  cls_Received<cls_MementoRead> m_Owned;
};

/// The same by a back end that knows nothing of objects behind pointers.
class SilentMemento final : public ForwardingMementoRead {
 public:
  explicit SilentMemento(cls_MementoRead* target) : ForwardingMementoRead(*target), m_Owned(target) {}

  bool NeedsDeletion() const override { return true; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    return new SilentMemento(m_Target.MakeFieldReadObj(field));
  }
  cls_MementoRead* Clone() override { return new SilentMemento(m_Target.Clone()); }

 private:
  cls_Received<cls_MementoRead> m_Owned;
};

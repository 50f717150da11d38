#pragma once

#include "tests/support/backend/MementoSlots.h"

/// Passes every slot on to another memento, which is not owned, so that a test overrides single calls:
///
///     struct Refusing : ForwardingMementoWrite {
///       using ForwardingMementoWrite::ForwardingMementoWrite;
///       cls_MementoWrite* MakeBaseWriteObj(unsigned int, cls_Uid const&) override { return nullptr; }
///     };
///
/// NeedsDeletion is forwarded too: a forwarding memento on the stack needs a target that answers false.
template <class Interface> class Forwarding {
 public:
  explicit Forwarding(Interface& target) : m_Target(target) {}

  template <class Operation, class... Args>
  auto Handle(char const*, Operation operation, Args const&... args) const {
    return (m_Target.*operation)(args...);
  }

 protected:
  Interface& m_Target;
};

class ForwardingMementoWrite : public MementoWriteSlots<ForwardingMementoWrite>,
                               public Forwarding<cls_MementoWrite> {
 public:
  using Forwarding::Forwarding;
};

class ForwardingMementoRead : public MementoReadSlots<ForwardingMementoRead>,
                              public Forwarding<cls_MementoRead> {
 public:
  using Forwarding::Forwarding;
  cls_Uid const& HandleGetUid() const { return m_Target.GetUid(); }
};

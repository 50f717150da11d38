#include "store/arrays/sto_ArrayHome.h"

#include "store/base/sto_Exception.h"
#include "store/objects/sto_MementoRead.h"
#include "store/objects/sto_MementoWrite.h"
#include "store/session/sto_OwnTransaction.h"

namespace {

template <class Memento, class Any> sto_Session& SessionOf(Any& memento) {
  auto* const stored = dynamic_cast<Memento*>(&memento);
  if (stored == nullptr)
    sto_Raise(sto_ErrorKind::Misuse, "A sto_Array can be saved and loaded only by a sto_Store.");
  return stored->Session();
}

} // namespace

void sto_ArrayHome::Take(cls_MementoRead& memento) {
  Take(SessionOf<sto_MementoRead>(memento));
}

void sto_ArrayHome::Take(cls_MementoWrite& memento) {
  Take(SessionOf<sto_MementoWrite>(memento));
}

void sto_ArrayHome::Take(sto_Session& session) {
  m_Session = session.Self();
  m_Location = session.Location();
  m_IsClosed = false;
}

void sto_ArrayHome::NoteDetached() noexcept {
  m_IsClosed = m_Session != nullptr && (*m_Session == nullptr || (*m_Session)->IsClosing());
  m_Session.reset();
}

bool sto_ArrayHome::IsIn(cls_MementoWrite const& memento) const noexcept {
  auto const* const stored = dynamic_cast<sto_MementoWrite const*>(&memento);
  return m_Session != nullptr && stored != nullptr && *m_Session == &stored->Session();
}

void sto_ArrayHome::Run(void* context, void (*act)(void* context)) const {
  if (m_Session == nullptr || *m_Session == nullptr) return act(context);
  sto_Session& session = **m_Session;
  sto_OwnTransaction transaction(session, true, sto_Keeping::Handles); // arrays have unwritten changes
  try {
    act(context);
    transaction.Commit();
  } catch (...) {
    if (!transaction.IsOwn() && session.IsWriting()) session.Driver().Rollback();
    throw;
  }
}

void sto_ArrayHome::KeepFailure() const noexcept {
  if (m_Session != nullptr && *m_Session != nullptr) (*m_Session)->Keep(std::current_exception());
}

std::string sto_ArrayHome::Describe() const {
  return m_Location.empty() ? "The array" : m_Location + ": the array";
}

void sto_ArrayHome::RaiseClosed() const {
  sto_Raise(sto_ErrorKind::Unavailable, Describe() + " cannot be reached any more: its store was closed.");
}

#include "store/sto_LoadScope.h"

#include "store/session/sto_Session.h"
#include "store/sto_Store.h"

sto_LoadScope::sto_LoadScope(sto_Store& store) : m_Loaded(store.Session().SharedLoaded()) {
  m_Loaded->EnterScope();
}

sto_LoadScope::~sto_LoadScope() {
  m_Loaded->LeaveScope();
}

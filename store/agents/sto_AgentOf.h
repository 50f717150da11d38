#pragma once

#include <memory>
#include <string>

#include "store/agents/sto_CollectionAgent.h"

// Finds and makes agents of all kinds. A session has one agent for each open collection; sto_Session.h says
// who deletes it. `more` is what the agent's constructor takes after session and id. Internal to the module.
// REQUIRES: an open transaction. Thread rule: the thread of the session.

/// The session's agent of a collection, null if it has none. WrongClass if that is of another kind.
template <class Agent> [[nodiscard]] Agent* sto_FindAgent(sto_Session& session, std::int64_t id) {
  sto_OpenCollection* const found = session.Collections().Find(id);
  if (found == nullptr) return nullptr;
  auto* const agent = dynamic_cast<Agent*>(found);
  if (agent == nullptr)
    session.Raise(sto_ErrorKind::WrongClass, "The collection of object " + std::to_string(id) +
                                                 " is open as a " + found->What() + ", not as a " +
                                                 Agent::Kind() + ".");
  return agent;
}

/// The session's agent of a stored collection; made if there is none. For a collection that is not stored,
/// `record` is null and `id` is 0. Errors: WrongClass, Damaged, NotFound.
template <class Agent, class... More>
[[nodiscard]] Agent* sto_AgentOfStored(sto_Session& session, std::int64_t id, sto_RecordRef const& record,
                                       More... more) {
  if (Agent* const found = sto_FindAgent<Agent>(session, id)) {
    found->Synchronise();
    return found;
  }
  auto agent = std::make_unique<Agent>(session, id, more...);
  if (record != nullptr) agent->TakeStored(record);
  agent->Register();
  return agent.release();
}

/// The session's agent of a collection that is being saved; made if there is none. REQUIRES: a running save.
template <class Agent, class... More>
[[nodiscard]] Agent* sto_AgentOfSaved(sto_Session& session, std::int64_t id, int sizeHint, More... more) {
  if (Agent* const found = sto_FindAgent<Agent>(session, id)) {
    found->Synchronise();
    return found;
  }
  auto agent = std::make_unique<Agent>(session, id, more...);
  if (sto_RecordRef const record = session.Records().Read(id))
    agent->TakeStored(record);
  else
    agent->StartNew(sizeHint);
  agent->Register();
  return agent.release();
}

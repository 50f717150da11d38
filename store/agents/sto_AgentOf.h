#pragma once

#include <memory>
#include <string>

#include "store/agents/sto_CollectionAgent.h"

// How the agents of all kinds are found and made; a session has one agent of a collection. `more`: what the
// constructor of the kind takes after session and id. Internal to the module.

/// The session's agent of a collection, null when it has none. WrongClass for one of another kind.
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

/// The session's agent of a collection that is stored, made when there is none. `record` is null for one that
/// is not stored, and `id` is 0 then. WrongClass, Damaged.
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

/// The session's agent of a collection that is being saved.
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

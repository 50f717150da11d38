#pragma once

#include "persist/backend/cls_AgentListPrim.h"

/// Deletes an agent that an array was given, if nobody else holds it now that the array does without it.
template <class T> void cls_DeleteUnheld(cls_AgentListPrim<T>* agent) {
  if (!agent->StillReferenced()) delete agent;
}

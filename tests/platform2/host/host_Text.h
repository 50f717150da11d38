#pragma once

#include "platform/cow/cow_String.h"

/// A header of the host's own, which uses the host's strings under their own name.
inline bool host_HasRoom(cow_String const& text, cow_StringBuffer const& buffer) {
  return buffer.m_Room >= text.Length();
}

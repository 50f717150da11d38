#include "persist/backend/cls_PC.h"

#include <cstdio>
#include <cstdlib>

cls_PC::~cls_PC() {
  Unlink();
}

void cls_PC::Flush() const {
  std::fprintf(stderr, "Can't flush non-specialized cls_PC object.\n");
  std::abort();
}

void cls_PC::Detach() {
  std::fprintf(stderr, "Can't detach non-specialized cls_PC object.\n");
  std::abort();
}

void cls_PC::Link(cls_PC* other) noexcept {
  if (other->m_Next != other || other->m_Previous != other) other->Unlink();
  other->m_Next = this;
  other->m_Previous = m_Previous;
  m_Previous->m_Next = other;
  m_Previous = other;
}

void cls_PC::Unlink() noexcept {
  m_Next->m_Previous = m_Previous;
  m_Previous->m_Next = m_Next;
  Reset();
}

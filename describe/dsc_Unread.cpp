#include "describe/dsc_Unread.h"

#include <algorithm>

#include "describe/dsc_Stored.h"
#include "persist/pointers/cls_LaterPointers.h"

namespace {

struct Unread {
  void const* m_Identity;
  char const* m_Class;
};

constexpr int MaxUnread = 16;
constinit thread_local Unread t_Unread[MaxUnread] = {};
constinit thread_local int t_Count = 0;

Unread* EndOfUnread() noexcept {
  return t_Unread + t_Count;
}
/// The end if the object is none of them.
Unread* Find(void const* identity) noexcept {
  return std::find_if(t_Unread, EndOfUnread(),
                      [identity](Unread const& each) { return each.m_Identity == identity; });
}
void Add(Unread const& unread) noexcept {
  if (t_Count < MaxUnread) t_Unread[t_Count++] = unread;
}

[[noreturn]] void Raise(char const* className) {
  dsc_Raise(className, {},
            "its reading constructor does not call ReadFields, so nothing of an object was read.");
}

} // namespace

void dsc_Unread::Begin(cls_ReadVisitor const& visitor, void const* identity, char const* className) {
  cls_LaterReads::Call const check{t_Unread, t_Count, [](void*, int count) { CheckCount(count); }};
  static_cast<void>(cls_LaterPlace(visitor).Leave(check));
  Add({identity, className});
}

int dsc_Unread::Count() noexcept {
  return t_Count;
}

void dsc_Unread::CheckCount(int count) {
  if (t_Count <= count) return;
  t_Count = count;
  Raise(t_Unread[count].m_Class);
}

void dsc_Unread::End(void const* identity) noexcept {
  if (t_Count == 0) return;
  Unread* const found = Find(identity);
  if (found == EndOfUnread()) return;
  std::copy(found + 1, EndOfUnread(), found);
  --t_Count;
}

void dsc_Unread::Moved(void const* from, void const* to) noexcept {
  if (t_Count == 0) return;
  if (Unread* const found = Find(from); found != EndOfUnread()) found->m_Identity = to;
}

void dsc_Unread::Copied(void const* from, void const* to) noexcept {
  if (t_Count == 0) return;
  if (Unread const* const found = Find(from); found != EndOfUnread()) Add({to, found->m_Class});
}

void dsc_Unread::Check(void const* identity) {
  if (t_Count == 0) return;
  if (Unread const* const found = Find(identity); found != EndOfUnread()) Raise(found->m_Class);
}

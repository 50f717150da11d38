#include "store/base/sto_Exception.h"

#include <charconv>
#include <filesystem>
#include <string_view>
#include <utility>

#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

namespace {

// What is in conflict is stored as texts: ids separated by blanks, and names that each end with a line feed.
// A backslash before a line feed or a backslash says that it is part of the name.

std::string TextOf(std::vector<std::int64_t> const& ids) {
  std::string text;
  for (std::int64_t const id : ids) text += (text.empty() ? "" : " ") + std::to_string(id);
  return text;
}

std::string TextOf(std::vector<std::string> const& names) {
  std::string text;
  for (std::string const& name : names) {
    for (char const c : name) {
      if (c == '\n' || c == '\\') text += '\\';
      text += c;
    }
    text += '\n';
  }
  return text;
}

std::vector<std::int64_t> IdsOf(std::string_view text) {
  std::vector<std::int64_t> ids;
  char const* const end = text.data() + text.size();
  for (char const* next = text.data(); next < end;) {
    std::int64_t id = 0;
    auto const [after, error] = std::from_chars(next, end, id);
    if (error != std::errc()) break;
    ids.push_back(id);
    next = after + 1; // the blank, or beyond the end
  }
  return ids;
}

std::vector<std::string> NamesOf(std::string_view text) {
  std::vector<std::string> names;
  std::string name;
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (text[i] == '\n') {
      names.push_back(std::exchange(name, {}));
    } else {
      if (text[i] == '\\' && i + 1 < text.size()) ++i;
      name += text[i];
    }
  }
  return names;
}

} // namespace

sto_Exception::sto_Exception(atr_String const& message, sto_Conflicts conflicts)
    : m_Kind(sto_ErrorKind::Conflict), m_Value(message),
      m_Conflicts(std::make_shared<sto_Conflicts const>(std::move(conflicts))) {}

sto_Exception::sto_Exception(cls_ReadVisitor const& visitor)
    : nex_Exception(cls_ReadVisitor(visitor)),
      m_Kind(static_cast<sto_ErrorKind>(visitor.ReadEnum(cls_FieldHandle(0, "m_Kind"_cow)))),
      m_Value(visitor.Read(cls_FieldHandle(1, "m_Value"_cow), atr_String(""_cow))), m_Uid(visitor.GetUid()) {
  cow_String const objects = visitor.Read(cls_FieldHandle(2, "m_Objects"_cow), ""_cow);
  cow_String const roots = visitor.Read(cls_FieldHandle(3, "m_Roots"_cow), ""_cow);
  if (objects.IsEmpty() && roots.IsEmpty()) return;
  m_Conflicts =
      std::make_shared<sto_Conflicts const>(sto_Conflicts{IdsOf(objects.View()), NamesOf(roots.View())});
}

sto_Conflicts const& sto_Exception::Conflicts() const noexcept {
  static sto_Conflicts const none;
  return m_Conflicts == nullptr ? none : *m_Conflicts;
}

atr_String sto_Exception::AsString() {
  return m_Value;
}

void sto_Exception::Propagate() const {
  throw sto_Exception(*this);
}

nex_Exception* sto_Exception::Copy() const {
  return new sto_Exception(*this);
}

unsigned int sto_Exception::DynTypeId() const {
  return TypeId();
}

char const* sto_Exception::what() const noexcept {
  return m_Value.Length() == 0 ? "A failure of the store, which has no message." : m_Value.Chars();
}

void sto_Exception::DBWrite(cls_WriteVisitor const& visitor) const {
  if (!visitor.StartWrite(TypeId(), m_Uid)) return;
  nex_Exception::DBWrite(cls_WriteVisitor(visitor, nex_Exception::TypeId()));
  int const kind = static_cast<int>(m_Kind);
  visitor.WriteEnum(cls_FieldHandle(0, "m_Kind"_cow), kind);
  visitor.Write(cls_FieldHandle(1, "m_Value"_cow), m_Value);
  visitor.Write(cls_FieldHandle(2, "m_Objects"_cow), cow_String(TextOf(Conflicts().m_Objects)));
  visitor.Write(cls_FieldHandle(3, "m_Roots"_cow), cow_String(TextOf(Conflicts().m_Roots)));
}

void sto_RaiseConflict(std::string const& message, sto_Conflicts conflicts, sto_SourceLine line) {
  std::string const file = std::filesystem::path(line.m_File).stem().string();
  sto_Exception(atr_String(cow_String(message)), std::move(conflicts)).Throw(file.c_str(), line.m_Line);
}

void sto_Raise(sto_ErrorKind kind, std::string const& message, sto_SourceLine line) {
  std::string const file = std::filesystem::path(line.m_File).stem().string();
  sto_Exception(kind, atr_String(cow_String(message))).Throw(file.c_str(), line.m_Line);
}

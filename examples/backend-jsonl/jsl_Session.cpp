#include "examples/backend-jsonl/jsl_Session.h"

#include "examples/backend-jsonl/jsl_Elements.h"

#include <sstream>

void jsl_Session::SaveWith(std::string const& root,
                           std::function<void(cls_AgentRequest const&)> const& write) {
  if (IsReadOnly()) jsl_Raise(Name() + " is open for reading only.");
  Agents().Flush();
  Refresh();
  State before = m_State;
  try {
    cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const*) {
      m_State.m_Roots[root] = IdOf(uid);
      return jsl_MakeWriter(*this, classId, uid);
    });
    write(request);
    if (!request.IsStarted()) jsl_Raise(Name() + ": the object of " + root + " wrote nothing.");
    Commit();
  } catch (...) {
    // A new list stays, without parts, for the array that is tied to it now: saving that again stores it.
    for (auto& [id, line] : m_State.m_Lines)
      if (line.erase("parts"); line.contains("list")) before.m_Lines.try_emplace(id, line);
    m_State = std::move(before);
    throw;
  }
}

cls_MementoRead* jsl_Session::MakeReader(std::string const& root) {
  Agents().Flush();
  Refresh();
  auto const found = m_State.m_Roots.find(root);
  if (found == m_State.m_Roots.end()) jsl_Raise(Name() + ": there is no object " + root + ".");
  return jsl_MakeReader({Link(), found->second});
}

void jsl_Session::Commit() try {
  if (!m_State.m_IsChanged) return;
  std::string lines;
  int count = 0;
  for (auto const& [id, line] : m_State.m_Lines)
    if (line.contains("parts") && ++count > 0) lines += line.dump() + '\n';
  m_File.Replace(jsl_Json{{"objects", count}, {"roots", m_State.m_Roots}}.dump() + '\n' + lines);
  m_State.m_IsChanged = false;
} catch (jsl_Json::exception const& failure) { // such as a name that is not UTF-8
  jsl_Raise(Name() + " cannot be written: " + failure.what() + ".");
}

void jsl_Session::Read() {
  std::istringstream file(m_File.Read());
  State read;
  std::size_t count = 0;
  int number = 0;
  try {
    for (std::string text; std::getline(file, text); ++number) {
      jsl_Json const line = jsl_Json::parse(text);
      if (number == 0) {
        count = line.at("objects").get<std::size_t>();
        read.m_Roots = line.at("roots").get<std::map<std::string, jsl_Id>>();
        continue;
      }
      for (jsl_Json const& part : line.at("parts")) {
        for (char const* const key : {"id", "class", "version"})
          static_cast<void>(part.at(key).get_ref<std::uint64_t const&>());
        static_cast<void>(part.at("fields").get_ref<jsl_Json::object_t const&>());
      }
      read.m_Lines[line.at("id").get<jsl_Id>()] = line;
    }
  } catch (jsl_Json::exception const& damage) {
    jsl_Raise(Name() + ", line " + std::to_string(number + 1) + " is damaged: " + damage.what() + ".");
  }
  if (read.m_Lines.size() != count) jsl_Raise(Name() + " is damaged: lines are missing, or there twice.");
  for (auto const& [id, line] : read.m_Lines)
    if (m_State.m_Lines[id].dump() != line.dump()) ++m_Foreign[id];
  read.m_Lines.merge(m_State.m_Lines); // the lists that are not stored
  m_State = std::move(read);
}

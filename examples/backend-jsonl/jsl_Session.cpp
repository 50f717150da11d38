#include "examples/backend-jsonl/jsl_Session.h"

#include "examples/backend-jsonl/jsl_Elements.h"
#include "persist/backend/cls_RootRequest.h"

#include <sstream>

jsl_Session::~jsl_Session() {
  try {
    Close();
  } catch (...) {
    m_Agents.Detach();
  }
  *m_Link = nullptr;
}

void jsl_Session::Close() {
  m_Agents.Flush();
  if (m_State.m_IsChanged) Commit();
  m_Agents.Detach();
}

void jsl_Session::SaveWith(std::string const& root,
                           std::function<void(cls_AgentRequest const&)> const& write) {
  if (IsReadOnly()) jsl_Raise(Name() + " is open for reading only.");
  m_Agents.Flush();
  Refresh();
  State before = m_State;
  m_IsSaving = true;
  try {
    cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const*) {
      m_State.m_Roots[root] = IdOf(uid);
      return jsl_MakeWriter(*this, classId, uid);
    });
    write(request);
    if (!request.IsStarted()) jsl_Raise(Name() + ": the object of " + root + " wrote nothing.");
    Commit();
    m_IsSaving = false;
  } catch (...) {
    // A new list stays, without parts, for the array that is tied to it now: saving that again stores it.
    for (auto& [id, line] : m_State.m_Lines)
      if (line.erase("parts"); line.contains("list")) before.m_Lines.try_emplace(id, line);
    m_State = before;
    m_IsSaving = false;
    throw;
  }
}

cls_MementoRead* jsl_Session::MakeReader(std::string const& root) {
  m_Agents.Flush();
  Refresh();
  auto const found = m_State.m_Roots.find(root);
  if (found == m_State.m_Roots.end()) jsl_Raise(Name() + ": there is no object " + root + ".");
  return jsl_MakeReader({m_Link, found->second});
}

jsl_Id jsl_Session::IdOf(cls_Uid const& uid) {
  auto const [at, isNew] = m_Ids.try_emplace(uid.Entry(), m_LastId + 1);
  if (isNew) m_Uids.emplace(++m_LastId, uid); // keeps the identity alive
  return at->second;
}

cls_Uid const& jsl_Session::UidOf(jsl_Id id) {
  auto const [at, isNew] = m_Uids.try_emplace(id);
  if (isNew) m_Ids[at->second.Entry()] = id;
  return at->second;
}

jsl_Json jsl_Session::NewPart(unsigned int classId, cls_Uid const& uid) {
  int const version = m_Classes.ClassIsPresent(classId) ? m_Classes.GetLastClassVersionNumber(classId) : 1;
  return {{"id", IdOf(uid)}, {"class", classId}, {"version", version}, {"fields", jsl_Json::object()}};
}

jsl_Json& jsl_Session::Change(jsl_Id id) {
  m_State.m_IsChanged = true;
  return m_State.m_Lines[id];
}

void jsl_Session::EndFlush() try {
  if (m_State.m_IsChanged && !m_IsSaving) Commit();
} catch (nex_Exception const&) { // the state still differs from the file
}

void jsl_Session::Refresh() {
  if (!m_State.m_IsChanged && m_File.IsReplaced()) Read();
}

void jsl_Session::Commit() try {
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
          static_cast<void>(part.at(key).get<jsl_Id>());
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

#include "examples/backend-jsonl/jsl_Elements.h"

void jsl_Session::SaveWith(std::string const& root,
                           std::function<void(cls_AgentRequest const&)> const& write) {
  if (IsReadOnly()) jsl_Raise(Name() + " is open for reading only.");
  cls_RootRequest const request([&](unsigned int classId, cls_Uid const& uid, void const*) {
    Change(m_State.m_Roots)[root] = IdOf(uid);
    return jsl_MakeWriter(*this, classId, uid);
  });
  write(request);
  if (!request.IsStarted()) jsl_Raise(Name() + ": the object of " + root + " wrote nothing.");
}

cls_MementoRead* jsl_Session::ReaderOf(std::string const& root) {
  auto const found = m_State.m_Roots.find(root);
  if (found == m_State.m_Roots.end()) jsl_Raise(Name() + ": there is no object " + root + ".");
  return jsl_MakeReader({Link(), found->second});
}

void jsl_Session::Commit() try {
  std::string lines;
  int count = 0;
  for (auto const& [id, line] : m_State.m_Lines) {
    if (line.is_null()) continue;
    bool const isCollection = cls_IsCollectionTypeId(line["parts"][0]["class"].get<unsigned int>());
    if (isCollection && !line.contains("width")) // such as an array of another session
      jsl_Raise(Name() + ", object " + std::to_string(id) + ": it is a collection without elements.");
    lines += line.dump() + '\n';
    ++count;
  }
  if (m_File.Replace(jsl_Json{{"objects", count}, {"roots", m_State.m_Roots}}.dump() + '\n' + lines)) return;
  if (!IsWriting()) ReadIfReplaced(); // gives up what agents have written, so that the session can go on
  jsl_Raise(Name() + " was changed by another session; nothing is written.");
} catch (jsl_Json::exception const& failure) { // such as a name that is not UTF-8
  jsl_Raise(Name() + " cannot be written: " + failure.what() + ".");
}

void jsl_Session::Take(std::string const& content) {
  State read;
  std::size_t count = 0;
  int number = 1;
  try {
    for (std::size_t at = 0, end = 0; at < content.size() || number == 1; at = end + 1, ++number) {
      end = std::min(content.find('\n', at), content.size());
      jsl_Json const line = jsl_Json::parse(content.begin() + at, content.begin() + end);
      if (number == 1) {
        count = line.at("objects").get<std::size_t>();
        read.m_Roots = line.at("roots").get<std::map<std::string, jsl_Id>>();
        continue;
      }
      static_cast<void>(line.at("parts").at(0));
      for (jsl_Json const& part : line.at("parts")) {
        for (char const* const key : {"id", "class", "version"})
          static_cast<void>(part.at(key).get_ref<std::uint64_t const&>());
        static_cast<void>(part.at("fields").get_ref<jsl_Json::object_t const&>());
      }
      read.m_Lines[line.at("id").get<jsl_Id>()] = line;
    }
  } catch (jsl_Json::exception const& damage) {
    jsl_Raise(Name() + ", line " + std::to_string(number) + " is damaged: " + damage.what() + ".");
  }
  if (read.m_Lines.size() != count) jsl_Raise(Name() + " is damaged: lines are missing, or there twice.");
  for (auto const& [root, id] : read.m_Roots)
    if (!read.m_Lines.contains(id))
      jsl_Raise(Name() + " is damaged: object " + std::to_string(id) + " of " + root + " is missing.");
  for (auto const& [id, line] : read.m_Lines)
    if (m_State.m_Lines[id].dump() != line.dump()) ++m_Foreign[id];
  std::swap(m_State, read);
  ForgetChanges();
}

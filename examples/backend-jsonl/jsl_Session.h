#pragma once

#include "examples/backend-jsonl/jsl_File.h"
#include "examples/backend-jsonl/jsl_Value.h"
#include "persist/pointers/cls_BackEndSession.h"

#include <map>

using jsl_Id = std::int64_t; // of an object or a part of one
enum class jsl_Mode { Create, ReadWrite, ReadOnly };

// A session with a file. Everything is in memory, as the lines of the file; a commit writes all of it. What
// other sessions commit is read when this one saves, loads, or asks an agent for changes. Of two sessions
// that change something at the same time, the second one to commit gets an exception.
class jsl_Session : public cls_BackEndSession<jsl_Session> {
 public:
  // `classes` outlives the session. Create: the file must not exist.
  jsl_Session(std::string const& path, jsl_Mode mode, cls_ClassRegistrar const& classes)
      : cls_BackEndSession(classes), m_File(path, mode == jsl_Mode::Create), m_Mode(mode) {
    Read();
  }
  ~jsl_Session() override { CloseQuietly(); }

  // For the base class. A save that fails leaves everything as it was.
  void SaveWith(std::string const& root, std::function<void(cls_AgentRequest const&)> const& write);
  cls_MementoRead* MakeReader(std::string const& root);
  void Commit();
  void RaiseNotBuilt(cls_BuildFailure const& failure) const override {
    jsl_Raise(Name() + ": " + failure.m_Text);
  }

  // For mementos and agents.
  std::string Name() const { return m_File.Name(); }
  bool IsReadOnly() const { return m_Mode == jsl_Mode::ReadOnly; }
  std::map<jsl_Id, jsl_Json> const& Lines() const { return m_State.m_Lines; }
  jsl_Json& Change(jsl_Id id) { // its line
    m_State.m_IsChanged = true;
    return m_State.m_Lines[id];
  }
  void Refresh() { // reads the file if another session has replaced it
    if (!m_State.m_IsChanged && m_File.IsReplaced()) Read();
  }
  std::map<jsl_Id, int> m_Foreign; // how often others have changed an object

 private:
  void Read();

  jsl_File m_File;
  jsl_Mode m_Mode;
  struct State {
    std::map<std::string, jsl_Id> m_Roots;
    std::map<jsl_Id, jsl_Json> m_Lines; // those without parts are not stored
    bool m_IsChanged = false;           // differs from the file
  } m_State;
};

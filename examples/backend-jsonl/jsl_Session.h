#pragma once

#include "examples/backend-jsonl/jsl_File.h"
#include "examples/backend-jsonl/jsl_Value.h"
#include "persist/pointers/cls_BackEndSession.h"

#include <map>

using jsl_Id = std::int64_t; // of an object or a part of one
enum class jsl_Mode { Create, ReadWrite, ReadOnly };

// A session with a file. Everything is in memory, as the lines of the file; a commit writes all of it. Of two
// sessions that change something at the same time, the second one to commit gets an exception.
class jsl_Session : public cls_BackEndSession<jsl_Session> {
 public:
  // `classes` outlives the session. Create: the file must not exist.
  jsl_Session(std::string const& path, jsl_Mode mode, cls_ClassRegistrar const& classes)
      : cls_BackEndSession(classes), m_File(path, mode == jsl_Mode::Create), m_Mode(mode) {
    mode == jsl_Mode::Create ? Commit() : ReadIfReplaced();
  }
  ~jsl_Session() override { CloseQuietly(); }

  // For the base class.
  void SaveWith(std::string const& root, std::function<void(cls_AgentRequest const&)> const& write);
  cls_MementoRead* ReaderOf(std::string const& root);
  void Commit();
  void ReadIfReplaced() {
    if (m_File.IsReplaced()) m_File.Read([this](std::string const& content) { Take(content); });
  }
  void RaiseNotBuilt(cls_BuildFailure const& failure) const override {
    jsl_Raise(Name() + ": " + failure.m_Text);
  }

  // For mementos and agents.
  std::string Name() const { return m_File.Name(); }
  bool IsReadOnly() const { return m_Mode == jsl_Mode::ReadOnly; }
  std::map<jsl_Id, jsl_Json> const& Lines() const { return m_State.m_Lines; }
  jsl_Json& LineOf(jsl_Id id) { return Change(m_State.m_Lines[id]); } // for changing it
  std::map<jsl_Id, int> m_Foreign; // how often others have changed an object

 private:
  void Take(std::string const& content);

  jsl_File m_File;
  jsl_Mode m_Mode;
  struct State {
    std::map<std::string, jsl_Id> m_Roots;
    std::map<jsl_Id, jsl_Json> m_Lines; // null: not stored
  } m_State;
};

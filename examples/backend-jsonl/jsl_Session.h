#pragma once

#include "examples/backend-jsonl/jsl_File.h"
#include "examples/backend-jsonl/jsl_Value.h"
#include "metadata/cls_ClassRegistrar.h"
#include "persist/backend/cls_IndexedCollections.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"

#include <functional>
#include <map>
#include <random>
#include <set>

using jsl_Id = long long; // of an object or a part of one
enum class jsl_Mode { Create, ReadWrite, ReadOnly };

// A session with a file. Everything is in memory, as the lines of the file; a commit writes all of it. What
// other sessions commit is read when this one saves, loads, or asks an agent for changes. Of two sessions
// that change something at the same time, the second one to commit gets an exception.
class jsl_Session {
 public:
  // `classes` outlives the session. Create: the file must not exist.
  jsl_Session(std::string const& path, jsl_Mode mode, cls_ClassRegistrar const& classes)
      : m_File(path, mode == jsl_Mode::Create), m_Mode(mode), m_Classes(classes) {
    Read();
  }
  ~jsl_Session(); // as Close, but reports nothing
  void Close();   // commits what bulk arrays have changed, and detaches them

  // A save that fails leaves everything as it was.
  template <class T> void Save(std::string const& root, T const& object) {
    SaveWith(root, [&](auto const& request) { object.DBWrite(cls_WriteVisitor(request, &object)); });
  }
  template <class T> std::unique_ptr<T> Load(std::string const& root) {
    return std::make_unique<T>(cls_ReadVisitor(MakeReader(root)));
  }
  cls_MementoRead* MakeReader(std::string const& root);

  // For mementos and agents.
  std::string Name() const { return m_File.Name(); }
  bool IsReadOnly() const { return m_Mode == jsl_Mode::ReadOnly; }
  jsl_Id IdOf(cls_Uid const& uid);
  cls_Uid const& UidOf(jsl_Id id);
  jsl_Json NewPart(unsigned int classId, cls_Uid const& uid);
  std::map<jsl_Id, jsl_Json> const& Lines() const { return m_State.m_Lines; }
  jsl_Json& Change(jsl_Id id); // its line
  void EndFlush();             // commits; the next commit tries again what fails
  void Refresh();              // reads the file if another session has replaced it

  std::shared_ptr<jsl_Session*> const m_Link = std::make_shared<jsl_Session*>(this); // null when it ends
  cls_AgentRegistry m_Agents;
  std::map<jsl_Id, int> m_Foreign; // how often others have changed an object
  std::set<jsl_Id> m_Written;      // while writing mementos are open: each object is written once
  int m_Writers = 0;               // writing mementos that are open

 private:
  void SaveWith(std::string const& root, std::function<void(cls_AgentRequest const&)> const& write);
  void Commit();
  void Read();

  jsl_File m_File;
  jsl_Mode m_Mode;
  cls_ClassRegistrar const& m_Classes;
  struct State {
    std::map<std::string, jsl_Id> m_Roots;
    std::map<jsl_Id, jsl_Json> m_Lines; // those without parts are not stored
    bool m_IsChanged = false;           // differs from the file
  } m_State;
  bool m_IsSaving = false;
  std::map<jsl_Id, cls_Uid> m_Uids;
  std::map<cls_UidCatalogEntry*, jsl_Id> m_Ids;
  jsl_Id m_LastId = static_cast<jsl_Id>(std::random_device()()) << 20; // sessions do not share ids
};

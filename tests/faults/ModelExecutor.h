#pragma once

#include <functional>
#include <stdexcept>
#include <string>

#include "tests/faults/FaultsFrame.h"
#include "tests/faults/ModelScript.h"
#include "tests/faults/ModelState.h"
#include "tests/support/store/StorePowerVfs.h"

/// The store or an object in memory differs from the model.
class ModelFailure : public std::runtime_error {
 public:
  using std::runtime_error::runtime_error;
};

/// Runs scripts on a store in a folder, with the model beside it. Two sessions use the file. At most one of
/// them has uncommitted changes of an array, except in the step that provokes a conflict.
class ModelExecutor {
 public:
  explicit ModelExecutor(std::string path) : m_Path(std::move(path)) {}
  ~ModelExecutor();

  /// Raises ModelFailure at the first difference.
  void Run(ModelScript const& script);
  [[nodiscard]] int StepsDone() const noexcept { return m_StepsDone; }

 private:
  using Outcome = FaultsOutcome;

  void Step(ModelStep const& step);
  void OnSlot(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void OnArray(ModelSession& session, ModelSlot& slot, ModelStep const& step);

  // Steps.
  void New(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void Load(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void SetValues(ModelSlot& slot, int number);
  void Append(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void AppendRun(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void SetElement(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void GetElement(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void FlushArray(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void MakeCopies(ModelSlot& slot);
  void CheckPast(ModelSession& session, ModelSlot& slot);
  void Save(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  /// Whether saving would give an object a second root name; then it must not have changed.
  [[nodiscard]] bool IsSecondName(ModelSession& session, ModelSlot const& slot, std::string const& root);
  void SaveFailing(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void Begin(ModelSession& session, ModelStep const& step);
  void Commit(ModelSession& session, ModelStep const& step);
  void Rollback(ModelSession& session, bool asked);
  void RemoveRoot(ModelSession& session, ModelStep const& step);
  void Collect(ModelSession& session, ModelStep const& step);
  void WriteThroughAgent(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void CutThroughAgent(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void Futile(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void FutileFolder(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void Conflict(ModelSession& session, ModelSlot& slot, ModelStep const& step);
  void Reopen(ModelSession& session, int how);
  void Verify();

  // Comparisons; they raise ModelFailure.
  void CheckSlot(ModelSession& session, ModelSlot& slot);
  void CheckCarrier(ModelSession& session, ModelSlot& slot);
  void CheckDead(ModelSlot& slot);
  void CheckCopies(ModelSlot& slot);
  void CheckShapes(char const* when, bool withContent);
  void CheckShape(ModelSlot& slot, std::string const& when, bool withContent);
  /// Reads an array and compares it. Elements that the other session has pending may be in either state.
  void CompareStored(int id, int array, std::vector<int> const& found, std::vector<int> const& expected,
                     std::string const& what);
  void ComparePlain(Carrier const& carrier, ModelObject const& expected, std::string const& what);
  void LoadAndCompare(sto_Store& store, std::string const& root, ModelSlot& slot, ModelStore const& view);

  // The model.
  ModelStore& View(ModelSession& session) {
    return session.m_Transaction ? session.m_InTransaction : m_Committed;
  }
  ModelSession& Other(ModelSession& session) {
    return &session == &m_Sessions[0] ? m_Sessions[1] : m_Sessions[0];
  }
  bool OtherWrites(ModelSession& session) { return Other(session).m_Transaction != nullptr; }
  ModelSlot* FindPending(ModelSession& session, int id);
  /// Work of the session was undone: a change may be reported without reason. A missed one is an error.
  static void NoteUndone(ModelSession& session);
  /// The session has read an object that another one is changing.
  void NoteSeen(ModelSession& session, int id);
  /// The array in memory becomes the store's view, and outside of a transaction it is committed.
  void NoteFlushed(ModelSession& session, ModelSlot& slot, int array);
  void NoteChanged(ModelSession& session, int id, int part, ModelStale stale);
  void TellOther(ModelSession& session, int id, int part, ModelStale stale);
  void ApplyCommit(ModelSession& session);
  void ApplyRollback(ModelSession& session);
  void ApplyRollback(ModelSession& session, ModelSlot& slot);
  void ApplySave(ModelSession& session, ModelSlot& slot, std::string const& root);
  static void NoteTouched(ModelSlot& slot, int array, int index);

  // Preparations.
  bool MayChange(ModelSession& session, ModelSlot& slot);
  /// Makes a collection notice another session's commits.
  void Touch(ModelSession& session, ModelSlot& slot, int part);
  void TouchAll(ModelSession& session, ModelSlot& slot);
  bool MayDrop(ModelSession& session, ModelSlot& slot);
  void Drop(ModelSession& session, ModelSlot& slot);
  void FlushSlot(ModelSession& session, ModelSlot& slot);

  /// Runs an action, with the step's fault if it has one.
  Outcome Act(ModelStep const& step, std::function<void()> const& act);
  /// The state after an action with a fault; raises if the action failed by itself.
  void AfterFault(ModelSession& session, Outcome const& outcome, char const* what);
  static void Expect(bool isRight, std::string const& text);
  static std::string RootName(int number) { return "root " + std::to_string(number % 6); }

  std::string m_Path;
  StorePowerVfs m_Vfs;
  std::array<ModelSession, 2> m_Sessions;
  ModelStore m_Committed;
  int m_LastId = 0;
  int m_LastValue = 0;
  int m_StepsDone = 0;
};

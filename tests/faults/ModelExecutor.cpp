#include "tests/faults/ModelExecutor.h"

#include <algorithm>
#include <filesystem>

// The steps of scripts for objects in memory and their saves.

namespace {

/// The number of members that a class writes, each a point of failure.
int PointsOf(ModelKind kind) {
  switch (kind) {
  case ModelKind::Carrier:
    return Carrier::ArrayCount + 3;
  case ModelKind::Folder:
    return 3;
  default:
    return 2;
  }
}

/// Stops the classes from failing.
struct NormalAgain {
  ~NormalAgain() { FaultsFailure::s_How = FaultsFailure::How::None; }
};

} // namespace

ModelExecutor::~ModelExecutor() {
  for (ModelSession& session : m_Sessions) session.m_Transaction.reset(); // others would wait for it
  for (ModelSession& session : m_Sessions) {
    for (ModelSlot& slot : session.m_Slots) slot = {};
    session.m_Store.reset();
  }
}

void ModelExecutor::Expect(bool isRight, std::string const& text) {
  if (!isRight) throw ModelFailure(text);
}

void ModelExecutor::Run(ModelScript const& script) {
  sto_Options options;
  options.m_PageBytes = 4096;
  options.m_ReadersBesideWriter = script.m_ReadersBesideWriter;
  { sto_Store::Open(m_Path, sto_Mode::Create, FaultsRegistrar(), options); }
  for (ModelSession& session : m_Sessions)
    session.m_Store =
        std::make_unique<sto_Store>(sto_Store::Open(m_Path, sto_Mode::ReadWrite, FaultsRegistrar()));
  for (std::size_t i = 0; i < script.m_Steps.size(); ++i) {
    try {
      Step(script.m_Steps[i]);
    } catch (ModelFailure const& failure) {
      throw ModelFailure("step " + std::to_string(i) + " (" + ModelText(script.m_Steps[i]) +
                         "): " + failure.what());
    }
    ++m_StepsDone;
  }
}

void ModelExecutor::Step(ModelStep const& step) {
  ModelSession& session = m_Sessions[static_cast<std::size_t>(step.m_Session % 2)];
  switch (step.m_Op) {
  case ModelOp::Begin:
    return Begin(session, step);
  case ModelOp::Commit:
    return Commit(session, step);
  case ModelOp::Rollback:
    return Rollback(session, step.m_Args[0] % 2 == 0);
  case ModelOp::RemoveRoot:
    return RemoveRoot(session, step);
  case ModelOp::Collect:
    return Collect(session, step);
  case ModelOp::Reopen:
    return Reopen(session, step.m_Args[0]);
  case ModelOp::Verify:
    return Verify();
  default:
    return OnSlot(session,
                  session.m_Slots[static_cast<std::size_t>(step.m_Args[0] % ModelSession::SlotCount)], step);
  }
}

void ModelExecutor::OnSlot(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (step.m_Op == ModelOp::New) return New(session, slot, step);
  if (step.m_Op == ModelOp::Load) return Load(session, slot, step);
  if (slot.IsEmpty()) return;
  switch (step.m_Op) {
  case ModelOp::Drop:
    if (MayDrop(session, slot)) Drop(session, slot);
    return;
  case ModelOp::Values:
    return SetValues(slot, step.m_Args[1]);
  case ModelOp::Copies:
    return MakeCopies(slot);
  case ModelOp::Check:
    return CheckSlot(session, slot);
  case ModelOp::Save:
    return Save(session, slot, step);
  case ModelOp::SaveThrows:
  case ModelOp::SaveUndeclared:
    return SaveFailing(session, slot, step);
  case ModelOp::Write:
    return WriteThroughAgent(session, slot, step);
  case ModelOp::Cut:
    return CutThroughAgent(session, slot, step);
  case ModelOp::Futile:
    return Futile(session, slot, step);
  default:
    if (slot.m_Carrier != nullptr) OnArray(session, slot, step);
  }
}

void ModelExecutor::OnArray(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  switch (step.m_Op) {
  case ModelOp::Append:
    return Append(session, slot, step);
  case ModelOp::AppendRun:
    return AppendRun(session, slot, step);
  case ModelOp::Set:
    return SetElement(session, slot, step);
  case ModelOp::Get:
    return GetElement(session, slot, step);
  case ModelOp::Flush:
  case ModelOp::Release:
    return FlushArray(session, slot, step);
  default:
    return Conflict(session, slot, step);
  }
}

FaultsOutcome ModelExecutor::Act(ModelStep const& step, std::function<void()> const& act) {
  if (step.m_Fault != 0)
    StorePowerVfs::StrikeAt(step.m_FaultAt,
                            step.m_Fault == 1 ? StorePowerVfs::Fault::IoError : StorePowerVfs::Fault::Full);
  else
    StorePowerVfs::StrikeAt(0, StorePowerVfs::Fault::None);
  Outcome const outcome = FaultsTry(act);
  StorePowerVfs::Disarm();
  return outcome;
}

void ModelExecutor::AfterFault(ModelSession& session, Outcome const& outcome, char const* what) {
  Expect(StorePowerVfs::HasStruck(), std::string(what) + " failed by itself: " + outcome.m_Text);
  Expect(outcome.m_Way == Outcome::Way::Store,
         std::string(what) + ", struck by a fault, raised no error of the store: " + outcome.m_Text);
  NoteUndone(session);
  if (!session.m_Transaction) return CheckShapes("after a failure", true);
  // The transaction may have been undone; then memory is as after a rollback. Nothing in between is allowed.
  Outcome const before = FaultsTry([&] { CheckShapes("before the call", true); });
  if (!before.IsDone()) {
    ApplyRollback(session);
    Outcome const after = FaultsTry([&] { CheckShapes("after the rollback", true); });
    Expect(after.IsDone(), std::string(what) + " failed (" + outcome.m_Text + ") and left neither what was " +
                               "before it nor what a rollback leaves: " + before.m_Text + " / " +
                               after.m_Text);
  }
  Rollback(session, false);
}

void ModelExecutor::New(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (!MayDrop(session, slot)) return;
  Drop(session, slot);
  int const kind = step.m_Args[1] % 8;
  if (kind < 5) {
    slot.m_View.m_Kind = ModelKind::Carrier;
    slot.m_Carrier = std::make_unique<Carrier>();
    SetValues(slot, step.m_Args[2]);
    if (step.m_Args[2] % 3 == 0) {
      int const array = step.m_Args[2] / 3 % Carrier::ArrayCount;
      for (int i = step.m_Args[2] % 5000; i > 0; --i) {
        slot.m_Carrier->Append(array, i);
        slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Edit().push_back(i);
      }
    }
  } else if (kind == 5) {
    slot.m_View.m_Kind = ModelKind::Picture;
    slot.m_View.m_Bytes.assign(static_cast<std::size_t>(step.m_Args[2] * 4), static_cast<char>('a' + kind));
    slot.m_Picture = std::make_unique<FaultsPicture>(slot.m_View.m_Bytes);
  } else if (kind == 6) {
    slot.m_View.m_Kind = ModelKind::Folder;
    slot.m_Folder = std::make_unique<Folder>();
  } else {
    slot.m_View.m_Kind = ModelKind::Stream;
    slot.m_Stream = std::make_unique<Stream>();
  }
}

void ModelExecutor::Load(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  std::string const root = RootName(step.m_Args[1]);
  ModelStore const& view = View(session);
  auto const found = view.m_Roots.find(root);
  if (!MayDrop(session, slot)) return;
  if (found == view.m_Roots.end()) {
    Outcome const outcome = Act(step, [&] { static_cast<void>(session.m_Store->Load<Carrier>(root)); });
    if (StorePowerVfs::HasStruck() && !outcome.Is(sto_ErrorKind::NotFound))
      return AfterFault(session, outcome, "Load");
    return Expect(outcome.Is(sto_ErrorKind::NotFound), "loading an absent root: " + outcome.m_Text);
  }
  int const id = found->second;
  // Objects collected but not committed by the other session would disappear under this one.
  if (OtherWrites(session) && Other(session).m_InTransaction.m_Objects.count(id) == 0) return;
  for (ModelSlot& other : session.m_Slots)
    if (!other.IsEmpty() && other.m_Id == id && !MayDrop(session, other)) return;
  for (ModelSlot& other : session.m_Slots)
    if (!other.IsEmpty() && other.m_Id == id) Drop(session, other);
  Drop(session, slot);
  Outcome const outcome = Act(step, [&] { LoadAndCompare(*session.m_Store, root, slot, view); });
  if (!outcome.IsDone()) {
    slot = {};
    Expect(outcome.m_Way == Outcome::Way::Store, outcome.m_Text);
    return AfterFault(session, outcome, "Load");
  }
  slot.m_Id = id;
  NoteSeen(session, id);
  slot.m_IsLoadedInTransaction = session.m_Transaction != nullptr;
}

void ModelExecutor::SetValues(ModelSlot& slot, int number) {
  if (slot.m_Carrier == nullptr) return;
  Carrier& carrier = *slot.m_Carrier;
  ModelObject& view = slot.m_View;
  carrier.m_Number = view.m_Number = number;
  carrier.m_BaseNumber = view.m_BaseNumber = number + 1;
  carrier.m_Text = view.m_Text = std::string(static_cast<std::size_t>(number % 700), 'x');
  view.m_List.assign(static_cast<std::size_t>(number % 40), number);
  cow_1DArrayList<int> list;
  for (int const value : view.m_List) list.Append(value);
  carrier.m_List = list;
  view.m_Leaf = number % 3 == 0 ? -1 : number;
  carrier.m_Leaf = view.m_Leaf < 0 ? nullptr : std::make_shared<Leaf>(number);
}

void ModelExecutor::Append(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  if (slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Size() > 9000 || !MayChange(session, slot))
    return;
  Touch(session, slot, array);
  std::vector<int>& view = slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Edit();
  int const count = step.m_Args[2] % 10 == 0 ? step.m_Args[2] % 2500 + 1 : step.m_Args[2] % 30 + 1;
  Outcome const outcome = Act(step, [&] {
    for (int i = 0; i < count; ++i) {
      int const value = ++m_LastValue;
      slot.m_Carrier->Append(array, value);
      NoteTouched(slot, array, static_cast<int>(view.size()));
      view.push_back(value);
    }
  });
  if (!outcome.IsDone()) AfterFault(session, outcome, "Append");
}

void ModelExecutor::AppendRun(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  if (slot.m_Id < 0 || slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Size() > 9000) return;
  if (!MayChange(session, slot)) return;
  Touch(session, slot, array);
  std::vector<int> run(static_cast<std::size_t>(step.m_Args[2] % 3000 + 1));
  for (int& value : run) value = ++m_LastValue;
  ModelStep quiet = step;
  if (!session.m_Transaction) quiet.m_Fault = 0; // several implicit transactions: some may succeed
  Outcome const outcome = Act(quiet, [&] {
    slot.m_Carrier->Release(array);
    slot.m_Carrier->AppendBlock(array, run);
  });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "AppendBlock");
  std::vector<int>& view = slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Edit();
  for (int const value : run) {
    NoteTouched(slot, array, static_cast<int>(view.size()));
    view.push_back(value);
  }
  NoteFlushed(session, slot, array);
}

void ModelExecutor::SetElement(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  if (!MayChange(session, slot)) return;
  Touch(session, slot, array);
  std::vector<int>& view = slot.m_View.m_Arrays[static_cast<std::size_t>(array)].Edit();
  if (view.empty()) return;
  int const index = step.m_Args[2] % static_cast<int>(view.size());
  int const value = ++m_LastValue;
  Outcome const outcome = Act(step, [&] { slot.m_Carrier->Set(array, index, value); });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "Get for writing");
  NoteTouched(slot, array, index);
  view[static_cast<std::size_t>(index)] = value;
}

void ModelExecutor::GetElement(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  if (slot.m_Id >= 0 && OtherWrites(session) && slot.IsPending()) return;
  Touch(session, slot, array);
  std::vector<int> const& view = *slot.m_View.m_Arrays[static_cast<std::size_t>(array)];
  if (view.empty() || (slot.m_Id >= 0 && FindPending(Other(session), slot.m_Id) != nullptr)) return;
  int const index = step.m_Args[2] % static_cast<int>(view.size());
  int value = 0;
  Outcome const outcome = Act(step, [&] { value = slot.m_Carrier->Get(array, index); });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "ConstGet");
  Expect(value == view[static_cast<std::size_t>(index)],
         "element " + std::to_string(index) + " of array " + std::to_string(array) + " is " +
             std::to_string(value) + ", not " + std::to_string(view[static_cast<std::size_t>(index)]));
}

void ModelExecutor::FlushArray(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  if (slot.m_Id >= 0 && !MayChange(session, slot)) return;
  Touch(session, slot, array);
  Outcome const outcome = Act(step, [&] {
    step.m_Op == ModelOp::Flush ? slot.m_Carrier->Flush(array) : slot.m_Carrier->Release(array);
  });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "Flush or Release");
  if (slot.m_Id >= 0) NoteFlushed(session, slot, array);
}

void ModelExecutor::MakeCopies(ModelSlot& slot) {
  if (slot.m_Carrier == nullptr) return;
  if (slot.m_Id >= 0) { // copies of associated arrays have another size
    if (!slot.m_IsNewInTransaction || slot.m_View.m_Arrays[3].Size() == 0) return;
    slot.m_Carrier->AssignPast();
    slot.m_IsPastDead = false;
    return;
  }
  slot.m_Carrier->MakeCopies();
  slot.m_CopiesInMemory = true;
  for (std::size_t i = 0; i < slot.m_CopySizes.size(); ++i)
    slot.m_CopySizes[i] = slot.m_View.m_Arrays[i].Size();
}

void ModelExecutor::Save(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (OtherWrites(session)) return;
  std::string const root = RootName(step.m_Args[1]);
  TouchAll(session, slot);
  for (std::size_t i = 0; i < slot.m_Arrays.size(); ++i)
    if (slot.m_Id < 0) slot.m_Arrays[i].m_AtSave = slot.m_View.m_Arrays[i];
  bool const hadAgents = (slot.m_Folder != nullptr && slot.m_Folder->HasAgents()) ||
                         (slot.m_Picture != nullptr && slot.m_Picture->HasBlob());
  Outcome const outcome = Act(step, [&] {
    if (slot.m_Carrier != nullptr) session.m_Store->Save(root, *slot.m_Carrier);
    if (slot.m_Picture != nullptr) session.m_Store->Save(root, *slot.m_Picture);
    if (slot.m_Folder != nullptr) session.m_Store->Save(root, *slot.m_Folder);
    if (slot.m_Stream != nullptr) session.m_Store->Save(root, *slot.m_Stream);
  });
  if (slot.m_IsDead) {
    if (StorePowerVfs::HasStruck() && outcome.m_Way == Outcome::Way::Store)
      return AfterFault(session, outcome, "Save");
    return Expect(outcome.Is(sto_ErrorKind::Unavailable),
                  "saving what was made in undone work: " + (outcome.IsDone() ? "no error" : outcome.m_Text));
  }
  if (outcome.IsDone()) return ApplySave(session, slot, root);
  if (outcome.Is(sto_ErrorKind::Conflict) && IsSecondName(session, slot, root)) {
    NoteUndone(session);
    return CheckShapes("after a changed object was refused a second name", true);
  }
  if (slot.m_Id < 0 && !hadAgents) {
    if (slot.m_Stream != nullptr) slot = {}; // no way to see whether its list was made
    if (slot.m_Folder != nullptr) slot.m_IsDead = slot.m_Folder->HasAgents();
    if (slot.m_Picture != nullptr) slot.m_IsDead = slot.m_Picture->HasBlob();
  }
  AfterFault(session, outcome, "Save");
}

bool ModelExecutor::IsSecondName(ModelSession& session, ModelSlot const& slot, std::string const& root) {
  auto const& roots = View(session).m_Roots;
  auto const same = roots.find(root);
  if (slot.m_Id < 0 || (same != roots.end() && same->second == slot.m_Id)) return false;
  return std::ranges::any_of(roots, [&](auto const& other) { return other.second == slot.m_Id; });
}

void ModelExecutor::SaveFailing(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (OtherWrites(session) || slot.m_IsDead) return;
  TouchAll(session, slot);
  int const point = step.m_Args[2] % PointsOf(slot.m_View.m_Kind);
  NormalAgain const normal;
  FaultsFailure::s_How =
      step.m_Op == ModelOp::SaveThrows ? FaultsFailure::How::Throw : FaultsFailure::How::Undeclared;
  FaultsFailure::s_Point = point;
  std::string const root = RootName(step.m_Args[1]);
  Outcome const outcome = Act(step, [&] {
    if (slot.m_Carrier != nullptr) session.m_Store->Save(root, *slot.m_Carrier);
    if (slot.m_Picture != nullptr) session.m_Store->Save(root, *slot.m_Picture);
    if (slot.m_Folder != nullptr) session.m_Store->Save(root, *slot.m_Folder);
    if (slot.m_Stream != nullptr) session.m_Store->Save(root, *slot.m_Stream);
  });
  if (step.m_Op == ModelOp::SaveThrows)
    Expect(outcome.m_Way == Outcome::Way::Other, "a class that throws: " + outcome.m_Text);
  else
    Expect(outcome.Is(sto_ErrorKind::Misuse), "an undeclared attribute: " + outcome.m_Text);
  if (slot.m_Id < 0 && slot.m_Carrier == nullptr && point > 0) slot.m_IsDead = true;
  NoteUndone(session);
  CheckShapes("after a save that failed", true);
}

void ModelExecutor::ApplySave(ModelSession& session, ModelSlot& slot, std::string const& root) {
  ModelStore& store = View(session);
  if (slot.m_Id < 0) {
    slot.m_Id = ++m_LastId;
    slot.m_IsNewInTransaction = session.m_Transaction != nullptr;
    store.m_Objects[slot.m_Id] = slot.m_View;
    if (!session.m_Transaction && slot.m_Carrier != nullptr && slot.m_CopiesInMemory) {
      slot.m_Carrier->DropCopies();
      slot.m_CopiesInMemory = false;
    }
  } else {
    ModelObject& stored = store.m_Objects[slot.m_Id];
    if (slot.m_Carrier != nullptr) {
      std::array<ModelNumbers, Carrier::ArrayCount> const arrays = stored.m_Arrays;
      stored = slot.m_View;
      stored.m_Arrays = arrays;
      for (int array = 0; array < Carrier::ArrayCount; ++array) NoteFlushed(session, slot, array);
    } else {
      NoteChanged(session, slot.m_Id, 0, ModelStale::Maybe);
      NoteChanged(session, slot.m_Id, 1, ModelStale::Maybe);
      slot.m_Arrays[0].m_MayReport = true; // a picture writes itself through another agent
    }
  }
  store.m_Roots[root] = slot.m_Id;
}

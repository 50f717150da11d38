#include <algorithm>

#include "tests/faults/ModelExecutor.h"

// The steps of scripts for transactions, agents, and two sessions.

void ModelExecutor::Begin(ModelSession& session, ModelStep const& step) {
  if (session.m_Transaction || OtherWrites(session)) return;
  Outcome const outcome =
      Act(step, [&] { session.m_Transaction = std::make_unique<sto_Transaction>(*session.m_Store); });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "Begin");
  session.m_InTransaction = m_Committed;
  session.m_Changed.clear();
  for (ModelSlot& slot : session.m_Slots)
    for (std::size_t i = 0; i < slot.m_Arrays.size(); ++i) {
      ModelArray& array = slot.m_Arrays[i];
      array.m_AtBegin = slot.m_View.m_Arrays[i];
      array.m_WasPendingAtBegin = array.m_IsPending;
      array.m_TouchedAtBegin = array.m_Touched;
    }
}

void ModelExecutor::Commit(ModelSession& session, ModelStep const& step) {
  if (!session.m_Transaction) return;
  Outcome const outcome = Act(step, [&] { session.m_Transaction->Commit(); });
  if (outcome.IsDone()) return ApplyCommit(session);
  Expect(StorePowerVfs::HasStruck(), "Commit failed by itself: " + outcome.m_Text);
  Expect(outcome.m_Way == Outcome::Way::Store, "Commit: " + outcome.m_Text);
  if (step.m_Args[0] % 2 == 0 && FaultsTry([&] { session.m_Transaction->Commit(); }).IsDone())
    return ApplyCommit(session);
  Rollback(session, step.m_Args[1] % 2 == 0);
}

void ModelExecutor::ApplyCommit(ModelSession& session) {
  session.m_Transaction.reset();
  ModelStore before = std::move(m_Committed);
  m_Committed = std::move(session.m_InTransaction);
  std::set<std::pair<int, int>> seenEarly;
  for (ModelSlot const& slot : session.m_Slots)
    for (int part = 0; part < Carrier::ArrayCount; ++part)
      if (slot.m_Arrays[static_cast<std::size_t>(part)].m_WasSeenEarly) seenEarly.emplace(slot.m_Id, part);
  for (ModelSlot& slot : session.m_Slots) {
    slot.m_IsLoadedInTransaction = slot.m_IsNewInTransaction = false;
    if (slot.m_Carrier == nullptr || slot.m_Id < 0) continue;
    slot.m_Carrier->DropPast();
    slot.m_IsPastDead = false;
    if (slot.m_CopiesInMemory) slot.m_Carrier->DropCopies();
    slot.m_CopiesInMemory = false;
    for (int array = 0; array < Carrier::ArrayCount; ++array) {
      if (slot.m_Arrays[static_cast<std::size_t>(array)].m_IsPending) NoteFlushed(session, slot, array);
    }
  }
  for (auto const& [id, part] : session.m_Changed) {
    auto const old = before.m_Objects.find(id);
    if (old == before.m_Objects.end() || m_Committed.m_Objects.count(id) == 0) continue;
    ModelObject const& now = m_Committed.m_Objects[id];
    bool const differs = now.m_Kind == ModelKind::Carrier
                             ? !(old->second.m_Arrays[static_cast<std::size_t>(part)] ==
                                 now.m_Arrays[static_cast<std::size_t>(part)])
                             : old->second.m_Bytes != now.m_Bytes || old->second.m_Items != now.m_Items ||
                                   !(old->second.m_Arrays[0] == now.m_Arrays[0]);
    bool const mustShow =
        differs && (part == 0 || now.m_Kind == ModelKind::Carrier) && seenEarly.count({id, part}) == 0;
    TellOther(session, id, part, mustShow ? ModelStale::Must : ModelStale::Maybe);
  }
  CheckShapes("after a commit", false);
}

void ModelExecutor::Rollback(ModelSession& session, bool asked) {
  if (!session.m_Transaction) return;
  if (asked) session.m_Transaction->Rollback();
  session.m_Transaction.reset();
  ApplyRollback(session);
  CheckShapes("after a rollback", true);
}

void ModelExecutor::ApplyRollback(ModelSession& session) {
  for (ModelSlot& slot : session.m_Slots)
    if (!slot.IsEmpty()) ApplyRollback(session, slot);
}

void ModelExecutor::ApplyRollback(ModelSession& session, ModelSlot& slot) {
  bool const wasNew = std::exchange(slot.m_IsNewInTransaction, false);
  bool const wasLoaded = std::exchange(slot.m_IsLoadedInTransaction, false);
  if (slot.m_Id < 0) return;
  auto const stored = m_Committed.m_Objects.find(slot.m_Id);
  if (wasNew || stored == m_Committed.m_Objects.end()) {
    if (wasLoaded && slot.m_Carrier != nullptr) { // a second array of a list that does not exist
      slot = {};
      return;
    }
    slot.m_Id = -1;
    slot.m_IsDead = slot.m_Carrier == nullptr;
    slot.m_IsPastDead = slot.m_Carrier != nullptr && slot.m_Carrier->HasPast();
    for (std::size_t i = 0; i < slot.m_Arrays.size(); ++i) {
      ModelNumbers const before = slot.m_Arrays[i].m_AtSave;
      slot.m_Arrays[i] = {};
      if (slot.m_Carrier != nullptr) slot.m_View.m_Arrays[i] = before;
    }
    return;
  }
  for (std::size_t i = 0; i < slot.m_Arrays.size(); ++i) {
    ModelArray& array = slot.m_Arrays[i];
    bool const isBack = array.m_WasPendingAtBegin && !wasLoaded;
    array.m_IsPending = isBack;
    array.m_Touched = isBack ? array.m_TouchedAtBegin : std::set<int>();
    if (slot.m_Carrier != nullptr)
      slot.m_View.m_Arrays[i] = isBack ? array.m_AtBegin : stored->second.m_Arrays[i];
    bool const isUnclear = !isBack && array.m_Stale == ModelStale::No;
    if (slot.m_Carrier != nullptr && isUnclear && FindPending(Other(session), slot.m_Id) != nullptr) {
      // Unwritten changes of the other session may or may not be visible to a read here.
      std::vector<int> const found = slot.m_Carrier->All(static_cast<int>(i));
      CompareStored(slot.m_Id, static_cast<int>(i), found, *stored->second.m_Arrays[i], "after a rollback");
      slot.m_View.m_Arrays[i] = found;
    }
    array.m_Stale = std::min(array.m_Stale, ModelStale::Maybe);
    array.m_MayReport = true;
  }
}

void ModelExecutor::RemoveRoot(ModelSession& session, ModelStep const& step) {
  if (OtherWrites(session)) return;
  std::string const root = RootName(step.m_Args[0]);
  bool isRemoved = false;
  Outcome const outcome = Act(step, [&] { isRemoved = session.m_Store->RemoveRoot(root); });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "RemoveRoot");
  Expect(isRemoved == (View(session).m_Roots.erase(root) == 1), "RemoveRoot says the wrong thing");
  CheckShapes("after a root was removed", false);
}

void ModelExecutor::Collect(ModelSession& session, ModelStep const& step) {
  if (OtherWrites(session)) return;
  std::set<int> kept;
  for (auto const& [root, id] : View(session).m_Roots) kept.insert(id);
  for (ModelSlot& slot : Other(session).m_Slots) // keep their objects from being collected
    if (!slot.IsEmpty() && slot.m_Id >= 0 && kept.count(slot.m_Id) == 0) {
      if (session.m_Transaction && slot.IsPending()) return;
      Drop(Other(session), slot);
    }
  Outcome const outcome = Act(step, [&] { session.m_Store->CollectGarbage(); });
  if (!outcome.IsDone()) return AfterFault(session, outcome, "CollectGarbage");
  for (ModelSlot const& slot : session.m_Slots) kept.insert(slot.m_Id);
  std::erase_if(View(session).m_Objects, [&](auto const& entry) { return kept.count(entry.first) == 0; });
  CheckShapes("after collecting", false);
}

void ModelExecutor::Reopen(ModelSession& session, int how) {
  if (OtherWrites(session)) return;
  Rollback(session, how % 2 == 0);
  auto const flushed = [&] {
    for (ModelSlot& slot : session.m_Slots)
      for (int array = 0; array < Carrier::ArrayCount; ++array)
        if (slot.m_Id >= 0 && slot.m_Carrier != nullptr) NoteFlushed(session, slot, array);
  };
  if (how % 3 == 0) {
    flushed();
    for (ModelSlot& slot : session.m_Slots) // arrays unknown to the store must be destroyed before it
      if (slot.m_Carrier != nullptr) slot.m_Carrier->DropPast();
    session.m_Store.reset(); // together with all objects it has handed out
    for (ModelSlot& slot : session.m_Slots) slot = {};
  } else {
    for (ModelSlot& slot : session.m_Slots) Drop(session, slot);
    session.m_Store.reset();
  }
  session.m_Store =
      std::make_unique<sto_Store>(sto_Store::Open(m_Path, sto_Mode::ReadWrite, FaultsRegistrar()));
}

void ModelExecutor::WriteThroughAgent(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (slot.m_Carrier != nullptr || OtherWrites(session)) return;
  if (slot.m_IsDead) return CheckDead(slot);
  if (slot.m_Id < 0) return;
  TouchAll(session, slot);
  ModelObject& stored = View(session).m_Objects[slot.m_Id];
  ModelObject changed = stored;
  int const place = step.m_Args[1];
  int const value = ++m_LastValue;
  Outcome outcome;
  if (slot.m_Picture != nullptr) {
    std::size_t const offset = static_cast<std::size_t>(place * 4) % (stored.m_Bytes.size() + 100);
    std::string const run(static_cast<std::size_t>(step.m_Args[2] * 3 + 1),
                          static_cast<char>('A' + value % 60));
    if (changed.m_Bytes.size() < offset + run.size()) changed.m_Bytes.resize(offset + run.size());
    changed.m_Bytes.replace(offset, run.size(), run);
    outcome = Act(step, [&] {
      slot.m_Picture->Blob().Write(static_cast<long long>(offset), static_cast<long long>(run.size()),
                                   run.data());
    });
  } else if (slot.m_Folder != nullptr && place % 3 == 0) {
    changed.m_Keyed[place % 30] = value;
    outcome = Act(step, [&] { slot.m_Folder->PutKey(place % 30, Leaf(value)); });
  } else if (slot.m_Folder != nullptr) {
    int const index = place % (static_cast<int>(stored.m_Items.size()) + 1);
    changed.m_Items.resize(std::max(changed.m_Items.size(), static_cast<std::size_t>(index) + 1));
    changed.m_Items[static_cast<std::size_t>(index)] = value;
    outcome = Act(step, [&] { slot.m_Folder->Put(index, Leaf(value)); });
  } else {
    std::vector<int>& list = changed.m_Arrays[0].Edit();
    std::size_t const first = static_cast<std::size_t>(place) % (list.size() + 1);
    std::vector<int> const run(static_cast<std::size_t>(step.m_Args[2] % 3000 + 1), value);
    list.resize(std::max(list.size(), first + run.size()));
    std::copy(run.begin(), run.end(), list.begin() + static_cast<std::ptrdiff_t>(first));
    outcome = Act(step, [&] { slot.m_Stream->Write(static_cast<int>(first), run); });
  }
  if (!outcome.IsDone()) return AfterFault(session, outcome, "a write through an agent");
  stored = changed;
  NoteChanged(session, slot.m_Id, slot.m_Folder != nullptr && place % 3 == 0 ? 1 : 0, ModelStale::Must);
  CheckShapes("after a write through an agent", false);
}

void ModelExecutor::CutThroughAgent(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (slot.m_Carrier != nullptr || slot.m_IsDead || slot.m_Id < 0 || OtherWrites(session)) return;
  TouchAll(session, slot);
  ModelObject& stored = View(session).m_Objects[slot.m_Id];
  ModelObject changed = stored;
  int part = 0;
  Outcome outcome;
  if (slot.m_Picture != nullptr) {
    if (stored.m_Bytes.empty()) return;
    changed.m_Bytes.resize(static_cast<std::size_t>(step.m_Args[2] * 4) % stored.m_Bytes.size());
    outcome =
        Act(step, [&] { slot.m_Picture->Blob().Truncate(static_cast<long long>(changed.m_Bytes.size())); });
  } else if (slot.m_Folder == nullptr) {
    return;
  } else if (step.m_Args[1] % 3 == 0) {
    changed.m_Items.resize(static_cast<std::size_t>(step.m_Args[2] % 600), -1);
    outcome = Act(step, [&] { slot.m_Folder->Items().SetCount(step.m_Args[2] % 600); });
  } else if (step.m_Args[1] % 3 == 1 && !stored.m_Items.empty()) {
    int const index = step.m_Args[2] % static_cast<int>(stored.m_Items.size());
    changed.m_Items.erase(changed.m_Items.begin() + index);
    outcome = Act(step, [&] { slot.m_Folder->Items().Remove(index); });
  } else if (!stored.m_Keyed.empty()) {
    part = 1;
    int const key =
        std::next(stored.m_Keyed.begin(), step.m_Args[2] % static_cast<int>(stored.m_Keyed.size()))->first;
    changed.m_Keyed.erase(key);
    outcome = Act(step, [&] { static_cast<void>(slot.m_Folder->Keyed().Remove(key)); });
  } else {
    return;
  }
  if (!outcome.IsDone()) return AfterFault(session, outcome, "a cut through an agent");
  bool const differs = stored.m_Items != changed.m_Items || part == 1 || slot.m_Picture != nullptr;
  stored = changed;
  NoteChanged(session, slot.m_Id, part, differs ? ModelStale::Must : ModelStale::Maybe);
  CheckShapes("after a cut through an agent", false);
}

void ModelExecutor::Futile(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  if (slot.m_Carrier != nullptr || slot.m_IsDead || slot.m_Id < 0 || OtherWrites(session)) return;
  TouchAll(session, slot);
  if (slot.m_Folder != nullptr) return FutileFolder(session, slot, step);
  Outcome outcome;
  if (slot.m_Picture != nullptr) {
    auto const size = static_cast<long long>(View(session).m_Objects[slot.m_Id].m_Bytes.size());
    outcome = Act(step, [&] { slot.m_Picture->Blob().Truncate(size + step.m_Args[2]); });
  } else {
    outcome = Act(step, [&] { slot.m_Stream->m_List.Write(nullptr, 0); });
  }
  NoteChanged(session, slot.m_Id, 0, ModelStale::Maybe);
  if (!outcome.IsDone()) return AfterFault(session, outcome, "a change that changes nothing");
  CheckShapes("after a change that changes nothing", true);
}

void ModelExecutor::FutileFolder(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  ModelObject const& stored = View(session).m_Objects[slot.m_Id];
  Folder& folder = *slot.m_Folder;
  int const size = static_cast<int>(stored.m_Items.size());
  int const how = step.m_Args[1] % 6;
  Leaf failing(1);
  failing.m_Fails = true;
  Outcome const outcome = Act(step, [&] {
    switch (how) {
    case 0:
      return Expect(!folder.Keyed().Remove(77), "an absent key was removed");
    case 1:
      if (stored.m_Keyed.empty()) folder.Keyed().Clear();
      return;
    case 2:
      return folder.Items().SetCount(size);
    case 3:
      return folder.Items().Remove(size);
    case 4:
      return folder.Put(-1, Leaf(1));
    default:
      return folder.Put(size, failing);
    }
  });
  NoteChanged(session, slot.m_Id, 0, ModelStale::Maybe);
  NoteChanged(session, slot.m_Id, 1, ModelStale::Maybe);
  NoteUndone(session);
  bool const isRight = how < 3   ? outcome.IsDone()
                       : how < 5 ? outcome.Is(sto_ErrorKind::Misuse)
                                 : outcome.m_Way == Outcome::Way::Other;
  if (!isRight) return AfterFault(session, outcome, "a futile change");
  CheckShapes("after a change that changes nothing, or fails", true);
}

void ModelExecutor::Conflict(ModelSession& session, ModelSlot& slot, ModelStep const& step) {
  ModelSession& other = Other(session);
  if (slot.m_Id < 0 || session.m_Transaction || other.m_Transaction) return;
  std::string root;
  for (auto const& [name, id] : m_Committed.m_Roots)
    if (id == slot.m_Id) root = name;
  int const array = step.m_Args[1] % Carrier::ArrayCount;
  auto const place = static_cast<std::size_t>(array);
  if (root.empty() || slot.m_View.m_Arrays[place].Size() == 0 || !MayChange(session, slot)) return;
  for (ModelSlot& theirs : other.m_Slots)
    if (theirs.m_Id == slot.m_Id) Drop(other, theirs);
  TouchAll(session, slot);
  FlushSlot(session, slot);
  std::vector<int> expected = *slot.m_View.m_Arrays[place];
  int const size = static_cast<int>(expected.size());
  int const mine = step.m_Args[2] % size;
  int const theirs = (step.m_Args[2] / 7 + step.m_Args[1]) % size;
  int const myValue = ++m_LastValue;
  int const theirValue = ++m_LastValue;
  slot.m_Carrier->Set(array, mine, myValue);
  {
    auto const guest = other.m_Store->Load<Carrier>(root);
    guest->Set(array, theirs, theirValue);
    if (step.m_Args[1] % 5 == 0) guest->Append(array, theirValue);
    guest->Flush(array);
  }
  expected[static_cast<std::size_t>(theirs)] = theirValue;
  if (step.m_Args[1] % 5 == 0) expected.push_back(theirValue);
  bool const isSave = step.m_Args[2] % 2 == 0;
  Outcome const outcome = FaultsTry(
      [&] { isSave ? session.m_Store->Save(root, *slot.m_Carrier) : slot.m_Carrier->Flush(array); });
  Expect(outcome.IsDone() || outcome.Is(sto_ErrorKind::Conflict),
         "two sessions change one array: " + outcome.m_Text);
  Expect(!outcome.IsDone() || mine != theirs, "what another session changed was overwritten silently");
  if (outcome.IsDone()) {
    expected[static_cast<std::size_t>(mine)] = myValue;
    auto const arrays = m_Committed.m_Objects[slot.m_Id].m_Arrays;
    if (isSave) m_Committed.m_Objects[slot.m_Id] = slot.m_View;
    m_Committed.m_Objects[slot.m_Id].m_Arrays = arrays;
  }
  int const id = slot.m_Id;
  slot = {}; // its destructor tries again; the session keeps the failure
  for (int i = 0; i < 2; ++i)
    FaultsTry([&] {
      sto_Transaction drain(*session.m_Store);
      if (!FaultsTry([&] { drain.Commit(); }).IsDone()) drain.Commit();
    });
  m_Committed.m_Objects[id].m_Arrays[place] = expected;
  sto_Store fresh = sto_Store::Open(m_Path, sto_Mode::ReadOnly, FaultsRegistrar());
  Expect(fresh.Load<Carrier>(root)->All(array) == expected,
         std::string("after two sessions changed one array, and ") +
             (outcome.IsDone() ? "both were stored" : "the second was refused") + ", the store has neither");
}

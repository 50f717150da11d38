#include <algorithm>

#include "tests/faults/ModelExecutor.h"

// The model's comparisons, and its state for two sessions.

void ModelExecutor::NoteTouched(ModelSlot& slot, int array, int index) {
  if (slot.m_Id < 0) return;
  slot.m_Arrays[static_cast<std::size_t>(array)].m_IsPending = true;
  slot.m_Arrays[static_cast<std::size_t>(array)].m_Touched.insert(index);
}

void ModelExecutor::NoteFlushed(ModelSession& session, ModelSlot& slot, int array) {
  auto const place = static_cast<std::size_t>(array);
  ModelArray& mine = slot.m_Arrays[place];
  if (slot.m_Id < 0 || !mine.m_IsPending) return;
  ModelNumbers& stored = View(session).m_Objects[slot.m_Id].m_Arrays[place];
  bool const differs = !(stored == slot.m_View.m_Arrays[place]) && !mine.m_WasSeenEarly;
  stored = slot.m_View.m_Arrays[place];
  NoteChanged(session, slot.m_Id, array, differs ? ModelStale::Must : ModelStale::Maybe);
  if (session.m_Transaction) return; // a rollback restores them
  mine.m_IsPending = mine.m_WasSeenEarly = false;
  mine.m_Touched.clear();
}

void ModelExecutor::NoteChanged(ModelSession& session, int id, int part, ModelStale stale) {
  if (session.m_Transaction)
    session.m_Changed.emplace(id, part);
  else
    TellOther(session, id, part, stale);
}

void ModelExecutor::TellOther(ModelSession& session, int id, int part, ModelStale stale) {
  for (ModelSlot& slot : Other(session).m_Slots) {
    ModelStale& known = slot.m_Arrays[static_cast<std::size_t>(part)].m_Stale;
    if (slot.m_Id == id && !slot.IsEmpty()) known = std::max(known, stale);
  }
}

void ModelExecutor::NoteUndone(ModelSession& session) {
  for (ModelSlot& slot : session.m_Slots)
    for (ModelArray& array : slot.m_Arrays) array.m_MayReport = true;
}

ModelSlot* ModelExecutor::FindPending(ModelSession& session, int id) {
  for (ModelSlot& slot : session.m_Slots)
    if (slot.m_Id == id && slot.IsPending()) return &slot;
  return nullptr;
}

void ModelExecutor::NoteSeen(ModelSession& session, int id) {
  if (ModelSlot* const pending = FindPending(Other(session), id))
    for (ModelArray& array : pending->m_Arrays) array.m_WasSeenEarly = array.m_IsPending;
}

bool ModelExecutor::MayChange(ModelSession& session, ModelSlot& slot) {
  if (slot.m_Id < 0) return true;
  if (OtherWrites(session)) return false;
  if (ModelSlot* const theirs = FindPending(Other(session), slot.m_Id)) {
    if (session.m_Transaction) return false;
    FlushSlot(Other(session), *theirs);
  }
  return true;
}

void ModelExecutor::FlushSlot(ModelSession& session, ModelSlot& slot) {
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    if (!slot.m_Arrays[static_cast<std::size_t>(array)].m_IsPending) continue;
    slot.m_Carrier->Flush(array);
    NoteFlushed(session, slot, array);
  }
}

bool ModelExecutor::MayDrop(ModelSession& session, ModelSlot& slot) {
  if (slot.IsEmpty() || !slot.IsPending()) return true;
  if (OtherWrites(session)) return false;
  // If the object is dropped, a rollback keeps only part of its changes from before the transaction.
  if (session.m_Transaction)
    for (ModelArray const& array : slot.m_Arrays)
      if (array.m_WasPendingAtBegin) return false;
  return true;
}

void ModelExecutor::Drop(ModelSession& session, ModelSlot& slot) {
  if (slot.m_Carrier != nullptr)
    for (int array = 0; array < Carrier::ArrayCount; ++array) NoteFlushed(session, slot, array);
  slot = {};
}

void ModelExecutor::TouchAll(ModelSession& session, ModelSlot& slot) {
  int const parts = slot.m_Carrier != nullptr ? Carrier::ArrayCount : slot.m_Folder != nullptr ? 2 : 1;
  for (int part = 0; part < parts; ++part) Touch(session, slot, part);
}

void ModelExecutor::Touch(ModelSession& session, ModelSlot& slot, int part) {
  if (slot.m_Id < 0 || slot.m_IsDead) return;
  ModelArray& array = slot.m_Arrays[static_cast<std::size_t>(part)];
  if (array.m_IsPending) return; // then no one else has changed it
  ModelStale const stale = std::exchange(array.m_Stale, ModelStale::No);
  bool const mayReport = std::exchange(array.m_MayReport, false);
  bool isChanged = false;
  if (slot.m_Carrier != nullptr)
    isChanged = slot.m_Carrier->Refresh(part) != 0;
  else if (slot.m_Picture != nullptr)
    isChanged = slot.m_Picture->Blob().Changed();
  else if (slot.m_Stream != nullptr)
    isChanged = slot.m_Stream->m_List.IsChanged();
  else
    isChanged = part == 0 ? slot.m_Folder->Items().Changed() : slot.m_Folder->Keyed().Changed();
  Expect(stale != ModelStale::Must || isChanged, "another session's change is not reported");
  ModelSlot* const pending = FindPending(Other(session), slot.m_Id);
  Expect(stale != ModelStale::No || mayReport || !isChanged || pending != nullptr,
         "a change is reported that no one made");
  if (slot.m_Carrier == nullptr) return;
  ModelNumbers& view = slot.m_View.m_Arrays[static_cast<std::size_t>(part)];
  if (pending != nullptr) {
    NoteSeen(session, slot.m_Id);
    std::vector<int> const found = slot.m_Carrier->All(part);
    CompareStored(slot.m_Id, part, found,
                  *View(session).m_Objects[slot.m_Id].m_Arrays[static_cast<std::size_t>(part)],
                  "an array that another session is changing");
    view = found;
  } else {
    view = View(session).m_Objects[slot.m_Id].m_Arrays[static_cast<std::size_t>(part)];
  }
}

void ModelExecutor::CompareStored(int id, int array, std::vector<int> const& found,
                                  std::vector<int> const& expected, std::string const& what) {
  if (found == expected) return;
  auto const place = static_cast<std::size_t>(array);
  std::string const where = what + ": array " + std::to_string(array) + ": ";
  std::set<int> touched;
  std::size_t least = expected.size();
  std::size_t most = expected.size();
  for (ModelSession& session : m_Sessions) {
    ModelSlot* const pending = FindPending(session, id);
    if (pending == nullptr || !pending->m_Arrays[place].m_IsPending) continue;
    touched.insert(pending->m_Arrays[place].m_Touched.begin(), pending->m_Arrays[place].m_Touched.end());
    ModelNumbers const& committed = m_Committed.m_Objects[id].m_Arrays[place];
    least = std::min(least, static_cast<std::size_t>(committed.Size()));
    most = std::max(most, static_cast<std::size_t>(pending->m_View.m_Arrays[place].Size()));
  }
  Expect(found.size() >= least && found.size() <= most,
         where + std::to_string(found.size()) + " elements, not " + std::to_string(expected.size()));
  for (std::size_t i = 0; i < std::min(found.size(), expected.size()); ++i)
    Expect(found[i] == expected[i] || touched.count(static_cast<int>(i)) != 0,
           where + "element " + std::to_string(i) + " of " + std::to_string(expected.size()) + " is " +
               std::to_string(found[i]) + ", not " + std::to_string(expected[i]));
}

void ModelExecutor::ComparePlain(Carrier const& carrier, ModelObject const& expected,
                                 std::string const& what) {
  Expect(carrier.m_Number == expected.m_Number && carrier.m_BaseNumber == expected.m_BaseNumber,
         what + ": the numbers are " + std::to_string(carrier.m_Number) + " and " +
             std::to_string(carrier.m_BaseNumber) + ", not " + std::to_string(expected.m_Number) + " and " +
             std::to_string(expected.m_BaseNumber));
  Expect(carrier.m_Text == expected.m_Text, what + ": the text is different");
  std::vector<int> list;
  for (int i = 0; i < carrier.m_List.Count(); ++i) list.push_back(carrier.m_List.ConstGet(i));
  Expect(list == expected.m_List, what + ": the list is different");
  Expect((carrier.m_Leaf == nullptr ? -1 : carrier.m_Leaf->m_Value) == expected.m_Leaf,
         what + ": the shared object is different");
}

void ModelExecutor::LoadAndCompare(sto_Store& store, std::string const& root, ModelSlot& slot,
                                   ModelStore const& view) {
  int const id = view.m_Roots.at(root);
  ModelObject const& expected = view.m_Objects.at(id);
  slot.m_View = expected;
  switch (expected.m_Kind) {
  case ModelKind::Carrier:
    slot.m_Carrier = store.Load<Carrier>(root);
    ComparePlain(*slot.m_Carrier, expected, root);
    for (int array = 0; array < Carrier::ArrayCount; ++array) {
      std::vector<int> const found = slot.m_Carrier->All(array);
      ModelNumbers& mine = slot.m_View.m_Arrays[static_cast<std::size_t>(array)];
      CompareStored(id, array, found, *mine, root);
      if (found != *mine) mine = found;
    }
    return;
  case ModelKind::Picture:
    slot.m_Picture = store.Load<FaultsPicture>(root);
    return Expect(slot.m_Picture->Bytes() == expected.m_Bytes, root + ": the blob has other bytes");
  case ModelKind::Folder: {
    slot.m_Folder = store.Load<Folder>(root);
    Expect(slot.m_Folder->AllItems() == expected.m_Items, root + ": the list of objects is different");
    std::map<int, int> keyed;
    for (auto const& [key, value] : slot.m_Folder->AllKeyed()) keyed[key] = value;
    return Expect(keyed == expected.m_Keyed, root + ": the map of objects is different");
  }
  case ModelKind::Stream:
    slot.m_Stream = store.Load<Stream>(root);
    return Expect(slot.m_Stream->All() == *expected.m_Arrays[0], root + ": the list has other elements");
  }
}

void ModelExecutor::CheckSlot(ModelSession& session, ModelSlot& slot) {
  if (slot.m_IsDead) return CheckDead(slot);
  if (slot.m_Carrier != nullptr) return CheckCarrier(session, slot);
  if (slot.m_Id < 0) return;
  TouchAll(session, slot);
  ModelObject const& expected = View(session).m_Objects[slot.m_Id];
  if (slot.m_Picture != nullptr)
    Expect(slot.m_Picture->Bytes() == expected.m_Bytes, "the agent's blob has other bytes");
  if (slot.m_Stream != nullptr)
    Expect(slot.m_Stream->All() == *expected.m_Arrays[0], "the agent's list has other elements");
  if (slot.m_Folder == nullptr) return;
  Expect(slot.m_Folder->AllItems() == expected.m_Items, "the agent's list of objects is different");
  std::map<int, int> keyed;
  for (auto const& [key, value] : slot.m_Folder->AllKeyed()) keyed[key] = value;
  Expect(keyed == expected.m_Keyed, "the agent's map of objects is different");
}

void ModelExecutor::CheckCarrier(ModelSession& session, ModelSlot& slot) {
  ComparePlain(*slot.m_Carrier, slot.m_View, "in memory");
  if (slot.m_Id >= 0 && OtherWrites(session) && slot.IsPending()) return; // reading may write back
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    Touch(session, slot, array);
    if (slot.m_Id >= 0 && !slot.IsPending() && FindPending(Other(session), slot.m_Id) != nullptr) continue;
    std::vector<int> const found = slot.m_Carrier->All(array);
    std::vector<int> const& expected = *slot.m_View.m_Arrays[static_cast<std::size_t>(array)];
    std::string const where = "in memory: array " + std::to_string(array) + ": ";
    Expect(found.size() == expected.size(),
           where + std::to_string(found.size()) + " elements, not " + std::to_string(expected.size()));
    auto const at = std::mismatch(found.begin(), found.end(), expected.begin()).first - found.begin();
    Expect(found == expected,
           where + "element " + std::to_string(at) + " of " + std::to_string(found.size()) + " is different");
  }
  if (slot.m_Id < 0) CheckCopies(slot);
  if (slot.m_IsPastDead && !OtherWrites(session)) CheckPast(session, slot);
}

void ModelExecutor::CheckPast(ModelSession& session, ModelSlot& slot) {
  for (bool const isSave : {false, true}) {
    Outcome const outcome =
        FaultsTry([&] { isSave ? slot.m_Carrier->SavePast(*session.m_Store) : slot.m_Carrier->ReadPast(); });
    // It shares its blocks with the restored array, so it may still show the block touched last.
    bool const isShared = !isSave && outcome.IsDone() && slot.m_View.m_Arrays[3].Size() <= 2048;
    Expect(isShared || outcome.Is(sto_ErrorKind::Unavailable),
           std::string(isSave ? "saving" : "reading") +
               " an array of undone work that was assigned without the store noticing: " +
               (outcome.IsDone() ? "no error" : outcome.m_Text));
  }
}

void ModelExecutor::CheckCopies(ModelSlot& slot) {
  if (!slot.m_CopiesInMemory) return;
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    std::vector<int> expected = *slot.m_View.m_Arrays[static_cast<std::size_t>(array)];
    expected.resize(static_cast<std::size_t>(slot.m_CopySizes[static_cast<std::size_t>(array)]));
    Expect(slot.m_Carrier->AllOfCopy(array) == expected,
           "a copy of array " + std::to_string(array) + " shows something else");
  }
}

void ModelExecutor::CheckDead(ModelSlot& slot) {
  auto const refuse = [](char const* what, std::function<void()> const& act) {
    Outcome const outcome = FaultsTry(act);
    Expect(outcome.Is(sto_ErrorKind::Unavailable),
           std::string(what) + " of undone work: " + (outcome.IsDone() ? "no error" : outcome.m_Text));
  };
  int const one = 1;
  if (slot.m_Picture != nullptr) {
    refuse("the size of a blob", [&] { static_cast<void>(slot.m_Picture->Blob().Size()); });
    refuse("writing a blob", [&] { slot.m_Picture->Blob().Write(0, 1, "x"); });
    refuse("reading a blob", [&] { static_cast<void>(slot.m_Picture->Bytes()); });
  }
  if (slot.m_Stream != nullptr) {
    refuse("the size of a list", [&] { static_cast<void>(slot.m_Stream->m_List.Size()); });
    refuse("writing a list", [&] { slot.m_Stream->m_List.Write(&one, 1); });
  }
  if (slot.m_Folder != nullptr) {
    refuse("the count of a list of objects", [&] { static_cast<void>(slot.m_Folder->Items().Count()); });
    refuse("writing a list of objects", [&] { slot.m_Folder->Put(0, Leaf(1)); });
    refuse("writing a map of objects", [&] { slot.m_Folder->PutKey(0, Leaf(1)); });
  }
}

void ModelExecutor::CheckShapes(char const* when, bool withContent) {
  for (ModelSession& session : m_Sessions)
    for (ModelSlot& slot : session.m_Slots)
      if (slot.m_Carrier != nullptr) CheckShape(slot, when, withContent);
}

void ModelExecutor::CheckShape(ModelSlot& slot, std::string const& when, bool withContent) {
  for (int array = 0; array < Carrier::ArrayCount; ++array) {
    auto const place = static_cast<std::size_t>(array);
    std::string const where = when + ": array " + std::to_string(array) + ": ";
    bool const isAssociated = slot.m_Carrier->IsAssociated(array);
    Expect(isAssociated == (slot.m_Id >= 0),
           where + (isAssociated ? "still tied to the store" : "not tied to the store"));
    if (slot.m_Arrays[place].m_Stale != ModelStale::No && !slot.m_Arrays[place].m_IsPending) continue;
    int const size = slot.m_Carrier->Size(array);
    int const expected = slot.m_View.m_Arrays[place].Size();
    Expect(size == expected, where + std::to_string(size) + " elements, not " + std::to_string(expected));
    // Reading an array that is tied to the store could write others back.
    if (withContent && !isAssociated)
      Expect(slot.m_Carrier->All(array) == *slot.m_View.m_Arrays[place], where + "other elements");
  }
  if (withContent && slot.m_Id < 0) CheckCopies(slot);
}

void ModelExecutor::Verify() {
  // A fault may leave a journal that only a writing session can roll back.
  for (ModelSession& session : m_Sessions)
    static_cast<void>(FaultsTry([&] { static_cast<void>(session.m_Store->Roots()); }));
  sto_Store store = sto_Store::Open(m_Path, sto_Mode::ReadOnly, FaultsRegistrar());
  std::vector<std::string> roots;
  for (auto const& [root, id] : m_Committed.m_Roots) roots.push_back(root);
  Expect(store.Roots() == roots, "a new session sees other roots");
  sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
  Expect(report.IsSound(), report.m_Findings.empty() ? "" : "a check finds: " + report.m_Findings[0].m_Text);
  for (std::string const& root : roots) {
    ModelSlot slot;
    try {
      LoadAndCompare(store, root, slot, m_Committed);
    } catch (ModelFailure const& failure) {
      throw ModelFailure(std::string("a new session: ") + failure.what());
    }
  }
}

#include "store/session/sto_Indexes.h"

#include <algorithm>
#include <utility>

#include "store/session/sto_ClassScan.h"
#include "store/session/sto_OwnTransaction.h"
#include "store/session/sto_Session.h"

namespace {

/// Whether an index of a store is one that the program declares, or about more names.
bool Serves(sto_IndexRow const& stored, sto_IndexRow const& declared) {
  return stored.m_ClassId == declared.m_ClassId && stored.m_Names.front() == declared.m_Names.front() &&
         std::ranges::all_of(declared.m_Names, [&](std::string const& name) {
           return std::ranges::find(stored.m_Names, name) != stored.m_Names.end();
         });
}

/// Adds the earlier names that other programs say, so that these programs need not make the index again.
void AddNames(sto_IndexRow& row, std::vector<std::string> const& more) {
  for (std::string const& name : more)
    if (std::ranges::find(row.m_Names, name) == row.m_Names.end()) row.m_Names.push_back(name);
}

} // namespace

void sto_Indexes::Load() {
  if (m_IsLoaded) return;
  m_Rows = m_Session.Driver().Indexes();
  m_IsLoaded = true;
  ForgetPlans();
}

std::vector<sto_IndexRow> const& sto_Indexes::All() {
  Load();
  return m_Rows;
}

sto_IndexRow const* sto_Indexes::Find(unsigned int classId, std::string_view attribute) {
  if (!m_AreThere) return nullptr;
  Load();
  auto const found = std::ranges::find_if(m_Rows, [&](sto_IndexRow const& row) {
    return row.m_ClassId == classId && row.m_Names.front() == attribute;
  });
  return found == m_Rows.end() ? nullptr : &*found;
}

sto_IndexRow const* sto_Indexes::Serving(unsigned int classId, std::string_view attribute) {
  sto_IndexRow const* const row = Find(classId, attribute);
  return row != nullptr && Serves(*row, Declared(classId, attribute)) ? row : nullptr;
}

// --- keeping

sto_IndexPlan const* sto_Indexes::PlanOf(std::int64_t number) {
  sto_Catalogue& catalogue = m_Session.Catalogue();
  catalogue.Load(m_Session.Driver());
  if (m_PlansOf != catalogue.Generation()) ForgetPlans();
  m_PlansOf = catalogue.Generation();
  sto_NumberedShape const* const shape = catalogue.FindShape(number);
  if (shape == nullptr) return nullptr;
  auto const index = static_cast<std::size_t>(number);
  if (index >= m_Plans.size()) m_Plans.resize(index + 1);
  Planned& planned = m_Plans[index];
  if (!planned.m_IsKnown)
    planned = {true, sto_IndexPlan(shape->m_Shape, m_Rows, [&](auto const& part, auto const& key) {
                 return catalogue.FieldName(part.m_ClassId, part.m_Version, key);
               })};
  return &planned.m_Plan;
}

bool sto_Indexes::ReadKeys(std::int64_t id, std::int64_t shape, sto_ByteView values, std::vector<Key>& keys) {
  keys.clear();
  Load();
  auto const take = [&](std::size_t index, std::string key) { keys.push_back({index, std::move(key)}); };
  if (shape != sto_Format::OwnShape) {
    sto_IndexPlan const* const plan = PlanOf(shape);
    if (plan == nullptr) return false;
    return plan->IsEmpty() ||
           plan->ForEachKey(m_Session.Catalogue().FindShape(shape)->m_Shape, id, values, take);
  }
  sto_Catalogue& catalogue = m_Session.Catalogue();
  catalogue.Load(m_Session.Driver());
  sto_ByteReader reader(values);
  if (!m_OwnShape.Decode(reader)) return false;
  sto_IndexPlan const plan(m_OwnShape, m_Rows, [&](auto const& part, auto const& key) {
    return catalogue.FieldName(part.m_ClassId, part.m_Version, key);
  });
  return plan.ForEachKey(m_OwnShape, id, reader.Raw(reader.Remaining()), take);
}

bool sto_Indexes::ReadStoredKeys(std::int64_t id) {
  m_Before.clear();
  if (!m_Session.Driver().ReadObject(id, m_Stored)) return true;
  return m_Stored.m_IsSound && ReadKeys(id, m_Stored.m_Shape, m_Stored.m_Bytes, m_Before);
}

void sto_Indexes::Replace(std::int64_t id) {
  sto_Driver& driver = m_Session.Driver();
  auto const isIn = [](std::vector<Key> const& keys, Key const& key) {
    return std::ranges::any_of(
        keys, [&](Key const& other) { return other.m_Index == key.m_Index && other.m_Key == key.m_Key; });
  };
  for (Key const& key : m_Before)
    if (!isIn(m_After, key)) driver.RemoveFromIndex(m_Rows[key.m_Index].m_Number, {key.m_Key, id});
  for (Key const& key : m_After)
    if (!isIn(m_Before, key)) driver.AddToIndex(m_Rows[key.m_Index].m_Number, {key.m_Key, id});
}

void sto_Indexes::Undo() noexcept {
  if (m_Session.Save().IsGoingOn())
    m_Session.Save().MarkIncomplete();
  else
    m_Session.Driver().Rollback();
}

bool sto_Indexes::WriteObject(std::int64_t id, std::int64_t shape, sto_ByteView values) {
  bool const isReadable = ReadStoredKeys(id); // of a damaged record nobody knows the keys
  if (!ReadKeys(id, shape, values, m_After)) m_After.clear();
  if (!m_Session.Driver().WriteObject(id, shape, values)) return false;
  try {
    if (!isReadable) {
      m_Session.Driver().RemoveFromIndexes(id);
      m_Before.clear();
    }
    Replace(id);
  } catch (...) {
    Undo();
    throw;
  }
  return true;
}

void sto_Indexes::DeleteObject(std::int64_t id) {
  bool const isReadable = ReadStoredKeys(id);
  m_After.clear();
  if (isReadable)
    Replace(id);
  else
    m_Session.Driver().RemoveFromIndexes(id);
  m_Session.Driver().DeleteObject(id);
}

// --- making and removing

sto_IndexRow sto_Indexes::Declared(unsigned int classId, std::string_view attribute) const {
  sto_IndexRow row{0, classId, {std::string(attribute)}};
  cls_ClassChanges const* const changes = m_Session.Catalogue().Classes().Changes(classId);
  cls_ClassChanges::Attribute const* const said = changes == nullptr ? nullptr : changes->Find(attribute);
  if (said != nullptr)
    row.m_Names.insert(row.m_Names.end(), said->m_EarlierNames.begin(), said->m_EarlierNames.end());
  return row;
}

bool sto_Indexes::IsDeclared(unsigned int classId, std::string_view attribute) const {
  sto_Classes const& classes = m_Session.Catalogue().Classes();
  cls_ClassMetadata const* const newest = classes.Newest(classId);
  if (newest == nullptr) return false;
  cls_ClassNotes const* const notes = classes.Notes(classId, newest->Version());
  cls_ClassNotes::Attribute const* const said = notes == nullptr ? nullptr : notes->Find(attribute);
  return said != nullptr && said->m_IsIndexed;
}

bool sto_Indexes::DeclaresAny() const {
  return std::ranges::any_of(m_Session.Catalogue().Classes().AllNotes(), [](auto const& notes) {
    return std::ranges::any_of(notes.second.OfAttributes(),
                               [](auto const& said) { return said.second.m_IsIndexed; });
  });
}

std::vector<sto_IndexRow> sto_Indexes::Missing() {
  std::vector<sto_IndexRow> missing;
  for (auto const& [version, notes] : m_Session.Catalogue().Classes().AllNotes())
    for (auto const& [attribute, said] : notes.OfAttributes()) {
      if (!said.m_IsIndexed || !IsDeclared(version.first, attribute)) continue;
      sto_IndexRow declared = Declared(version.first, attribute);
      auto const serves = [&](sto_IndexRow const& row) { return Serves(row, declared); };
      if (std::ranges::none_of(All(), serves) && std::ranges::none_of(missing, serves))
        missing.push_back(std::move(declared));
    }
  return missing;
}

void sto_Indexes::Prepare() {
  if (!DeclaresAny()) return;
  {
    sto_OwnTransaction reading(m_Session, false);
    bool const isComplete = Missing().empty();
    reading.Commit();
    if (isComplete) return;
  }
  sto_OwnTransaction writing(m_Session, true);
  try {
    Build(Missing()); // another program may have made some
    writing.Commit();
  } catch (...) {
    Forget();
    throw;
  }
}

void sto_Indexes::Build(std::vector<sto_IndexRow> const& missing) {
  if (missing.empty()) return;
  sto_Driver& driver = m_Session.Driver();
  std::int64_t next = 1;
  for (sto_IndexRow const& row : All()) next = std::max(next, row.m_Number + 1);
  std::vector<sto_IndexRow> made;
  made.reserve(missing.size());
  for (sto_IndexRow row : missing) {
    if (sto_IndexRow const* const outdated = Find(row.m_ClassId, row.m_Names.front())) {
      AddNames(row, outdated->m_Names);
      driver.DropIndex(outdated->m_Number);
    }
    row.m_Number = next++;
    driver.AddIndex(row);
    made.push_back(std::move(row));
  }
  driver.SetNote("made " + std::to_string(made.size()) + (made.size() == 1 ? " index" : " indexes"));
  // Only the new ones get entries. What is known is read again when it is needed next.
  m_Rows = std::move(made);
  m_IsLoaded = true;
  m_AreThere = true;
  ForgetPlans();
  sto_ObjectWalk objects(m_Session);
  while (objects.Next()) AddObject(objects.Object().m_Id);
  Forget();
}

void sto_Indexes::AddObject(std::int64_t id) {
  if (!ReadStoredKeys(id)) return;
  for (Key const& key : m_Before)
    m_Session.Driver().AddToIndex(m_Rows[key.m_Index].m_Number, {key.m_Key, id});
}

bool sto_Indexes::Drop(unsigned int classId, std::string_view attribute) {
  sto_IndexRow const* const row = Find(classId, attribute);
  if (row == nullptr) return false;
  std::int64_t const number = row->m_Number;
  bool const isLast = m_Rows.size() == 1;
  Forget();
  m_Session.Driver().DropIndex(number);
  if (isLast) m_AreThere = false;
  return true;
}

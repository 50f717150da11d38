#include "metadata/cls_ClassRegistrar.h"

#include <cassert>
#include <cstdio>
#include <cstdlib>

#include "platform/omni/omi_BtreeIterator.h"

namespace {

cls_ClassRegistrar::ConstGetCheck s_ConstGetCheck = nullptr;
cls_ClassRegistrar::GetClassMetadataCheck s_GetClassMetadataCheck = nullptr;
cls_ClassRegistrar::GetClassIDCheck s_GetClassIDCheck = nullptr;

constexpr int NoVersion = -1;

/// The metadata that a look-up found. Without checks, a failed look-up gets here and must not return a null
/// reference.
cls_ClassMetadata const& Found(cls_ClassMetadataHld const& holder) {
  if (holder.Ptr() == nullptr) {
    std::fputs("cls_ClassRegistrar: look-up of a class that is not registered\n", stderr);
    std::abort();
  }
  return *holder.Ptr();
}

void WarnOfDuplicate(cls_ClassMetadata const& metadata) {
  if (std::getenv("KORVEL_SITE") == nullptr) return; // NOLINT(concurrency-mt-unsafe)
  std::fprintf(stderr, "WARNING: Metadata for class %s version %d has been initialized more than once.\n",
               metadata.Name().CharsOrEmpty(), metadata.Version());
}

/// The holders of an index in its own order.
template <class Index> cow_1DArray<cls_ClassMetadataHld> HoldersOf(Index const& index) {
  cow_1DArray<cls_ClassMetadataHld> holders(static_cast<int>(index.Count()));
  int next = 0;
  for (omi_BtreeIterator i(index); !i.IsDone(); i.Next()) holders.Get(next++) = i.Value();
  return holders;
}

} // namespace

cls_ClassRegistrar::~cls_ClassRegistrar() {
  assert(m_Lives.use_count() == 1 && "A store that was opened with this registrar is still open.");
  *m_Lives = false;
}

cls_ClassMetadata& cls_ClassRegistrar::CreateClassMD(cow_String const& name, unsigned int classId,
                                                     int version, cls_ClassMetadata::CtorFn ctor,
                                                     unsigned int baseClassId) {
  return AddClassMD(new cls_ClassMetadata(name, classId, version, ctor, baseClassId));
}

cls_ClassMetadata& cls_ClassRegistrar::AddClassMD(cls_ClassMetadata* metadata) {
  return Register(cls_ClassMetadataHld(metadata)); // the holder deletes a duplicate
}

cls_ClassNotes& cls_ClassRegistrar::NotesOf(unsigned int classId, int version) {
  return m_Notes[{classId, version}];
}

cls_ClassNotes const* cls_ClassRegistrar::FindNotes(unsigned int classId, int version) const noexcept {
  auto const found = m_Notes.find({classId, version});
  return found == m_Notes.end() ? nullptr : &found->second;
}

cls_ClassChanges& cls_ClassRegistrar::ChangesOf(unsigned int classId) {
  return m_Changes[classId];
}

cls_ClassChanges const* cls_ClassRegistrar::FindChanges(unsigned int classId) const noexcept {
  auto const found = m_Changes.find(classId);
  return found == m_Changes.end() ? nullptr : &found->second;
}

cls_ClassMetadata& cls_ClassRegistrar::Register(cls_ClassMetadataHld const& fresh) {
  cls_ClassMetadata const& metadata = *fresh.Ptr();
  cls_CIDVersion const key{metadata.ClassId(), metadata.Version()};
  bool const isNew = m_ByIdVersion.Insert(key, fresh);
  if (!isNew) {
    m_ByIdVersion.ConstGet(key).Ptr()->NoteDropped(metadata);
    WarnOfDuplicate(metadata);
  }
  try {
    RegisterNewest(fresh);
  } catch (...) {
    if (isNew) m_ByIdVersion.Remove(key);
    throw;
  }
  return *m_ByIdVersion.ConstGet(key).Ptr();
}

void cls_ClassRegistrar::RegisterNewest(cls_ClassMetadataHld const& fresh) {
  cls_ClassMetadata const& metadata = *fresh.Ptr();
  unsigned int const classId = metadata.ClassId();
  if (ById::Node* const newest = m_ById.Find(classId)) {
    if (metadata.Version() > newest->Value().Ptr()->Version()) newest->Value() = fresh;
    return;
  }
  m_ById.Insert(classId, fresh);
  try {
    m_IdByName.InsertUnlessMember(metadata.Name(), classId);
  } catch (...) {
    m_ById.Remove(classId);
    throw;
  }
}

bool cls_ClassRegistrar::ClassIsPresent(unsigned int const& classId) const {
  return m_ById.IsMember(classId);
}

bool cls_ClassRegistrar::ClassVersionIsPresent(unsigned int classId, int version) const {
  return m_ByIdVersion.IsMember({classId, version});
}

bool cls_ClassRegistrar::ClassNameIsPresent(cow_String const& name) const {
  return m_IdByName.IsMember(name);
}

cls_ClassMetadata const& cls_ClassRegistrar::ConstGet(unsigned int const& classId) const {
  if (s_ConstGetCheck != nullptr) s_ConstGetCheck(*this, classId);
  return Found(m_ById.ConstGet(classId));
}

cls_ClassMetadata const& cls_ClassRegistrar::GetClassMetadata(unsigned int classId, int version) const {
  if (s_GetClassMetadataCheck != nullptr) s_GetClassMetadataCheck(*this, classId, version);
  return Found(m_ByIdVersion.ConstGet({classId, version}));
}

unsigned int cls_ClassRegistrar::GetClassID(cow_String const& name) const {
  if (s_GetClassIDCheck != nullptr) s_GetClassIDCheck(*this, name);
  cow_Btree<cow_String, unsigned int>::Node const* const node = m_IdByName.ConstFind(name);
  return node == nullptr ? 0 : node->second;
}

int cls_ClassRegistrar::GetLastClassVersionNumber(unsigned int const& classId) const {
  if (s_ConstGetCheck != nullptr) s_ConstGetCheck(*this, classId);
  return Found(m_ById.ConstGet(classId)).Version();
}

int cls_ClassRegistrar::GetFirstClassVersionNumberGREQ(unsigned int const& classId, int version) const {
  // Intentional: a registered version of -1 is never returned, because -1 also means "none found yet".
  int result = NoVersion;
  for (omi_BtreeIterator i(m_ByIdVersion); !i.IsDone(); i.Next()) {
    int const candidate = i.Key().m_Version;
    if (i.Key().m_ClassId != classId || candidate < version) continue;
    if (result == NoVersion || candidate < result) result = candidate;
  }
  return result;
}

int cls_ClassRegistrar::GetPreviousClassVersionNumber(unsigned int const& classId, int version) const {
  int result = NoVersion; // intentional: as in GetFirstClassVersionNumberGREQ
  for (omi_BtreeIterator i(m_ByIdVersion); !i.IsDone(); i.Next()) {
    int const candidate = i.Key().m_Version;
    if (i.Key().m_ClassId != classId || candidate >= version) continue;
    if (result == NoVersion || candidate > result) result = candidate;
  }
  return result;
}

bool cls_ClassRegistrar::InheritanceCheck(unsigned int const& derived, unsigned int const& base) const {
  if (derived == base) return true;
  unsigned int current = derived;
  while (ClassIsPresent(current)) {
    current = ConstGet(current).BaseClassId();
    if (current == base) return true;
  }
  return false;
}

void cls_ClassRegistrar::DeleteClass(cow_String const& name, unsigned int classId) {
  m_IdByName.InsertUnlessMember(name, classId);
}

bool cls_ClassRegistrar::DeleteCow(unsigned int classId, cow_COW<int, cow_Direct<int>>* data) const {
  for (unsigned int current = classId; current != cls_ClassMetadata::RootClassId;) {
    cls_ClassMetadata const& metadata = ConstGet(current);
    if (metadata.HasDtor()) {
      metadata.DeleteCow(data);
      return true;
    }
    current = metadata.BaseClassId();
  }
  return false;
}

cow_1DArray<cls_ClassMetadataHld> cls_ClassRegistrar::GetMDList() {
  return HoldersOf(m_ById);
}

cow_1DArray<cls_ClassMetadataHld> cls_ClassRegistrar::GetHistoryMDList() {
  return HoldersOf(m_ByIdVersion);
}

void cls_ClassRegistrar::SetConstGetCheck(ConstGetCheck check) noexcept {
  s_ConstGetCheck = check;
}
void cls_ClassRegistrar::SetGetClassMetadataCheck(GetClassMetadataCheck check) noexcept {
  s_GetClassMetadataCheck = check;
}
void cls_ClassRegistrar::SetGetClassIDCheck(GetClassIDCheck check) noexcept {
  s_GetClassIDCheck = check;
}

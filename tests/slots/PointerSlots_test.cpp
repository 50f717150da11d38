#include <gtest/gtest.h>

#include "persist/identity/cls_IdentityMap.h"
#include "persist/pointers/cls_ObjectSource.h"
#include "persist/pointers/cls_StoredObject.h"
#include "tests/slots/SlotList.h"

// The virtual operations that a back end implements for objects behind pointers. Back ends are compiled apart
// from the library, so their order never changes.

TEST(PointerSlots, OfTheSource) {
  SlotList<cls_ObjectSource> list;
  list.Is<cls_ClassMetadata const*(unsigned int, int) const>(1, &cls_ObjectSource::MetadataOf);
  list.Is<bool(unsigned int, unsigned int) const>(2, &cls_ObjectSource::IsDerived);
  list.Is<void(cls_BuildFailure const&) const>(3, &cls_ObjectSource::RaiseNotBuilt);
  list.Is<std::string(unsigned int) const>(4, &cls_ObjectSource::NameOf);
  list.Is<std::string(unsigned int) const>(5, &cls_ObjectSource::Describe);
  list.Is<bool(std::int64_t) noexcept>(6, &cls_ObjectSource::HasIdentity);
  list.ExpectComplete(7);
}

TEST(PointerSlots, OfTheOwnerOfAnIdentityMap) {
  SlotList<cls_IdentityOwner>().ExpectComplete(1);
}

TEST(PointerSlots, OfTheStoredObject) {
  // No destructor is in this table, so its first operation has entry 0, which is slot -1 of other tables.
  EXPECT_EQ(SlotOf(&cls_StoredObject::NoteBuiltByMetadata), 0);
  EXPECT_EQ(ExportedSlots(typeid(cls_StoredObject)), 1) << "two operations, and StoredAt is the first";
}

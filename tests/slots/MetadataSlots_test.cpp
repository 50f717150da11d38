#include <gtest/gtest.h>

#include <cstring>
#include <type_traits>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/slots/SlotList.h"

namespace {

using CowData = cow_COW<int, cow_Direct<int>>;

struct Part {
  explicit Part(cls_ReadVisitor const&) {}
  static unsigned int TypeId() { return 0x7C0001; }
  void DBWrite(cls_WriteVisitor const&) const {}
};

/// Appends a virtual operation: its slot shows the end of a class without an exported table.
template <class Class> struct Extended : Class {
  using Class::Class;
  virtual void Next() const {}
};

template <class Class> void ListSlots(SlotList<Class>& list) {
  list.template Is<void(void const*, cls_WriteVisitor const&) const>(1, &Class::DBWrite);
  list.template Is<void(void*) const>(2, &Class::Delete);
  list.template Is<void(CowData*) const>(3, &Class::DeleteCow);
  list.template Is<void*(cls_ReadVisitor const&) const>(4, &Class::Ctor);
}

/// The function in a slot of an object's table; slot 0 is its first entry.
void const* FunctionIn(cls_ClassMetadata const& object, int slot) {
  void const* const* table = nullptr;
  std::memcpy(&table, static_cast<void const*>(&object), sizeof table);
  return table[slot == 0 ? 0 : slot + 1];
}

class MetadataSlots : public ::testing::Test {
 protected:
  cls_ClassMetadata m_Base{"Base"_cow, 7, 1, nullptr, 1};
  cls_AbsTypeAdapter<Part> m_Abstract{"Part"_cow, 1, 1};
  cls_TypeAdapter<Part> m_Concrete{"Part"_cow, 1, 1};
};

} // namespace

TEST_F(MetadataSlots, ClassMetadataIsInOrder) {
  SlotList<cls_ClassMetadata> list;
  ListSlots(list);
  list.ExpectComplete(5);
}

TEST_F(MetadataSlots, AbstractAdapterIsInOrderAndAppendsNothing) {
  SlotList<cls_AbsTypeAdapter<Part>> list;
  ListSlots(list);
  EXPECT_EQ(SlotOf(&Extended<cls_AbsTypeAdapter<Part>>::Next), 5);
  EXPECT_TRUE(std::has_virtual_destructor_v<cls_AbsTypeAdapter<Part>>);
}

TEST_F(MetadataSlots, AdapterIsInOrderAndAppendsNothing) {
  SlotList<cls_TypeAdapter<Part>> list;
  ListSlots(list);
  EXPECT_EQ(SlotOf(&Extended<cls_TypeAdapter<Part>>::Next), 5);
  EXPECT_TRUE(std::has_virtual_destructor_v<cls_TypeAdapter<Part>>);
}

TEST_F(MetadataSlots, AbstractAdapterReplacesDestructorWritingAndDeletion) {
  for (int const slot : {0, 1, 2}) EXPECT_NE(FunctionIn(m_Abstract, slot), FunctionIn(m_Base, slot)) << slot;
  for (int const slot : {3, 4}) EXPECT_EQ(FunctionIn(m_Abstract, slot), FunctionIn(m_Base, slot)) << slot;
}

TEST_F(MetadataSlots, AdapterReplacesDestructorAndConstruction) {
  for (int const slot : {0, 4}) EXPECT_NE(FunctionIn(m_Concrete, slot), FunctionIn(m_Abstract, slot)) << slot;
  for (int const slot : {1, 2, 3})
    EXPECT_EQ(FunctionIn(m_Concrete, slot), FunctionIn(m_Abstract, slot)) << slot;
}

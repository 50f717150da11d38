#include <gtest/gtest.h>

#include "collections/cls_2dArrayPrim.h"
#include "collections/cls_SimpleArrayPrim.h"
#include "tests/slots/SlotList.h"

namespace {

/// The slots of every bulk container, starting with those of the persistent-object link.
template <class Array> void ExpectArraySlots() {
  SlotList<Array> list;
  list.template Is<void() const>(1, &Array::Flush);
  list.template Is<void()>(2, &Array::Detach);
  list.template Is<void(cls_WriteVisitor const&) const>(3, &Array::DBWrite);
  list.template Is<unsigned int() const>(4, &Array::DynTypeId);
  list.ExpectComplete(5);
}

} // namespace

TEST(CollectionArraySlots, LinkHasItsSlotsInOrder) {
  SlotList<cls_PC> list;
  list.Is<void() const>(1, &cls_PC::Flush);
  list.Is<void()>(2, &cls_PC::Detach);
  list.ExpectComplete(3);
}

TEST(CollectionArraySlots, ArraysAppendTheirTwo) {
  ExpectArraySlots<cls_ArrayPrim<int>>();
  ExpectArraySlots<cls_ArrayPrim<float>>();
  ExpectArraySlots<cls_ArrayPrim<double>>();
  ExpectArraySlots<cls_ArrayPrim<bool>>();
  ExpectArraySlots<cls_ArrayPrim<cow_String>>();
}

TEST(CollectionArraySlots, TwoDimensionalArraysAppendNothing) {
  ExpectArraySlots<cls_2dArrayPrim<float>>();
  ExpectArraySlots<cls_2dArrayPrim<double>>();
}

TEST(CollectionArraySlots, SimpleArraysAppendTheirTwo) {
  ExpectArraySlots<cls_SimpleArrayPrim<int>>();
  ExpectArraySlots<cls_SimpleArrayPrim<float>>();
}

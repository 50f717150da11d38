#include <gtest/gtest.h>

#include "errors/nex_CommandException.h"
#include "errors/nex_OutOfMemoryException.h"
#include "errors/nex_TextException.h"
#include "tests/slots/SlotList.h"

namespace {

/// The slots of the root class, with which every class of the family starts.
template <class Class> void ListRootSlots(SlotList<Class>& list) {
  list.template Is<atr_String()>(1, &Class::DeveloperReport);
  list.template Is<atr_String()>(2, &Class::UserReport);
  list.template Is<atr_String()>(3, &Class::AsString);
  list.template Is<void() const>(4, &Class::Propagate);
  list.template Is<unsigned int() const>(6, &Class::DynTypeId);
  list.template Is<void(cls_WriteVisitor const&) const>(7, &Class::DBWrite);
}

} // namespace

TEST(ExceptionSlots, RootIsInOrder) {
  SlotList<nex_Exception> list;
  ListRootSlots(list);
  list.Is<nex_Exception*() const>(5, &nex_Exception::Copy);
  list.ExpectComplete(8);
}

TEST(ExceptionSlots, CommandExceptionAppendsItsTwoTexts) {
  SlotList<nex_CommandException> list;
  ListRootSlots(list);
  list.Is<nex_Exception*() const>(5, &nex_CommandException::Copy);
  list.Is<atr_String()>(8, &nex_CommandException::CommandMessage);
  list.Is<atr_String()>(9, &nex_CommandException::CommandName);
  list.ExpectComplete(10);
}

TEST(ExceptionSlots, OutOfMemoryExceptionAppendsItsTwoTexts) {
  SlotList<nex_OutOfMemoryException> list;
  ListRootSlots(list);
  list.Is<nex_Exception*() const>(5, &nex_OutOfMemoryException::Copy);
  list.Is<atr_String()>(8, &nex_OutOfMemoryException::JournalMessage);
  list.Is<atr_String()>(9, &nex_OutOfMemoryException::ErrorName);
  list.ExpectComplete(10);
}

TEST(ExceptionSlots, OtherClassesAppendNothing) {
  SlotList<nex_TextException> list;
  ListRootSlots(list);
  list.Is<nex_Exception*() const>(5, &nex_TextException::Copy);
  list.ExpectComplete(8);
}

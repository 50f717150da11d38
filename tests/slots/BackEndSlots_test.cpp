#include <filesystem>
#include <fstream>
#include <regex>
#include <set>
#include <sstream>
#include <string>

#include <gtest/gtest.h>

#include "persist/identity/cls_HistoryEntry.h"
#include "persist/visitors/cls_FieldHandle.h"
#include "tests/slots/BackEndSlots.h"
#include "tests/support/backend/ForwardingMemento.h"

// Back ends are compiled apart from the library: if a slot moves, a call reaches the wrong operation of them.

namespace {

using back_end_slots::Field;
using back_end_slots::String;

template <class... Classes> void ExpectSlots() {
  (SlotsOf<Classes>().ExpectComplete(), ...);
}

/// The same for the instances of a family.
template <template <class> class Family, class... Ts> void ExpectSlotsOf() {
  ExpectSlots<Family<Ts>...>();
}
template <template <class> class... Families> void ExpectListSlots() {
  (ExpectSlotsOf<Families, bool, cow_String, float, double, unsigned int, int>(), ...);
}
template <template <class> class... Families> void ExpectMapSlots() {
  (ExpectSlotsOf<Families, cow_String, float, double, unsigned int, int>(), ...);
}

} // namespace

TEST(BackEndSlots, MementosHaveTheirSlotsInOrder) {
  ExpectSlots<cls_MementoWrite, cls_MementoRead>();
}

TEST(BackEndSlots, CollectionsOfValuesHaveTheirSlotsInOrder) {
  ExpectSlots<cls_ReadCollectionBase, cls_WriteCollectionBase>();
  ExpectListSlots<cls_ReadListPrim, cls_WriteListPrim>();
  ExpectMapSlots<cls_ReadMapInt2Prim, cls_ReadMapString2Prim, cls_WriteMapInt2Prim,
                 cls_WriteMapString2Prim>();
  ExpectSlots<cls_ReadIntTableInt, cls_WriteIntTableInt>();
}

TEST(BackEndSlots, CollectionsOfObjectsHaveTheirSlotsInOrder) {
  ExpectSlots<cls_ReadListObj, cls_ReadMapInt2Obj, cls_ReadMapString2Obj>();
  ExpectSlots<cls_WriteListObj, cls_WriteMapInt2Obj, cls_WriteMapString2Obj>();
}

TEST(BackEndSlots, AgentsHaveTheirSlotsInOrder) {
  ExpectListSlots<cls_AgentListPrim>();
  ExpectSlotsOf<cls_AgentMapKey2Obj, int, cow_String>();
  ExpectSlots<cls_AgentListObj, cls_AgentBlob, cls_AgentProxy>();
}

TEST(BackEndSlots, RequestsHaveTheirSlotsInOrder) {
  ExpectSlots<cls_AgentRequest, cls_AgentRequestListObj, cls_WriteRequestListObj, cls_WriteRequestMapInt2Obj,
              cls_WriteRequestMapString2Obj>();
  ExpectSlotsOf<cls_AgentRequestMapKey2Obj, int, cow_String>();
}

TEST(BackEndSlots, TypedMementosAddNoSlot) {
  struct Writer : ForwardingMementoWrite {
    virtual void Next() {}
  };
  struct Reader : ForwardingMementoRead {
    virtual void Next() {}
  };
  EXPECT_EQ(SlotOf(&Writer::Next), ExportedSlots(typeid(cls_MementoWrite)));
  EXPECT_EQ(SlotOf(&Reader::Next), ExportedSlots(typeid(cls_MementoRead)));
}

TEST(BackEndSlots, EveryInterfaceIsListedOnce) {
  std::set<std::string> classes;
  for (BackEndInterface const& interface : BackEndInterfaces()) {
    EXPECT_TRUE(classes.insert(interface.m_Class).second) << interface.m_Class;
    for (Slot const& slot : interface.m_Slots) EXPECT_NE(slot.m_Operation, "") << interface.m_Class;
  }
}

TEST(BackEndSlots, HistoryEntryHasItsDestructorOnly) {
  SlotList<cls_HistoryEntry>().ExpectComplete(1);
}

TEST(BackEndSlots, AnOperationThatIsNotVirtualHasNoSlot) {
  EXPECT_EQ(SlotOf(&cls_HistoryEntry::Next), -1);
  EXPECT_EQ(SlotOf(&cls_FieldHandle::FieldId), -1);
}

// The two sides keep a fixed distance: 2 for the scalars, 4 for the builders and agents.

TEST(BackEndSlots, ScalarReadsAreTwoSlotsAfterTheWrites) {
  using R = cls_MementoRead;
  using W = cls_MementoWrite;
  auto const distance = [](int read, int write) { return read - write; };
  EXPECT_EQ(2, distance(SlotOf(static_cast<String (R::*)(Field, String const&)>(&R::Read)),
                        SlotOf(static_cast<void (W::*)(Field, String const&)>(&W::Write))));
  EXPECT_EQ(
      2, distance(SlotOf(static_cast<unsigned long long (R::*)(Field, unsigned long long const&)>(&R::Read)),
                  SlotOf(static_cast<void (W::*)(Field, unsigned long long const&)>(&W::Write))));
  EXPECT_EQ(2, distance(SlotOf(&R::ReadEnum), SlotOf(&W::WriteEnum)));
  EXPECT_EQ(2, distance(SlotOf(&R::ReadBytes), SlotOf(&W::WriteBytes)));
}

TEST(BackEndSlots, CollectionReadsAreFourSlotsAfterTheWrites) {
  using R = cls_MementoRead;
  using W = cls_MementoWrite;
  EXPECT_EQ(4, SlotOf(&R::MakeReadMapInt2Obj) - SlotOf(&W::MakeWriteMapInt2Obj));
  EXPECT_EQ(4, SlotOf(&R::MakeReadListObj) - SlotOf(&W::MakeWriteListObj));
  EXPECT_EQ(4, SlotOf(&R::MakeFieldReadIntTableInt) - SlotOf(&W::MakeFieldWriteIntTableInt));
  EXPECT_EQ(4, SlotOf(&R::MakeAgentListObj) - SlotOf(&W::MakeAgentListObj));
  EXPECT_EQ(4, SlotOf(&R::MakeAgentBlob) - SlotOf(&W::MakeAgentBlob));
  EXPECT_EQ(4, SlotOf(&R::CheckCollectionType) - SlotOf(&W::CheckCollectionType));
}

// The headers number their operations in comments.

namespace {

using Lines = std::set<std::string>; // "cls_AgentBlob 1 Size"

/// The lines of a class from slot `first` on.
void AddLines(Lines& lines, BackEndInterface const& interface, std::size_t first) {
  for (std::size_t number = first; number < interface.m_Slots.size(); ++number) {
    std::string const& operation = interface.m_Slots[number].m_Operation;
    lines.insert(interface.m_Class + " " + std::to_string(number) + " " +
                 (number == 0 ? "~" + interface.m_Class : operation.substr(0, operation.find('('))));
  }
}

/// The numbered operations in the text of a header.
Lines NumberedLines(std::string const& text) {
  static std::regex const pattern(
      R"(\bclass (?:KVL_EXPORT )?(cls_\w+)[^;{]*\{|/\* (\d+) \*/ virtual [^(;]*?(~?\w+)\()");
  Lines lines;
  std::string className;
  for (std::sregex_iterator found(text.begin(), text.end(), pattern), end; found != end; ++found) {
    if ((*found)[1].matched)
      className = (*found)[1];
    else
      lines.insert(className + " " + (*found)[2].str() + " " + (*found)[3].str());
  }
  return lines;
}

} // namespace

TEST(BackEndSlots, CommentsOfTheHeadersSayTheSlots) {
  Lines expected;
  AddLines(expected, InterfaceOf<cls_ReadCollectionBase>("cls_ReadCollectionBase"), 0);
  AddLines(expected, InterfaceOf<cls_WriteCollectionBase>("cls_WriteCollectionBase"), 0);
  AddLines(expected, InterfaceOf<cls_AgentRequest>("cls_AgentRequest"), 0);
  for (BackEndInterface const& interface : BackEndInterfaces())
    if (!interface.m_IsRequest) AddLines(expected, interface, interface.m_IsCollection ? 2 : 0);
  Lines found;
  for (auto const& entry : std::filesystem::directory_iterator(KVL_BACK_END_DIR)) {
    if (entry.path().extension() != ".h") continue;
    std::ifstream file(entry.path());
    std::stringstream text;
    text << file.rdbuf();
    found.merge(NumberedLines(text.str()));
  }
  EXPECT_EQ(found, expected);
}

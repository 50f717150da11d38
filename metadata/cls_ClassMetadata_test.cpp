#include "metadata/cls_ClassMetadata.h"

#include <gtest/gtest.h>

#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <limits>
#include <string>
#include <vector>

#include "persist/visitors/cls_FieldHandle.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "platform/omni/omi_BtreeIterator.h"
#include "tests/support/HeapCount.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

using CowData = cow_COW<int, cow_Direct<int>>;

constexpr unsigned int ClassId = 0x7C0001;

cls_ReadVisitor* s_Reader = nullptr;  // what a constructor function last received
std::vector<CowData*> s_DeletedFirst; // what the deletion functions received
std::vector<CowData*> s_DeletedByOther;
int s_Built = 0;

void* BuildBolt(cls_ReadVisitor& reader) {
  s_Reader = &reader;
  return &s_Built;
}
void DeleteBoltData(CowData* data) {
  s_DeletedFirst.push_back(data);
}
void DeleteDataOtherwise(CowData* data) {
  s_DeletedByOther.push_back(data);
}

class ClassMetadata : public ::testing::Test {
 protected:
  ClassMetadata() {
    s_Reader = nullptr;
    s_DeletedFirst.clear();
    s_DeletedByOther.clear();
  }

  /// The names of the attributes, in the order of the index.
  [[nodiscard]] std::vector<std::string> Names() const {
    std::vector<std::string> names;
    for (omi_BtreeIterator i(m_Metadata.GetAttributes()); !i.IsDone(); i.Next())
      names.emplace_back(i.Key().View());
    return names;
  }

  cls_ClassMetadata m_Metadata{"Bolt"_cow, ClassId, 3, nullptr, 1};
  CowData m_Data;
};

using ClassMetadataDeathTest = ClassMetadata;

/// Shows that a holder deletes through the virtual destructor.
class HeldMetadata : public cls_ClassMetadata {
 public:
  explicit HeldMetadata(int& alive) : cls_ClassMetadata("Counted"_cow, 7, 1, nullptr, 1), m_Alive(alive) {
    ++m_Alive;
  }
  ~HeldMetadata() override { --m_Alive; }

 private:
  int& m_Alive;
};

/// Each write to standard error that a child process makes while it constructs the metadata.
std::vector<std::string> WritesOfConstruction(cow_String const& name) {
  std::array<int, 2> ends{};
  if (socketpair(AF_UNIX, SOCK_SEQPACKET, 0, ends.data()) != 0) return {"no socket"};
  pid_t const child = fork();
  if (child == 0) {
    dup2(ends[1], STDERR_FILENO);
    cls_ClassMetadata const metadata(name, ClassId, 1, nullptr, ClassId);
    _exit(0);
  }
  close(ends[1]);
  std::vector<std::string> writes;
  std::array<char, 1000> chars{};
  for (ssize_t length = 0; (length = recv(ends[0], chars.data(), chars.size(), 0)) > 0;)
    writes.emplace_back(chars.data(), static_cast<std::size_t>(length));
  close(ends[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (!WIFSIGNALED(status) || WTERMSIG(status) != SIGABRT) writes.emplace_back("no abort");
  return writes;
}

} // namespace

TEST_F(ClassMetadata, KeepsItsConstructorArguments) {
  cow_String const name("Washer");
  cls_ClassMetadata const metadata(name, 0xFFFFFFFFU, -4, &BuildBolt, 0x80000000U);
  EXPECT_TRUE(metadata.Name().SharesBufferWith(name));
  EXPECT_EQ(metadata.ClassId(), 0xFFFFFFFFU);
  EXPECT_EQ(metadata.Version(), -4);
  EXPECT_EQ(metadata.BaseClassId(), 0x80000000U);
}

TEST_F(ClassMetadata, StartsWithoutAttributesOrDeletionFunction) {
  EXPECT_EQ(m_Metadata.GetAttributes().Count(), 0U);
  EXPECT_FALSE(m_Metadata.HasDtor());
  EXPECT_EQ(m_Metadata.TableExtentQuantum(), 4);
}

TEST_F(ClassMetadata, NameMayBeEmpty) {
  cls_ClassMetadata const metadata(cow_String(), ClassId, 1, nullptr, 1);
  EXPECT_FALSE(metadata.Name().HasText());
}

TEST_F(ClassMetadata, MayHaveTheRootsIdWithAnotherBase) {
  cls_ClassMetadata const metadata("Root"_cow, cls_ClassMetadata::RootClassId, 1, nullptr, 0);
  EXPECT_EQ(metadata.ClassId(), 1U);
  EXPECT_EQ(metadata.BaseClassId(), 0U);
}

TEST_F(ClassMetadata, SettersReturnTheObjectItself) {
  EXPECT_EQ(&m_Metadata.AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE),
            &m_Metadata);
  EXPECT_EQ(&m_Metadata.AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE),
            &m_Metadata);
  EXPECT_EQ(&m_Metadata.AddDtor(&DeleteBoltData), &m_Metadata);
  EXPECT_EQ(&m_Metadata.AddTableExtentQuantum(9), &m_Metadata);
}

TEST_F(ClassMetadata, SettersFormAChain) {
  m_Metadata.AddDtor(&DeleteBoltData)
      .AddTableExtentQuantum(12)
      .AddAttribute(cls_FieldHandle(0, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_B"_cow), ATTR_STRING, 1, COLLECTION_LIST_INT);
  EXPECT_TRUE(m_Metadata.HasDtor());
  EXPECT_EQ(m_Metadata.TableExtentQuantum(), 12);
  EXPECT_EQ(Names(), std::vector<std::string>({"m_A", "m_B"}));
}

TEST_F(ClassMetadata, TableExtentQuantumIsKeptUnchecked) {
  for (int const quantum : {0, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    m_Metadata.AddTableExtentQuantum(quantum);
    EXPECT_EQ(m_Metadata.TableExtentQuantum(), quantum);
  }
}

TEST_F(ClassMetadata, AttributeIsKeptAsDeclared) {
  cow_String const name("m_Lengths");
  m_Metadata.AddAttribute(cls_FieldHandle(6, name), ATTR_UINT, 0xFFFFFFFFU, COLLECTION_LIST_UINT);
  cls_AttributeMetadata const* const attribute = m_Metadata.FindAttribute("m_Lengths"_cow);
  ASSERT_NE(attribute, nullptr);
  EXPECT_EQ(attribute->m_FieldId, 6);
  EXPECT_TRUE(attribute->m_Name.SharesBufferWith(name));
  EXPECT_EQ(attribute->m_Type, ATTR_UINT);
  EXPECT_EQ(attribute->m_TypeArg, 0xFFFFFFFFU);
  EXPECT_EQ(attribute->m_CollectionType, COLLECTION_LIST_UINT);
}

TEST_F(ClassMetadata, AttributeTypeOfTheHostIsKeptToo) {
  m_Metadata.AddAttribute(cls_FieldHandle(0, "m_A"_cow), static_cast<cls_AttributeType>(77), 1,
                          static_cast<cls_CollectionType>(76));
  EXPECT_EQ(m_Metadata.FindAttribute("m_A"_cow)->m_Type, 77);
  EXPECT_EQ(m_Metadata.FindAttribute("m_A"_cow)->m_CollectionType, 76);
}

TEST_F(ClassMetadata, AttributeTypesHaveTheirStoredCodes) {
  EXPECT_EQ(ATTR_INT, 5);
  EXPECT_EQ(ATTR_UINT, 7);
  EXPECT_EQ(ATTR_STRING, 11);
  EXPECT_EQ(ATTR_TRSTRING, 12);
}

TEST_F(ClassMetadata, AttributeOfAHandleWithoutNumberHasNoNumber) {
  m_Metadata.AddAttribute(cls_FieldHandle("m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.FindAttribute("m_A"_cow)->m_FieldId, -1);
}

TEST_F(ClassMetadata, SecondAttributeOfANameKeepsTheFirst) {
  ::testing::internal::CaptureStderr();
  m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(2, "m_A"_cow), ATTR_STRING, 5, COLLECTION_LIST_STRING);
  EXPECT_EQ(::testing::internal::GetCapturedStderr(), "");
  EXPECT_EQ(m_Metadata.GetAttributes().Count(), 1U);
  cls_AttributeMetadata const* const attribute = m_Metadata.FindAttribute("m_A"_cow);
  EXPECT_EQ(attribute->m_FieldId, 1);
  EXPECT_EQ(attribute->m_Type, ATTR_INT);
  EXPECT_EQ(attribute->m_TypeArg, 1U);
  EXPECT_EQ(attribute->m_CollectionType, COLLECTION_NONE);
}

TEST_F(ClassMetadata, DroppedDeclarationThatDiffersIsNoted) {
  m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_TRUE(m_Metadata.DroppedAttributes().empty());
  std::vector<cls_AttributeMetadata> const others{{2, "m_A"_cow, ATTR_INT, 1, COLLECTION_NONE},
                                                  {-1, "m_A"_cow, ATTR_INT, 1, COLLECTION_NONE},
                                                  {1, "m_A"_cow, ATTR_UINT, 1, COLLECTION_NONE},
                                                  {1, "m_A"_cow, ATTR_INT, 2, COLLECTION_NONE},
                                                  {1, "m_A"_cow, ATTR_INT, 1, COLLECTION_LIST_INT}};
  for (cls_AttributeMetadata const& other : others)
    m_Metadata.AddAttribute(cls_FieldHandle(other.m_FieldId, other.m_Name), other.m_Type, other.m_TypeArg,
                            other.m_CollectionType);
  EXPECT_EQ(m_Metadata.DroppedAttributes(), others);
  EXPECT_EQ(m_Metadata.FindAttribute("m_A"_cow)->m_Type, ATTR_INT);
}

TEST_F(ClassMetadata, EqualRepeatIsNotNoted) {
  for (int i = 0; i < 3; ++i)
    m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle("m_B"_cow), ATTR_STRING, 1, COLLECTION_LIST_STRING)
        .AddAttribute(cls_FieldHandle(), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(""_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_TRUE(m_Metadata.DroppedAttributes().empty());
  EXPECT_TRUE(m_Metadata.DroppedClasses().empty());
}

TEST_F(ClassMetadata, DroppedDeclarationIsNotedOnce) {
  for (int i = 0; i < 3; ++i)
    m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(2, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.DroppedAttributes().size(), 1U);
}

TEST_F(ClassMetadata, SecondAttributeWithoutNameIsNoted) {
  m_Metadata.AddAttribute(cls_FieldHandle(0, ""_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, ""_cow), ATTR_INT, 1, COLLECTION_NONE);
  ASSERT_EQ(m_Metadata.DroppedAttributes().size(), 1U);
  EXPECT_EQ(m_Metadata.DroppedAttributes()[0].m_FieldId, 1);
}

TEST_F(ClassMetadata, EqualRepeatAllocatesNothing) {
  cow_String const name("m_A");
  m_Metadata.AddAttribute(cls_FieldHandle(1, name), ATTR_INT, 1, COLLECTION_NONE);
  long long const before = HeapCount();
  m_Metadata.AddAttribute(cls_FieldHandle(1, name), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(HeapCount(), before);
}

TEST_F(ClassMetadata, AttributesMayHaveTheSameNumber) {
  m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(1, "m_B"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(Names(), std::vector<std::string>({"m_A", "m_B"}));
}

TEST_F(ClassMetadata, MayShareNumbersIsTrueWhenNumbersAreShared) {
  auto const add = [&](int number, char const* name) {
    m_Metadata.AddAttribute(cls_FieldHandle(number, cow_String(name)), ATTR_INT, 1, COLLECTION_NONE);
    return m_Metadata.MayShareNumbers();
  };
  EXPECT_FALSE(m_Metadata.MayShareNumbers());
  EXPECT_FALSE(add(-1, "m_A"));
  EXPECT_FALSE(add(-1, "m_B"));
  for (int number = 0; number < 63; ++number) EXPECT_FALSE(add(number, std::to_string(number).c_str()));
  EXPECT_FALSE(add(7, "7")); // a repeat
  EXPECT_FALSE(add(8, "7")); // which is dropped
  EXPECT_TRUE(add(7, "m_C"));
}

TEST_F(ClassMetadata, AttributesAreInTheByteOrderOfTheirNames) {
  for (char const* name : {"m_b", "m_B", "", "m_10", "m_2", "m_\xC3\xA4", "m_"})
    m_Metadata.AddAttribute(cls_FieldHandle(cow_String(name)), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(Names(), std::vector<std::string>({"", "m_", "m_10", "m_2", "m_B", "m_b", "m_\xC3\xA4"}));
}

TEST_F(ClassMetadata, HandleWithoutNameIsTheEmptyName) {
  m_Metadata.AddAttribute(cls_FieldHandle(), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(3, ""_cow), ATTR_UINT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.GetAttributes().Count(), 1U);
  EXPECT_EQ(m_Metadata.FindAttribute(""_cow)->m_Type, ATTR_INT);
}

TEST_F(ClassMetadata, UndeclaredAttributeIsNotFound) {
  EXPECT_EQ(m_Metadata.FindAttribute("m_A"_cow), nullptr);
  m_Metadata.AddAttribute(cls_FieldHandle(1, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.FindAttribute("m_B"_cow), nullptr);
  EXPECT_EQ(m_Metadata.FindAttribute("m_"_cow), nullptr);
  EXPECT_EQ(m_Metadata.FindAttribute(cow_String()), nullptr);
}

TEST_F(ClassMetadata, MaxFieldIDWithoutAttributesIsMinusOne) {
  EXPECT_EQ(m_Metadata.MaxFieldID(), -1);
}

TEST_F(ClassMetadata, MaxFieldIDIsTheGreatestNumber) {
  m_Metadata.AddAttribute(cls_FieldHandle(3, "m_C"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(7, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle("m_B"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), 7);
}

TEST_F(ClassMetadata, MaxFieldIDComparesSigned) {
  m_Metadata.AddAttribute(cls_FieldHandle(-9, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), -9);
  m_Metadata.AddAttribute(cls_FieldHandle(0, "m_B"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), 0);
  m_Metadata.AddAttribute(cls_FieldHandle(std::numeric_limits<int>::max(), "m_C"_cow), ATTR_INT, 1,
                          COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), std::numeric_limits<int>::max());
}

TEST_F(ClassMetadata, MaxFieldIDOfNegativeNumbersIsTheGreatestOfThem) {
  m_Metadata.AddAttribute(cls_FieldHandle(-5, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(-3, "m_B"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), -3);
}

TEST_F(ClassMetadata, MaxFieldIDDoesNotCountAnIgnoredAttribute) {
  m_Metadata.AddAttribute(cls_FieldHandle(3, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
      .AddAttribute(cls_FieldHandle(8, "m_A"_cow), ATTR_INT, 1, COLLECTION_NONE);
  EXPECT_EQ(m_Metadata.MaxFieldID(), 3);
}

TEST_F(ClassMetadata, DBWriteDoesNothing) {
  Recorder recorder;
  cls_WriteVisitor const visitor(recorder.NewWriter());
  int const object = 5;
  m_Metadata.DBWrite(&object, visitor);
  m_Metadata.DBWrite(nullptr, visitor);
  EXPECT_EQ(recorder.Lines(), Lines());
}

TEST_F(ClassMetadata, DeleteDoesNothing) {
  m_Metadata.AddDtor(&DeleteBoltData);
  int object = 5; // on the stack: deleting it would crash
  m_Metadata.Delete(&object);
  m_Metadata.Delete(nullptr);
  EXPECT_EQ(object, 5);
  EXPECT_TRUE(s_DeletedFirst.empty());
}

TEST_F(ClassMetadata, DeleteCowCallsTheDeletionFunctionOnce) {
  m_Metadata.AddDtor(&DeleteBoltData);
  EXPECT_TRUE(m_Metadata.HasDtor());
  m_Metadata.DeleteCow(&m_Data);
  EXPECT_EQ(s_DeletedFirst, std::vector<CowData*>({&m_Data}));
}

TEST_F(ClassMetadata, DeleteCowPassesANullPointer) {
  m_Metadata.AddDtor(&DeleteBoltData);
  m_Metadata.DeleteCow(nullptr);
  EXPECT_EQ(s_DeletedFirst, std::vector<CowData*>({nullptr}));
}

TEST_F(ClassMetadata, DeleteCowWithoutDeletionFunctionDoesNothing) {
  m_Data = CowData(new int(4));
  m_Metadata.DeleteCow(&m_Data);
  EXPECT_EQ(m_Data.ConstGet(), 4);
}

TEST_F(ClassMetadata, SecondDeletionFunctionReplacesTheFirst) {
  m_Metadata.AddDtor(&DeleteBoltData).AddDtor(&DeleteDataOtherwise);
  m_Metadata.DeleteCow(&m_Data);
  EXPECT_TRUE(s_DeletedFirst.empty());
  EXPECT_EQ(s_DeletedByOther, std::vector<CowData*>({&m_Data}));
}

TEST_F(ClassMetadata, NullDeletionFunctionRemovesTheFirst) {
  m_Metadata.AddDtor(&DeleteBoltData).AddDtor(nullptr);
  EXPECT_FALSE(m_Metadata.HasDtor());
  m_Metadata.DeleteCow(&m_Data);
  EXPECT_TRUE(s_DeletedFirst.empty());
}

TEST_F(ClassMetadata, CtorReturnsWhatTheFunctionBuildsFromThisReader) {
  cls_ClassMetadata const metadata("Bolt"_cow, ClassId, 1, &BuildBolt, 1);
  cls_ReadVisitor const reader(nullptr);
  EXPECT_EQ(metadata.Ctor(reader), &s_Built);
  EXPECT_EQ(s_Reader, &reader); // the reader itself: a copy would read the base-class part
}

TEST_F(ClassMetadata, CtorWithoutFunctionReturnsNull) {
  EXPECT_EQ(m_Metadata.Ctor(cls_ReadVisitor(nullptr)), nullptr);
}

TEST_F(ClassMetadata, LastHolderDeletesADerivedObject) {
  int alive = 0;
  {
    cls_ClassMetadataHld first(new HeldMetadata(alive));
    {
      cls_ClassMetadataHld const second(first);
      EXPECT_EQ(first.UseCount(), 2);
      first = cls_ClassMetadataHld();
      EXPECT_EQ(alive, 1);
    }
    EXPECT_EQ(alive, 0);
  }
  EXPECT_EQ(alive, 0);
}

TEST_F(ClassMetadata, EmptyHolderCountsItself) {
  cls_ClassMetadataHld const holder;
  EXPECT_EQ(holder.Ptr(), nullptr);
  EXPECT_EQ(holder.UseCount(), 1);
  static_assert(sizeof holder == 2 * sizeof(void*));
}

TEST_F(ClassMetadataDeathTest, ClassThatIsItsOwnBaseEndsTheProcess) {
  EXPECT_EXIT(cls_ClassMetadata("Bolt"_cow, ClassId, 1, nullptr, ClassId), ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: Bolt\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

TEST_F(ClassMetadataDeathTest, ClassThatIsItsOwnBaseEndsTheProcessForAnyVersion) {
  for (int const version : {std::numeric_limits<int>::min(), -1, 0, 871, std::numeric_limits<int>::max()})
    EXPECT_EXIT(cls_ClassMetadata("Nut"_cow, 0xFFFFFFFFU, version, &BuildBolt, 0xFFFFFFFFU),
                ::testing::KilledBySignal(SIGABRT),
                ::testing::Eq("ODB metadat for class: Nut\n"
                              "  Is incorrectly defined.  The base class ID is\n"
                              "  the same as the class ID.  Please correct this.\n"));
}

TEST_F(ClassMetadataDeathTest, RootIdAsItsOwnBaseEndsTheProcessToo) {
  EXPECT_EXIT(cls_ClassMetadata("Root"_cow, 1, 1, nullptr, 1), ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: Root\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

TEST_F(ClassMetadataDeathTest, EmptyNameIsPrintedAsEmpty) {
  EXPECT_EXIT(cls_ClassMetadata(cow_String(), ClassId, 1, nullptr, ClassId),
              ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: \n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

TEST_F(ClassMetadataDeathTest, PercentSignInTheNameIsPrinted) {
  EXPECT_EXIT(cls_ClassMetadata("100%s"_cow, ClassId, 1, nullptr, ClassId),
              ::testing::KilledBySignal(SIGABRT),
              ::testing::Eq("ODB metadat for class: 100%s\n"
                            "  Is incorrectly defined.  The base class ID is\n"
                            "  the same as the class ID.  Please correct this.\n"));
}

TEST_F(ClassMetadataDeathTest, EachLineIsOneWrite) {
  EXPECT_EQ(WritesOfConstruction("Bolt"_cow),
            std::vector<std::string>({"ODB metadat for class: Bolt\n",
                                      "  Is incorrectly defined.  The base class ID is\n",
                                      "  the same as the class ID.  Please correct this.\n"}));
}

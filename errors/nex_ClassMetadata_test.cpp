#include "errors/nex_ClassMetadata.h"

#include <gtest/gtest.h>

#include <memory>
#include <ostream>
#include <string>
#include <typeinfo>

#include "persist/adapters/cls_TypeAdapter.h"
#include "persist/visitors/cls_ReadVisitor.h"
#include "persist/visitors/cls_WriteVisitor.h"
#include "tests/support/ExceptionCases.h"
#include "tests/support/backend/RecordingBackEnd.h"

namespace {

struct Attribute {
  int m_FieldId;
  char const* m_Name; // null: no further attribute
  int m_Type;
};

/// What is registered for one class.
struct Registered {
  char const* m_Name;
  cls_MetadataRegistrar::InitFn m_Declare;
  std::type_info const& m_Adapter;
  unsigned int m_ClassId;
  int m_Version;
  unsigned int m_BaseClassId;
  Attribute m_Attributes[2];
};

void PrintTo(Registered const& registered, std::ostream* stream) {
  *stream << registered.m_Name;
}

// In the order in which start-up declares them.
Registered const Classes[] = {
    {"nex_AssertException",
     &nex_ClassMetadata::DeclareAssertException,
     typeid(cls_TypeAdapter<nex_AssertException>),
     0x1F0004,
     800,
     0x1F0001,
     {{0, "m_Value", 11}}},
    {"nex_BadCastException",
     &nex_ClassMetadata::DeclareBadCastException,
     typeid(cls_TypeAdapter<nex_BadCastException>),
     0x1F0005,
     800,
     0x1F0001,
     {{0, "m_Value", 12}}},
    {"nex_CommandException",
     &nex_ClassMetadata::DeclareCommandException,
     typeid(cls_AbsTypeAdapter<nex_CommandException>),
     0x1F0003,
     800,
     0x1F0001,
     {}},
    {"nex_Exception",
     &nex_ClassMetadata::DeclareException,
     typeid(cls_AbsTypeAdapter<nex_Exception>),
     0x1F0001,
     800,
     1,
     {{0, "m_FromFile", 11}, {1, "m_FromLine", 5}}},
    {"nex_ExitException",
     &nex_ClassMetadata::DeclareExitException,
     typeid(cls_TypeAdapter<nex_ExitException>),
     0x1F0006,
     800,
     0x1F0001,
     {{-1, "m_Value.m_Msg", 12}, {-1, "m_Value.m_Err", 5}}},
    {"nex_OutOfMemoryException",
     &nex_ClassMetadata::DeclareOutOfMemoryException,
     typeid(cls_TypeAdapter<nex_OutOfMemoryException>),
     0x1F0009,
     871,
     0x1F0001,
     {{0, "m_Msg", 12}, {1, "m_Err", 5}}},
    {"nex_InvalidObjException",
     &nex_ClassMetadata::DeclareInvalidObjException,
     typeid(cls_TypeAdapter<nex_InvalidObjException>),
     0x1F0007,
     800,
     0x1F0001,
     {{0, "m_Value", 12}}},
    {"nex_SystemErrorException",
     &nex_ClassMetadata::DeclareSystemErrorException,
     typeid(cls_TypeAdapter<nex_SystemErrorException>),
     0x1F0008,
     800,
     0x1F0001,
     {{-1, "m_Value.m_NativeErrorCode", 7}, {-1, "m_Value.m_CRTErrorCode", 5}}},
    {"nex_TextException",
     &nex_ClassMetadata::DeclareTextException,
     typeid(cls_TypeAdapter<nex_TextException>),
     0x1F0002,
     800,
     0x1F0001,
     {{0, "m_Value", 12}}},
};

/// A text exception that counts its destructions.
class CountedException : public nex_TextException {
 public:
  using nex_TextException::nex_TextException;
  ~CountedException() override { ++s_Ended; }

  static inline int s_Ended = 0;
};

/// A registrar with all nine classes.
class FilledRegistrar : public cls_ClassRegistrar {
 public:
  FilledRegistrar() {
    for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) declare(*this);
  }
};

/// A holder on the heap, as the generic holder that a deletion function receives.
cow_COW<int, cow_Direct<int>>* Generic(nex_ExceptionHolder* holder) {
  return reinterpret_cast<cow_COW<int, cow_Direct<int>>*>(holder);
}

class EachDeclaredClass : public ::testing::TestWithParam<Registered> {
 protected:
  EachDeclaredClass() { CountedException::s_Ended = 0; }

  [[nodiscard]] cls_ClassMetadata const& Metadata() const {
    return m_Registrar.ConstGet(GetParam().m_ClassId);
  }

  FilledRegistrar m_Registrar;
};
INSTANTIATE_TEST_SUITE_P(ClassMetadata, EachDeclaredClass, ::testing::ValuesIn(Classes),
                         [](auto const& each) { return std::string(each.param.m_Name); });

/// The classes that can be built, each with its adapter.
template <class Exception> class EachBuiltClass : public ::testing::Test {
 protected:
  EachBuiltClass() { m_Recorder.Name(m_Recorder.m_Uid, "U"); }

  [[nodiscard]] cls_ClassMetadata const& Metadata() const {
    return m_Registrar.ConstGet(Exception::TypeId());
  }

  /// The calls that `write` makes through a started visitor.
  template <class Write> static Lines Written(Write write) {
    Recorder recorder;
    {
      cls_WriteVisitor const visitor(recorder.NewWriter());
      write(visitor);
    }
    return recorder.TakeLines();
  }

  FilledRegistrar m_Registrar;
  Recorder m_Recorder;
};
TYPED_TEST_SUITE(EachBuiltClass, ConcreteExceptions);

} // namespace

TEST(ClassMetadata, DeclaresNineClassesInAFixedOrder) {
  Lines declared;
  for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) {
    cls_ClassRegistrar registrar;
    declare(registrar);
    cow_1DArray<cls_ClassMetadataHld> const list = registrar.GetHistoryMDList();
    ASSERT_EQ(list.Length(), 1); // each function declares one class
    declared.emplace_back(list.ConstGet(0).Ptr()->Name().View());
  }
  EXPECT_EQ(declared, Lines({"nex_AssertException", "nex_BadCastException", "nex_CommandException",
                             "nex_Exception", "nex_ExitException", "nex_OutOfMemoryException",
                             "nex_InvalidObjException", "nex_SystemErrorException", "nex_TextException"}));
}

TEST(ClassMetadata, IsDeclaredForTheWholeProcess) {
  EXPECT_EQ(nex_ClassMetadata::RegistrarMask, 2U);
}

TEST(ClassMetadata, DeclaringAgainChangesNothing) {
  FilledRegistrar registrar;
  cls_ClassMetadata const* const root = &registrar.ConstGet(0x1F0001);
  for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) declare(registrar);
  EXPECT_EQ(registrar.GetHistoryMDList().Length(), 9);
  EXPECT_EQ(&registrar.ConstGet(0x1F0001), root);
  EXPECT_EQ(root->GetAttributes().Count(), 2U);
  EXPECT_TRUE(root->HasDtor());
}

TEST_P(EachDeclaredClass, IsDeclaredByItsOwnFunction) {
  cls_ClassRegistrar registrar;
  GetParam().m_Declare(registrar);
  EXPECT_TRUE(registrar.ClassVersionIsPresent(GetParam().m_ClassId, GetParam().m_Version));
  EXPECT_EQ(registrar.GetHistoryMDList().Length(), 1);
}

TEST_P(EachDeclaredClass, HasItsNameClassIdVersionAndBase) {
  EXPECT_EQ(Metadata().Name(), GetParam().m_Name);
  EXPECT_EQ(m_Registrar.GetClassID(cow_String(GetParam().m_Name)), GetParam().m_ClassId);
  EXPECT_EQ(Metadata().ClassId(), GetParam().m_ClassId);
  EXPECT_EQ(Metadata().Version(), GetParam().m_Version);
  EXPECT_EQ(Metadata().BaseClassId(), GetParam().m_BaseClassId);
}

TEST_P(EachDeclaredClass, HasTheAdapterOfItsKind) {
  auto const& metadata = Metadata();
  EXPECT_EQ(typeid(metadata), GetParam().m_Adapter);
}

TEST_P(EachDeclaredClass, HasItsAttributesAsPlainSingleValues) {
  unsigned int count = 0;
  for (Attribute const& expected : GetParam().m_Attributes) {
    if (expected.m_Name == nullptr) continue;
    ++count;
    cls_AttributeMetadata const* const attribute = Metadata().FindAttribute(cow_String(expected.m_Name));
    ASSERT_NE(attribute, nullptr) << expected.m_Name;
    EXPECT_EQ(attribute->m_FieldId, expected.m_FieldId) << expected.m_Name;
    EXPECT_EQ(attribute->m_Name, expected.m_Name);
    EXPECT_EQ(static_cast<int>(attribute->m_Type), expected.m_Type) << expected.m_Name;
    EXPECT_EQ(attribute->m_TypeArg, 1U) << expected.m_Name;
    EXPECT_EQ(static_cast<int>(attribute->m_CollectionType), 0) << expected.m_Name;
  }
  EXPECT_EQ(Metadata().GetAttributes().Count(), count);
}

TEST_P(EachDeclaredClass, HasADeletionFunctionOnlyAtTheRoot) {
  EXPECT_EQ(Metadata().HasDtor(), GetParam().m_ClassId == 0x1F0001);
}

TEST_P(EachDeclaredClass, DerivesFromTheRoot) {
  EXPECT_TRUE(m_Registrar.InheritanceCheck(GetParam().m_ClassId, 0x1F0001));
  EXPECT_EQ(m_Registrar.InheritanceCheck(0x1F0001, GetParam().m_ClassId), GetParam().m_ClassId == 0x1F0001);
}

TEST_P(EachDeclaredClass, DeletingASharedHolderLowersTheCount) {
  nex_ExceptionHolder const kept(new CountedException(atr_String("held")));
  auto* const deleted = new nex_ExceptionHolder(kept);
  EXPECT_EQ(kept.UseCount(), 2);
  EXPECT_TRUE(m_Registrar.DeleteCow(GetParam().m_ClassId, Generic(deleted)));
  EXPECT_EQ(kept.UseCount(), 1);
  EXPECT_EQ(CountedException::s_Ended, 0);
  EXPECT_EQ(kept.ConstGet().UserReport(), "held");
}

TEST_P(EachDeclaredClass, DeletingTheLastHolderDeletesTheException) {
  auto* const deleted = new nex_ExceptionHolder(new CountedException(atr_String("held")));
  EXPECT_TRUE(m_Registrar.DeleteCow(GetParam().m_ClassId, Generic(deleted)));
  EXPECT_EQ(CountedException::s_Ended, 1);
}

TEST_P(EachDeclaredClass, DeletingAnEmptyHolderDeletesNoException) {
  EXPECT_TRUE(m_Registrar.DeleteCow(GetParam().m_ClassId, Generic(new nex_ExceptionHolder)));
  EXPECT_EQ(CountedException::s_Ended, 0);
}

TEST_P(EachDeclaredClass, DeletingNoHolderIsIgnored) {
  EXPECT_TRUE(m_Registrar.DeleteCow(GetParam().m_ClassId, nullptr));
  EXPECT_EQ(CountedException::s_Ended, 0);
}

TEST(ClassMetadata, DeletionReachesAnApplicationsCommandClass) {
  CountedException::s_Ended = 0;
  FilledRegistrar registrar;
  registrar.CreateClassMD("mesh_Failed"_cow, 0x7B0001, 1, nullptr, nex_CommandException::TypeId());
  auto* const deleted = new nex_ExceptionHolder(new CountedException(atr_String("held")));
  EXPECT_TRUE(registrar.DeleteCow(0x7B0001, Generic(deleted)));
  EXPECT_EQ(CountedException::s_Ended, 1);
}

TEST(ClassMetadata, AbstractClassesAreNeverBuilt) {
  FilledRegistrar const registrar;
  for (unsigned int const abstract : {nex_Exception::TypeId(), nex_CommandException::TypeId()}) {
    Recorder recorder;
    cls_ReadVisitor const visitor(recorder.NewReader());
    EXPECT_EQ(registrar.ConstGet(abstract).Ctor(visitor), nullptr);
    EXPECT_EQ(recorder.TakeLines(), Lines()); // and reads nothing
  }
}

TEST(ClassMetadata, CommandsAdapterWritesAndDeletesAnApplicationsClass) {
  FilledRegistrar const registrar;
  cls_ClassMetadata const& metadata = registrar.ConstGet(nex_CommandException::TypeId());
  nex_CommandException* const command = new FailedCommand("Mesh", "no elements");
  cls_Uid const root = command->RootUid();
  Recorder recorder;
  recorder.Name(root, "R");
  {
    cls_WriteVisitor const visitor(recorder.NewWriter());
    metadata.DBWrite(command, visitor);
  }
  EXPECT_EQ(recorder.Lines().front(), "write1.MakeBaseWriteObj(uint 0x1f0001, uid R) = write2");
  metadata.Delete(command);
  EXPECT_EQ(root.Entry()->m_RefCount, 1U);
}

TYPED_TEST(EachBuiltClass, IsBuiltThroughItsAdapter) {
  this->m_Recorder.Store("read2.m_FromFile", "nex_Place");
  this->m_Recorder.Store("read2.m_FromLine", 46);
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  std::unique_ptr<TypeParam> const built(static_cast<TypeParam*>(this->Metadata().Ctor(visitor)));
  ASSERT_NE(built, nullptr);
  EXPECT_EQ(typeid(*built), typeid(TypeParam));
  EXPECT_EQ(built->FromFile(), "nex_Place");
  EXPECT_EQ(built->FromLine(), 46);
  EXPECT_EQ(built->Uid().Entry(), this->m_Recorder.m_Uid.Entry());
  Lines const lines = this->m_Recorder.TakeLines();

  Recorder direct;
  direct.Name(direct.m_Uid, "U");
  direct.Store("read2.m_FromFile", "nex_Place");
  direct.Store("read2.m_FromLine", 46);
  cls_ReadVisitor const directVisitor(direct.NewReader());
  TypeParam const exception(directVisitor);
  EXPECT_EQ(lines, direct.TakeLines());
}

TYPED_TEST(EachBuiltClass, FailingReadPassesThroughTheAdapterAndLeaksNothing) {
  for (char const* operation : {"Clone", "Read", "GetUid"}) {
    this->m_Recorder.FailAt(operation);
    {
      cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
      EXPECT_THROW(this->Metadata().Ctor(visitor), BackEndFailure) << operation;
    }
    EXPECT_EQ(this->m_Recorder.Live(), Lines()) << operation;
    EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 1U) << operation;
  }
}

TYPED_TEST(EachBuiltClass, IsDeletedThroughItsAdapter) {
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  void* const built = this->Metadata().Ctor(visitor);
  EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 3U); // the root part's and the own part's
  this->Metadata().Delete(built);
  EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 1U);
}

TYPED_TEST(EachBuiltClass, IsWrittenThroughItsAdapter) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  Lines const written =
      this->Written([&](auto const& visitor) { this->Metadata().DBWrite(&exception, visitor); });
  EXPECT_EQ(written, this->Written([&](auto const& visitor) { exception.DBWrite(visitor); }));
  EXPECT_GT(written.size(), 6U); // the root part alone has that many
}

TYPED_TEST(EachBuiltClass, IsWrittenAsItselfThroughTheRootsAdapter) {
  TypeParam const exception = ExceptionCase<TypeParam>::Make();
  nex_Exception const* const object = &exception;
  cls_ClassMetadata const& root = this->m_Registrar.ConstGet(nex_Exception::TypeId());
  EXPECT_EQ(this->Written([&](auto const& visitor) { root.DBWrite(object, visitor); }),
            this->Written([&](auto const& visitor) { exception.DBWrite(visitor); }));
}

TYPED_TEST(EachBuiltClass, IsDeletedAsItselfThroughTheRootsAdapter) {
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  nex_Exception* const object = new TypeParam(visitor);
  this->m_Registrar.ConstGet(nex_Exception::TypeId()).Delete(object);
  EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 1U); // the own part's identity is released too
}

TYPED_TEST(EachBuiltClass, DeletingNullDoesNothing) {
  this->Metadata().Delete(nullptr);
  this->m_Registrar.ConstGet(nex_Exception::TypeId()).Delete(nullptr);
  EXPECT_EQ(this->m_Recorder.Lines(), Lines());
}

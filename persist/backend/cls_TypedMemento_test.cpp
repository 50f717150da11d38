#include <any>
#include <cstddef>
#include <string>
#include <typeindex>
#include <vector>

#include <gtest/gtest.h>

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_TypedMementoRead.h"
#include "persist/backend/cls_TypedMementoWrite.h"
#include "persist/backend/cls_WriteListPrim.h"

// Each slot of a family is called through the interface; type, field, value and answer must arrive.

namespace {

/// What a member of a family was called with last, and the answer that it gives.
struct Called {
  std::string m_Member;
  std::vector<std::type_index> m_Types;
  cls_FieldHandle m_Field;
  std::any m_Value; // a scalar or a tag
  int m_Number = 0; // width or expected size
  int m_Deleted = 0;
  bool m_KeepsMementos = false;
  bool m_DeclinesObjects = false;
  std::vector<std::string> m_Plain; // the operations without family

  /// An address that is compared and never used.
  template <class Interface> Interface* Answer() {
    return static_cast<Interface*>(static_cast<void*>(&m_Answer));
  }

 private:
  std::max_align_t m_Answer{};
};

class Writer : public cls_TypedMementoWrite<Writer> {
 public:
  explicit Writer(Called& called) : m_Called(called) {}
  ~Writer() override { ++m_Called.m_Deleted; }

  bool NeedsDeletion() const override { return !m_Called.m_KeepsMementos; }
  int FieldIsPresent(cls_FieldHandle const&) const override { return 0; }
  cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const& field, unsigned int classId, cls_Uid const& uid,
                                      void const* object) override {
    EXPECT_EQ(object, nullptr);
    m_Called.m_Field = field;
    m_Called.m_Value = uid;
    m_Called.m_Plain.push_back("object of " + std::to_string(classId));
    return m_Called.m_DeclinesObjects ? nullptr : new Writer(m_Called);
  }
  cls_MementoWrite* MakeFieldWriteObjCow(cls_FieldHandle const&, unsigned int, cls_Uid const&,
                                         cow_COW<int, cow_Direct<int>> const*) override {
    return nullptr;
  }
  cls_MementoWrite* MakeBaseWriteObj(unsigned int, cls_Uid const&) override { return nullptr; }
  void WriteEnum(cls_FieldHandle const&, int const&) override {}
  void WriteReference(cls_FieldHandle const&, cls_Uid const&) override {}
  void WriteBytes(cls_FieldHandle const&, void const*, int) override {}
  cls_WriteListObj* MakeWriteListObj() override { return Plain<cls_WriteListObj>("list of objects"); }
  cls_WriteIntTableInt* MakeWriteIntTableInt() override { return Plain<cls_WriteIntTableInt>("int table"); }
  cls_AgentListObj* MakeAgentListObj(int) override { return nullptr; }
  cls_AgentBlob* MakeAgentBlob() override { return nullptr; }
  void CheckCollectionType(cls_CollectionType, cow_String const&) override {}

 private:
  friend cls_TypedMementoWrite<Writer>;
  template <class T> void WriteScalar(cls_FieldHandle const& field, T const& value) {
    m_Called.m_Member = "WriteScalar";
    m_Called.m_Types = {typeid(T)};
    m_Called.m_Field = field;
    m_Called.m_Value = value;
  }
  template <class T> cls_WriteListPrim<T>* MakeListOf(T const* tag, int width) {
    return Family<cls_WriteListPrim<T>>("MakeListOf", {typeid(T)}, tag, width);
  }
  template <class K, class T> cls_WriteMapOf<K, T>* MakeMapOf(T const* tag) {
    return Family<cls_WriteMapOf<K, T>>("MakeMapOf", {typeid(K), typeid(T)}, tag, 0);
  }
  template <class K> cls_WriteObjectMapOf<K>* MakeObjectMapOf() {
    m_Called.m_Types = {typeid(K)};
    return Plain<cls_WriteObjectMapOf<K>>("map of objects");
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T const* tag, int sizeHint) {
    return Family<cls_AgentListPrim<T>>("MakeListAgentOf", {typeid(T)}, tag, sizeHint);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K const* tag, int sizeHint) {
    return Family<cls_AgentMapKey2Obj<K>>("MakeObjectMapAgentOf", {typeid(K)}, tag, sizeHint);
  }

  template <class Interface, class Tag>
  Interface* Family(char const* member, std::vector<std::type_index> types, Tag tag, int number) {
    m_Called.m_Member = member;
    m_Called.m_Types = std::move(types);
    m_Called.m_Value = tag;
    m_Called.m_Number = number;
    return m_Called.Answer<Interface>();
  }
  template <class Interface> Interface* Plain(char const* operation) {
    m_Called.m_Plain.emplace_back(operation);
    return m_Called.Answer<Interface>();
  }

  Called& m_Called;
};

class Reader : public cls_TypedMementoRead<Reader> {
 public:
  explicit Reader(Called& called) : m_Called(called) {}
  ~Reader() override { ++m_Called.m_Deleted; }

  bool NeedsDeletion() const override { return !m_Called.m_KeepsMementos; }
  cow_String DbId() override { return cow_String(); }
  cls_Uid const& GetUid() override { return m_Uid; }
  int FieldIsPresent(cls_FieldHandle const&) const override { return 0; }
  int DataIsPresent(cls_FieldHandle const&) const override { return 0; }
  cls_MementoRead* MakeFieldReadObj(cls_FieldHandle const& field) override {
    m_Called.m_Field = field;
    m_Called.m_Plain.emplace_back("object");
    return new Reader(m_Called);
  }
  cls_MementoRead* Clone() override { return nullptr; }
  int ReadEnum(cls_FieldHandle const&) override { return 0; }
  cls_Uid ReadReference(cls_FieldHandle const&) override { return m_Uid; }
  int ReadBytes(cls_FieldHandle const&, void*, int) override { return -1; }
  unsigned int ClassId() const override { return 1; }
  int ClassVersion() const override { return -1; }
  cls_ReadListObj* MakeReadListObj() override { return Plain<cls_ReadListObj>("list of objects"); }
  cls_ReadIntTableInt* MakeReadIntTableInt() override { return Plain<cls_ReadIntTableInt>("int table"); }
  cls_AgentListObj* MakeAgentListObj() override { return nullptr; }
  cls_AgentBlob* MakeAgentBlob() override { return nullptr; }
  void CheckCollectionType(cls_CollectionType, cow_String const&) override {}

 private:
  friend cls_TypedMementoRead<Reader>;
  template <class T> T ReadScalar(cls_FieldHandle const& field, T const& defaultValue) {
    m_Called.m_Member = "ReadScalar";
    m_Called.m_Types = {typeid(T)};
    m_Called.m_Field = field;
    return std::any_cast<T>(std::exchange(m_Called.m_Value, defaultValue));
  }
  template <class T> cls_ReadListPrim<T>* MakeListOf(T* tag) {
    return Family<cls_ReadListPrim<T>>("MakeListOf", {typeid(T)}, tag);
  }
  template <class K, class T> cls_ReadMapOf<K, T>* MakeMapOf(T* tag) {
    return Family<cls_ReadMapOf<K, T>>("MakeMapOf", {typeid(K), typeid(T)}, tag);
  }
  template <class K> cls_ReadObjectMapOf<K>* MakeObjectMapOf() {
    m_Called.m_Types = {typeid(K)};
    return Plain<cls_ReadObjectMapOf<K>>("map of objects");
  }
  template <class T> cls_AgentListPrim<T>* MakeListAgentOf(T* tag) {
    return Family<cls_AgentListPrim<T>>("MakeListAgentOf", {typeid(T)}, tag);
  }
  template <class K> cls_AgentMapKey2Obj<K>* MakeObjectMapAgentOf(K* tag) {
    return Family<cls_AgentMapKey2Obj<K>>("MakeObjectMapAgentOf", {typeid(K)}, tag);
  }

  template <class Interface, class Tag>
  Interface* Family(char const* member, std::vector<std::type_index> types, Tag tag) {
    m_Called.m_Member = member;
    m_Called.m_Types = std::move(types);
    m_Called.m_Value = tag;
    return m_Called.Answer<Interface>();
  }
  template <class Interface> Interface* Plain(char const* operation) {
    m_Called.m_Plain.emplace_back(operation);
    return m_Called.Answer<Interface>();
  }

  Called& m_Called;
  cls_Uid m_Uid;
};

using Types = std::vector<std::type_index>;
using Plain = std::vector<std::string>;

class TypedMemento : public ::testing::Test {
 protected:
  /// The answer of a slot is that of the member, which got the tag and the number.
  template <class Interface, class Tag>
  void ExpectCalled(Interface* answer, char const* member, Types const& types, Tag* tag, int number) {
    EXPECT_EQ(answer, m_Called.Answer<Interface>());
    EXPECT_EQ(m_Called.m_Member, member);
    EXPECT_EQ(m_Called.m_Types, types);
    EXPECT_EQ(std::any_cast<Tag*>(m_Called.m_Value), tag);
    EXPECT_EQ(m_Called.m_Number, number);
  }
  /// A builder or cursor of a field was made with a memento that is deleted.
  template <class Interface> void ExpectMade(Interface* answer, Plain const& operations) {
    EXPECT_EQ(answer, m_Called.Answer<Interface>());
    EXPECT_EQ(m_Called.m_Field.FieldId(), 7);
    EXPECT_EQ(std::exchange(m_Called.m_Plain, {}), operations);
    EXPECT_EQ(std::exchange(m_Called.m_Deleted, 0), 1);
  }

  cls_FieldHandle m_Field{7, "m_Load"_cow};
  cls_Uid m_Uid;
  Called m_Called;
  Writer m_Writer{m_Called};
  Reader m_Reader{m_Called};
  cls_MementoWrite& m_Write = m_Writer;
  cls_MementoRead& m_Read = m_Reader;
};

using ScalarTypes = ::testing::Types<bool, cow_String, float, double, unsigned int, int, signed char, short,
                                     unsigned short, long long, unsigned long long>;
using ElementTypes = ::testing::Types<bool, cow_String, float, double, unsigned int, int>;
using MapValues = ::testing::Types<cow_String, float, double, unsigned int, int>;

template <class T> class TypedScalars : public TypedMemento {};
TYPED_TEST_SUITE(TypedScalars, ScalarTypes);
template <class T> class TypedElements : public TypedMemento {};
TYPED_TEST_SUITE(TypedElements, ElementTypes);
template <class T> class TypedMapValues : public TypedMemento {};
TYPED_TEST_SUITE(TypedMapValues, MapValues);

template <class T> T Sample(int number) {
  if constexpr (std::is_same_v<T, cow_String>)
    return cow_String(std::to_string(number));
  else
    return static_cast<T>(number);
}

} // namespace

TYPED_TEST(TypedScalars, ArriveWithTypeFieldAndValue) {
  using T = TypeParam;
  this->m_Write.Write(this->m_Field, Sample<T>(1));
  EXPECT_EQ(this->m_Called.m_Member, "WriteScalar");
  EXPECT_EQ(this->m_Called.m_Types, Types{typeid(T)});
  EXPECT_EQ(this->m_Called.m_Field.FieldId(), 7);
  EXPECT_EQ(this->m_Called.m_Field.Name(), "m_Load"_cow);
  EXPECT_EQ(std::any_cast<T>(this->m_Called.m_Value), Sample<T>(1));
}

TYPED_TEST(TypedScalars, AreReadWithTypeFieldAndDefault) {
  using T = TypeParam;
  this->m_Called.m_Value = Sample<T>(1);
  EXPECT_EQ(this->m_Read.Read(this->m_Field, Sample<T>(0)), Sample<T>(1));
  EXPECT_EQ(this->m_Called.m_Member, "ReadScalar");
  EXPECT_EQ(this->m_Called.m_Types, Types{typeid(T)});
  EXPECT_EQ(this->m_Called.m_Field.FieldId(), 7);
  EXPECT_EQ(std::any_cast<T>(this->m_Called.m_Value), Sample<T>(0));
}

TYPED_TEST(TypedElements, ListsArriveWithTagAndWidth) {
  using T = TypeParam;
  T tag{};
  this->ExpectCalled(this->m_Write.MakeWriteListPrim(&tag, 12), "MakeListOf", {typeid(T)},
                     static_cast<T const*>(&tag), 12);
  this->m_Called = Called();
  this->ExpectCalled(this->m_Read.MakeReadListPrim(&tag), "MakeListOf", {typeid(T)}, &tag, 0);
}

TYPED_TEST(TypedElements, ListAgentsArriveWithTagAndSize) {
  using T = TypeParam;
  T tag{};
  this->ExpectCalled(this->m_Write.MakeAgentListPrim(&tag, 9), "MakeListAgentOf", {typeid(T)},
                     static_cast<T const*>(&tag), 9);
  this->m_Called = Called();
  this->ExpectCalled(this->m_Read.MakeAgentListPrim(&tag), "MakeListAgentOf", {typeid(T)}, &tag, 0);
}

TYPED_TEST(TypedMapValues, MapsArriveWithKeyAndTag) {
  using T = TypeParam;
  T tag{};
  T const* const constTag = &tag;
  Types const byInt{typeid(int), typeid(T)};
  Types const byString{typeid(cow_String), typeid(T)};
  this->ExpectCalled(this->m_Write.MakeWriteMapInt2Prim(&tag), "MakeMapOf", byInt, constTag, 0);
  this->ExpectCalled(this->m_Write.MakeWriteMapString2Prim(&tag), "MakeMapOf", byString, constTag, 0);
  this->ExpectCalled(this->m_Read.MakeReadMapInt2Prim(&tag), "MakeMapOf", byInt, &tag, 0);
  this->ExpectCalled(this->m_Read.MakeReadMapString2Prim(&tag), "MakeMapOf", byString, &tag, 0);
}

TEST_F(TypedMemento, ObjectMapsArriveWithTheirKey) {
  EXPECT_EQ(m_Write.MakeWriteMapInt2Obj(), m_Called.Answer<cls_WriteMapInt2Obj>());
  EXPECT_EQ(m_Called.m_Types, Types{typeid(int)});
  EXPECT_EQ(m_Write.MakeWriteMapString2Obj(), m_Called.Answer<cls_WriteMapString2Obj>());
  EXPECT_EQ(m_Called.m_Types, Types{typeid(cow_String)});
  EXPECT_EQ(m_Read.MakeReadMapInt2Obj(), m_Called.Answer<cls_ReadMapInt2Obj>());
  EXPECT_EQ(m_Called.m_Types, Types{typeid(int)});
  EXPECT_EQ(m_Read.MakeReadMapString2Obj(), m_Called.Answer<cls_ReadMapString2Obj>());
  EXPECT_EQ(m_Called.m_Types, Types{typeid(cow_String)});
}

TEST_F(TypedMemento, ObjectMapAgentsArriveWithKeyAndSize) {
  int number = 0;
  cow_String text;
  char const* const member = "MakeObjectMapAgentOf";
  ExpectCalled(m_Write.MakeAgentMapKey2Obj(&number, 5), member, {typeid(int)},
               static_cast<int const*>(&number), 5);
  ExpectCalled(m_Write.MakeAgentMapKey2Obj(&text, 6), member, {typeid(cow_String)},
               static_cast<cow_String const*>(&text), 6);
  m_Called.m_Number = 0;
  ExpectCalled(m_Read.MakeAgentMapKey2Obj(&number), member, {typeid(int)}, &number, 0);
  ExpectCalled(m_Read.MakeAgentMapKey2Obj(&text), member, {typeid(cow_String)}, &text, 0);
}

TEST_F(TypedMemento, BuildersOfFieldsAreMadeWithAMementoOfTheirClass) {
  std::string const list = "object of " + std::to_string(0x230001);
  std::string const map = "object of " + std::to_string(0x230002);
  ExpectMade(m_Write.MakeFieldWriteListObj(m_Field, m_Uid), {list, "list of objects"});
  EXPECT_EQ(std::any_cast<cls_Uid>(m_Called.m_Value).Entry(), m_Uid.Entry());
  ExpectMade(m_Write.MakeFieldWriteMapInt2Obj(m_Field, m_Uid), {map, "map of objects"});
  EXPECT_EQ(m_Called.m_Types, Types{typeid(int)});
  ExpectMade(m_Write.MakeFieldWriteMapString2Obj(m_Field, m_Uid), {map, "map of objects"});
  EXPECT_EQ(m_Called.m_Types, Types{typeid(cow_String)});
  ExpectMade(m_Write.MakeFieldWriteIntTableInt(m_Field, m_Uid), {map, "int table"});
}

TEST_F(TypedMemento, CursorsOfFieldsAreMadeWithAMemento) {
  ExpectMade(m_Read.MakeFieldReadListObj(m_Field), {"object", "list of objects"});
  ExpectMade(m_Read.MakeFieldReadMapInt2Obj(m_Field), {"object", "map of objects"});
  EXPECT_EQ(m_Called.m_Types, Types{typeid(int)});
  ExpectMade(m_Read.MakeFieldReadMapString2Obj(m_Field), {"object", "map of objects"});
  EXPECT_EQ(m_Called.m_Types, Types{typeid(cow_String)});
  ExpectMade(m_Read.MakeFieldReadIntTableInt(m_Field), {"object", "int table"});
}

TEST_F(TypedMemento, ADeclinedCollectionHasNoBuilder) {
  m_Called.m_DeclinesObjects = true;
  EXPECT_EQ(m_Write.MakeFieldWriteListObj(m_Field, m_Uid), nullptr);
  EXPECT_EQ(m_Write.MakeFieldWriteMapInt2Obj(m_Field, m_Uid), nullptr);
  EXPECT_EQ(m_Write.MakeFieldWriteMapString2Obj(m_Field, m_Uid), nullptr);
  EXPECT_EQ(m_Write.MakeFieldWriteIntTableInt(m_Field, m_Uid), nullptr);
}

TEST_F(TypedMemento, AMementoThatTheBackEndKeepsIsNotDeleted) {
  class Keeping : public Writer {
   public:
    Keeping(Called& called, cls_MementoWrite& kept) : Writer(called), m_Kept(kept) {}
    cls_MementoWrite* MakeFieldWriteObj(cls_FieldHandle const&, unsigned int, cls_Uid const&,
                                        void const*) override {
      return &m_Kept;
    }
    cls_MementoWrite& m_Kept;
  };
  m_Called.m_KeepsMementos = true;
  Keeping keeping(m_Called, m_Writer);
  EXPECT_NE(keeping.MakeFieldWriteListObj(m_Field, m_Uid), nullptr);
  EXPECT_EQ(m_Called.m_Deleted, 0);
}

TEST_F(TypedMemento, OneTypeOfAFamilyMayBeOverridden) {
  class Counting : public Writer {
   public:
    using Writer::Write;
    using Writer::Writer;
    void Write(cls_FieldHandle const&, bool const&) override { ++m_Bools; }
    int m_Bools = 0;
  };
  Counting counting(m_Called);
  cls_MementoWrite& memento = counting;
  memento.Write(m_Field, true);
  EXPECT_EQ(counting.m_Bools, 1);
  EXPECT_EQ(m_Called.m_Member, "");
  memento.Write(m_Field, 2);
  EXPECT_EQ(m_Called.m_Member, "WriteScalar");
}

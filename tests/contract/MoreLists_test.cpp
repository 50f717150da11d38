#include <array>
#include <limits>
#include <vector>

#include "persist/backend/cls_MoreLists.h"
#include "tests/contract/ContractTest.h"

// Lists of bytes, of integers of 16 and 64 bits, and of complex numbers.

namespace {

/// The least and the greatest element of a type, then samples.
template <class T> T ElementOf(int number) {
  if constexpr (requires(T value) { value.m_Imaginary; }) {
    using Limits = std::numeric_limits<decltype(T::m_Real)>;
    if (number == 0) return {Limits::lowest(), Limits::denorm_min()};
    if (number == 1) return {-Limits::infinity(), Limits::quiet_NaN()};
  } else {
    if (number == 0) return std::numeric_limits<T>::min();
    if (number == 1) return std::numeric_limits<T>::max();
  }
  return SampleOf<T>(number);
}
template <class T> std::vector<T> Elements(int count) {
  std::vector<T> elements;
  elements.reserve(static_cast<std::size_t>(count));
  for (int i = 0; i < count; ++i) elements.push_back(ElementOf<T>(i));
  return elements;
}

/// How the elements are appended and read.
enum class Way { OneByOne, InRuns };

class ContractMoreLists : public ContractTest {
 protected:
  void WriteList(std::string const& root, cls_FieldHandle const& field, auto fill) {
    InTransaction(Session(), [&] {
      Save(Session(), Scripted([&](cls_WriteVisitor const& visitor) {
             WriteCollection(visitor, field, ListKind, COLLECTION_LIST, cls_Uid(), fill);
           }),
           root);
    });
  }
  template <class T> void Write(int count, int width, Way way) {
    std::vector<T> const elements = Elements<T>(count);
    WriteList(RootOf(count, way), FieldFor<T>("List"), [&](cls_MementoWrite& memento) {
      auto const builder = Receive(cls_MakeWriteList<T>(memento, width));
      if (way == Way::InRuns) return builder->AppendRun(count, elements.data());
      for (T const& element : elements) builder->Append(element);
    });
  }
  template <class T> void Expect(int count, int width, Way way) {
    std::vector<T> const elements = Elements<T>(count);
    Load(
        Session(),
        [&](cls_ReadVisitor const& visitor) {
          cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
          child.Memento()->CheckCollectionType(COLLECTION_LIST, "m_List"_cow);
          auto const cursor = Receive(cls_MakeReadList<T>(*child.Memento()));
          ASSERT_EQ(cursor->Count(), count);
          EXPECT_EQ(cursor->RowWidth(), width);
          std::vector<T> read(elements.size());
          if (way == Way::InRuns)
            EXPECT_EQ(cursor->NextRun(count + 1, read.data()), count);
          else
            for (T& element : read) element = cursor->Next();
          EXPECT_EQ(cursor->More(), 0);
          for (std::size_t i = 0; i < read.size(); ++i) ASSERT_TRUE(IsSameValue(read[i], elements[i])) << i;
        },
        RootOf(count, way));
  }
  static std::string RootOf(int count, Way way) {
    return std::to_string(count) + (way == Way::InRuns ? " in runs" : "");
  }
};
CONTRACT_FIXTURE(ContractMoreLists);

TEST_P(ContractMoreLists, ListsOfEachTypeComeBack) {
  CONTRACT_NEEDS(m_HasMoreLists);
  COVERS(cls_ReadListPrim, 2, 3, 4, 5, 6);
  COVERS(cls_WriteListPrim, 2, 3);
  constexpr std::array Counts{0, 1, 2, 2048, 2049, 5000};
  ForMoreListTypes([&]<class T>(std::type_identity<T>, cls_AttributeType) {
    SCOPED_TRACE(ContractTypeName<T>);
    for (int const count : Counts)
      for (Way const way : {Way::OneByOne, Way::InRuns}) Write<T>(count, 1, way);
    Step();
    for (int const count : Counts)
      for (Way const way : {Way::OneByOne, Way::InRuns}) Expect<T>(count, 1, way);
  });
}

TEST_P(ContractMoreLists, RowWidthIsKept) {
  COVERS(cls_ReadListPrim, 3);
  CONTRACT_NEEDS(m_HasMoreLists);
  ForMoreListTypes([&]<class T>(std::type_identity<T>, cls_AttributeType) {
    SCOPED_TRACE(ContractTypeName<T>);
    Write<T>(600, 3, Way::InRuns);
    Step();
    Expect<T>(600, 3, Way::InRuns);
  });
}

TEST_P(ContractMoreLists, ListIsReplacedByAShorterOne) {
  COVERS(cls_WriteListPrim, 3);
  CONTRACT_NEEDS(m_HasMoreLists);
  ForMoreListTypes([&]<class T>(std::type_identity<T>, cls_AttributeType) {
    SCOPED_TRACE(ContractTypeName<T>);
    Write<T>(5000, 1, Way::InRuns);
    Step();
    WriteList(RootOf(5000, Way::InRuns), FieldFor<T>("List"), [](cls_MementoWrite& memento) {
      Receive(cls_MakeWriteList<T>(memento, 1))->Append(ElementOf<T>(1));
    });
    Step();
    Load(
        Session(),
        [&](cls_ReadVisitor const& visitor) {
          auto const cursor = Receive(cls_MakeReadList<T>(*ObjectIn(visitor, FieldFor<T>("List")).Memento()));
          ASSERT_EQ(cursor->Count(), 1);
          EXPECT_TRUE(IsSameValue(cursor->Next(), ElementOf<T>(1)));
        },
        RootOf(5000, Way::InRuns));
  });
}

TEST_P(ContractMoreLists, AbsentListIsEmpty) {
  COVERS(cls_ReadListPrim, 2, 4);
  CONTRACT_NEEDS(m_HasMoreLists);
  ContractTest::Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    ForMoreListTypes([&]<class T>(std::type_identity<T>, cls_AttributeType) {
      SCOPED_TRACE(ContractTypeName<T>);
      cls_ReadVisitor const child(visitor, FieldFor<T>("List"));
      auto const cursor = Receive(cls_MakeReadList<T>(*child.Memento()));
      EXPECT_EQ(cursor->Count(), 0);
      EXPECT_EQ(cursor->More(), 0);
    });
  });
}

/// A back end that checks declarations refuses elements of another type than the attribute's.
TEST_P(ContractMoreLists, ElementsOfAnotherTypeAreRefused) {
  COVERS(cls_WriteListPrim, 3);
  CONTRACT_NEEDS(m_HasMoreLists);
  CONTRACT_NEEDS(m_ChecksDeclarations);
  auto const write = [&]<class T>(std::type_identity<T>, cls_FieldHandle const& field) {
    WriteList("root", field,
              [](cls_MementoWrite& memento) { Receive(cls_MakeWriteList<T>(memento, 1))->Append(T{}); });
  };
  EXPECT_ANY_THROW(write(std::type_identity<short>(), FieldFor<long long>("List")));
  EXPECT_ANY_THROW(write(std::type_identity<cls_Complex<float>>(), FieldFor<cls_Complex<double>>("List")));
  EXPECT_ANY_THROW(write(std::type_identity<unsigned char>(), FieldFor<signed char>("List")));
}

} // namespace

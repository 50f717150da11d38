#include <array>

#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "tests/contract/ContractTest.h"

// Lists of primitives, through builders and cursors.

namespace {

template <class T> Received<cls_WriteListPrim<T>> ListBuilder(cls_MementoWrite& memento, int width = 1) {
  T const tag{};
  return Receive(memento.MakeWriteListPrim(&tag, width));
}

template <class T> void WriteElements(cls_WriteVisitor const& visitor, int count, int width = 1) {
  WriteCollectionOf<T>(visitor, ListKind, [=](cls_MementoWrite& memento) {
    auto const builder = ListBuilder<T>(memento, width);
    ExpectNotKept(*builder);
    for (int i = 0; i < count; ++i) builder->Append(SampleOf<T>(i));
  });
}

template <class T> void ExpectElements(cls_ReadVisitor const& visitor, int count) {
  cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
  auto const cursor = ListCursor<T>(*child.Memento());
  ExpectNotKept(*cursor);
  ASSERT_EQ(cursor->Count(), count);
  for (int i = 0; i < count; ++i) {
    ASSERT_NE(cursor->More(), 0) << i;
    ASSERT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(i))) << i;
  }
  EXPECT_EQ(cursor->More(), 0);
  EXPECT_EQ(cursor->Count(), count);
}

class ContractLists : public ContractTest {
 protected:
  /// Lists of many lengths, each in a separate object.
  template <class T> void ExpectLists() {
    constexpr std::array Counts{0, 1, 2, 100, 2047, 2048, 2049, 4096, 7000};
    InTransaction(Session(), [&] {
      for (int const count : Counts)
        Save(Session(), Scripted([=](cls_WriteVisitor const& visitor) { WriteElements<T>(visitor, count); }),
             std::to_string(count));
    });
    Step();
    for (int const count : Counts)
      Read([=](cls_ReadVisitor const& visitor) { ExpectElements<T>(visitor, count); }, std::to_string(count));
  }
};
CONTRACT_FIXTURE(ContractLists);

#define EXPECT_LISTS_COME_BACK(Type)                                                                         \
  COVERS(cls_ReadListPrim, 0, 1, 2, 4, 6);                                                                   \
  COVERS(cls_WriteListPrim, 0, 1, 3);                                                                        \
  ExpectLists<Type>()

TEST_P(ContractLists, ListsOfBoolComeBack) {
  COVERS(cls_MementoWrite, 22);
  COVERS(cls_MementoRead, 26);
  EXPECT_LISTS_COME_BACK(bool);
}
TEST_P(ContractLists, ListsOfStringComeBack) {
  COVERS(cls_MementoWrite, 23);
  COVERS(cls_MementoRead, 27);
  EXPECT_LISTS_COME_BACK(cow_String);
}
TEST_P(ContractLists, ListsOfFloatComeBack) {
  COVERS(cls_MementoWrite, 24);
  COVERS(cls_MementoRead, 28);
  EXPECT_LISTS_COME_BACK(float);
}
TEST_P(ContractLists, ListsOfDoubleComeBack) {
  COVERS(cls_MementoWrite, 25);
  COVERS(cls_MementoRead, 29);
  EXPECT_LISTS_COME_BACK(double);
}
TEST_P(ContractLists, ListsOfUnsignedIntComeBack) {
  COVERS(cls_MementoWrite, 26);
  COVERS(cls_MementoRead, 30);
  EXPECT_LISTS_COME_BACK(unsigned int);
}
TEST_P(ContractLists, ListsOfIntComeBack) {
  COVERS(cls_MementoWrite, 27);
  COVERS(cls_MementoRead, 31);
  EXPECT_LISTS_COME_BACK(int);
}

TEST_P(ContractLists, RunsAndSingleElementsMix) {
  COVERS(cls_WriteListPrim, 2, 3);
  COVERS(cls_ReadListPrim, 4, 5, 6);
  constexpr int Run = 3000;
  Write([](cls_WriteVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      WriteCollectionOf<T>(visitor, ListKind, [](cls_MementoWrite& memento) {
        auto const elements = std::make_unique<T[]>(Run);
        for (int i = 0; i < Run; ++i) elements[static_cast<std::size_t>(i)] = SampleOf<T>(i + 1);
        auto const builder = ListBuilder<T>(memento);
        builder->Append(SampleOf<T>(0));
        builder->AppendRun(Run, elements.get());
        builder->AppendRun(0, nullptr);
        builder->Append(SampleOf<T>(Run + 1));
      });
    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    ForListTypes([&]<class T>(std::type_identity<T>) {
      SCOPED_TRACE(ContractTypeName<T>);
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
      auto const cursor = ListCursor<T>(*child.Memento());
      ASSERT_EQ(cursor->Count(), Run + 2);
      auto const elements = std::make_unique<T[]>(Run);
      EXPECT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(0)));
      EXPECT_EQ(cursor->NextRun(0, elements.get()), 0);
      ASSERT_EQ(cursor->NextRun(2500, elements.get()), 2500);
      for (int i = 0; i < 2500; ++i)
        ASSERT_TRUE(IsSameValue(elements[static_cast<std::size_t>(i)], SampleOf<T>(i + 1))) << i;
      EXPECT_TRUE(IsSameValue(cursor->Next(), SampleOf<T>(2501)));
      ASSERT_EQ(cursor->NextRun(Run, elements.get()), 500);
      EXPECT_TRUE(IsSameValue(elements[499], SampleOf<T>(Run + 1)));
      EXPECT_EQ(cursor->More(), 0);
      EXPECT_EQ(cursor->NextRun(Run, elements.get()), 0);
    });
  });
}

TEST_P(ContractLists, TheRowWidthComesBack) {
  COVERS(cls_MementoWrite, 22, 23, 24, 25, 26, 27);
  COVERS(cls_ReadListPrim, 3);
  for (int const width : {1, 3, 1000})
    for (int const count : {0, 6 * width, 5000 / width * width}) {
      Write([=](cls_WriteVisitor const& visitor) {
        ForListTypes([&]<class T>(std::type_identity<T>) { WriteElements<T>(visitor, count, width); });
      });
      Read([=](cls_ReadVisitor const& visitor) {
        ForListTypes([&]<class T>(std::type_identity<T>) {
          cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<T>("List"));
          EXPECT_EQ(ListCursor<T>(*child.Memento())->RowWidth(), width) << ContractTypeName<T>;
        });
      });
    }
}

TEST_P(ContractLists, ATableIsAListWithTheWidthOfItsRows) {
  COVERS(cls_MementoWrite, 25, 54);
  COVERS(cls_MementoRead, 29);
  COVERS(cls_ReadListPrim, 3);
  Write([](cls_WriteVisitor const& visitor) {
    WriteCollection(visitor, FieldOf("TableDouble"), ListKind, COLLECTION_TABLE_DOUBLE, cls_Uid(),
                    [](cls_MementoWrite& memento) {
                      auto const builder = ListBuilder<double>(memento, 4);
                      for (int i = 0; i < 12; ++i) builder->Append(i);
                    });
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf("TableDouble"));
    auto const cursor = ListCursor<double>(*child.Memento());
    EXPECT_EQ(cursor->RowWidth(), 4);
    EXPECT_EQ(cursor->Count(), 12);
    for (int i = 0; i < 12; ++i) EXPECT_EQ(cursor->Next(), i);
  });
}

TEST_P(ContractLists, TwoCursorsOverOneListDoNotDisturbEachOther) {
  COVERS(cls_MementoRead, 31);
  COVERS(cls_ReadListPrim, 4, 6);
  Write([](cls_WriteVisitor const& visitor) { WriteElements<int>(visitor, 5000); });
  Read([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    auto const first = ListCursor<int>(*child.Memento());
    for (int i = 0; i < 3000; ++i) static_cast<void>(first->Next());
    auto const second = ListCursor<int>(*child.Memento());
    EXPECT_EQ(second->Next(), SampleOf<int>(0));
    EXPECT_EQ(first->Next(), SampleOf<int>(3000));
    EXPECT_EQ(second->Next(), SampleOf<int>(1));
  });
}

TEST_P(ContractLists, AnObjectHasFieldsAndAListAtOnce) {
  COVERS(cls_MementoWrite, 11, 27);
  COVERS(cls_MementoRead, 13, 31);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Memento()->Write(FieldFor<int>(), 3);
    auto const builder = ListBuilder<int>(*visitor.Memento());
    for (int i = 0; i < 3; ++i) builder->Append(i * i);
  });
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = ListCursor<int>(*visitor.Memento());
    EXPECT_EQ(visitor.Memento()->Read(FieldFor<int>(), -1), 3);
    EXPECT_EQ(cursor->Count(), 3);
    for (int i = 0; i < 3; ++i) EXPECT_EQ(cursor->Next(), i * i);
  });
}

/// Row widths and element counts with a partial row: in the record, in a block, and across blocks.
constexpr std::array<std::array<int, 2>, 7> Uneven{
    {{2, 1}, {4, 3}, {4, 5}, {1000, 999}, {3, 2048}, {1000, 5001}, {5001, 5000}}};

TEST_P(ContractLists, AListWithAPartialRowIsRefused) {
  COVERS(cls_MementoWrite, 22, 23, 24, 25, 26, 27);
  COVERS(cls_WriteListPrim, 1, 2, 3);
  CONTRACT_NEEDS(m_RefusesPartialRows);
  ForListTypes([&]<class T>(std::type_identity<T>) {
    SCOPED_TRACE(ContractTypeName<T>);
    for (std::array<int, 2> const& uneven : Uneven)
      for (bool const isRun : {false, true}) {
        int const width = uneven[0], count = uneven[1];
        std::string const message = MessageOf(ContractError::Misuse, [&] {
          Write([&](cls_WriteVisitor const& visitor) {
            WriteCollectionOf<T>(visitor, ListKind, [&](cls_MementoWrite& memento) {
              auto const builder = ListBuilder<T>(memento, width);
              auto const values = std::make_unique<T[]>(static_cast<std::size_t>(count));
              if (isRun) builder->AppendRun(count, values.get());
              for (int i = 0; !isRun && i < count; ++i) builder->Append(SampleOf<T>(i));
            });
          });
        });
        EXPECT_TRUE(Contains(message, std::to_string(count)) && Contains(message, std::to_string(width)))
            << message;
      }
  });
  ExpectNoRoot();
  ExpectObjects(0);
}

TEST_P(ContractLists, ARewriteWithAPartialRowLeavesTheListAsItWas) {
  COVERS(cls_MementoWrite, 25);
  COVERS(cls_MementoRead, 3, 29);
  CONTRACT_NEEDS(m_RefusesPartialRows);
  cls_Uid list;
  auto const write = [&list](int count) {
    return [&list, count](cls_WriteVisitor const& visitor) {
      WriteCollectionOf<double>(
          visitor, ListKind,
          [count](cls_MementoWrite& memento) {
            auto const builder = ListBuilder<double>(memento, 3);
            for (int i = 0; i < count; ++i) builder->Append(SampleOf<double>(i));
          },
          list);
    };
  };
  Write(write(6000));
  Read([&](cls_ReadVisitor const& visitor) { list = ObjectIn(visitor, FieldFor<double>("List")).GetUid(); });
  for (int const count : {5999, 1, 12'001}) MessageOf(ContractError::Misuse, [&] { Rewrite(write(count)); });
  ReopenIfPossible();
  Read([](cls_ReadVisitor const& visitor) { ExpectElements<double>(visitor, 6000); });
  ExpectObjects(2);
}

TEST_P(ContractLists, AListOfOneRowOrNoneIsWhole) {
  COVERS(cls_MementoWrite, 27);
  COVERS(cls_ReadListPrim, 2, 3);
  for (int const count : {0, 5000}) {
    Write([=](cls_WriteVisitor const& visitor) { WriteElements<int>(visitor, count, 5000); });
    Read([=](cls_ReadVisitor const& visitor) {
      ExpectElements<int>(visitor, count);
      cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
      EXPECT_EQ(ListCursor<int>(*child.Memento())->RowWidth(), 5000);
    });
  }
}

} // namespace

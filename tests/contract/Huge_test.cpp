#include <limits>

#include "persist/cls_AgentBlob.h"
#include "persist/cls_AgentListPrim.h"
#include "persist/cls_BlobReader.h"
#include "persist/cls_BlobWriter.h"
#include "persist/cls_ReadListPrim.h"
#include "persist/cls_ReadMapPrim.h"
#include "persist/cls_ReadObjects.h"
#include "persist/cls_WriteListPrim.h"
#include "persist/cls_WriteMapPrim.h"
#include "persist/cls_WriteObjects.h"
#include "tests/contract/ContractTest.h"

// Cases that take seconds. Every one of them reads what a session before it wrote.

namespace {

CONTRACT_HUGE_SUITE(ContractHuge);

constexpr int ManyElements = 10'000'000;
constexpr int ManyEntries = 100'000;

double ElementAt(int i) {
  return i * 0.5 - 1e6;
}

TEST_P(ContractHuge, AListOfTenMillionElementsComesBack) {
  COVERS(cls_MementoWrite, 25);
  COVERS(cls_MementoRead, 29);
  COVERS(cls_WriteListPrim, 2);
  COVERS(cls_ReadListPrim, 2, 4, 5);
  constexpr int Run = 4000;
  std::vector<double> run(Run);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<double>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      double const tag = 0;
      auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < ManyElements; i += Run) {
        for (int j = 0; j < Run; ++j) run[static_cast<std::size_t>(j)] = ElementAt(i + j);
        builder->AppendRun(Run, run.data());
      }
    });
  });
  Reopen();
  Read([&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child(visitor, FieldFor<double>("List"));
    double tag = 0;
    auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
    ASSERT_EQ(cursor->Count(), ManyElements);
    for (int i = 0; i < ManyElements; i += Run) {
      ASSERT_EQ(cursor->NextRun(Run, run.data()), Run);
      for (int j = 0; j < Run; ++j) ASSERT_EQ(run[static_cast<std::size_t>(j)], ElementAt(i + j)) << i + j;
    }
    EXPECT_EQ(cursor->More(), 0);
  });
}

TEST_P(ContractHuge, AnAgentReachesEveryPlaceOfALongList) {
  COVERS(cls_MementoWrite, 50);
  COVERS(cls_MementoRead, 54);
  COVERS(cls_AgentListPrim, 1, 5, 6);
  constexpr int Count = 2'000'000;
  std::vector<int> values(Count);
  for (int i = 0; i < Count; ++i) values[static_cast<std::size_t>(i)] = i ^ 0x2A2A2A2A;
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      int const tag = 0;
      auto agent =
          std::make_unique<AgentHolder<cls_AgentListPrim<int>>>(memento.MakeAgentListPrim(&tag, Count));
      (*agent)->WriteRun(0, Count, values.data());
      m_Kept.push_back(std::move(agent));
    });
  });
  Reopen();
  auto const agent = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child(visitor, FieldFor<int>("List"));
    int tag = 0;
    return std::make_unique<AgentHolder<cls_AgentListPrim<int>>>(child.Memento()->MakeAgentListPrim(&tag));
  });
  EXPECT_EQ((*agent)->Count(), Count);
  for (int i = 1; i < Count; i += 99'991) {
    int value = 0;
    ASSERT_EQ((*agent)->ReadRun(i, 1, &value), 1);
    EXPECT_EQ(value, values[static_cast<std::size_t>(i)]);
  }
  std::vector<int> read(Count);
  EXPECT_EQ((*agent)->ReadRun(0, Count, read.data()), Count);
  EXPECT_TRUE(read == values);
}

TEST_P(ContractHuge, MapsOfAHundredThousandEntriesComeBack) {
  COVERS(cls_MementoWrite, 32, 40);
  COVERS(cls_MementoRead, 36, 44);
  COVERS(cls_WriteMapInt2Prim, 2);
  COVERS(cls_WriteMapString2Prim, 2);
  COVERS(cls_ReadMapInt2Prim, 2, 3, 4, 5);
  COVERS(cls_ReadMapString2Prim, 2, 3, 4, 5);
  auto const keyAt = [](int i) { return static_cast<int>(static_cast<unsigned int>(i) * 2654435761U); };
  Write([=](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<int>(visitor, MapIntKind, [=](cls_MementoWrite& memento) {
      int const tag = 0;
      auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
      for (int i = 0; i < ManyEntries; ++i) builder->Insert(keyAt(i), i);
    });
    WriteCollectionOf<cow_String>(visitor, MapStringKind, [=](cls_MementoWrite& memento) {
      cow_String const tag;
      auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
      for (int i = 0; i < ManyEntries; ++i)
        builder->Insert(cow_String("key " + std::to_string(keyAt(i))), SampleOf<cow_String>(i));
    });
  });
  Reopen();
  Read([=](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const ints(visitor, FieldFor<int>(MapIntKind.m_Name));
    cls_ReadVisitor const strings(visitor, FieldFor<cow_String>(MapStringKind.m_Name));
    int intTag = 0;
    cow_String stringTag;
    auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&intTag));
    auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&stringTag));
    ASSERT_EQ(byInt->Count(), ManyEntries);
    ASSERT_EQ(byString->Count(), ManyEntries);
    for (int i = 0; i < ManyEntries; ++i) {
      ASSERT_NE(byInt->More(), 0);
      ASSERT_NE(byString->More(), 0);
      ASSERT_EQ(byInt->Next(), i);
      ASSERT_TRUE(IsSameValue(byString->Next(), SampleOf<cow_String>(i)));
      int number = 0;
      cow_String text;
      byInt->Key(number);
      byString->Key(text);
      ASSERT_EQ(number, keyAt(i));
      ASSERT_EQ(text, cow_String("key " + std::to_string(keyAt(i))));
    }
  });
}

TEST_P(ContractHuge, AnIntTableOfAHundredThousandEntriesComesBack) {
  COVERS(cls_MementoWrite, 38);
  COVERS(cls_MementoRead, 42);
  COVERS(cls_WriteIntTableInt, 1);
  COVERS(cls_ReadIntTableInt, 1, 2, 3, 4);
  Write([](cls_WriteVisitor const& visitor) {
    auto const builder =
        Receive(visitor.Memento()->MakeFieldWriteIntTableInt(FieldOf(IntTableKind.m_Name), cls_Uid()));
    for (int i = 0; i < ManyEntries; ++i) builder->Insert(i * 3, -i);
  });
  Reopen();
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
    ASSERT_EQ(cursor->Count(), ManyEntries);
    std::vector<int> values(ManyEntries, 1);
    while (cursor->More() != 0) {
      int const value = cursor->Next();
      int key = 0;
      cursor->Key(key);
      ASSERT_EQ(key % 3, 0);
      values.at(static_cast<std::size_t>(key / 3)) = value;
    }
    for (int i = 0; i < ManyEntries; ++i) ASSERT_EQ(values[static_cast<std::size_t>(i)], -i);
  });
}

TEST_P(ContractHuge, AMapOfAHundredThousandObjectsComesBack) {
  COVERS(cls_MementoWrite, 36);
  COVERS(cls_MementoRead, 40);
  COVERS(cls_WriteMapInt2Obj, 2, 4);
  COVERS(cls_ReadMapInt2Obj, 2, 3, 4, 5, 6);
  Write([](cls_WriteVisitor const& visitor) {
    auto const builder =
        Receive(visitor.Memento()->MakeFieldWriteMapInt2Obj(FieldOf(MapIntObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < ManyEntries; ++i)
      WriteNumber(builder->MakeWriteObj(ManyEntries - i, Scripted::TypeId(), cls_Uid()), i);
    EXPECT_EQ(builder->Count(), ManyEntries);
  });
  Reopen();
  EXPECT_GE(Store().ObjectCount(), ManyEntries + 1);
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), ManyEntries);
    for (int i = 0; i < ManyEntries; ++i) {
      ASSERT_NE(cursor->More(), 0);
      cursor->Next();
      int key = 0;
      ASSERT_EQ(NumberOf(cursor->Fetch(key)), i);
      ASSERT_EQ(key, ManyEntries - i);
    }
    ASSERT_TRUE(cursor->Find(ManyEntries / 2));
    int key = 0;
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), ManyEntries / 2);
  });
}

TEST_P(ContractHuge, TextsAndBytesOf64MebibytesComeBack) {
  COVERS(cls_MementoWrite, 7, 19, 23);
  COVERS(cls_MementoRead, 9, 21, 27);
  constexpr int Size = 64 << 20;
  std::string text(Size, '\0');
  for (std::size_t i = 0; i < text.size(); ++i) text[i] = static_cast<char>(i * 131 + i / 65'521);
  Write([&](cls_WriteVisitor const& visitor) { visitor.Write(FieldFor<cow_String>(), cow_String(text)); },
        "text");
  Write([&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteBytes(FieldOf("Bytes"), text.data(), Size);
  });
  Write(
      [&](cls_WriteVisitor const& visitor) {
        WriteCollectionOf<cow_String>(visitor, ListKind, [&](cls_MementoWrite& memento) {
          cow_String const tag;
          auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
          for (int i = 0; i < 2; ++i) {
            builder->Append(cow_String(std::to_string(i)));
            builder->Append(cow_String(text));
          }
        });
      },
      "list");
  Reopen();
  Read(
      [&](cls_ReadVisitor const& visitor) {
        EXPECT_TRUE(visitor.Read(FieldFor<cow_String>(), cow_String()) == std::string_view(text));
      },
      "text");
  Read([&](cls_ReadVisitor const& visitor) {
    std::string read(Size, '.');
    EXPECT_EQ(visitor.Memento()->ReadBytes(FieldOf("Bytes"), read.data(), Size), Size);
    EXPECT_TRUE(read == text);
  });
  Read(
      [&](cls_ReadVisitor const& visitor) {
        cls_ReadVisitor const child(visitor, FieldFor<cow_String>("List"));
        cow_String tag;
        auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
        ASSERT_EQ(cursor->Count(), 4);
        for (int i = 0; i < 2; ++i) {
          EXPECT_EQ(cursor->Next(), cow_String(std::to_string(i)));
          EXPECT_TRUE(cursor->Next() == std::string_view(text));
        }
      },
      "list");
}

TEST_P(ContractHuge, ABlobOf64MebibytesIsWrittenAndReadInPieces) {
  COVERS(cls_MementoWrite, 53);
  COVERS(cls_MementoRead, 57);
  COVERS(cls_AgentBlob, 1, 2, 3);
  constexpr int Piece = 1'000'003;
  constexpr long long Pieces = 67;
  std::vector<unsigned char> bytes(Piece);
  auto const fill = [&](long long piece) {
    for (std::size_t i = 0; i < bytes.size(); ++i)
      bytes[i] = static_cast<unsigned char>(i * 7 + static_cast<std::size_t>(piece));
  };
  Write([&](cls_WriteVisitor const& visitor) {
    cls_BlobWriter const writer(visitor, FieldOf("Blob"), cls_Uid());
    for (long long i = 0; i < Pieces; ++i) {
      fill(i);
      writer.Agent().Write(i * Piece, Piece, bytes.data());
    }
    writer.Agent().EndFlush();
  });
  Reopen();
  Read([&](cls_ReadVisitor const& visitor) {
    cls_Uid uid;
    cls_BlobReader const reader(visitor, FieldOf("Blob"), uid);
    ASSERT_EQ(reader.Agent().Size(), Pieces * Piece);
    std::vector<unsigned char> read(Piece);
    for (long long i = Pieces - 1; i >= 0; --i) {
      fill(i);
      ASSERT_EQ(reader.Agent().Read(i * Piece, Piece, read.data()), Piece);
      ASSERT_TRUE(read == bytes) << i;
    }
  });
}

} // namespace

#include <array>
#include <limits>

#include "persist/backend/cls_AgentBlob.h"
#include "persist/backend/cls_AgentListObj.h"
#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_AgentMapKey2Obj.h"
#include "persist/backend/cls_ReadListPrim.h"
#include "persist/backend/cls_ReadMapPrim.h"
#include "persist/backend/cls_ReadObjects.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteMapPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "persist/visitors/cls_BlobReader.h"
#include "persist/visitors/cls_BlobWriter.h"
#include "tests/contract/ContractTest.h"

// Cases that take seconds. Each reads what an earlier session wrote.

namespace {

CONTRACT_HUGE_SUITE(ContractHuge);

constexpr int HugeElements = 10'000'000;
constexpr int HugeEntries = 100'000;

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
      for (int i = 0; i < HugeElements; i += Run) {
        for (int j = 0; j < Run; ++j) run[static_cast<std::size_t>(j)] = ElementAt(i + j);
        builder->AppendRun(Run, run.data());
      }
    });
  });
  ReopenIfPossible();
  Read([&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<double>("List"));
    double tag = 0;
    auto const cursor = Receive(child.Memento()->MakeReadListPrim(&tag));
    ASSERT_EQ(cursor->Count(), HugeElements);
    for (int i = 0; i < HugeElements; i += Run) {
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
  constexpr int Count = HugeElements;
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
  ReopenIfPossible();
  auto const agent = Take([](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<int>("List"));
    int tag = 0;
    return std::make_unique<AgentHolder<cls_AgentListPrim<int>>>(child.Memento()->MakeAgentListPrim(&tag));
  });
  EXPECT_EQ((*agent)->Count(), Count);
  for (int i = 1; i < Count; i += 499'979) {
    int value = 0;
    ASSERT_EQ((*agent)->ReadRun(i, 1, &value), 1);
    EXPECT_EQ(value, values[static_cast<std::size_t>(i)]);
  }
  std::vector<int> read(Count);
  EXPECT_EQ((*agent)->ReadRun(0, Count, read.data()), Count);
  EXPECT_TRUE(read == values);
}

TEST_P(ContractHuge, ListsOfTenMillionBoolsAndTextsComeBack) {
  COVERS(cls_MementoWrite, 22, 23);
  COVERS(cls_MementoRead, 26, 27);
  COVERS(cls_WriteListPrim, 3);
  COVERS(cls_ReadListPrim, 2, 6);
  // A few texts, repeated: none, empty, and shorter ones.
  std::vector<cow_String> const texts{cow_String(), ""_cow, "a"_cow, "\xC3\xA4\n"_cow};
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<bool>(visitor, ListKind, [](cls_MementoWrite& memento) {
      bool const tag = false;
      auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
      for (int i = 0; i < HugeElements; ++i) builder->Append(SampleOf<bool>(i));
    });
    WriteCollectionOf<cow_String>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      cow_String const tag;
      auto const builder = Receive(memento.MakeWriteListPrim(&tag, 1));
      for (std::size_t i = 0; i < HugeElements; ++i) builder->Append(texts[i * i % 31 % texts.size()]);
    });
  });
  ReopenIfPossible();
  Read([&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const bools = ObjectIn(visitor, FieldFor<bool>("List"));
    cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<cow_String>("List"));
    bool boolTag = false;
    cow_String stringTag;
    auto const inBools = Receive(bools.Memento()->MakeReadListPrim(&boolTag));
    auto const inStrings = Receive(strings.Memento()->MakeReadListPrim(&stringTag));
    ASSERT_EQ(inBools->Count(), HugeElements);
    ASSERT_EQ(inStrings->Count(), HugeElements);
    std::size_t wrong = 0;
    for (std::size_t i = 0; i < HugeElements; ++i) {
      if (inBools->Next() != SampleOf<bool>(static_cast<int>(i))) ++wrong;
      if (!IsSameValue(inStrings->Next(), texts[i * i % 31 % texts.size()])) ++wrong;
    }
    EXPECT_EQ(wrong, 0U);
    EXPECT_EQ(inBools->More(), 0);
    EXPECT_EQ(inStrings->More(), 0);
  });
}

/// Unordered keys.
int KeyAt(int i) {
  return static_cast<int>(static_cast<unsigned int>(i) * 2654435761U);
}

TEST_P(ContractHuge, MapsOfAHundredThousandEntriesOfEachTypeComeBack) {
  COVERS(cls_MementoWrite, 28, 29, 30, 31, 32, 39, 40, 41, 42, 43);
  COVERS(cls_MementoRead, 32, 33, 34, 35, 36, 43, 44, 45, 46, 47);
  COVERS(cls_WriteMapInt2Prim, 2);
  COVERS(cls_WriteMapString2Prim, 2);
  COVERS(cls_ReadMapInt2Prim, 2, 3, 4, 5);
  COVERS(cls_ReadMapString2Prim, 2, 3, 4, 5);
  std::vector<cow_String> texts(HugeEntries);
  for (int i = 0; i < HugeEntries; ++i)
    texts[static_cast<std::size_t>(i)] = cow_String("key " + std::to_string(KeyAt(i)));
  Write([&](cls_WriteVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      T const tag{};
      WriteCollectionOf<T>(visitor, MapIntKind, [&](cls_MementoWrite& memento) {
        auto const builder = Receive(memento.MakeWriteMapInt2Prim(&tag));
        for (int i = 0; i < HugeEntries; ++i) builder->Insert(KeyAt(i), SampleOf<T>(i));
      });
      WriteCollectionOf<T>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
        auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
        for (int i = 0; i < HugeEntries; ++i)
          builder->Insert(texts[static_cast<std::size_t>(i)], SampleOf<T>(i));
      });
    });
  });
  ReopenIfPossible();
  Read([&](cls_ReadVisitor const& visitor) {
    ForMapTypes([&]<class T>(std::type_identity<T>) {
      SCOPED_TRACE(ContractTypeName<T>);
      T tag{};
      cls_ReadVisitor const ints = ObjectIn(visitor, FieldFor<T>(MapIntKind.m_Name));
      cls_ReadVisitor const strings = ObjectIn(visitor, FieldFor<T>(MapStringKind.m_Name));
      auto const byInt = Receive(ints.Memento()->MakeReadMapInt2Prim(&tag));
      auto const byString = Receive(strings.Memento()->MakeReadMapString2Prim(&tag));
      ASSERT_EQ(byInt->Count(), HugeEntries);
      ASSERT_EQ(byString->Count(), HugeEntries);
      for (int i = 0; i < HugeEntries; ++i) {
        T const expected = SampleOf<T>(i);
        ASSERT_NE(byInt->More(), 0);
        ASSERT_NE(byString->More(), 0);
        ASSERT_TRUE(IsSameValue(byInt->Next(), expected));
        ASSERT_TRUE(IsSameValue(byString->Next(), expected));
        int number = 0;
        cow_String text;
        byInt->Key(number);
        byString->Key(text);
        ASSERT_EQ(number, KeyAt(i));
        ASSERT_EQ(text, texts[static_cast<std::size_t>(i)]);
      }
      EXPECT_EQ(byInt->More(), 0);
      EXPECT_EQ(byString->More(), 0);
    });
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
    for (int i = 0; i < HugeEntries; ++i) builder->Insert(i * 3, -i);
  });
  ReopenIfPossible();
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadIntTableInt(FieldOf(IntTableKind.m_Name)));
    ASSERT_EQ(cursor->Count(), HugeEntries);
    std::vector<int> values(HugeEntries, 1);
    for (int i = 0; cursor->More() != 0; ++i) {
      ASSERT_LT(i, HugeEntries);
      int const value = cursor->Next();
      int key = 0;
      cursor->Key(key);
      ASSERT_EQ(key % 3, 0);
      values.at(static_cast<std::size_t>(key / 3)) = value;
    }
    for (int i = 0; i < HugeEntries; ++i) ASSERT_EQ(values[static_cast<std::size_t>(i)], -i);
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
    for (int i = 0; i < HugeEntries; ++i)
      WriteNumber(builder->MakeWriteObj(HugeEntries - i, Scripted::TypeId(), cls_Uid()), i);
    EXPECT_EQ(builder->Count(), HugeEntries);
  });
  ReopenIfPossible();
  ExpectObjects(1 + 1 + HugeEntries);
  Read([](cls_ReadVisitor const& visitor) {
    auto const cursor = Receive(visitor.Memento()->MakeFieldReadMapInt2Obj(FieldOf(MapIntObjKind.m_Name)));
    ASSERT_EQ(cursor->Count(), HugeEntries);
    for (int i = 0; i < HugeEntries; ++i) {
      ASSERT_NE(cursor->More(), 0);
      cursor->Next();
      int key = 0;
      ASSERT_EQ(NumberOf(cursor->Fetch(key)), i);
      ASSERT_EQ(key, HugeEntries - i);
    }
    ASSERT_TRUE(cursor->Find(HugeEntries / 2));
    int key = 0;
    EXPECT_EQ(NumberOf(cursor->Fetch(key)), HugeEntries / 2);
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
  ReopenIfPossible();
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
        cls_ReadVisitor const child = ObjectIn(visitor, FieldFor<cow_String>("List"));
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
  ReopenIfPossible();
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

TEST_P(ContractHuge, AHundredThousandObjectsInAListAndUnderTextsComeBack) {
  COVERS(cls_MementoWrite, 35, 37);
  COVERS(cls_MementoRead, 39, 41);
  COVERS(cls_WriteListObj, 2, 4);
  COVERS(cls_WriteMapString2Obj, 2, 4);
  COVERS(cls_ReadListObj, 2, 3, 4, 5, 6, 7);
  COVERS(cls_ReadMapString2Obj, 2, 3, 4, 5);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldWriteListObj(FieldOf(ListObjKind.m_Name), cls_Uid()));
    auto const map =
        Receive(memento.MakeFieldWriteMapString2Obj(FieldOf(MapStringObjKind.m_Name), cls_Uid()));
    for (int i = 0; i < HugeEntries; ++i) {
      WriteNumber(list->MakeWriteObj(Scripted::TypeId(), cls_Uid()), i);
      WriteNumber(map->MakeWriteObj(cow_String(std::to_string(KeyAt(i))), Scripted::TypeId(), cls_Uid()), -i);
    }
    EXPECT_EQ(list->Count(), HugeEntries);
    EXPECT_EQ(map->Count(), HugeEntries);
  });
  ReopenIfPossible();
  ExpectObjects(1 + 2 + 2 * HugeEntries);
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    auto const list = Receive(memento.MakeFieldReadListObj(FieldOf(ListObjKind.m_Name)));
    auto const map = Receive(memento.MakeFieldReadMapString2Obj(FieldOf(MapStringObjKind.m_Name)));
    ASSERT_EQ(list->Count(), HugeEntries);
    ASSERT_EQ(map->Count(), HugeEntries);
    for (int i = 0; i < HugeEntries; ++i) {
      cow_String key;
      map->Next();
      ASSERT_EQ(NumberOf(list->Next()), i);
      ASSERT_EQ(NumberOf(map->Fetch(key)), -i);
      ASSERT_EQ(key, cow_String(std::to_string(KeyAt(i))));
    }
    EXPECT_EQ(list->More(), 0);
    EXPECT_EQ(map->More(), 0);
    EXPECT_EQ(NumberOf(list->At(HugeEntries - 1)), HugeEntries - 1);
  });
  if (!Can().m_CollectsGarbage) return;
  Session().RemoveRoot("root");
  EXPECT_EQ(Session().CollectGarbage(), 1 + 2 + 2 * HugeEntries);
}

TEST_P(ContractHuge, AgentsReachEveryEntryOfAHundredThousandObjects) {
  COVERS(cls_MementoWrite, 44, 45, 46);
  COVERS(cls_MementoRead, 48, 49, 50);
  COVERS(cls_AgentListObj, 1, 5, 6, 7);
  COVERS(cls_AgentMapKey2Obj, 1, 6, 11, 15, 16);
  auto const textAt = [](int i) { return cow_String(std::to_string(KeyAt(i))); };
  Write([&](cls_WriteVisitor const& visitor) {
    unsigned int const id = Scripted::TypeId();
    WriteCollectionOf(visitor, ListObjKind, [&](cls_MementoWrite& memento) {
      AgentHolder<cls_AgentListObj> const agent(memento.MakeAgentListObj(HugeEntries));
      agent->SetCount(HugeEntries);
      for (int i = 0; i < HugeEntries; ++i) WriteNumber(agent->MakeWriteObj(i, id, cls_Uid()), i);
    });
    WriteCollectionOf(visitor, MapIntObjKind, [&](cls_MementoWrite& memento) {
      int const tag = 0;
      AgentHolder<cls_AgentMapKey2Obj<int>> const agent(memento.MakeAgentMapKey2Obj(&tag, HugeEntries));
      for (int i = 0; i < HugeEntries; ++i) WriteNumber(agent->MakeWriteObj(KeyAt(i), id, cls_Uid()), i);
    });
    WriteCollectionOf(visitor, MapStringObjKind, [&](cls_MementoWrite& memento) {
      cow_String const tag;
      AgentHolder<cls_AgentMapKey2Obj<cow_String>> const agent(
          memento.MakeAgentMapKey2Obj(&tag, HugeEntries));
      for (int i = 0; i < HugeEntries; ++i) WriteNumber(agent->MakeWriteObj(textAt(i), id, cls_Uid()), i);
    });
  });
  ReopenIfPossible();
  Read([&](cls_ReadVisitor const& visitor) {
    cls_ReadVisitor const listField = ObjectIn(visitor, FieldOf(ListObjKind.m_Name));
    cls_ReadVisitor const intField = ObjectIn(visitor, FieldOf(MapIntObjKind.m_Name));
    cls_ReadVisitor const textField = ObjectIn(visitor, FieldOf(MapStringObjKind.m_Name));
    int intTag = 0;
    cow_String textTag;
    AgentHolder<cls_AgentListObj> const list(listField.Memento()->MakeAgentListObj());
    AgentHolder<cls_AgentMapKey2Obj<int>> const ints(intField.Memento()->MakeAgentMapKey2Obj(&intTag));
    AgentHolder<cls_AgentMapKey2Obj<cow_String>> const texts(
        textField.Memento()->MakeAgentMapKey2Obj(&textTag));
    ASSERT_EQ(list->Count(), HugeEntries);
    ASSERT_EQ(ints->Count(), HugeEntries);
    ASSERT_EQ(texts->Count(), HugeEntries);
    for (int i = 0; i < HugeEntries; ++i) {
      ASSERT_EQ(NumberOf(list->MakeReadObj(i)), i);
      ASSERT_EQ(NumberOf(ints->MakeReadObj(KeyAt(i))), i);
      ASSERT_EQ(NumberOf(texts->MakeReadObj(textAt(i))), i);
    }
    int key = 0;
    int count = 0;
    int before = std::numeric_limits<int>::min();
    for (bool isThere = ints->FirstKey(key); isThere; isThere = ints->NextKey(key), ++count) {
      ASSERT_LT(count, HugeEntries);
      ASSERT_TRUE(count == 0 || key > before);
      before = key;
    }
    EXPECT_EQ(count, HugeEntries);
  });
}

TEST_P(ContractHuge, TextsOf64MebibytesComeBackFromMapsAndAgents) {
  COVERS(cls_MementoWrite, 40, 51);
  COVERS(cls_MementoRead, 44, 55);
  COVERS(cls_AgentListPrim, 5, 6);
  constexpr std::string_view Pattern("\xC3\xA4 \n\0\xE2\x82\xAC\xF0\x9F\x94\xA7 \r\n", 15);
  std::string text;
  constexpr std::size_t Size = 64 << 20;
  text.reserve(Size + Pattern.size());
  while (text.size() < Size) text += Pattern;
  text.resize(Size);
  cow_String const huge(text);
  Write([&](cls_WriteVisitor const& visitor) {
    WriteCollectionOf<cow_String>(visitor, MapStringKind, [&](cls_MementoWrite& memento) {
      cow_String const tag;
      auto const builder = Receive(memento.MakeWriteMapString2Prim(&tag));
      builder->Insert(""_cow, "short"_cow);
      builder->Insert(huge, huge);
    });
    WriteCollectionOf<cow_String>(visitor, ListKind, [&](cls_MementoWrite& memento) {
      cow_String const tag;
      AgentHolder<cls_AgentListPrim<cow_String>> const agent(memento.MakeAgentListPrim(&tag, 3));
      std::array<cow_String, 3> const elements{"before"_cow, huge, "behind"_cow};
      agent->WriteRun(0, 3, elements.data());
    });
  });
  ReopenIfPossible();
  Read([&](cls_ReadVisitor const& visitor) {
    cow_String tag;
    cls_ReadVisitor const map = ObjectIn(visitor, FieldFor<cow_String>(MapStringKind.m_Name));
    auto const cursor = Receive(map.Memento()->MakeReadMapString2Prim(&tag));
    ASSERT_EQ(cursor->Count(), 2);
    EXPECT_EQ(cursor->Next(), "short"_cow);
    EXPECT_TRUE(cursor->Next() == std::string_view(text));
    cow_String key;
    cursor->Key(key);
    EXPECT_TRUE(key == std::string_view(text));
    cls_ReadVisitor const list = ObjectIn(visitor, FieldFor<cow_String>("List"));
    AgentHolder<cls_AgentListPrim<cow_String>> const agent(list.Memento()->MakeAgentListPrim(&tag));
    std::array<cow_String, 3> elements;
    ASSERT_EQ(agent->ReadRun(0, 3, elements.data()), 3);
    EXPECT_EQ(elements[0], "before"_cow);
    EXPECT_TRUE(elements[1] == std::string_view(text));
    EXPECT_EQ(elements[2], "behind"_cow);
  });
}

} // namespace

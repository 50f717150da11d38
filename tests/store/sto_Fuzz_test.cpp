#include <algorithm>
#include <random>
#include <utility>

#include "store/format/sto_BlockKey.h"
#include "store/format/sto_Checksum.h"
#include "store/sto_Proxy.h"
#include "tests/support/AllocationProbe.h"
#include "tests/support/Seeds.h"
#include "tests/support/store/StoreGarbage.h"
#include "tests/support/store/StoreNewFault.h"
#include "wrappers/cls_xp1DArrayList.h"
#include "wrappers/cls_xp2DArray.h"

namespace {

// Records and blocks with random damage under a valid checksum, as from a broken or malicious program. The
// result must be an object or sto_Exception, quickly and with little memory.

class StoreFuzz : public StoreGarbageTest {
 protected:
  /// What is read from the store, each item in its own load, so that damage to one does not hide the others.
  using Steps = std::vector<std::function<void(sto_Store& store)>>;

  void SetUp() override {
    sto_Store store = Create();
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      WriteValues(visitor);
      WriteMaps(visitor);
      WriteObjects(visitor);
    });
    store.Save("levels", MakeTop());
    store.Save("picture", Picture(40'000));
    Bulk bulk;
    bulk.Fill(5000);
    store.Save("bulk", bulk);
    m_File = std::make_unique<SqlFile>(Path());
    m_File->Run("PRAGMA synchronous = OFF");
    m_File->Unpack();
  }

  static Top MakeTop() {
    Top top;
    top.m_MiddleValue = "middle"_cow;
    return top;
  }
  static void WriteValues(cls_WriteVisitor const& visitor) {
    visitor.Write(Field("m_Text"), "some text"_cow);
    visitor.Memento()->WriteBytes(Field("m_Bytes"), "bytes", 5);
    visitor.Memento()->WriteReference(Field("m_Reference"), cls_Uid());
    cls_xp1DArrayListInt numbers;
    for (int i = 0; i < 5000; ++i) numbers.Append(i);
    numbers.DBWrite(cls_WriteVisitor(visitor, Field("m_Ints"), nullptr, &numbers));
    cls_xp2DArrayDouble const table(40, 70);
    table.DBWrite(cls_WriteVisitor(visitor, Field("m_Table"), nullptr, &table));
    auto const memento = WriteIn(visitor, "m_List", ListClass);
    auto const texts = Own(memento->MakeWriteListPrim(static_cast<cow_String const*>(nullptr), 1));
    for (int i = 0; i < 300; ++i) texts->Append(cow_String(std::to_string(i)));
  }
  static void WriteMaps(cls_WriteVisitor const& visitor) {
    {
      auto const memento = WriteIn(visitor, "m_Strings", MapClass);
      auto const map = Own(memento->MakeWriteMapString2Prim(static_cast<cow_String const*>(nullptr)));
      for (int i = 0; i < 20; ++i) map->Insert(cow_String(std::to_string(i)), "value"_cow);
    }
    {
      auto const memento = WriteIn(visitor, "m_Any", MapClass);
      auto const map = Own(memento->MakeWriteMapInt2Prim(static_cast<double const*>(nullptr)));
      for (int i = 0; i < 20; ++i) map->Insert(i, 0.5);
    }
    auto const table = Own(visitor.Memento()->MakeFieldWriteIntTableInt(Field("m_Pairs"), cls_Uid()));
    for (int i = 0; i < 20; ++i) table->Insert(i, -i);
  }
  static void WriteObjects(cls_WriteVisitor const& visitor) {
    Node node(1);
    node.m_Left = std::make_shared<Node>(2);
    node.m_Right = std::make_shared<Node>(3);
    node.m_Right->m_Left = node.m_Left;
    node.DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, &node));
    {
      auto const list = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
      for (int i = 0; i < 2100; ++i) AppendNode(*list, node);
    }
    {
      auto const map = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      for (int i = 0; i < 5; ++i) InsertNode(*map, i, node);
    }
    InsertNode(*Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid())), "n"_cow,
               node);
  }

  template <class Cursor> static void Drain(std::unique_ptr<Cursor> const& cursor) {
    while (cursor->More()) static_cast<void>(cursor->Next());
  }
  template <class Map, class K> static void DrainObjects(std::unique_ptr<Map> const& map, K key) {
    while (map->More()) {
      map->Next();
      Free(sto_ConstructShared<Node>(cls_ReadVisitor(map->Fetch(key))));
    }
  }
  /// Frees what was loaded. Damage can make objects hold each other in a circle.
  static void Free(std::shared_ptr<Node> first) {
    std::vector<std::shared_ptr<Node>> nodes{std::move(first)};
    while (!nodes.empty()) {
      std::shared_ptr<Node> const node = std::move(nodes.back());
      nodes.pop_back();
      if (node == nullptr) continue;
      for (std::shared_ptr<Node>* const held : {&node->m_Left, &node->m_Right})
        nodes.push_back(std::exchange(*held, nullptr));
    }
  }
  /// A step that reads the root "root".
  static Steps::value_type Fields(Scripted::ReadFields const& read) {
    return [read](sto_Store& store) { static_cast<void>(LoadFields(store, read)); };
  }
  static Steps ValueSteps() {
    return {
        Fields([](cls_ReadVisitor const& visitor) {
          char bytes[8];
          static_cast<void>(visitor.Read(Field("m_Text"), ""_cow));
          static_cast<void>(visitor.Memento()->ReadBytes(Field("m_Bytes"), bytes, sizeof bytes));
          static_cast<void>(visitor.Memento()->ReadReference(Field("m_Reference")));
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          cls_xp1DArrayListInt const list(cls_ReadVisitor(visitor, Field("m_Ints")), nullptr);
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          cls_xp2DArrayDouble const table(cls_ReadVisitor(visitor, Field("m_Table")), nullptr);
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          Drain(Own(ReadIn(visitor, "m_List")->MakeReadListPrim(static_cast<cow_String*>(nullptr))));
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          Drain(Own(ReadIn(visitor, "m_Strings")->MakeReadMapString2Prim(static_cast<cow_String*>(nullptr))));
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          Drain(Own(ReadIn(visitor, "m_Any")->MakeReadMapInt2Prim(static_cast<double*>(nullptr))));
        }),
        Fields([](cls_ReadVisitor const& visitor) {
          Drain(Own(ReadIn(visitor, "m_Pairs")->MakeReadIntTableInt()));
        })};
  }
  static Steps ObjectSteps() {
    return {Fields([](cls_ReadVisitor const& visitor) {
              Free(sto_ReadShared<Node>(visitor, Field("m_Object")));
            }),
            Fields([](cls_ReadVisitor const& visitor) {
              auto const list = Own(ReadIn(visitor, "m_Objects")->MakeReadListObj());
              while (list->More()) Free(sto_ConstructShared<Node>(cls_ReadVisitor(list->Next())));
            }),
            Fields([](cls_ReadVisitor const& visitor) {
              auto const agent = Own(ReadIn(visitor, "m_Objects")->MakeAgentListObj());
              for (int i = 0, count = agent->Count(); i < count; i += 100)
                Free(sto_ConstructShared<Node>(cls_ReadVisitor(agent->MakeReadObj(i))));
            }),
            Fields([](cls_ReadVisitor const& visitor) {
              DrainObjects(Own(ReadIn(visitor, "m_ByInt")->MakeReadMapInt2Obj()), 0);
            }),
            Fields([](cls_ReadVisitor const& visitor) {
              DrainObjects(Own(ReadIn(visitor, "m_ByString")->MakeReadMapString2Obj()), cow_String());
            })};
  }
  static Steps RootSteps() {
    return {[](sto_Store& store) { static_cast<void>(store.Load<Top>("levels")); },
            [](sto_Store& store) {
              auto const picture = store.Load<Picture>("picture");
              char bytes[1000];
              for (long long at = 0; at < 50'000; at += 1000)
                picture->m_Reader->Agent().Read(at, 1000, bytes);
            },
            [](sto_Store& store) {
              auto const bulk = store.Load<Bulk>("bulk");
              for (int i = 0, count = bulk->m_Array.Size(); i < std::min(count, 6000); i += 50)
                static_cast<void>(bulk->m_Array.ConstGet(i));
            },
            [](sto_Store& store) { static_cast<void>(store.CountGarbage()); },
            [](sto_Store& store) {
              cow_CountedHld<cls_AgentProxy> const proxy = sto_MakeProxy(store, "root");
              SaveFields(
                  store,
                  [&](cls_WriteVisitor const& visitor) {
                    visitor.Memento()->CopyBranch(proxy.Ptr(), Field("m_Object"));
                  },
                  "copy");
            }};
  }
  static Steps AllSteps() {
    Steps steps = ValueSteps();
    for (Steps const& more : {ObjectSteps(), RootSteps()})
      steps.insert(steps.end(), more.begin(), more.end());
    return steps;
  }

  /// A record or a block.
  struct Value {
    bool m_IsBlock;
    std::int64_t m_Key;
    StoreBytes m_Bytes;
  };
  std::vector<Value> Values() {
    std::vector<Value> values;
    for (bool const isBlock : {false, true}) {
      std::string const table = isBlock ? "stored_block" : "object";
      std::string const key = isBlock ? "key" : "id";
      for (std::string const& text : m_File->Texts("SELECT CAST(" + key + " AS TEXT) FROM " + table))
        values.push_back({isBlock, std::stoll(text),
                          m_File->Blob("SELECT " + std::string(isBlock ? "data" : "record") + " FROM " +
                                       table + " WHERE " + key + " = " + text)});
    }
    return values;
  }
  void Put(Value const& value, StoreBytes const& bytes) {
    std::string const key = std::to_string(value.m_Key);
    m_File->Run(value.m_IsBlock ? "REPLACE INTO stored_block VALUES(" + key + ", ?)"
                                : "UPDATE object SET record = ? WHERE id = " + key,
                bytes);
  }
  static StoreBytes Damage(Value const& value, std::mt19937& random) {
    StoreBytes bytes(value.m_Bytes.begin(),
                     value.m_Bytes.end() - static_cast<std::ptrdiff_t>(sto_Format::ChecksumBytes));
    auto const any = [&](std::size_t count) { return static_cast<std::size_t>(random() % count); };
    // Most of the deciding bytes are at the start.
    auto const place = [&] {
      return bytes.begin() + static_cast<std::ptrdiff_t>(any(
                                 random() % 2 == 0 ? std::min<std::size_t>(bytes.size(), 40) : bytes.size()));
    };
    static constexpr std::uint8_t Telling[] = {0x00, 0x01, 0x7F, 0x80, 0xFF, 0x0F, 0x0E};
    for (std::size_t left = 1 + any(3); left > 0 && !bytes.empty(); --left) {
      switch (random() % 5) {
      case 0:
        *place() = std::byte{Telling[any(std::size(Telling))]};
        break;
      case 1:
        *place() ^= std::byte{1} << static_cast<int>(any(8));
        break;
      case 2:
        bytes.insert(place(), 1 + any(9), std::byte{Telling[any(std::size(Telling))]});
        break;
      case 3:
        bytes.erase(place());
        break;
      default:
        if (random() % 4 == 0)
          bytes.erase(place(), bytes.end());
        else
          *place() = static_cast<std::byte>(random());
        break;
      }
    }
    sto_Seal(static_cast<std::uint64_t>(value.m_Key), bytes);
    return bytes;
  }
  /// Runs a step, which must return or raise sto_Exception. Returns whether it raised.
  static bool Raises(sto_Store& store, Steps::value_type const& step) {
    AllocationProbe const probe;
    long long const before = StoreNewFault::AskedBytes();
    bool raises = false;
    try {
      step(store);
    } catch (sto_Exception const&) {
      raises = true;
    } catch (std::exception const& exception) {
      ADD_FAILURE() << "raised " << exception.what();
    }
    EXPECT_LT(StoreNewFault::AskedBytes() - before, 40'000'000);
    EXPECT_LT(probe.Bytes(), 40'000'000U);
    return raises;
  }

  std::unique_ptr<SqlFile> m_File;
};

TEST_F(StoreFuzz, DamageUnderAFittingChecksumIsAnErrorOrAnObject) {
  Steps const steps = AllSteps();
  sto_Store store = Open();
  for (std::size_t i = 0; i < steps.size(); ++i) {
    SCOPED_TRACE("step " + std::to_string(i));
    ASSERT_FALSE(Raises(store, steps[i])); // no damage yet
  }
  m_File->Unpack();
  std::vector<Value> const values = Values();
  int raised = 0;
  int taken = 0;
  for (unsigned int seed = 0; seed < 400; seed += static_cast<unsigned int>(SweepStride)) {
    std::mt19937 random(seed);
    Value const& value = values[random() % values.size()];
    SCOPED_TRACE("seed " + std::to_string(seed) + ", key " + std::to_string(value.m_Key));
    Put(value, Damage(value, random));
    for (std::size_t i = 0; i < steps.size(); ++i) {
      SCOPED_TRACE("step " + std::to_string(i));
      Raises(store, steps[i]) ? ++raised : ++taken;
    }
    if (HasFailure()) return;
    Put(value, value.m_Bytes);
    if (seed % 20 == 0) { // delete the earlier copies
      EXPECT_FALSE(Raises(store, [](sto_Store& s) { s.CollectGarbage(); }));
      if (HasFailure()) return;
    }
  }
  EXPECT_GT(raised, 200 / SweepStride);
  EXPECT_GT(taken, 200 / SweepStride);
  for (Steps::value_type const& step : steps) EXPECT_FALSE(Raises(store, step)); // restored
}

TEST_F(StoreFuzz, DamagedShapeUnderAFittingChecksumIsAnErrorOrAnObject) {
  Steps const steps = AllSteps();
  std::size_t const reading =
      steps.size() - 1; // the last step writes, and would add shapes beside the damaged one
  std::vector<Value> shapes;
  for (std::string const& id : m_File->Texts("SELECT CAST(id AS TEXT) FROM shape"))
    shapes.push_back({false, std::stoll(id), m_File->Blob("SELECT data FROM shape WHERE id = " + id)});
  ASSERT_GT(shapes.size(), 10U);
  sto_Store store = Open(sto_Mode::ReadOnly);
  int raised = 0;
  int taken = 0;
  for (unsigned int seed = 0; seed < 300; seed += static_cast<unsigned int>(SweepStride)) {
    std::mt19937 random(seed);
    Value const& shape = shapes[random() % shapes.size()];
    SCOPED_TRACE("seed " + std::to_string(seed) + ", shape " + std::to_string(shape.m_Key));
    Value sealed = shape; // Damage takes a checksum off, and puts one on again
    sealed.m_Bytes.resize(sealed.m_Bytes.size() + sto_Format::ChecksumBytes);
    StoreBytes damaged = Damage(sealed, random);
    damaged.resize(damaged.size() - sto_Format::ChecksumBytes);
    m_File->PutShape(shape.m_Key, damaged);
    for (std::size_t i = 0; i < reading; ++i) {
      SCOPED_TRACE("step " + std::to_string(i));
      Raises(store, steps[i]) ? ++raised : ++taken;
    }
    if (HasFailure()) return;
    m_File->PutShape(shape.m_Key, shape.m_Bytes);
  }
  EXPECT_GT(raised, 200 / SweepStride);
  EXPECT_GT(taken, 200 / SweepStride);
  for (std::size_t i = 0; i < reading; ++i) EXPECT_FALSE(Raises(store, steps[i])); // restored
}

} // namespace

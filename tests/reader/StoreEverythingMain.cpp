#include <cstdio>
#include <exception>
#include <iostream>
#include <string>

#include "tests/reader/RawContent.h"
#include "tests/support/store/StoreEverything.h"
#include "tests/support/store/StoreFaultVfs.h"
#include "tests/support/store/StoreObjectAgents.h"

// Makes the store that the reader's test reads: with everything that a store of this format can hold. But for the
// uuid and the times in the log, it is the same each time.
//
//   store_everything make FILE       makes it, checks it, and prints what the check has counted
//   store_everything upgrade FILE    brings a store of an older format to the present one

namespace {

constexpr int ManyElements = 3000;
constexpr int ElementsOfBlock = 2048;
constexpr int ArrayBlocks = 12;

cls_ClassRegistrar const& Classes() {
  static cls_ClassRegistrar const& registrar = []() -> cls_ClassRegistrar const& {
    static cls_ClassRegistrar classes;
    DeclareRaw(classes);
    EveryType::Declare(classes);
    DeclareLevels(classes, 4, 7, 2);
    DeclareNode(classes);
    cls_ClassMetadata& scripted =
        classes.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, cls_ClassMetadata::RootClassId);
    for (char const* const name : {"m_Bools", "m_Strings", "m_Floats", "m_Doubles", "m_UInts", "m_List"})
      scripted.AddAttribute(Field(name), AnyType, 1, COLLECTION_LIST);
    for (char const* const name : {"m_Map", "m_Pairs"})
      scripted.AddAttribute(Field(name), AnyType, 1, COLLECTION_KIND_70);
    scripted.AddAttribute(Field("m_Ints"), ATTR_INT, 1, COLLECTION_LIST_INT)
        .AddAttribute(Field("m_Objects"), ATTR_OBJECT, 1, COLLECTION_OBJ)
        .AddAttribute(Field("m_ByInt"), ATTR_OBJECT, 1, COLLECTION_MAP_INT_OBJ)
        .AddAttribute(Field("m_ByString"), ATTR_OBJECT, 1, COLLECTION_MAP_STRING_OBJ)
        .AddAttribute(Field("m_Blob"), AnyType, 1, COLLECTION_NONE);
    return classes;
  }();
  return registrar;
}

/// Writes a list whose element `i` is make(i).
template <class T, class Make>
void WriteList(cls_WriteVisitor const& visitor, std::string const& field, int count, int width, Make make) {
  auto const memento = WriteIn(visitor, field, ListClass);
  auto const list = Own(memento->MakeWriteListPrim(static_cast<T const*>(nullptr), width));
  for (int i = 0; i < count; ++i) list->Append(make(i));
}

cow_String TextOf(int number) {
  return number % 3 == 0 ? cow_String() : cow_String(std::string(static_cast<std::size_t>(number % 7), 'a'));
}

void SaveLists(sto_Store& store, std::string const& root, int count) {
  auto const write = [&](cls_WriteVisitor const& visitor) {
    WriteList<bool>(visitor, "m_Bools", count, 1, [](int i) { return i % 3 == 0; });
    WriteList<cow_String>(visitor, "m_Strings", count, 1, &TextOf);
    WriteList<float>(visitor, "m_Floats", count, 2, [](int i) { return static_cast<float>(i) / 8.0F; });
    WriteList<double>(visitor, "m_Doubles", count, 3, [](int i) { return i / 2.0; });
    WriteList<unsigned int>(visitor, "m_UInts", count, 1,
                            [](int i) { return 4'000'000'000U + static_cast<unsigned int>(i); });
    WriteList<int>(visitor, "m_Ints", count, 1, [](int i) { return -i; });
  };
  SaveFields(store, write, root);
}

/// Saves an object that holds a map, which `write` fills.
template <class Write> void SaveMap(sto_Store& store, std::string const& root, Write write) {
  SaveFields(
      store, [&](cls_WriteVisitor const& visitor) { write(*WriteIn(visitor, "m_Map", MapClass)); }, root);
}
/// A map from int or string to T with the given number of entries.
template <class T, class Make>
void SaveIntMap(sto_Store& store, std::string const& root, int count, Make make) {
  SaveMap(store, root, [&](cls_MementoWrite& memento) {
    auto const map = Own(memento.MakeWriteMapInt2Prim(static_cast<T const*>(nullptr)));
    for (int i = 0; i < count; ++i) map->Insert(3 * i - 4, make(i));
  });
}
template <class T, class Make>
void SaveStringMap(sto_Store& store, std::string const& root, int count, std::size_t keyBytes, Make make) {
  SaveMap(store, root, [&](cls_MementoWrite& memento) {
    auto const map = Own(memento.MakeWriteMapString2Prim(static_cast<T const*>(nullptr)));
    for (int i = 0; i < count; ++i) {
      std::string const number = std::to_string(10'000 + i);
      map->Insert(cow_String(number + std::string(keyBytes, 'k')), make(i));
    }
  });
}

void SaveMaps(sto_Store& store) {
  auto const half = [](int i) { return i / 2.0; };
  SaveIntMap<cow_String>(store, "map int string", 4, &TextOf);
  SaveIntMap<float>(store, "map int float", 4, [](int i) { return static_cast<float>(i); });
  SaveIntMap<double>(store, "map int double", 4, half);
  SaveIntMap<unsigned int>(store, "map int uint", 4, [](int i) { return static_cast<unsigned int>(i); });
  SaveIntMap<int>(store, "map int int", 4, [](int i) { return -i; });
  SaveStringMap<unsigned int>(store, "map string uint", 2, 0, [](int i) { return static_cast<unsigned>(i); });
  SaveStringMap<cow_String>(store, "map string string", 2, 0, &TextOf);
  SaveStringMap<int>(store, "map string int", 2, 0, [](int i) { return -i; });
  SaveStringMap<float>(store, "map string float", 2, 0, [](int i) { return static_cast<float>(i); });
  SaveStringMap<double>(store, "map string double", 2, 0, half);
  SaveIntMap<double>(store, "chunks", ManyElements, half);
  SaveStringMap<int>(store, "pages", 130, 1500,
                     [](int i) { return i; }); // long keys, so that they fill pages
  SaveMap(store, "unordered chunks", [&](cls_MementoWrite& memento) {
    auto const map = Own(memento.MakeWriteMapInt2Prim(static_cast<double const*>(nullptr)));
    for (int i = ManyElements; i > 0; --i) map->Insert(i % 1000, half(i));
  });
  for (int const count : {5, ManyElements * 2}) {
    auto const write = [&](cls_WriteVisitor const& visitor) {
      auto const pairs = Own(visitor.Memento()->MakeFieldWriteIntTableInt(Field("m_Pairs"), cls_Uid()));
      for (int i = 0; i < count; ++i) pairs->Insert(i - 2, 100 * i);
    };
    SaveFields(store, write, "pairs " + std::to_string(count));
  }
}

/// Collections of objects: one list with gaps, one in blocks, and maps.
void SaveObjects(sto_Store& store) {
  Node const first(1);
  Node const second(2);
  auto const write = [&](cls_WriteVisitor const& visitor) {
    {
      ObjectList list(WriteIn(visitor, "m_Objects", ListClass)->MakeAgentListObj(8));
      list->SetCount(6);
      Put(list, 1, 10);
      Put(list, 4, 40);
    }
    {
      auto const byInt = Own(visitor.Memento()->MakeFieldWriteMapInt2Obj(Field("m_ByInt"), cls_Uid()));
      for (int i = -1; i < 2; ++i) InsertNode(*byInt, i, first);
    }
    auto const byString = Own(visitor.Memento()->MakeFieldWriteMapString2Obj(Field("m_ByString"), cls_Uid()));
    InsertNode(*byString, "n"_cow, second);
  };
  SaveFields(store, write, "objects");
  auto const writeMany = [&](cls_WriteVisitor const& visitor) {
    auto const many = Own(visitor.Memento()->MakeFieldWriteListObj(Field("m_Objects"), cls_Uid()));
    for (int i = 0; i < ManyElements; ++i) AppendNode(*many, i % 2 == 0 ? first : second);
  };
  SaveFields(store, writeMany, "many objects");
}

void SaveGraph(sto_Store& store) {
  Top top;
  top.m_MiddleValue = "middle"_cow;
  store.Save("levels", top);
  EveryType types;
  types.m_Reference = top.m_TopUid;
  store.Save("types", types);
  EveryType more;
  more.m_Text = cow_String(std::string(3000, 't')); // a record too long for a pack
  more.m_Reference = types.m_Uid;
  store.Save("long", more);
  StoreEverything::SaveNodes(store);
}

/// A bulk array of compressed blocks, of which one in each row changes its size, and so moves.
void SaveMovedBlocks(sto_Store& store) {
  Bulk bulk;
  for (int i = 0; i < ArrayBlocks * ElementsOfBlock; ++i) bulk.m_Array.Append(i % 100);
  store.Save("bulk", bulk);
  sto_Transaction transaction(store);
  transaction.SetNote("moves blocks");
  for (int i = 0; i < ArrayBlocks; i += 4) bulk.m_Array.Get(i * ElementsOfBlock + 9) = -i - 1;
  transaction.Commit();
  bulk.Close();
}

/// Makes the last changes without compression: a block that is too long to share a row, and objects that go.
void SaveLastChanges(sto_Store& store) {
  auto const write = [](cls_WriteVisitor const& visitor) {
    WriteList<cow_String>(visitor, "m_Strings", 2050, 1,
                          [](int) { return cow_String(std::string(33, 's')); });
  };
  SaveFields(store, write, "long block");
  store.Save("plain", Picture(100));
  store.Save("gone", Node(5));
  store.RemoveRoot("gone");
  store.RemoveRoot("map int uint");
  store.CollectGarbage();
}

/// Prints what the store's own check finds and counts.
void PrintCheck(sto_Store& store) {
  sto_CheckReport const report = store.Check(sto_CheckDepth::Full);
  for (sto_CheckFinding const& finding : report.m_Findings) std::cout << finding.m_Text << '\n';
  sto_CheckCounts const& counts = report.m_Counts;
  std::cout << "sound " << report.IsSound() << "\nsum " << (report.m_IsSumRight == true) << "\nobjects "
            << counts.m_Objects << "\nblocks " << counts.m_Blocks << "\nclasses " << counts.m_Classes
            << "\nshapes " << counts.m_Shapes << "\nroots " << counts.m_Roots << "\nsaves " << counts.m_Saves
            << '\n';
}

void Make(std::string const& path) {
  StoreFaultVfs const noWaiting; // nothing waits for the disk
  sto_Options options;
  options.m_PageBytes = 1024;
  options.m_Program = "store_everything 4";
  options.m_Compress = true;
  {
    sto_Store store = sto_Store::Open(path, sto_Mode::Create, Classes(), options);
    {
      sto_Transaction transaction(store);
      transaction.SetNote("lists and maps");
      SaveLists(store, "short lists", 6);
      SaveLists(store, "long lists", ManyElements);
      SaveMaps(store);
      transaction.Commit();
    }
    SaveObjects(store);
    store.Save("picture", Picture(40'000));
    SaveGraph(store);
    SaveMovedBlocks(store);
    store.RenameRoot("picture", "image");
  }
  SaveRaw(path, Classes());
  options.m_Compress = false;
  sto_Store store = sto_Store::Open(path, sto_Mode::ReadWrite, Classes(), options);
  SaveLastChanges(store);
  PrintCheck(store);
}

void Upgrade(std::string const& path) {
  StoreFaultVfs const noWaiting;
  cls_ClassRegistrar const noClasses;
  sto_Options options;
  options.m_Upgrade = true;
  sto_Store const store = sto_Store::Open(path, sto_Mode::ReadWrite, noClasses, options);
}

} // namespace

int main(int argc, char** argv) {
  try {
    std::string const command = argc == 3 ? argv[1] : "";
    if (command == "make")
      Make(argv[2]);
    else if (command == "upgrade")
      Upgrade(argv[2]);
    else
      throw std::invalid_argument("arguments: make FILE, or upgrade FILE");
    return 0;
  } catch (std::exception const& error) {
    std::cerr << "store_everything: " << error.what() << '\n';
    return 1;
  }
}

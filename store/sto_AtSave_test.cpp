#include <cstdint>
#include <memory>
#include <string>

#include "tests/support/store/StoreTest.h"

namespace {

/// Stores that are opened at a save.
class StoreAtSave : public StoreTest {
 protected:
  [[nodiscard]] static sto_Options At(std::int64_t save) {
    sto_Options options;
    options.m_AtSave = save;
    return options;
  }
  [[nodiscard]] sto_Store OpenAt(std::int64_t save, sto_Mode mode = sto_Mode::ReadOnly) const {
    return sto_Store::Open(Path(), mode, TestClasses(), At(save));
  }
  [[nodiscard]] static std::int64_t Newest(sto_Store& store) { return store.Saves().back().m_Number; }
};

TEST_F(StoreAtSave, ReadsExactlyWhileTheSaveIsTheNewest) {
  sto_Store writer = Create();
  writer.Save("node", Node(1));
  std::int64_t const save = Newest(writer);
  sto_Store reader = OpenAt(save);
  EXPECT_EQ(reader.Load<Node>("node")->m_Value, 1);
  writer.Save("node", Node(2)); // between two operations of the reader
  for (int i = 0; i < 2; ++i) {
    std::string const message =
        MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(reader.Load<Node>("node")); });
    EXPECT_TRUE(Contains(message, Path()) && Contains(message, "save " + std::to_string(save)) &&
                Contains(message, "save " + std::to_string(Newest(writer))))
        << message;
  }
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(reader.Roots()); });
  MessageOf(sto_ErrorKind::NotFound, [&] { sto_ReadTransaction const transaction(reader); });
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(reader.Check(sto_CheckDepth::Full)); });
  sto_Store later = OpenAt(Newest(writer));
  EXPECT_EQ(later.Load<Node>("node")->m_Value, 2);
}

TEST_F(StoreAtSave, SeesTheSaveThroughoutATransactionBesideAWriter) {
  sto_Options log;
  log.m_ReadersBesideWriter = true;
  sto_Store writer = sto_Store::Open(Path(), sto_Mode::Create, TestClasses(), log);
  writer.Save("node", Node(1));
  sto_Store reader = OpenAt(Newest(writer));
  {
    sto_ReadTransaction const transaction(reader);
    writer.Save("node", Node(2));
    EXPECT_EQ(reader.Load<Node>("node")->m_Value, 1);
  }
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(reader.Load<Node>("node")); });
}

TEST_F(StoreAtSave, SaveThatDoesNotExistYetIsFoundOnceItDoes) {
  sto_Store writer = Create();
  writer.Save("node", Node(1));
  sto_Store reader = OpenAt(Newest(writer) + 1);
  MessageOf(sto_ErrorKind::NotFound, [&] { static_cast<void>(reader.Load<Node>("node")); });
  writer.Save("node", Node(2));
  EXPECT_EQ(reader.Load<Node>("node")->m_Value, 2);
}

TEST_F(StoreAtSave, OnlyReads) {
  {
    sto_Store store = Create();
    store.Save("node", Node(1));
  }
  std::int64_t const save = [&] {
    sto_Store store = Open(sto_Mode::ReadOnly);
    return Newest(store);
  }();
  sto_Store store = OpenAt(save, sto_Mode::ReadWrite);
  EXPECT_TRUE(store.IsReadOnly());
  MessageOf(sto_ErrorKind::ReadOnly, [&] { store.Save("node", Node(2)); });
  MessageOf(sto_ErrorKind::ReadOnly, [&] { sto_Transaction const transaction(store); });
  EXPECT_EQ(store.Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreAtSave, ImpossibleSavesAreRefused) {
  MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(OpenAt(1, sto_Mode::Create)); });
  Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(OpenAt(-1)); });
  EXPECT_TRUE(Contains(message, "-1")) << message;
}

} // namespace

#include "tests/support/store/StoreArrays.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

// Compression that a program says of single attributes.

/// Has an array and a list, each in an attribute of its own.
struct Sampled {
  static constexpr unsigned int TypeId() noexcept { return 0x740061; }
  static cls_FieldHandle ArrayField() { return {0, "m_Array"_cow}; }
  static cls_FieldHandle ListField() { return {1, "m_List"_cow}; }

  explicit Sampled(int count) {
    for (int i = 0; i < count; ++i) {
      m_Array.Append(1.5);
      m_List.Append(1.5);
    }
  }
  explicit Sampled(cls_ReadVisitor const& visitor)
      : m_Array(cls_ReadVisitor(visitor, ArrayField())),
        m_List(cls_ReadVisitor(visitor, ListField()), nullptr), m_Uid(visitor.GetUid()) {}
  Sampled(Sampled const&) = delete;
  Sampled& operator=(Sampled const&) = delete;
  ~Sampled() {
    m_Array.Release();
    m_Array.DropBlocks();
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_Array.DBWrite(cls_WriteVisitor(visitor, ArrayField(), nullptr, &m_Array));
    m_List.DBWrite(cls_WriteVisitor(visitor, ListField(), nullptr, &m_List));
  }

  cls_ArrayPrim<double> m_Array;
  cls_xp1DArrayList<double> m_List;
  cls_Uid m_Uid;
};

/// Has a list only.
struct Noted {
  static constexpr unsigned int TypeId() noexcept { return 0x740062; }

  explicit Noted(int count) {
    for (int i = 0; i < count; ++i) m_List.Append(1.5);
  }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    m_List.DBWrite(cls_WriteVisitor(visitor, Sampled::ListField(), nullptr, &m_List));
  }

  cls_xp1DArrayList<double> m_List;
  cls_Uid m_Uid;
};

class StoreCompressedArrays : public StoreFileTest {
 protected:
  StoreCompressedArrays() {
    m_Classes.CreateClassMD("Sampled"_cow, Sampled::TypeId(), 1, nullptr, 1)
        .AddAttribute(Sampled::ArrayField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(Sampled::ListField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(cls_FieldHandle(2, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
    m_Classes.CreateClassMD("Noted"_cow, Noted::TypeId(), 1, nullptr, 1)
        .AddAttribute(Sampled::ListField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  }
  sto_Store Open(sto_Mode mode, bool compresses) const {
    sto_Options options;
    options.m_Compress = compresses;
    return sto_Store::Open(Path(), mode, m_Classes, options);
  }
  /// How many blocks are compressed, and how many are not.
  [[nodiscard]] std::pair<std::int64_t, std::int64_t> Blocks() const {
    SqlFile file(Path());
    std::string const count = "SELECT count(*) FROM stored_block WHERE substr(data, -9, 1) ";
    return {file.Integer(count + "<> x'00'"), file.Integer(count + "= x'00'")};
  }

  cls_ClassRegistrar m_Classes;
};

using Counts = std::pair<std::int64_t, std::int64_t>;

TEST_F(StoreCompressedArrays, OptionCountsIfNothingIsSaid) {
  m_Classes.NotesOf(Sampled::TypeId(), 1).Unit("m_Array", "mm"); // something else
  for (bool const compresses : {true, false}) {
    Open(compresses ? sto_Mode::Create : sto_Mode::ReadWrite, compresses)
        .Save(compresses ? "one" : "two", Sampled(5000));
    EXPECT_EQ(Blocks(), compresses ? Counts(6, 0) : Counts(6, 6));
  }
}

TEST_F(StoreCompressedArrays, WhatIsSaidCountsWhateverTheOption) {
  m_Classes.NotesOf(Sampled::TypeId(), 1).Compress("m_Array").Compress("m_List", false);
  Open(sto_Mode::Create, false).Save("one", Sampled(5000));
  EXPECT_EQ(Blocks(), Counts(3, 3));
  Open(sto_Mode::ReadWrite, true).Save("two", Sampled(5000));
  EXPECT_EQ(Blocks(), Counts(6, 6));
}

TEST_F(StoreCompressedArrays, ArrayThatIsOpenedAgainGoesOn) {
  m_Classes.NotesOf(Sampled::TypeId(), 1).Compress("m_Array");
  Open(sto_Mode::Create, false).Save("one", Sampled(5000));
  {
    sto_Store store = Open(sto_Mode::ReadWrite, false);
    std::unique_ptr<Sampled> const sampled = store.Load<Sampled>("one");
    for (int i = 0; i < 5000; ++i) sampled->m_Array.Append(2.5);
    sampled->m_Array.Flush();
    EXPECT_EQ(sampled->m_Array.ConstGet(4999), 1.5);
    EXPECT_EQ(sampled->m_Array.ConstGet(9999), 2.5);
  }
  EXPECT_EQ(Blocks(), Counts(5, 3));
  sto_Store store = Open(sto_Mode::ReadOnly, false);
  EXPECT_TRUE(store.Check(sto_CheckDepth::Full).IsSound());
  EXPECT_EQ(store.Load<Sampled>("one")->m_Array.ConstGet(9999), 2.5);
}

TEST_F(StoreCompressedArrays, NothingIsSaidOfAnIdThatIsGivenOutAgain) {
  m_Classes.NotesOf(Sampled::TypeId(), 1).Compress("m_Array");
  sto_Store store = Open(sto_Mode::Create, false);
  {
    sto_Transaction const transaction(store);
    store.Save("undone", Sampled(5000)); // its array has the second id
  }
  store.Save("list", Noted(5000));
  EXPECT_EQ(Blocks(), Counts(0, 3));
}

TEST_F(StoreCompressedArrays, AttributeThatCannotBeCompressedIsRefusedByName) {
  for (char const* const attribute : {"m_Aray", "m_Number"}) {
    cls_ClassRegistrar classes;
    classes.CreateClassMD("Noted"_cow, Noted::TypeId(), 1, nullptr, 1)
        .AddAttribute(Sampled::ListField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
        .AddAttribute(cls_FieldHandle(2, "m_Number"_cow), ATTR_INT, 1, COLLECTION_NONE);
    classes.NotesOf(Noted::TypeId(), 1).Compress(attribute);
    std::string const message = MessageOf(
        sto_ErrorKind::Misuse, [&] { sto_Store::Open(Path(attribute), sto_Mode::Create, classes); });
    EXPECT_TRUE(Contains(message, "Noted version 1")) << message;
    EXPECT_TRUE(Contains(message, attribute)) << message;
  }
}

} // namespace

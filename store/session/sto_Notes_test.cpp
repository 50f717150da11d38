#include <algorithm>
#include <string>
#include <vector>

#include "store/sto_Proxy.h"
#include "tests/support/store/StoreOldFormat.h"
#include "tests/support/store/StoreRows.h"
#include "tests/support/store/StoreTest.h"

namespace {

cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle HeadField() {
  return {1, "m_Head"_cow};
}

struct Bolt {
  static constexpr unsigned int TypeId() noexcept { return 0x730001; }
  Bolt() = default;
  explicit Bolt(cls_ReadVisitor const& visitor)
      : m_Length(visitor.Read(LengthField(), 0.0)), m_Head(visitor.Read(HeadField(), 0)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    visitor.Write(LengthField(), m_Length);
    visitor.Write(HeadField(), m_Head);
  }
  double m_Length = 2.5;
  int m_Head = 1;
  cls_Uid m_Uid;
};

void Declare(cls_ClassRegistrar& registrar, int version = 1) {
  registrar.AddClassMD(new cls_TypeAdapter<Bolt>("Bolt"_cow, version, 1))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(HeadField(), ATTR_INT, 1, COLLECTION_NONE);
}

/// A registrar that declares the class.
class Declared : public cls_ClassRegistrar {
 public:
  Declared() { Declare(*this); }
  cls_ClassNotes& Notes() { return NotesOf(Bolt::TypeId(), 1); }
};

void SayAll(cls_ClassNotes& notes) {
  notes.Note("source", "catalogue")
      .Unit("m_Length", "mm")
      .Default("m_Length", "0.5")
      .Enumerator("m_Head", "round", 0)
      .Enumerator("m_Head", "hexagonal", -3)
      .Note("m_Head", "drawing", "A-7");
}

class StoreNotes : public StoreFileTest {
 protected:
  void SetUp() override {
    SayAll(m_Registrar.Notes());
    sto_Store::Open(Path(), sto_Mode::Create, m_Registrar).Save("bolt", Bolt());
  }
  sto_Store Open(cls_ClassRegistrar const& registrar, sto_Mode mode = sto_Mode::ReadWrite) const {
    return sto_Store::Open(Path(), mode, registrar);
  }
  /// What a program without notes finds.
  [[nodiscard]] sto_ClassDescription Described(std::string_view name = "test.kvs") const {
    Declared const plain;
    sto_Store store = sto_Store::Open(Path(name), sto_Mode::ReadOnly, plain);
    std::vector<sto_ClassDescription> const versions = store.Describe(Bolt::TypeId());
    EXPECT_EQ(versions.size(), 1U);
    return versions.empty() ? sto_ClassDescription() : versions.front();
  }
  void ExpectSum() const {
    SqlFile file(Path());
    EXPECT_EQ(SumInLog(file), SumOverRows(file));
  }
  /// Saving with these notes is a conflict, and changes nothing.
  void ExpectConflict(cls_ClassRegistrar const& registrar, std::initializer_list<char const*> parts) const {
    StoreBytes const before = FileBytes(Path());
    {
      sto_Store store = Open(registrar);
      std::string const message = MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("other", Bolt()); });
      for (char const* const part : parts) EXPECT_TRUE(Contains(message, part)) << part << " in: " << message;
      EXPECT_EQ(store.Load<Bolt>("bolt")->m_Length, 2.5); // reading goes on
    }
    EXPECT_EQ(FileBytes(Path()), before);
  }

  Declared m_Registrar;
};

void ExpectAll(sto_ClassDescription const& bolt) {
  EXPECT_EQ(bolt.m_ClassId, Bolt::TypeId());
  EXPECT_EQ(bolt.m_Version, 1);
  EXPECT_EQ(bolt.m_Name, "Bolt");
  EXPECT_EQ(bolt.m_BaseClassId, 1U);
  EXPECT_EQ(bolt.m_Notes, (std::vector<sto_NoteDescription>{{"source", "catalogue"}}));
  ASSERT_EQ(bolt.m_Attributes.size(), 2U);
  sto_AttributeDescription const& head = bolt.m_Attributes[0];
  EXPECT_EQ(head.m_Name, "m_Head");
  EXPECT_EQ(head.m_FieldId, 1);
  EXPECT_EQ(head.m_Type, ATTR_INT);
  EXPECT_EQ(head.m_Unit, "");
  EXPECT_FALSE(head.m_Default);
  EXPECT_EQ(head.m_Enumerators, (std::vector<sto_EnumeratorDescription>{{"hexagonal", -3}, {"round", 0}}));
  EXPECT_EQ(head.m_Notes, (std::vector<sto_NoteDescription>{{"drawing", "A-7"}}));
  sto_AttributeDescription const& length = bolt.m_Attributes[1];
  EXPECT_EQ(length.m_Unit, "mm");
  EXPECT_EQ(length.m_Default, "0.5");
  EXPECT_TRUE(length.m_Enumerators.empty() && length.m_Notes.empty());
}

TEST_F(StoreNotes, ProgramWithoutThemReadsThemBack) {
  ExpectAll(Described());
  ExpectSum();
}

TEST_F(StoreNotes, ClassThatHasNotWrittenHasNoDescription) {
  EXPECT_TRUE(Open(m_Registrar).Describe(0x730002).empty());
}

TEST_F(StoreNotes, ProgramWithoutThemLeavesThemAlone) {
  Declared const plain;
  Open(plain).Save("other", Bolt());
  ExpectAll(Described());
  ExpectSum();
}

TEST_F(StoreNotes, SayingTheSameAgainWritesNothing) {
  Open(m_Registrar).Save("bolt", *Open(m_Registrar).Load<Bolt>("bolt"));
  StoreBytes const before = FileBytes(Path());
  {
    sto_Store store = Open(m_Registrar);
    sto_Transaction transaction(store);
    store.Save("bolt", *store.Load<Bolt>("bolt"));
    EXPECT_EQ(store.Describe(Bolt::TypeId()).size(), 1U);
  }
  EXPECT_EQ(FileBytes(Path()), before);
}

TEST_F(StoreNotes, NotesAndNamesAreAddedAndTextsReplaced) {
  Declared later;
  later.Notes()
      .Note("source", "catalogue of 2027")
      .Note("m_Length", "measured", "by hand")
      .Enumerator("m_Head", "dome", 0) // another name for a value
      .Enumerator("m_Head", "flat", 4)
      .Default("m_Head", "0")
      .Unit("m_Head", "1");
  Open(later).Save("other", Bolt());
  sto_ClassDescription const bolt = Described();
  EXPECT_EQ(bolt.m_Notes, (std::vector<sto_NoteDescription>{{"source", "catalogue of 2027"}}));
  EXPECT_EQ(
      bolt.m_Attributes[0].m_Enumerators,
      (std::vector<sto_EnumeratorDescription>{{"dome", 0}, {"flat", 4}, {"hexagonal", -3}, {"round", 0}}));
  EXPECT_EQ(bolt.m_Attributes[0].m_Default, "0");
  EXPECT_EQ(bolt.m_Attributes[0].m_Unit, "1");
  EXPECT_EQ(bolt.m_Attributes[1].m_Notes, (std::vector<sto_NoteDescription>{{"measured", "by hand"}}));
  EXPECT_EQ(bolt.m_Attributes[1].m_Unit, "mm");
  ExpectSum();
}

TEST_F(StoreNotes, OtherUnitDefaultOrValueOfAnEnumeratorIsAConflict) {
  Declared unit;
  unit.Notes().Unit("m_Length", "m").Unit("m_Head", "1");
  ExpectConflict(unit, {"test.kvs", "Bolt version 1", "m_Length", "unit m ", "unit mm", "new version"});
  Declared value;
  value.Notes().Default("m_Length", "0.75");
  ExpectConflict(value, {"Bolt version 1", "m_Length", "default 0.75", "default 0.5"});
  Declared enumerator;
  enumerator.Notes().Note("new", "text").Enumerator("m_Head", "round", 1);
  ExpectConflict(enumerator, {"Bolt version 1", "round", "m_Head", "as 1", "as 0", "new version"});
  ExpectAll(Described());
}

TEST_F(StoreNotes, NewVersionHasItsOwn) {
  cls_ClassRegistrar later;
  Declare(later, 2);
  later.NotesOf(Bolt::TypeId(), 2).Unit("m_Length", "m").Enumerator("m_Head", "round", 7);
  sto_Store store = Open(later);
  store.Save("other", Bolt());
  std::vector<sto_ClassDescription> const versions = store.Describe(Bolt::TypeId());
  ASSERT_EQ(versions.size(), 2U);
  ExpectAll(versions[0]);
  EXPECT_EQ(versions[1].m_Version, 2);
  EXPECT_EQ(versions[1].m_Attributes[1].m_Unit, "m");
  EXPECT_EQ(versions[1].m_Attributes[0].m_Enumerators,
            (std::vector<sto_EnumeratorDescription>{{"round", 7}}));
}

TEST_F(StoreNotes, NoteOnAnUndeclaredAttributeIsMisuse) {
  Declared registrar;
  sto_Store store = Open(registrar);
  registrar.Notes().Unit("m_Lenght", "mm"); // Open would have refused it
  for (std::string const& message :
       {MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("other", Bolt()); }),
        MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(Open(registrar)); })})
    EXPECT_TRUE(Contains(message, "Bolt version 1") && Contains(message, "m_Lenght")) << message;
}

TEST_F(StoreNotes, WhatWasRolledBackIsWrittenTheNextTime) {
  Declared later;
  later.Notes().Note("new", "text").Enumerator("m_Head", "flat", 4).Unit("m_Head", "1");
  {
    sto_Store store = Open(later);
    {
      sto_Transaction transaction(store);
      store.Save("other", Bolt());
      EXPECT_EQ(store.Describe(Bolt::TypeId())[0].m_Notes.size(), 2U);
    }
    EXPECT_EQ(store.Describe(Bolt::TypeId())[0].m_Notes.size(), 1U);
    store.Save("other", Bolt());
    EXPECT_EQ(store.Describe(Bolt::TypeId())[0].m_Notes.size(), 2U);
  }
  EXPECT_EQ(Described().m_Attributes[0].m_Enumerators.size(), 3U);
  EXPECT_EQ(Described().m_Attributes[0].m_Unit, "1");
  ExpectSum();
}

TEST_F(StoreNotes, CopiedRootTakesThemAlong) {
  Declared const plain;
  {
    sto_Store from = Open(plain);
    sto_Store to = sto_Store::Open(Path("copy"), sto_Mode::Create, plain);
    sto_CopyRoot(from, "bolt", to, "bolt");
  }
  ExpectAll(Described("copy"));
  Declared other;
  other.Notes().Unit("m_Length", "m");
  sto_Store from = Open(plain);
  sto_Store to = sto_Store::Open(Path("metres"), sto_Mode::Create, other);
  to.Save("first", Bolt());
  std::string const message =
      MessageOf(sto_ErrorKind::Conflict, [&] { sto_CopyRoot(from, "bolt", to, "bolt"); });
  EXPECT_TRUE(Contains(message, "Bolt version 1")) << message;
}

TEST_F(StoreNotes, EachChangedRowIsDamage) {
  StoreBytes const whole = FileBytes(Path());
  for (char const* const change :
       {"UPDATE enumerator SET value = 1 WHERE name = 'round'",
        "UPDATE enumerator SET name = 'dome' WHERE value = 0",
        "UPDATE enumerator SET attribute = 'm_Length' WHERE value = 0", "UPDATE enumerator SET version = 2",
        "UPDATE enumerator SET class_id = class_id + 4294967296", "UPDATE note SET text = 'x'",
        "UPDATE note SET name = 'x' WHERE attribute = ''",
        "UPDATE note SET attribute = 'm_Head' WHERE attribute = ''",
        "UPDATE note SET version = version + 4294967296", "UPDATE note SET checksum = checksum + 1",
        "UPDATE attribute SET unit = 'm' WHERE name = 'm_Length'",
        "UPDATE attribute SET default_value = '0.7' WHERE name = 'm_Length'",
        "UPDATE attribute SET default_value = NULL",
        "UPDATE attribute SET default_value = '' WHERE name = 'm_Head'"}) {
    SCOPED_TRACE(change);
    WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(whole.data()), whole.size()));
    SqlFile(Path()).Run(change);
    sto_Store store = Open(m_Registrar, sto_Mode::ReadOnly);
    std::string const message =
        MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Describe(Bolt::TypeId())); });
    EXPECT_TRUE(Contains(message, "test.kvs") && Contains(message, "table")) << message;
  }
}

TEST_F(StoreNotes, RowsThatBelongToNothingAreDamage) {
  StoreBytes const whole = FileBytes(Path());
  for (char const* const change :
       {"UPDATE enumerator SET attribute = 'm_Other' WHERE value = 0", "UPDATE note SET version = 2",
        "UPDATE note SET class_id = 5 WHERE attribute = ''"}) {
    SCOPED_TRACE(change);
    WriteFile(Path(), std::string_view(reinterpret_cast<char const*>(whole.data()), whole.size()));
    {
      SqlFile file(Path());
      RunSealed(file, change);
    }
    sto_Store store = Open(m_Registrar, sto_Mode::ReadOnly);
    MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Describe(Bolt::TypeId())); });
    EXPECT_EQ(store.Load<Bolt>("bolt")->m_Head, 1); // objects do not need them
  }
}

TEST_F(StoreNotes, MissingRowIsNoticedByTheSum) {
  for (char const* const change :
       {"DELETE FROM note WHERE attribute = ''", "DELETE FROM enumerator WHERE value = 0"}) {
    std::filesystem::copy_file(Path(), Path("changed"), std::filesystem::copy_options::overwrite_existing);
    SqlFile file(Path("changed"));
    EXPECT_EQ(SumInLog(file), SumOverRows(file));
    file.Run(change);
    EXPECT_NE(SumInLog(file), SumOverRows(file)) << change;
  }
}

TEST_F(StoreNotes, OldFormatsHaveNoneAndTheUpgradeTakesThem) {
  for (int const format : {1, 2, 3}) {
    SCOPED_TRACE(format);
    std::filesystem::remove(Path());
    Declared plain;
    sto_Store::Open(Path(), sto_Mode::Create, plain).Save("bolt", Bolt());
    MakeStoreOfOldFormat(Path(), format);
    sto_ClassDescription const before = Described();
    EXPECT_EQ(before.m_Attributes.size(), format == 1 ? 0U : 2U);
    EXPECT_TRUE(before.m_Notes.empty());
    sto_Options options;
    options.m_Upgrade = true;
    sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar, options).Save("other", Bolt());
    ExpectAll(Described());
    ExpectSum();
  }
}

} // namespace

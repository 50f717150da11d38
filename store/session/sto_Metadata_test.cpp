#include <array>
#include <memory>
#include <string>
#include <vector>

#include "persist/backend/cls_AgentListPrim.h"
#include "persist/backend/cls_WriteListPrim.h"
#include "persist/backend/cls_WriteObjects.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xp1DArrayList.h"

namespace {

// How the store uses the metadata of the registrar it is opened with.

cls_FieldHandle LengthField() {
  return {0, "m_Length"_cow};
}
cls_FieldHandle NameField() {
  return {1, "m_Name"_cow};
}
cls_FieldHandle HolesField() {
  return {2, "m_Holes"_cow};
}

/// A class whose writing the test scripts.
struct Bar {
  static constexpr unsigned int TypeId() noexcept { return 0x720001; }
  Bar() = default;
  explicit Bar(cls_ReadVisitor const& visitor)
      : m_Length(visitor.Read(LengthField(), 0.0)), m_Name(visitor.Read(NameField(), ""_cow)),
        m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    if (m_WritesInt)
      visitor.Write(LengthField(), 7);
    else
      visitor.Write(LengthField(), m_Length);
    visitor.Write(NameField(), m_Name);
    if (m_Holes != nullptr) m_Holes->DBWrite(cls_WriteVisitor(visitor, HolesField(), nullptr, m_Holes));
    if (m_Part != nullptr) m_Part->DBWrite(cls_WriteVisitor(visitor, HolesField(), nullptr, m_Part));
  }
  double m_Length = 2.5;
  cow_String m_Name = "bar"_cow;
  bool m_WritesInt = false;
  cls_xp1DArrayListInt const* m_Holes = nullptr;
  Node const* m_Part = nullptr;
  cls_Uid m_Uid;
};

cls_ClassMetadata& DeclareBar(cls_ClassRegistrar& registrar, int version = 1) {
  return registrar.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, version, 1))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
      .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
}

class StoreMetadata : public StoreFileTest {
 protected:
  sto_Store Create(std::string_view name = "test.kvs") const {
    return sto_Store::Open(Path(name), sto_Mode::Create, m_Registrar);
  }
  sto_Store Open(cls_ClassRegistrar const& registrar) const {
    return sto_Store::Open(Path(), sto_Mode::ReadWrite, registrar);
  }
  [[nodiscard]] std::vector<std::string> Attributes() const {
    return SqlFile(Path()).Texts(
        "SELECT class_id || ' ' || version || ' ' || name || ' ' || field_id || ' ' || "
        "type || ' ' || type_arg || ' ' || collection_type FROM attribute "
        "ORDER BY class_id, version, name");
  }

  cls_ClassRegistrar m_Registrar;
};

void ExpectAll(std::string const& message, std::initializer_list<char const*> parts) {
  for (char const* const part : parts) EXPECT_TRUE(Contains(message, part)) << part << " in: " << message;
}

TEST_F(StoreMetadata, EachClassVersionThatWritesIsDescribedWithItsAttributes) {
  DeclareBar(m_Registrar, 3).AddAttribute(HolesField(), ATTR_INT, 5, COLLECTION_LIST_INT);
  { Create().Save("bar", Bar()); }
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT name || ' ' || class_id || ' ' || version || ' ' || base_class_id "
                                  "FROM class"),
            (std::vector<std::string>{"Bar 7471105 3 1"}));
  EXPECT_EQ(Attributes(),
            (std::vector<std::string>{"7471105 3 m_Holes 2 5 5 54", "7471105 3 m_Length 0 103 1 0",
                                      "7471105 3 m_Name 1 11 1 0"}));
}

TEST_F(StoreMetadata, EarlierVersionsKeepTheirDescription) {
  DeclareBar(m_Registrar, 1);
  { Create().Save("bar", Bar()); }
  cls_ClassRegistrar later;
  DeclareBar(later, 2).AddAttribute(HolesField(), ATTR_INT, 1, COLLECTION_LIST_INT);
  { Open(later).Save("later", Bar()); }
  EXPECT_EQ(Attributes().size(), 5U);
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT version FROM class ORDER BY version"),
            (std::vector<std::string>{"1", "2"}));
}

TEST_F(StoreMetadata, ClassesOfTheLibraryAreDescribedToo) {
  { Create().Save("list", cls_xp1DArrayListInt()); }
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT name FROM class"), (std::vector<std::string>{"cls_InternalList"}));
  EXPECT_TRUE(Attributes().empty());
}

TEST_F(StoreMetadata, UndeclaredAttributeIsRefusedAndNothingIsStored) {
  m_Registrar.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, 4, 1))
      .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", Bar()); });
  ExpectAll(message, {"m_Name", "Bar", "version 4", "not declared", "test.kvs"});
  EXPECT_EQ(store.ObjectCount(), 0);
  EXPECT_TRUE(store.Roots().empty());
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM class"), 0);
}

TEST_F(StoreMetadata, RefusedAttributeIsNotLostWhenTheFailureIsSwallowed) {
  DeclareBar(m_Registrar);
  struct Swallower : Bar {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      Bar::DBWrite(visitor);
      try {
        visitor.Write(cls_FieldHandle("m_Extra"_cow), 1);
      } catch (nex_Exception const&) {
      }
    }
  };
  sto_Store store = Create();
  MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", Swallower()); });
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreMetadata, ValueOfAnotherTypeThanDeclaredIsRefused) {
  DeclareBar(m_Registrar);
  sto_Store store = Create();
  Bar bar;
  bar.m_WritesInt = true;
  ExpectAll(
      MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", bar); }),
      {"Attribute m_Length of class Bar version 1 is declared as ATTR_DOUBLE, COLLECTION_NONE, but a 32-bit "
       "integer is written: declare it as ATTR_INT, COLLECTION_NONE (writing object 1 (Bar))."});
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreMetadata, EveryAttributeTypeTakesItsOwnValuesAndNoOthers) {
  struct Value {
    cls_AttributeType m_Type;
    void (*m_Write)(cls_WriteVisitor const&, cls_FieldHandle const&);
  };
  static constexpr std::array Values = {
      Value{ATTR_INT, [](auto& v, auto& f) { v.Write(f, 1); }},
      Value{ATTR_STRING, [](auto& v, auto& f) { v.Write(f, "text"_cow); }},
      Value{ATTR_BOOL, [](auto& v, auto& f) { v.Write(f, true); }},
      Value{ATTR_FLOAT, [](auto& v, auto& f) { v.Write(f, 1.0F); }},
      Value{ATTR_DOUBLE, [](auto& v, auto& f) { v.Write(f, 1.0); }},
      Value{ATTR_SCHAR, [](auto& v, auto& f) { v.Write(f, static_cast<signed char>(1)); }},
      Value{ATTR_SHORT, [](auto& v, auto& f) { v.Write(f, static_cast<short>(1)); }},
      Value{ATTR_USHORT, [](auto& v, auto& f) { v.Write(f, static_cast<unsigned short>(1)); }},
      Value{ATTR_LONGLONG, [](auto& v, auto& f) { v.Write(f, 1LL); }},
      Value{ATTR_ULONGLONG, [](auto& v, auto& f) { v.Write(f, 1ULL); }},
      Value{ATTR_OBJECT, [](auto& v, auto& f) { Node().DBWrite(cls_WriteVisitor(v, f, nullptr, nullptr)); }},
      Value{ATTR_REFERENCE, [](auto& v, auto& f) { v.Memento()->WriteReference(f, cls_Uid()); }},
      Value{ATTR_BYTES, [](auto& v, auto& f) { v.Memento()->WriteBytes(f, "ab", 2); }},
  };
  cls_FieldHandle const field(0, "m_Field"_cow);
  for (std::size_t declared = 0; declared < Values.size(); ++declared) {
    cls_ClassRegistrar registrar;
    DeclareNode(registrar);
    registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
        .AddAttribute(field, Values[declared].m_Type, 1, COLLECTION_NONE);
    sto_Store store = sto_Store::Open(Path(std::to_string(declared)), sto_Mode::Create, registrar);
    for (std::size_t written = 0; written < Values.size(); ++written) {
      SCOPED_TRACE(std::to_string(Values[declared].m_Type) + " " + std::to_string(Values[written].m_Type));
      auto const save = [&] {
        SaveFields(store, [&](cls_WriteVisitor const& visitor) { Values[written].m_Write(visitor, field); });
      };
      if (written == declared)
        save();
      else
        MessageOf(sto_ErrorKind::Misuse, save);
    }
  }
}

TEST_F(StoreMetadata, IntegersOf32BitsAreInterchangeable) {
  cls_FieldHandle const field(0, "m_Field"_cow);
  for (cls_AttributeType const type : {ATTR_INT, ATTR_UINT}) {
    cls_ClassRegistrar registrar;
    registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
        .AddAttribute(field, type, 1, COLLECTION_NONE);
    sto_Store store = sto_Store::Open(Path(std::to_string(type)), sto_Mode::Create, registrar);
    SaveFields(store, [&](cls_WriteVisitor const& visitor) { visitor.Write(field, 1); });
    SaveFields(store, [&](cls_WriteVisitor const& visitor) { visitor.Write(field, 1U); });
    SaveFields(store, [&](cls_WriteVisitor const& visitor) { visitor.WriteEnum(field, 1); });
    EXPECT_EQ(store.ObjectCount(), 3);
  }
}

TEST_F(StoreMetadata, CollectionOfAnotherTypeThanDeclaredIsRefusedNamingClassAndAttribute) {
  DeclareBar(m_Registrar).AddAttribute(HolesField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  cls_xp1DArrayListInt const holes;
  Bar bar;
  bar.m_Holes = &holes;
  sto_Store store = Create();
  ExpectAll(
      MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", bar); }),
      {"Attribute m_Holes of class Bar version 1 is declared as ATTR_DOUBLE, COLLECTION_LIST_DOUBLE, but a "
       "list of int is written: declare it as ATTR_INT, COLLECTION_LIST_INT (writing object 1 (Bar))."});
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreMetadata, CollectionsMatchDecidesWhatAnAttributeAccepts) {
  cls_FieldHandle const field(0, "m_Field"_cow);
  m_Registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
      .AddAttribute(field, ATTR_OBJECT, 1, COLLECTION_MAP_STRING_OBJ);
  sto_Store store = Create();
  auto const saveAs = [&](int type) {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      cls_WriteVisitor const map(visitor, field, nullptr, nullptr);
      map.StartWrite(cls_InternalMapTypeId, cls_Uid());
      map.CheckCollectionType(static_cast<cls_CollectionType>(type));
      delete map.Memento()->MakeWriteMapString2Obj();
    });
  };
  for (int const type : {2, 4, 90, 95, 96}) saveAs(type);
  for (int const type : {0, 3, 5, 54, 97, 100})
    ExpectAll(MessageOf(sto_ErrorKind::Misuse, [&] { saveAs(type); }), {"m_Field", "Scripted"});
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) { // the last one saved has type 96
    visitor.Memento()->CheckCollectionType(COLLECTION_MAP_STRING_OBJ, "m_Field"_cow);
    MessageOf(sto_ErrorKind::WrongClass,
              [&] { visitor.Memento()->CheckCollectionType(COLLECTION_MAP_INT_OBJ, "m_Field"_cow); });
  }));
}

TEST_F(StoreMetadata, CollectionWhereASingleValueIsDeclaredIsRefused) {
  DeclareBar(m_Registrar).AddAttribute(HolesField(), ATTR_OBJECT, 1, COLLECTION_NONE);
  cls_xp1DArrayListInt const holes;
  Bar bar;
  bar.m_Holes = &holes;
  sto_Store store = Create();
  ExpectAll(
      MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", bar); }),
      {"Attribute m_Holes of class Bar version 1 is declared as ATTR_OBJECT, COLLECTION_NONE, but a list of "
       "int is written: declare it as ATTR_INT, COLLECTION_LIST_INT (writing object 1 (Bar))."});
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreMetadata, CollectionInASingleValueIsRefusedByEveryWayToWriteIt) {
  cls_FieldHandle const field(0, "m_Field"_cow);
  m_Registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
      .AddAttribute(field, ATTR_DOUBLE, 1, COLLECTION_NONE);
  sto_Store store = Create();
  struct Case {
    unsigned int m_ClassId;
    void (*m_Write)(cls_MementoWrite& collection);
    char const* m_Message;
  };
  for (Case const& one :
       {Case{cls_InternalListTypeId,
             [](cls_MementoWrite& list) { delete list.MakeWriteListPrim(static_cast<double*>(nullptr), 1); },
             "but a list of double is written: declare it as ATTR_DOUBLE, COLLECTION_LIST_DOUBLE (writing"},
        Case{cls_InternalMapTypeId, [](cls_MementoWrite& map) { delete map.MakeWriteMapInt2Obj(); },
             "but a map from int to objects is written: declare it as ATTR_OBJECT, COLLECTION_MAP_INT_OBJ"},
        Case{cls_InternalListTypeId,
             [](cls_MementoWrite& list) { delete list.MakeAgentListPrim(static_cast<double*>(nullptr), 1); },
             "but a list is written: declare it with the collection type of that list (writing"},
        Case{cls_InternalMapTypeId, [](cls_MementoWrite&) {},
             "but a map is written: declare it with the collection type of that map (writing"}})
    for (bool const isSwallowed : {false, true}) {
      SCOPED_TRACE(one.m_Message);
      auto const save = [&] {
        SaveFields(store, [&](cls_WriteVisitor const& visitor) {
          std::unique_ptr<cls_MementoWrite> const collection(
              visitor.Memento()->MakeFieldWriteObj(field, one.m_ClassId, cls_Uid(), nullptr));
          try {
            one.m_Write(*collection);
          } catch (sto_Exception const&) {
            if (!isSwallowed) throw;
          }
        });
      };
      std::string const message = MessageOf(sto_ErrorKind::Misuse, save);
      if (!isSwallowed)
        ExpectAll(message, {"Attribute m_Field of class Scripted version 1 is declared as ATTR_DOUBLE, "
                            "COLLECTION_NONE, ",
                            one.m_Message});
      EXPECT_EQ(store.ObjectCount(), 0);
    }
}

TEST_F(StoreMetadata, ReadingACollectionAsAnotherSaysWhatItIs) {
  cls_FieldHandle const field(0, "m_Field"_cow);
  auto const declare = [&](cls_ClassRegistrar& registrar, cls_CollectionType type) {
    registrar.CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
        .AddAttribute(field, ATTR_DOUBLE, 1, type);
  };
  declare(m_Registrar, COLLECTION_LIST_DOUBLE);
  {
    sto_Store store = Create();
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      cls_xp1DArrayListDouble const list;
      list.DBWrite(cls_WriteVisitor(visitor, field, nullptr, &list));
    });
  }
  auto const message = [&](cls_ClassRegistrar const& classes, cls_CollectionType asked) {
    sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, classes);
    std::string text;
    static_cast<void>(LoadFields(store, [&](cls_ReadVisitor const& visitor) {
      text = MessageOf(sto_ErrorKind::WrongClass,
                       [&] { visitor.Memento()->CheckCollectionType(asked, "m_Field"_cow); });
    }));
    return text;
  };
  ExpectAll(
      message(m_Registrar, COLLECTION_LIST_INT),
      {"Attribute m_Field of object 1 (Scripted version 1) is stored as COLLECTION_LIST_DOUBLE and cannot "
       "be read as COLLECTION_LIST_INT: read it as a list of double."});
  cls_ClassRegistrar other;
  declare(other, COLLECTION_LIST_INT);
  ExpectAll(
      message(other, COLLECTION_LIST_DOUBLE),
      {"Attribute m_Field of object 1 (Scripted version 1) is stored as COLLECTION_LIST_DOUBLE, but its "
       "class is declared with ATTR_DOUBLE, COLLECTION_LIST_INT: declare it as ATTR_DOUBLE, "
       "COLLECTION_LIST_DOUBLE."});
}

TEST_F(StoreMetadata, UnknownClassIsNamedByItsIdAsInSourceCode) {
  {
    cls_ClassRegistrar const none;
    sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, none);
    std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("node", Node(1)); });
    EXPECT_TRUE(Contains(message, Path() + ": Class 0x700002 is not declared in the registrar")) << message;
  }
  DeclareNode(m_Registrar);
  { sto_Store::Open(Path(), sto_Mode::ReadWrite, m_Registrar).Save("node", Node(1)); }
  {
    SqlFile file(Path());
    file.Unpack();
    file.Run("DELETE FROM class; DELETE FROM attribute");
  }
  cls_ClassRegistrar const none;
  sto_Store store = sto_Store::Open(Path(), sto_Mode::ReadOnly, none);
  std::string const message =
      MessageOf(sto_ErrorKind::Damaged, [&] { static_cast<void>(store.Load<Node>("node")); });
  EXPECT_TRUE(Contains(message,
                       "Object 1 (class 0x700002) or the store's catalogue is damaged: table class does "
                       "not describe class 0x700002 version 1"))
      << message;
}

TEST_F(StoreMetadata, ObjectWhereACollectionIsDeclaredIsRefused) {
  DeclareBar(m_Registrar).AddAttribute(HolesField(), ATTR_INT, 1, COLLECTION_LIST_INT);
  DeclareNode(m_Registrar);
  Node const node;
  Bar bar;
  bar.m_Part = &node;
  sto_Store store = Create();
  ExpectAll(MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("bar", bar); }),
            {"Attribute m_Holes of class Bar version 1 is declared as ATTR_INT, COLLECTION_LIST_INT, but an "
             "object of class Node is written: declare it as ATTR_OBJECT, COLLECTION_NONE (writing"});
}

TEST_F(StoreMetadata, ClassThatChangedWithoutANewVersionIsAConflict) {
  DeclareBar(m_Registrar);
  { Create().Save("bar", Bar()); }
  struct Change {
    char const* m_Text;
    void (*m_Declare)(cls_ClassRegistrar&);
  };
  for (Change const& change : {
           Change{"m_Holes",
                  [](cls_ClassRegistrar& r) {
                    DeclareBar(r).AddAttribute(HolesField(), ATTR_INT, 1, COLLECTION_LIST_INT);
                  }},
           Change{"m_Name",
                  [](cls_ClassRegistrar& r) {
                    r.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, 1, 1))
                        .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE);
                  }},
           Change{"m_Length",
                  [](cls_ClassRegistrar& r) {
                    r.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, 1, 1))
                        .AddAttribute(LengthField(), ATTR_FLOAT, 1, COLLECTION_NONE)
                        .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
                  }},
           Change{"base class",
                  [](cls_ClassRegistrar& r) {
                    r.AddClassMD(new cls_TypeAdapter<Bar>("Bar"_cow, 1, 0x720002))
                        .AddAttribute(LengthField(), ATTR_DOUBLE, 1, COLLECTION_NONE)
                        .AddAttribute(NameField(), ATTR_STRING, 1, COLLECTION_NONE);
                  }},
       }) {
    SCOPED_TRACE(change.m_Text);
    cls_ClassRegistrar changed;
    change.m_Declare(changed);
    sto_Store store = Open(changed);
    ExpectAll(MessageOf(sto_ErrorKind::Conflict, [&] { store.Save("bar", Bar()); }),
              {"Bar", "version 1", change.m_Text, "new version"});
    if (std::string_view(change.m_Text) == "base class")
      ExpectAll(MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Bar>("bar")); }),
                {"Bar version 1", "no base class", "new version"});
    else
      EXPECT_EQ(store.Load<Bar>("bar")->m_Length, 2.5);
  }
}

TEST_F(StoreMetadata, DescriptionIsTheSameInNaturalOrder) {
  atr_setNaturalOrder(true);
  cls_ClassRegistrar natural;
  cls_ClassRegistrar* const registrars[] = {&natural, &m_Registrar};
  for (cls_ClassRegistrar* const registrar : registrars) {
    registrar->CreateClassMD("Scripted"_cow, Scripted::TypeId(), 1, nullptr, 1)
        .AddAttribute(cls_FieldHandle(0, "m_2"_cow), ATTR_INT, 1, COLLECTION_NONE)
        .AddAttribute(cls_FieldHandle(1, "m_10"_cow), ATTR_INT, 1, COLLECTION_NONE);
    sto_Store store =
        sto_Store::Open(Path(), registrar == &natural ? sto_Mode::Create : sto_Mode::ReadWrite, *registrar);
    SaveFields(store, [](cls_WriteVisitor const& visitor) { visitor.Write(cls_FieldHandle("m_10"_cow), 5); });
    atr_setNaturalOrder(false);
  }
  EXPECT_EQ(Attributes().size(), 2U);
}

TEST_F(StoreMetadata, FailedSaveUndoesItsDescriptions) {
  DeclareBar(m_Registrar);
  DeclareNode(m_Registrar);
  struct Failing : Bar {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      Bar::DBWrite(visitor);
      throw std::runtime_error("failing");
    }
  };
  sto_Store store = Create();
  EXPECT_THROW(store.Save("bar", Failing()), std::runtime_error);
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM attribute"), 0);
  store.Save("bar", Bar());
  EXPECT_EQ(SqlFile(Path()).Integer("SELECT count(*) FROM attribute"), 2);
}

} // namespace

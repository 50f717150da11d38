#include "tests/support/store/StoreTest.h"

namespace {

class StoreBaseParts : public StoreTest {
 protected:
  /// A store whose class Scripted derives from Bottom.
  sto_Store CreateOverBottom() {
    DeclareScripted(m_OverBottom, Bottom::TypeId());
    DeclareLevels(m_OverBottom, 4, 7, 2);
    return sto_Store::Open(Path(), sto_Mode::Create, m_OverBottom);
  }

  cls_ClassRegistrar m_OverBottom;
};

TEST_F(StoreBaseParts, FieldsOfTheSameNameInThreeLevelsDoNotSeeEachOther) {
  Top top;
  top.m_BottomValue = 3;
  top.m_MiddleValue = "middle"_cow;
  top.m_TopValue = 0.5;
  Create().Save("top", top);
  std::unique_ptr<Top> const loaded = Open().Load<Top>("top");
  EXPECT_EQ(loaded->m_BottomValue, 3);
  EXPECT_EQ(loaded->m_MiddleValue.View(), "middle");
  EXPECT_EQ(loaded->m_TopValue, 0.5);
}

TEST_F(StoreBaseParts, EachLevelKeepsItsIdentity) {
  Top const top;
  sto_Store store = Create();
  store.Save("top", top);
  std::unique_ptr<Top> const loaded = store.Load<Top>("top");
  EXPECT_EQ(loaded->m_BottomUid.Entry(), top.m_BottomUid.Entry());
  EXPECT_EQ(loaded->m_MiddleUid.Entry(), top.m_MiddleUid.Entry());
  EXPECT_EQ(loaded->m_TopUid.Entry(), top.m_TopUid.Entry());
}

TEST_F(StoreBaseParts, LevelsHaveDistinctIdentitiesInANewSession) {
  Create().Save("top", Top());
  sto_Store store = Open();
  std::unique_ptr<Top> const first = store.Load<Top>("top");
  EXPECT_NE(first->m_BottomUid.Entry(), first->m_MiddleUid.Entry());
  EXPECT_NE(first->m_MiddleUid.Entry(), first->m_TopUid.Entry());
  EXPECT_NE(first->m_BottomUid.Entry(), first->m_TopUid.Entry());
  std::unique_ptr<Top> const second = store.Load<Top>("top");
  EXPECT_EQ(first->m_BottomUid.Entry(), second->m_BottomUid.Entry());
  EXPECT_EQ(first->m_MiddleUid.Entry(), second->m_MiddleUid.Entry());
  EXPECT_EQ(first->m_TopUid.Entry(), second->m_TopUid.Entry());
}

TEST_F(StoreBaseParts, PartsAreNotCountedAsObjects) {
  sto_Store store = Create();
  store.Save("top", Top());
  EXPECT_EQ(store.ObjectCount(), 1);
}

TEST_F(StoreBaseParts, EachPartSaysItsOwnClassAndVersion) {
  Create().Save("top", Top());
  struct Levels {
    explicit Levels(cls_ReadVisitor const& visitor) {
      cls_ReadVisitor const middle(visitor);
      cls_ReadVisitor const bottom(middle);
      cls_ReadVisitor const none(bottom);
      for (cls_ReadVisitor const* const level : {&visitor, &middle, &bottom, &none})
        m_Levels.emplace_back(level->Memento()->ClassId(), level->Memento()->ClassVersion());
      m_BeyondIsEmpty = none.FieldIsPresent(cls_FieldHandle("m_Value"_cow)) == 0;
    }
    std::vector<std::pair<unsigned int, int>> m_Levels;
    bool m_BeyondIsEmpty = false;
  };
  std::unique_ptr<Levels> const read = Open().Load<Levels>("top");
  EXPECT_EQ(read->m_Levels, (std::vector<std::pair<unsigned int, int>>{
                                {Top::TypeId(), 2}, {Middle::TypeId(), 7}, {Bottom::TypeId(), 4}, {1, -1}}));
  EXPECT_TRUE(read->m_BeyondIsEmpty);
}

/// A Middle that does not write its base-class part.
struct BareMiddle {
  static constexpr unsigned int TypeId() noexcept { return Middle::TypeId(); }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(cls_FieldHandle("m_Value"_cow), "bare"_cow);
  }
  cls_Uid m_Uid;
};

TEST_F(StoreBaseParts, ForgottenBasePartIsRefusedAndNamed) {
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("middle", BareMiddle()); });
  EXPECT_TRUE(Contains(message, "DBWrite of class Middle") && Contains(message, "base-class part Bottom") &&
              Contains(message, "Bottom::DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()))"))
      << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreBaseParts, BasePartThatIsForgottenFurtherUpIsRefusedAndNamed) {
  struct BareTop {
    static constexpr unsigned int TypeId() noexcept { return Top::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (!visitor.StartWrite(TypeId(), m_Uid)) return;
      m_Middle.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
      visitor.Write(cls_FieldHandle("m_Value"_cow), 1.0);
    }
    BareMiddle m_Middle;
    cls_Uid m_Uid;
  };
  sto_Store store = Create();
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("top", BareTop()); });
  EXPECT_TRUE(Contains(message, "DBWrite of class Middle") && Contains(message, "(Top)")) << message;
}

TEST_F(StoreBaseParts, ForgottenBasePartOfAnElementIsRefused) {
  sto_Store store = Create();
  BareMiddle const bare;
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      bare.DBWrite(cls_WriteVisitor(visitor, cls_FieldHandle("m_Node"_cow), nullptr, &bare));
    });
  });
  EXPECT_TRUE(Contains(message, "DBWrite of class Middle")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreBaseParts, BasePartWithoutAttributesMayBeLeftOutAndReadsDefaults) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Bottom"_cow, Bottom::TypeId(), 4, nullptr, cls_ClassMetadata::RootClassId);
  classes.CreateClassMD("Middle"_cow, Middle::TypeId(), 7, nullptr, Bottom::TypeId())
      .AddAttribute(cls_FieldHandle("m_Value"_cow), ATTR_STRING, 1, COLLECTION_NONE);
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  store.Save("middle", BareMiddle());
  std::unique_ptr<Middle> const loaded = store.Load<Middle>("middle");
  EXPECT_EQ(loaded->m_MiddleValue.View(), "bare");
  EXPECT_EQ(loaded->m_BottomValue, -1);
  EXPECT_NE(loaded->m_BottomUid.Entry(), loaded->m_MiddleUid.Entry());
}

TEST_F(StoreBaseParts, AttributesAboveAClassWithoutAnyCountToo) {
  cls_ClassRegistrar classes;
  classes.CreateClassMD("Bottom"_cow, Bottom::TypeId(), 4, nullptr, cls_ClassMetadata::RootClassId)
      .AddAttribute(cls_FieldHandle("m_Value"_cow), ATTR_INT, 1, COLLECTION_NONE);
  classes.CreateClassMD("Middle"_cow, Middle::TypeId(), 7, nullptr, Bottom::TypeId());
  classes.CreateClassMD("Top"_cow, Top::TypeId(), 2, nullptr, Middle::TypeId())
      .AddAttribute(cls_FieldHandle("m_Value"_cow), ATTR_DOUBLE, 1, COLLECTION_NONE);
  struct BareTop {
    static constexpr unsigned int TypeId() noexcept { return Top::TypeId(); }
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(TypeId(), m_Uid)) visitor.Write(cls_FieldHandle("m_Value"_cow), 1.0);
    }
    cls_Uid m_Uid;
  };
  sto_Store store = sto_Store::Open(Path(), sto_Mode::Create, classes);
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] { store.Save("top", BareTop()); });
  EXPECT_TRUE(Contains(message, "class Bottom declares attributes")) << message;
}

TEST_F(StoreBaseParts, SecondBasePartIsRefusedAndNamed) {
  sto_Store store = CreateOverBottom();
  Bottom const bottom;
  Middle const middle;
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      bottom.DBWrite(cls_WriteVisitor(visitor, Bottom::TypeId()));
      middle.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    });
  });
  EXPECT_TRUE(Contains(message, "Middle") && Contains(message, "Scripted")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreBaseParts, FieldsOfTheObjectMayComeBeforeAndAfterItsBasePart) {
  sto_Store store = CreateOverBottom();
  Bottom bottom;
  bottom.m_BottomValue = 8;
  SaveFields(store, [&](cls_WriteVisitor const& visitor) {
    visitor.Write(cls_FieldHandle("m_Before"_cow), 1);
    {
      cls_WriteVisitor const base(visitor, Bottom::TypeId());
      bottom.DBWrite(base);
      visitor.Write(cls_FieldHandle("m_Within"_cow), 2);
      base.Write(cls_FieldHandle("m_Late"_cow), 9);
    }
    visitor.Write(cls_FieldHandle("m_Value"_cow), 3);
  });
  static_cast<void>(LoadFields(store, [](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Before"_cow), 0), 1);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Within"_cow), 0), 2);
    EXPECT_EQ(visitor.Read(cls_FieldHandle("m_Value"_cow), 0), 3);
    EXPECT_EQ(visitor.FieldIsPresent(cls_FieldHandle("m_Late"_cow)), 0);
    cls_ReadVisitor const base(visitor);
    EXPECT_EQ(Bottom(base).m_BottomValue, 8);
    EXPECT_EQ(base.Read(cls_FieldHandle("m_Late"_cow), 0), 9);
    EXPECT_EQ(base.FieldIsPresent(cls_FieldHandle("m_Before"_cow)), 0);
  }));
}

TEST_F(StoreBaseParts, ObjectOfADerivedClassIsNotLoadedAsABaseThatCannotDeleteIt) {
  sto_Store store = Create();
  store.Save("top", Top());
  std::string const message =
      MessageOf(sto_ErrorKind::Misuse, [&] { static_cast<void>(store.Load<Bottom>("top")); });
  EXPECT_TRUE(Contains(message, "Top") && Contains(message, "Bottom") &&
              Contains(message, "no virtual destructor"))
      << message;
}

TEST_F(StoreBaseParts, ObjectOfABaseClassIsNoObjectOfADerivedOne) {
  sto_Store store = Create();
  store.Save("bottom", Bottom());
  std::string const message =
      MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Top>("bottom")); });
  EXPECT_TRUE(Contains(message, "Top") && Contains(message, "Bottom")) << message;
}

TEST_F(StoreBaseParts, BasePartOfAnotherClassThanTheDeclaredBaseIsRefusedAndNamed) {
  sto_Store store = Create();
  Middle const middle;
  std::string const message = MessageOf(sto_ErrorKind::Misuse, [&] {
    SaveFields(store, [&](cls_WriteVisitor const& visitor) {
      middle.DBWrite(cls_WriteVisitor(visitor, Middle::TypeId()));
    });
  });
  EXPECT_TRUE(Contains(message, "Middle") && Contains(message, "Scripted")) << message;
  EXPECT_EQ(store.ObjectCount(), 0);
}

TEST_F(StoreBaseParts, CatalogueRecordsEachLevelWithItsBase) {
  Create().Save("top", Top());
  EXPECT_EQ(SqlFile(Path()).Texts("SELECT name || ' ' || version || ' ' || base_class_id FROM class "
                                  "ORDER BY class_id"),
            (std::vector<std::string>{"Bottom 4 1", "Middle 7 7340035", "Top 2 7340036"}));
}

} // namespace

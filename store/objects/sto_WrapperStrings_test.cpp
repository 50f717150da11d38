#include "platform/atr/atr_String.h"
#include "tests/support/store/StoreWrappers.h"
#include "wrappers/cls_xpString.h"
#include "wrappers/cls_xpTrString.h"

namespace {

/// A string wrapper in a field. It leaves the start of its object to what holds it.
template <class Wrapper> struct FieldText {
  explicit FieldText(Wrapper const& text) : m_Text(text) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(Wrapper::TypeId(), m_Text.Uid()) == 0) return;
    m_Text.DBWrite(visitor);
  }
  Wrapper m_Text;
};

/// An object with two string wrappers in fields.
template <class Wrapper> struct TwoTexts {
  static constexpr unsigned int TypeId() noexcept { return Scripted::TypeId(); }
  TwoTexts(Wrapper const& first, Wrapper const& second)
      : m_First(std::make_shared<Wrapper>(first)), m_Second(std::make_shared<Wrapper>(second)) {}
  explicit TwoTexts(cls_ReadVisitor const& visitor)
      : m_First(sto_ReadShared<Wrapper>(visitor, Field("m_Object"))),
        m_Second(sto_ReadShared<Wrapper>(visitor, Field("m_Other"))), m_Uid(visitor.GetUid()) {}
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (!visitor.StartWrite(TypeId(), m_Uid)) return;
    FieldText<Wrapper>(*m_First).DBWrite(cls_WriteVisitor(visitor, Field("m_Object"), nullptr, nullptr));
    FieldText<Wrapper>(*m_Second).DBWrite(cls_WriteVisitor(visitor, Field("m_Other"), nullptr, nullptr));
  }
  std::shared_ptr<Wrapper> m_First;
  std::shared_ptr<Wrapper> m_Second;
  cls_Uid m_Uid;
};

template <class Wrapper> class StoreTexts : public StoreWrapperTest {
 protected:
  static Wrapper Text(cow_String const& text) {
    if constexpr (std::is_same_v<Wrapper, cls_xpString>)
      return Wrapper(text);
    else
      return Wrapper(atr_String(text));
  }
  static void Save(sto_Store& store, Wrapper const& text) { store.Save("text", text); }
};
using Texts = testing::Types<cls_xpString, cls_xpTrString>;
TYPED_TEST_SUITE(StoreTexts, Texts);

TYPED_TEST(StoreTexts, EachTextComesBackByteByByte) {
  std::vector<cow_String> const texts = ExtremeElements<cow_String>();
  this->InEachStore(
      [&](sto_Store& store) {
        for (std::size_t i = 0; i < texts.size(); ++i) store.Save(std::to_string(i), this->Text(texts[i]));
      },
      [&](sto_Store& store) {
        for (std::size_t i = 0; i < texts.size(); ++i) {
          auto const loaded = store.Load<TypeParam>(std::to_string(i));
          EXPECT_TRUE(loaded->Text().HasText()) << i; // no text is read as empty text
          EXPECT_TRUE(loaded->Text().View() == texts[i].View()) << i;
        }
        EXPECT_EQ(store.ObjectCount(), static_cast<std::int64_t>(texts.size()));
      });
}

TYPED_TEST(StoreTexts, LiveOneHasItsIdentityAfterLoading) {
  sto_Store store = this->Create();
  auto const text = this->Text("one"_cow);
  this->Save(store, text);
  auto const loaded = store.Load<TypeParam>("text");
  EXPECT_EQ(loaded->Uid().Entry(), text.Uid().Entry());
  auto const copy(*loaded);
  this->Save(store, copy);
  EXPECT_TRUE(copy.Text().SharesBufferWith(loaded->Text()));
  EXPECT_EQ(store.ObjectCount(), 1);
}

TYPED_TEST(StoreTexts, TwoFieldsWithOneTextHoldOneObject) {
  auto const text = this->Text(cow_String(std::string(5000, 't')));
  this->InEachStore([&](sto_Store& store) { store.Save("texts", TwoTexts<TypeParam>(text, text)); },
                    [&](sto_Store& store) {
                      EXPECT_EQ(store.ObjectCount(), 2);
                      auto const texts = store.Load<TwoTexts<TypeParam>>("texts");
                      ASSERT_NE(texts->m_First, nullptr);
                      EXPECT_EQ(texts->m_First, texts->m_Second);
                      EXPECT_EQ(texts->m_First->Text(), text.Text());
                    });
}

TYPED_TEST(StoreTexts, TwoFieldsWithEqualTextsHoldTwoObjects) {
  this->InEachStore(
      [&](sto_Store& store) {
        store.Save("texts", TwoTexts<TypeParam>(this->Text("same"_cow), this->Text("same"_cow)));
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.ObjectCount(), 3);
        auto const texts = store.Load<TwoTexts<TypeParam>>("texts");
        EXPECT_NE(texts->m_First, texts->m_Second);
        EXPECT_EQ(texts->m_First->Text(), texts->m_Second->Text());
        EXPECT_NE(texts->m_First->Uid().Entry(), texts->m_Second->Uid().Entry());
      });
}

TYPED_TEST(StoreTexts, ShortTextReplacingALongOneLeavesOneRow) {
  struct Changing { // one identity, and the text of a wrapper
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(TypeParam::TypeId(), m_Uid) == 0) return;
      m_Text->DBWrite(visitor);
    }
    cls_Uid m_Uid;
    TypeParam const* m_Text = nullptr;
  };
  this->InEachStore(
      [&](sto_Store& store) {
        Changing changing;
        for (std::size_t const length : {10'000'000U, 3U, 100'000U, 0U, 1000U, 2000U, 5U}) {
          auto const text = this->Text(cow_String(std::string(length, 'x')));
          changing.m_Text = &text;
          store.Save("text", changing);
          EXPECT_EQ(this->Rows(store), 1) << length;
          EXPECT_EQ(store.Load<TypeParam>("text")->Text().Length(), static_cast<int>(length));
        }
        EXPECT_EQ(store.CollectGarbage(), 0);
      },
      [&](sto_Store& store) {
        EXPECT_EQ(store.Load<TypeParam>("text")->Text(), "xxxxx");
        EXPECT_EQ(store.ObjectCount(), 1);
        EXPECT_EQ(IntegrityOf(store.Location()), "ok");
      });
}

TYPED_TEST(StoreTexts, IsCollectedWithoutARoot) {
  sto_Store store = this->Create();
  this->Save(store, this->Text(cow_String(std::string(1'000'000, 'x'))));
  this->Save(store, this->Text("another object"_cow));
  EXPECT_EQ(store.CollectGarbage(), 1);
  EXPECT_TRUE(store.RemoveRoot("text"));
  EXPECT_EQ(store.CollectGarbage(), 1);
  EXPECT_EQ(this->Rows(store), 0);
}

TYPED_TEST(StoreTexts, WrittenTwiceInOnePassItIsStoredOnce) {
  struct Twice {
    void DBWrite(cls_WriteVisitor const& visitor) const {
      if (visitor.StartWrite(TypeParam::TypeId(), m_Text.Uid()) == 0) return;
      m_Text.DBWrite(visitor);
      m_Text.DBWrite(visitor);
    }
    TypeParam m_Text;
  };
  sto_Store store = this->Create();
  store.Save("twice", Twice{this->Text("text"_cow)});
  EXPECT_EQ(store.Load<TypeParam>("twice")->Text(), "text");
  EXPECT_EQ(store.ObjectCount(), 1);
}

TYPED_TEST(StoreTexts, ObjectWithoutItsFieldIsAnEmptyText) {
  struct Bare {
    void DBWrite(cls_WriteVisitor const& visitor) const { visitor.StartWrite(TypeParam::TypeId(), m_Uid); }
    cls_Uid m_Uid;
  };
  sto_Store store = this->Create();
  store.Save("text", Bare());
  auto const loaded = store.Load<TypeParam>("text");
  EXPECT_TRUE(loaded->Text().HasText());
  EXPECT_TRUE(loaded->Text().IsEmpty());
}

TYPED_TEST(StoreTexts, TheOtherKindIsRefused) {
  using Other = std::conditional_t<std::is_same_v<TypeParam, cls_xpString>, cls_xpTrString, cls_xpString>;
  sto_Store store = this->Create();
  this->Save(store, this->Text("text"_cow));
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<Other>("text")); });
  MessageOf(sto_ErrorKind::WrongClass, [&] { static_cast<void>(store.Load<cls_xpListString>("text")); });
}

} // namespace

#include "wrappers/cls_xpString.h"

#include <gtest/gtest.h>

#include <string>
#include <string_view>
#include <vector>

#include "tests/support/backend/ForwardingMemento.h"
#include "tests/support/backend/RecordingBackEnd.h"
#include "wrappers/cls_xpTrString.h"

// Tests both string wrappers: they differ only in field name and type.

namespace {

struct PlainCase {
  using Wrapper = cls_xpString;
  static constexpr unsigned int TypeId = 0x1A0001;
  static constexpr char const* Field = "STRING";
  static Wrapper Make(cow_String const& text) { return Wrapper(text); }
};
struct TranslatableCase {
  using Wrapper = cls_xpTrString;
  static constexpr unsigned int TypeId = 0x1A0007;
  static constexpr char const* Field = "TRSTRING";
  static Wrapper Make(cow_String const& text) { return Wrapper(atr_String(text)); }
};

/// Keeps the strings that are written, and passes them on.
class CapturingMemento : public ForwardingMementoWrite {
 public:
  using ForwardingMementoWrite::ForwardingMementoWrite;
  using ForwardingMementoWrite::Write;
  void Write(cls_FieldHandle const& field, cow_String const& value) override {
    m_Written.push_back(value);
    ForwardingMementoWrite::Write(field, value);
  }

  std::vector<cow_String> m_Written;
};

template <class Case> class StringWrapper : public ::testing::Test {
 protected:
  using Wrapper = typename Case::Wrapper;

  StringWrapper() { m_Recorder.Name(m_Recorder.m_Uid, "stored"); }

  /// The line of one written text, given as the log shows it.
  static std::string WriteLine(std::string const& shownText) {
    return std::string("write1.Write(field -1 \"") + Case::Field + "\", string " + shownText + ")";
  }
  static std::string ReadLine(std::string const& shownText) {
    return std::string("read1.Read(field -1 \"") + Case::Field + "\", string \"\") = string " + shownText;
  }

  Lines Written(Wrapper const& wrapper) {
    cls_WriteVisitor const visitor(m_Recorder.NewWriter());
    wrapper.DBWrite(visitor);
    return m_Recorder.TakeLines();
  }

  Wrapper Read() {
    cls_ReadVisitor const visitor(m_Recorder.NewReader());
    return Wrapper(visitor);
  }

  /// The string that a wrapper passes to its back end.
  cow_String Handed(Wrapper const& wrapper) {
    m_Recorder.KeepAll(); // the visitor leaves both mementos alone
    CapturingMemento capturing(*m_Recorder.NewWriter());
    {
      cls_WriteVisitor const visitor(&capturing);
      wrapper.DBWrite(visitor);
    }
    return capturing.m_Written.at(0);
  }

  Recorder m_Recorder;
};
using StringCases = ::testing::Types<PlainCase, TranslatableCase>;
TYPED_TEST_SUITE(StringWrapper, StringCases);

} // namespace

TYPED_TEST(StringWrapper, HasItsOwnType) {
  EXPECT_EQ(TypeParam::Wrapper::TypeId(), TypeParam::TypeId);
  EXPECT_EQ(TypeParam::Make("beam"_cow).DynTypeId(), TypeParam::TypeId);
}

TYPED_TEST(StringWrapper, KeepsItsTextUnderAFreshIdentity) {
  cow_String const text("beam");
  auto const first = TypeParam::Make(text);
  auto const second = TypeParam::Make(text);
  EXPECT_TRUE(first.Text().SharesBufferWith(text));
  EXPECT_NE(first.Uid().Entry(), second.Uid().Entry());
}

TYPED_TEST(StringWrapper, CopiesShareTextAndIdentity) {
  auto const original = TypeParam::Make(cow_String("beam"));
  auto const copy(original);
  EXPECT_TRUE(copy.Text().SharesBufferWith(original.Text()));
  EXPECT_EQ(copy.Uid().Entry(), original.Uid().Entry());
  EXPECT_EQ(original.Uid().Entry()->m_RefCount, 2U);
}

TYPED_TEST(StringWrapper, WritesItsTextAndNothingElse) {
  EXPECT_EQ(this->Written(TypeParam::Make("beam"_cow)), Lines({this->WriteLine("\"beam\"")}));
}

TYPED_TEST(StringWrapper, WritesAFieldsObjectWithoutACheckOfItsCollectionType) {
  auto const wrapper = TypeParam::Make("beam"_cow);
  cls_WriteVisitor const parent(this->m_Recorder.NewWriter());
  cls_WriteVisitor const visitor(parent, cls_FieldHandle(4, "m_Title"_cow), nullptr, nullptr);
  ASSERT_EQ(visitor.StartWrite(TypeParam::TypeId, wrapper.Uid()), 1);
  this->m_Recorder.TakeLines();
  wrapper.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({std::string("write2.Write(field -1 \"") + TypeParam::Field + "\", string \"beam\")"}));
}

TYPED_TEST(StringWrapper, WritingTwiceThroughOneVisitorWritesTheFieldTwice) {
  auto const wrapper = TypeParam::Make("beam"_cow);
  cls_WriteVisitor const visitor(this->m_Recorder.NewWriter());
  wrapper.DBWrite(visitor);
  wrapper.DBWrite(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), Lines({this->WriteLine("\"beam\""), this->WriteLine("\"beam\"")}));
}

TYPED_TEST(StringWrapper, WritingTwiceInOnePassWritesTheFieldTwice) {
  auto const wrapper = TypeParam::Make("beam"_cow);
  RecordingMementoWrite* const memento = this->m_Recorder.NewWriter();
  this->m_Recorder.Keep("write1");
  for (int round = 0; round < 2; ++round) {
    cls_WriteVisitor const visitor(memento);
    wrapper.DBWrite(visitor);
  }
  std::string const kept = "write1.NeedsDeletion() = bool false";
  EXPECT_EQ(this->m_Recorder.TakeLines(),
            Lines({this->WriteLine("\"beam\""), kept, this->WriteLine("\"beam\""), kept}));
}

TYPED_TEST(StringWrapper, PassesACopyOfItsText) {
  auto const wrapper = TypeParam::Make(cow_String("beam"));
  cow_String const handed = this->Handed(wrapper);
  EXPECT_EQ(handed, wrapper.Text());
  EXPECT_FALSE(handed.SharesBufferWith(wrapper.Text()));
}

TYPED_TEST(StringWrapper, PassesACopyOfALiteral) {
  auto const wrapper = TypeParam::Make("beam"_cow);
  cow_String const handed = this->Handed(wrapper);
  EXPECT_EQ(handed, "beam");
  EXPECT_FALSE(handed.SharesBufferWith(wrapper.Text()));
}

TYPED_TEST(StringWrapper, PassesEveryCharacter) {
  using namespace std::string_view_literals;
  EXPECT_EQ(this->Handed(TypeParam::Make(cow_String("be\0am %s\n"sv))), "be\0am %s\n"sv);
}

TYPED_TEST(StringWrapper, WritesNoTextAsEmptyText) {
  auto const wrapper = TypeParam::Make(cow_String());
  EXPECT_EQ(this->Written(wrapper), Lines({this->WriteLine("\"\"")}));
  EXPECT_FALSE(wrapper.Text().HasText()); // the wrapper itself still has no text
}

TYPED_TEST(StringWrapper, WritesEmptyTextAsEmptyText) {
  EXPECT_EQ(this->Written(TypeParam::Make(""_cow)), Lines({this->WriteLine("\"\"")}));
}

TYPED_TEST(StringWrapper, WritingDoesNotChangeTheWrapper) {
  cow_String const text("beam");
  auto const wrapper = TypeParam::Make(text);
  this->Written(wrapper);
  EXPECT_TRUE(wrapper.Text().SharesBufferWith(text));
  EXPECT_EQ(wrapper.Uid().Entry()->m_RefCount, 1U);
}

TYPED_TEST(StringWrapper, ReadsTheIdentityBeforeTheText) {
  this->m_Recorder.Store(TypeParam::Field, "beam");
  cls_ReadVisitor const visitor(this->m_Recorder.NewReader());
  typename TypeParam::Wrapper const wrapper(visitor);
  EXPECT_EQ(this->m_Recorder.TakeLines(), Lines({"read1.GetUid() = uid stored", this->ReadLine("\"beam\"")}));
  EXPECT_EQ(wrapper.Text(), "beam");
  EXPECT_EQ(wrapper.Uid().Entry(), this->m_Recorder.m_Uid.Entry());
}

TYPED_TEST(StringWrapper, ReadsAnAbsentFieldAsEmptyText) {
  auto const wrapper = this->Read();
  EXPECT_TRUE(wrapper.Text().HasText());
  EXPECT_TRUE(wrapper.Text().IsEmpty());
}

TYPED_TEST(StringWrapper, WithoutMementoReadsEmptyTextUnderAFreshIdentity) {
  cls_ReadVisitor const visitor(nullptr);
  typename TypeParam::Wrapper const wrapper(visitor);
  EXPECT_TRUE(wrapper.Text().HasText());
  EXPECT_TRUE(wrapper.Text().IsEmpty());
  EXPECT_EQ(wrapper.Uid().Entry()->m_RefCount, 1U);
}

TYPED_TEST(StringWrapper, ReadsOnlyItsOwnField) {
  this->m_Recorder.Store("STRING", "plain");
  this->m_Recorder.Store("TRSTRING", "translatable");
  EXPECT_EQ(this->Read().Text(), std::string_view(TypeParam::Field) == "STRING" ? "plain" : "translatable");
}

TYPED_TEST(StringWrapper, FailingWritePassesThrough) {
  this->m_Recorder.FailAt("Write");
  EXPECT_THROW(this->Written(TypeParam::Make("beam"_cow)), BackEndFailure);
  EXPECT_EQ(this->m_Recorder.Live(), Lines());
}

TYPED_TEST(StringWrapper, FailingReadPassesThroughAndLeaksNothing) {
  for (char const* operation : {"GetUid", "Read"}) {
    this->m_Recorder.FailAt(operation);
    EXPECT_THROW(this->Read(), BackEndFailure) << operation;
    EXPECT_EQ(this->m_Recorder.Live(), Lines()) << operation;
    EXPECT_EQ(this->m_Recorder.m_Uid.Entry()->m_RefCount, 1U) << operation;
  }
}

#include "examples/backend-jsonl/jsl_Session.h"

#include "collections/cls_ArrayPrim.h"
#include "examples/backend-jsonl/jsl_TestFolder.h"
#include "persist/backend/cls_DeleteWhenNeeded.h"

#include <bit>
#include <fstream>
#include <functional>
#include <random>
#include <sstream>

namespace {

cls_FieldHandle PartField(char const* name) {
  return cls_FieldHandle(cow_String(name));
}

// An object whose fields the test writes and reads.
struct Part {
  static constexpr unsigned int TypeId() noexcept { return 0x740041; }
  void DBWrite(cls_WriteVisitor const& visitor) const {
    if (visitor.StartWrite(TypeId(), m_Uid) != 0) m_Write(visitor);
  }
  std::function<void(cls_WriteVisitor const&)> m_Write = [](cls_WriteVisitor const&) {};
  cls_Uid m_Uid;
};

class JslSession : public jsl_TestFolder {
 protected:
  jsl_Session Open(jsl_Mode mode = jsl_Mode::ReadWrite) { return {Path(), mode, m_Classes}; }
  // A file with one object, "part", that has an int, a text and another object.
  void MakeFile() {
    jsl_Session session = Open(jsl_Mode::Create);
    Part part;
    part.m_Write = [](cls_WriteVisitor const& visitor) {
      visitor.Write(PartField("m_Int"), 3);
      visitor.Write(PartField("m_Text"), "abc"_cow);
      cls_WriteVisitor const other(visitor, PartField("m_Other"), nullptr, nullptr);
      ASSERT_EQ(other.StartWrite(Part::TypeId(), cls_Uid()), 1);
      other.Write(PartField("m_Int"), 4);
    };
    session.Save("part", part);
  }
  std::string Content() const {
    std::stringstream text;
    text << std::ifstream(Path()).rdbuf();
    return text.str();
  }
  void Change(std::string const& from, std::string const& to) const {
    std::string content = Content();
    ASSERT_NE(content.find(from), std::string::npos) << content;
    content.replace(content.find(from), from.size(), to);
    std::ofstream(Path()) << content;
  }
  // The text of what `act` raises.
  static std::string RaisedBy(std::function<void()> const& act) {
    try {
      act();
    } catch (nex_Exception& exception) {
      return exception.AsString().Chars();
    }
    return "nothing was raised";
  }
  // What opening the file and reading the object raises; the file stays as it is.
  std::string RaisedByReading(std::function<void(cls_ReadVisitor const&)> const& read) {
    std::string const before = Content();
    std::string const raised = RaisedBy([&] {
      jsl_Session session = Open();
      read(cls_ReadVisitor(session.MakeReader("part")));
    });
    EXPECT_EQ(Content(), before);
    return raised;
  }
  static void ExpectHas(std::string const& text, std::string const& piece) {
    EXPECT_NE(text.find(piece), std::string::npos) << text;
  }
  static int IntIn(cls_MementoRead* memento) {
    return cls_Received<cls_MementoRead>(memento)->Read(PartField("m_Int"), -1);
  }

  cls_ClassRegistrar m_Classes;
};

} // namespace

TEST_F(JslSession, NumbersOfAnyBitsComeBack) {
  std::mt19937_64 random(7);
  std::vector<double> doubles{0.0, -0.0, 0.1, 5e-324, 1.7976931348623157e308};
  std::vector<float> floats{0.0F, -0.0F, 0.1F, 1e-45F, 3.4028235e38F};
  for (int i = 0; i < 2000; ++i) {
    doubles.push_back(std::bit_cast<double>(random()));
    floats.push_back(std::bit_cast<float>(static_cast<std::uint32_t>(random())));
  }
  auto const expectSame = [](auto value, auto bits) {
    jsl_Json const stored = jsl_Json::parse(jsl_Encode(value).dump());
    EXPECT_EQ(std::bit_cast<decltype(bits)>(jsl_Decode<decltype(value)>(stored)), bits) << stored.dump();
  };
  for (double const value : doubles) expectSame(value, std::bit_cast<std::uint64_t>(value));
  for (float const value : floats) expectSame(value, std::bit_cast<std::uint32_t>(value));
}

TEST_F(JslSession, ADamagedLineIsReportedWithItsNumber) {
  MakeFile();
  for (auto const& [from, to, number] : {std::tuple{"\"roots\"", "\"ROOTS\"", 1},
                                         {"\"version\":1", "\"version\":\"x\"", 2},
                                         {"\"parts\":[{\"id\":", "\"parts\":[{\"id\":-", 2},
                                         {"\"fields\"", "fields", 2}}) {
    std::string const whole = Content();
    Change(from, to);
    std::string const raised = RaisedByReading([](cls_ReadVisitor const&) {});
    ExpectHas(raised, Path() + ", line " + std::to_string(number) + " is damaged");
    std::ofstream(Path()) << whole;
  }
  std::string const whole = Content();
  std::ofstream(Path()) << whole.substr(0, whole.rfind('\n', whole.size() - 2) + 1);
  ExpectHas(RaisedByReading([](cls_ReadVisitor const&) {}), "lines are missing");
}

TEST_F(JslSession, AMissingObjectIsReportedWithTheFieldThatHoldsIt) {
  MakeFile();
  Change("{\"object\":", "{\"object\":9");
  ExpectHas(
      RaisedByReading([](cls_ReadVisitor const& visitor) { cls_ReadVisitor(visitor, PartField("m_Other")); }),
      "m_Other is missing");
}

TEST_F(JslSession, AReferenceToANumberThatIsNoIdNamesNoObject) {
  MakeFile();
  Change("{\"object\":", "{\"reference\":-");
  jsl_Session session = Open();
  cls_ReadVisitor const visitor(session.MakeReader("part"));
  EXPECT_EQ(visitor.DataIsPresent(PartField("m_Other")), 0);
  EXPECT_EQ(visitor.Memento()->ReadReference(PartField("m_Other")).Entry()->m_RefCount, 1U);
  EXPECT_EQ(cls_ReadVisitor(visitor, PartField("m_Other")).Memento()->ClassId(), 1U);
}

TEST_F(JslSession, AValueOfAnotherTypeIsReportedWithItsField) {
  MakeFile();
  auto const expect = [&](auto defaultValue, char const* name) {
    std::string const raised = RaisedByReading([&](cls_ReadVisitor const& visitor) {
      static_cast<void>(visitor.Read(PartField(name), defaultValue));
    });
    ExpectHas(raised, Path() + ", object ");
    ExpectHas(raised, name);
  };
  expect(0.5, "m_Int");
  expect(true, "m_Int");
  expect(cow_String(), "m_Int");
  expect(0, "m_Text");
  Change("\"m_Int\":3", "\"m_Int\":300");
  expect(static_cast<signed char>(0), "m_Int");
  Change("\"m_Text\":\"abc\"", "\"m_Text\":{\"bytes\":\"0g\"}");
  expect(cow_String(), "m_Text");
}

TEST_F(JslSession, ASaveThatCannotBeWrittenLeavesTheFileAndWhatIsInMemory) {
  MakeFile();
  std::string const before = Content();
  std::filesystem::create_directory(Path("test.jsonl.new")); // where the new content would go
  jsl_Session session = Open();
  cls_ArrayPrimInt array;
  for (int i = 0; i < 5000; ++i) array.Append(i);
  Part part;
  part.m_Write = [&](cls_WriteVisitor const& visitor) {
    array.DBWrite(cls_WriteVisitor(visitor, PartField("m_Array"), nullptr, &array));
  };
  ExpectHas(RaisedBy([&] { session.Save("part", part); }), "cannot be opened");
  EXPECT_EQ(Content(), before);
  EXPECT_EQ(IntIn(session.MakeReader("part")), 3);

  std::filesystem::remove(Path("test.jsonl.new"));
  session.Save("part", part); // the array is tied to a list that was not stored
  session.Close();
  array.DropBlocks();
  jsl_Session again = Open(jsl_Mode::ReadOnly);
  cls_ReadVisitor const visitor(again.MakeReader("part"));
  cls_ArrayPrimInt stored{cls_ReadVisitor(visitor, PartField("m_Array"))};
  ASSERT_EQ(stored.Size(), 5000);
  for (int i = 0; i < 5000; ++i) ASSERT_EQ(stored.ConstGet(i), i);
  stored.Release();
}

TEST_F(JslSession, OfTwoSessionsTheSecondToCommitIsRefused) {
  MakeFile();
  jsl_Session first = Open();
  jsl_Session second = Open();
  Part part;
  part.m_Write = [&](cls_WriteVisitor const& visitor) {
    visitor.Write(PartField("m_Int"), 5);
    second.Save("other", Part());
  };
  ExpectHas(RaisedBy([&] { first.Save("part", part); }), "was changed by another session");
  EXPECT_EQ(IntIn(second.MakeReader("part")), 3);
  part.m_Write = [](cls_WriteVisitor const& visitor) { visitor.Write(PartField("m_Int"), 6); };
  first.Save("part", part);
  EXPECT_EQ(IntIn(second.MakeReader("part")), 6);
  cls_Received<cls_MementoRead>(first.MakeReader("other")).reset();
}

TEST_F(JslSession, AFileIsMadeOnceAndAReadOnlySessionWritesNothing) {
  MakeFile();
  ExpectHas(RaisedBy([&] { Open(jsl_Mode::Create); }), "cannot be opened");
  jsl_Session session = Open(jsl_Mode::ReadOnly);
  ExpectHas(RaisedBy([&] { session.Save("part", Part()); }), "reading only");
  ExpectHas(RaisedBy([&] { session.MakeReader("nothing"); }), "there is no object nothing");
}

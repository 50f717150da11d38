#include <array>

#include "tests/contract/ContractTest.h"

// Scalars: each type in its field, and the queries about fields.

namespace {

class ContractScalars : public ContractTest {
 protected:
  /// Twenty values through the slots of their type, each in a separate object.
  template <class T> void ExpectRoundTrip() {
    constexpr int Count = 20;
    auto const root = [](int i) { return "value " + std::to_string(i); };
    InTransaction(Session(), [&] {
      for (int i = 0; i < Count; ++i)
        Save(Session(), Scripted([i](cls_WriteVisitor const& visitor) {
               visitor.Memento()->Write(FieldFor<T>(), SampleOf<T>(i));
             }),
             root(i));
    });
    Step();
    T const other = SampleOf<T>(Count + 5);
    for (int i = 0; i < Count; ++i)
      Read(
          [&](cls_ReadVisitor const& visitor) {
            EXPECT_TRUE(IsSameValue(visitor.Memento()->Read(FieldFor<T>(), other), SampleOf<T>(i))) << i;
            EXPECT_TRUE(IsSameValue(visitor.Memento()->Read(FieldOf("Absent"), other), other)) << i;
          },
          root(i));
  }
};
CONTRACT_FIXTURE(ContractScalars);

TEST_P(ContractScalars, BoolsComeBack) {
  COVERS(cls_MementoWrite, 6);
  COVERS(cls_MementoRead, 6);
  ExpectRoundTrip<bool>();
}
TEST_P(ContractScalars, StringsComeBack) {
  COVERS(cls_MementoWrite, 7);
  COVERS(cls_MementoRead, 9);
  ExpectRoundTrip<cow_String>();
}
TEST_P(ContractScalars, FloatsComeBack) {
  COVERS(cls_MementoWrite, 8);
  COVERS(cls_MementoRead, 10);
  ExpectRoundTrip<float>();
}
TEST_P(ContractScalars, DoublesComeBack) {
  COVERS(cls_MementoWrite, 9);
  COVERS(cls_MementoRead, 11);
  ExpectRoundTrip<double>();
}
TEST_P(ContractScalars, UnsignedIntsComeBack) {
  COVERS(cls_MementoWrite, 10);
  COVERS(cls_MementoRead, 12);
  ExpectRoundTrip<unsigned int>();
}
TEST_P(ContractScalars, IntsComeBack) {
  COVERS(cls_MementoWrite, 11);
  COVERS(cls_MementoRead, 13);
  ExpectRoundTrip<int>();
}
TEST_P(ContractScalars, SignedCharsComeBack) {
  COVERS(cls_MementoWrite, 12);
  COVERS(cls_MementoRead, 14);
  ExpectRoundTrip<signed char>();
}
TEST_P(ContractScalars, ShortsComeBack) {
  COVERS(cls_MementoWrite, 13);
  COVERS(cls_MementoRead, 15);
  ExpectRoundTrip<short>();
}
TEST_P(ContractScalars, UnsignedShortsComeBack) {
  COVERS(cls_MementoWrite, 14);
  COVERS(cls_MementoRead, 16);
  ExpectRoundTrip<unsigned short>();
}
TEST_P(ContractScalars, LongLongsComeBack) {
  COVERS(cls_MementoWrite, 15);
  COVERS(cls_MementoRead, 17);
  ExpectRoundTrip<long long>();
}
TEST_P(ContractScalars, UnsignedLongLongsComeBack) {
  COVERS(cls_MementoWrite, 16);
  COVERS(cls_MementoRead, 18);
  ExpectRoundTrip<unsigned long long>();
}

TEST_P(ContractScalars, EnumerationsComeBackAsTheirInt) {
  COVERS(cls_MementoWrite, 17);
  COVERS(cls_MementoRead, 19);
  for (int const value : {0, 1, -1, std::numeric_limits<int>::min(), std::numeric_limits<int>::max()}) {
    Write([=](cls_WriteVisitor const& visitor) { visitor.Memento()->WriteEnum(FieldOf("Enum"), value); });
    Read([=](cls_ReadVisitor const& visitor) {
      EXPECT_EQ(visitor.Memento()->ReadEnum(FieldOf("Enum")), value);
    });
  }
}

TEST_P(ContractScalars, AReferenceIsTheIdentityOfTheObjectThatItNames) {
  COVERS(cls_MementoWrite, 18);
  COVERS(cls_MementoRead, 3, 20);
  cls_Uid const target;
  Write([&](cls_WriteVisitor const& visitor) {
    visitor.Memento()->WriteReference(FieldOf("Reference"), target);
    cls_WriteVisitor const child(visitor, FieldOf("Object"), nullptr, nullptr);
    ASSERT_EQ(child.StartWrite(Scripted::TypeId(), target), 1);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_Uid const named = visitor.Memento()->ReadReference(FieldOf("Reference"));
    cls_ReadVisitor const child = ObjectIn(visitor, FieldOf("Object"));
    EXPECT_EQ(named.Entry(), child.Memento()->GetUid().Entry());
    EXPECT_NE(named.Entry(), visitor.Memento()->GetUid().Entry());
  });
}

TEST_P(ContractScalars, BytesComeBackWhateverTheirNumber) {
  COVERS(cls_MementoWrite, 19);
  COVERS(cls_MementoRead, 21);
  for (int const size : {0, 1, 255, 256, 5000, 100'000}) {
    std::vector<unsigned char> bytes(static_cast<std::size_t>(size));
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = static_cast<unsigned char>(i * 7 + i / 256);
    Write([&](cls_WriteVisitor const& visitor) {
      visitor.Memento()->WriteBytes(FieldOf("Bytes"), bytes.data(), size);
    });
    Read([&](cls_ReadVisitor const& visitor) {
      std::vector<unsigned char> read(bytes.size() + 3, 0xEE);
      EXPECT_EQ(visitor.Memento()->ReadBytes(FieldOf("Bytes"), read.data(), size + 3), size);
      EXPECT_TRUE(std::equal(bytes.begin(), bytes.end(), read.begin()));
      EXPECT_EQ(read[bytes.size()], 0xEE);
    });
  }
}

TEST_P(ContractScalars, BytesBeyondTheCapacityAreCountedButNotCopied) {
  COVERS(cls_MementoRead, 21);
  Write(
      [](cls_WriteVisitor const& visitor) { visitor.Memento()->WriteBytes(FieldOf("Bytes"), "abcdef", 6); });
  Read([](cls_ReadVisitor const& visitor) {
    std::array<char, 6> bytes{'.', '.', '.', '.', '.', '.'};
    EXPECT_EQ(visitor.Memento()->ReadBytes(FieldOf("Bytes"), bytes.data(), 4), 6);
    EXPECT_EQ(std::string(bytes.data(), 6), "abcd..");
    EXPECT_EQ(visitor.Memento()->ReadBytes(FieldOf("Bytes"), nullptr, 0), 6);
  });
}

TEST_P(ContractScalars, ASecondWriteOfAFieldReplacesTheFirst) {
  COVERS(cls_MementoWrite, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16, 17, 18, 19);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    for (int const i : {11, 4})
      ForScalarTypes([&]<class T>(std::type_identity<T>) { memento.Write(FieldFor<T>(), SampleOf<T>(i)); });
    for (int const value : {5, 6}) memento.WriteEnum(FieldOf("Enum"), value);
    for (char const* const name : {"Object", "Second"}) {
      cls_Uid const uid;
      cls_WriteVisitor const child(visitor, FieldOf(name), nullptr, nullptr);
      ASSERT_EQ(child.StartWrite(Scripted::TypeId(), uid), 1);
      memento.WriteReference(FieldOf("Reference"), uid);
    }
    memento.WriteBytes(FieldOf("Bytes"), "long bytes", 10);
    memento.WriteBytes(FieldOf("Bytes"), "short", 5);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    ForScalarTypes([&]<class T>(std::type_identity<T>) {
      EXPECT_TRUE(IsSameValue(memento.Read(FieldFor<T>(), SampleOf<T>(9)), SampleOf<T>(4)))
          << ContractTypeName<T>;
    });
    EXPECT_EQ(memento.ReadEnum(FieldOf("Enum")), 6);
    cls_ReadVisitor const second = ObjectIn(visitor, FieldOf("Second"));
    EXPECT_EQ(memento.ReadReference(FieldOf("Reference")).Entry(), second.GetUid().Entry());
    std::array<char, 10> bytes{};
    EXPECT_EQ(memento.ReadBytes(FieldOf("Bytes"), bytes.data(), 10), 5);
    EXPECT_STREQ(bytes.data(), "short");
  });
}

TEST_P(ContractScalars, AFieldIsPresentOnceItIsWritten) {
  COVERS(cls_MementoWrite, 2);
  COVERS(cls_MementoRead, 4, 5);
  Write([](cls_WriteVisitor const& visitor) {
    cls_MementoWrite& memento = *visitor.Memento();
    EXPECT_EQ(memento.FieldIsPresent(FieldFor<int>()), 0);
    memento.Write(FieldFor<int>(), 7);
    EXPECT_NE(memento.FieldIsPresent(FieldFor<int>()), 0);
    EXPECT_EQ(memento.FieldIsPresent(FieldFor<double>()), 0);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead const& memento = *visitor.Memento();
    EXPECT_NE(memento.FieldIsPresent(FieldFor<int>()), 0);
    EXPECT_NE(memento.DataIsPresent(FieldFor<int>()), 0);
    EXPECT_EQ(memento.FieldIsPresent(FieldFor<double>()), 0);
    EXPECT_EQ(memento.DataIsPresent(FieldFor<double>()), 0);
  });
}

TEST_P(ContractScalars, AFieldWithoutNameIsKnownByItsNumber) {
  COVERS(cls_MementoWrite, 2, 11);
  COVERS(cls_MementoRead, 4, 13);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Memento()->Write(cls_FieldHandle(18, cow_String()), 18);
    EXPECT_NE(visitor.Memento()->FieldIsPresent(cls_FieldHandle(18, cow_String())), 0);
  });
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Memento()->Read(cls_FieldHandle(18, cow_String()), -1), 18);
    EXPECT_EQ(visitor.Memento()->FieldIsPresent(cls_FieldHandle(19, cow_String())), 0);
  });
}

TEST_P(ContractScalars, AnObjectKnowsItsClassAndTheVersionThatWroteIt) {
  COVERS(cls_MementoRead, 22, 23);
  Write([](cls_WriteVisitor const&) {});
  Read([](cls_ReadVisitor const& visitor) {
    EXPECT_EQ(visitor.Memento()->ClassId(), Scripted::TypeId());
    EXPECT_EQ(visitor.Memento()->ClassVersion(), ScriptedVersion);
  });
}

TEST_P(ContractScalars, EveryObjectOfADatabaseHasItsName) {
  COVERS(cls_MementoRead, 2);
  Write([](cls_WriteVisitor const& visitor) {
    cls_WriteVisitor const child(visitor, FieldOf("Object"), nullptr, nullptr);
    ASSERT_EQ(child.StartWrite(Scripted::TypeId(), cls_Uid()), 1);
  });
  cow_String first;
  for (int i = 0; i < 2; ++i) {
    Read([&](cls_ReadVisitor const& visitor) {
      if (i == 0) first = visitor.Memento()->DbId();
      EXPECT_EQ(visitor.Memento()->DbId(), first);
      EXPECT_FALSE(first.IsEmpty());
      cls_ReadVisitor const child = ObjectIn(visitor, FieldOf("Object"));
      EXPECT_EQ(child.Memento()->DbId(), first);
    });
    Step();
  }
}

TEST_P(ContractScalars, AnIntegerReadAsAnotherTypeIsTheSameNumberOrRefused) {
  COVERS(cls_MementoRead, 11, 13, 15, 17);
  Write([](cls_WriteVisitor const& visitor) { visitor.Memento()->Write(FieldOf("Any"), 7); });
  Read([this](cls_ReadVisitor const& visitor) {
    ForTypes<short, long long>([&]<class T>(std::type_identity<T>) {
      SCOPED_TRACE(ContractTypeName<T>);
      auto const read = [&] {
        EXPECT_EQ(visitor.Memento()->Read(FieldOf("Any"), static_cast<T>(99)), static_cast<T>(7));
      };
      if (Can().m_ConvertsIntegers) return read();
      std::string const message = MessageOf(ContractError::WrongClass, read);
      EXPECT_TRUE(Contains(message, "m_Any")) << message;
    });
    try {
      EXPECT_EQ(visitor.Memento()->Read(FieldOf("Any"), 99.0), 7); // either is right
    } catch (nex_Exception const& exception) {
      EXPECT_TRUE(Contains(exception.AsString().Chars(), "m_Any"));
    }
    EXPECT_EQ(visitor.Read(FieldOf("Any"), -1), 7);
  });
}

TEST_P(ContractScalars, AScalarThatAnotherTypeCannotHoldIsRefused) {
  COVERS(cls_MementoRead, 9, 11, 13, 14);
  Write([](cls_WriteVisitor const& visitor) {
    visitor.Write(FieldFor<cow_String>(), "seven"_cow);
    visitor.Write(FieldFor<double>(), 0.5);
    visitor.Write(FieldFor<int>(), 100'000);
  });
  Read([](cls_ReadVisitor const& visitor) {
    cls_MementoRead& memento = *visitor.Memento();
    for (cls_FieldHandle const& field : {FieldFor<cow_String>(), FieldFor<double>()}) {
      std::string const message = MessageOf(ContractError::WrongClass, [&] { memento.Read(field, 1); });
      EXPECT_TRUE(Contains(message, field.Name().View())) << message;
    }
    MessageOf(ContractError::WrongClass, [&] { memento.Read(FieldFor<int>(), static_cast<signed char>(1)); });
  });
}

} // namespace

#include "store/sto_CheckClasses.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <functional>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "errors/nex_ClassMetadata.h"
#include "metadata/cls_MetadataRegistrar.h"
#include "tests/support/store/StoreTest.h"
#include "wrappers/cls_xpString.h"

namespace {

using Sentences = std::vector<std::string>;
using DeclareAct = std::function<void(cls_ClassRegistrar&)>;

constexpr unsigned int BoltId = 0x710001; // 7405569
constexpr unsigned int NutId = 0x710002;
constexpr unsigned int WasherId = 0x710003;

cls_FieldHandle BoltLengthField() {
  return {0, "m_Length"_cow};
}

cls_ClassMetadata& Class(cls_ClassRegistrar& registrar, char const* name, unsigned int classId,
                         int version = 1, unsigned int base = 1) {
  return registrar.CreateClassMD(cow_String(name), classId, version, nullptr, base);
}

class StoreCheckClasses : public StoreFileTest {
 protected:
  /// The messages about a registrar filled by `declare`; Open must refuse it with the same ones.
  [[nodiscard]] Sentences Refused(DeclareAct const& declare) const {
    cls_ClassRegistrar registrar;
    declare(registrar);
    Sentences const all = sto_CheckClasses(registrar);
    EXPECT_EQ(sto_CheckClasses(registrar, sto_ClassChecks::Refused), all);
    ExpectRefused(registrar, all);
    return all;
  }

  /// The messages about a registrar that Open accepts.
  [[nodiscard]] Sentences Reported(DeclareAct const& declare) const {
    cls_ClassRegistrar registrar;
    declare(registrar);
    EXPECT_EQ(sto_CheckClasses(registrar, sto_ClassChecks::Refused), Sentences());
    std::filesystem::remove(Path());
    EXPECT_NO_THROW(sto_Store::Open(Path(), sto_Mode::Create, registrar));
    return sto_CheckClasses(registrar);
  }

  /// Expects Misuse with all sentences, and no file if there was none before.
  void ExpectRefused(cls_ClassRegistrar const& registrar, Sentences const& sentences) const {
    std::string message = Path() + ":";
    for (std::string const& sentence : sentences) message += " " + sentence;
    std::filesystem::remove(Path());
    EXPECT_EQ(MessageOf(sto_ErrorKind::Misuse, [&] { sto_Store::Open(Path(), sto_Mode::Create, registrar); }),
              message);
    EXPECT_FALSE(std::filesystem::exists(Path()));
  }
};

template <class Registrar>
concept Opens = requires(Registrar&& registrar) {
  sto_Store::Open("x", sto_Mode::Create, std::forward<Registrar>(registrar));
};

} // namespace

TEST_F(StoreCheckClasses, CorrectDeclarationsHaveNoMistake) {
  EXPECT_EQ(sto_CheckClasses(TestClasses()), Sentences());
  EXPECT_EQ(Reported([](cls_ClassRegistrar&) {}), Sentences());
  EXPECT_EQ(
      Reported([](cls_ClassRegistrar& r) {
        Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
        Class(r, "Bolt", BoltId, 2, NutId).AddAttribute(BoltLengthField(), ATTR_STRING, 1, COLLECTION_NONE);
        Class(r, "Nut", NutId, 7, nex_Exception::TypeId())
            .AddAttribute(cls_FieldHandle("m_A"_cow), ATTR_INT, 1, COLLECTION_NONE)
            .AddAttribute(cls_FieldHandle("m_B"_cow), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE)
            .AddAttribute(cls_FieldHandle(300, "m_C"_cow), ATTR_INT, 1, COLLECTION_NONE)
            .AddAttribute(cls_FieldHandle(44, "m_D"_cow), ATTR_OBJECT, 1, COLLECTION_OBJ);
      }),
      Sentences());
}

TEST_F(StoreCheckClasses, TheLibrarysOwnClassesMayBeRegistered) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              for (cls_MetadataRegistrar::InitFn const declare : nex_ClassMetadata::InOrder()) declare(r);
              r.AddClassMD(new cls_TypeAdapter<cls_xpString>("cow_String"_cow, 800, 1));
            }),
            Sentences());
}

TEST_F(StoreCheckClasses, NotesOnNothingAreMistakes) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId)
                  .AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle("m_Part"_cow), ATTR_OBJECT, 1, COLLECTION_NONE);
              r.NotesOf(BoltId, 1).Note("source", "catalogue").Unit("m_Length", "mm").Compress("m_Part");
              r.NotesOf(BoltId, 2);
            }),
            Sentences{"There are notes on version 2 of class " + std::to_string(BoltId) +
                      ", which is not declared."});
  auto const refused = [](char const* attribute, bool compresses) {
    return [=](cls_ClassRegistrar& r) {
      Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
      if (compresses)
        r.NotesOf(BoltId, 1).Compress(attribute);
      else
        r.NotesOf(BoltId, 1).Unit(attribute, "mm");
    };
  };
  EXPECT_EQ(
      Refused(refused("m_Lenght", false)),
      Sentences{"Class Bolt version 1 has notes on attribute m_Lenght, which it does not declare itself."});
  EXPECT_EQ(
      Refused(refused("m_Length", true)),
      Sentences{
          "Class Bolt version 1 says whether attribute m_Length is compressed, which is no list, array or blob."});
}

TEST_F(StoreCheckClasses, EqualRepeatsAreNoMistake) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              for (int i = 0; i < 3; ++i) {
                Class(r, "Bolt", BoltId, 2).AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
                Class(r, "Bolt", BoltId, 1).AddAttribute(BoltLengthField(), ATTR_FLOAT, 1, COLLECTION_NONE);
              }
            }),
            Sentences());
}

TEST_F(StoreCheckClasses, OneNumberForTwoAttributes) {
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId, 3)
                  .AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle(0, "m_Width"_cow), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle(0, "m_Height"_cow), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle(-7, "m_X"_cow), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle(-7, ""_cow), ATTR_INT, 1, COLLECTION_NONE)
                  .AddAttribute(cls_FieldHandle(256, "m_Other"_cow), ATTR_INT, 1, COLLECTION_NONE);
            }),
            (Sentences{"Class Bolt version 3 gives number -7 to attributes without name and m_X.",
                       "Class Bolt version 3 gives number 0 to attributes m_Height, m_Length and m_Width."}));
}

TEST_F(StoreCheckClasses, AnAttributeThatIsDeclaredAgainOtherwise) {
  DeclareAct const number = [](cls_ClassRegistrar& r) {
    Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
  };
  DeclareAct const list = [](cls_ClassRegistrar& r) {
    Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_DOUBLE, 1, COLLECTION_LIST_DOUBLE);
  };
  std::string const start = "Class Bolt version 1 is declared again with attribute m_Length (number 0, type ";
  EXPECT_EQ(Refused([&](cls_ClassRegistrar& r) {
              number(r);
              list(r);
            }),
            Sentences{start +
                      "103, type argument 1, collection type 52), which it has already (number 0, type "
                      "5, type argument 1, collection type 0); the first declaration stays."});
  EXPECT_EQ(Refused([&](cls_ClassRegistrar& r) {
              list(r);
              number(r);
            }),
            Sentences{start + "5, type argument 1, collection type 0), which it has already (number 0, type "
                              "103, type argument 1, collection type 52); the first declaration stays."});
}

TEST_F(StoreCheckClasses, AnAttributeThatIsLostWithDroppedMetadata) {
  auto const late = [](cls_ClassRegistrar& r) {
    auto* const metadata = new cls_ClassMetadata("Bolt"_cow, BoltId, 1, nullptr, 1);
    metadata->AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
    r.AddClassMD(metadata);
  };
  EXPECT_EQ(
      Refused([&](cls_ClassRegistrar& r) {
        Class(r, "Bolt", BoltId);
        late(r);
      }),
      Sentences{"Class Bolt version 1 is declared again with attribute m_Length (number 0, type 5, type "
                "argument 1, collection type 0), which the first registration does not have; it is "
                "lost."});
  EXPECT_EQ(Reported([&](cls_ClassRegistrar& r) {
              cls_ClassMetadata& first = Class(r, "Bolt", BoltId);
              late(r);
              first.AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE); // declared after all
            }),
            Sentences());
}

TEST_F(StoreCheckClasses, AClassVersionThatIsRegisteredAgainUnderAnotherName) {
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId, 4);
              Class(r, "Nut", BoltId, 4);
            }),
            Sentences{"Class Bolt version 4 (class ID 7405569) is registered again under the name Nut; the "
                      "first registration stays."});
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Nut", BoltId, 4);
              Class(r, "Bolt", BoltId, 4);
            }),
            Sentences{"Class Nut version 4 (class ID 7405569) is registered again under the name Bolt; the "
                      "first registration stays."});
}

TEST_F(StoreCheckClasses, AClassVersionThatIsRegisteredAgainWithAnotherBase) {
  EXPECT_EQ(
      Refused([](cls_ClassRegistrar& r) {
        Class(r, "Nut", NutId);
        Class(r, "Bolt", BoltId, 4, NutId);
        Class(r, "Bolt", BoltId, 4);
        Class(r, "Screw", BoltId, 4, nex_Exception::TypeId());
      }),
      (Sentences{"Class Bolt version 4 (class ID 7405569) is registered again with no base class instead "
                 "of base class Nut; the first registration stays.",
                 "Class Bolt version 4 (class ID 7405569) is registered again under the name Screw and "
                 "with base class nex_Exception instead of base class Nut; the first registration "
                 "stays."}));
}

TEST_F(StoreCheckClasses, OneNameForTwoClasses) {
  Sentences const expected{"Classes 7405569 and 7405570 are both called Bolt."};
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId);
              Class(r, "Bolt", NutId, 5);
            }),
            expected);
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", NutId, 5);
              Class(r, "Bolt", BoltId);
            }),
            expected);
}

TEST_F(StoreCheckClasses, ClassesWithoutNameAreNotTakenForOne) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              Class(r, "", BoltId);
              Class(r, "", NutId);
            }),
            Sentences());
}

TEST_F(StoreCheckClasses, AClassWithTheIdOfALibraryClass) {
  EXPECT_EQ(Refused([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", cls_InternalListTypeId, 3);
              Class(r, "Bolt", cls_InternalListTypeId, 2);
            }),
            (Sentences{"Class Bolt version 2 has the class ID of cls_InternalList of the library.",
                       "Class Bolt version 3 has the class ID of cls_InternalList of the library."}));
}

TEST_F(StoreCheckClasses, ClassesThatDeriveFromEachOtherInACircle) {
  auto const classes =
      [](std::span<std::pair<char const*, std::pair<unsigned int, unsigned int>> const> all) {
        return [all](cls_ClassRegistrar& r) {
          for (auto const& [name, ids] : all) Class(r, name, ids.first, 1, ids.second);
        };
      };
  std::vector<std::pair<char const*, std::pair<unsigned int, unsigned int>>> circle{
      {"Bolt", {BoltId, WasherId}},
      {"Nut", {NutId, BoltId}},
      {"Washer", {WasherId, NutId}},
      {"Tail", {WasherId + 1, NutId}},
      {"Head", {BoltId - 1, NutId}}};
  Sentences const expected{"Classes Bolt, Washer and Nut derive from each other in a circle."};
  EXPECT_EQ(Refused(classes(circle)), expected);
  std::ranges::reverse(circle);
  EXPECT_EQ(Refused(classes(circle)), expected);
}

TEST_F(StoreCheckClasses, ACircleThroughTheRootsId) {
  Sentences all;
  cls_ClassRegistrar registrar;
  Class(registrar, "Root", 1, 1, BoltId);
  Class(registrar, "Bolt", BoltId);
  EXPECT_EQ(sto_CheckClasses(registrar, sto_ClassChecks::Refused),
            Sentences{"Classes Root and Bolt derive from each other in a circle."});
}

TEST_F(StoreCheckClasses, OlderVersionsMakeNoCircle) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId, 1, NutId); // meanwhile the bases have changed places
              Class(r, "Bolt", BoltId, 2);
              Class(r, "Nut", NutId, 1);
              Class(r, "Nut", NutId, 2, BoltId);
            }),
            Sentences());
}

TEST_F(StoreCheckClasses, UnknownBaseClassIsReportedAndNotRefused) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) { Class(r, "Bolt", BoltId, 2, 12345); }),
            Sentences{"Class Bolt version 2 derives from class 12345, which is not declared."});
}

TEST_F(StoreCheckClasses, RenamedClassIsReportedAndNotRefused) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              Class(r, "Bolt", BoltId, 1);
              Class(r, "Screw", BoltId, 2);
              Class(r, "Screw", BoltId, 3);
            }),
            Sentences{"Class Screw version 2 is called Bolt in version 1."});
}

TEST_F(StoreCheckClasses, NameOfALibraryClassIsReportedAndNotRefused) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) { Class(r, "nex_Exception", BoltId); }),
            Sentences{"Class nex_Exception version 1 has the name of a class of the library."});
}

TEST_F(StoreCheckClasses, ReservedIdAndVersionAreReportedAndNotRefused) {
  EXPECT_EQ(Reported([](cls_ClassRegistrar& r) {
              Class(r, "Root", 1, 1, BoltId);
              Class(r, "Bolt", BoltId, -1, NutId);
              Class(r, "Nut", NutId, 1, 3);
              Class(r, "Three", 3, -2, nex_Exception::TypeId());
            }),
            (Sentences{"Class Root version 1 has class ID 1, which says of other classes that they have no "
                       "base class.",
                       "Class Bolt version -1 has the version number that stands for no version."}));
}

TEST_F(StoreCheckClasses, AttributesThatNoCollectionFitsAreReportedAndNotRefused) {
  auto const sentences = [&](cls_AttributeType type, cls_CollectionType collection) {
    return Reported([&](cls_ClassRegistrar& r) {
      Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), type, 1, collection);
    });
  };
  std::string const start = "Class Bolt version 1 declares attribute m_Length with type ";
  EXPECT_EQ(sentences(ATTR_INT, COLLECTION_MAP_STRING_FLOAT),
            Sentences{start + "5 and collection type 63, which no collection has."});
  EXPECT_EQ(sentences(ATTR_INT, COLLECTION_MAP_STRING_OBJ),
            Sentences{start + "5 and collection type 2, which no collection has."});
  EXPECT_EQ(sentences(ATTR_OBJECT, COLLECTION_MAP_STRING),
            Sentences{start + "120 and collection type 60, which no collection has."});
  EXPECT_EQ(sentences(ATTR_INT, COLLECTION_LIST_DOUBLE),
            Sentences{start + "5 and collection type 52, whose elements have another type."});
  EXPECT_EQ(sentences(ATTR_DOUBLE, COLLECTION_TABLE_INT),
            Sentences{start + "103 and collection type 84, whose elements have another type."});
}

TEST_F(StoreCheckClasses, AttributesOfEachKindOfCollectionAreNoMistake) {
  struct Kind {
    cls_AttributeType m_Type;
    cls_CollectionType m_Collection;
  };
  for (Kind const kind :
       {Kind{ATTR_BOOL, COLLECTION_LIST_BOOL}, Kind{ATTR_DOUBLE, COLLECTION_LIST_DOUBLE},
        Kind{ATTR_FLOAT, COLLECTION_TABLE_FLOAT}, Kind{ATTR_INT, COLLECTION_LIST_INT},
        Kind{ATTR_INT, COLLECTION_LIST_UINT}, Kind{ATTR_TRSTRING, COLLECTION_LIST_STRING},
        Kind{ATTR_OBJECT, COLLECTION_LIST_DOUBLE}, Kind{AnyType, COLLECTION_LIST_INT},
        Kind{ATTR_UINT, COLLECTION_MAP_STRING_UINT}, Kind{ATTR_OBJECT, COLLECTION_OBJ},
        Kind{ATTR_STRING, COLLECTION_MAP_STRING_STRING}, Kind{ATTR_OBJECT, COLLECTION_MAP_INT_OBJ},
        Kind{ATTR_INT, COLLECTION_KIND_70}, Kind{ATTR_INT, static_cast<cls_CollectionType>(777)}})
    EXPECT_EQ(Reported([&](cls_ClassRegistrar& r) {
                Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), kind.m_Type, 1, kind.m_Collection);
              }),
              Sentences())
        << kind.m_Type << " " << kind.m_Collection;
}

TEST_F(StoreCheckClasses, AllMistakesAreSaidAtOnceInOneOrder) {
  std::vector<DeclareAct> slips{
      [](cls_ClassRegistrar& r) { Class(r, "Washer", WasherId, 1, WasherId + 1); },
      [](cls_ClassRegistrar& r) { Class(r, "Ring", WasherId + 1, 1, WasherId); },
      [](cls_ClassRegistrar& r) {
        Class(r, "Nut", NutId, 2)
            .AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE)
            .AddAttribute(cls_FieldHandle(0, "m_Width"_cow), ATTR_INT, 1, COLLECTION_NONE);
      },
      [](cls_ClassRegistrar& r) { Class(r, "Nut", BoltId, 2); },
  };
  Sentences const expected{"Classes 7405569 and 7405570 are both called Nut.",
                           "Class Nut version 2 gives number 0 to attributes m_Length and m_Width.",
                           "Classes Washer and Ring derive from each other in a circle."};
  auto const declareAll = [&](cls_ClassRegistrar& r) {
    for (DeclareAct const& slip : slips) slip(r);
  };
  EXPECT_EQ(Refused(declareAll), expected);
  std::ranges::reverse(slips);
  EXPECT_EQ(Refused(declareAll), expected);
}

TEST_F(StoreCheckClasses, RefusedStoreIsNotTouched) {
  { sto_Store::Open(Path(), sto_Mode::Create, TestClasses()).Save("node", Node(1)); }
  std::filesystem::file_time_type const before = std::filesystem::last_write_time(Path());
  cls_ClassRegistrar registrar;
  DeclareNode(registrar);
  Class(registrar, "Knot", Node::TypeId());
  for (sto_Mode const mode : {sto_Mode::ReadWrite, sto_Mode::ReadOnly})
    static_cast<void>(MessageOf(sto_ErrorKind::Misuse, [&] { sto_Store::Open(Path(), mode, registrar); }));
  EXPECT_EQ(std::filesystem::last_write_time(Path()), before);
  EXPECT_EQ(sto_Store::Open(Path(), sto_Mode::ReadOnly, TestClasses()).Load<Node>("node")->m_Value, 1);
}

TEST_F(StoreCheckClasses, ReplayedDeclarationsAreNoMistakeUnlessTheyDiffer) {
  cls_MetadataRegistrar& declarations = omi_Singleton<cls_MetadataRegistrar>::Instance();
  constexpr unsigned int Results = 4;
  auto const bolt = +[](cls_ClassRegistrar& r) {
    Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_INT, 1, COLLECTION_NONE);
  };
  auto const otherBolt = +[](cls_ClassRegistrar& r) {
    Class(r, "Bolt", BoltId).AddAttribute(BoltLengthField(), ATTR_UINT, 1, COLLECTION_NONE);
  };
  declarations.initClassMetadata(bolt, Results);
  declarations.initClassMetadata(bolt, Results);
  auto const replay = [&](cls_ClassRegistrar& r) { declarations.initMetadata(&r, Results); };
  EXPECT_EQ(Reported(replay), Sentences());
  EXPECT_EQ(sto_CheckClasses(declarations.Registrar4()), Sentences());
  declarations.initClassMetadata(otherBolt, Results);
  EXPECT_EQ(Refused(replay).size(), 1U);
  EXPECT_EQ(sto_CheckClasses(declarations.Registrar4()), Refused(replay));
  delete &declarations;
}

TEST_F(StoreCheckClasses, ATemporaryRegistrarDoesNotCompile) {
  static_assert(Opens<cls_ClassRegistrar&>);
  static_assert(Opens<cls_ClassRegistrar const&>);
  static_assert(!Opens<cls_ClassRegistrar>);
  static_assert(!Opens<cls_ClassRegistrar const>);
}

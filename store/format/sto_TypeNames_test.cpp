#include "store/format/sto_TypeNames.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <regex>
#include <set>

#include "store/format/sto_MapCodec.h"
#include "store/format/sto_TagFits.h"

namespace {

/// The enumerators in the text of a header, with their codes.
std::set<std::pair<int, std::string>> EnumeratorsOf(std::string const& header, std::string const& prefix) {
  std::ifstream file(KVL_SOURCE_DIR "/" + header);
  std::string const text{std::istreambuf_iterator<char>(file), {}};
  std::regex const enumerator("\\n  (" + prefix + "\\w+) = (\\d+),");
  std::set<std::pair<int, std::string>> found;
  for (std::sregex_iterator i(text.begin(), text.end(), enumerator); i != std::sregex_iterator(); ++i)
    found.emplace(std::stoi((*i)[2]), (*i)[1]);
  return found;
}

cls_AttributeMetadata Declared(int type, cls_CollectionType collection) {
  cls_AttributeMetadata declared;
  declared.m_Type = static_cast<cls_AttributeType>(type);
  declared.m_CollectionType = collection;
  return declared;
}

TEST(StoreTypeNames, EveryAttributeTypeHasTheNameOfItsEnumerator) {
  auto const enumerators = EnumeratorsOf("metadata/cls_AttributeType.h", "ATTR_");
  EXPECT_EQ(enumerators.size(), 19U);
  for (auto const& [code, name] : enumerators) EXPECT_EQ(sto_AttributeTypeName(code), name);
}

TEST(StoreTypeNames, EveryCollectionTypeHasTheNameOfItsEnumerator) {
  auto const enumerators = EnumeratorsOf("metadata/cls_CollectionType.h", "COLLECTION_");
  EXPECT_EQ(enumerators.size(), 23U);
  for (auto const& [code, name] : enumerators) EXPECT_EQ(sto_CollectionTypeName(code), name);
}

TEST(StoreTypeNames, CodesWithoutNameAreNumbers) {
  EXPECT_EQ(sto_AttributeTypeName(9000), "9000");
  EXPECT_EQ(sto_AttributeTypeName(-1), "-1");
  EXPECT_EQ(sto_CollectionTypeName(62), "62");
  EXPECT_EQ(sto_DeclarationText(9000, COLLECTION_NONE), "9000, COLLECTION_NONE");
}

TEST(StoreTypeNames, ClassIdsAreHexadecimal) {
  EXPECT_EQ(sto_ClassIdText(0x650001), "0x650001");
  EXPECT_EQ(sto_ClassIdText(0xFFFFFFFF), "0xFFFFFFFF");
  EXPECT_EQ(sto_ClassIdText(1), "0x1");
}

TEST(StoreTypeNames, EveryValueIsDeclaredAsATypeThatTakesIt) {
  for (int tag = sto_Format::NoText; tag <= sto_Format::LastTag; ++tag) {
    auto const value = static_cast<sto_Format::ValueTag>(tag);
    sto_Written const written = sto_Written::Value(value);
    EXPECT_TRUE(sto_AttributeTypeName(written.m_Type).starts_with("ATTR_")) << written.m_What;
    EXPECT_TRUE(sto_TagFits(value, static_cast<cls_AttributeType>(written.m_Type))) << written.m_What;
    EXPECT_EQ(written.m_CollectionType, COLLECTION_NONE);
    EXPECT_FALSE(written.m_What.ends_with("unknown value"));
  }
  EXPECT_EQ(sto_Written::Value(sto_Format::Int8).m_What, "an 8-bit integer");
  EXPECT_EQ(sto_Written::Value(sto_Format::UInt16).m_What, "an unsigned 16-bit integer");
  EXPECT_EQ(sto_Written::Value(sto_Format::Double).m_What, "a double");
  EXPECT_EQ(sto_ValueName(200), std::string("unknown value"));
}

TEST(StoreTypeNames, EveryCollectionIsDeclaredAsOneThatTakesIt) {
  for (int element = sto_Format::ElementBool; element <= sto_Format::LastElementType; ++element)
    for (std::uint8_t key = 0; key <= sto_Format::LastKeyType; ++key) {
      // There is no builder of maps to bool.
      if (element == sto_Format::ElementBool && key == sto_Format::KeyString) continue;
      sto_CollectionShape const shape{static_cast<std::uint8_t>(element), key};
      sto_Written const written = sto_Written::Collection(shape);
      SCOPED_TRACE(written.m_What);
      EXPECT_EQ(written.m_What, "a " + shape.Name());
      EXPECT_TRUE(sto_ShapeFits(shape, Declared(written.m_Type, written.m_CollectionType)));
      EXPECT_TRUE(sto_CollectionTypeName(written.m_CollectionType).starts_with("COLLECTION_"));
    }
  sto_Written const table = sto_Written::Collection(sto_IntTableShape());
  EXPECT_EQ(table.m_What, "a table from int to int");
  EXPECT_TRUE(sto_ShapeFits(sto_IntTableShape(), Declared(table.m_Type, table.m_CollectionType)));
}

TEST(StoreTypeNames, CodeOfACollectionSaysWhatItIs) {
  struct Case {
    int m_Type;
    char const* m_What;
    int m_Attribute;
  };
  for (Case const& one : {Case{COLLECTION_LIST_DOUBLE, "a list of double", ATTR_DOUBLE},
                          Case{COLLECTION_LIST_UINT, "a list of unsigned int", ATTR_UINT},
                          Case{COLLECTION_TABLE_INT, "a table of int", ATTR_INT},
                          Case{COLLECTION_MAP_STRING_UINT, "a map from string to unsigned int", ATTR_UINT},
                          Case{62, "a map from string to double", ATTR_DOUBLE},
                          Case{COLLECTION_MAP_STRING_OBJ, "a map from string to objects", ATTR_OBJECT},
                          Case{COLLECTION_OBJ, "a collection of objects", ATTR_OBJECT},
                          Case{COLLECTION_LIST, "a collection of type COLLECTION_LIST", sto_Written::AnyType},
                          Case{COLLECTION_NONE, "a collection of type COLLECTION_NONE", sto_Written::AnyType},
                          Case{56, "a collection of type 56", sto_Written::AnyType},
                          Case{92, "a collection of type 92", sto_Written::AnyType}}) {
    sto_Written const written = sto_Written::Collection(static_cast<cls_CollectionType>(one.m_Type));
    EXPECT_EQ(written.m_What, one.m_What);
    EXPECT_EQ(written.m_Type, one.m_Attribute);
    EXPECT_EQ(written.m_CollectionType, one.m_Type);
  }
}

TEST(StoreTypeNames, MisdeclaredAttributeIsReportedWithTheRightDeclaration) {
  cls_AttributeMetadata const single = Declared(ATTR_DOUBLE, COLLECTION_NONE);
  EXPECT_EQ(sto_MisdeclaredText(single, sto_Written::Collection(COLLECTION_LIST_DOUBLE)),
            "is declared as ATTR_DOUBLE, COLLECTION_NONE, but a list of double is written: declare it as "
            "ATTR_DOUBLE, COLLECTION_LIST_DOUBLE");
  EXPECT_EQ(sto_MisdeclaredText(single, sto_Written::Collection(COLLECTION_LIST)),
            "is declared as ATTR_DOUBLE, COLLECTION_NONE, but a collection of type COLLECTION_LIST is "
            "written: declare it as ATTR_DOUBLE, COLLECTION_LIST");
  EXPECT_EQ(sto_MisdeclaredText(single, "map"), "is declared as ATTR_DOUBLE, COLLECTION_NONE, but a map is "
                                                "written: declare it with the collection type of that map");
}

} // namespace

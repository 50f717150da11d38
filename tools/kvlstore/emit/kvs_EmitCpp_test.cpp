#include "tools/kvlstore/emit/kvs_EmitCpp.h"

#include <gtest/gtest.h>
#include <sstream>
#include <string>
#include <vector>

#include "metadata/cls_AttributeType.h"
#include "tools/kvlstore/emit/kvs_EmitPython.h"

namespace {

/// A store whose texts are code.
kvs_EmitModel HostileModel() {
  std::string const evil = "*/ \"; }\n#error evil\n\\";
  kvs_ClassVersion version;
  version.m_Version = 1;
  version.m_Name = evil;
  version.m_Notes = {{evil, evil}};
  kvs_Attribute attribute;
  attribute.m_Name = evil;
  attribute.m_Number = 0;
  attribute.m_Type = ATTR_INT;
  attribute.m_Unit = evil;
  attribute.m_Default = evil;
  attribute.m_Enumerators = {{evil, 1}, {"class", 2}, {"RED", 1}};
  attribute.m_Notes = {{evil, evil}};
  version.m_Attributes = {attribute};
  return {evil, {{0x640001, {version}}}, {{evil, 1, 0x640001, evil}}};
}

std::vector<std::string> Lines(std::string const& text) {
  std::vector<std::string> lines;
  std::istringstream in(text);
  for (std::string line; std::getline(in, line);) lines.push_back(line);
  return lines;
}

TEST(EmitCpp, TextsOfAStoreAreNoCode) {
  std::ostringstream out;
  kvs_EmitCpp(HostileModel(), out);
  for (std::string const& line : Lines(out.str())) {
    EXPECT_FALSE(line.starts_with("#error")) << line;
    EXPECT_FALSE(line.ends_with("\\")) << line;
  }
  EXPECT_NE(out.str().find("KVL_PERSISTED(error_evil_, 0x640001, "), std::string::npos) << out.str();
  EXPECT_NE(out.str().find("    class_ = 2, // \"class\"\n"), std::string::npos) << out.str();
}

TEST(EmitPython, TextsOfAStoreAreNoCode) {
  std::ostringstream out;
  kvs_EmitPython(HostileModel(), out);
  for (std::string const& line : Lines(out.str())) EXPECT_FALSE(line.starts_with("#error")) << line;
}

TEST(EmitCpp, AStoreWithoutClassesHasAHeader) {
  std::ostringstream out;
  kvs_EmitCpp({"empty.kvs", {}, {}}, out);
  EXPECT_NE(out.str().find("namespace empty {"), std::string::npos);
}

} // namespace

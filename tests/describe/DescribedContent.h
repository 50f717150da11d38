#pragma once

#include <cstddef>
#include <string>
#include <vector>

#include "tests/support/store/StoreFile.h"

inline std::string HexOf(StoreBytes const& bytes) {
  constexpr char Digits[] = "0123456789abcdef";
  std::string text;
  text.reserve(2 * bytes.size());
  for (std::byte const byte : bytes) {
    text += Digits[std::to_integer<unsigned int>(byte) >> 4];
    text += Digits[std::to_integer<unsigned int>(byte) & 15];
  }
  return text;
}

/// All that a store has in its file, apart from checksums, which depend on the store's random id, and from times:
/// classes, attributes, names, shapes, roots, the bytes of all records and blocks. Unpacks the file's records.
inline std::vector<std::string> DescribedContent(std::string const& path) {
  SqlFile file(path);
  file.Unpack();
  std::vector<std::string> content;
  auto const add = [&](std::string const& sql) {
    for (std::string& line : file.Texts(sql)) content.push_back(std::move(line));
  };
  add("SELECT 'class '||class_id||' '||version||' '||name||' '||base_class_id FROM class ORDER BY 1");
  add("SELECT 'attribute '||class_id||' '||version||' '||name||' '||field_id||' '||type||' '||type_arg||' '||"
      "collection_type||' '||unit||' '||ifnull(default_value,'-') FROM attribute ORDER BY 1");
  add("SELECT 'name '||id||' '||text FROM name ORDER BY id");
  add("SELECT 'root '||name||' '||object_id||' '||class_id FROM root ORDER BY name");
  add("SELECT 'block '||key||' '||hex(data) FROM block ORDER BY key");
  for (std::string const& id : file.Texts("SELECT id FROM shape ORDER BY id"))
    content.push_back("shape " + id + " " + HexOf(file.Shape(std::stoll(id))));
  for (std::string const& object : file.Objects()) {
    StoreRow const row = file.Row(std::stoll(object));
    std::string line = "object " + object;
    line.append(" ").append(std::to_string(row.m_Shape)).append(" ").append(HexOf(row.m_Values));
    content.push_back(std::move(line));
  }
  return content;
}

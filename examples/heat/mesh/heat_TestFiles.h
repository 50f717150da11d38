#pragma once

#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>

// The path of a mesh in the example's data folder.
inline std::string heat_DataFile(std::string const& name) {
  return std::string(HEAT_DATA_DIR) + "/" + name;
}

// The whole contents of a file.
inline std::string heat_TextOf(std::string const& path) {
  std::ifstream in(path, std::ios::binary);
  if (!in) throw std::runtime_error("cannot open " + path);
  return {std::istreambuf_iterator<char>(in), {}};
}

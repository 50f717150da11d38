#include "tests/support/store/StoreBlocks.h"

#include <sqlite3.h>

#include <array>
#include <stdexcept>
#include <string>

namespace {

constexpr std::size_t Slots = 4;
constexpr std::size_t DirectoryBytes = 4 * Slots;
using Blocks = std::array<std::string, Slots>;

std::string BytesOf(sqlite3_value* value) {
  auto const* const bytes = static_cast<char const*>(sqlite3_value_blob(value));
  return bytes == nullptr ? "" : std::string(bytes, static_cast<std::size_t>(sqlite3_value_bytes(value)));
}

Blocks Split(std::string const& row) {
  Blocks blocks;
  std::size_t before = 0;
  for (std::size_t slot = 0; slot < Slots && row.size() >= DirectoryBytes; ++slot) {
    std::size_t end = 0;
    for (std::size_t i = 4; i-- > 0;) end = end << 8 | static_cast<unsigned char>(row[4 * slot + i]);
    if (end < before || DirectoryBytes + end > row.size())
      throw std::runtime_error("a damaged row of blocks");
    blocks[slot] = row.substr(DirectoryBytes + before, end - before);
    before = end;
  }
  return blocks;
}

std::string Join(Blocks const& blocks) {
  std::string directory, content;
  for (std::string const& block : blocks) {
    content += block;
    for (int i = 0; i < 4; ++i) directory += static_cast<char>(content.size() >> (8 * i));
  }
  return directory + content;
}

/// block_in_row(row, slot): the block, NULL if it is not there.
void BlockInRow(sqlite3_context* context, int, sqlite3_value** values) {
  try {
    std::string const block =
        Split(BytesOf(values[0]))[static_cast<std::size_t>(sqlite3_value_int(values[1]))];
    if (!block.empty())
      sqlite3_result_blob(context, block.data(), static_cast<int>(block.size()), SQLITE_TRANSIENT);
  } catch (std::exception const& exception) {
    sqlite3_result_error(context, exception.what(), -1);
  }
}

/// row_with_block(row, slot, block): the row with another block; NULL if it has none left.
void RowWithBlock(sqlite3_context* context, int, sqlite3_value** values) {
  try {
    Blocks blocks = Split(BytesOf(values[0]));
    blocks[static_cast<std::size_t>(sqlite3_value_int(values[1]))] = BytesOf(values[2]);
    std::string const row = Join(blocks);
    if (row.size() > DirectoryBytes)
      sqlite3_result_blob(context, row.data(), static_cast<int>(row.size()), SQLITE_TRANSIENT);
  } catch (std::exception const& exception) {
    sqlite3_result_error(context, exception.what(), -1);
  }
}

constexpr char View[] = R"(
CREATE TEMP VIEW stored_block(key, data) AS
  SELECT row.key + slot.value, block_in_row(row.data, slot.value)
  FROM main.block AS row, (SELECT 0 AS value UNION ALL SELECT 1 UNION ALL SELECT 2 UNION ALL SELECT 3) AS slot
  WHERE block_in_row(row.data, slot.value) IS NOT NULL
    AND row.key + slot.value NOT IN (SELECT key FROM main.block_place)
  ORDER BY 1;
CREATE TEMP TRIGGER delete_block INSTEAD OF DELETE ON stored_block BEGIN
  REPLACE INTO block SELECT key, row_with_block(data, OLD.key % 4, NULL) FROM main.block
    WHERE key = OLD.key - OLD.key % 4 AND row_with_block(data, OLD.key % 4, NULL) IS NOT NULL;
  DELETE FROM block WHERE key = OLD.key - OLD.key % 4 AND block_in_row(data, OLD.key % 4) IS NOT NULL;
END;
CREATE TEMP TRIGGER insert_block INSTEAD OF INSERT ON stored_block BEGIN
  REPLACE INTO block VALUES(NEW.key - NEW.key % 4,
    row_with_block((SELECT data FROM main.block WHERE key = NEW.key - NEW.key % 4), NEW.key % 4, NEW.data));
END;
CREATE TEMP TRIGGER update_block INSTEAD OF UPDATE ON stored_block BEGIN
  DELETE FROM stored_block WHERE key = OLD.key;
  INSERT INTO stored_block VALUES(NEW.key, NEW.data);
END;
)";

} // namespace

void AddStoredBlocks(sqlite3* connection) {
  auto const add = [&](char const* name, int count,
                       void (*function)(sqlite3_context*, int, sqlite3_value**)) {
    if (sqlite3_create_function(connection, name, count, SQLITE_UTF8, nullptr, function, nullptr, nullptr) !=
        SQLITE_OK)
      throw std::runtime_error(sqlite3_errmsg(connection));
  };
  add("block_in_row", 2, BlockInRow);
  add("row_with_block", 3, RowWithBlock);
  sqlite3_exec(connection, View, nullptr, nullptr, nullptr); // fails for a damaged file, where nobody uses it
}

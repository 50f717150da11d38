#include "store/sqlite/sto_SqliteUpgrade.h"

#include <algorithm>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "store/base/sto_Exception.h"
#include "store/format/sto_CollectionFields.h"
#include "store/format/sto_Record.h"
#include "store/format/sto_ShapeTable.h"
#include "store/sqlite/sto_SqliteBlocks.h"
#include "store/sqlite/sto_SqliteCatalogue.h"
#include "store/sqlite/sto_SqliteConnection.h"
#include "store/sqlite/sto_SqliteHeader.h"
#include "store/sqlite/sto_SqliteObjects.h"
#include "store/sqlite/sto_SqliteOldBlocks.h"
#include "store/sqlite/sto_SqliteOldObjects.h"
#include "store/sqlite/sto_SqliteRoots.h"
#include "store/sqlite/sto_SqliteSaves.h"
#include "store/sqlite/sto_SqliteSchema.h"

namespace {

[[noreturn]] void RaiseNot(sto_SqliteConnection const& connection, std::string const& problem) {
  sto_Raise(sto_ErrorKind::Damaged, connection.Path() + ": The store cannot be upgraded: " + problem + ".");
}

/// Writes the records of a store again, each with a shape.
class Rewriter {
 public:
  Rewriter(sto_SqliteConnection& connection, sto_SqliteObjectTables const& from, sto_SqliteObjects& to,
           sto_SqliteCatalogue& catalogue)
      : m_Connection(connection), m_From(connection, from), m_To(to), m_Catalogue(catalogue) {}

  void RewriteAll() {
    constexpr std::int64_t RangeIds = 65536;
    std::int64_t left = m_From.Count();
    for (std::int64_t first = 1; left > 0; first += RangeIds) {
      std::vector<std::int64_t> const ids = m_From.Ids(first, first + RangeIds - 1);
      for (std::int64_t const id : ids) Rewrite(id);
      left -= static_cast<std::int64_t>(ids.size());
    }
    m_To.Flush();
  }

  /// The class of a rewritten object; empty if there is no such object.
  std::optional<unsigned int> ClassOf(std::int64_t id) {
    if (!m_To.Read(id, m_Record.Stored())) return std::nullopt;
    if (m_Record.Stored().m_Shape != sto_Format::OwnShape)
      return m_Shapes.Find(m_Record.Stored().m_Shape)->m_Shape.m_Parts.front().m_ClassId;
    sto_ByteReader reader(m_Record.Stored().m_Bytes);
    sto_Shape shape;
    if (!shape.Decode(reader)) return std::nullopt;
    return shape.m_Parts.front().m_ClassId;
  }

 private:
  void Rewrite(std::int64_t id) {
    std::string problem;
    if (!m_From.Read(id, m_Record.Stored()) || !m_Record.Decode(id, nullptr, problem))
      RaiseNot(m_Connection, "object " + std::to_string(id) + " is damaged: " + problem);
    m_Builder.Reset();
    for (sto_Part const& part : m_Record.Parts()) {
      std::size_t const index = m_Builder.AddPart(part.m_ClassId, part.m_Version, part.m_Id);
      for (sto_Field const& field : part.m_Fields)
        if (!sto_IsOldChange(part, field)) m_Builder.AddDecoded(index, field.m_Key, field, field.m_ObjectId);
    }
    if (m_Record.List())
      m_Builder.SetList(*m_Record.List(), Copy(m_Record.List()->m_Inline));
    else if (m_Record.Map())
      m_Builder.SetMap(*m_Record.Map(), Copy(m_Record.Map()->m_Entries));
    Write(id);
  }

  static sto_Bytes Copy(sto_ByteView bytes) { return {bytes.begin(), bytes.end()}; }

  void Write(std::int64_t id) {
    sto_NumberedShape const* shape = m_Shapes.Find(m_Builder);
    if (shape == nullptr) {
      sto_Bytes stored;
      shape = m_Shapes.Add(m_Builder, stored);
      if (shape != nullptr) m_Catalogue.AddShape({shape->m_Number, std::move(stored)});
    }
    if (shape == nullptr)
      m_To.Write(id, sto_Format::OwnShape, m_Builder.ValuesWithShape());
    else
      m_To.Write(id, shape->m_Number, m_Builder.Values());
  }

  sto_SqliteConnection& m_Connection;
  sto_SqliteOldObjects m_From;
  sto_SqliteObjects& m_To;
  sto_SqliteCatalogue& m_Catalogue;
  sto_ShapeTable m_Shapes;
  sto_Record m_Record;
  sto_RecordBuilder m_Builder;
};

/// Raises Damaged if a row of a table has a key that no object can have: the rewriting would drop it.
void CheckKeys(sto_SqliteConnection& connection, std::string const& table, std::string const& key,
               std::int64_t first, std::int64_t last) {
  std::string const outside = "SELECT EXISTS(SELECT 1 FROM " + table + " WHERE " + key;
  if (connection.QueryInteger((outside + " < " + std::to_string(first) + ")").c_str()) != 0 ||
      connection.QueryInteger((outside + " > " + std::to_string(last) + ")").c_str()) != 0)
    RaiseNot(connection, "table " + table + " has a row that belongs to no object");
}

constexpr std::int64_t FirstSave = 1;

std::int64_t NextIdOf(sto_SqliteConnection& connection) {
  sto_SqliteStatement statement(connection, "SELECT value FROM meta WHERE key = 'next_object_id'");
  sto_SqliteStatement::Use use(statement);
  if (!use.Step() || use.Integer(0) < 1) RaiseNot(connection, "its next object id is missing or invalid");
  return use.Integer(0);
}

/// Gives a table another name, so that a new one can have it.
void Rename(sto_SqliteConnection& connection, std::string const& table) {
  std::string sql = "ALTER TABLE ";
  sql += table;
  sql += " RENAME TO old_";
  sql += table;
  connection.Execute(sql.c_str());
}

void RewriteRoots(sto_SqliteConnection& connection, sto_SqliteHeader const& header, Rewriter& objects,
                  sto_SqliteChanges& changes) {
  sto_SqliteRoots roots(connection, changes);
  roots.Use(sto_Format::Version, header.m_Uuid);
  sto_SqliteStatement statement(connection, "SELECT name, object_id FROM old_root");
  sto_SqliteStatement::Use use(statement);
  for (use.AllowAllRows(); use.Step();) {
    std::int64_t const id = use.Integer(1);
    // A root without its object stays as damaged as it was; it must not keep the rest from being upgraded.
    roots.Set(use.Text(0), {id, objects.ClassOf(id).value_or(0)});
  }
  roots.Flush();
}

/// Puts the blocks into rows of several. What is damaged stays so: its checksum is kept.
void RewriteBlocks(sto_SqliteConnection& connection, bool hasPlaces, sto_SqliteBlocks& blocks) {
  sto_SqliteStatement statement(
      connection,
      hasPlaces ? "SELECT key, data FROM old_block UNION ALL SELECT key, data FROM old_block_place JOIN "
                  "old_moved_block USING(place) ORDER BY 1"
                : "SELECT key, data FROM old_block ORDER BY 1");
  sto_SqliteStatement::Use use(statement);
  sto_Bytes block;
  for (use.AllowAllRows(); use.Step();) {
    sto_ByteView const data = use.Bytes(1);
    block.assign(data.begin(), data.end());
    sto_SqliteOldBlocks::Convert(block);
    blocks.Write(use.Integer(0), block);
  }
}

} // namespace

void sto_UpgradeSqlite(sto_SqliteConnection& connection, std::int64_t version, sto_SqliteObjects& objects,
                       sto_SqliteBlocks& blocks, sto_SqliteChanges& changes, std::string const& program) {
  bool const hasPacks = version > sto_Format::VersionWithoutPacks;
  CheckKeys(connection, "object", "id", 1, sto_Format::MaxObjectId);
  if (hasPacks) CheckKeys(connection, "pack", "key", 0, sto_Format::MaxObjectId / sto_Format::IdsInOldPack);
  std::vector<std::string> replaced{"class", "name", "root", "object", "block"};
  if (hasPacks) replaced.insert(replaced.end(), {"pack", "moved_block", "block_place"});
  if (version > sto_Format::VersionWithoutAttributes) replaced.push_back("attribute");
  sto_SqliteCatalogue catalogue(connection, changes);
  changes.Begin(1, {});
  catalogue.Use(version, {});
  std::vector<sto_ClassRow> const classes = catalogue.Classes();
  std::vector<sto_NameRow> const names = catalogue.Names();
  for (std::string const& table : replaced) Rename(connection, table);
  for (char const* const tables : {sto_SqliteSchema::BlockTable, sto_SqliteSchema::Tables,
                                   sto_SqliteSchema::PackTable, sto_SqliteSchema::MovedBlockTables})
    connection.Execute(tables);
  std::int64_t const nextId = NextIdOf(connection);
  connection.Execute("DELETE FROM meta");
  sto_MakeSqliteHeader(connection);
  sto_SqliteHeader const header = sto_ReadSqliteHeader(connection);
  catalogue.Use(sto_Format::Version, header.m_Uuid);
  for (sto_ClassRow const& row : classes) catalogue.WriteClass(row);
  for (sto_NameRow const& row : names) catalogue.AddName(row);
  objects.Begin(true, FirstSave);
  {
    Rewriter rewriter(connection, {"old_object", hasPacks ? "old_pack" : ""}, objects, catalogue);
    rewriter.RewriteAll();
    RewriteRoots(connection, header, rewriter, changes);
  }
  blocks.Begin(true);
  RewriteBlocks(connection, hasPacks, blocks);
  blocks.FinishTransaction();
  for (std::string const& table : replaced) connection.Execute(("DROP TABLE old_" + table).c_str());
  sto_SqliteSaves saves(connection);
  saves.Use(header.m_Uuid);
  saves.Write({FirstSave, nextId, changes.Sum()}, program, {}, {});
  connection.Execute(("PRAGMA user_version = " + std::to_string(sto_Format::Version)).c_str());
}

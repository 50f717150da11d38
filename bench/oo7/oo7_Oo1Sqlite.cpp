#include <optional>

#include "bench/oo7/oo7_Oo1System.h"
#include "bench/oo7/oo7_SqliteCache.h"
#include "bench/oo7/oo7_Texts.h"

namespace {

constexpr char Oo1Tables[] = R"(
  CREATE TABLE part (id INTEGER PRIMARY KEY, type TEXT, build_date INTEGER, x INTEGER, y INTEGER);
  CREATE TABLE connection (from_id INTEGER, nr INTEGER, to_id INTEGER, type TEXT, length INTEGER,
                           PRIMARY KEY (from_id, nr)) WITHOUT ROWID;
)";
constexpr char Oo1Indexes[] = "CREATE INDEX connection_to ON connection (to_id)";

struct CachedPart;
struct CachedConnection {
  std::string m_Type;
  int m_Length = 0;
  CachedPart* m_To = nullptr;
};
struct CachedPart {
  int m_Id = 0;
  std::string m_Type;
  int m_BuildDate = 0;
  int m_X = 0;
  int m_Y = 0;
  std::optional<std::vector<CachedConnection>> m_To; // empty: not read yet
  std::optional<std::vector<CachedPart*>> m_From;
};

class Oo1Writer {
 public:
  explicit Oo1Writer(objects_SqliteFile& file) : m_File(file) {}

  void Add(oo7_Oo1Part const& row) {
    m_Part.Run(row.m_Id, oo7_Oo1PartType(row.m_Type), row.m_BuildDate, row.m_X, row.m_Y);
    int number = 0;
    for (oo7_Oo1Connection const& connection : row.m_Connections)
      m_Connection.Run(connection.m_From, ++number, connection.m_To, oo7_Oo1ConnectionType(connection.m_Type),
                       connection.m_Length);
  }

 private:
  objects_SqliteFile& m_File;
  oo7_SqliteQuery m_Part{m_File, "INSERT INTO part VALUES (?, ?, ?, ?, ?)"};
  oo7_SqliteQuery m_Connection{m_File, "INSERT INTO connection VALUES (?, ?, ?, ?, ?)"};
};

/// Tables and objects by hand, as oo7_SqliteSession. No other process changes the file while a session is open.
class Oo1Session {
 public:
  using Part = CachedPart;

  explicit Oo1Session(std::string const& path) : m_File(path) {}

  void Begin() { m_File.Run("BEGIN"); }
  void Commit() {}
  void End() { m_File.Run("COMMIT"); }

  int Size() {
    int size = 0;
    m_LastId.Each([&](objects_SqliteStatement& row) { size = oo7_Column(row, 0); });
    return size;
  }
  Part* Find(int id) { return m_Parts.Find(id, m_PartById); }
  template <class Visit> void EachTo(Part& part, Visit&& visit) {
    if (!part.m_To) ReadTo(part);
    for (CachedConnection const& connection : *part.m_To) visit(*connection.m_To);
  }
  template <class Visit> void EachFrom(Part& part, Visit&& visit) {
    if (!part.m_From) ReadFrom(part);
    for (Part* const from : *part.m_From) visit(*from);
  }
  void Add(oo7_Oo1Part const& row) {
    m_Writer.Add(row);
    for (oo7_Oo1Connection const& connection : row.m_Connections)
      if (Part* const to = m_Parts.Find(connection.m_To)) to->m_From.reset();
  }

 private:
  void ReadTo(Part& part) {
    part.m_To.emplace();
    m_ConnectionsOf.Each(
        [&](objects_SqliteStatement& row) {
          part.m_To->push_back({oo7_TextColumn(row, 5), oo7_Column(row, 6), &m_Parts.Of(row)});
        },
        part.m_Id);
  }
  void ReadFrom(Part& part) {
    part.m_From.emplace();
    m_ConnectedTo.Each([&](objects_SqliteStatement& row) { part.m_From->push_back(&m_Parts.Of(row)); },
                       part.m_Id);
  }

  objects_SqliteFile m_File;
  Oo1Writer m_Writer{m_File};
  oo7_SqliteCache<Part> m_Parts;
  oo7_SqliteQuery m_LastId{m_File, "SELECT max(id) FROM part"};
  oo7_SqliteQuery m_PartById{m_File, "SELECT * FROM part WHERE id = ?"};
  oo7_SqliteQuery m_ConnectionsOf{m_File, "SELECT p.*, c.type, c.length FROM connection c JOIN part p "
                                          "ON p.id = c.to_id WHERE c.from_id = ?"};
  oo7_SqliteQuery m_ConnectedTo{
      m_File, "SELECT p.* FROM connection c JOIN part p ON p.id = c.from_id WHERE c.to_id = ?"};
};

class Oo1Sqlite : public oo7_Oo1System {
 public:
  void Build(std::vector<oo7_Oo1Part> const& rows, std::string const& path) override {
    objects_SqliteFile file(path);
    file.Run("BEGIN");
    file.Run(Oo1Tables);
    {
      Oo1Writer writer(file);
      for (oo7_Oo1Part const& row : rows) writer.Add(row);
    }
    file.Run(Oo1Indexes);
    file.Run("COMMIT");
  }
  void Open(std::string const& path) override { m_Session = std::make_unique<Oo1Session>(path); }
  void Close() override { m_Session.reset(); }
  oo7_Tally Run(std::string_view operation, oo7_Random& random) override {
    return oo7_Oo1Run(*m_Session, operation, random);
  }

 private:
  std::unique_ptr<Oo1Session> m_Session;
};

} // namespace

std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeSqlite() {
  return std::make_unique<Oo1Sqlite>();
}

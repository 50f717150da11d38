#include "bench/oo7/oo7_SqliteSystem.h"

#include <memory>

#include "bench/oo7/oo7_SqliteSession.h"

namespace {

class Sqlite : public oo7_System {
 public:
  void Build(oo7_Rows const& rows, std::string const& path) override {
    objects_SqliteFile file(path);
    file.Run("BEGIN");
    oo7_SqliteWriter(file).WriteDatabase(rows);
    file.Run("COMMIT");
  }
  void Open(std::string const& path, oo7_Parameters const& parameters) override {
    m_Session = std::make_unique<oo7_SqliteSession>(path, parameters);
  }
  void Close() override { m_Session.reset(); }
  oo7_Tally Run(std::string_view operation) override { return oo7_RunOperation(*m_Session, operation); }

 private:
  std::unique_ptr<oo7_SqliteSession> m_Session;
};

} // namespace

std::unique_ptr<oo7_System> oo7_MakeSqliteSystem() {
  return std::make_unique<Sqlite>();
}

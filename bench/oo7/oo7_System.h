#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "bench/bench_Program.h"
#include "bench/oo7/oo7_Operations.h"

/// A system under test, as the measurements see it.
class oo7_System {
 public:
  oo7_System() = default;
  oo7_System(oo7_System const&) = delete;
  oo7_System& operator=(oo7_System const&) = delete;
  virtual ~oo7_System() = default;

  /// Writes the database to a new file; it is closed and durable then.
  virtual void Build(oo7_Rows const& rows, std::string const& path) = 0;
  /// Opens the file. No object of an earlier session is left in memory.
  virtual void Open(std::string const& path, oo7_Parameters const& parameters) = 0;
  virtual void Close() = 0;
  /// Runs an operation in the open session, as one transaction. Its changes are durable when it returns.
  virtual oo7_Tally Run(std::string_view operation) = 0;
};

/// Runs an operation of an adapter, as one transaction.
template <oo7_Adapter Db> oo7_Tally oo7_RunOperation(Db& db, std::string_view operation) {
  for (auto const& each : oo7_Operations<Db>)
    if (each.m_Name == operation) {
      db.Begin(each.m_Changes);
      oo7_Tally const tally = each.m_Run(db);
      if (each.m_Changes) db.Commit();
      db.End();
      return tally;
    }
  bench_Require(false, "there is no operation of that name");
  return {};
}

/// The system of an adapter that also has the functions Build, Open and Close.
template <oo7_Adapter Db> class oo7_SystemOf : public oo7_System {
 public:
  void Build(oo7_Rows const& rows, std::string const& path) override { m_Db.Build(rows, path); }
  void Open(std::string const& path, oo7_Parameters const& parameters) override {
    m_Db.Open(path, parameters);
  }
  void Close() override { m_Db.Close(); }
  oo7_Tally Run(std::string_view operation) override { return oo7_RunOperation(m_Db, operation); }

 private:
  Db m_Db;
};

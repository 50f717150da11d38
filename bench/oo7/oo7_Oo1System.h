#pragma once

#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "bench/bench_Program.h"
#include "bench/oo7/oo7_Oo1Operations.h"

/// A system under test, as the measurements see it.
class oo7_Oo1System {
 public:
  oo7_Oo1System() = default;
  oo7_Oo1System(oo7_Oo1System const&) = delete;
  oo7_Oo1System& operator=(oo7_Oo1System const&) = delete;
  virtual ~oo7_Oo1System() = default;

  /// Writes the database to a new file; it is closed and durable then.
  virtual void Build(std::vector<oo7_Oo1Part> const& rows, std::string const& path) = 0;
  virtual void Open(std::string const& path) = 0;
  virtual void Close() = 0;
  /// Runs an operation in the open session, as one transaction. Its changes are durable when it returns.
  virtual oo7_Tally Run(std::string_view operation, oo7_Random& random) = 0;
};

/// Runs an operation of an adapter, as one transaction.
template <oo7_Oo1Adapter Db> oo7_Tally oo7_Oo1Run(Db& db, std::string_view operation, oo7_Random& random) {
  for (auto const& each : oo7_Oo1Operations<Db>)
    if (each.m_Name == operation) {
      db.Begin();
      oo7_Tally const tally = each.m_Run(db, random);
      if (each.m_Changes) db.Commit();
      db.End();
      return tally;
    }
  bench_Require(false, "there is no operation of that name");
  return {};
}

/// The system of an adapter that also has the functions Build, Open and Close.
template <oo7_Oo1Adapter Db> class oo7_Oo1SystemOf : public oo7_Oo1System {
 public:
  void Build(std::vector<oo7_Oo1Part> const& rows, std::string const& path) override {
    m_Db.Build(rows, path);
  }
  void Open(std::string const& path) override { m_Db.Open(path); }
  void Close() override { m_Db.Close(); }
  oo7_Tally Run(std::string_view operation, oo7_Random& random) override {
    return oo7_Oo1Run(m_Db, operation, random);
  }

 private:
  Db m_Db;
};

// The same four systems as for OO7.
[[nodiscard]] std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeMemory();
[[nodiscard]] std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeSqlite();
[[nodiscard]] std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeStore();
[[nodiscard]] std::unique_ptr<oo7_Oo1System> oo7_Oo1MakeBoost();

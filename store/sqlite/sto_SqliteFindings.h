#pragma once

#include <string>

#include "store/base/sto_Exception.h"
#include "store/driver/sto_StorageWalk.h"
#include "store/sqlite/sto_SqliteConnection.h"

/// Reports what a walk over a store's file finds. Thread rule: one thread.
class sto_SqliteFindings {
 public:
  /// REQUIRES: the arguments live as long as this object.
  sto_SqliteFindings(sto_SqliteConnection const& connection, sto_StorageVisitor& visitor) noexcept
      : m_Connection(connection), m_Visitor(visitor) {}

  /// Reports something about a row of a table.
  void Add(sto_CheckKind kind, char const* table, std::int64_t key, std::string text);
  /// Reports something about an object, with its row.
  void AddObject(sto_CheckKind kind, char const* table, std::int64_t id, std::string text);

  /// Runs `act`. If that raises because the file is damaged, reports it and returns false.
  template <class Act> bool Try(sto_CheckKind kind, char const* table, Act act) {
    try {
      act();
      return true;
    } catch (sto_Exception const& failure) {
      AddFailure(kind, table, failure);
      return false;
    }
  }

 private:
  /// Raises the failure again if it does not come from damage.
  void AddFailure(sto_CheckKind kind, char const* table, sto_Exception const& failure);

  sto_SqliteConnection const& m_Connection;
  sto_StorageVisitor& m_Visitor;
};

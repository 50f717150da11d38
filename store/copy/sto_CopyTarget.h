#pragma once

#include <memory>
#include <optional>
#include <string>

#include "store/driver/sto_Driver.h"
#include "store/sqlite/sto_NewFile.h"

/// Where a copy is made, in a file or on a server: under its location with ".partial" at the end, until it is complete.
class sto_CopyTarget {
 public:
  /// Opens what an earlier copy has left, or begins anew. Conflict if something exists at `location`; Busy if another
  /// copy to it is going on.
  explicit sto_CopyTarget(std::string const& location);
  ~sto_CopyTarget();
  sto_CopyTarget(sto_CopyTarget const&) = delete;
  sto_CopyTarget& operator=(sto_CopyTarget const&) = delete;

  [[nodiscard]] sto_Driver& Driver() const noexcept { return *m_Driver; }
  /// Drops what is there, and begins anew.
  void StartAgain();
  /// Gives the copy its name; once. Conflict if something has that by now.
  void Publish();

 private:
  void Open();
  void Remove();

  std::string m_Location, m_Partial;
  bool m_IsOnServer;
  std::optional<sto_NewFile> m_File;
  std::unique_ptr<sto_Driver> m_Driver;
};

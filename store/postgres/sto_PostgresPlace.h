#pragma once

#include <string>

/// Where a store is: "postgresql://user@host/database#name".
struct sto_PostgresPlace {
  std::string m_Uri;   ///< as libpq takes it
  std::string m_Store; ///< the store's name in the database
  std::string m_Name;  ///< the location without a password, for messages

  /// Misuse if the location has no name of a store.
  [[nodiscard]] static sto_PostgresPlace Of(std::string const& location);
};

#pragma once

#include <string>

/// Where a PostgreSQL server of the tests is: the folder of its local socket, and its superuser `kvl`.
struct ServerPlace {
  /// The server that scripts/postgres.sh has started (KVL_POSTGRES). Throws std::runtime_error if there is none.
  static ServerPlace OfEnvironment();

  [[nodiscard]] std::string SocketPath() const { return m_Folder + "/.s.PGSQL." + std::to_string(m_Port); }
  /// Without the store. `settings`: more of libpq's, such as "application_name=victim".
  [[nodiscard]] std::string Uri(std::string const& settings = {}, std::string const& database = "postgres",
                                std::string const& user = "kvl") const {
    return "postgresql://" + user + "@/" + database + "?host=" + m_Folder +
           "&port=" + std::to_string(m_Port) + (settings.empty() ? "" : "&" + settings);
  }

  std::string m_Folder;
  int m_Port = 5432; // also part of the socket's name
};

/// Where it is for those who go through a proxy.
[[nodiscard]] inline std::string ServerUriAt(int port, std::string const& settings = {}) {
  return "postgresql://kvl@127.0.0.1:" + std::to_string(port) +
         "/postgres?sslmode=disable&gssencmode=disable" + (settings.empty() ? "" : "&" + settings);
}

#pragma once

#include <string>
#include <vector>

#include "tests/support/server/ServerPlace.h"

/// A PostgreSQL server of its own in a temporary folder, which a test stops and starts again. Users other than `kvl` need
/// a password. It runs as nobody if the test runs as root, because PostgreSQL refuses that. Failures throw
/// std::runtime_error.
class PostgresServer {
 public:
  /// Makes it and starts it.
  PostgresServer();
  ~PostgresServer();
  PostgresServer(PostgresServer const&) = delete;
  PostgresServer& operator=(PostgresServer const&) = delete;

  void Start();
  /// The same with TLS on a port of this machine, which takes `kvl` only with it, without a password. The certificate is
  /// made for "localhost", and is its own root.
  void StartWithTls();
  [[nodiscard]] std::string Certificate() const { return m_Place.m_Folder + "/server.crt"; }
  /// Stops it in the middle of whatever it does, as a crash would.
  void Crash();
  [[nodiscard]] ServerPlace const& Place() const noexcept { return m_Place; }

 private:
  /// Starts a program, one of PostgreSQL's unless it has a folder; returns its process id.
  [[nodiscard]] int Run(std::string const& program, std::vector<std::string> arguments) const;
  /// Throws if a program fails.
  static void Finish(int process, char const* what);
  void Stop(int signal);
  void MakeCertificate() const;
  /// Waits until it answers.
  void Await() const;

  std::string m_Programs; // folder
  ServerPlace m_Place;
  int m_Process = 0; // 0: it is stopped
};

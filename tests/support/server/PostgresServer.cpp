#include "tests/support/server/PostgresServer.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <grp.h>
#include <netinet/in.h>
#include <pwd.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <stdexcept>
#include <thread>
#include <vector>

#include "tests/support/server/ServerSql.h"

namespace fs = std::filesystem;

namespace {

passwd const* Nobody() {
  return getuid() == 0 ? getpwnam("nobody") : nullptr; // NOLINT(concurrency-mt-unsafe): one thread
}

std::string FolderOfPrograms() {
  std::string newest;
  int version = 0;
  std::error_code ignored;
  for (fs::directory_entry const& entry : fs::directory_iterator("/usr/lib/postgresql", ignored))
    if (int const found = std::atoi(entry.path().filename().c_str()); found > version) {
      version = found;
      newest = entry.path() / "bin";
    }
  if (newest.empty()) throw std::runtime_error("PostgreSQL is not installed; scripts/setup.sh installs it");
  return newest;
}

int FreePort() {
  int const listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const place = reinterpret_cast<sockaddr*>(&address);
  bool const isRight =
      listener >= 0 && bind(listener, place, size) == 0 && getsockname(listener, place, &size) == 0;
  close(listener);
  if (!isRight) throw std::runtime_error("no port is free");
  return ntohs(address.sin_port);
}

std::string NewFolder() {
  std::string name = (fs::temp_directory_path() / "kvl-server-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
  if (passwd const* const owner = Nobody(); owner != nullptr)
    if (chown(name.c_str(), owner->pw_uid, owner->pw_gid) != 0) throw std::runtime_error("chown");
  return name;
}

} // namespace

PostgresServer::PostgresServer() : m_Programs(FolderOfPrograms()), m_Place{NewFolder()} {
  std::string const data = m_Place.m_Folder + "/data";
  Finish(Run("initdb", {"-D", data, "-U", "kvl", "-A", "trust", "-E", "UTF8", "--no-locale", "--no-sync"}),
         "initdb");
  std::ofstream(data + "/pg_hba.conf") << "local all kvl trust\nlocal all all scram-sha-256\n";
  Start();
}

PostgresServer::~PostgresServer() {
  Stop(SIGINT);
  std::error_code ignored;
  fs::remove_all(m_Place.m_Folder, ignored);
}

void PostgresServer::Finish(int process, char const* what) {
  int status = 0;
  waitpid(process, &status, 0);
  if (status != 0) throw std::runtime_error(std::string(what) + " has failed");
}

int PostgresServer::Run(std::string const& program, std::vector<std::string> texts) const {
  std::string path = program.front() == '/' ? program : m_Programs + "/" + program;
  std::string const log = m_Place.m_Folder + "/log";
  std::vector<char*> all{path.data()};
  for (std::string& text : texts) all.push_back(text.data());
  all.push_back(nullptr);
  passwd const* const owner = Nobody();
  pid_t const process = fork();
  if (process < 0) throw std::runtime_error("fork");
  if (process > 0) return process;
  if (owner != nullptr &&
      (setgroups(0, nullptr) != 0 || setgid(owner->pw_gid) != 0 || setuid(owner->pw_uid) != 0))
    _exit(126);
  int const to = open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0600);
  dup2(to, STDOUT_FILENO);
  dup2(to, STDERR_FILENO);
  if (chdir("/") != 0) _exit(126);
  execv(path.c_str(), all.data());
  _exit(127);
}

void PostgresServer::Start() {
  m_Process = Run("postgres", {"-D", m_Place.m_Folder + "/data", "-k", m_Place.m_Folder, "-c",
                               "listen_addresses=", "-c", "fsync=off"});
  Await();
}

void PostgresServer::Await() const {
  using namespace std::chrono_literals;
  for (auto const end = std::chrono::steady_clock::now() + 20s; std::chrono::steady_clock::now() < end;
       std::this_thread::sleep_for(10ms)) {
    try {
      static_cast<void>(ServerSql(m_Place.Uri()));
      return;
    } catch (std::runtime_error const&) { // not yet
    }
  }
  throw std::runtime_error("the server does not start");
}

void PostgresServer::MakeCertificate() const {
  std::string const key = m_Place.m_Folder + "/server.key";
  Finish(Run("/usr/bin/openssl", {"req", "-x509", "-newkey", "ec", "-pkeyopt", "ec_paramgen_curve:prime256v1",
                                  "-nodes", "-days", "2", "-subj", "/CN=localhost", "-addext",
                                  "subjectAltName=DNS:localhost", "-keyout", key, "-out", Certificate()}),
         "openssl");
  fs::permissions(key, fs::perms::owner_read | fs::perms::owner_write);
  fs::permissions(m_Place.m_Folder, fs::perms::owner_all | fs::perms::others_exec | fs::perms::group_exec);
}

void PostgresServer::StartWithTls() {
  Stop(SIGINT);
  MakeCertificate();
  std::ofstream(m_Place.m_Folder + "/data/pg_hba.conf")
      << "local all kvl trust\nhostssl all kvl 127.0.0.1/32 trust\n";
  std::string const folder = m_Place.m_Folder;
  // Another program may take the port meanwhile: then the next one.
  for (int attempt = 0; attempt < 5; ++attempt) {
    m_Place.m_Port = FreePort();
    m_Process =
        Run("postgres", {"-D", folder + "/data", "-k", folder, "-p", std::to_string(m_Place.m_Port), "-c",
                         "listen_addresses=127.0.0.1", "-c", "fsync=off", "-c", "ssl=on", "-c",
                         "ssl_cert_file=" + Certificate(), "-c", "ssl_key_file=" + folder + "/server.key"});
    try {
      return Await();
    } catch (std::runtime_error const&) {
      Stop(SIGINT);
    }
  }
  throw std::runtime_error("no port is free for a server with TLS");
}

void PostgresServer::Stop(int signal) {
  if (m_Process == 0) return;
  kill(m_Process, signal);
  waitpid(m_Process, nullptr, 0);
  m_Process = 0;
}

void PostgresServer::Crash() {
  Stop(SIGQUIT);
}

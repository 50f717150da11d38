#include "tests/faults/FaultsFrame.h"

#include <fcntl.h>
#include <sqlite3.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <stdexcept>

#include "store/base/sto_Exception.h"

namespace fs = std::filesystem;

FaultsFolder::FaultsFolder() {
  std::error_code ignored;
  fs::path const memory = "/dev/shm";
  bool const hasMemory = fs::is_directory(memory, ignored) && access(memory.c_str(), W_OK) == 0;
  std::string name = ((hasMemory ? memory : fs::temp_directory_path()) / "kvl-faults-XXXXXX").string();
  if (mkdtemp(name.data()) == nullptr) throw std::runtime_error("mkdtemp");
  m_Folder = name;
}

FaultsFolder::~FaultsFolder() {
  std::error_code ignored;
  fs::remove_all(m_Folder, ignored);
}

void FaultsFolder::Clear() const {
  for (fs::directory_entry const& entry : fs::directory_iterator(m_Folder)) fs::remove_all(entry.path());
}

FaultsOptions::FaultsOptions(int argc, char** argv) {
  for (int i = 1; i < argc; ++i) {
    std::string_view const name = argv[i];
    if (!name.starts_with("--")) throw std::runtime_error("not an option: " + std::string(name));
    bool const hasValue = i + 1 < argc && !std::string_view(argv[i + 1]).starts_with("--");
    m_Values[std::string(name.substr(2))] = hasValue ? argv[++i] : "";
  }
  FaultsRow::s_Shown = Number("show", FaultsRow::s_Shown);
}

std::string FaultsOptions::Text(std::string const& name, std::string const& otherwise) const {
  auto const found = m_Values.find(name);
  return found == m_Values.end() ? otherwise : found->second;
}

int FaultsOptions::Number(std::string const& name, int otherwise) const {
  return Has(name) ? std::stoi(Text(name, "")) : otherwise;
}

void FaultsRow::Found(char const* kind, std::string const& finding, std::int64_t& counter) {
  if (++counter <= s_Shown) std::fprintf(stderr, "%s (%s): %s\n", kind, m_What.c_str(), finding.c_str());
}

int FaultsRow::Print() const {
  double const seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - m_Start).count();
  std::printf("%-62s | %9lld | lost %4lld | silently wrong %4lld | %6.1f s", m_What.c_str(),
              static_cast<long long>(m_Count), static_cast<long long>(m_Lost),
              static_cast<long long>(m_Wrong), seconds);
  for (auto const& [name, count] : m_Besides)
    std::printf(" | %s %lld", name.c_str(), static_cast<long long>(count));
  std::printf("\n");
  std::fflush(stdout);
  if (m_Count == 0) return 2; // a campaign that tried nothing proves nothing
  return Findings() == 0 ? 0 : 1;
}

std::string FaultsEnd::AsText() const {
  std::string const end =
      m_Signal != 0 ? "signal " + std::to_string(m_Signal) : "exit " + std::to_string(m_ExitCode);
  return end + (m_Output.empty() ? "" : ": " + m_Output);
}

namespace {

[[noreturn]] void RunChild(std::function<int(int)> const& work, int pipe, unsigned int seconds) {
  int const nowhere = open("/dev/null", O_WRONLY);
  dup2(nowhere, STDERR_FILENO);
  alarm(seconds);
  int code = 3;
  FaultsOutcome const outcome = FaultsTry([&] { code = work(pipe); });
  if (!outcome.IsDone()) FaultsTell(pipe, outcome.m_Text);
  _exit(code);
}

} // namespace

FaultsEnd FaultsChild(std::function<int(int)> const& work, unsigned int seconds,
                      std::function<void(int)> const& meanwhile) {
  std::array<int, 2> channel{};
  if (pipe(channel.data()) != 0) throw std::runtime_error("pipe");
  std::fflush(nullptr);
  pid_t const child = fork();
  if (child < 0) throw std::runtime_error("fork");
  if (child == 0) {
    close(channel[0]);
    RunChild(work, channel[1], seconds);
  }
  close(channel[1]);
  if (meanwhile) meanwhile(child);
  FaultsEnd end;
  std::array<char, 4096> buffer{};
  for (ssize_t got = 0; (got = read(channel[0], buffer.data(), buffer.size())) > 0;)
    end.m_Output.append(buffer.data(), static_cast<std::size_t>(got));
  close(channel[0]);
  int status = 0;
  waitpid(child, &status, 0);
  if (WIFEXITED(status)) end.m_ExitCode = WEXITSTATUS(status);
  if (WIFSIGNALED(status)) end.m_Signal = WTERMSIG(status);
  return end;
}

void FaultsTell(int pipe, std::string_view text) {
  while (!text.empty()) {
    ssize_t const written = write(pipe, text.data(), text.size());
    if (written <= 0) return;
    text.remove_prefix(static_cast<std::size_t>(written));
  }
}

FaultsOutcome FaultsTry(std::function<void()> const& act) {
  using Way = FaultsOutcome::Way;
  try {
    act();
    return {};
  } catch (sto_Exception const& exception) {
    return {Way::Store, exception.Kind(),
            "error " + std::to_string(static_cast<int>(exception.Kind())) + ": " +
                std::string(exception.AsString().View())};
  } catch (std::bad_alloc const&) {
    return {Way::NoMemory, {}, "std::bad_alloc"};
  } catch (nex_Exception const& exception) {
    return {Way::Other, {}, std::string(exception.AsString().View())};
  } catch (std::exception const& exception) {
    return {Way::Other, {}, exception.what()};
  } catch (...) {
    return {Way::Other, {}, "an unknown exception"};
  }
}

std::string FaultsIntegrityOf(std::string const& path) {
  sqlite3* handle = nullptr;
  std::string text = "cannot be opened";
  if (sqlite3_open_v2(path.c_str(), &handle, SQLITE_OPEN_READWRITE, nullptr) == SQLITE_OK) {
    sqlite3_stmt* statement = nullptr;
    if (sqlite3_prepare_v2(handle, "PRAGMA integrity_check", -1, &statement, nullptr) == SQLITE_OK &&
        sqlite3_step(statement) == SQLITE_ROW)
      text = reinterpret_cast<char const*>(sqlite3_column_text(statement, 0));
    sqlite3_finalize(statement);
  }
  sqlite3_close(handle);
  return text;
}

std::string FaultsBytesOf(std::string const& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) throw std::runtime_error("cannot read " + path);
  return std::string{std::istreambuf_iterator<char>(file), {}};
}

void FaultsPutBytes(std::string const& path, std::string_view bytes) {
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
  if (!file) throw std::runtime_error("cannot write " + path);
}

#include "tests/support/server/TcpProxy.h"

#include <arpa/inet.h>
#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <stdexcept>
#include <utility>

namespace {

bool SendAll(int to, char const* bytes, std::int64_t count) {
  while (count > 0) {
    ssize_t const sent = send(to, bytes, static_cast<std::size_t>(count), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes += sent;
    count -= sent;
  }
  return true;
}

} // namespace

TcpProxy::Connection::~Connection() {
  Cut();
  for (std::thread& pump : m_Pumps)
    if (pump.joinable()) pump.join();
  for (int const end : m_Ends) close(end);
}

void TcpProxy::Connection::Cut() const noexcept {
  for (int const end : m_Ends) shutdown(end, SHUT_RDWR);
}

TcpProxy::TcpProxy(std::string socketPath) : m_SocketPath(std::move(socketPath)) {
  m_Listener = socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
  sockaddr_in address{};
  address.sin_family = AF_INET;
  address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
  socklen_t size = sizeof address;
  auto* const place = reinterpret_cast<sockaddr*>(&address);
  if (m_Listener < 0 || bind(m_Listener, place, size) != 0 || listen(m_Listener, 16) != 0 ||
      getsockname(m_Listener, place, &size) != 0 || pipe2(m_Stop.data(), O_CLOEXEC) != 0)
    throw std::runtime_error("a proxy cannot listen");
  m_Port = ntohs(address.sin_port);
  m_Accepting = std::thread([this] { Accept(); });
}

TcpProxy::~TcpProxy() {
  if (write(m_Stop[1], "", 1) != 1) std::terminate();
  m_Accepting.join();
  m_Connections.clear();
  for (int const descriptor : {m_Listener, m_Stop[0], m_Stop[1]}) close(descriptor);
}

void TcpProxy::Accept() {
  while (true) {
    std::array<pollfd, 2> ready{pollfd{m_Listener, POLLIN, 0}, pollfd{m_Stop[0], POLLIN, 0}};
    if (poll(ready.data(), ready.size(), -1) < 0) continue;
    if (ready[1].revents != 0) return;
    int const client = accept4(m_Listener, nullptr, nullptr, SOCK_CLOEXEC);
    if (client >= 0) Begin(client);
  }
}

int TcpProxy::ConnectToServer() const {
  sockaddr_un address{};
  address.sun_family = AF_UNIX;
  if (m_SocketPath.size() >= sizeof address.sun_path) return -1;
  std::memcpy(address.sun_path, m_SocketPath.data(), m_SocketPath.size());
  int const server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  if (connect(server, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0) return server;
  close(server);
  return -1;
}

void TcpProxy::Begin(int client) {
  int const yes = 1;
  setsockopt(client, IPPROTO_TCP, TCP_NODELAY, &yes, sizeof yes);
  std::lock_guard const lock(m_Mutex);
  int const server = m_IsDown ? -1 : ConnectToServer();
  if (server < 0) {
    close(client);
    return;
  }
  Connection& connection = *m_Connections.emplace_back(std::make_unique<Connection>(client, server));
  for (Direction const direction : {ToServer, ToClient})
    connection.m_Pumps[direction] =
        std::thread([this, &connection, direction] { Pump(connection, direction); });
}

void TcpProxy::Pump(Connection const& connection, Direction direction) {
  std::array<char, 16384> piece{};
  while (true) {
    ssize_t const got = recv(connection.m_Ends[direction], piece.data(), piece.size(), 0);
    if (got <= 0) break;
    int delay = 0;
    {
      std::lock_guard const lock(m_Mutex);
      delay = m_DelayMilliseconds;
    }
    if (delay > 0) std::this_thread::sleep_for(std::chrono::milliseconds(delay));
    // Under one lock with what Arm does: so that a byte is either before the count or in it.
    std::unique_lock lock(m_Mutex);
    if (m_Swallows[direction]) continue;
    std::int64_t const admitted = Admit(direction, got);
    bool const cuts = m_CutAt >= 0 && m_CutIn == direction && m_Counts[direction] == m_CutAt;
    if (!cuts) {
      lock.unlock();
      if (!SendAll(connection.m_Ends[1 - direction], piece.data(), admitted)) break;
      continue;
    }
    SendAll(connection.m_Ends[1 - direction], piece.data(), admitted);
    CutAll();
    break;
  }
  connection.Cut();
}

std::int64_t TcpProxy::Admit(Direction direction, std::int64_t bytes) {
  if (m_CutAt >= 0 && m_CutIn == direction) bytes = std::min(bytes, m_CutAt - m_Counts[direction]);
  m_Counts[direction] += bytes;
  return bytes;
}

void TcpProxy::CutAll() noexcept {
  m_CutAt = -1;
  m_HasCut = true;
  m_IsDown = m_StaysDown;
  for (auto const& connection : m_Connections) connection->Cut();
}

void TcpProxy::ResetCounts() {
  std::lock_guard const lock(m_Mutex);
  m_Counts = {};
}

std::int64_t TcpProxy::Count(Direction direction) const {
  std::lock_guard const lock(m_Mutex);
  return m_Counts[direction];
}

void TcpProxy::Arm(Direction direction, std::int64_t bytes, bool staysDown) {
  std::lock_guard const lock(m_Mutex);
  m_Counts = {};
  m_CutIn = direction;
  m_CutAt = bytes;
  m_StaysDown = staysDown;
  m_HasCut = false;
  if (bytes == 0) CutAll();
}

bool TcpProxy::HasCut() const {
  std::lock_guard const lock(m_Mutex);
  return m_HasCut;
}

void TcpProxy::Delay(int milliseconds) {
  std::lock_guard const lock(m_Mutex);
  m_DelayMilliseconds = milliseconds;
}

void TcpProxy::Swallow(Direction direction) {
  std::lock_guard const lock(m_Mutex);
  m_Swallows[direction] = true;
}

void TcpProxy::Heal() {
  std::lock_guard const lock(m_Mutex);
  if (m_Swallows[ToServer] || m_Swallows[ToClient])
    for (auto const& connection : m_Connections) connection->Cut();
  m_Swallows = {};
  m_CutAt = -1;
  m_IsDown = m_StaysDown = false;
  m_DelayMilliseconds = 0;
}

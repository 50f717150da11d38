#pragma once

#include <array>
#include <cstdint>
#include <list>
#include <memory>
#include <mutex>
#include <string>
#include <thread>

/// Stands between a program and a server, and spoils what they say to each other. It listens on a port of this machine,
/// and forwards each connection to a server's local socket. Each direction of a connection has a thread of its own, so
/// a side that does not read holds nobody up. Thread rule: any thread.
class TcpProxy {
 public:
  enum Direction { ToServer = 0, ToClient = 1 };

  /// `socketPath`: the server's. It need not be there yet.
  explicit TcpProxy(std::string socketPath);
  ~TcpProxy();
  TcpProxy(TcpProxy const&) = delete;
  TcpProxy& operator=(TcpProxy const&) = delete;

  [[nodiscard]] int Port() const noexcept { return m_Port; }

  /// Counts from 0 again.
  void ResetCounts();
  /// Bytes that were passed on, of all connections.
  [[nodiscard]] std::int64_t Count(Direction direction) const;

  /// Counts from 0 again, and cuts all connections when exactly `bytes` have passed in a direction. If `staysDown`, new
  /// connections are closed at once, until Heal is called.
  void Arm(Direction direction, std::int64_t bytes, bool staysDown);
  /// Whether it has cut since Arm.
  [[nodiscard]] bool HasCut() const;
  /// Passes each piece on only after so long.
  void Delay(int milliseconds);
  /// Swallows what comes in a direction. Both: it is a black hole. One: a connection that is open by half.
  void Swallow(Direction direction);
  /// New connections work. Those that have lost bytes are cut, because they are of no use.
  void Heal();

 private:
  struct Connection {
    Connection(int client, int server) : m_Ends{client, server} {}
    ~Connection();
    void Cut() const noexcept;
    std::array<int, 2> m_Ends; // of the client, of the server
    std::array<std::thread, 2> m_Pumps;
  };
  void Accept();
  void Begin(int client);
  [[nodiscard]] int ConnectToServer() const;
  void Pump(Connection const& connection, Direction direction);
  /// How much of a piece may pass, which counts; -1: the connection ends.
  [[nodiscard]] std::int64_t Admit(Direction direction, std::int64_t bytes);
  void CutAll() noexcept;

  std::string m_SocketPath;
  int m_Listener = -1;
  int m_Port = 0;
  std::array<int, 2> m_Stop{}; // a pipe
  std::thread m_Accepting;

  mutable std::mutex m_Mutex; // of all below
  std::list<std::unique_ptr<Connection>> m_Connections;
  std::array<std::int64_t, 2> m_Counts{};
  std::array<bool, 2> m_Swallows{};
  std::int64_t m_CutAt = -1; // -1: it is not armed
  Direction m_CutIn = ToServer;
  int m_DelayMilliseconds = 0;
  bool m_StaysDown = false, m_IsDown = false, m_HasCut = false;
};

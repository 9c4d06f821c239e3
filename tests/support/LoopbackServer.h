#pragma once

#include <sys/socket.h>

#include <chrono>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "foundation/FileDescriptor.h"

namespace vorn::testing {

/// A request as it arrived.
struct ReceivedRequest {
  int connection = 0;                    ///< counted from 1 in the order of acceptance
  std::string method;                    ///< "GET"
  std::string target;                    ///< "/path?query", or a whole URL when sent to a proxy
  std::vector<std::string> headerLines;  ///< "Name: value", without line ends, in order

  /// The values of the field with exactly this name, including its case.
  [[nodiscard]] std::vector<std::string> ValuesOf(std::string_view name) const;
};

class LoopbackServer;

/// The answer to one request. A handler gets it and may send any bytes at any pace. When the handler returns,
/// the server reads the next request from the same connection unless it was closed.
class Exchange {
 public:
  Exchange(LoopbackServer& server, int socket, const ReceivedRequest& request)
      : fServer(server), fSocket(socket), fRequest(request) {}

  [[nodiscard]] const ReceivedRequest& Request() const { return fRequest; }

  /// Sends a whole answer with a Content-Length and the given header lines.
  void Reply(int status, std::string_view body = {}, const std::vector<std::string>& headerLines = {});

  /// Sends the bytes as they are. False if the peer or the server has gone.
  bool Send(std::string_view bytes);

  /// Waits until the peer has closed the connection or the server ends.
  void Hang();

  /// Waits; false if the peer has closed the connection or the server ends.
  bool Pause(std::chrono::milliseconds duration);

  void Close();  ///< an orderly end of the connection
  void Reset();  ///< the connection breaks with a reset

  [[nodiscard]] bool IsOpen() const { return fOpen; }

 private:
  [[nodiscard]] bool WaitForEnd(int timeoutMilliseconds);

  LoopbackServer& fServer;
  const int fSocket;
  const ReceivedRequest& fRequest;
  bool fOpen = true;
};

/// A real HTTP/1.1 server on 127.0.0.1 with a free port, one thread for each connection. Handlers give the
/// answers, one for each target. Targets without a handler get a 404. Everything is recorded. Any thread may
/// call all functions, except construction and destruction.
class LoopbackServer {
 public:
  using Handler = std::function<void(Exchange&)>;

  /// On a free port, or on another loopback address and port.
  LoopbackServer() : LoopbackServer("127.0.0.1", 0) {}
  LoopbackServer(const char* address, std::uint16_t port);
  ~LoopbackServer();
  LoopbackServer(const LoopbackServer&) = delete;
  LoopbackServer& operator=(const LoopbackServer&) = delete;

  [[nodiscard]] std::uint16_t Port() const { return fPort; }
  [[nodiscard]] std::string PortText() const { return std::to_string(fPort); }
  /// "http://address:port" and the target.
  [[nodiscard]] std::string Url(std::string_view target = "/") const;

  /// Ends every connection and waits until no handler runs any more. Nothing is served afterwards. The
  /// destructor does this too. One thread, at any time.
  void Stop();

  /// From the next request on; replaces the target's earlier handler.
  void Handle(const std::string& target, Handler handler);
  void Reply(const std::string& target, int status, const std::string& body = {},
             const std::vector<std::string>& headerLines = {});
  /// For targets without their own handler.
  void HandleOthers(Handler handler);

  [[nodiscard]] std::vector<ReceivedRequest> Requests() const;
  [[nodiscard]] std::vector<std::string> Targets() const;
  [[nodiscard]] std::size_t RequestCount() const;
  [[nodiscard]] int ConnectionCount() const;  ///< accepted so far
  [[nodiscard]] int OpenConnections() const;  ///< accepted and not ended yet

  /// Waits for this many requests in all; false if they did not come.
  [[nodiscard]] bool WaitForRequests(std::size_t count) const;

 private:
  friend class Exchange;
  struct Connection {
    FileDescriptor socket;
    std::thread thread;
    bool ended = false;  ///< guarded by fMutex; its thread ends
  };

  void AcceptLoop();
  void ServeConnection(Connection& connection, int number);
  bool ReadRequest(int socket, std::string& buffer, ReceivedRequest& request);
  Handler HandlerFor(const std::string& target) const;

  const Wakeup fStop;  ///< readable, for all threads, from Stop on
  const std::string fAddress;
  std::uint16_t fPort;
  FileDescriptor fListener;

  mutable std::mutex fMutex;
  mutable std::condition_variable fRequestArrived;
  std::map<std::string, Handler> fHandlers;
  Handler fOthers;
  std::vector<ReceivedRequest> fRequests;
  std::list<Connection> fConnections;
  int fAccepted = 0;
  std::thread fAcceptThread;
};

/// Stops the server at the end of its scope. Declare it after what handlers use by reference, if the server
/// itself lives longer.
class StopsServer {
 public:
  explicit StopsServer(LoopbackServer& server) : fServer(server) {}
  ~StopsServer() { fServer.Stop(); }
  StopsServer(const StopsServer&) = delete;
  StopsServer& operator=(const StopsServer&) = delete;

 private:
  LoopbackServer& fServer;
};

/// A listening port with a full queue: while this lives, a connection to it is neither made nor refused.
class FullListener {
 public:
  FullListener();                             ///< on a free port of 127.0.0.1
  explicit FullListener(std::uint16_t port);  ///< on this port of ::1
  [[nodiscard]] std::uint16_t Port() const { return fPort; }

 private:
  void Fill(const sockaddr* address, socklen_t length);

  std::uint16_t fPort = 0;
  FileDescriptor fListener;
  std::vector<FileDescriptor> fFillers;
};

/// Sockets of this computer that wait for a connection to the port.
[[nodiscard]] int CountConnecting(std::uint16_t port);

/// A port of 127.0.0.1 on which nobody listens.
[[nodiscard]] std::uint16_t UnusedPort();

/// The bytes compressed in the gzip form, in the deflate form, and in the deflate form of some servers.
[[nodiscard]] std::string Gzip(std::string_view bytes);
[[nodiscard]] std::string Deflate(std::string_view bytes);
[[nodiscard]] std::string DeflateWithoutHeader(std::string_view bytes);

}  // namespace vorn::testing

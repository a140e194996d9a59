#pragma once

#include <condition_variable>
#include <functional>
#include <list>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <thread>
#include <utility>
#include <vector>

#include <fmt/format.h>
#include <nlohmann/json_fwd.hpp>

#include "tests/support/Waiting.h"

namespace geoloom::test {

/// One request exactly as received, and its parts.
struct RecordedRequest {
  /// Request line and headers, with the blank line at their end.
  std::string head;
  std::string method;
  std::string path;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  /// The value of the first header of that name, in any letter case.
  [[nodiscard]] std::optional<std::string> header(const std::string& name) const;
  /// The body as JSON; discarded() if it is not. The caller includes nlohmann/json.hpp.
  [[nodiscard]] nlohmann::json json() const;
};

/// The server's end of a connection.
class FakeConnection {
 public:
  explicit FakeConnection(int socket) : socket_(socket) {}
  FakeConnection(const FakeConnection&) = delete;
  FakeConnection& operator=(const FakeConnection&) = delete;
  ~FakeConnection();

  /// False if the client has closed the connection.
  [[nodiscard]] bool send(std::string_view bytes) const;
  /// Appends arriving bytes to `buffer`; false if the connection was closed.
  [[nodiscard]] bool receive(std::string& buffer) const;
  /// Waits a few milliseconds; false if the client closed the connection meanwhile.
  [[nodiscard]] bool staysOpenForAMoment() const;
  /// Returns when the client has closed the connection.
  void waitForClose() const;
  /// Makes the connection end with a reset.
  void resetOnClose() const;
  void shutDown() const;

 private:
  int socket_;
};

/// The service's answer to one request.
struct FakeAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  /// If set, called before the answer is sent.
  std::function<void()> before;
  /// If set, it sends the answer itself; then the connection is closed, possibly while the client sends its
  /// next request.
  std::function<void(const FakeConnection&)> act;

  static FakeAnswer json(std::string text, int status = 200);
  /// The same answer, sent after `action` has returned.
  [[nodiscard]] FakeAnswer after(std::function<void()> action) const;
  /// These bytes, then the end of the connection.
  static FakeAnswer bytes(std::string raw);
  static FakeAnswer reset(std::string rawBefore = {});
  /// Nothing, until the client closes the connection.
  static FakeAnswer silence();
  /// `first`, then `again` every few milliseconds, until the client closes the connection.
  static FakeAnswer dripping(std::string first, std::string again);
  static FakeAnswer acting(std::function<void(const FakeConnection&)> act);

  [[nodiscard]] std::string text() const;
};

/// An HTTP service on its own port of 127.0.0.1. It records every request, then calls the handler for the
/// answer; the handler runs on the thread of the connection and may block.
class FakeService {
 public:
  using Handler = std::function<FakeAnswer(const RecordedRequest&)>;

  explicit FakeService(Handler handler);
  FakeService(const FakeService&) = delete;
  FakeService& operator=(const FakeService&) = delete;
  /// Ends all connections and waits for running handlers.
  ~FakeService();

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string url(std::string_view path = {}) const;

  [[nodiscard]] std::vector<RecordedRequest> requests() const;
  /// Number of connections opened so far.
  [[nodiscard]] std::size_t connections() const;
  [[nodiscard]] std::size_t openConnections() const;
  /// True as soon as no connection is open.
  [[nodiscard]] bool waitForAllToClose() const;
  /// True as soon as `count` requests were recorded.
  [[nodiscard]] bool waitForRequests(std::size_t count) const;
  /// True as soon as the requests recorded so far satisfy the condition.
  [[nodiscard]] bool waitUntil(
      const std::function<bool(const std::vector<RecordedRequest>&)>& condition) const;

 private:
  struct Peer {
    std::unique_ptr<FakeConnection> connection;
    std::thread thread;
  };

  [[nodiscard]] std::size_t countOpen() const;
  void acceptConnections();
  void serve(const FakeConnection& connection);

  const Handler handler_;
  int listener_ = -1;
  int port_ = 0;
  std::thread acceptor_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<RecordedRequest> requests_;
  std::list<Peer> peers_;
};

/// A port of 127.0.0.1 on which nothing listens.
[[nodiscard]] int unusedPort();

}  // namespace geoloom::test

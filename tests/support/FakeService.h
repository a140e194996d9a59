#pragma once

#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <functional>
#include <list>
#include <mutex>
#include <optional>
#include <stdexcept>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <arpa/inet.h>
#include <fmt/format.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace geoloom::test {

/// Longest wait for anything in a test; reached only when something is broken.
inline constexpr std::chrono::seconds patience{30};

/// Waits for a condition that nothing announces; false when it does not come about.
template <class Condition>
[[nodiscard]] bool eventually(Condition condition) {
  const auto end = std::chrono::steady_clock::now() + patience;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > end) return false;
    std::this_thread::yield();
  }
  return true;
}

/// A door that stays shut until somebody opens it.
class Gate {
 public:
  void open() {
    const std::lock_guard lock(mutex_);
    open_ = true;
    changed_.notify_all();
  }
  /// False when it stayed shut for too long.
  [[nodiscard]] bool wait() {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [this] { return open_; });
  }

 private:
  std::mutex mutex_;
  std::condition_variable changed_;
  bool open_ = false;
};

/// One request exactly as it came, and its parts.
struct RecordedRequest {
  /// Request line and headers, with the blank line at their end.
  std::string head;
  std::string method;
  std::string path;
  std::vector<std::pair<std::string, std::string>> headers;
  std::string body;

  /// The value of the header (the first one, names without regard to case), or nothing.
  [[nodiscard]] std::optional<std::string> header(const std::string& name) const {
    for (const auto& [key, value] : headers)
      if (strcasecmp(key.c_str(), name.c_str()) == 0) return value;
    return std::nullopt;
  }
  /// The body as JSON; discarded() when it is none.
  [[nodiscard]] nlohmann::json json() const { return nlohmann::json::parse(body, nullptr, false); }
};

/// The server's end of a connection.
class FakeConnection {
 public:
  explicit FakeConnection(int socket) : socket_(socket) {}
  FakeConnection(const FakeConnection&) = delete;
  FakeConnection& operator=(const FakeConnection&) = delete;
  ~FakeConnection() { ::close(socket_); }

  /// False when the client is gone.
  [[nodiscard]] bool send(std::string_view bytes) const {
    while (!bytes.empty()) {
      const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
      if (sent <= 0) return false;
      bytes.remove_prefix(static_cast<std::size_t>(sent));
    }
    return true;
  }
  /// Appends what arrives to `buffer`; false when the client (or the service's end) closed the connection.
  [[nodiscard]] bool receive(std::string& buffer) const {
    char bytes[16384];
    const ssize_t count = ::recv(socket_, bytes, sizeof bytes, 0);
    if (count <= 0) return false;
    buffer.append(bytes, static_cast<std::size_t>(count));
    return true;
  }
  /// Returns when the client has closed the connection, or after a moment: then true.
  [[nodiscard]] bool staysOpenForAMoment() const {
    constexpr int moment = 5;
    pollfd client{socket_, POLLIN, 0};
    return ::poll(&client, 1, moment) == 0;
  }
  /// Returns when the client has closed the connection.
  void waitForClose() const {
    for (std::string ignored; receive(ignored);) ignored.clear();
  }
  /// Makes the closing of the connection a reset.
  void resetOnClose() const {
    const linger none{1, 0};
    ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
  }
  void shutDown() const { ::shutdown(socket_, SHUT_RDWR); }

 private:
  int socket_;
};

/// What the service says to one request.
struct FakeAnswer {
  int status = 200;
  std::string body;
  std::string contentType = "application/json";
  std::vector<std::pair<std::string, std::string>> headers;
  /// Where set, it ends before the answer is sent.
  std::function<void()> before;
  /// Where set, it alone decides what is sent; the connection is closed after it, which can meet the client's
  /// next request.
  std::function<void(const FakeConnection&)> act;

  static FakeAnswer json(std::string text, int status = 200) {
    FakeAnswer answer;
    answer.status = status;
    answer.body = std::move(text);
    return answer;
  }
  /// The same answer, sent when `action` has ended.
  [[nodiscard]] FakeAnswer after(std::function<void()> action) const {
    FakeAnswer answer = *this;
    answer.before = std::move(action);
    return answer;
  }
  /// These very bytes, then the end of the connection.
  static FakeAnswer bytes(std::string raw) {
    return acting([raw = std::move(raw)](const FakeConnection& connection) {
      static_cast<void>(connection.send(raw));
    });
  }
  static FakeAnswer reset(std::string rawBefore = {}) {
    return acting([raw = std::move(rawBefore)](const FakeConnection& connection) {
      static_cast<void>(connection.send(raw));
      connection.resetOnClose();
    });
  }
  /// Nothing, for as long as the client waits.
  static FakeAnswer silence() {
    return acting([](const FakeConnection& connection) { connection.waitForClose(); });
  }
  /// `first`, then `again` every few milliseconds, for as long as the client waits.
  static FakeAnswer dripping(std::string first, std::string again) {
    return acting([first = std::move(first), again = std::move(again)](const FakeConnection& connection) {
      bool open = connection.send(first);
      while (open && connection.staysOpenForAMoment()) open = connection.send(again);
    });
  }
  static FakeAnswer acting(std::function<void(const FakeConnection&)> act) {
    FakeAnswer answer;
    answer.act = std::move(act);
    return answer;
  }

  [[nodiscard]] std::string text() const {
    std::string result = fmt::format("HTTP/1.1 {} Status\r\nContent-Type: {}\r\nContent-Length: {}\r\n",
                                     status, contentType, body.size());
    for (const auto& [name, value] : headers) result.append(name).append(": ").append(value).append("\r\n");
    return result + "\r\n" + body;
  }
};

/// An HTTP service on a port of its own on 127.0.0.1. It records every request before it asks the handler
/// what to answer; the handler runs on a thread of the connection and may wait.
class FakeService {
 public:
  using Handler = std::function<FakeAnswer(const RecordedRequest&)>;

  explicit FakeService(Handler handler) : handler_(std::move(handler)) {
    listener_ = ::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    socklen_t length = sizeof address;
    auto* generic = reinterpret_cast<sockaddr*>(&address);
    if (listener_ < 0 || ::bind(listener_, generic, length) != 0 || ::listen(listener_, SOMAXCONN) != 0 ||
        ::getsockname(listener_, generic, &length) != 0)
      throw std::runtime_error("no port to listen on");
    port_ = ntohs(address.sin_port);
    acceptor_ = std::thread([this] { acceptConnections(); });
  }
  FakeService(const FakeService&) = delete;
  FakeService& operator=(const FakeService&) = delete;
  /// Ends all connections and waits for the handlers that are still at work.
  ~FakeService() {
    ::shutdown(listener_, SHUT_RDWR);
    acceptor_.join();
    ::close(listener_);
    {
      const std::lock_guard lock(mutex_);
      for (Peer& peer : peers_)
        if (peer.connection) peer.connection->shutDown();
    }
    for (Peer& peer : peers_) peer.thread.join();
  }

  [[nodiscard]] int port() const { return port_; }
  [[nodiscard]] std::string url(std::string_view path = {}) const {
    return fmt::format("http://127.0.0.1:{}{}", port_, path);
  }

  [[nodiscard]] std::vector<RecordedRequest> requests() const {
    const std::lock_guard lock(mutex_);
    return requests_;
  }
  /// Connections that were ever opened.
  [[nodiscard]] std::size_t connections() const {
    const std::lock_guard lock(mutex_);
    return peers_.size();
  }
  [[nodiscard]] std::size_t openConnections() const {
    const std::lock_guard lock(mutex_);
    return countOpen();
  }
  /// True as soon as no connection is open any longer.
  [[nodiscard]] bool waitForAllToClose() const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [this] { return countOpen() == 0; });
  }
  /// True as soon as so many requests were recorded.
  [[nodiscard]] bool waitForRequests(std::size_t count) const {
    return waitUntil([&](const std::vector<RecordedRequest>& requests) { return requests.size() >= count; });
  }
  /// True as soon as the requests recorded so far satisfy the condition.
  template <class Condition>
  [[nodiscard]] bool waitUntil(Condition condition) const {
    std::unique_lock lock(mutex_);
    return changed_.wait_for(lock, patience, [&] { return condition(std::as_const(requests_)); });
  }

 private:
  struct Peer {
    std::unique_ptr<FakeConnection> connection;
    std::thread thread;
  };

  [[nodiscard]] std::size_t countOpen() const {
    return static_cast<std::size_t>(std::count_if(
        peers_.begin(), peers_.end(), [](const Peer& peer) { return peer.connection != nullptr; }));
  }

  void acceptConnections() {
    while (true) {
      const int socket = ::accept4(listener_, nullptr, nullptr, SOCK_CLOEXEC);
      if (socket < 0) return;
      const int on = 1;
      ::setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
      const std::lock_guard lock(mutex_);
      Peer& peer = peers_.emplace_back();
      peer.connection = std::make_unique<FakeConnection>(socket);
      peer.thread = std::thread([this, &peer, connection = peer.connection.get()] {
        serve(*connection);
        const std::lock_guard closing(mutex_);
        peer.connection.reset();
        changed_.notify_all();
      });
    }
  }

  void serve(const FakeConnection& connection) {
    std::string buffer;
    while (std::optional<RecordedRequest> request = receiveRequest(connection, buffer)) {
      {
        const std::lock_guard lock(mutex_);
        requests_.push_back(*request);
        changed_.notify_all();
      }
      const FakeAnswer answer = handler_(*request);
      if (answer.before) answer.before();
      if (answer.act) {
        answer.act(connection);
        return;
      }
      if (!connection.send(answer.text())) return;
    }
  }

  static std::optional<RecordedRequest> receiveRequest(const FakeConnection& connection,
                                                       std::string& buffer) {
    std::size_t end = buffer.find("\r\n\r\n");
    for (; end == std::string::npos; end = buffer.find("\r\n\r\n"))
      if (!connection.receive(buffer)) return std::nullopt;
    RecordedRequest request = parseHead(buffer.substr(0, end + 4));
    const std::size_t length = std::stoul(request.header("Content-Length").value_or("0"));
    buffer.erase(0, end + 4);
    while (buffer.size() < length)
      if (!connection.receive(buffer)) return std::nullopt;
    request.body = buffer.substr(0, length);
    buffer.erase(0, length);
    return request;
  }

  static RecordedRequest parseHead(std::string head) {
    RecordedRequest request;
    std::size_t at = head.find("\r\n");
    const std::string line = head.substr(0, at);
    const std::size_t first = line.find(' ');
    const std::size_t second = line.find(' ', first + 1);
    request.method = line.substr(0, first);
    request.path = line.substr(first + 1, second - first - 1);
    for (at += 2; head.compare(at, 2, "\r\n") != 0;) {
      const std::size_t end = head.find("\r\n", at);
      const std::size_t colon = std::min(head.find(':', at), end);
      const std::size_t value = std::min(head.find_first_not_of(' ', colon + 1), end);
      request.headers.emplace_back(head.substr(at, colon - at), head.substr(value, end - value));
      at = end + 2;
    }
    request.head = std::move(head);
    return request;
  }

  const Handler handler_;
  int listener_ = -1;
  int port_ = 0;
  std::thread acceptor_;
  mutable std::mutex mutex_;
  mutable std::condition_variable changed_;
  std::vector<RecordedRequest> requests_;
  std::list<Peer> peers_;
};

/// A port of 127.0.0.1 on which nobody listens.
[[nodiscard]] inline int unusedPort() {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer{}; });
  return service.port();
}

}  // namespace geoloom::test

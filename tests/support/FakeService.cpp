#include "tests/support/FakeService.h"

#include <algorithm>
#include <stdexcept>

#include <arpa/inet.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <nlohmann/json.hpp>
#include <poll.h>
#include <strings.h>
#include <sys/socket.h>
#include <unistd.h>

namespace geoloom::test {

namespace {

RecordedRequest parseHead(std::string head) {
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

std::optional<RecordedRequest> receiveRequest(const FakeConnection& connection, std::string& buffer) {
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

}  // namespace

std::optional<std::string> RecordedRequest::header(const std::string& name) const {
  for (const auto& [key, value] : headers)
    if (strcasecmp(key.c_str(), name.c_str()) == 0) return value;
  return std::nullopt;
}

nlohmann::json RecordedRequest::json() const {
  return nlohmann::json::parse(body, nullptr, false);
}

FakeConnection::~FakeConnection() {
  ::close(socket_);
}

bool FakeConnection::send(std::string_view bytes) const {
  while (!bytes.empty()) {
    const ssize_t sent = ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL);
    if (sent <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(sent));
  }
  return true;
}

bool FakeConnection::receive(std::string& buffer) const {
  char bytes[16384];
  const ssize_t count = ::recv(socket_, bytes, sizeof bytes, 0);
  if (count <= 0) return false;
  buffer.append(bytes, static_cast<std::size_t>(count));
  return true;
}

bool FakeConnection::staysOpenForAMoment() const {
  constexpr int MOMENT = 5;
  pollfd client{socket_, POLLIN, 0};
  return ::poll(&client, 1, MOMENT) == 0;
}

void FakeConnection::waitForClose() const {
  for (std::string ignored; receive(ignored);) ignored.clear();
}

void FakeConnection::resetOnClose() const {
  const linger none{1, 0};
  ::setsockopt(socket_, SOL_SOCKET, SO_LINGER, &none, sizeof none);
}

void FakeConnection::shutDown() const {
  ::shutdown(socket_, SHUT_RDWR);
}

FakeAnswer FakeAnswer::json(std::string text, int status) {
  FakeAnswer answer;
  answer.status = status;
  answer.body = std::move(text);
  return answer;
}

FakeAnswer FakeAnswer::after(std::function<void()> action) const {
  FakeAnswer answer = *this;
  answer.before = std::move(action);
  return answer;
}

FakeAnswer FakeAnswer::bytes(std::string raw) {
  return acting(
      [raw = std::move(raw)](const FakeConnection& connection) { static_cast<void>(connection.send(raw)); });
}

FakeAnswer FakeAnswer::reset(std::string rawBefore) {
  return acting([raw = std::move(rawBefore)](const FakeConnection& connection) {
    static_cast<void>(connection.send(raw));
    connection.resetOnClose();
  });
}

FakeAnswer FakeAnswer::silence() {
  return acting([](const FakeConnection& connection) { connection.waitForClose(); });
}

FakeAnswer FakeAnswer::dripping(std::string first, std::string again) {
  return acting([first = std::move(first), again = std::move(again)](const FakeConnection& connection) {
    bool open = connection.send(first);
    while (open && connection.staysOpenForAMoment()) open = connection.send(again);
  });
}

FakeAnswer FakeAnswer::acting(std::function<void(const FakeConnection&)> act) {
  FakeAnswer answer;
  answer.act = std::move(act);
  return answer;
}

std::string FakeAnswer::text() const {
  std::string result = fmt::format("HTTP/1.1 {} Status\r\nContent-Type: {}\r\nContent-Length: {}\r\n", status,
                                   contentType, body.size());
  for (const auto& [name, value] : headers) result.append(name).append(": ").append(value).append("\r\n");
  return result + "\r\n" + body;
}

FakeService::FakeService(Handler handler) : handler_(std::move(handler)) {
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

FakeService::~FakeService() {
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

std::string FakeService::url(std::string_view path) const {
  return fmt::format("http://127.0.0.1:{}{}", port_, path);
}

std::vector<RecordedRequest> FakeService::requests() const {
  const std::lock_guard lock(mutex_);
  return requests_;
}

std::size_t FakeService::connections() const {
  const std::lock_guard lock(mutex_);
  return peers_.size();
}

std::size_t FakeService::openConnections() const {
  const std::lock_guard lock(mutex_);
  return countOpen();
}

bool FakeService::waitForAllToClose() const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, PATIENCE, [this] { return countOpen() == 0; });
}

bool FakeService::waitForRequests(std::size_t count) const {
  return waitUntil([&](const std::vector<RecordedRequest>& requests) { return requests.size() >= count; });
}

bool FakeService::waitUntil(const std::function<bool(const std::vector<RecordedRequest>&)>& condition) const {
  std::unique_lock lock(mutex_);
  return changed_.wait_for(lock, PATIENCE, [&] { return condition(requests_); });
}

std::size_t FakeService::countOpen() const {
  return static_cast<std::size_t>(std::count_if(peers_.begin(), peers_.end(),
                                                [](const Peer& peer) { return peer.connection != nullptr; }));
}

void FakeService::acceptConnections() {
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

void FakeService::serve(const FakeConnection& connection) {
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

int unusedPort() {
  const FakeService service([](const RecordedRequest&) { return FakeAnswer{}; });
  return service.port();
}

}  // namespace geoloom::test

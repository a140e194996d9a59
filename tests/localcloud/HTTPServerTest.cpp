#include <chrono>
#include <future>
#include <thread>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <httplib.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "localcloud/HTTPServer.h"
#include "tests/localcloud/SelfSigned.h"

namespace geoloom::localcloud {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// A client that sends and receives raw bytes.
class RawClient {
 public:
  explicit RawClient(int port) : socket_(::socket(AF_INET, SOCK_STREAM | SOCK_CLOEXEC, 0)) {
    sockaddr_in address{};
    address.sin_family = AF_INET;
    address.sin_port = htons(static_cast<std::uint16_t>(port));
    address.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    EXPECT_EQ(::connect(socket_, reinterpret_cast<const sockaddr*>(&address), sizeof address), 0);
  }
  ~RawClient() { ::close(socket_); }
  RawClient(const RawClient&) = delete;
  RawClient& operator=(const RawClient&) = delete;

  /// False when the server has closed the connection.
  bool send(const std::string& bytes) const {
    return ::send(socket_, bytes.data(), bytes.size(), MSG_NOSIGNAL) == static_cast<ssize_t>(bytes.size());
  }

  /// One answer: head and body. Bytes after it are kept for the next call.
  std::string receive() {
    for (;;) {
      const std::size_t head = received_.find("\r\n\r\n");
      if (head != std::string::npos) {
        const std::size_t length = received_.find("Content-Length: ");
        const std::size_t size = head + 4 + (length < head ? std::stoul(received_.substr(length + 16)) : 0);
        if (received_.size() >= size) {
          std::string answer = received_.substr(0, size);
          received_.erase(0, size);
          return answer;
        }
      }
      if (!receiveMore()) return std::exchange(received_, {});
    }
  }

  /// The answer to these bytes.
  std::string ask(const std::string& bytes) {
    EXPECT_TRUE(send(bytes));
    return receive();
  }

  /// True when the server closes the connection without sending anything more.
  bool isClosed() { return !receiveMore() && received_.empty(); }

 private:
  bool receiveMore() {
    pollfd waiting{socket_, POLLIN, 0};
    if (::poll(&waiting, 1, 30'000) <= 0) {
      ADD_FAILURE() << "no answer from the server";
      return false;
    }
    std::string piece(65536, 0);
    const ssize_t size = ::recv(socket_, piece.data(), piece.size(), 0);
    if (size <= 0) return false;
    received_.append(piece, 0, static_cast<std::size_t>(size));
    return true;
  }

  int socket_;
  std::string received_;
};

std::string post(const std::string& body, const std::string& headers = {}) {
  return "POST /path?x=1 HTTP/1.1\r\nHost: me\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A server that echoes requests.
class HTTPServerTest : public ::testing::Test {
 protected:
  static Answer echo(const Request& request) {
    if (request.bodyTooLarge) return {.status = 413, .body = "too large"};
    return {.contentType = "text/plain",
            .body = request.method + " " + request.target + " " + request.body,
            .headers = {{"X-Seen", request.header("x-sent").value_or("nothing")}}};
  }

  void start() { server_ = std::make_unique<HTTPServer>(options_, &echo); }
  int port() {
    if (!server_) start();
    return server_->port();
  }

  HTTPServer::Options options_;
  std::unique_ptr<HTTPServer> server_;
};

TEST_F(HTTPServerTest, KeepsConnectionsForFurtherRequests) {
  RawClient client(port());
  const std::string answer = client.ask(post("one", "X-Sent: Yes\r\n"));
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Type: text/plain\r\n"));
  EXPECT_THAT(answer, HasSubstr("X-Seen: Yes\r\n"));
  EXPECT_THAT(answer, EndsWith("\r\n\r\nPOST /path?x=1 one"));
  EXPECT_THAT(client.ask(post("two") + post("three")), EndsWith("two"));
  EXPECT_THAT(client.receive(), EndsWith("three"));
  EXPECT_THAT(client.ask(post("last", "Connection: close\r\n")), EndsWith("last"));
  EXPECT_TRUE(client.isClosed());
}

TEST_F(HTTPServerTest, ReadsChunkedBodiesAndBodiesInPieces) {
  RawClient client(port());
  EXPECT_THAT(
      client.ask("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"),
      EndsWith("POST / abcde"));
  for (const char c : post("piecewise")) ASSERT_TRUE(client.send(std::string(1, c)));
  EXPECT_THAT(client.receive(), EndsWith("piecewise"));
  EXPECT_THAT(client.ask("POST / HTTP/1.1\r\nHost: me\r\n\r\n"), EndsWith("POST / ")) << "no length, no body";
}

TEST_F(HTTPServerTest, RefusesLargeBodiesAndKeepsTheConnection) {
  options_.bodyLimit = 100'000;
  RawClient client(port());
  EXPECT_THAT(client.ask(post(std::string(100'000, 'x'))), StartsWith("HTTP/1.1 200"));
  EXPECT_THAT(client.ask(post(std::string(100'001, 'x'))), StartsWith("HTTP/1.1 413"));
  EXPECT_THAT(client.ask(post("small")), EndsWith("small"));

  RawClient chunked(port());
  ASSERT_TRUE(chunked.send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"));
  for (int i = 0; i < 101; ++i) ASSERT_TRUE(chunked.send("3e8\r\n" + std::string(1000, 'x') + "\r\n"));
  EXPECT_THAT(chunked.ask("0\r\n\r\n" + post("small")), StartsWith("HTTP/1.1 413"));
  EXPECT_THAT(chunked.receive(), EndsWith("small"));
}

TEST_F(HTTPServerTest, RefusesMalformedRequestsAndClosesTheConnection) {
  const std::string large(9000, 'x');
  std::string manyHeaders;
  for (int i = 0; i < 10'000; ++i) manyHeaders += "X-Filler: 0123456789\r\n";
  const std::string begin = "POST / HTTP/1.1\r\n";
  for (const std::string& bytes :
       {std::string("hello\r\n\r\n"), "POST / HTTP/9.9\r\n\r\n" + large,
        "POST /" + large + " HTTP/1.1\r\n\r\n", begin + "Content-Length: 1e3\r\n\r\n",
        begin + "Content-Length: -1\r\n\r\n", begin + "Content-Length: 1\r\nContent-Length: 2\r\n\r\nxx",
        begin + "Content-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\nxxx",
        begin + "Transfer-Encoding: gzip\r\n\r\n", begin + "Transfer-Encoding: chunked\r\n\r\nzz\r\n",
        begin + "Content-Type: multipart/form-data; boundary=x\r\nContent-Length: 2\r\n\r\nxx",
        begin + "Content-Encoding: gzip\r\nContent-Length: 2\r\n\r\nxx", begin + manyHeaders}) {
    RawClient client(port());
    const std::string answer = client.ask(bytes);
    EXPECT_THAT(answer, ::testing::MatchesRegex("HTTP/1.1 4[01][0-9] (.|\n|\r)*")) << bytes.substr(0, 99);
    EXPECT_THAT(answer, HasSubstr("errorMessage"));
    EXPECT_THAT(answer, HasSubstr("Connection: close"));
    EXPECT_TRUE(client.isClosed()) << bytes.substr(0, 99);
  }
  RawClient client(port());
  EXPECT_THAT(client.ask(post("still there")), EndsWith("still there"));
}

TEST_F(HTTPServerTest, TimesOutSlowClientsWithoutDelayingOthers) {
  options_.requestDeadline = std::chrono::milliseconds(200);
  RawClient silent(port());
  RawClient dripping(port());
  RawClient inBody(port());
  ASSERT_TRUE(silent.send("POST / HT"));
  ASSERT_TRUE(inBody.send("POST / HTTP/1.1\r\nContent-Length: 10\r\n\r\nabc"));
  std::thread drip([&] {
    while (dripping.send("P")) std::this_thread::sleep_for(std::chrono::milliseconds(20));
  });
  RawClient other(port());
  EXPECT_THAT(other.ask(post("quick")), EndsWith("quick"));
  for (RawClient* const client : {&silent, &inBody}) {
    const std::string answer = client->receive();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
    EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
    EXPECT_THAT(answer, Not(HasSubstr("Keep-Alive")));
    EXPECT_THAT(answer, EndsWith(R"({"errorMessage":"The request was not complete within 0.2 s"})"));
  }
  drip.join();  // ends when the server closes the connection
}

TEST_F(HTTPServerTest, ClosesIdleConnections) {
  options_.idleDeadline = std::chrono::milliseconds(50);
  RawClient client(port());
  EXPECT_TRUE(client.isClosed());
}

TEST_F(HTTPServerTest, QueuesClientsBeyondTheConnectionLimit) {
  options_.connectionLimit = 2;
  auto first = std::make_unique<RawClient>(port());
  RawClient second(port());
  for (RawClient* const client : {first.get(), &second}) {
    EXPECT_THAT(client->ask(post("served")), EndsWith("served"));
  }
  RawClient third(port());
  ASSERT_TRUE(third.send(post("at last")));
  first.reset();
  EXPECT_THAT(third.receive(), EndsWith("at last"));
}

TEST_F(HTTPServerTest, RefusesRequestsBeyondItsLimitAndFinishesThoseBegun) {
  options_.answeringLimit = 1;
  std::promise<void> begun;
  std::promise<void> released;
  server_ = std::make_unique<HTTPServer>(options_, [&](const Request& request) {
    begun.set_value();
    released.get_future().wait();
    return echo(request);
  });
  RawClient slow(port());
  ASSERT_TRUE(slow.send(post("slow")));
  begun.get_future().wait();
  RawClient other(port());
  const std::string refusal = other.ask(post("too much"));
  EXPECT_THAT(refusal, StartsWith("HTTP/1.1 503 Service Unavailable\r\n"));
  EXPECT_THAT(refusal, HasSubstr("Retry-After: 1\r\n"));
  std::thread ending([&] { server_.reset(); });
  EXPECT_TRUE(other.isClosed());
  released.set_value();
  EXPECT_THAT(slow.receive(), EndsWith("slow"));
  EXPECT_TRUE(slow.isClosed());
  ending.join();
}

TEST_F(HTTPServerTest, ClosesOpenConnectionsWhenDestroyed) {
  RawClient idle(port());
  RawClient half(port());
  ASSERT_TRUE(half.send("POST / HT"));
  RawClient used(port());
  EXPECT_THAT(used.ask(post("x")), EndsWith("x"));
  server_.reset();
  EXPECT_TRUE(idle.isClosed());
  EXPECT_TRUE(half.isClosed());
  EXPECT_TRUE(used.isClosed());
}

TEST_F(HTTPServerTest, ServesHTTPS) {
  const test::TemporaryDirectory directory;
  options_.tls = selfSigned(directory);
  options_.bodyLimit = 3'000'000;
  EXPECT_FALSE(httplib::SSLClient("127.0.0.1", port()).Post("/", "x", "application/json")) << "not trusted";
  httplib::SSLClient client("127.0.0.1", port());
  client.set_ca_cert_path(options_.tls->certificate.string());
  client.set_keep_alive(true);
  const std::string large(2'000'000, 'x');
  for (const std::string& body : {std::string("hello"), large}) {
    const auto answer = client.Post("/over/tls", body, "application/json");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body, "POST /over/tls " + body);
  }
}

}  // namespace
}  // namespace geoloom::localcloud

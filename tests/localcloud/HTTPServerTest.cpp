#include <atomic>
#include <chrono>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <arpa/inet.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <httplib.h>
#include <netinet/in.h>
#include <openssl/pem.h>
#include <openssl/x509v3.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include "localcloud/HTTPServer.h"
#include "tests/support/TemporaryDirectory.h"

namespace geoloom::localcloud {
namespace {

using ::testing::EndsWith;
using ::testing::HasSubstr;
using ::testing::Not;
using ::testing::StartsWith;

/// A client that says and hears bytes.
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

  /// One answer: head and body. What comes after it is kept for the next.
  std::string receive() {
    for (;;) {
      const std::size_t head = heard_.find("\r\n\r\n");
      if (head != std::string::npos) {
        const std::size_t length = heard_.find("Content-Length: ");
        const std::size_t size = head + 4 + (length < head ? std::stoul(heard_.substr(length + 16)) : 0);
        if (heard_.size() >= size) {
          std::string answer = heard_.substr(0, size);
          heard_.erase(0, size);
          return answer;
        }
      }
      if (!hear()) return std::exchange(heard_, {});
    }
  }

  /// True when the server closes the connection without saying anything more.
  bool isClosed() { return !hear() && heard_.empty(); }

 private:
  bool hear() {
    pollfd waiting{socket_, POLLIN, 0};
    if (::poll(&waiting, 1, 30'000) <= 0) {
      ADD_FAILURE() << "the server says nothing";
      return false;
    }
    std::string piece(65536, 0);
    const ssize_t size = ::recv(socket_, piece.data(), piece.size(), 0);
    if (size <= 0) return false;
    heard_.append(piece, 0, static_cast<std::size_t>(size));
    return true;
  }

  int socket_;
  std::string heard_;
};

std::string post(const std::string& body, const std::string& headers = {}) {
  return "POST /path?x=1 HTTP/1.1\r\nHost: me\r\n" + headers +
         "Content-Length: " + std::to_string(body.size()) + "\r\n\r\n" + body;
}

/// A server that says back what it was asked.
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

TEST_F(HTTPServerTest, AnswersRequestAfterRequestOnOneConnection) {
  RawClient client(port());
  ASSERT_TRUE(client.send(post("one", "X-Sent: Yes\r\n")));
  const std::string answer = client.receive();
  EXPECT_THAT(answer, StartsWith("HTTP/1.1 200 OK\r\n"));
  EXPECT_THAT(answer, HasSubstr("Content-Type: text/plain\r\n"));
  EXPECT_THAT(answer, HasSubstr("X-Seen: Yes\r\n"));
  EXPECT_THAT(answer, EndsWith("\r\n\r\nPOST /path?x=1 one"));
  ASSERT_TRUE(client.send(post("two") + post("three")));
  EXPECT_THAT(client.receive(), EndsWith("two"));
  EXPECT_THAT(client.receive(), EndsWith("three"));
  ASSERT_TRUE(client.send(post("last", "Connection: close\r\n")));
  EXPECT_THAT(client.receive(), EndsWith("last"));
  EXPECT_TRUE(client.isClosed());
}

TEST_F(HTTPServerTest, ReadsChunkedBodiesAndBodiesInPieces) {
  RawClient client(port());
  ASSERT_TRUE(
      client.send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n3\r\nabc\r\n2\r\nde\r\n0\r\n\r\n"));
  EXPECT_THAT(client.receive(), EndsWith("POST / abcde"));
  for (const char c : post("piecewise")) ASSERT_TRUE(client.send(std::string(1, c)));
  EXPECT_THAT(client.receive(), EndsWith("piecewise"));
  ASSERT_TRUE(client.send("POST / HTTP/1.1\r\nHost: me\r\n\r\n"));
  EXPECT_THAT(client.receive(), EndsWith("POST / ")) << "no length, no body";
}

TEST_F(HTTPServerTest, ABodyOverTheLimitIsRefusedAndTheNextRequestWorks) {
  options_.bodyLimit = 100'000;
  RawClient client(port());
  ASSERT_TRUE(client.send(post(std::string(100'000, 'x'))));
  EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 200"));
  ASSERT_TRUE(client.send(post(std::string(100'001, 'x'))));
  EXPECT_THAT(client.receive(), StartsWith("HTTP/1.1 413"));
  ASSERT_TRUE(client.send(post("small")));
  EXPECT_THAT(client.receive(), EndsWith("small"));

  RawClient chunked(port());
  ASSERT_TRUE(chunked.send("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\n"));
  for (int i = 0; i < 101; ++i) ASSERT_TRUE(chunked.send("3e8\r\n" + std::string(1000, 'x') + "\r\n"));
  ASSERT_TRUE(chunked.send("0\r\n\r\n" + post("small")));
  EXPECT_THAT(chunked.receive(), StartsWith("HTTP/1.1 413"));
  EXPECT_THAT(chunked.receive(), EndsWith("small"));
}

TEST_F(HTTPServerTest, WhatIsNotARequestIsRefusedAndTheConnectionClosed) {
  const std::string large(9000, 'x');
  std::string manyHeaders;
  for (int i = 0; i < 10'000; ++i) manyHeaders += "X-Filler: 0123456789\r\n";
  for (const std::string& bytes :
       {std::string("hello\r\n\r\n"), "POST / HTTP/9.9\r\n\r\n" + large,
        "POST /" + large + " HTTP/1.1\r\n\r\n", std::string("POST / HTTP/1.1\r\nContent-Length: 1e3\r\n\r\n"),
        std::string("POST / HTTP/1.1\r\nContent-Length: -1\r\n\r\n"),
        std::string("POST / HTTP/1.1\r\nContent-Length: 1\r\nContent-Length: 2\r\n\r\nxx"),
        std::string("POST / HTTP/1.1\r\nContent-Length: 3\r\nTransfer-Encoding: chunked\r\n\r\nxxx"),
        std::string("POST / HTTP/1.1\r\nTransfer-Encoding: gzip\r\n\r\n"),
        std::string("POST / HTTP/1.1\r\nTransfer-Encoding: chunked\r\n\r\nzz\r\n"),
        std::string("POST / HTTP/1.1\r\nContent-Type: multipart/form-data; boundary=x\r\nContent-Length: "
                    "2\r\n\r\nxx"),
        "POST / HTTP/1.1\r\n" + manyHeaders}) {
    RawClient client(port());
    ASSERT_TRUE(client.send(bytes));
    const std::string answer = client.receive();
    EXPECT_THAT(answer, ::testing::MatchesRegex("HTTP/1.1 4[01][0-9] (.|\n|\r)*")) << bytes.substr(0, 99);
    EXPECT_THAT(answer, HasSubstr("errorMessage"));
    EXPECT_TRUE(client.isClosed()) << bytes.substr(0, 99);
  }
  RawClient client(port());
  ASSERT_TRUE(client.send(post("still there")));
  EXPECT_THAT(client.receive(), EndsWith("still there"));
}

TEST_F(HTTPServerTest, OtherMethodsReachTheHandlerAndEndTheConnection) {
  RawClient client(port());
  ASSERT_TRUE(client.send("GET /x HTTP/1.1\r\nHost: me\r\n\r\n"));
  EXPECT_THAT(client.receive(), EndsWith("GET /x "));
  EXPECT_TRUE(client.isClosed());
}

TEST_F(HTTPServerTest, ASlowClientIsDroppedAndHoldsNobodyElse) {
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
  ASSERT_TRUE(other.send(post("quick")));
  EXPECT_THAT(other.receive(), EndsWith("quick"));
  for (RawClient* const client : {&silent, &inBody}) {
    const std::string answer = client->receive();
    EXPECT_THAT(answer, StartsWith("HTTP/1.1 408 Request Timeout\r\n"));
    EXPECT_THAT(answer, HasSubstr("Connection: close\r\n"));
    EXPECT_THAT(answer, EndsWith(R"({"errorMessage":"The request did not come in whole within 0.2 s"})"));
  }
  drip.join();  // ends when the server has had enough
}

TEST_F(HTTPServerTest, AnIdleConnectionIsClosed) {
  options_.idleDeadline = std::chrono::milliseconds(50);
  RawClient client(port());
  EXPECT_TRUE(client.isClosed());
}

TEST_F(HTTPServerTest, TwoHundredConnectionsAtOnce) {
  std::vector<std::unique_ptr<RawClient>> clients;
  for (int i = 0; i < 200; ++i) clients.push_back(std::make_unique<RawClient>(port()));
  for (int round = 0; round < 2; ++round) {
    for (const auto& client : clients) ASSERT_TRUE(client->send(post("all at once")));
    for (const auto& client : clients) EXPECT_THAT(client->receive(), EndsWith("all at once"));
  }
}

TEST_F(HTTPServerTest, BeyondTheConnectionLimitClientsWaitTheirTurn) {
  options_.connectionLimit = 2;
  auto first = std::make_unique<RawClient>(port());
  RawClient second(port());
  for (RawClient* const client : {first.get(), &second}) {
    ASSERT_TRUE(client->send(post("served")));
    EXPECT_THAT(client->receive(), EndsWith("served"));
  }
  RawClient third(port());
  ASSERT_TRUE(third.send(post("at last")));
  first.reset();
  EXPECT_THAT(third.receive(), EndsWith("at last"));
}

TEST_F(HTTPServerTest, EndsPromptlyWithConnectionsOpen) {
  RawClient idle(port());
  RawClient half(port());
  ASSERT_TRUE(half.send("POST / HT"));
  RawClient used(port());
  ASSERT_TRUE(used.send(post("x")));
  EXPECT_THAT(used.receive(), EndsWith("x"));
  server_.reset();
  EXPECT_TRUE(idle.isClosed());
  EXPECT_TRUE(half.isClosed());
  EXPECT_TRUE(used.isClosed());
}

TEST_F(HTTPServerTest, APortThatIsListenedOnIsTaken) {
  HTTPServer::Options same;
  same.port = port();
  try {
    const HTTPServer second(same, &echo);
    FAIL() << "two servers on one port";
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr(std::to_string(same.port)));
  }
  server_.reset();
  EXPECT_NO_THROW(HTTPServer(same, &echo)) << "and free again afterwards";
  same.host = "not an address";
  EXPECT_THROW(HTTPServer(same, &echo), ListenError);
}

/// A key and a certificate for 127.0.0.1 that it signs itself.
TLSFiles selfSigned(const test::TemporaryDirectory& directory) {
  const std::unique_ptr<EVP_PKEY, decltype(&EVP_PKEY_free)> key(EVP_EC_gen("P-256"), &EVP_PKEY_free);
  const std::unique_ptr<X509, decltype(&X509_free)> certificate(X509_new(), &X509_free);
  X509_set_version(certificate.get(), 2);
  X509_gmtime_adj(X509_getm_notBefore(certificate.get()), -60);
  X509_gmtime_adj(X509_getm_notAfter(certificate.get()), 3600);
  X509_NAME* const name = X509_get_subject_name(certificate.get());
  X509_NAME_add_entry_by_txt(name, "CN", MBSTRING_ASC, reinterpret_cast<const unsigned char*>("local"), -1,
                             -1, 0);
  X509_set_issuer_name(certificate.get(), name);
  X509_set_pubkey(certificate.get(), key.get());
  const std::unique_ptr<X509_EXTENSION, decltype(&X509_EXTENSION_free)> subject(
      X509V3_EXT_conf_nid(nullptr, nullptr, NID_subject_alt_name, "IP:127.0.0.1"), &X509_EXTENSION_free);
  X509_add_ext(certificate.get(), subject.get(), -1);
  X509_sign(certificate.get(), key.get(), EVP_sha256());

  TLSFiles files{.certificate = directory.path() / "cert.pem", .key = directory.path() / "key.pem"};
  const std::unique_ptr<BIO, decltype(&BIO_free)> out(BIO_new_file(files.certificate.c_str(), "w"),
                                                      &BIO_free);
  PEM_write_bio_X509(out.get(), certificate.get());
  const std::unique_ptr<BIO, decltype(&BIO_free)> secret(BIO_new_file(files.key.c_str(), "w"), &BIO_free);
  PEM_write_bio_PrivateKey(secret.get(), key.get(), nullptr, nullptr, 0, nullptr, nullptr);
  return files;
}

TEST_F(HTTPServerTest, ServesHTTPSToThoseWhoTrustItsCertificate) {
  const test::TemporaryDirectory directory;
  options_.tls = selfSigned(directory);
  options_.bodyLimit = 3'000'000;
  EXPECT_FALSE(httplib::SSLClient("127.0.0.1", port()).Post("/", "x", "application/json"))
      << "nobody has been told to trust it";
  httplib::SSLClient client("127.0.0.1", port());
  client.set_ca_cert_path(options_.tls->certificate.string());
  client.set_keep_alive(true);
  const std::string large(2'000'000, 'x');
  for (const std::string& body : {std::string("hello"), large}) {
    const auto answer = client.Post("/over/tls", body, "application/json");
    ASSERT_TRUE(answer);
    EXPECT_EQ(answer->body, "POST /over/tls " + body);
  }
  RawClient plain(port());
  ASSERT_TRUE(plain.send(post("not encrypted")));
  EXPECT_THAT(plain.receive(), Not(HasSubstr("HTTP/1.1 200")));
}

TEST_F(HTTPServerTest, ACertificateThatCannotBeUsedIsAnError) {
  const test::TemporaryDirectory directory;
  const auto file = directory.write("cert.pem", "nonsense");
  options_.tls = TLSFiles{file, file};
  try {
    start();
    FAIL() << "started without a certificate";
  } catch (const ListenError& error) {
    EXPECT_THAT(error.what(), HasSubstr("cert.pem"));
  }
}

}  // namespace
}  // namespace geoloom::localcloud
